#ifndef SPOTLIGHT_STRING_MAPS_H
#define SPOTLIGHT_STRING_MAPS_H

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

class EvidenceVolume;
class SpotlightTables;

// One external string map of a store (dbStr-N.map.header, .offsets, .data;
// the .buckets hash is only for writers). Newer stores keep their tables in
// these files instead of in table pages of store.db. An entry's number is
// its place in the offsets file; the data file holds, at that offset, the
// entry's length (seven bits a byte) and its bytes.
class SpotlightStringMap
{
public:
    static std::optional<SpotlightStringMap> from_bytes(const QByteArray &header, const QByteArray &offsets,
                                                        QByteArray data);
    // Reads dbStr-<number>.map.* of a store folder beneath the evidence
    // root, as regular files and through no link; nothing when a file is
    // missing, too large, no regular file or not a string map.
    static std::optional<SpotlightStringMap> read(const EvidenceVolume &root, const QByteArray &store_folder,
                                                  int number);

    quint32 size() const { return quint32(offsets_.size()); }
    // The bytes of one entry; nothing for an empty slot or one pointing
    // outside the data.
    std::optional<QByteArray> entry(quint32 number) const;

private:
    std::vector<quint32> offsets_;
    QByteArray data_;
};

// Fills the tables a store's pages lack from the string maps beside it:
// 1 attribute names, 2 categories, 4 category lists, 5 localized category
// lists. Returns whether any map was read.
bool spotlight_read_string_map_tables(const EvidenceVolume &root, const QByteArray &store_folder,
                                      SpotlightTables &tables);

#endif // SPOTLIGHT_STRING_MAPS_H
