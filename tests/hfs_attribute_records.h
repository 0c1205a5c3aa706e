#ifndef HFS_ATTRIBUTE_RECORDS_H
#define HFS_ATTRIBUTE_RECORDS_H

// Records of an HFS+ volume's attributes B-tree made by the tests, byte by
// byte as the volume format lays them out, and written over the one leaf
// of a fixture volume's tree.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtEndian>

#include <cstdint>

inline QByteArray big_endian(quint32 value, int size)
{
    QByteArray bytes(size, '\0');
    for (int i = size - 1; i >= 0; --i, value >>= 8)
        bytes[i] = char(value & 0xff);
    return bytes;
}

inline void put(QByteArray &bytes, qsizetype at, quint32 value, int size)
{
    bytes.replace(at, size, big_endian(value, size));
}

// Where the attributes file's first extent, and so its header node, lies:
// the volume header's attributes fork data, 0x160 bytes into it, counts
// allocation blocks.
inline qsizetype attributes_file(const QByteArray &volume)
{
    const quint32 block_size = qFromBigEndian<quint32>(volume.constData() + 1024 + 40);
    return qsizetype(qFromBigEndian<quint32>(volume.constData() + 1024 + 0x160 + 16)) * block_size;
}

// The size of the attributes B-tree's nodes, from its header node.
inline qsizetype node_size(const QByteArray &volume)
{
    return qFromBigEndian<quint16>(volume.constData() + attributes_file(volume) + 14 + 18);
}

// One leaf record of the attributes B-tree: the key (padding, file,
// start block, name in UTF-16BE) after its length, then the data.
inline QByteArray attribute_record(std::uint32_t file, const QString &name, const QByteArray &data)
{
    QByteArray key = big_endian(0, 2) + big_endian(file, 4) + big_endian(0, 4) + big_endian(quint32(name.size()), 2);
    for (const QChar c : name)
        key += big_endian(c.unicode(), 2);
    return big_endian(quint32(key.size()), 2) + key + data;
}

// Inline data: its type, 8 reserved bytes, its size, the content (the
// record padded to an even length).
inline QByteArray inline_data(const QByteArray &content, qint64 claimed_size = -1)
{
    QByteArray data = big_endian(0x10, 4) + QByteArray(8, '\0')
                      + big_endian(quint32(claimed_size < 0 ? content.size() : claimed_size), 4) + content;
    if (data.size() % 2)
        data += '\0';
    return data;
}

// Fork data: its type, 4 reserved bytes, then the fork's logical size,
// clump size, block count and one extent.
inline QByteArray fork_data(quint64 logical_size, std::uint32_t start, std::uint32_t blocks)
{
    QByteArray fork = big_endian(quint32(logical_size >> 32), 4) + big_endian(quint32(logical_size), 4)
                      + big_endian(0, 4) + big_endian(blocks, 4) + big_endian(start, 4) + big_endian(blocks, 4);
    fork.append(QByteArray(80 - fork.size(), '\0'));
    return big_endian(0x20, 4) + QByteArray(4, '\0') + fork;
}

// A leaf node of size bytes holding records, in order, linked to next.
inline QByteArray leaf_node(qsizetype size, const QList<QByteArray> &records, std::uint32_t next = 0)
{
    QByteArray node = big_endian(next, 4) + big_endian(0, 4) + QByteArray(1, char(-1)) + QByteArray(1, 1)
                      + big_endian(quint32(records.size()), 2) + big_endian(0, 2);
    QList<qsizetype> offsets;
    for (const QByteArray &record : records) {
        offsets.append(node.size());
        node += record;
    }
    offsets.append(node.size());
    node.append(QByteArray(size - node.size() - 2 * offsets.size(), '\0'));
    for (auto offset = offsets.crbegin(); offset != offsets.crend(); ++offset)
        node += big_endian(quint32(*offset), 2);
    return node;
}

// volume with the first leaf of its attributes B-tree (node 1) replaced by
// one holding records, in order.
inline QByteArray with_attribute_leaf(QByteArray volume, const QList<QByteArray> &records)
{
    const qsizetype size = node_size(volume);
    volume.replace(attributes_file(volume) + size, size, leaf_node(size, records));
    return volume;
}

#endif // HFS_ATTRIBUTE_RECORDS_H
