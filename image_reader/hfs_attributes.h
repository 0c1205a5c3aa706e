#ifndef HFS_ATTRIBUTES_H
#define HFS_ATTRIBUTES_H

#include "image_bytes.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>

// The content of the extended attribute named name (UTF-8) of the object
// numbered id on the HFS+ volume in bytes, read from the volume's
// attributes B-tree: kept inline in its record, or in a fork of its own
// (read through the first eight extents of that fork; the extent records
// that follow a fork fragmented further are not read). nullopt when the
// attribute is absent, larger than max_size, or can't be read.
std::optional<QByteArray> hfs_attribute(const ImageBytes &volume, std::uint32_t id, QByteArrayView name,
                                        qint64 max_size);

#endif // HFS_ATTRIBUTES_H
