// Feeds arbitrary attribute contents through the conversion and the
// renderer, as a crafted file under examination would; and through the
// binary reader alone, which must hold even on bytes the parser never saw.

#include "metadata_value_text.h"
#include "file/binary_property_list.h"
#include "file/property_list_value.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString text = metadata_value_text(property_list_value(bytes));
    const QString unvetted = metadata_value_text(binary_property_list_value(bytes));
    return text.size() < 0 || unvetted.size() < 0 ? 1 : 0;
}
