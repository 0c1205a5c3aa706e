#ifndef KIND_NAMES_H
#define KIND_NAMES_H

#include <QString>

// Where the kind text of a content type can come from besides the type
// table: the volume's own index, whose texts are those of the macOS
// version that wrote the volume.
class KindNames
{
public:
    virtual ~KindNames() = default;

    // The English kind of items of that content type; null text when unknown.
    virtual QString kind_of(const QString &content_type) = 0;
};

#endif // KIND_NAMES_H
