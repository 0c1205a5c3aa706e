#include "metadata_store.h"

namespace {

// Stands in until the file-based store exists: no file has an item.
class NoMetadataStore : public MetadataStore
{
public:
    std::unique_ptr<MetadataItem> create_item(const QString &) override { return nullptr; }
};

} // namespace

std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root)
{
    Q_UNUSED(volume_root);
    return std::make_unique<NoMetadataStore>();
}
