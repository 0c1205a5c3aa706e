#include "spotlight_string_maps.h"

#include "spotlight_bytes.h"
#include "spotlight_tables.h"

#include "evidence/evidence_volume.h"

namespace {

// Larger files are no string maps of any real volume (they name attributes
// and categories, a few thousand of them); reading them would only cost
// memory and time.
constexpr qint64 max_header_size = 4096;
constexpr qint64 max_offsets_size = 16 * 1024 * 1024;
constexpr qint64 max_data_size = 64 * 1024 * 1024;

} // namespace

std::optional<SpotlightStringMap> SpotlightStringMap::from_bytes(const QByteArray &header,
                                                                 const QByteArray &offsets, QByteArray data)
{
    SpotlightByteReader reader(header);
    const char *signature = nullptr;
    quint32 data_size = 0, count = 0;
    if (!reader.read_bytes(8, signature) || QByteArray(signature + 1, 5) != "PataD")
        return std::nullopt;
    if (!reader.skip(0x14 - 8) || !reader.read_u32(data_size) || !reader.skip(4) || !reader.read_u32(count))
        return std::nullopt;

    SpotlightStringMap map;
    const quint32 present = quint32(offsets.size() / 4);
    map.offsets_.reserve(qMin(count, present));
    SpotlightByteReader offset_reader(offsets);
    for (quint32 i = 0; i < count && i < present; ++i) {
        quint32 offset = 0;
        offset_reader.read_u32(offset);
        map.offsets_.push_back(offset);
    }
    if (quint64(data_size) < quint64(data.size()))
        data.truncate(qsizetype(data_size));
    map.data_ = std::move(data);
    return map;
}

std::optional<SpotlightStringMap> SpotlightStringMap::read(const EvidenceVolume &root, const QByteArray &store_folder,
                                                          int number)
{
    QByteArray base = store_folder;
    if (!base.isEmpty() && !base.endsWith('/'))
        base += '/';
    base += "dbStr-" + QByteArray::number(number) + ".map.";
    const auto read_file = [&root, &base](const char *suffix, qint64 max_size) {
        return root.read_small_file(base + suffix, max_size, EvidenceVolume::Links::Refused);
    };
    const auto header = read_file("header", max_header_size);
    const auto offsets = header ? read_file("offsets", max_offsets_size) : std::nullopt;
    auto data = offsets ? read_file("data", max_data_size) : std::nullopt;
    if (!data)
        return std::nullopt;
    return from_bytes(*header, *offsets, std::move(*data));
}

std::optional<QByteArray> SpotlightStringMap::entry(quint32 number) const
{
    if (number >= offsets_.size())
        return std::nullopt;
    const quint32 offset = offsets_[number];
    // Offset 0 holds the map's empty first entry; unused slots point there.
    if (offset == 0 || offset >= quint64(data_.size()))
        return std::nullopt;
    SpotlightByteReader reader(data_.constData() + offset, data_.size() - offset);
    quint64 length = 0;
    const char *bytes = nullptr;
    if (!reader.read_leb128(length) || !reader.read_bytes(length, bytes))
        return std::nullopt;
    return QByteArray(bytes, qsizetype(length));
}

bool spotlight_read_string_map_tables(const EvidenceVolume &root, const QByteArray &store_folder,
                                      SpotlightTables &tables)
{
    bool read_any = false;
    const auto each_entry = [&](int number, const auto &add) {
        const auto map = SpotlightStringMap::read(root, store_folder, number);
        if (!map)
            return;
        read_any = true;
        for (quint32 i = 1; i < map->size(); ++i) {
            if (const auto bytes = map->entry(i)) {
                SpotlightByteReader entry(*bytes);
                add(i, entry);
            }
        }
    };
    if (!tables.has_properties())
        each_entry(1, [&](quint32 i, SpotlightByteReader &e) { tables.add_property(i, e); });
    if (!tables.has_categories())
        each_entry(2, [&](quint32 i, SpotlightByteReader &e) { tables.add_category(i, e); });
    using List = SpotlightTables::ListTable;
    if (!tables.has_lists(List::Plain))
        each_entry(4, [&](quint32 i, SpotlightByteReader &e) { tables.add_list(List::Plain, i, e); });
    if (!tables.has_lists(List::Localized))
        each_entry(5, [&](quint32 i, SpotlightByteReader &e) { tables.add_list(List::Localized, i, e); });
    return read_any;
}
