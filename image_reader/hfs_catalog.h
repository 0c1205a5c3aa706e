#ifndef HFS_CATALOG_H
#define HFS_CATALOG_H

#include "hfs_fork.h"
#include "image_bytes.h"

#include <QByteArray>

#include <cstdint>
#include <optional>

// What the catalog record of a file or folder holds that libfshfs gives no
// access to.
struct HfsCatalogEntry
{
    // The 32 bytes of Finder information (FileInfo or FolderInfo, then its
    // extended part), as recorded.
    QByteArray finder_info;
    // A file's resource fork; none for a folder.
    std::optional<HfsFork> resource_fork;
    // Whether the file is compressed: its content then lies in its
    // com.apple.decmpfs attribute and resource fork, which macOS hides.
    bool compressed = false;
};

// The catalog record of the object numbered id on the HFS+ volume in bytes;
// nullopt when it can't be found. The catalog is read from the extents in
// the volume header only (an extremely fragmented catalog, whose further
// extents lie in the extents overflow file, is not read).
std::optional<HfsCatalogEntry> hfs_catalog_entry(const ImageBytes &volume, std::uint32_t id);

#endif // HFS_CATALOG_H
