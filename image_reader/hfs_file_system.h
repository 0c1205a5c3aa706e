#ifndef HFS_FILE_SYSTEM_H
#define HFS_FILE_SYSTEM_H

#include "image_bytes.h"
#include "image_file_system.h"

#include <memory>

// Whether bytes hold an HFS+ (or HFSX) volume: its header's signature
// 1024 bytes in.
bool holds_hfs_volume(const ImageBytes &bytes);

// The HFS+ volume in bytes, read by libfshfs; nullptr when it can't be opened.
std::unique_ptr<ImageFileSystem> hfs_volume(std::shared_ptr<const ImageBytes> bytes);

#endif // HFS_FILE_SYSTEM_H
