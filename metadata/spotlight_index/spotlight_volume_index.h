#ifndef SPOTLIGHT_VOLUME_INDEX_H
#define SPOTLIGHT_VOLUME_INDEX_H

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
// file's path finds its item without any file-system identifier.
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
    // path: the order may change once paths have been looked up.
    qsizetype visit_items(qsizetype from,
                          const std::function<bool(const std::optional<SpotlightItemRecord> &)> &visit);

    // Whether no store held any item.
    bool is_empty() const { return items_.empty(); }
    // The items of the volume: one for every identifier any store holds.
    qsizetype item_count();

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
    QByteArrayView name_of(const Item &item) const { return QByteArrayView(names_.data() + item.name_start, item.name_size); }
    // Which copy of an item counts, and which item a name in a folder is.
    static bool is_newer_copy(const Item &copy, const Item &than) { return copy.updated > than.updated; }
    static bool owns_name_over(const Item &item, const Item &other)
    {
        return item.updated > other.updated || (item.updated == other.updated && item.id > other.id);
    }

    // One look-up (a left-click run's) walks the items once per path
    // component; a second builds the tables that make every later one cheap.
    std::optional<size_t> find_by_walking(const QStringList &parts) const;
    std::optional<size_t> find_in_tables(const QStringList &parts) const;
    // The position of the copy of id that counts; nothing when none.
    std::optional<size_t> counting_copy(quint64 id) const;
    // Keeps the counting copy of every item only, then places them.
    void build_tables();
    // The slot of id in by_id_, or of the empty slot where it would go.
    size_t id_slot(quint64 id) const;
    // The slot of (parent, name) in children_, or of the empty slot where it would go.
    size_t child_slot(quint64 parent, QByteArrayView name) const;

    std::vector<std::unique_ptr<SpotlightStoreFile>> stores_;
    // Every copy of every item in the order the stores hold them, until
    // the tables are built; then the copy of each identifier that counts.
    std::vector<Item> items_;
    std::vector<char> names_;
    bool tables_built_ = false;
    int lookups_ = 0;
    // Positions in items_ plus one; 0 marks an empty slot. Sizes are powers of two.
    std::vector<quint32> by_id_;
    std::vector<quint32> children_; // (folder identifier, name) -> item
};

#endif // SPOTLIGHT_VOLUME_INDEX_H
