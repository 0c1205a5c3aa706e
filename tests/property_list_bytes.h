#ifndef PROPERTY_LIST_BYTES_H
#define PROPERTY_LIST_BYTES_H

// Property lists as a file's metadata attribute holds them, made by the
// tests: well-formed ones written by libplist, hostile ones byte by byte.

#include "metadata_value.h"

#include <QtTest>

#include <plist/plist.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace property_list_bytes {

struct PlistFree { void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); } };
using Plist = std::unique_ptr<void, PlistFree>;

inline Plist string(const char *utf8) { return Plist(plist_new_string(utf8)); }
inline Plist integer(std::int64_t value) { return Plist(plist_new_uint(std::uint64_t(value))); }

template <typename... Items>
Plist array(Items... items)
{
    Plist list(plist_new_array());
    (plist_array_append_item(list.get(), items.release()), ...);
    return list;
}

// The list's encoding by libplist's binary or XML writer.
inline QByteArray encoded(const Plist &root, bool as_xml)
{
    char *bytes = nullptr;
    std::uint32_t length = 0;
    (as_xml ? plist_to_xml : plist_to_bin)(root.get(), &bytes, &length);
    const QByteArray copy(bytes, qsizetype(length));
    (as_xml ? plist_to_xml_free : plist_to_bin_free)(bytes);
    return copy;
}

inline QByteArray binary(const Plist &root) { return encoded(root, false); }
inline QByteArray xml(const Plist &root) { return encoded(root, true); }

inline QByteArray xml_document(const char *body)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">") + body + "</plist>\n";
}

inline QByteArray big_endian(std::uint64_t value, int width)
{
    QByteArray bytes;
    for (int i = width - 1; i >= 0; --i)
        bytes.append(char((value >> (8 * i)) & 0xFF));
    return bytes;
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
        bytes += big_endian(offset, 4);
    // Four-byte offsets, two-byte references, the object count, the root, the table's place.
    return bytes + QByteArray(6, '\0') + char(4) + char(2) + big_endian(objects.size(), 8) + big_endian(0, 8)
           + big_endian(table, 8);
}

// An object's marker of type and count: the count in the marker below 15,
// else as an integer object after it.
inline QByteArray marker(int type, std::uint64_t count)
{
    return count < 15 ? QByteArray(1, char(type << 4 | count))
                      : char(type << 4 | 0xF) + QByteArray(1, 0x13) + big_endian(count, 8);
}

// An array object of the given two-byte references.
inline QByteArray array_object(const std::vector<std::uint64_t> &references)
{
    QByteArray object = marker(0xA, references.size());
    for (std::uint64_t reference : references)
        object += big_endian(reference, 2);
    return object;
}

inline QByteArray ascii_string_object(const QByteArray &text) { return marker(0x5, std::uint64_t(text.size())) + text; }

inline QByteArray utf16_string_object(const QString &text)
{
    QByteArray object = marker(0x6, std::uint64_t(text.size()));
    for (QChar unit : text)
        object += big_endian(unit.unicode(), 2);
    return object;
}

// An integer object of 1 << power bytes, the last eight of them low.
inline QByteArray integer_object(int power, std::uint64_t low, std::uint64_t high = 0)
{
    return char(0x10 | power) + (power > 3 ? big_endian(high, (1 << power) - 8) : QByteArray())
           + big_endian(low, power > 3 ? 8 : 1 << power);
}

// A date object: seconds since 2001 as a double.
inline QByteArray date_object(double seconds_since_2001)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &seconds_since_2001, sizeof bits);
    return char(0x33) + big_endian(bits, 8);
}

inline QByteArray binary_date(double seconds_since_2001) { return binary_objects({date_object(seconds_since_2001)}); }

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

} // namespace property_list_bytes

// Failure messages show a value's kind, text, number and items.
inline char *toString(const MetadataValue &value)
{
    QString shown = QString("kind %1: \"%2\" %3").arg(int(value.kind)).arg(value.text).arg(value.number, 0, 'g', 17);
    for (std::size_t i = 0; i < value.items.size() && i < 8; ++i)
        shown += " [" + QString::fromUtf8(std::unique_ptr<char[]>(toString(value.items[i])).get()) + ']';
    return qstrdup(shown.toUtf8().constData());
}

#endif // PROPERTY_LIST_BYTES_H
