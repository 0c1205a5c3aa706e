#include "metadata_store.h"

#include "file/file_metadata_store.h"
#include "importers/content_import_source.h"
#include "spotlight_index/spotlight_index_store.h"

// Without Spotlight the files of the mounted volume are the source; where
// the volume keeps its own Spotlight index, the index answers first for the
// files it holds. What the files' content holds is read by the importer
// process installed beside the worker.
std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root)
{
    return SpotlightIndexStore::wrap(
        volume_root,
        std::make_unique<FileMetadataStore>(volume_root, ContentImportSource::beside_worker(volume_root)));
}
