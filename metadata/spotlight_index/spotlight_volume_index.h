#ifndef SPOTLIGHT_VOLUME_INDEX_H
#define SPOTLIGHT_VOLUME_INDEX_H

#include "spotlight_store_file.h"

#include <QByteArrayView>
#include <QString>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

// The Spotlight index a macOS volume keeps of itself, read once:
// every store file under <root>/.Spotlight-V100/Store-V2/<UUID>/ (store.db
// and .store.db, which may differ). An item found in any of them counts;
// where several hold it, the copy the index updated last wins. Items are
// placed on the volume by their name and their folder's identifier, so a
// file's path finds its item without any file-system identifier.
class SpotlightVolumeIndex
{
public:
    // Nothing when the volume has no index that can be read.
    static std::unique_ptr<SpotlightVolumeIndex> read(const QString &volume_root);
    // The given store files, in order, as one index (for tests and tools).
    static std::unique_ptr<SpotlightVolumeIndex> from_stores(std::vector<std::unique_ptr<SpotlightStoreFile>> stores);

    // The record of the item at a path relative to the volume root ("" for
    // the root, "folder/file"); nothing when the index has no item there.
    std::optional<SpotlightItemRecord> record(const QString &relative_path);

    qsizetype item_count() const { return qsizetype(items_.size()); }
    const std::vector<SpotlightScanSummary> &summaries() const { return summaries_; }

    // The volume root's identifier: HFS+ and APFS both give the root folder 2.
    static constexpr quint64 root_id = 2;

private:
    // A million items are common: an item is a few numbers, its name lies
    // in one shared array, and both look-ups are open-addressed tables of
    // item positions, so no item costs an allocation of its own.
    struct Item
    {
        quint64 id = 0;
        quint64 parent = 0;
        quint64 updated = 0;
        qint64 name_start = 0; // in names_; Unicode composed form, UTF-8
        quint32 name_size = 0;
        quint32 store = 0;
        SpotlightRecordLocation location;
    };

    SpotlightVolumeIndex() = default;
    void add_store(std::unique_ptr<SpotlightStoreFile> store);
    void place_items();
    QByteArrayView name_of(const Item &item) const { return QByteArrayView(names_.data() + item.name_start, item.name_size); }
    // The slot of id in by_id_, or of the empty slot where it would go.
    size_t id_slot(quint64 id) const;
    // The slot of (parent, name) in children_, or of the empty slot where it would go.
    size_t child_slot(quint64 parent, QByteArrayView name) const;
    void grow_ids();

    std::vector<std::unique_ptr<SpotlightStoreFile>> stores_;
    std::vector<SpotlightScanSummary> summaries_;
    std::vector<Item> items_; // the copy of each identifier the index updated last
    std::vector<char> names_;
    // Positions in items_ plus one; 0 marks an empty slot. Sizes are powers of two.
    std::vector<quint32> by_id_;
    std::vector<quint32> children_; // (folder identifier, name) -> item
};

#endif // SPOTLIGHT_VOLUME_INDEX_H
