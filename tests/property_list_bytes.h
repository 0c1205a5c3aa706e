#ifndef PROPERTY_LIST_BYTES_H
#define PROPERTY_LIST_BYTES_H

// Property lists as a file's metadata attribute holds them, made by the
// tests: well-formed ones written by libplist, hostile ones byte by byte.

#include "metadata_value.h"

#include <QByteArray>
#include <QtTest>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace property_list_bytes {

struct PlistFree
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using Plist = std::unique_ptr<void, PlistFree>;

inline Plist string(const char *utf8) { return Plist(plist_new_string(utf8)); }
inline Plist integer(std::int64_t value) { return Plist(plist_new_uint(std::uint64_t(value))); }

inline Plist array_of(std::vector<Plist> items)
{
    Plist list(plist_new_array());
    for (Plist &item : items)
        plist_array_append_item(list.get(), item.release());
    return list;
}

template <typename... Items>
Plist array(Items... items)
{
    std::vector<Plist> list;
    (list.push_back(std::move(items)), ...);
    return array_of(std::move(list));
}

// The list's encoding by one of libplist's writers and its matching free.
template <typename Write, typename Free>
QByteArray encoded(const Plist &root, Write write, Free free_bytes)
{
    char *bytes = nullptr;
    std::uint32_t length = 0;
    write(root.get(), &bytes, &length);
    const QByteArray copy(bytes, qsizetype(length));
    free_bytes(bytes);
    return copy;
}

inline QByteArray binary(const Plist &root) { return encoded(root, plist_to_bin, plist_to_bin_free); }
inline QByteArray xml(const Plist &root) { return encoded(root, plist_to_xml, plist_to_xml_free); }

inline QByteArray xml_document(const char *body)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">")
           + body + "</plist>\n";
}

inline void append_big_endian(QByteArray *bytes, std::uint64_t value, int width)
{
    for (int i = width - 1; i >= 0; --i)
        bytes->append(char((value >> (8 * i)) & 0xFF));
}

// A binary list from its encoded objects, object 0 the root, each
// referring to others by two-byte indexes.
inline QByteArray binary_objects(const std::vector<QByteArray> &objects)
{
    QByteArray bytes("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const QByteArray &object : objects) {
        offsets.push_back(std::uint64_t(bytes.size()));
        bytes += object;
    }
    const std::uint64_t table = std::uint64_t(bytes.size());
    for (std::uint64_t offset : offsets)
        append_big_endian(&bytes, offset, 4);
    bytes += QByteArray(6, '\0');
    bytes += char(4); // offset size
    bytes += char(2); // reference size
    append_big_endian(&bytes, objects.size(), 8);
    append_big_endian(&bytes, 0, 8);
    append_big_endian(&bytes, table, 8);
    return bytes;
}

// An array object of the given two-byte references.
inline QByteArray array_object(const std::vector<std::uint64_t> &references)
{
    QByteArray object;
    if (references.size() < 15) {
        object += char(0xA0 | references.size());
    } else {
        object += char(0xAF);
        object += char(0x13);
        append_big_endian(&object, references.size(), 8);
    }
    for (std::uint64_t reference : references)
        append_big_endian(&object, reference, 2);
    return object;
}

// A string object of one-byte characters, its length given as the list
// gives it (in the marker below 15, else as an integer object after it).
inline QByteArray ascii_string_object(const QByteArray &text)
{
    QByteArray object;
    if (text.size() < 15) {
        object += char(0x50 | text.size());
    } else {
        object += char(0x5F);
        object += char(0x13);
        append_big_endian(&object, std::uint64_t(text.size()), 8);
    }
    object += text;
    return object;
}

// A string object of fewer than 15 big-endian UTF-16 code units.
inline QByteArray utf16_string_object(const QString &text)
{
    QByteArray object(1, char(0x60 | text.size()));
    for (QChar unit : text)
        append_big_endian(&object, unit.unicode(), 2);
    return object;
}

// An integer object of 1 << power bytes, the last eight of them low.
inline QByteArray integer_object(int power, std::uint64_t low, std::uint64_t high = 0)
{
    QByteArray object(1, char(0x10 | power));
    const int width = 1 << power;
    if (width > 8)
        append_big_endian(&object, high, width - 8);
    append_big_endian(&object, low, width > 8 ? 8 : width);
    return object;
}

// A date object: seconds since 2001 as a double.
inline QByteArray date_object(double seconds_since_2001)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &seconds_since_2001, sizeof bits);
    QByteArray object(1, char(0x33));
    append_big_endian(&object, bits, 8);
    return object;
}

inline QByteArray binary_date(double seconds_since_2001)
{
    return binary_objects({date_object(seconds_since_2001)});
}

// Each level an array of width references to the next: tiny on disk,
// width^levels nodes once every reference is copied; width 1 is plain nesting.
inline QByteArray binary_shared_fan_out(int levels, int width)
{
    std::vector<QByteArray> objects;
    for (int level = 0; level < levels; ++level)
        objects.push_back(array_object(std::vector<std::uint64_t>(width, level + 1)));
    objects.push_back(ascii_string_object("x"));
    return binary_objects(objects);
}

inline QByteArray xml_nesting(int depth)
{
    return xml_document((QByteArray("<array>").repeated(depth) + "<string>x</string>"
                         + QByteArray("</array>").repeated(depth)).constData());
}

} // namespace property_list_bytes

// Failure messages show a value's kind and content.
inline char *toString(const MetadataValue &value)
{
    QString shown;
    switch (value.kind) {
    case MetadataValue::Kind::Null: shown = "Null"; break;
    case MetadataValue::Kind::Text: shown = "Text \"" + value.text + '"'; break;
    case MetadataValue::Kind::Number: shown = "Number " + QString::number(value.number, 'g', 17); break;
    case MetadataValue::Kind::Date: shown = "Date " + QString::number(value.number, 'f', 6); break;
    case MetadataValue::Kind::Other: shown = "Other"; break;
    case MetadataValue::Kind::Array:
        shown = QString("Array of %1 [").arg(value.items.size());
        for (std::size_t i = 0; i < value.items.size() && i < 8; ++i)
            shown += QString::fromUtf8(std::unique_ptr<char[]>(toString(value.items[i])).get()) + ", ";
        shown += ']';
        break;
    }
    return qstrdup(shown.toUtf8().constData());
}

#endif // PROPERTY_LIST_BYTES_H
