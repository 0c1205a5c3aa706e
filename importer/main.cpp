// The isolated importer process: the worker starts it once as the spawner
// of importers, over the control socket it leaves at a fixed descriptor.

#include "content_importers.h"
#include "importer_spawner.h"
#include "importers/spawn_protocol.h"

int main()
{
    load_content_libraries();
    return run_importer_spawner(spawn_protocol::control_fd, all_content_importers);
}
