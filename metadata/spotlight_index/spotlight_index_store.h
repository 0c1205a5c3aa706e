#ifndef SPOTLIGHT_INDEX_STORE_H
#define SPOTLIGHT_INDEX_STORE_H

#include "evidence/evidence_volume.h"
#include "metadata_store.h"

#include <QString>

#include <memory>

class SpotlightVolumeIndex;

// Answers from the volume's own Spotlight index where it holds the file,
// and from another store (the files themselves) for everything else: the
// keys the index item lacks, and files the index has no item for. A file
// the volume no longer holds has no item, whatever the index remembers.
class SpotlightIndexStore : public MetadataStore
{
public:
    SpotlightIndexStore(const QString &volume_root, std::unique_ptr<SpotlightVolumeIndex> index,
                        std::unique_ptr<MetadataStore> fallback);
    // The same over volume, shared with the run's other suppliers.
    SpotlightIndexStore(std::shared_ptr<const EvidenceVolume> volume, std::unique_ptr<SpotlightVolumeIndex> index,
                        std::unique_ptr<MetadataStore> fallback);
    ~SpotlightIndexStore() override;

    std::unique_ptr<MetadataItem> create_item(const QString &path) override;

private:
    std::shared_ptr<const EvidenceVolume> volume_;
    std::unique_ptr<SpotlightVolumeIndex> index_;
    std::unique_ptr<MetadataStore> fallback_;
};

#endif // SPOTLIGHT_INDEX_STORE_H
