#ifndef IMPORTABLE_KEYS_H
#define IMPORTABLE_KEYS_H

#include <QSet>
#include <QString>
#include <QStringList>

// The Spotlight keys the importer process may give for files of a content
// type; empty for a type no importer reads. Known without starting the
// process, so that a run whose keys need no importer never pays for one.
const QSet<QString> &importable_keys(const QString &content_type);

// Whether some importer may give key, for some content type.
bool any_importer_gives(const QString &key);

// Every content type that some importer family reads.
QStringList importable_content_types();

#endif // IMPORTABLE_KEYS_H
