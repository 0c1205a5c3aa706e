#ifndef CONTENT_IMPORTERS_H
#define CONTENT_IMPORTERS_H

#include "content_importer.h"

#include <memory>
#include <vector>

// One of each content importer, in the order they are asked: the first
// that reads a file's type imports it.
std::vector<std::unique_ptr<ContentImporter>> all_content_importers();

// Loads what the importers would otherwise load on their first file (the
// image format plugins and the libraries they pull in) without reading any:
// done once in the spawner, every importer forked from it starts with them.
void load_content_libraries();

#endif // CONTENT_IMPORTERS_H
