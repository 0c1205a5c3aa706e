#ifndef METADATA_VALUE_TEXT_H
#define METADATA_VALUE_TEXT_H

#include "metadata_value.h"

#include <QString>

// The text a value is stored as: null text for no value, for a value kind
// that is never rendered and for a date at the epoch itself; a string,
// even an empty one, is never null.
QString metadata_value_text(const MetadataValue &value);

// A number as the host expects it: at most six significant digits.
QString metadata_number_text(double number);

// A date as whole seconds since 1970, cut toward zero after rounding to
// microseconds; null text for exactly the epoch.
QString metadata_date_text(double seconds_since_1970);

#endif // METADATA_VALUE_TEXT_H
