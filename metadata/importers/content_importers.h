#ifndef CONTENT_IMPORTERS_H
#define CONTENT_IMPORTERS_H

#include "content_importer.h"

#include <memory>
#include <vector>

// One of each content importer, in the order they are asked: the first
// that reads a file's type imports it.
std::vector<std::unique_ptr<ContentImporter>> all_content_importers();

#endif // CONTENT_IMPORTERS_H
