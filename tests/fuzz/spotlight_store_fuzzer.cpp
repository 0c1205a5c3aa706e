// Hands arbitrary bytes to the Spotlight store reader as a store file:
// whatever they hold, opening, scanning and reading every item must neither
// crash, nor read out of bounds, nor hang.

#include "spotlight_index/spotlight_store_file.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto store = SpotlightStoreFile::open(
        SpotlightByteSource::from_bytes(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size))));
    if (!store)
        return 0;
    std::vector<SpotlightRecordLocation> locations;
    store->scan([&locations](const SpotlightScannedItem &item) { locations.push_back(item.location); });
    for (const SpotlightRecordLocation &location : locations)
        store->attributes(location);
    return 0;
}
