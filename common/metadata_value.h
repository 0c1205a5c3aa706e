#ifndef METADATA_VALUE_H
#define METADATA_VALUE_H

#include <QString>

#include <vector>

// One attribute value as a metadata store hands it back, whatever the
// platform: the kinds the renderer tells apart and nothing more.
struct MetadataValue
{
    enum class Kind { Null, Text, Number, Date, Array, Other };

    Kind kind = Kind::Null;
    QString text;                     // Text
    double number = 0.0;              // Number; Date: seconds since 1970-01-01 UTC
    std::vector<MetadataValue> items; // Array, in the store's order

    static MetadataValue null_value();
    static MetadataValue from_text(const QString &text);
    static MetadataValue from_number(double number);
    static MetadataValue from_date(double seconds_since_1970);
    static MetadataValue from_array(std::vector<MetadataValue> items);
    // A value of a kind that is never rendered (raw data, a dictionary).
    static MetadataValue other();

    bool operator==(const MetadataValue &other) const;
    bool operator!=(const MetadataValue &other) const { return !(*this == other); }
};

#endif // METADATA_VALUE_H
