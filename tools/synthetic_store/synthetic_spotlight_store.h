#ifndef SYNTHETIC_SPOTLIGHT_STORE_H
#define SYNTHETIC_SPOTLIGHT_STORE_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

// Writes stores the way a volume's Spotlight index lays them out (header,
// block map, attribute table page, compressed metadata pages), for tests
// and for benchmarks of the index reader.
namespace synthetic_spotlight {

// One item of a small store: its file name and display name.
struct SyntheticItem
{
    quint64 id = 0;
    quint64 parent = 0;
    quint64 updated = 0;
    QString name;
    QString display_name;
};

enum class Compression { Zlib, Lz4 };

// The index's variable-length integer.
QByteArray varint(quint64 value);
QByteArray u32(quint32 value);

// A page around body, padded to whole blocks; compressed unless told not to.
QByteArray page(const QByteArray &body, quint32 flags, quint32 decompressed_size, bool compress,
                          Compression compression = Compression::Zlib);

// The record of an item: header, file name (property 1), display name (2).
QByteArray record(const SyntheticItem &item);

// A metadata page of records, each preceded by its size.
QByteArray records_page(const QList<QByteArray> &records,
                                  Compression compression = Compression::Zlib);

// The attributes every synthetic store defines: number, type, flags, name.
struct Property
{
    quint32 number;
    quint8 type;
    quint8 flags;
    const char *name;
};
const QList<Property> &properties();

// Header block, block map, attribute table page, then the metadata pages,
// each listed map_repeat times in the block map.
QByteArray assemble_store(const QList<QByteArray> &metadata_pages, int map_repeat = 1);
// What precedes the metadata pages in the store assemble_store makes of
// pages of these sizes, so that large stores can be written page by page.
QByteArray store_head(const QList<qsizetype> &metadata_page_sizes, int map_repeat = 1);

// A whole store of items, items_per_page records to a page.
QByteArray synthetic_store(const QList<SyntheticItem> &items, int items_per_page = 500);

} // namespace synthetic_spotlight

#endif // SYNTHETIC_SPOTLIGHT_STORE_H
