// Spotlight itself, on macOS: the platform's metadata item of a path and
// the attribute values it copies out.

#include "metadata_store.h"

#include "core_foundation_handle.h"
#include "core_foundation_value.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <memory>

namespace {

class CoreServicesMetadataItem : public MetadataItem
{
public:
    explicit CoreServicesMetadataItem(CFHandle<MDItemRef> item) : item(std::move(item)) {}

    using MetadataItem::copy_attribute;
    MetadataValue copy_attribute(const QString &key) override
    {
        const CFHandle<CFStringRef> name = core_foundation_string(key);
        if (!name)
            return MetadataValue::null_value();
        // The copy is the caller's: released as soon as it is converted.
        const CFHandle<CFTypeRef> value(MDItemCopyAttribute(item.get(), name.get()));
        return metadata_value_of(value.get());
    }

private:
    const CFHandle<MDItemRef> item;
};

class CoreServicesMetadataStore : public MetadataStore
{
public:
    std::unique_ptr<MetadataItem> create_item(const QString &path) override
    {
        const CFHandle<CFStringRef> native_path = core_foundation_string(path);
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
