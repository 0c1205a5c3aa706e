#ifndef HFS_VOLUME_HEADER_H
#define HFS_VOLUME_HEADER_H

#include "hfs_fork.h"
#include "image_bytes.h"

#include <cstdint>
#include <optional>

// What the header of an HFS+ or HFSX volume, 1024 bytes in, tells of where
// its B-tree files lie.
struct HfsVolumeHeader
{
    std::uint32_t block_size = 0; // of an allocation block, in bytes
    HfsFork catalog;
    HfsFork attributes; // empty on a volume that never held an attribute
};

// The header of the volume in bytes; nullopt when it has no HFS+ or HFSX
// signature or its block size is not a power of two from 512 B to 1 MiB.
std::optional<HfsVolumeHeader> hfs_volume_header(const ImageBytes &volume);

#endif // HFS_VOLUME_HEADER_H
