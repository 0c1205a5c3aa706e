#ifndef SPOTLIGHT_RECORD_H
#define SPOTLIGHT_RECORD_H

#include "metadata_value.h"
#include "spotlight_bytes.h"
#include "spotlight_tables.h"

#include <QString>
#include <QtGlobal>

#include <functional>

// The fixed start of an item record of the index.
struct SpotlightRecordHeader
{
    quint64 id = 0;      // the item's file-system identifier (2: the volume root)
    quint8 flags = 0;
    quint64 parent = 0;  // its folder's identifier; all bits set for the root,
                         // 0 for items that are no file of the volume
    quint64 updated = 0; // when the index last wrote the item: microseconds since 1970
};

bool spotlight_read_record_header(SpotlightByteReader &record, SpotlightRecordHeader &header);
// Reads only the identifier of a record's header, stepping over the rest:
// it fails where reading the whole header fails, and stops where that does.
// The same, checking each byte: for records shorter than the longest header.
bool spotlight_read_short_record_id(SpotlightByteReader &record, quint64 &id);
// Read for every record a look-up by name passes, so kept inline.
Q_ALWAYS_INLINE bool spotlight_read_record_id(SpotlightByteReader &record, quint64 &id)
{
    // Where the longest header the fields can make is left, they are
    // stepped over without checking each byte.
    constexpr qsizetype longest_header = 4 * 9 + 1;
    if (record.remaining() >= longest_header) {
        const char *at = record.cursor();
        id = spotlight_varint_at(at);
        ++at; // flags
        at += spotlight_varint_size(quint8(*at));
        at += spotlight_varint_size(quint8(*at));
        at += spotlight_varint_size(quint8(*at));
        record.advance_to(at);
        return true;
    }
    return spotlight_read_short_record_id(record, id);
}

// One attribute of an item as the index holds it.
struct SpotlightAttribute
{
    QString name;
    MetadataValue value;
};

enum class SpotlightRecordEnd { Complete, Stopped, Damaged };

// The property of the next attribute of a record: each attribute names its
// property by the distance from the previous one, number holding where the
// last one left off. Nothing when the number is no property of the tables.
// Every attribute of every record steps here, so it is kept inline.
inline const SpotlightProperty *spotlight_next_property(SpotlightByteReader &record, const SpotlightTables &tables,
                                                        quint64 &number)
{
    quint64 step = 0;
    if (!record.read_varint(step) || step > 0xffffffffu - number)
        return nullptr;
    number += step;
    return tables.property(quint32(number));
}

// Reads the value of one attribute of property into value, or steps over
// it when value is null; false when it cannot be read, and nothing after
// it can be trusted.
bool spotlight_read_value(SpotlightByteReader &record, const SpotlightProperty &property,
                          const SpotlightTables &tables, MetadataValue *value);

// Reads the attributes that follow a record's header, in the record's order.
// The value of every attribute that wanted accepts is built and handed to
// take, which returns false to stop there; other values are stepped over.
// Damaged: an attribute could not be read, and nothing after it can be
// trusted; what was handed over before it stands.
SpotlightRecordEnd spotlight_read_attributes(
    SpotlightByteReader &record, const SpotlightTables &tables,
    const std::function<bool(const SpotlightProperty &)> &wanted,
    const std::function<bool(const SpotlightProperty &, MetadataValue &&)> &take);

// Index dates count seconds from 2001-01-01 UTC.
constexpr double spotlight_seconds_from_1970_to_2001 = 978307200.0;

#endif // SPOTLIGHT_RECORD_H
