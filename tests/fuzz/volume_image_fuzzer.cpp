// The image reader fed arbitrary images: recognising the image, the GPT
// map, the file-system libraries' records and the walk of paths through
// them; and the worker's reading of the reader's answers.

#include "image_protocol.h"
#include "image_bytes.h"
#include "image_reader_loop.h"
#include "image_volumes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView input(reinterpret_cast<const char *>(data), qsizetype(size));
    // The worker's side: whatever a taken-over reader answers.
    if (const std::optional<image_protocol::Answer> answer = image_protocol::decode_answer(input)) {
        image_protocol::decode_facts(answer->payload);
        image_protocol::decode_names(answer->payload, 64);
    }

    // The reader's side: the input as an image file.
    const int file = ::memfd_create("image", MFD_CLOEXEC);
    if (file < 0)
        return 0;
    if (::write(file, data, size) == ssize_t(size)) {
        ImageReader reader(image_file_volumes({file}));
        image_protocol::Request request;
        for (const char *path : {"", "a", "a/b", "../a/./b", "x/y/z/.."}) {
            request.path = path;
            for (const auto kind : {image_protocol::Kind::Look, image_protocol::Kind::Entries,
                                    image_protocol::Kind::AttributeNames, image_protocol::Kind::Read}) {
                request.kind = kind;
                request.length = 4096;
                reader.answer(request);
            }
            // Attributes some volumes keep apart from the rest (HFS+'s catalog) and one kept with them.
            request.kind = image_protocol::Kind::Attribute;
            for (const char *name : {"com.apple.FinderInfo", "com.apple.ResourceFork", "myxattr"}) {
                request.name = name;
                reader.answer(request);
            }
        }
    }
    ::close(file);
    return 0;
}
