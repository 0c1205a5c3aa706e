#ifndef SPOTLIGHT_VOLUME_INDEX_H
#define SPOTLIGHT_VOLUME_INDEX_H

#include "spotlight_chunked_array.h"
#include "spotlight_slot_table.h"
#include "spotlight_store_file.h"

#include <QByteArrayView>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

// The Spotlight index a macOS volume keeps of itself, read once:
// every store file under <root>/.Spotlight-V100/Store-V2/<UUID>/ (store.db
// and .store.db, which may differ). An item found in any of them counts;
// where several hold it, the copy the index updated last wins. Items are
// placed on the volume by their name and their folder's identifier, so a
// file's path finds its item without any file-system identifier. A run
// that asks for one file finds it without placing the other items.
class SpotlightVolumeIndex
{
public:
    // Nothing when the volume has no index that can be read.
    static std::unique_ptr<SpotlightVolumeIndex> read(const QString &volume_root);
    static std::unique_ptr<SpotlightVolumeIndex> read(const EvidenceVolume &volume);
    // The given store files, in order, as one index (for tests and tools).
    static std::unique_ptr<SpotlightVolumeIndex> from_stores(std::vector<std::unique_ptr<SpotlightStoreFile>> stores);

    // The record of the item at a path relative to the volume root ("" for
    // the root, "folder/file"); nothing when the index has no item there.
    std::optional<SpotlightItemRecord> record(const QString &relative_path);

    // Reads the records of the items from position `from` on, in the order
    // the index keeps them, handing each to visit (nothing for an item whose
    // record can't be read) until visit returns false or the items end;
    // gives the position to resume from. For sampling the index without a
    // path: the order may change once paths have been looked up. Until
    // then, the stores are read from their start: each call costs as many
    // pages as its position lies from there.
    qsizetype visit_items(qsizetype from,
                          const std::function<bool(const std::optional<SpotlightItemRecord> &)> &visit);

    // Whether no store held any item.
    bool is_empty() const { return !holds_items_; }
    // The items of the volume: one for every identifier any store holds.
    qsizetype item_count();

    // The volume root's identifier: HFS+ and APFS both give the root folder 2.
    static constexpr quint64 root_id = 2;

private:
    // Ten million items are no rarity: an item is three numbers (its
    // identifier, the key of its name in its folder, where its record
    // lies), kept in chunks so that growing never copies them; items are
    // found by name through an open-addressed table of their positions.
    struct Item
    {
        quint64 id = 0;
        quint64 name_key = 0; // spotlight_name_key() of its folder and name; 0: none
        quint64 place = 0;    // SpotlightItemPlace::packed()
    };

    SpotlightVolumeIndex();
    // Whether any store holds an item: read until the first page that does.
    bool any_store_holds_items() const;
    // Reads every store whole: keeps the copy of every item that counts,
    // then places them by name.
    void load();
    // Adds the copies of one page, keeping the one of each item that counts.
    void take_copies(const std::vector<SpotlightScannedItem> &copies, quint32 store,
                     SpotlightSlotTable &by_id, SpotlightChunkedArray<quint64> &updated);
    void place_by_name(const SpotlightChunkedArray<quint64> &updated);
    std::optional<size_t> find_in_tables(const QStringList &parts) const;
    std::optional<SpotlightItemRecord> record_at(quint64 place);

    std::vector<std::unique_ptr<SpotlightStoreFile>> stores_;
    quint64 seed_ = 0;
    bool holds_items_ = false;
    bool loaded_ = false;
    int lookups_ = 0;
    // The copy of each identifier that counts, in the order first read.
    SpotlightChunkedArray<Item> items_;
    std::optional<size_t> root_;
    // (folder identifier, name) -> item: slots hold the top half of the
    // name's key and the item's position plus one; 0 marks an empty slot.
    SpotlightSlotTable children_;
};

#endif // SPOTLIGHT_VOLUME_INDEX_H
