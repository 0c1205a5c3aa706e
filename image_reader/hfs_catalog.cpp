#include "hfs_catalog.h"

#include "hfs_btree.h"
#include "hfs_volume_header.h"

#include <QtEndian>

#include <utility>

namespace {

// A catalog key: the parent's number, then the name's length in UTF-16
// code units and the name itself (big-endian).
constexpr qsizetype parent_at = 0;
constexpr qsizetype name_length_at = 4;
constexpr qsizetype name_at = 6;

// Catalog record types.
constexpr std::uint16_t folder_record = 1;
constexpr std::uint16_t file_record = 2;
constexpr std::uint16_t folder_thread = 3;
constexpr std::uint16_t file_thread = 4;

// Where a file or folder record holds its own number, the owner's flags,
// its Finder information and (a file record) its resource fork's fork data.
constexpr qsizetype id_at = 8;
constexpr qsizetype owner_flags_at = 41;
constexpr qsizetype finder_info_at = 48;
constexpr qsizetype finder_info_size = 32;
constexpr qsizetype folder_record_size = 88;
constexpr qsizetype resource_fork_at = 168;
constexpr qsizetype file_record_size = 248;
// The owner's flag of a file whose content is compressed.
constexpr unsigned char compressed_flag = 0x20;

std::uint32_t be16(const QByteArray &bytes, qsizetype at)
{
    return qFromBigEndian<quint16>(bytes.constData() + at);
}

std::uint32_t be32(const QByteArray &bytes, qsizetype at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

// The name in a catalog key; nullopt when the key is too short for it.
std::optional<QByteArray> name_of(const QByteArray &key)
{
    if (key.size() < name_at)
        return std::nullopt;
    const qsizetype length = 2 * qsizetype(be16(key, name_length_at));
    if (name_at + length > key.size())
        return std::nullopt;
    return key.mid(name_at, length);
}

} // namespace

std::optional<HfsCatalogEntry> hfs_catalog_entry(const ImageBytes &volume, std::uint32_t id)
{
    const std::optional<HfsVolumeHeader> header = hfs_volume_header(volume);
    HfsBTree catalog;
    if (id == 0 || !header || !catalog.open(volume, header->catalog, parent_at))
        return std::nullopt;
    // The thread record (key: the object's own number, no name) names the
    // object's parent and name: the key of its own record.
    std::optional<std::pair<std::uint32_t, QByteArray>> key;
    catalog.each_record_of(id, [&key](const HfsBTreeRecord &record) {
        const std::optional<QByteArray> name = name_of(record.key);
        if (!name || !name->isEmpty() || record.data.size() < 10)
            return true;
        const std::uint32_t type = be16(record.data, 0);
        if (type == folder_thread || type == file_thread) {
            const qsizetype name_length = be16(record.data, 8);
            if (10 + 2 * name_length <= record.data.size())
                key.emplace(be32(record.data, 4), record.data.mid(10, 2 * name_length));
        }
        return false;
    });
    if (!key)
        return std::nullopt;
    std::optional<HfsCatalogEntry> entry;
    catalog.each_record_of(key->first, [&](const HfsBTreeRecord &record) {
        if (name_of(record.key) != key->second)
            return true;
        const QByteArray &data = record.data;
        const std::uint32_t type = data.size() >= folder_record_size ? be16(data, 0) : 0;
        // The folder's or file's own number must be the one asked for.
        if ((type != folder_record && type != file_record) || be32(data, id_at) != id)
            return false;
        HfsCatalogEntry found;
        found.finder_info = data.mid(finder_info_at, finder_info_size);
        if (type == file_record && data.size() >= file_record_size) {
            found.compressed = (static_cast<unsigned char>(data[owner_flags_at]) & compressed_flag) != 0;
            found.resource_fork = HfsFork::from_fork_data(QByteArrayView(data).sliced(resource_fork_at, HfsFork::fork_data_size),
                                                          header->block_size);
        }
        entry = std::move(found);
        return false;
    });
    return entry;
}
