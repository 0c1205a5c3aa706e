// Feeds arbitrary attribute contents through the conversion and the
// renderer, as a crafted file under examination would.

#include "metadata_value_text.h"
#include "file/property_list_value.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const MetadataValue value =
        property_list_value(QByteArrayView(reinterpret_cast<const char *>(data), qsizetype(size)));
    const QString text = metadata_value_text(value);
    return text.size() < 0 ? 1 : 0;
}
