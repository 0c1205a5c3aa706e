#ifndef PROPERTY_LIST_VALUE_H
#define PROPERTY_LIST_VALUE_H

#include "metadata_value.h"

#include <QByteArrayView>

// The value held by the bytes of a property list, binary or XML, as macOS
// keeps it in a file's metadata attribute: string as text; integer, real and
// boolean (1 or 0) as number; date as date, in seconds since 1970; array as
// an array of its items' values. Values are as exact as the list holds
// them (see binary_property_list.h). Arrays inside the root array keep their
// kind but not their items, which no text shows. Data, dictionaries,
// identifiers, and bytes that are no property list or that would cost the
// parser too much to read, give Other.
MetadataValue property_list_value(QByteArrayView bytes);

#endif // PROPERTY_LIST_VALUE_H
