// Hands arbitrary bytes to the reader of a store's string maps as the
// header, offsets and data files of one map: reading every entry must
// neither crash, nor read out of bounds, nor hang.

#include "spotlight_index/spotlight_string_maps.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The first two bytes say how long the header and the offsets are; the
    // rest is the data file.
    if (size < 2)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 2, qsizetype(size - 2));
    const qsizetype header_size = qMin<qsizetype>(data[0], bytes.size());
    const qsizetype offsets_size = qMin<qsizetype>(qsizetype(data[1]) * 4, bytes.size() - header_size);
    const auto map = SpotlightStringMap::from_bytes(bytes.left(header_size), bytes.mid(header_size, offsets_size),
                                                    bytes.mid(header_size + offsets_size));
    if (!map)
        return 0;
    for (quint32 i = 0; i < map->size(); ++i)
        map->entry(i);
    return 0;
}
