#include "spotlight_record.h"

#include "spotlight_bytes.h"
#include "spotlight_tables.h"

#include <QStringList>

#include <cmath>

namespace {

// Localized texts end in this marker and their language ("Dokument" 0x16
// 0x02 "de"); the base text has an empty language.
const QString language_marker = QStringLiteral("\x16\x02");

// Bytes one integer of a type takes in memory: multi-valued integers are
// preceded by the size of that array, not by their count.
int integer_width(quint8 type)
{
    switch (type) {
    case 0x00: case 0x01: case 0x02: return 1;
    case 0x03: case 0x04: return 2;
    case 0x05: case 0x06: return 4;
    default: return 8;
    }
}

MetadataValue number_value(double number)
{
    return std::isfinite(number) ? MetadataValue::from_number(number) : MetadataValue::null_value();
}

MetadataValue date_value(double seconds_since_2001)
{
    if (!std::isfinite(seconds_since_2001))
        return MetadataValue::null_value();
    return MetadataValue::from_date(seconds_since_2001 + spotlight_seconds_from_1970_to_2001);
}

MetadataValue integer_value(quint8 type, quint64 raw)
{
    if (type == spotlight_type::UInt64)
        return MetadataValue::from_number(double(raw));
    return MetadataValue::from_number(double(qint64(raw)));
}

// The text an examiner expects from a set of localized variants: English,
// else the base text, else any English variant, else the first.
QString pick_localized(const QStringList &variants)
{
    int base = -1, english = -1, any_english = -1;
    for (int i = 0; i < variants.size(); ++i) {
        const int marker = variants[i].indexOf(language_marker);
        const QString language = marker < 0 ? QString() : variants[i].mid(marker + 2);
        if (language == QLatin1String("en") && english < 0)
            english = i;
        else if (language.isEmpty() && base < 0)
            base = i;
        else if (language.startsWith(QLatin1String("en")) && any_english < 0)
            any_english = i;
    }
    const int chosen = english >= 0 ? english : base >= 0 ? base : any_english >= 0 ? any_english : 0;
    const QString &text = variants[chosen];
    const int marker = text.indexOf(language_marker);
    return marker < 0 ? text : text.left(marker);
}

// Several texts become one when they are variants of one localized text,
// an array when the attribute holds several values, else the single text.
MetadataValue texts_value(const QStringList &texts, bool multiple)
{
    if (texts.isEmpty())
        return MetadataValue::null_value();
    for (const QString &text : texts) {
        if (text.contains(language_marker))
            return MetadataValue::from_text(pick_localized(texts));
    }
    if (!multiple)
        return MetadataValue::from_text(texts.first());
    std::vector<MetadataValue> items;
    items.reserve(size_t(texts.size()));
    for (const QString &text : texts)
        items.push_back(MetadataValue::from_text(text));
    return MetadataValue::from_array(std::move(items));
}

bool read_string(SpotlightByteReader &record, const SpotlightProperty &property, MetadataValue *value)
{
    quint64 length = 0;
    const char *bytes = nullptr;
    if (!record.read_varint(length) || !record.read_bytes(length, bytes))
        return false;
    if (!value)
        return true;
    QStringList texts;
    QByteArray text(bytes, qsizetype(length));
    if (property.flags & spotlight_flag::Multiple) {
        for (const QByteArray &part : text.split('\0')) {
            if (!part.isEmpty())
                texts.append(QString::fromUtf8(part));
        }
    } else {
        while (text.endsWith('\0'))
            text.chop(1);
        texts.append(QString::fromUtf8(text));
    }
    *value = texts_value(texts, property.flags & spotlight_flag::Multiple);
    return true;
}

bool read_category(SpotlightByteReader &record, const SpotlightProperty &property,
                   const SpotlightTables &tables, MetadataValue *value)
{
    quint64 number = 0;
    if (!record.read_varint(number))
        return false;
    if (!value)
        return true;
    *value = MetadataValue::null_value();
    if (number > 0xffffffffu)
        return true;
    if (!(property.flags & spotlight_flag::Multiple)) {
        if (const QString *text = tables.category(quint32(number)))
            *value = MetadataValue::from_text(*text);
        return true;
    }
    const bool localized = property.flags & (spotlight_flag::Localized | spotlight_flag::LocalizedAlso);
    const std::vector<quint32> *list = tables.list(
        localized ? SpotlightTables::ListTable::Localized : SpotlightTables::ListTable::Plain, quint32(number));
    if (!list)
        return true;
    QStringList texts;
    for (quint32 category : *list) {
        if (const QString *text = tables.category(category))
            texts.append(*text);
    }
    *value = texts_value(texts, true);
    return true;
}

// Multi-valued numbers and dates: the size in bytes of the values as the
// index holds them in memory, then the values.
bool read_count(SpotlightByteReader &record, int width, quint64 &count)
{
    quint64 size = 0;
    if (!record.read_varint(size) || size % quint64(width) != 0)
        return false;
    count = size / quint64(width);
    // Every value takes at least one byte of the record.
    return count <= quint64(record.remaining());
}

bool read_numbers(SpotlightByteReader &record, const SpotlightProperty &property, MetadataValue *value)
{
    const quint8 type = property.type;
    const bool multiple = property.flags & spotlight_flag::Multiple;
    const int width = type == spotlight_type::Float32 ? 4
                    : (type == spotlight_type::Float64 || type == spotlight_type::Date) ? 8
                                                                                         : integer_width(type);
    quint64 count = 1;
    if (multiple && !read_count(record, width, count))
        return false;
    std::vector<MetadataValue> items;
    if (value)
        items.reserve(size_t(count));
    for (quint64 i = 0; i < count; ++i) {
        MetadataValue item;
        if (type == spotlight_type::Bool) {
            quint8 flag = 0;
            if (!record.read_u8(flag))
                return false;
            item = MetadataValue::from_number(flag ? 1 : 0);
        } else if (type == spotlight_type::Float32) {
            float number = 0;
            if (!record.read_f32(number))
                return false;
            item = number_value(number);
        } else if (type == spotlight_type::Float64 || type == spotlight_type::Date) {
            double number = 0;
            if (!record.read_f64(number))
                return false;
            item = type == spotlight_type::Date ? date_value(number) : number_value(number);
        } else {
            quint64 raw = 0;
            if (!record.read_varint(raw))
                return false;
            item = integer_value(type, raw);
        }
        if (value)
            items.push_back(std::move(item));
    }
    if (value)
        *value = multiple ? MetadataValue::from_array(std::move(items)) : std::move(items.front());
    return true;
}

} // namespace

bool spotlight_read_value(SpotlightByteReader &record, const SpotlightProperty &property,
                const SpotlightTables &tables, MetadataValue *value)
{
    switch (property.type) {
    case spotlight_type::String:
        return read_string(record, property, value);
    case spotlight_type::Category:
        return read_category(record, property, tables, value);
    case spotlight_type::Binary: {
        quint64 length = 0;
        if (!record.read_varint(length) || !record.skip(length))
            return false;
        if (value)
            *value = MetadataValue::other();
        return true;
    }
    default:
        if (property.type <= spotlight_type::Date)
            return read_numbers(record, property, value);
        return false; // a type whose size is unknown: the rest can't be found
    }
}

bool spotlight_read_record_header(SpotlightByteReader &record, SpotlightRecordHeader &header)
{
    // Four integers and the flags byte: where the longest they can be is
    // left, they are read without checking each byte.
    constexpr qsizetype longest_header = 4 * 9 + 1;
    if (record.remaining() >= longest_header) {
        const char *at = record.cursor();
        header.id = spotlight_varint_at(at);
        header.flags = quint8(*at++);
        at += spotlight_varint_size(quint8(*at)); // a number nothing here needs
        header.parent = spotlight_varint_at(at);
        header.updated = spotlight_varint_at(at);
        record.advance_to(at);
        return true;
    }
    quint64 unused = 0; // a number between flags and parent that nothing here needs
    return record.read_varint(header.id) && record.read_u8(header.flags) && record.read_varint(unused)
        && record.read_varint(header.parent) && record.read_varint(header.updated);
}

bool spotlight_read_short_record_id(SpotlightByteReader &record, quint64 &id)
{
    return record.read_varint(id) && record.skip(1) && record.skip_varint() && record.skip_varint()
        && record.skip_varint();
}

SpotlightRecordEnd spotlight_read_attributes(
    SpotlightByteReader &record, const SpotlightTables &tables,
    const std::function<bool(const SpotlightProperty &)> &wanted,
    const std::function<bool(const SpotlightProperty &, MetadataValue &&)> &take)
{
    quint64 number = 0;
    while (!record.at_end()) {
        const SpotlightProperty *property = spotlight_next_property(record, tables, number);
        if (!property)
            return SpotlightRecordEnd::Damaged;
        const bool want = wanted(*property);
        MetadataValue value;
        if (!spotlight_read_value(record, *property, tables, want ? &value : nullptr))
            return SpotlightRecordEnd::Damaged;
        if (want && !take(*property, std::move(value)))
            return SpotlightRecordEnd::Stopped;
    }
    return SpotlightRecordEnd::Complete;
}
