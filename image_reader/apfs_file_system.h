#ifndef APFS_FILE_SYSTEM_H
#define APFS_FILE_SYSTEM_H

#include "image_bytes.h"
#include "image_file_system.h"

#include <memory>
#include <vector>

// Whether bytes hold an APFS container: its superblock's magic "NXSB".
bool holds_apfs_container(const ImageBytes &bytes);

// The readable volumes of the APFS container in bytes, read by libfsapfs;
// a volume that is encrypted and locked is left out. Empty when the
// container can't be opened.
std::vector<std::unique_ptr<ImageFileSystem>> apfs_volumes(std::shared_ptr<const ImageBytes> bytes);

#endif // APFS_FILE_SYSTEM_H
