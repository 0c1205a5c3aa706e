#ifndef FINDER_INFO_H
#define FINDER_INFO_H

#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>

// What the Finder keeps of one file or folder in its 32 bytes of Finder
// information (the com.apple.FinderInfo attribute; on HFS+ the catalog
// record's own bytes): big-endian fields, the first 16 bytes differing
// between files (type, creator, flags, position) and folders (window,
// flags, position), the last 16 holding the extended flags and the date
// the object was added to its folder.
struct FinderInfo
{
    QString type_code;    // four characters, "" when unset; files only
    QString creator_code; // four characters, "" when unset; files only
    std::uint16_t flags = 0;
    std::uint32_t date_added = 0; // seconds since 1970; 0 when unset

    // The colour label, 0 (none) to 7.
    int label() const { return (flags >> 1) & 0x7; }
    bool is_alias() const { return flags & 0x8000; }
    bool is_invisible() const { return flags & 0x4000; }
    bool is_stationery() const { return flags & 0x0800; }
    bool has_custom_icon() const { return flags & 0x0400; }
    bool is_extension_hidden() const { return flags & 0x0010; }

    static constexpr int size = 32;
};

// The Finder information of a file (is_folder false) or folder held by
// bytes; nullopt unless there are exactly 32 of them.
std::optional<FinderInfo> parse_finder_info(QByteArrayView bytes, bool is_folder);

#endif // FINDER_INFO_H
