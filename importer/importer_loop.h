#ifndef IMPORTER_LOOP_H
#define IMPORTER_LOOP_H

#include "content_importer.h"

#include <memory>
#include <vector>

using ContentImporters = std::vector<std::unique_ptr<ContentImporter>>;

// Serves the worker on channel until it closes it: each file handed over is
// read by the first of importers that reads its content type, and its
// values are sent back; a file none of them reads gets an empty answer.
// Returns the process's exit status.
int run_importer_loop(int channel, const ContentImporters &importers);

#endif // IMPORTER_LOOP_H
