#include "binary_property_list.h"

#include "binary_property_list_layout.h"

#include <QString>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using Layout = BinaryPropertyListLayout;

// Property lists count time from 2001-01-01 00:00:00 UTC.
constexpr double seconds_from_1970_to_2001 = 978307200.0;

constexpr unsigned char false_marker = 0x08;
constexpr unsigned char true_marker = 0x09;
constexpr unsigned char date_marker = 0x33; // always an 8-byte double

double read_double(const unsigned char *at)
{
    const std::uint64_t bits = Layout::integer(at, 8);
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float read_float(const unsigned char *at)
{
    const std::uint32_t bits = std::uint32_t(Layout::integer(at, 4));
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The values of a list's objects, read through its layout.
class BinaryList
{
public:
    explicit BinaryList(const Layout &layout) : layout(layout) {}

    MetadataValue root_value() const { return value(layout.root(), true); }

private:
    MetadataValue integer_value(const unsigned char *at) const
    {
        const unsigned power = at[0] & 0x0F;
        const unsigned char *content = at + 1;
        if (power > 4 || !layout.holds(content, std::uint64_t(1) << power, 1))
            return MetadataValue::other();
        switch (power) {
        case 3: // the only signed width
            return MetadataValue::from_number(double(std::int64_t(Layout::integer(content, 8))));
        case 4:
            // Unsigned; a value beyond 64 bits has no number to show.
            if (Layout::integer(content, 8) != 0)
                return MetadataValue::other();
            return MetadataValue::from_number(double(Layout::integer(content + 8, 8)));
        default:
            return MetadataValue::from_number(double(Layout::integer(content, std::uint64_t(1) << power)));
        }
    }

    MetadataValue real_value(const unsigned char *at) const
    {
        const unsigned power = at[0] & 0x0F;
        if (power == 2 && layout.holds(at + 1, 4, 1))
            return MetadataValue::from_number(double(read_float(at + 1)));
        if (power == 3 && layout.holds(at + 1, 8, 1))
            return MetadataValue::from_number(read_double(at + 1));
        return MetadataValue::other();
    }

    MetadataValue date_value(const unsigned char *at) const
    {
        if (at[0] != date_marker || !layout.holds(at + 1, 8, 1))
            return MetadataValue::other();
        return MetadataValue::from_date(read_double(at + 1) + seconds_from_1970_to_2001);
    }

    MetadataValue string_value(const unsigned char *at) const
    {
        const bool utf16 = (at[0] >> 4) == Layout::utf16_string_kind;
        const std::optional<Layout::Sized> sized = layout.sized(at);
        if (!sized || !layout.holds(sized->content, sized->count, utf16 ? 2 : 1))
            return MetadataValue::other();
        // A string value is never "no value", however short.
        if (sized->count == 0)
            return MetadataValue::from_text(QString(QLatin1String("")));
        if (!utf16)
            return MetadataValue::from_text(
                QString::fromUtf8(reinterpret_cast<const char *>(sized->content), qsizetype(sized->count)));
        QString text(qsizetype(sized->count), Qt::Uninitialized);
        QChar *unit = text.data();
        for (std::uint64_t i = 0; i < sized->count; ++i)
            unit[i] = QChar(char16_t(Layout::integer(sized->content + 2 * i, 2)));
        return MetadataValue::from_text(text);
    }

    MetadataValue array_value(const unsigned char *at, bool with_items) const
    {
        const std::optional<Layout::Sized> sized = layout.sized(at);
        if (!sized || !layout.holds(sized->content, sized->count, layout.reference_size()))
            return MetadataValue::other();
        std::vector<MetadataValue> items;
        if (with_items) {
            items.reserve(sized->count);
            for (std::uint64_t i = 0; i < sized->count; ++i)
                items.push_back(value(layout.reference(sized->content, i), false));
        }
        return MetadataValue::from_array(std::move(items));
    }

    MetadataValue value(std::uint64_t object, bool with_items) const
    {
        const unsigned char *at = layout.object(object);
        if (!at)
            return MetadataValue::other();
        switch (at[0] >> 4) {
        case Layout::simple_kind:
            if (at[0] == false_marker || at[0] == true_marker)
                return MetadataValue::from_number(at[0] == true_marker ? 1.0 : 0.0);
            return MetadataValue::other();
        case Layout::integer_kind:
            return integer_value(at);
        case Layout::real_kind:
            return real_value(at);
        case Layout::date_kind:
            return date_value(at);
        case Layout::ascii_string_kind:
        case Layout::utf16_string_kind:
            return string_value(at);
        case Layout::array_kind:
        case Layout::set_kind:
            return array_value(at, with_items);
        default: // data, identifiers, dictionaries and what no list holds
            return MetadataValue::other();
        }
    }

    const Layout &layout;
};

} // namespace

MetadataValue binary_property_list_value(QByteArrayView bytes)
{
    const std::optional<BinaryPropertyListLayout> layout = BinaryPropertyListLayout::of(bytes);
    return layout ? BinaryList(*layout).root_value() : MetadataValue::other();
}
