#include "gpt_partitions.h"

#include <QByteArray>

#include <cstring>

namespace {

std::uint64_t little_endian(const QByteArray &bytes, int at, int size)
{
    std::uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

QByteArray read(const ImageBytes &bytes, qint64 offset, qint64 length)
{
    QByteArray buffer(qsizetype(length), Qt::Uninitialized);
    if (bytes.read_at(buffer.data(), length, offset) != length)
        return QByteArray();
    return buffer;
}

// The partitions a header in the sector at sector_size lists; empty when
// there is no header there.
std::vector<PartitionExtent> partitions_with_sectors_of(const ImageBytes &bytes, qint64 sector_size)
{
    std::vector<PartitionExtent> partitions;
    const QByteArray header = read(bytes, sector_size, sector_size);
    if (header.isEmpty() || std::memcmp(header.constData(), "EFI PART", 8) != 0)
        return partitions;
    const std::uint64_t header_size = little_endian(header, 12, 4);
    const std::uint64_t entries_sector = little_endian(header, 72, 8);
    const std::uint64_t entry_count = little_endian(header, 80, 4);
    const std::uint64_t entry_size = little_endian(header, 84, 4);
    const std::uint64_t sectors = std::uint64_t(bytes.size() / sector_size);
    if (header_size < 92 || header_size > std::uint64_t(sector_size) || entry_size < 128 || entry_size > 4096
        || entry_size % 8 != 0 || entries_sector < 2 || entries_sector >= sectors)
        return partitions;
    const std::uint64_t count = qMin<std::uint64_t>(entry_count, max_gpt_entries);
    const QByteArray entries = read(bytes, qint64(entries_sector) * sector_size, qint64(count * entry_size));
    if (entries.isEmpty())
        return partitions;
    for (std::uint64_t index = 0; index < count; ++index) {
        const int at = int(index * entry_size);
        static const char unused[16] = {};
        // An entry of type zero is unused.
        if (std::memcmp(entries.constData() + at, unused, sizeof unused) == 0)
            continue;
        const std::uint64_t first = little_endian(entries, at + 32, 8);
        const std::uint64_t last = little_endian(entries, at + 40, 8);
        if (first == 0 || first > last || last >= sectors)
            continue;
        partitions.push_back({qint64(first) * sector_size, qint64(last - first + 1) * sector_size});
    }
    return partitions;
}

} // namespace

std::vector<PartitionExtent> gpt_partitions(const ImageBytes &bytes)
{
    // Disks of 512-byte sectors, then of 4096-byte ones (Macs' own drives).
    for (const qint64 sector_size : {512, 4096}) {
        std::vector<PartitionExtent> partitions = partitions_with_sectors_of(bytes, sector_size);
        if (!partitions.empty())
            return partitions;
    }
    return {};
}
