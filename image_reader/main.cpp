// The isolated image reader: the worker starts it with its channel and the
// image's files at fixed descriptors, the number of those files as its
// first argument and, when it asks about a part of the image (a mount's
// volume and folder), that part's scope after it. It confines itself
// before it reads a byte of the image.

#include "image_protocol.h"
#include "image_reader_loop.h"
#include "image_scope.h"
#include "importer_sandbox.h"

#include <cstdlib>
#include <cstring>
#include <vector>

int main(int argc, char *argv[])
{
    if (argc != 2 && argc != 6)
        return 2;
    QList<QByteArray> scope_arguments;
    for (int index = 2; index < argc; ++index)
        scope_arguments.append(QByteArray(argv[index]));
    const std::optional<ImageScope> scope =
        argc == 2 ? std::optional<ImageScope>(ImageScope()) : image_scope::from_arguments(scope_arguments);
    if (!scope)
        return 2;
    char *end = nullptr;
    const long count = std::strtol(argv[1], &end, 10);
    if (*end != '\0' || count < 1 || count > image_protocol::max_image_files)
        return 2;
    std::vector<int> files;
    for (int index = 0; index < count; ++index)
        files.push_back(image_protocol::first_image_fd + index);
    importer_sandbox::confine_importer(image_protocol::reader_channel_fd);
    return run_image_reader(image_protocol::reader_channel_fd, files, *scope);
}
