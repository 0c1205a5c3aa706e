#include "image_volumes.h"

#include "apfs_file_system.h"
#include "gpt_partitions.h"
#include "hfs_file_system.h"

namespace {

// The volumes of bytes that hold one file system; false when they hold none.
bool add_file_system(const std::shared_ptr<const ImageBytes> &bytes,
                     std::vector<std::unique_ptr<ImageFileSystem>> &volumes)
{
    if (holds_apfs_container(*bytes)) {
        for (std::unique_ptr<ImageFileSystem> &volume : apfs_volumes(bytes))
            volumes.push_back(std::move(volume));
        return true;
    }
    if (holds_hfs_volume(*bytes)) {
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

std::vector<std::unique_ptr<ImageFileSystem>> image_file_volumes(const std::vector<int> &files)
{
    if (files.empty())
        return {};
    const std::shared_ptr<const ImageBytes> first = file_bytes(files.front());
    if (!first)
        return {};
    if (is_ewf_segment(*first))
        return image_volumes(ewf_media_bytes(files));
    return image_volumes(first);
}
