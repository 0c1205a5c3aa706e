#include "core_foundation_stand_in.h"

#include <CoreServices/CoreServices.h>

#include <cstring>
#include <map>
#include <memory>

namespace {

enum TypeId : CFTypeID { string_type = 7, number_type = 22, boolean_type = 21, date_type = 42,
                         array_type = 18, other_type = 20, item_type = 60 };

// Objects are never freed before reset(), so that a release too many is
// counted rather than undefined.
struct Object
{
    CFTypeID type = other_type;
    long references = 1;
    std::u16string text;
    double number = 0.0;
    std::vector<CFTypeRef> items;
};

struct State
{
    std::vector<std::unique_ptr<Object>> objects;
    std::map<std::u16string, std::map<std::u16string, CFTypeRef>> items;
    core_foundation_stand_in::Counts counts;
};

State &state()
{
    static State instance;
    return instance;
}

Object *make(CFTypeID type)
{
    state().objects.push_back(std::make_unique<Object>());
    Object *object = state().objects.back().get();
    object->type = type;
    ++state().counts.created;
    return object;
}

// The object behind a reference, or nullptr (counted as a fault) for a
// null or dead one.
const Object *alive(CFTypeRef ref)
{
    const Object *object = static_cast<const Object *>(ref);
    if (!object || object->references <= 0) {
        ++state().counts.faults;
        return nullptr;
    }
    return object;
}

template <typename Ref>
Ref as(const Object *object)
{
    return reinterpret_cast<Ref>(object);
}

} // namespace

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFTypeID CFGetTypeID(CFTypeRef cf)
{
    const Object *object = alive(cf);
    return object ? object->type : 0;
}

CFTypeRef CFRetain(CFTypeRef cf)
{
    if (alive(cf))
        ++const_cast<Object *>(static_cast<const Object *>(cf))->references;
    return cf;
}

void CFRelease(CFTypeRef cf)
{
    if (!alive(cf))
        return;
    Object *object = const_cast<Object *>(static_cast<const Object *>(cf));
    if (--object->references > 0)
        return;
    ++state().counts.destroyed;
    for (CFTypeRef item : object->items)
        CFRelease(item);
}

CFTypeID CFStringGetTypeID(void) { return string_type; }
CFTypeID CFNumberGetTypeID(void) { return number_type; }
CFTypeID CFBooleanGetTypeID(void) { return boolean_type; }
CFTypeID CFDateGetTypeID(void) { return date_type; }
CFTypeID CFArrayGetTypeID(void) { return array_type; }

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar *chars, CFIndex numChars)
{
    Object *object = make(string_type);
    object->text.assign(reinterpret_cast<const char16_t *>(chars), std::size_t(numChars));
    return as<CFStringRef>(object);
}

CFIndex CFStringGetLength(CFStringRef theString)
{
    const Object *object = alive(theString);
    return object ? CFIndex(object->text.size()) : 0;
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar *buffer)
{
    const Object *object = alive(theString);
    if (!object || range.location < 0 || range.length < 0
        || std::size_t(range.location + range.length) > object->text.size()) {
        ++state().counts.faults;
        return;
    }
    std::memcpy(buffer, object->text.data() + range.location, std::size_t(range.length) * sizeof(UniChar));
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr)
{
    const Object *object = alive(number);
    if (!object || theType != kCFNumberDoubleType)
        return false;
    *static_cast<double *>(valuePtr) = object->number;
    return true;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean)
{
    const Object *object = alive(boolean);
    return object && object->number != 0.0;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate)
{
    const Object *object = alive(theDate);
    return object ? object->number : 0.0;
}

CFIndex CFArrayGetCount(CFArrayRef theArray)
{
    const Object *object = alive(theArray);
    return object ? CFIndex(object->items.size()) : 0;
}

const void *CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx)
{
    const Object *object = alive(theArray);
    if (!object || idx < 0 || std::size_t(idx) >= object->items.size()) {
        ++state().counts.faults;
        return nullptr;
    }
    return object->items[std::size_t(idx)];
}

MDItemRef MDItemCreate(CFAllocatorRef, CFStringRef path)
{
    const Object *name = alive(path);
    if (!name || state().items.count(name->text) == 0)
        return nullptr;
    Object *item = make(item_type);
    item->text = name->text;
    return reinterpret_cast<MDItemRef>(item);
}

CFTypeRef MDItemCopyAttribute(MDItemRef item, CFStringRef name)
{
    const Object *owner = alive(item);
    const Object *key = alive(name);
    if (!owner || !key || owner->type != item_type)
        return nullptr;
    const auto &attributes = state().items[owner->text];
    const auto found = attributes.find(key->text);
    // A copy belongs to the caller: one more reference.
    return found == attributes.end() ? nullptr : CFRetain(found->second);
}

} // extern "C"

namespace core_foundation_stand_in {

CFStringRef make_string(const std::u16string &units)
{
    return CFStringCreateWithCharacters(kCFAllocatorDefault, reinterpret_cast<const UniChar *>(units.data()),
                                        CFIndex(units.size()));
}

CFNumberRef make_number(double value)
{
    Object *object = make(number_type);
    object->number = value;
    return as<CFNumberRef>(object);
}

CFBooleanRef make_boolean(bool value)
{
    Object *object = make(boolean_type);
    object->number = value ? 1.0 : 0.0;
    return as<CFBooleanRef>(object);
}

CFDateRef make_date(CFAbsoluteTime seconds_since_2001)
{
    Object *object = make(date_type);
    object->number = seconds_since_2001;
    return as<CFDateRef>(object);
}

CFArrayRef make_array(const std::vector<CFTypeRef> &items)
{
    Object *object = make(array_type);
    for (CFTypeRef item : items)
        object->items.push_back(CFRetain(item));
    return as<CFArrayRef>(object);
}

CFTypeRef make_other()
{
    return make(other_type);
}

void add_item(const std::u16string &path, const std::vector<std::pair<std::u16string, CFTypeRef>> &attributes)
{
    auto &item = state().items[path];
    for (const auto &attribute : attributes)
        item[attribute.first] = attribute.second;
}

void clear_items()
{
    for (const auto &item : state().items) {
        for (const auto &attribute : item.second)
            CFRelease(attribute.second);
    }
    state().items.clear();
}

Counts counts()
{
    return state().counts;
}

void reset()
{
    state() = State();
}

} // namespace core_foundation_stand_in
