#ifndef IMAGE_VOLUMES_H
#define IMAGE_VOLUMES_H

#include "image_bytes.h"
#include "image_file_system.h"
#include "image_scope.h"

#include <memory>
#include <vector>

// The macOS volumes an image holds, recognised by its content, never its
// name: an APFS container (each of its readable volumes), an HFS+ volume,
// or a disk whose GPT partition map lists partitions holding either.
// Empty when it holds none of them.
std::vector<std::unique_ptr<ImageFileSystem>> image_volumes(const std::shared_ptr<const ImageBytes> &bytes);

// The same for the image files handed to the reader, first first: a raw
// image (one file), or the segment files of an E01 image, whose media
// holds one of the above. A scope that places a volume (a mount's offset,
// size limit or volume number) is honoured exactly: the file's raw bytes
// in that window hold the volume from their first byte, an APFS or HFS+
// one, never a disk to search.
std::vector<std::unique_ptr<ImageFileSystem>> image_file_volumes(const std::vector<int> &files,
                                                                 const ImageScope &scope = {});

#endif // IMAGE_VOLUMES_H
