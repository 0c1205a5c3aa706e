#include "hfs_fork.h"

#include <QtEndian>

namespace {

// Fork data: the logical size, the clump size, the block count, then
// eight extents of a start block and a block count each.
constexpr qsizetype extents_at = 16;
constexpr int extent_count = 8;

} // namespace

HfsFork HfsFork::from_fork_data(QByteArrayView fork_data, std::uint32_t block_size)
{
    HfsFork fork;
    if (fork_data.size() < fork_data_size || block_size == 0)
        return fork;
    const char *data = fork_data.data();
    fork.size_ = qFromBigEndian<quint64>(data);
    fork.block_size_ = block_size;
    for (int index = 0; index < extent_count; ++index) {
        const char *extent = data + extents_at + index * 8;
        const HfsExtent run{qFromBigEndian<quint32>(extent), qFromBigEndian<quint32>(extent + 4)};
        // An empty extent ends the list.
        if (run.count == 0)
            break;
        fork.extents_.push_back(run);
    }
    return fork;
}

bool HfsFork::read(const ImageBytes &volume, std::uint64_t offset, char *buffer, qint64 length) const
{
    if (length < 0 || offset > size_ || std::uint64_t(length) > size_ - offset)
        return false;
    qint64 filled = 0;
    std::uint64_t extent_start = 0; // in the fork, bytes
    for (const HfsExtent &extent : extents_) {
        if (filled == length)
            break;
        // Block numbers and counts are 32 bits and blocks at most 1 MiB:
        // no product overflows.
        const std::uint64_t extent_size = extent.count * block_size_;
        const std::uint64_t at = offset + std::uint64_t(filled);
        if (at >= extent_start && at < extent_start + extent_size) {
            const std::uint64_t within = at - extent_start;
            const qint64 part = qint64(qMin<std::uint64_t>(extent_size - within, std::uint64_t(length - filled)));
            const qint64 volume_offset = qint64(extent.start * block_size_ + within);
            if (volume.read_at(buffer + filled, part, volume_offset) != part)
                return false;
            filled += part;
        }
        extent_start += extent_size;
    }
    return filled == length;
}

std::optional<QByteArray> HfsFork::content(const ImageBytes &volume, qint64 max_size) const
{
    if (max_size < 0 || size_ > std::uint64_t(max_size))
        return std::nullopt;
    QByteArray bytes(qsizetype(size_), Qt::Uninitialized);
    if (!read(volume, 0, bytes.data(), bytes.size()))
        return std::nullopt;
    return bytes;
}
