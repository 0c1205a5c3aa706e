#include "metadata_store.h"

#include "evidence/host_folder_volume.h"
#include "evidence/image_volume.h"
#include "evidence/mounted_image.h"
#include "file/file_metadata_store.h"
#include "content/content_import_source.h"
#include "spotlight_index/spotlight_index_store.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "type_identity/index_kind_names.h"
#include "type_identity/type_identity.h"

#include <QFileInfo>

// Without Spotlight the files of the mounted volume are the source; where
// the volume keeps its own Spotlight index, the index answers first for the
// files it holds, and its kind texts name the types of the files it lacks.
// What the files' content holds is read by the importer process installed
// beside the worker. A source that is a regular file is an image of the
// volume, read by the image reader process installed beside the worker; so
// is a mount whose image the machine tells, which would hide what macOS
// keeps beside each file.
std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root)
{
    // One volume, opened once, serves every supplier of the run.
    std::shared_ptr<const EvidenceVolume> volume;
    if (!volume_root.isEmpty() && QFileInfo(volume_root).isFile())
        volume = std::make_shared<const ImageVolume>(volume_root);
    else if (const std::optional<MountedImage> image =
                 volume_root.isEmpty() ? std::nullopt : image_behind_mount(volume_root))
        volume = std::make_shared<const ImageVolume>(image->block_device
                                                         ? open_block_device(image->image, image->device_number)
                                                         : open_image_files(image->image),
                                                     image->scope, volume_root);
    // An image that can't be read leaves the mount to answer as it can.
    if (!volume || (!QFileInfo(volume_root).isFile() && !volume->look_at(QByteArray())))
        volume = std::make_shared<const HostFolderVolume>(volume_root);
    auto files = std::make_unique<FileMetadataStore>(volume, ContentImportSource::installed());
    std::unique_ptr<SpotlightVolumeIndex> index = SpotlightVolumeIndex::read(*volume);
    if (!index)
        return files;
    // The index store owns the index and outlives the file store it holds.
    files->type_identity().set_kind_names(std::make_shared<IndexKindNames>(*index));
    return std::make_unique<SpotlightIndexStore>(volume, std::move(index), std::move(files));
}
