#ifndef CORE_FOUNDATION_VALUE_H
#define CORE_FOUNDATION_VALUE_H

#include "core_foundation_handle.h"
#include "metadata_value.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QString>

// A new CoreFoundation string with the same UTF-16 code units as text;
// empty when none can be made.
CFHandle<CFStringRef> core_foundation_string(const QString &text);

// The code units of a CoreFoundation string, unchanged; empty, never
// null, for a string of no characters.
QString text_of_core_foundation_string(CFStringRef string);

// The value a CoreFoundation object stands for: string as Text, number
// and boolean as Number, date as Date (seconds since 1970), array as
// Array, anything else as Other, no object as Null. The object is only
// borrowed: the caller keeps it and releases it.
MetadataValue metadata_value_of(CFTypeRef ref);

#endif // CORE_FOUNDATION_VALUE_H
