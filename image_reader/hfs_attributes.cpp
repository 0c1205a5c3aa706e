#include "hfs_attributes.h"

#include "hfs_btree.h"
#include "hfs_volume_header.h"

#include <QString>
#include <QtEndian>

namespace {

// An attribute key: padding, the file's number, the first allocation block
// its record covers (0 but for a fork's further extents), then the name's
// length in UTF-16 code units and the name itself (big-endian).
constexpr qsizetype file_at = 2;
constexpr qsizetype start_block_at = 6;
constexpr qsizetype name_length_at = 10;
constexpr qsizetype name_at = 12;

// Attribute record types, each a 32-bit number first.
constexpr std::uint32_t inline_data = 0x10;
constexpr std::uint32_t fork_data = 0x20;
// Inline data: the type, 8 reserved bytes, the size, then the content.
constexpr qsizetype inline_size_at = 12;
constexpr qsizetype inline_content_at = 16;
// Fork data: the type, 4 reserved bytes, then the fork's fork data.
constexpr qsizetype fork_at = 8;

std::uint32_t be32(const QByteArray &bytes, qsizetype at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

// name as an attribute key spells it.
QByteArray utf16_big_endian(QByteArrayView name)
{
    const QString text = QString::fromUtf8(name);
    QByteArray spelled(2 * text.size(), '\0');
    qToBigEndian<quint16>(text.utf16(), text.size(), spelled.data());
    return spelled;
}

// The record's content, for a record that starts an attribute.
std::optional<QByteArray> content_of(const ImageBytes &volume, std::uint32_t block_size, const QByteArray &data,
                                     qint64 max_size)
{
    if (data.size() < 4)
        return std::nullopt;
    const std::uint32_t type = be32(data, 0);
    if (type == inline_data) {
        if (data.size() < inline_content_at)
            return std::nullopt;
        const qint64 size = be32(data, inline_size_at);
        if (size > max_size || size > data.size() - inline_content_at)
            return std::nullopt;
        return data.mid(inline_content_at, qsizetype(size));
    }
    if (type == fork_data && data.size() >= fork_at + HfsFork::fork_data_size) {
        const HfsFork fork = HfsFork::from_fork_data(QByteArrayView(data).sliced(fork_at), block_size);
        return fork.content(volume, max_size);
    }
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> hfs_attribute(const ImageBytes &volume, std::uint32_t id, QByteArrayView name,
                                        qint64 max_size)
{
    const std::optional<HfsVolumeHeader> header = hfs_volume_header(volume);
    HfsBTree attributes;
    if (id == 0 || name.isEmpty() || max_size < 0 || !header || header->attributes.size() == 0
        || !attributes.open(volume, header->attributes, file_at))
        return std::nullopt;
    const QByteArray wanted = utf16_big_endian(name);
    std::optional<QByteArray> content;
    attributes.each_record_of(id, [&](const HfsBTreeRecord &record) {
        const QByteArray &key = record.key;
        if (key.size() < name_at || be32(key, start_block_at) != 0)
            return true;
        const qsizetype length = 2 * qsizetype(qFromBigEndian<quint16>(key.constData() + name_length_at));
        if (name_at + length > key.size() || QByteArrayView(key).sliced(name_at, length) != QByteArrayView(wanted))
            return true;
        content = content_of(volume, header->block_size, record.data, max_size);
        return false;
    });
    return content;
}
