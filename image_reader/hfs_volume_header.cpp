#include "hfs_volume_header.h"

#include <QByteArray>
#include <QtEndian>

namespace {

constexpr qint64 header_offset = 1024;
constexpr qsizetype header_size = 512;
constexpr qsizetype block_size_at = 40;
// The fork data of the special files.
constexpr qsizetype catalog_fork_at = 0x110;
constexpr qsizetype attributes_fork_at = 0x160;

} // namespace

std::optional<HfsVolumeHeader> hfs_volume_header(const ImageBytes &volume)
{
    QByteArray header(header_size, '\0');
    if (volume.read_at(header.data(), header.size(), header_offset) != header.size())
        return std::nullopt;
    const quint16 signature = qFromBigEndian<quint16>(header.constData());
    if (signature != 0x482B && signature != 0x4858) // "H+", "HX"
        return std::nullopt;
    HfsVolumeHeader parsed;
    parsed.block_size = qFromBigEndian<quint32>(header.constData() + block_size_at);
    const std::uint32_t size = parsed.block_size;
    if (size < 512 || size > (1u << 20) || (size & (size - 1)) != 0)
        return std::nullopt;
    const QByteArrayView bytes(header);
    parsed.catalog = HfsFork::from_fork_data(bytes.sliced(catalog_fork_at, HfsFork::fork_data_size), size);
    parsed.attributes = HfsFork::from_fork_data(bytes.sliced(attributes_fork_at, HfsFork::fork_data_size), size);
    return parsed;
}
