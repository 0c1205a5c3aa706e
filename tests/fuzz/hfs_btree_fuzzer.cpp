// The image reader's own walks of an HFS+ volume's B-trees (the catalog
// record of an object, an attribute's record and fork) fed arbitrary tree
// files: the input is laid after a volume header whose catalog and
// attributes forks both span it, so that every mutation lands in a node.

#include "hfs_attributes.h"
#include "hfs_catalog.h"
#include "image_bytes.h"

#include <QtEndian>

#include <cstddef>
#include <cstdint>

namespace {

// Allocation blocks of 512 bytes; the header takes the first three.
constexpr std::uint32_t block_size = 512;
constexpr std::uint32_t first_block = 4;

void put_fork(QByteArray &volume, qsizetype at, std::uint32_t size)
{
    qToBigEndian<quint64>(size, volume.data() + at);
    const std::uint32_t blocks = (size + block_size - 1) / block_size;
    qToBigEndian<quint32>(blocks, volume.data() + at + 12);
    qToBigEndian<quint32>(first_block, volume.data() + at + 16);
    qToBigEndian<quint32>(blocks, volume.data() + at + 20);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size > (1u << 24))
        return 0;
    QByteArray volume(qsizetype(first_block * block_size), '\0');
    volume[1024] = 'H';
    volume[1025] = '+';
    qToBigEndian<quint32>(block_size, volume.data() + 1024 + 40);
    put_fork(volume, 1024 + 0x110, std::uint32_t(size)); // the catalog
    put_fork(volume, 1024 + 0x160, std::uint32_t(size)); // the attributes file
    volume.append(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::shared_ptr<const ImageBytes> bytes = memory_bytes(volume);
    // The root folder, the first files a volume makes, and the fixture's.
    for (const std::uint32_t id : {1u, 2u, 16u, 19u, 20u, 25u}) {
        hfs_catalog_entry(*bytes, id);
        for (const char *name : {"myxattr", "com.apple.quarantine", "com.apple.metadata:kMDItemWhereFroms"})
            hfs_attribute(*bytes, id, name, 1 << 20);
    }
    return 0;
}
