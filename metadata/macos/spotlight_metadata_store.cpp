// Spotlight itself, on macOS: the platform's metadata items and the
// CoreFoundation values they hand back.

#include "metadata_store.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <memory>
#include <type_traits>

namespace {

// Every CoreFoundation object this file obtains through a Create or Copy
// call is released exactly once, by the handle that holds it.
struct CFReleaser
{
    void operator()(CFTypeRef ref) const { CFRelease(ref); }
};
template <typename Ref>
using CFHandle = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;

MetadataValue value_of(CFTypeRef ref, bool with_items);

MetadataValue array_value(CFArrayRef array, bool with_items)
{
    std::vector<MetadataValue> items;
    if (with_items) {
        const CFIndex count = CFArrayGetCount(array);
        items.reserve(std::size_t(count));
        // Items are borrowed from the array, not owned.
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
    if (type == CFStringGetTypeID()) {
        const QString text = QString::fromCFString(static_cast<CFStringRef>(ref));
        // A string value is never "no value", however short.
        return MetadataValue::from_text(text.isNull() ? QString(QLatin1String("")) : text);
    }
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

class CoreServicesMetadataItem : public MetadataItem
{
public:
    explicit CoreServicesMetadataItem(CFHandle<MDItemRef> item) : item(std::move(item)) {}

    MetadataValue copy_attribute(const QString &key) override
    {
        const CFHandle<CFStringRef> name(key.toCFString());
        if (!name)
            return MetadataValue::null_value();
        const CFHandle<CFTypeRef> value(MDItemCopyAttribute(item.get(), name.get()));
        return value_of(value.get(), true);
    }

private:
    const CFHandle<MDItemRef> item;
};

class CoreServicesMetadataStore : public MetadataStore
{
public:
    std::unique_ptr<MetadataItem> create_item(const QString &path) override
    {
        const CFHandle<CFStringRef> native_path(path.toCFString());
        if (!native_path)
            return nullptr;
        CFHandle<MDItemRef> item(MDItemCreate(kCFAllocatorDefault, native_path.get()));
        if (!item)
            return nullptr;
        return std::make_unique<CoreServicesMetadataItem>(std::move(item));
    }
};

} // namespace

std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root)
{
    // Spotlight finds every volume's index itself.
    Q_UNUSED(volume_root);
    return std::make_unique<CoreServicesMetadataStore>();
}
