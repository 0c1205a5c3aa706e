// Hands arbitrary bytes to the Spotlight store reader as a store file:
// whatever they hold, opening, scanning (which steps over each record to its
// file name) and reading every item, whole and key by key, then placing
// the items on a volume and looking paths up (by walking the items, then
// through the tables), must neither crash, nor read out of bounds, nor hang.

#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    auto store = SpotlightStoreFile::open(SpotlightByteSource::from_bytes(bytes));
    if (!store)
        return 0;
    std::vector<SpotlightRecordLocation> locations;
    store->scan([&locations](const SpotlightScannedItem &item) { locations.push_back(item.location); });
    for (const SpotlightRecordLocation &location : locations) {
        // The per-key decoding a run asks for: a key the synthetic and real
        // stores hold, and one no store holds.
        if (const auto record = store->record(location)) {
            record->value(QStringLiteral("kMDItemDisplayName"));
            record->value(QStringLiteral("_kMDItemFileName"));
            record->value(QStringLiteral("no such key"));
        }
    }

    // The same store twice, as store.db and .store.db: every item has a copy.
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    stores.push_back(std::move(store));
    stores.push_back(SpotlightStoreFile::open(SpotlightByteSource::from_bytes(bytes)));
    auto index = SpotlightVolumeIndex::from_stores(std::move(stores));
    for (int lookup = 0; lookup < 2; ++lookup) {
        for (const char *path : {"", "a", "a/b/c", "Users/alex/Documents/notes.txt"})
            index->record(QString::fromLatin1(path));
    }
    return 0;
}
