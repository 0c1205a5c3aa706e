#include "spotlight_single_lookup.h"

#include "spotlight_item_names.h"
#include "spotlight_name_sieve.h"
#include "spotlight_store_file.h"
#include "spotlight_volume_index.h"

#include <QHash>

#include <algorithm>

namespace {

// A copy named like a component: which components, and where it lies.
struct NamedCopy
{
    quint64 id = 0;
    quint64 parent = 0;
    quint64 updated = 0;
    quint64 place = 0;
    quint64 components = 0; // bit k: named like component k
};

// The copy of an item that counts so far: the newest, of equal ones the first read.
struct CountingCopy
{
    quint64 updated = 0;
    quint64 place = 0;
};

// The lowest and highest identifier of a page's items; lowest > highest
// for a page that was not read or holds none.
struct PageIds
{
    quint64 lowest = 1;
    quint64 highest = 0;
};

bool owns_name_over(const NamedCopy &copy, const NamedCopy &other)
{
    return copy.updated > other.updated || (copy.updated == other.updated && copy.id > other.id);
}

} // namespace

SpotlightSingleLookup::SpotlightSingleLookup(const std::vector<std::unique_ptr<SpotlightStoreFile>> &stores,
                                             const QList<QByteArray> &components)
{
    if (components.size() > max_components) {
        outcome_ = Outcome::Undecided;
        return;
    }
    constexpr quint64 root_id = SpotlightVolumeIndex::root_id;

    // First pass: the copies named like a component, wherever they lie,
    // and the identifiers each page spans.
    SpotlightScanOptions naming;
    // Nearly every name read is an ASCII one the sieve turns down, or one
    // that is its own composed form: those are told without spelling them
    // again.
    const SpotlightNameSieve sieve(components);
    const auto matching = [&components](QByteArrayView name) {
        quint64 matches = 0;
        for (qsizetype k = 0; k < components.size(); ++k) {
            if (components[k].size() == name.size() && name == components[k])
                matches |= quint64(1) << k;
        }
        return matches;
    };
    naming.digest = [&sieve, &matching](const SpotlightScannedItem &item) -> quint64 {
        const QByteArrayView name = item.file_name;
        if (name.isEmpty())
            return 0;
        // A name equal to a component is composed as the component is.
        if (sieve.may_hold(name)) {
            if (const quint64 matches = matching(name))
                return matches;
        }
        if (item.file_name_ascii || spotlight_is_ascii(name))
            return 0;
        QByteArray spelt;
        const QByteArrayView composed = spotlight_composed_name(name, spelt);
        if (composed.data() == name.data() || !sieve.may_hold(composed))
            return 0;
        return matching(composed);
    };
    naming.digested_only = true;
    // The scan itself turns down the ASCII names the sieve does.
    naming.name_sieve = &sieve;
    naming.digest_reads_name_only = true;
    std::vector<NamedCopy> named;
    std::vector<std::vector<PageIds>> spans(stores.size());
    bool too_many = false;
    for (size_t s = 0; s < stores.size() && !too_many; ++s) {
        spans[s].resize(size_t(stores[s]->page_count()));
        stores[s]->scan_pages(naming, [&](const SpotlightScannedPage &page) {
            spans[s][size_t(page.number)] = {page.lowest_id, page.highest_id};
            for (const SpotlightScannedItem &item : page.items) {
                if (item.header.id == root_id)
                    continue;
                const SpotlightItemPlace place{quint32(s), page.number, item.location.record_offset};
                named.push_back({item.header.id, item.header.parent, item.header.updated, place.packed(), item.digest});
            }
            too_many = qsizetype(named.size()) > max_named_copies;
            return !too_many;
        });
    }
    if (too_many) {
        outcome_ = Outcome::Undecided;
        return;
    }

    // Second pass: every copy of those items, from the pages whose
    // identifiers span one of them, to tell which copy of each counts.
    std::vector<quint64> candidates;
    candidates.reserve(named.size() + 1);
    for (const NamedCopy &copy : named)
        candidates.push_back(copy.id);
    if (components.isEmpty())
        candidates.push_back(root_id);
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    if (candidates.empty())
        return;
    QHash<quint64, CountingCopy> counting;
    for (size_t s = 0; s < stores.size(); ++s) {
        const std::vector<PageIds> &store_spans = spans[s];
        SpotlightScanOptions again;
        again.wanted = [&store_spans, &candidates](int page) {
            const PageIds &ids = store_spans[size_t(page)];
            if (ids.lowest > ids.highest)
                return false;
            const auto first = std::lower_bound(candidates.begin(), candidates.end(), ids.lowest);
            return first != candidates.end() && *first <= ids.highest;
        };
        stores[s]->scan_pages(again, [&](const SpotlightScannedPage &page) {
            for (const SpotlightScannedItem &item : page.items) {
                if (!std::binary_search(candidates.begin(), candidates.end(), item.header.id))
                    continue;
                const quint64 place = SpotlightItemPlace{quint32(s), page.number, item.location.record_offset}.packed();
                const auto known = counting.find(item.header.id);
                if (known == counting.end())
                    counting.insert(item.header.id, {item.header.updated, place});
                else if (item.header.updated > known->updated)
                    *known = {item.header.updated, place};
            }
            return true;
        });
    }

    // Down from the root: of the copies named so in the folder that count
    // for their item, the one that owns the name.
    quint64 folder = root_id;
    for (qsizetype k = 0; k < components.size(); ++k) {
        const NamedCopy *owner = nullptr;
        for (const NamedCopy &copy : named) {
            if (!(copy.components & (quint64(1) << k)) || copy.parent != folder)
                continue;
            const auto counts = counting.constFind(copy.id);
            if (counts == counting.constEnd() || counts->place != copy.place)
                continue;
            if (!owner || owns_name_over(copy, *owner))
                owner = &copy;
        }
        if (!owner)
            return;
        folder = owner->id;
    }
    const auto found = counting.constFind(folder);
    if (found == counting.constEnd())
        return;
    outcome_ = Outcome::Found;
    place_ = SpotlightItemPlace::unpacked(found->place);
}
