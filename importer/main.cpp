// The isolated importer process: the worker starts it and talks to it over
// the socket it leaves at a fixed descriptor.

#include "content_importers.h"
#include "importer_loop.h"
#include "importers/import_protocol.h"

int main()
{
    const ContentImporters importers = all_content_importers();
    return run_importer_loop(import_protocol::importer_channel_fd, importers);
}
