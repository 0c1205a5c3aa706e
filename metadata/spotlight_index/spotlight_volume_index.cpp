#include "spotlight_volume_index.h"

#include "evidence/evidence_root.h"

#include <algorithm>

namespace {

// A volume keeps one store folder per index it ever had; more than this is
// no real volume, and each would cost a scan.
constexpr int max_store_folders = 64;

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

} // namespace

std::unique_ptr<SpotlightVolumeIndex> SpotlightVolumeIndex::read(const QString &volume_root)
{
    // Only the volume's own index counts: a link anywhere on the way (the
    // index folder, a store folder, a store file, a string map) could make
    // an index of the examining machine answer for the evidence.
    const EvidenceRoot root(volume_root);
    constexpr auto refused = EvidenceRoot::Links::Refused;
    const QByteArray stores_folder = ".Spotlight-V100/Store-V2/";
    std::optional<QList<QByteArray>> folders = root.list_directory(stores_folder, max_store_folders, refused);
    if (!folders)
        return nullptr;
    std::sort(folders->begin(), folders->end());
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    for (const QByteArray &folder : *folders) {
        const QByteArray store_folder = stores_folder + folder;
        for (const char *name : {"/store.db", "/.store.db"}) {
            UniqueFd file = root.open_regular_file(store_folder + name, refused);
            if (!file)
                continue;
            if (auto store = SpotlightStoreFile::open(SpotlightByteSource::from_descriptor(std::move(file)), &root,
                                                      store_folder))
                stores.push_back(std::move(store));
        }
    }
    auto index = from_stores(std::move(stores));
    if (index->items_.isEmpty())
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
    index->place_items();
    return index;
}

void SpotlightVolumeIndex::add_store(std::unique_ptr<SpotlightStoreFile> store)
{
    const int number = int(stores_.size());
    summaries_.push_back(store->scan([this, number](const SpotlightScannedItem &scanned) {
        const auto found = items_.constFind(scanned.header.id);
        if (found != items_.constEnd() && found->updated >= scanned.header.updated)
            return;
        items_.insert(scanned.header.id,
                      Item{scanned.header.parent, scanned.header.updated, scanned.file_name, number, scanned.location});
    }));
    stores_.push_back(std::move(store));
}

void SpotlightVolumeIndex::place_items()
{
    children_.reserve(items_.size());
    for (auto it = items_.cbegin(); it != items_.cend(); ++it) {
        if (it.key() == root_id || it->name.isEmpty())
            continue;
        const ChildKey key{it->parent, composed(it->name)};
        // A name reused in a folder (a file replaced by another) is the newer item's.
        const auto existing = children_.constFind(key);
        if (existing != children_.constEnd()) {
            const quint64 other = items_.value(existing.value()).updated;
            if (other > it->updated || (other == it->updated && existing.value() > it.key()))
                continue;
        }
        children_.insert(key, it.key());
    }
}

std::optional<std::vector<SpotlightAttribute>> SpotlightVolumeIndex::attributes(const QString &relative_path)
{
    // Walking down from the root by names can't loop, whatever the items'
    // parent identifiers say: items in a cycle are simply never reached.
    quint64 id = root_id;
    for (const QString &part : relative_path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("."))
            continue;
        const auto child = children_.constFind(ChildKey{id, composed(part)});
        if (child == children_.constEnd())
            return std::nullopt;
        id = child.value();
    }
    const auto item = items_.constFind(id);
    if (item == items_.constEnd())
        return std::nullopt;
    return stores_[size_t(item->store)]->attributes(item->location);
}

qsizetype SpotlightVolumeIndex::visit_items(qsizetype from,
                                           const std::function<bool(const std::vector<SpotlightAttribute> &)> &visit)
{
    qsizetype position = 0;
    for (auto it = items_.cbegin(); it != items_.cend(); ++it, ++position) {
        if (position < from)
            continue;
        // An item whose record can no longer be read is visited with no attributes.
        const auto attributes = stores_[size_t(it->store)]->attributes(it->location);
        if (!visit(attributes ? *attributes : std::vector<SpotlightAttribute>()))
            return position + 1;
    }
    return position;
}
