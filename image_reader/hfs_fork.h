#ifndef HFS_FORK_H
#define HFS_FORK_H

#include "image_bytes.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>
#include <vector>

// Where a run of a fork lies on the volume, in allocation blocks.
struct HfsExtent
{
    std::uint64_t start = 0;
    std::uint64_t count = 0;
};

// One fork on an HFS+ volume (a special file, a file's resource fork, a
// large attribute) as its 80 bytes of fork data record it: the logical size
// and the first eight extents. Further extents, kept in the extents overflow
// file, are not read: a fork that fragmented gives nothing past its eighth.
class HfsFork
{
public:
    // Size of the fork data record that describes a fork.
    static constexpr qsizetype fork_data_size = 80;

    // The fork fork_data describes on a volume of block_size-byte allocation
    // blocks; an empty fork when fork_data is too short.
    static HfsFork from_fork_data(QByteArrayView fork_data, std::uint32_t block_size);

    // Its logical size in bytes.
    std::uint64_t size() const { return size_; }
    // Fills length bytes at buffer from offset in the fork; false when they
    // lie past its logical size or its extents, or can't be read.
    bool read(const ImageBytes &volume, std::uint64_t offset, char *buffer, qint64 length) const;
    // The whole fork; nullopt when larger than max_size or unreadable.
    std::optional<QByteArray> content(const ImageBytes &volume, qint64 max_size) const;

private:
    std::uint64_t size_ = 0;
    std::uint32_t block_size_ = 0;
    std::vector<HfsExtent> extents_;
};

#endif // HFS_FORK_H
