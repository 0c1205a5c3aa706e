#include "metadata_value.h"

MetadataValue MetadataValue::null_value()
{
    return MetadataValue();
}

MetadataValue MetadataValue::from_text(const QString &text)
{
    MetadataValue value;
    value.kind = Kind::Text;
    value.text = text;
    return value;
}

MetadataValue MetadataValue::from_number(double number)
{
    MetadataValue value;
    value.kind = Kind::Number;
    value.number = number;
    return value;
}

MetadataValue MetadataValue::from_date(double seconds_since_1970)
{
    MetadataValue value;
    value.kind = Kind::Date;
    value.number = seconds_since_1970;
    return value;
}

MetadataValue MetadataValue::from_array(std::vector<MetadataValue> items)
{
    MetadataValue value;
    value.kind = Kind::Array;
    value.items = std::move(items);
    return value;
}

MetadataValue MetadataValue::other()
{
    MetadataValue value;
    value.kind = Kind::Other;
    return value;
}

bool MetadataValue::operator==(const MetadataValue &other) const
{
    if (kind != other.kind)
        return false;
    switch (kind) {
    case Kind::Text:
        return text == other.text && text.isNull() == other.text.isNull();
    case Kind::Number:
    case Kind::Date:
        return number == other.number;
    case Kind::Array:
        return items == other.items;
    case Kind::Null:
    case Kind::Other:
        return true;
    }
    return false;
}
