#include "core_foundation_value.h"

#include <vector>

CFHandle<CFStringRef> core_foundation_string(const QString &text)
{
    return CFHandle<CFStringRef>(CFStringCreateWithCharacters(
        kCFAllocatorDefault, reinterpret_cast<const UniChar *>(text.utf16()), CFIndex(text.size())));
}

QString text_of_core_foundation_string(CFStringRef string)
{
    const CFIndex length = CFStringGetLength(string);
    // A string value is never "no value", however short.
    if (length <= 0)
        return QString(QLatin1String(""));
    QString text(qsizetype(length), Qt::Uninitialized);
    // Code units are copied as they are: characters beyond the basic plane
    // keep both halves of their surrogate pair.
    CFStringGetCharacters(string, CFRangeMake(0, length), reinterpret_cast<UniChar *>(text.data()));
    return text;
}

namespace {

MetadataValue value_of(CFTypeRef ref, bool with_items);

MetadataValue array_value(CFArrayRef array, bool with_items)
{
    std::vector<MetadataValue> items;
    if (with_items) {
        const CFIndex count = CFArrayGetCount(array);
        items.reserve(std::size_t(count));
        // Items are borrowed from the array, not owned: none is released here.
        for (CFIndex i = 0; i < count; ++i)
            items.push_back(value_of(CFArrayGetValueAtIndex(array, i), false));
    }
    return MetadataValue::from_array(std::move(items));
}

// Arrays inside an array keep their kind but not their items: no text
// shows them.
MetadataValue value_of(CFTypeRef ref, bool with_items)
{
    if (!ref)
        return MetadataValue::null_value();
    const CFTypeID type = CFGetTypeID(ref);
    if (type == CFStringGetTypeID())
        return MetadataValue::from_text(text_of_core_foundation_string(static_cast<CFStringRef>(ref)));
    // Spotlight's yes and no are numbers to the examiner: 1 and 0.
    if (type == CFBooleanGetTypeID())
        return MetadataValue::from_number(CFBooleanGetValue(static_cast<CFBooleanRef>(ref)) ? 1.0 : 0.0);
    if (type == CFNumberGetTypeID()) {
        double number = 0.0;
        CFNumberGetValue(static_cast<CFNumberRef>(ref), kCFNumberDoubleType, &number);
        return MetadataValue::from_number(number);
    }
    if (type == CFArrayGetTypeID())
        return array_value(static_cast<CFArrayRef>(ref), with_items);
    if (type == CFDateGetTypeID()) {
        return MetadataValue::from_date(CFDateGetAbsoluteTime(static_cast<CFDateRef>(ref))
                                        + kCFAbsoluteTimeIntervalSince1970);
    }
    return MetadataValue::other();
}

} // namespace

MetadataValue metadata_value_of(CFTypeRef ref)
{
    return value_of(ref, true);
}
