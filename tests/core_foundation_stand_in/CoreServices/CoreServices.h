// Test-only stand-in for the two CoreServices metadata calls the macOS
// store makes; items answer from the table core_foundation_stand_in.h fills.
#ifndef VANTREL_STAND_IN_CORE_SERVICES_H
#define VANTREL_STAND_IN_CORE_SERVICES_H

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef struct __MDItem *MDItemRef;

MDItemRef MDItemCreate(CFAllocatorRef allocator, CFStringRef path);
CFTypeRef MDItemCopyAttribute(MDItemRef item, CFStringRef name);

} // extern "C"

#endif // VANTREL_STAND_IN_CORE_SERVICES_H
