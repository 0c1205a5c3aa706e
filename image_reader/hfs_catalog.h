#ifndef HFS_CATALOG_H
#define HFS_CATALOG_H

#include "image_bytes.h"

#include <QByteArray>

#include <cstdint>
#include <optional>

// The 32 bytes of Finder information (FileInfo or FolderInfo, then its
// extended part) that the catalog record of the object numbered id holds
// on the HFS+ volume in bytes; nullopt when the record can't be found.
// libfshfs gives no access to them. The catalog is read from the extents
// in the volume header only (an extremely fragmented catalog, whose further
// extents lie in the extents overflow file, is not read), and every walk is
// bounded: a damaged or hostile catalog costs the value, never a hang.
std::optional<QByteArray> hfs_catalog_finder_info(const ImageBytes &volume, std::uint32_t id);

#endif // HFS_CATALOG_H
