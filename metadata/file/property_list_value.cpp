#include "property_list_value.h"

#include "property_list_limits.h"

#include <QDateTime>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>

namespace {

struct PlistFree
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistHandle = std::unique_ptr<void, PlistFree>;

struct XmlFree
{
    void operator()(char *xml) const { plist_to_xml_free(xml); }
};
using XmlHandle = std::unique_ptr<char, XmlFree>;

struct IteratorFree
{
    void operator()(void *iterator) const { std::free(iterator); }
};
using IteratorHandle = std::unique_ptr<void, IteratorFree>;

// Property lists count time from 2001-01-01 00:00:00 UTC.
constexpr double seconds_from_1970_to_2001 = 978307200.0;

// The parser keeps a date's full value but hands out whole seconds only as
// a 32-bit number; its XML writer prints whole seconds from the full value.
// Only dates more than 68 years from 2001 need this detour.
std::optional<double> date_seconds_from_xml(plist_t node)
{
    char *xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &xml, &length);
    const XmlHandle owned(xml);
    if (!xml)
        return std::nullopt;
    const QByteArrayView text(xml, length);
    const qsizetype start = text.indexOf("<date>");
    const qsizetype end = text.indexOf("</date>");
    if (start < 0 || end < start)
        return std::nullopt;
    const qsizetype first = start + qsizetype(sizeof("<date>") - 1);
    const QDateTime date = QDateTime::fromString(
        QString::fromLatin1(text.sliced(first, end - first)), Qt::ISODate);
    if (!date.isValid())
        return std::nullopt;
    return double(date.toSecsSinceEpoch());
}

MetadataValue date_value(plist_t node)
{
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    if (seconds == std::numeric_limits<std::int32_t>::min()
        || seconds == std::numeric_limits<std::int32_t>::max()) {
        // Out of the 32-bit range, or at its very edge.
        const std::optional<double> since_1970 = date_seconds_from_xml(node);
        return since_1970 ? MetadataValue::from_date(*since_1970) : MetadataValue::other();
    }
    // The fraction comes without its sign: before 2001 it counts backwards.
    // (Within the one second before 2001 the sign is lost altogether.)
    const double fraction = microseconds / 1e6;
    const double since_2001 = seconds < 0 ? seconds - fraction : seconds + fraction;
    return MetadataValue::from_date(since_2001 + seconds_from_1970_to_2001);
}

MetadataValue node_value(plist_t node, bool with_items)
{
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        std::uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        // A string value is never "no value", however short.
        return MetadataValue::from_text(text ? QString::fromUtf8(text, qsizetype(length))
                                             : QString(QLatin1String("")));
    }
    case PLIST_UINT: {
        // Stored unsigned; the format's integers are signed 64-bit.
        std::uint64_t bits = 0;
        plist_get_uint_val(node, &bits);
        return MetadataValue::from_number(double(std::int64_t(bits)));
    }
    case PLIST_REAL: {
        double number = 0.0;
        plist_get_real_val(node, &number);
        return MetadataValue::from_number(number);
    }
    case PLIST_BOOLEAN: {
        std::uint8_t truth = 0;
        plist_get_bool_val(node, &truth);
        return MetadataValue::from_number(truth ? 1.0 : 0.0);
    }
    case PLIST_DATE:
        return date_value(node);
    case PLIST_ARRAY: {
        std::vector<MetadataValue> items;
        if (with_items) {
            items.reserve(plist_array_get_size(node));
            // The iterator walks the items in one pass, where fetching each
            // by its index would start from the first every time.
            plist_array_iter iterator = nullptr;
            plist_array_new_iter(node, &iterator);
            const IteratorHandle owned(iterator);
            while (iterator) {
                plist_t item = nullptr;
                plist_array_next_item(node, iterator, &item);
                if (!item)
                    break;
                items.push_back(node_value(item, false));
            }
        }
        return MetadataValue::from_array(std::move(items));
    }
    default:
        return MetadataValue::other();
    }
}

} // namespace

MetadataValue property_list_value(QByteArrayView bytes)
{
    if (bytes.isEmpty() || !property_list_within_limits(bytes))
        return MetadataValue::other();
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), std::uint32_t(bytes.size()), &root);
    const PlistHandle owned(root);
    if (!root)
        return MetadataValue::other();
    return node_value(root, true);
}
