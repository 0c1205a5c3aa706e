// Hands arbitrary bytes to the Spotlight store reader as a store file:
// whatever they hold, opening, scanning (which steps over each record to its
// file name) and reading every item, whole and key by key, must neither
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
    for (const SpotlightRecordLocation &location : locations) {
        store->attributes(location);
        // The per-key decoding a run asks for: a key the synthetic and real
        // stores hold, and one no store holds.
        if (const auto record = store->record(location)) {
            record->value(QStringLiteral("kMDItemDisplayName"));
            record->value(QStringLiteral("_kMDItemFileName"));
            record->value(QStringLiteral("no such key"));
        }
    }
    return 0;
}
