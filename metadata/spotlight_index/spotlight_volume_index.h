#ifndef SPOTLIGHT_VOLUME_INDEX_H
#define SPOTLIGHT_VOLUME_INDEX_H

#include "spotlight_store_file.h"

#include <QHash>
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
    // The given store files, in order, as one index (for tests and tools).
    static std::unique_ptr<SpotlightVolumeIndex> from_stores(std::vector<std::unique_ptr<SpotlightStoreFile>> stores);

    // The attributes of the item at a path relative to the volume root
    // ("" for the root, "folder/file"); nothing when the index has no item there.
    std::optional<std::vector<SpotlightAttribute>> attributes(const QString &relative_path);

    // Reads the attributes of the items from position `from` on, in the
    // index's own order, handing each to visit (an item that can't be read
    // with none) until it returns false or the items end; gives the
    // position to resume from. For sampling the index without a path.
    qsizetype visit_items(qsizetype from,
                          const std::function<bool(const std::vector<SpotlightAttribute> &)> &visit);

    qsizetype item_count() const { return items_.size(); }
    const std::vector<SpotlightScanSummary> &summaries() const { return summaries_; }

    // The volume root's identifier: HFS+ and APFS both give the root folder 2.
    static constexpr quint64 root_id = 2;

private:
    struct Item
    {
        quint64 parent = 0;
        quint64 updated = 0;
        QString name;
        int store = 0;
        SpotlightRecordLocation location;
    };
    using ChildKey = std::pair<quint64, QString>;

    SpotlightVolumeIndex() = default;
    void add_store(std::unique_ptr<SpotlightStoreFile> store);
    void place_items();

    std::vector<std::unique_ptr<SpotlightStoreFile>> stores_;
    std::vector<SpotlightScanSummary> summaries_;
    QHash<quint64, Item> items_;
    // (folder identifier, name in Unicode composed form) -> item identifier
    QHash<ChildKey, quint64> children_;
};

#endif // SPOTLIGHT_VOLUME_INDEX_H
