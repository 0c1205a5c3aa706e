// The isolated importer process: the worker starts it and talks to it over
// the socket it leaves at a fixed descriptor.

#include "importers/import_protocol.h"
#include "product_importers.h"

int main()
{
    const ContentImporters importers = product_importers();
    return run_importer_loop(import_protocol::importer_channel_fd, importers);
}
