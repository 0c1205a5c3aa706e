#include "binary_property_list.h"

#include <QString>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// Property lists count time from 2001-01-01 00:00:00 UTC.
constexpr double seconds_from_1970_to_2001 = 978307200.0;

constexpr std::uint64_t header_size = 8; // "bplist00"
constexpr std::uint64_t trailer_size = 32;

// An object's first byte: its kind in the high four bits, its size in the
// low four (0xF: an integer object with the size follows).
enum ObjectKind : unsigned {
    simple_kind = 0x0, // booleans among them
    integer_kind = 0x1,
    real_kind = 0x2,
    date_kind = 0x3,
    ascii_string_kind = 0x5,
    utf16_string_kind = 0x6,
    array_kind = 0xA,
    set_kind = 0xC,
};
constexpr unsigned char false_marker = 0x08;
constexpr unsigned char true_marker = 0x09;
constexpr unsigned char date_marker = 0x33; // always an 8-byte double
constexpr unsigned size_follows = 0xF;

std::uint64_t read_big_endian(const unsigned char *at, std::uint64_t width)
{
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < width; ++i)
        value = (value << 8) | at[i];
    return value;
}

double read_double(const unsigned char *at)
{
    const std::uint64_t bits = read_big_endian(at, 8);
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float read_float(const unsigned char *at)
{
    const std::uint32_t bits = std::uint32_t(read_big_endian(at, 4));
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// A binary list as its trailer lays it out. Every position taken from the
// list is checked against the bytes between the header and the trailer
// before anything is read there.
class BinaryList
{
public:
    explicit BinaryList(QByteArrayView bytes)
        : data(reinterpret_cast<const unsigned char *>(bytes.data())),
          size(std::uint64_t(bytes.size()))
    {
        valid = read_trailer();
    }

    MetadataValue root_value() const { return valid ? value(root, true) : MetadataValue::other(); }

private:
    bool read_trailer()
    {
        if (size < header_size + trailer_size || std::memcmp(data, "bplist", 6) != 0)
            return false;
        objects_end = size - trailer_size;
        const unsigned char *trailer = data + objects_end;
        offset_size = trailer[6];
        reference_size = trailer[7];
        object_count = read_big_endian(trailer + 8, 8);
        root = read_big_endian(trailer + 16, 8);
        offset_table = read_big_endian(trailer + 24, 8);
        if (offset_size < 1 || offset_size > 8 || reference_size < 1 || reference_size > 8
            || root >= object_count || offset_table < header_size || offset_table > objects_end)
            return false;
        // The table's size, object_count * offset_size, without overflowing.
        return object_count <= (objects_end - offset_table) / offset_size;
    }

    // Where an object starts, or 0 when its offset leaves the objects.
    std::uint64_t object_at(std::uint64_t object) const
    {
        const std::uint64_t offset =
            read_big_endian(data + offset_table + object * offset_size, offset_size);
        return offset >= header_size && offset < objects_end ? offset : 0;
    }

    // The size of the object at start, from its first byte or the integer
    // object after it; sets *content to where its content begins. False
    // when the size does not fit in the list.
    bool read_size(std::uint64_t start, std::uint64_t *count, std::uint64_t *content) const
    {
        *count = data[start] & 0x0F;
        *content = start + 1;
        if (*count != size_follows)
            return true;
        if (*content >= objects_end || (data[*content] >> 4) != integer_kind)
            return false;
        const std::uint64_t width = std::uint64_t(1) << (data[*content] & 0x0F);
        if (width > 8 || width > objects_end - *content - 1)
            return false;
        *count = read_big_endian(data + *content + 1, width);
        *content += 1 + width;
        return true;
    }

    // Whether count units of unit_size bytes from content lie within the objects.
    bool holds(std::uint64_t content, std::uint64_t count, std::uint64_t unit_size) const
    {
        return count <= (objects_end - content) / unit_size;
    }

    MetadataValue integer_value(std::uint64_t start) const
    {
        const unsigned power = data[start] & 0x0F;
        const std::uint64_t content = start + 1;
        if (power > 4 || !holds(content, std::uint64_t(1) << power, 1))
            return MetadataValue::other();
        const unsigned char *at = data + content;
        switch (power) {
        case 3: // the only signed width
            return MetadataValue::from_number(double(std::int64_t(read_big_endian(at, 8))));
        case 4:
            // Unsigned; a value beyond 64 bits has no number to show.
            if (read_big_endian(at, 8) != 0)
                return MetadataValue::other();
            return MetadataValue::from_number(double(read_big_endian(at + 8, 8)));
        default:
            return MetadataValue::from_number(double(read_big_endian(at, std::uint64_t(1) << power)));
        }
    }

    MetadataValue real_value(std::uint64_t start) const
    {
        const unsigned power = data[start] & 0x0F;
        const std::uint64_t content = start + 1;
        if (power == 2 && holds(content, 4, 1))
            return MetadataValue::from_number(double(read_float(data + content)));
        if (power == 3 && holds(content, 8, 1))
            return MetadataValue::from_number(read_double(data + content));
        return MetadataValue::other();
    }

    MetadataValue date_value(std::uint64_t start) const
    {
        if (data[start] != date_marker || !holds(start + 1, 8, 1))
            return MetadataValue::other();
        return MetadataValue::from_date(read_double(data + start + 1) + seconds_from_1970_to_2001);
    }

    MetadataValue string_value(std::uint64_t start) const
    {
        const bool utf16 = (data[start] >> 4) == utf16_string_kind;
        std::uint64_t count = 0;
        std::uint64_t content = 0;
        if (!read_size(start, &count, &content) || !holds(content, count, utf16 ? 2 : 1))
            return MetadataValue::other();
        // A string value is never "no value", however short.
        if (count == 0)
            return MetadataValue::from_text(QString(QLatin1String("")));
        const unsigned char *at = data + content;
        if (!utf16)
            return MetadataValue::from_text(
                QString::fromUtf8(reinterpret_cast<const char *>(at), qsizetype(count)));
        QString text(qsizetype(count), Qt::Uninitialized);
        QChar *unit = text.data();
        for (std::uint64_t i = 0; i < count; ++i)
            unit[i] = QChar(char16_t(read_big_endian(at + 2 * i, 2)));
        return MetadataValue::from_text(text);
    }

    MetadataValue array_value(std::uint64_t start, bool with_items) const
    {
        std::uint64_t count = 0;
        std::uint64_t content = 0;
        if (!read_size(start, &count, &content) || !holds(content, count, reference_size))
            return MetadataValue::other();
        std::vector<MetadataValue> items;
        if (with_items) {
            items.reserve(count);
            for (std::uint64_t i = 0; i < count; ++i) {
                const std::uint64_t item =
                    read_big_endian(data + content + i * reference_size, reference_size);
                items.push_back(item < object_count ? value(item, false) : MetadataValue::other());
            }
        }
        return MetadataValue::from_array(std::move(items));
    }

    MetadataValue value(std::uint64_t object, bool with_items) const
    {
        const std::uint64_t start = object_at(object);
        if (start == 0)
            return MetadataValue::other();
        const unsigned char marker = data[start];
        switch (marker >> 4) {
        case simple_kind:
            if (marker == false_marker || marker == true_marker)
                return MetadataValue::from_number(marker == true_marker ? 1.0 : 0.0);
            return MetadataValue::other();
        case integer_kind:
            return integer_value(start);
        case real_kind:
            return real_value(start);
        case date_kind:
            return date_value(start);
        case ascii_string_kind:
        case utf16_string_kind:
            return string_value(start);
        case array_kind:
        case set_kind:
            return array_value(start, with_items);
        default: // data, identifiers, dictionaries and what no list holds
            return MetadataValue::other();
        }
    }

    const unsigned char *data;
    std::uint64_t size;
    bool valid = false;
    std::uint64_t objects_end = 0;
    std::uint64_t offset_table = 0;
    std::uint64_t offset_size = 0;
    std::uint64_t reference_size = 0;
    std::uint64_t object_count = 0;
    std::uint64_t root = 0;
};

} // namespace

MetadataValue binary_property_list_value(QByteArrayView bytes)
{
    return BinaryList(bytes).root_value();
}
