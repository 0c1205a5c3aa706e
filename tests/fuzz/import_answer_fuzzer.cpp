// Hands arbitrary bytes to the worker as its importer's answer frame: the
// importer process may have been taken over by the file it read. Reading
// the frame must neither crash, nor read out of bounds, nor take long, and
// whatever it accepts must render and travel again.

#include "import_protocol.h"
#include "metadata_value_text.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace import_protocol;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView frame(reinterpret_cast<const char *>(data), qsizetype(size));
    if (frame.size() < length_size)
        return 0;
    const std::optional<std::uint32_t> length = decode_frame_length(frame.first(length_size));
    if (!length || qsizetype(*length) != frame.size() - length_size)
        return 0;
    const std::optional<Answer> answer = decode_answer(frame.sliced(length_size));
    if (!answer)
        return 0;
    for (const auto &[key, value] : answer->values)
        metadata_value_text(value);
    // What the worker accepted, an importer can always send again.
    const QByteArray again = encode_answer(answer->sequence, answer->values);
    if (!decode_frame_length(again.first(length_size)) || !decode_answer(again.sliced(length_size)))
        std::abort();
    return 0;
}
