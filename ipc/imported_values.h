#ifndef IMPORTED_VALUES_H
#define IMPORTED_VALUES_H

#include "metadata_value.h"

#include <QString>

#include <utility>
#include <vector>

// The values an importer found in one file, by Spotlight key, in the order
// found. A key the content does not give is left out, never guessed.
using ImportedValues = std::vector<std::pair<QString, MetadataValue>>;

#endif // IMPORTED_VALUES_H
