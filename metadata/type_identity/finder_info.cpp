#include "finder_info.h"

#include <QtEndian>

namespace {

// A four-character code as the Mac shows it: empty when all four bytes
// are zero, else the four characters.
QString four_character_code(QByteArrayView bytes)
{
    if (qFromBigEndian<quint32>(bytes.data()) == 0)
        return QStringLiteral("");
    return QString::fromLatin1(bytes.data(), 4);
}

} // namespace

std::optional<FinderInfo> parse_finder_info(QByteArrayView bytes, bool is_folder)
{
    if (bytes.size() != FinderInfo::size)
        return std::nullopt;
    FinderInfo info;
    // A folder's first eight bytes are its window's rectangle, no codes.
    if (is_folder) {
        info.type_code = QStringLiteral("");
        info.creator_code = QStringLiteral("");
    } else {
        info.type_code = four_character_code(bytes.sliced(0, 4));
        info.creator_code = four_character_code(bytes.sliced(4, 4));
    }
    info.flags = qFromBigEndian<quint16>(bytes.data() + 8);
    // Extended part: document identifier, then the date added.
    info.date_added = qFromBigEndian<quint32>(bytes.data() + 20);
    return info;
}
