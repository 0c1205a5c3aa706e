#ifndef INDEX_KIND_NAMES_H
#define INDEX_KIND_NAMES_H

#include "kind_names.h"

#include <QHash>

class SpotlightVolumeIndex;

// The kinds the volume's own index gives its items, learnt from the items
// themselves: items are read when a type is first asked for, and every type
// met on the way is kept. An index can hold millions of items, so at most
// max_items are ever read; a type not met by then has no kind from here.
class IndexKindNames : public KindNames
{
public:
    // index must outlive this object.
    explicit IndexKindNames(SpotlightVolumeIndex &index, qsizetype max_items = 4096);

    QString kind_of(const QString &content_type) override;

private:
    SpotlightVolumeIndex &index_;
    const qsizetype max_items_;
    qsizetype position_ = 0; // items read so far, and where reading resumes
    bool ended_ = false;     // every item has been read
    QHash<QString, QString> kinds_; // content type -> English kind
};

#endif // INDEX_KIND_NAMES_H
