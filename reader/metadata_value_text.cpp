#include "metadata_value_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#if defined(__APPLE__)
#include <cstdio>
#include <xlocale.h>
#endif

QString metadata_number_text(double number)
{
    // Most numbers are small whole ones (owners, counts, flags, small
    // sizes), which six significant digits show in full; the locale-aware
    // conversion costs more than the rest of a row's rendering, and keeps
    // its own rounding for everything else.
    if (number > -1e6 && number < 1e6 && number == std::trunc(number))
        return QString::number(qint64(number));
    return QString::number(number, 'g', 6);
}

QString metadata_date_text(double seconds_since_1970)
{
    // The platform stores a date missing from the record as the epoch.
    if (seconds_since_1970 == 0.0)
        return QString();

    // Whole seconds of printf's "%f" (six decimals, rounded): a date since
    // 1970 needs no conversion unless its fraction lies within a rounding
    // step of the next second.
    if (seconds_since_1970 > 0 && seconds_since_1970 < 1e15) {
        const double whole = std::trunc(seconds_since_1970);
        const double fraction = seconds_since_1970 - whole;
        if (fraction < 0.99999949)
            return QString::number(qint64(whole));
        if (fraction > 0.99999951)
            return QString::number(qint64(whole) + 1);
    }

    // printf's "%f", but never with the process locale's decimal comma:
    // the host parses these texts as whole seconds.
    char buffer[400];
#if defined(__APPLE__)
    // The C++ library's fixed-point conversion arrived late on macOS; printf
    // with an explicit C locale prints the same digits.
    static const locale_t c_numbers = newlocale(LC_NUMERIC_MASK, "C", nullptr);
    const int length = snprintf_l(buffer, sizeof buffer, c_numbers, "%f", seconds_since_1970);
    if (length < 0 || std::size_t(length) >= sizeof buffer)
        return QString();
    const char *end = buffer + length;
#else
    const std::to_chars_result printed = std::to_chars(std::begin(buffer), std::end(buffer),
                                                       seconds_since_1970,
                                                       std::chars_format::fixed, 6);
    if (printed.ec != std::errc())
        return QString();
    const char *end = printed.ptr;
#endif
    const char *point = std::find(static_cast<const char *>(buffer), end, '.');
    return QString::fromLatin1(buffer, qsizetype(point - buffer));
}

namespace {

QString array_text(const std::vector<MetadataValue> &items)
{
    QString text;
    for (const MetadataValue &item : items) {
        switch (item.kind) {
        case MetadataValue::Kind::Text:
            text += item.text;
            text += QLatin1Char(';');
            break;
        case MetadataValue::Kind::Number:
            text += metadata_number_text(item.number);
            text += QLatin1Char(';');
            break;
        case MetadataValue::Kind::Date: {
            // An epoch date is a placeholder: it leaves no trace, not even
            // an empty slot between its neighbours.
            const QString date = metadata_date_text(item.number);
            if (!date.isNull()) {
                text += date;
                text += QLatin1Char(';');
            }
            break;
        }
        case MetadataValue::Kind::Null:
        case MetadataValue::Kind::Array:
        case MetadataValue::Kind::Other:
            break;
        }
    }
    if (text.endsWith(QLatin1Char(';')))
        text.chop(1);
    return text;
}

} // namespace

QString metadata_value_text(const MetadataValue &value)
{
    switch (value.kind) {
    case MetadataValue::Kind::Text:
        // A string the store holds is a value even when empty: only a
        // missing value may be stored as NULL.
        return value.text.isNull() ? QString(QLatin1String("")) : value.text;
    case MetadataValue::Kind::Number:
        return metadata_number_text(value.number);
    case MetadataValue::Kind::Array:
        return array_text(value.items);
    case MetadataValue::Kind::Date:
        return metadata_date_text(value.number);
    case MetadataValue::Kind::Null:
    case MetadataValue::Kind::Other:
        break;
    }
    return QString();
}
