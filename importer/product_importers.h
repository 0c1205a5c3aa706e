#ifndef PRODUCT_IMPORTERS_H
#define PRODUCT_IMPORTERS_H

#include "importer_loop.h"

// The importers the shipped importer process runs.
ContentImporters product_importers();

#endif // PRODUCT_IMPORTERS_H
