#include "metadata_store.h"

#include "file_metadata_store.h"

std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root)
{
    // Without Spotlight the files of the mounted volume are the only source.
    Q_UNUSED(volume_root);
    return std::make_unique<FileMetadataStore>();
}
