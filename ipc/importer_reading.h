#ifndef IMPORTER_READING_H
#define IMPORTER_READING_H

#include <QString>
#include <QStringList>

// Which content importer reads which content types and gives which keys:
// the one table that the worker's dispatch, the importers' own claims and
// key lists, and README's lists all follow. The worker links it without any
// parser of hostile content.

// The importers' names, in the table's order ("image", "audio", ...).
QStringList reading_importer_names();

// The content types the named importer reads, in the table's order.
QStringList reading_content_types(const QString &importer);

// Every key the named importer can give, in the table's order.
QStringList reading_keys(const QString &importer);

// The name of the importer that reads the content type; empty for none.
QString reading_importer_of(const QString &content_type);

// The named importer's types as README lists them ("JPEG, PNG, ..."), each
// name once, in the table's order.
QString reading_type_names(const QString &importer);

#endif // IMPORTER_READING_H
