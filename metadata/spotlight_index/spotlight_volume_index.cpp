#include "spotlight_volume_index.h"

#include "spotlight_item_names.h"
#include "spotlight_single_lookup.h"

#include "evidence/host_folder_volume.h"

#include <QRandomGenerator>

#include <algorithm>
#include <limits>

namespace {

// A volume keeps one store folder per index it ever had; more than this is
// no real volume, and each would cost a scan.
constexpr int max_store_folders = 64;
// An index holding more items than this is damaged: no volume comes near.
constexpr size_t max_items = std::numeric_limits<quint32>::max() - 1;
constexpr size_t smallest_table = 1024;
constexpr size_t max_stores = 1 << 16;
// Placing an item costs a miss of the processor's caches in a large table:
// asking for the slots of the items a little ahead lets those overlap.
constexpr size_t prefetch_distance = 16;

// Tables stay at most seven tenths full: probes stay short, and ten
// million items fit 2^24 slots.
size_t table_size_for(size_t count)
{
    size_t size = smallest_table;
    while (size / 10 * 7 < count)
        size *= 2;
    return size;
}

// A slot holds the top half of the hash it was placed by, so that most
// probes are settled without reading the item, and the item's position plus one.
quint64 slot_for(quint64 hash, size_t position) { return (hash & 0xffffffff00000000ull) | quint64(position + 1); }
size_t position_in(quint64 slot) { return size_t(slot & 0xffffffffu) - 1; }
bool placed_by(quint64 slot, quint64 hash) { return (slot >> 32) == (hash >> 32); }

void prefetch(const void *address) { __builtin_prefetch(address); }

} // namespace

std::unique_ptr<SpotlightVolumeIndex> SpotlightVolumeIndex::read(const QString &volume_root)
{
    return read(HostFolderVolume(volume_root));
}

std::unique_ptr<SpotlightVolumeIndex> SpotlightVolumeIndex::read(const EvidenceVolume &root)
{
    // Only the volume's own index counts: a link anywhere on the way (the
    // index folder, a store folder, a store file, a string map) could make
    // an index of the examining machine answer for the evidence.
    constexpr auto refused = EvidenceVolume::Links::Refused;
    const QByteArray stores_folder = ".Spotlight-V100/Store-V2/";
    std::optional<QList<QByteArray>> folders = root.list_directory(stores_folder, max_store_folders, refused);
    if (!folders)
        return nullptr;
    std::sort(folders->begin(), folders->end());
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    for (const QByteArray &folder : *folders) {
        const QByteArray store_folder = stores_folder + folder;
        for (const char *name : {"/store.db", "/.store.db"}) {
            std::unique_ptr<EvidenceObject> file = root.open_regular_file(store_folder + name, refused);
            if (!file)
                continue;
            if (auto store = SpotlightStoreFile::open(SpotlightByteSource::from_object(std::move(file)), &root,
                                                      store_folder))
                stores.push_back(std::move(store));
        }
    }
    auto index = from_stores(std::move(stores));
    if (index->is_empty())
        return nullptr;
    return index;
}

std::unique_ptr<SpotlightVolumeIndex> SpotlightVolumeIndex::from_stores(
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores)
{
    std::unique_ptr<SpotlightVolumeIndex> index(new SpotlightVolumeIndex);
    for (auto &store : stores) {
        // An item's place names its store in 16 bits; a volume has 128 at most.
        if (store && index->stores_.size() < max_stores)
            index->stores_.push_back(std::move(store));
    }
    index->holds_items_ = index->any_store_holds_items();
    return index;
}

SpotlightVolumeIndex::SpotlightVolumeIndex() : seed_(QRandomGenerator::system()->generate64()) {}

bool SpotlightVolumeIndex::any_store_holds_items() const
{
    bool found = false;
    for (const auto &store : stores_) {
        store->scan_pages({}, [&found](const SpotlightScannedPage &page) {
            found = !page.items.empty();
            return !found;
        });
        if (found)
            return true;
    }
    return false;
}

qsizetype SpotlightVolumeIndex::item_count()
{
    load();
    return qsizetype(items_.size());
}

void SpotlightVolumeIndex::take_copies(const std::vector<SpotlightScannedItem> &copies, quint32 store,
                                       SpotlightSlotTable &by_id, SpotlightChunkedArray<quint64> &updated)
{
    const size_t mask = by_id.size() - 1;
    for (size_t i = 0; i < copies.size(); ++i) {
        if (i + prefetch_distance < copies.size())
            prefetch(&by_id[spotlight_mixed(copies[i + prefetch_distance].header.id) & mask]);
        const SpotlightScannedItem &copy = copies[i];
        const quint64 hash = spotlight_mixed(copy.header.id);
        const quint64 place = SpotlightItemPlace{store, copy.page, copy.location.record_offset}.packed();
        for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
            const quint64 held = by_id[slot];
            if (!held) {
                if (items_.size() >= max_items)
                    break;
                by_id[slot] = slot_for(hash, items_.size());
                items_.push_back({copy.header.id, copy.digest, place});
                updated.push_back(copy.header.updated);
                break;
            }
            if (!placed_by(held, hash) || items_[position_in(held)].id != copy.header.id)
                continue;
            // The copy the index updated last counts; of equal ones, the first read.
            const size_t position = position_in(held);
            if (copy.header.updated > updated[position]) {
                items_[position] = {copy.header.id, copy.digest, place};
                updated[position] = copy.header.updated;
            }
            break;
        }
    }
}

void SpotlightVolumeIndex::load()
{
    if (loaded_)
        return;
    loaded_ = true;
    // Each copy is taken as it is read: the counting copy of an item stays
    // where its first copy was read, and no second array of copies is made.
    SpotlightSlotTable by_id(smallest_table);
    SpotlightChunkedArray<quint64> updated; // of each item's counting copy, until the items are placed
    const auto grow = [this, &by_id](size_t count) {
        SpotlightSlotTable grown(table_size_for(count));
        const size_t mask = grown.size() - 1;
        for (size_t position = 0; position < items_.size(); ++position) {
            const quint64 hash = spotlight_mixed(items_[position].id);
            size_t slot = hash & mask;
            while (grown[slot])
                slot = (slot + 1) & mask;
            grown[slot] = slot_for(hash, position);
        }
        by_id = std::move(grown);
    };
    SpotlightScanOptions options;
    // Names are composed and keyed on the threads that decode the pages.
    options.digest = [seed = seed_](const SpotlightScannedItem &item) {
        if (item.file_name_ascii)
            return spotlight_name_key(seed, item.header.parent, item.file_name);
        QByteArray spelt;
        return spotlight_name_key(seed, item.header.parent, spotlight_composed_name(item.file_name, spelt));
    };
    for (size_t s = 0; s < stores_.size(); ++s) {
        const size_t before = items_.size();
        const double pages = stores_[s]->page_count();
        stores_[s]->scan_pages(options, [&](const SpotlightScannedPage &page) {
            const std::vector<SpotlightScannedItem> &copies = page.items;
            const size_t needed = items_.size() + copies.size();
            if (table_size_for(needed) > by_id.size()) {
                // Grown for as many items as the rest of the store promises,
                // but never for more than four times those read: a damaged
                // page of countless tiny records promises anything.
                const double per_page = double(needed - before) / (page.number + 1);
                const double promised = double(needed) + per_page * (pages - page.number - 1);
                grow(size_t(qBound(double(needed), promised, 4.0 * double(needed))));
            }
            take_copies(copies, quint32(s), by_id, updated);
            return true;
        });
    }
    const quint64 root_hash = spotlight_mixed(root_id);
    for (size_t slot = root_hash & (by_id.size() - 1); by_id[slot]; slot = (slot + 1) & (by_id.size() - 1)) {
        if (placed_by(by_id[slot], root_hash) && items_[position_in(by_id[slot])].id == root_id) {
            root_ = position_in(by_id[slot]);
            break;
        }
    }
    by_id = SpotlightSlotTable();
    place_by_name(updated);
}

void SpotlightVolumeIndex::place_by_name(const SpotlightChunkedArray<quint64> &updated)
{
    children_ = SpotlightSlotTable(table_size_for(items_.size()));
    const size_t mask = children_.size() - 1;
    for (size_t i = 0; i < items_.size(); ++i) {
        if (i + prefetch_distance < items_.size())
            prefetch(&children_[items_[i + prefetch_distance].name_key & mask]);
        const Item &item = items_[i];
        if (item.id == root_id || item.name_key == 0)
            continue;
        size_t slot = item.name_key & mask;
        for (; children_[slot]; slot = (slot + 1) & mask) {
            const quint64 held = children_[slot];
            if (placed_by(held, item.name_key) && items_[position_in(held)].name_key == item.name_key)
                break;
        }
        if (children_[slot]) {
            // A name reused in a folder (a file replaced by another) is the newer item's.
            const size_t other = position_in(children_[slot]);
            const bool owns = updated[i] > updated[other] || (updated[i] == updated[other] && item.id > items_[other].id);
            if (!owns)
                continue;
        }
        children_[slot] = slot_for(item.name_key, i);
    }
}

std::optional<size_t> SpotlightVolumeIndex::find_in_tables(const QStringList &parts) const
{
    if (parts.isEmpty())
        return root_;
    const size_t mask = children_.size() - 1;
    quint64 folder = root_id;
    std::optional<size_t> found;
    for (const QString &part : parts) {
        const quint64 key = spotlight_name_key(seed_, folder, spotlight_composed_name(part));
        found.reset();
        for (size_t slot = key & mask; key && children_[slot]; slot = (slot + 1) & mask) {
            const quint64 held = children_[slot];
            if (placed_by(held, key) && items_[position_in(held)].name_key == key) {
                found = position_in(held);
                break;
            }
        }
        if (!found)
            return std::nullopt;
        folder = items_[*found].id;
    }
    return found;
}

std::optional<SpotlightItemRecord> SpotlightVolumeIndex::record_at(quint64 place)
{
    const SpotlightItemPlace at = SpotlightItemPlace::unpacked(place);
    if (at.store >= stores_.size())
        return std::nullopt;
    return stores_[at.store]->record_at(at.page, at.record_offset);
}

std::optional<SpotlightItemRecord> SpotlightVolumeIndex::record(const QString &relative_path)
{
    if (!holds_items_)
        return std::nullopt;
    // Walking down from the root by names can't loop, whatever the items'
    // parent identifiers say: items in a cycle are simply never reached.
    QStringList parts = relative_path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    parts.removeAll(QStringLiteral("."));
    // The first look-up (a left-click run's) reads only what its path
    // needs; a second reads the index whole, which makes every later one cheap.
    if (!loaded_ && lookups_ == 0 && parts.size() <= SpotlightSingleLookup::max_components) {
        QList<QByteArray> components;
        for (const QString &part : qAsConst(parts))
            components.append(spotlight_composed_name(part));
        const SpotlightSingleLookup lookup(stores_, components);
        if (lookup.outcome() != SpotlightSingleLookup::Outcome::Undecided) {
            ++lookups_;
            if (lookup.outcome() == SpotlightSingleLookup::Outcome::NotFound)
                return std::nullopt;
            return record_at(lookup.place().packed());
        }
    }
    load();
    ++lookups_;
    const std::optional<size_t> found = find_in_tables(parts);
    if (!found)
        return std::nullopt;
    return record_at(items_[*found].place);
}

qsizetype SpotlightVolumeIndex::visit_items(
    qsizetype from, const std::function<bool(const std::optional<SpotlightItemRecord> &)> &visit)
{
    const qsizetype start = qMax<qsizetype>(from, 0);
    if (loaded_) {
        qsizetype position = start;
        while (position < qsizetype(items_.size())) {
            const Item &item = items_[size_t(position)];
            ++position;
            if (!visit(record_at(item.place)))
                break;
        }
        return position;
    }
    // Not read whole yet: every copy in the order the stores hold them.
    qsizetype position = 0;
    bool stopped = false;
    for (size_t s = 0; s < stores_.size() && !stopped; ++s) {
        SpotlightStoreFile &store = *stores_[s];
        store.scan_pages({}, [&](const SpotlightScannedPage &page) {
            for (const SpotlightScannedItem &copy : page.items) {
                if (position++ < start)
                    continue;
                if (!visit(store.record(copy.location))) {
                    stopped = true;
                    return false;
                }
            }
            return true;
        });
    }
    return qMax(position, start);
}
