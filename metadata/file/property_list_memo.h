#ifndef PROPERTY_LIST_MEMO_H
#define PROPERTY_LIST_MEMO_H

#include "metadata_value.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QSet>

// The values of the property lists a run met more than once. Many files
// carry the very same list (a Finder tag, a colour label), and reading one
// means parsing it twice, once to vouch for it and once for its value; a
// list met again is answered from here. A list met once (a download's
// address) leaves only its hash, so that it costs no copy. Bounded: only
// small lists are kept, and each table empties itself when full.
class PropertyListMemo
{
public:
    static constexpr qsizetype max_kept_size = 512;
    static constexpr qsizetype max_entries = 256;

    // What property_list_value gives for bytes.
    MetadataValue value(QByteArrayView bytes);

    // How many lists it holds now.
    qsizetype size() const { return values_.size(); }

private:
    QHash<QByteArray, MetadataValue> values_;
    QSet<size_t> met_once_;
};

#endif // PROPERTY_LIST_MEMO_H
