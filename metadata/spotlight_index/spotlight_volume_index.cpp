#include "spotlight_volume_index.h"

#include "evidence/host_folder_volume.h"

#include <QHashFunctions>

#include <algorithm>
#include <limits>

namespace {

// A volume keeps one store folder per index it ever had; more than this is
// no real volume, and each would cost a scan.
constexpr int max_store_folders = 64;
// An index holding more items than this is damaged: no volume comes near.
constexpr size_t max_items = std::numeric_limits<quint32>::max() - 1;
constexpr size_t smallest_table = 1024;
constexpr size_t not_found = std::numeric_limits<size_t>::max();
// Walking costs a pass over every item per path component: a path deeper
// than any real folder tree goes to the tables at once.
constexpr qsizetype max_walked_components = 64;

// Names on HFS+ are decomposed, copies of a volume often composed: both
// sides are compared composed. Text without combining marks is left alone.
QString composed(const QString &name)
{
    for (QChar c : name) {
        if (c.unicode() >= 0x300)
            return name.normalized(QString::NormalizationForm_C);
    }
    return name;
}

// A name as the look-ups compare it: UTF-8 of its composed form. Most names
// are ASCII, and those are their own composed form.
void append_composed(QByteArrayView name, std::vector<char> &names)
{
    const bool ascii = std::all_of(name.begin(), name.end(), [](char c) { return quint8(c) < 0x80; });
    if (ascii) {
        names.insert(names.end(), name.begin(), name.end());
        return;
    }
    const QByteArray spelt = composed(QString::fromUtf8(name)).toUtf8();
    names.insert(names.end(), spelt.begin(), spelt.end());
}

size_t mixed(quint64 value)
{
    value ^= value >> 33;
    value *= 0xff51afd7ed558ccdull;
    value ^= value >> 33;
    value *= 0xc4ceb9fe1a85ec53ull;
    value ^= value >> 33;
    return size_t(value);
}

size_t table_size_for(size_t count)
{
    size_t size = smallest_table;
    while (size < 2 * count)
        size *= 2;
    return size;
}

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
        if (store)
            index->add_store(std::move(store));
    }
    return index;
}

size_t SpotlightVolumeIndex::id_slot(quint64 id) const
{
    const size_t mask = by_id_.size() - 1;
    size_t slot = mixed(id) & mask;
    while (by_id_[slot] && items_[by_id_[slot] - 1].id != id)
        slot = (slot + 1) & mask;
    return slot;
}

size_t SpotlightVolumeIndex::child_slot(quint64 parent, QByteArrayView name) const
{
    const size_t mask = children_.size() - 1;
    size_t slot = qHashBits(name.data(), size_t(name.size()), mixed(parent)) & mask;
    while (children_[slot]) {
        const Item &item = items_[children_[slot] - 1];
        if (item.parent == parent && name_of(item) == name)
            break;
        slot = (slot + 1) & mask;
    }
    return slot;
}

void SpotlightVolumeIndex::add_store(std::unique_ptr<SpotlightStoreFile> store)
{
    const quint32 number = quint32(stores_.size());
    store->scan([this, number](const SpotlightScannedItem &scanned) {
        if (items_.size() >= max_items)
            return;
        Item item;
        item.id = scanned.header.id;
        item.parent = scanned.header.parent;
        item.updated = scanned.header.updated;
        item.store = number;
        item.location = scanned.location;
        item.name_start = qint64(names_.size());
        append_composed(scanned.file_name, names_);
        item.name_size = quint32(qint64(names_.size()) - item.name_start);
        items_.push_back(item);
    });
    stores_.push_back(std::move(store));
    tables_built_ = false;
}

qsizetype SpotlightVolumeIndex::item_count()
{
    build_tables();
    return qsizetype(items_.size());
}

void SpotlightVolumeIndex::build_tables()
{
    if (tables_built_)
        return;
    tables_built_ = true;
    // The copy the index updated last counts; of equal ones, the first read.
    // Counting copies move to the front in place: no second array of items.
    by_id_.assign(table_size_for(items_.size()), 0);
    size_t kept = 0;
    for (size_t i = 0; i < items_.size(); ++i) {
        const Item copy = items_[i];
        const size_t slot = id_slot(copy.id);
        if (!by_id_[slot]) {
            items_[kept] = copy;
            by_id_[slot] = quint32(++kept);
        } else if (is_newer_copy(copy, items_[by_id_[slot] - 1])) {
            items_[by_id_[slot] - 1] = copy;
        }
    }
    items_.resize(kept);

    children_.assign(table_size_for(items_.size()), 0);
    for (size_t i = 0; i < items_.size(); ++i) {
        const Item &item = items_[i];
        if (item.id == root_id || item.name_size == 0)
            continue;
        const size_t slot = child_slot(item.parent, name_of(item));
        // A name reused in a folder (a file replaced by another) is the newer item's.
        if (children_[slot] && !owns_name_over(item, items_[children_[slot] - 1]))
            continue;
        children_[slot] = quint32(i + 1);
    }
}

std::optional<size_t> SpotlightVolumeIndex::counting_copy(quint64 id) const
{
    std::optional<size_t> found;
    for (size_t i = 0; i < items_.size(); ++i) {
        if (items_[i].id == id && (!found || is_newer_copy(items_[i], items_[*found])))
            found = i;
    }
    return found;
}

std::optional<size_t> SpotlightVolumeIndex::find_by_walking(const QStringList &parts) const
{
    quint64 id = root_id;
    std::vector<size_t> named;
    QHash<quint64, size_t> counting; // candidate identifier -> its counting copy
    for (const QString &part : parts) {
        const QByteArray name = composed(part).toUtf8();
        // Every copy named so in the folder...
        named.clear();
        counting.clear();
        for (size_t i = 0; i < items_.size(); ++i) {
            const Item &item = items_[i];
            if (item.parent == id && item.id != root_id && item.name_size == quint32(name.size())
                && name_of(item) == name) {
                named.push_back(i);
                counting.insert(item.id, not_found);
            }
        }
        if (named.empty())
            return std::nullopt;
        // ...of those, the ones that count for their item (wherever its
        // other copies are named)...
        for (size_t i = 0; i < items_.size(); ++i) {
            const auto found = counting.find(items_[i].id);
            if (found != counting.end() && (found.value() == not_found || is_newer_copy(items_[i], items_[found.value()])))
                found.value() = i;
        }
        // ...and of those, the one that owns the name.
        std::optional<size_t> owner;
        for (const size_t i : named) {
            if (counting.value(items_[i].id) != i)
                continue;
            if (!owner || owns_name_over(items_[i], items_[*owner]))
                owner = i;
        }
        if (!owner)
            return std::nullopt;
        id = items_[*owner].id;
    }
    return counting_copy(id);
}

std::optional<size_t> SpotlightVolumeIndex::find_in_tables(const QStringList &parts) const
{
    quint64 id = root_id;
    for (const QString &part : parts) {
        const QByteArray name = composed(part).toUtf8();
        const quint32 child = children_[child_slot(id, name)];
        if (!child)
            return std::nullopt;
        id = items_[child - 1].id;
    }
    const quint32 found = by_id_[id_slot(id)];
    if (!found)
        return std::nullopt;
    return found - 1;
}

std::optional<SpotlightItemRecord> SpotlightVolumeIndex::record(const QString &relative_path)
{
    if (items_.empty())
        return std::nullopt;
    // Walking down from the root by names can't loop, whatever the items'
    // parent identifiers say: items in a cycle are simply never reached.
    QStringList parts = relative_path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    parts.removeAll(QStringLiteral("."));
    std::optional<size_t> found;
    if (!tables_built_ && lookups_ == 0 && parts.size() <= max_walked_components) {
        found = find_by_walking(parts);
    } else {
        build_tables();
        found = find_in_tables(parts);
    }
    ++lookups_;
    if (!found)
        return std::nullopt;
    const Item &item = items_[*found];
    return stores_[item.store]->record(item.location);
}

qsizetype SpotlightVolumeIndex::visit_items(
    qsizetype from, const std::function<bool(const std::optional<SpotlightItemRecord> &)> &visit)
{
    qsizetype position = qMax<qsizetype>(from, 0);
    while (position < qsizetype(items_.size())) {
        const Item &item = items_[size_t(position)];
        ++position;
        if (!visit(stores_[item.store]->record(item.location)))
            break;
    }
    return position;
}
