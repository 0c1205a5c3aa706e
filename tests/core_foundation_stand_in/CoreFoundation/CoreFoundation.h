// Test-only stand-in for the few CoreFoundation declarations the macOS
// metadata store uses, so that its conversions build and run on Linux.
// Objects are counted by core_foundation_stand_in.h.
#ifndef VANTREL_STAND_IN_CORE_FOUNDATION_H
#define VANTREL_STAND_IN_CORE_FOUNDATION_H

extern "C" {

typedef unsigned char Boolean;
typedef unsigned short UniChar;
typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

typedef struct
{
    CFIndex location;
    CFIndex length;
} CFRange;

inline CFRange CFRangeMake(CFIndex location, CFIndex length)
{
    CFRange range;
    range.location = location;
    range.length = length;
    return range;
}

typedef const void *CFTypeRef;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef const struct __CFString *CFStringRef;
typedef const struct __CFNumber *CFNumberRef;
typedef const struct __CFBoolean *CFBooleanRef;
typedef const struct __CFDate *CFDateRef;
typedef const struct __CFArray *CFArrayRef;

typedef CFIndex CFNumberType;
enum { kCFNumberDoubleType = 13 };

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;

CFTypeID CFGetTypeID(CFTypeRef cf);
CFTypeRef CFRetain(CFTypeRef cf);
void CFRelease(CFTypeRef cf);

CFTypeID CFStringGetTypeID(void);
CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar *chars, CFIndex numChars);
CFIndex CFStringGetLength(CFStringRef theString);
void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar *buffer);

CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFTypeID CFDateGetTypeID(void);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef theArray);
const void *CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

} // extern "C"

#endif // VANTREL_STAND_IN_CORE_FOUNDATION_H
