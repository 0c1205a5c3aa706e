#include "image_volumes.h"

#include "apfs_file_system.h"
#include "gpt_partitions.h"
#include "hfs_file_system.h"

namespace {

// The volumes of bytes that hold one file system (only the container's
// volume numbered only_volume, when not 0); false when they hold none.
bool add_file_system(const std::shared_ptr<const ImageBytes> &bytes,
                     std::vector<std::unique_ptr<ImageFileSystem>> &volumes, std::uint32_t only_volume = 0)
{
    if (holds_apfs_container(*bytes)) {
        for (std::unique_ptr<ImageFileSystem> &volume : apfs_volumes(bytes, only_volume))
            volumes.push_back(std::move(volume));
        return true;
    }
    // An HFS+ volume is one volume, not a container to number.
    if (holds_hfs_volume(*bytes) && only_volume == 0) {
        if (std::unique_ptr<ImageFileSystem> volume = hfs_volume(bytes))
            volumes.push_back(std::move(volume));
        return true;
    }
    return false;
}

} // namespace

std::vector<std::unique_ptr<ImageFileSystem>> image_volumes(const std::shared_ptr<const ImageBytes> &bytes)
{
    std::vector<std::unique_ptr<ImageFileSystem>> volumes;
    if (!bytes || add_file_system(bytes, volumes))
        return volumes;
    for (const PartitionExtent &partition : gpt_partitions(*bytes)) {
        if (const std::shared_ptr<const ImageBytes> window = window_bytes(bytes, partition.offset, partition.size))
            add_file_system(window, volumes);
    }
    return volumes;
}

std::vector<std::unique_ptr<ImageFileSystem>> image_file_volumes(const std::vector<int> &files,
                                                                 const ImageScope &scope)
{
    if (files.empty())
        return {};
    const std::shared_ptr<const ImageBytes> first = file_bytes(files.front());
    if (!first)
        return {};
    if (scope.places_volume()) {
        std::vector<std::unique_ptr<ImageFileSystem>> volumes;
        if (scope.offset > std::uint64_t(INT64_MAX) || scope.size > std::uint64_t(INT64_MAX))
            return volumes;
        const std::shared_ptr<const ImageBytes> window =
            scope.offset == 0 && scope.size == 0
                ? first
                : window_bytes(first, qint64(scope.offset), scope.size == 0 ? INT64_MAX : qint64(scope.size));
        if (window)
            add_file_system(window, volumes, scope.volume);
        return volumes;
    }
    if (is_ewf_segment(*first))
        return image_volumes(ewf_media_bytes(files));
    return image_volumes(first);
}
