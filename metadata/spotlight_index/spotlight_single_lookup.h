#ifndef SPOTLIGHT_SINGLE_LOOKUP_H
#define SPOTLIGHT_SINGLE_LOOKUP_H

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <memory>
#include <optional>
#include <vector>

class SpotlightStoreFile;

// Where an item's record lies among a volume's stores: the store, the
// metadata page (its place in the store's list) and the record in the
// page. Packed into one number, places sort in the order the stores are read.
struct SpotlightItemPlace
{
    quint32 store = 0;
    int page = 0;
    quint32 record_offset = 0;

    quint64 packed() const { return quint64(store) << 48 | quint64(page) << 28 | record_offset; }
    static SpotlightItemPlace unpacked(quint64 packed)
    {
        return {quint32(packed >> 48), int((packed >> 28) & 0xfffff), quint32(packed & 0xfffffff)};
    }
};

// The item of one path found without placing every item of the index, for
// a run that asks for one file: one pass over the stores keeps only the
// copies named like a component of the path, a second reads again only the
// pages that may hold other copies of those items, to tell which copy of
// each counts. It gives the item the index's tables give.
class SpotlightSingleLookup
{
public:
    enum class Outcome { Found, NotFound, Undecided };
    // Undecided when more copies match than one look-up should keep: the
    // tables decide then.
    static constexpr qsizetype max_named_copies = 1 << 20;
    // The most components one pass can compare.
    static constexpr qsizetype max_components = 64;

    // Looks up the path of composed component names (none: the volume root).
    SpotlightSingleLookup(const std::vector<std::unique_ptr<SpotlightStoreFile>> &stores,
                          const QList<QByteArray> &components);

    Outcome outcome() const { return outcome_; }
    // Where the record of the item found lies.
    SpotlightItemPlace place() const { return place_; }

private:
    Outcome outcome_ = Outcome::NotFound;
    SpotlightItemPlace place_;
};

#endif // SPOTLIGHT_SINGLE_LOOKUP_H
