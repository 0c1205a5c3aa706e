#ifndef PROPERTY_LIST_MEMO_H
#define PROPERTY_LIST_MEMO_H

#include "metadata_value.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>

// The values of the property lists a run met last. Many files carry the
// very same list (a Finder tag, a colour label), and reading one means
// parsing it twice, once to vouch for it and once for its value; a list
// seen again is answered from here. Bounded: only small lists are kept,
// and the memo empties itself when full.
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
};

#endif // PROPERTY_LIST_MEMO_H
