#include "importable_keys.h"

#include "importer_reading.h"

#include <QHash>
#include <QStringList>

namespace {

// Every type of the reading table, with the keys of the importer that reads it.
const QHash<QString, QSet<QString>> &keys_by_type()
{
    static const QHash<QString, QSet<QString>> by_type_table = [] {
        QHash<QString, QSet<QString>> by_type;
        for (const QString &importer : reading_importer_names()) {
            const QStringList keys = reading_keys(importer);
            for (const QString &type : reading_content_types(importer))
                by_type[type] += QSet<QString>(keys.begin(), keys.end());
        }
        return by_type;
    }();
    return by_type_table;
}

} // namespace

const QSet<QString> &importable_keys(const QString &content_type)
{
    static const QSet<QString> none;
    const auto found = keys_by_type().constFind(content_type);
    return found == keys_by_type().constEnd() ? none : *found;
}

bool any_importer_gives(const QString &key)
{
    static const QSet<QString> every_key = [] {
        QSet<QString> keys;
        for (const QSet<QString> &of_type : keys_by_type())
            keys += of_type;
        return keys;
    }();
    return every_key.contains(key);
}

QStringList importable_content_types()
{
    return keys_by_type().keys();
}
