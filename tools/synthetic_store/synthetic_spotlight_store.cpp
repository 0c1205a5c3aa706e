#include "synthetic_spotlight_store.h"

#include "spotlight_keys.h"

#include <QtEndian>

#include <lz4.h>

namespace synthetic_spotlight {

QByteArray varint(quint64 value)
{
    QByteArray bytes;
    for (int following = 0; following < 8; ++following) {
        const int bits = 7 - following + 8 * following;
        if (value >> bits)
            continue;
        bytes.append(char(((0xff00 >> following) & 0xff) | (value >> (8 * following))));
        for (int i = following - 1; i >= 0; --i)
            bytes.append(char(value >> (8 * i)));
        return bytes;
    }
    bytes.append(char(0xff));
    for (int i = 0; i < 8; ++i)
        bytes.append(char(value >> (8 * i)));
    return bytes;
}

QByteArray u32(quint32 value)
{
    QByteArray bytes(4, 0);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

namespace {

// One "bv41" block holding the whole body, then the end marker.
QByteArray lz4_framed(const QByteArray &body)
{
    QByteArray compressed(LZ4_compressBound(int(body.size())), Qt::Uninitialized);
    const int size = LZ4_compress_default(body.constData(), compressed.data(), int(body.size()),
                                          int(compressed.size()));
    compressed.truncate(size);
    return "bv41" + u32(quint32(body.size())) + u32(quint32(size)) + compressed + "bv4$";
}

} // namespace

QByteArray page(const QByteArray &body, quint32 flags, quint32 decompressed_size, bool compress,
                          Compression compression)
{
    QByteArray payload = body;
    if (compress)
        payload = compression == Compression::Lz4 ? lz4_framed(body) : qCompress(body).mid(4);
    QByteArray bytes = "2pbd" + u32(0) + u32(quint32(0x14 + payload.size()))
                     + u32(flags) + u32(decompressed_size) + payload;
    const int size = (bytes.size() + 0xfff) & ~0xfff;
    bytes.resize(size, '\0');
    qToLittleEndian(quint32(size), bytes.data() + 4);
    return bytes;
}

QByteArray record(const SyntheticItem &item)
{
    QByteArray record = varint(item.id) + '\0' + varint(1) + varint(item.parent)
                      + varint(item.updated);
    const QByteArray name = item.name.toUtf8() + '\0';
    const QByteArray display = item.display_name.toUtf8() + '\0';
    record += varint(1) + varint(quint64(name.size())) + name;
    record += varint(1) + varint(quint64(display.size())) + display;
    return record;
}

QByteArray records_page(const QList<QByteArray> &records, Compression compression)
{
    QByteArray body;
    for (const QByteArray &record : records)
        body += u32(quint32(record.size())) + record;
    return page(body, 0x09, quint32(0x14 + body.size()), true, compression);
}

const QList<Property> &properties()
{
    // Types: 0x0b text, 0x0c date, 0x06 and 0x07 integers, 0x08 unsigned,
    // 0x00 flag, 0x0e raw bytes. Flags 0x02: several values.
    static const QList<Property> properties = {
        {1, 0x0b, 0x4c, spotlight_keys::internal_file_name},
        {2, 0x0b, 0x40, spotlight_keys::display_name},
        {3, 0x08, 0x0e, "kMDStoreAccumulatedSizes"},
        {4, 0x0b, 0x00, spotlight_keys::content_type},
        {5, 0x0c, 0x00, spotlight_keys::content_creation_date},
        {6, 0x0c, 0x00, spotlight_keys::content_modification_date},
        {7, 0x0c, 0x00, spotlight_keys::date_added},
        {8, 0x07, 0x00, spotlight_keys::logical_size},
        {9, 0x07, 0x00, spotlight_keys::physical_size},
        {10, 0x06, 0x00, spotlight_keys::fs_owner_user_id},
        {11, 0x0b, 0x00, spotlight_keys::kind},
        {12, 0x0c, 0x00, spotlight_keys::last_used_date},
        {13, 0x0c, 0x02, spotlight_keys::used_dates},
        {14, 0x06, 0x00, spotlight_keys::use_count},
        {15, 0x0b, 0x02, spotlight_keys::where_froms},
        {16, 0x0b, 0x02, spotlight_keys::user_tags},
        {17, 0x0b, 0x02, spotlight_keys::authors},
        {18, 0x0b, 0x00, spotlight_keys::title},
        {19, 0x00, 0x00, spotlight_keys::internal_text_content_index_exists},
        {20, 0x0b, 0x02, spotlight_keys::content_type_tree},
        {21, 0x0e, 0x00, spotlight_keys::internal_content_digest},
    };
    return properties;
}

QByteArray store_head(const QList<qsizetype> &metadata_page_sizes, int map_repeat)
{
    QByteArray table = QByteArray(12, '\0');
    for (const Property &property : properties())
        table += u32(property.number) + char(property.type) + char(property.flags) + property.name + '\0';
    const QByteArray property_page = page(table, 0x11, 0, false);

    const qsizetype entries = metadata_page_sizes.size() * map_repeat;
    const int map_blocks = int((0x14 + 16 * entries + 0xfff) / 0x1000);
    quint32 block = 1 + quint32(map_blocks);
    const quint32 property_block = block;
    block += quint32(property_page.size() / 0x1000);
    QByteArray map = "2mbd" + u32(quint32(map_blocks * 0x1000)) + u32(quint32(entries)) + u32(0) + u32(0);
    for (const qsizetype size : metadata_page_sizes) {
        for (int i = 0; i < map_repeat; ++i)
            map += QByteArray(8, '\0') + u32(block) + u32(quint32(size));
        block += quint32(size / 0x1000);
    }
    map.resize(map_blocks * 0x1000, '\0');

    QByteArray header = "8tsd" + QByteArray(0x20, '\0') + u32(0x1000) + u32(quint32(map.size())) + u32(0)
                      + u32(property_block) + QByteArray(16, '\0');
    header.resize(0x1000, '\0');
    return header + map + property_page;
}

QByteArray assemble_store(const QList<QByteArray> &metadata_pages, int map_repeat)
{
    QList<qsizetype> sizes;
    for (const QByteArray &metadata : metadata_pages)
        sizes.append(metadata.size());
    QByteArray store = store_head(sizes, map_repeat);
    for (const QByteArray &metadata : metadata_pages)
        store += metadata;
    return store;
}

QByteArray synthetic_store(const QList<SyntheticItem> &items, int items_per_page)
{
    QList<QByteArray> pages;
    for (int first = 0; first < items.size(); first += items_per_page) {
        QList<QByteArray> records;
        for (int i = first; i < qMin(first + items_per_page, int(items.size())); ++i)
            records.append(record(items[i]));
        pages.append(records_page(records));
    }
    return assemble_store(pages);
}

} // namespace synthetic_spotlight
