#ifndef BINARY_PROPERTY_LIST_H
#define BINARY_PROPERTY_LIST_H

#include "metadata_value.h"

#include <QByteArrayView>

// The value of a binary property list's root object, read straight from the
// list's bytes so that nothing of it is lost: a date is the exact number of
// seconds the list stores, moved from 2001 to 1970; an integer keeps its
// sign (8-byte integers are signed, shorter and 16-byte ones unsigned; a
// 16-byte one beyond 64 bits gives Other); a string keeps every character
// up to its stated length, NUL included. Booleans are 1 and 0, reals their
// number. An array or set gives its items' values, each nested array by its
// kind only. Every other object, and one that the bytes do not hold whole,
// gives Other. Reads only the root and its references, never deeper.
MetadataValue binary_property_list_value(QByteArrayView bytes);

#endif // BINARY_PROPERTY_LIST_H
