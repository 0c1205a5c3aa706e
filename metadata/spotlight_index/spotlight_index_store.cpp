#include "spotlight_index_store.h"

#include "spotlight_volume_index.h"

namespace {

class SpotlightIndexItem : public MetadataItem
{
public:
    SpotlightIndexItem(std::vector<SpotlightAttribute> attributes, std::unique_ptr<MetadataItem> fallback)
        : attributes_(std::move(attributes)), fallback_(std::move(fallback))
    {
    }

    MetadataValue copy_attribute(const QString &key) override
    {
        // A name the index defines twice: the first value the item holds counts.
        for (const SpotlightAttribute &attribute : attributes_) {
            if (attribute.name == key && attribute.value.kind != MetadataValue::Kind::Null)
                return attribute.value;
        }
        return fallback_ ? fallback_->copy_attribute(key) : MetadataValue::null_value();
    }

private:
    std::vector<SpotlightAttribute> attributes_;
    std::unique_ptr<MetadataItem> fallback_;
};

} // namespace

SpotlightIndexStore::SpotlightIndexStore(const QString &volume_root, std::unique_ptr<SpotlightVolumeIndex> index,
                                         std::unique_ptr<MetadataStore> fallback)
    : volume_root_(volume_root), evidence_(volume_root), index_(std::move(index)), fallback_(std::move(fallback))
{
}

SpotlightIndexStore::~SpotlightIndexStore() = default;

std::unique_ptr<MetadataStore> SpotlightIndexStore::wrap(const QString &volume_root,
                                                         std::unique_ptr<MetadataStore> fallback)
{
    auto index = SpotlightVolumeIndex::read(volume_root);
    if (!index)
        return fallback;
    return std::make_unique<SpotlightIndexStore>(volume_root, std::move(index), std::move(fallback));
}

std::unique_ptr<MetadataItem> SpotlightIndexStore::create_item(const QString &path)
{
    // The index outlives the files it describes: a deleted file's values
    // are no metadata of anything the volume still holds.
    const std::optional<QByteArray> on_volume = evidence_.relative_path(path);
    if (!on_volume || !evidence_.look_at(*on_volume))
        return nullptr;

    std::unique_ptr<MetadataItem> fallback_item = fallback_ ? fallback_->create_item(path) : nullptr;

    // A file's path is the volume root directly followed by its path on the volume.
    if (!path.startsWith(volume_root_))
        return fallback_item;
    const QString relative = path.mid(volume_root_.size());
    if (!relative.isEmpty() && !relative.startsWith(QLatin1Char('/')) && !volume_root_.endsWith(QLatin1Char('/')))
        return fallback_item;

    auto attributes = index_->attributes(relative);
    if (!attributes)
        return fallback_item;
    return std::make_unique<SpotlightIndexItem>(std::move(*attributes), std::move(fallback_item));
}
