#include "spotlight_index_store.h"

#include "spotlight_volume_index.h"

#include "evidence/host_folder_volume.h"

namespace {

class SpotlightIndexItem : public MetadataItem
{
public:
    SpotlightIndexItem(SpotlightItemRecord record, MetadataStore *fallback_store, QString path)
        : record_(std::move(record)), fallback_store_(fallback_store), path_(std::move(path))
    {
    }

    MetadataValue copy_attribute(const QString &key) override { return copy_attribute(MetadataKey(key)); }
    MetadataValue copy_attribute(const MetadataKey &key) override
    {
        MetadataValue value = record_.value(key.name());
        if (value.kind != MetadataValue::Kind::Null)
            return value;
        // The file itself is looked at only once the index lacks a key.
        if (!fallback_looked_up_) {
            fallback_looked_up_ = true;
            if (fallback_store_)
                fallback_ = fallback_store_->create_item(path_);
        }
        return fallback_ ? fallback_->copy_attribute(key) : MetadataValue::null_value();
    }

private:
    SpotlightItemRecord record_;
    MetadataStore *fallback_store_;
    QString path_;
    bool fallback_looked_up_ = false;
    std::unique_ptr<MetadataItem> fallback_;
};

} // namespace

SpotlightIndexStore::SpotlightIndexStore(const QString &volume_root, std::unique_ptr<SpotlightVolumeIndex> index,
                                         std::unique_ptr<MetadataStore> fallback)
    : SpotlightIndexStore(std::make_shared<HostFolderVolume>(volume_root), std::move(index), std::move(fallback))
{
}

SpotlightIndexStore::SpotlightIndexStore(std::shared_ptr<const EvidenceVolume> volume,
                                         std::unique_ptr<SpotlightVolumeIndex> index,
                                         std::unique_ptr<MetadataStore> fallback)
    : volume_(std::move(volume)), index_(std::move(index)), fallback_(std::move(fallback))
{
}

SpotlightIndexStore::~SpotlightIndexStore() = default;

std::unique_ptr<MetadataItem> SpotlightIndexStore::create_item(const QString &path)
{
    // Nothing outside the volume is a file of it, whoever else might answer.
    const std::optional<QByteArray> on_volume = volume_->relative_path(path);
    if (!on_volume)
        return nullptr;
    // Files the index lacks go to the file store, which looks them up itself.
    const auto from_files = [this, &path] { return fallback_ ? fallback_->create_item(path) : nullptr; };

    // A file's path is the volume root directly followed by its path on the volume.
    auto record = index_->record(path.mid(volume_->volume_root().size()));
    if (!record)
        return from_files();
    // The index outlives the files it describes: a deleted file's values
    // are no metadata of anything the volume still holds.
    if (!volume_->look_at(*on_volume))
        return nullptr;
    return std::make_unique<SpotlightIndexItem>(std::move(*record), fallback_.get(), path);
}
