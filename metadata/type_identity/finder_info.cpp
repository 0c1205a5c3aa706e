#include "finder_info.h"

namespace {

std::uint32_t big_endian(QByteArrayView bytes, int at, int length)
{
    std::uint32_t value = 0;
    for (int i = 0; i < length; ++i)
        value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

// A four-character code as the Mac shows it: empty when all four bytes
// are zero, else the four characters.
QString four_character_code(QByteArrayView bytes)
{
    if (big_endian(bytes, 0, 4) == 0)
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
    info.flags = std::uint16_t(big_endian(bytes, 8, 2));
    // Extended part: document identifier, date added, extended flags.
    info.date_added = big_endian(bytes, 20, 4);
    info.extended_flags = std::uint16_t(big_endian(bytes, 24, 2));
    return info;
}
