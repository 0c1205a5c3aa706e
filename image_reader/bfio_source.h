#ifndef BFIO_SOURCE_H
#define BFIO_SOURCE_H

#include "image_bytes.h"

#include <libbfio.h>

#include <memory>

// A libbfio handle that reads bytes, so that the file-system libraries and
// libewf read the image through the reader's own sources (descriptors it
// was handed, partitions, an E01's media) and never open a file by name.
// The caller frees the handle (or hands it to a pool that does); nullptr
// when libbfio refuses it.
libbfio_handle_t *new_bfio_handle(std::shared_ptr<const ImageBytes> bytes);

#endif // BFIO_SOURCE_H
