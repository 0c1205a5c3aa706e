#ifndef IMPORTER_SPAWNER_H
#define IMPORTER_SPAWNER_H

#include "importer_loop.h"

// Makes the content importers one importer process uses.
using ContentImportersMaker = ContentImporters (*)();

// Serves the worker on its control socket until the worker closes it:
// forks a fresh importer for each socket handed over (the parsers' code
// already loaded, so a start costs a fork rather than an exec) and kills
// one when the worker asks, reaping it once it has died. It reads no
// evidence and runs no parser itself: each importer makes its own with
// make_importers. Returns the process's exit status.
int run_importer_spawner(int control, ContentImportersMaker make_importers);

// The argument that starts the importer executable as one importer serving
// the channel at its fixed descriptor, for spawners that can't fork one.
constexpr const char *importer_only_argument = "--importer-only";

// Serves the channel at its fixed descriptor as one importer started with
// importer_only_argument: confined as a forked importer is, before it
// reads its first file. Returns the process's exit status.
int run_exec_started_importer(ContentImportersMaker make_importers);

#endif // IMPORTER_SPAWNER_H
