#include "spotlight_item_record.h"

#include "spotlight_bytes.h"
#include "spotlight_record.h"
#include "spotlight_tables.h"

SpotlightItemRecord::SpotlightItemRecord(QByteArray record, qsizetype attributes_start, const SpotlightTables &tables)
    : record_(std::move(record)), tables_(&tables)
{
    if (attributes_start < 0 || attributes_start > record_.size())
        attributes_start = record_.size();
    SpotlightByteReader reader(record_.constData() + attributes_start, record_.size() - attributes_start);
    quint64 number = 0;
    while (!reader.at_end()) {
        const SpotlightProperty *property = spotlight_next_property(reader, tables, number);
        const qsizetype start = reader.position();
        if (!property || !spotlight_read_value(reader, *property, tables, nullptr)) {
            complete_ = false;
            break;
        }
        attributes_.push_back({property, attributes_start + start});
    }
}

MetadataValue SpotlightItemRecord::value(const QString &key) const
{
    // A name the index defines twice: the first value the item holds counts.
    for (const Attribute &attribute : attributes_) {
        if (attribute.property->name != key)
            continue;
        // The rest of the record, as when the attributes were stepped over.
        SpotlightByteReader reader(record_.constData() + attribute.value_start,
                                   record_.size() - attribute.value_start);
        MetadataValue value;
        if (spotlight_read_value(reader, *attribute.property, *tables_, &value)
            && value.kind != MetadataValue::Kind::Null)
            return value;
    }
    return MetadataValue::null_value();
}
