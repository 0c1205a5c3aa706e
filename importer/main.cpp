// The isolated importer process: the worker starts it once as the spawner
// of importers, over the control socket it leaves at a fixed descriptor.

#include "content_importers.h"
#include "importer_spawner.h"
#include "spawn_protocol.h"

#include <cstring>

int main(int argc, char *argv[])
{
    // Whatever the parsers would load lazily is loaded before the sandbox
    // closes the file system to them.
    load_content_libraries();
    if (argc == 2 && std::strcmp(argv[1], importer_only_argument) == 0)
        return run_exec_started_importer(all_content_importers);
    return run_importer_spawner(spawn_protocol::control_fd, all_content_importers);
}
