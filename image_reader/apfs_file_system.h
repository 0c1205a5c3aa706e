#ifndef APFS_FILE_SYSTEM_H
#define APFS_FILE_SYSTEM_H

#include "image_bytes.h"
#include "image_file_system.h"

#include <cstdint>
#include <memory>
#include <vector>

// Whether bytes hold an APFS container: its superblock's magic "NXSB".
bool holds_apfs_container(const ImageBytes &bytes);

// The readable volumes of the APFS container in bytes, read by libfsapfs;
// a volume that is encrypted and locked is left out. Only the volume
// numbered only_volume (from 1, in the container's order) when it is not
// 0. Empty when the container can't be opened.
std::vector<std::unique_ptr<ImageFileSystem>> apfs_volumes(std::shared_ptr<const ImageBytes> bytes,
                                                           std::uint32_t only_volume = 0);

#endif // APFS_FILE_SYSTEM_H
