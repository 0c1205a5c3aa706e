#ifndef EXTENDED_ATTRIBUTES_H
#define EXTENDED_ATTRIBUTES_H

#include "evidence/evidence_volume.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QVarLengthArray>

#include <optional>
#include <utility>

// The extended attributes of one object of the evidence volume: only
// regular files and folders are opened, so links, pipes, sockets and
// devices have none. The names are listed once, when the object is looked
// at; contents are read only when asked for.
class ExtendedAttributes
{
public:
    // Lists the names of the attributes of object, which must outlive
    // this; no object, or one whose attributes cannot be listed, has none.
    explicit ExtendedAttributes(const EvidenceObject *object);

    // Whether the object has an attribute of that name.
    bool contains(QByteArrayView name) const;

    // Whether some attribute's name ends with that text: a quick way to
    // rule out every prefixed spelling of a name at once.
    bool any_name_ends_with(QByteArrayView text) const;

    // The content of the attribute of that name, or nullopt when it is
    // absent or cannot be read.
    std::optional<QByteArray> read(QByteArrayView name) const;

private:
    const EvidenceObject *object_;
    QByteArray names; // each name followed by a zero byte, as listed
    // Where each name lies in names, found once: a run asks every file
    // about every key.
    // A file has a handful of attributes: their spans need no allocation.
    QVarLengthArray<std::pair<qsizetype, qsizetype>, 16> name_spans;

    QByteArrayView name_at(std::size_t i) const
    {
        return QByteArrayView(names).sliced(name_spans[qsizetype(i)].first, name_spans[qsizetype(i)].second);
    }
};

#endif // EXTENDED_ATTRIBUTES_H
