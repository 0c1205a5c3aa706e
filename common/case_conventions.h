#ifndef CASE_CONVENTIONS_H
#define CASE_CONVENTIONS_H

#include "spotlight_keys.h"

#include <QLatin1String>
#include <QString>
#include <QStringList>

// What the worker, the host and the case builder agree on: where a
// source's databases lie, how list arguments are joined, and which
// timestamps the timestamps run stores in which columns.
namespace case_conventions {

// Joins the items of a list argument on the host's command line.
inline QString list_separator() { return QStringLiteral("[(@@)]"); }

// The databases of one source, inside its database folder.
inline QLatin1String file_system_database_name() { return QLatin1String("file_system.sqlite"); }
inline QLatin1String apple_metadata_database_name() { return QLatin1String("apple_metadata.sqlite"); }
inline QLatin1String apple_timestamps_database_name() { return QLatin1String("apple_timestamps.sqlite"); }

// A source's database folder: the case's folder (ending in a separator)
// directly followed by the source's name and "/".
inline QString database_directory(const QString &file_system_dir_path, const QString &source_count_name)
{
    return file_system_dir_path + source_count_name + QLatin1Char('/');
}

// One of the source's databases, by name.
inline QString database_path(const QString &file_system_dir_path, const QString &source_count_name,
                             QLatin1String database_name)
{
    return database_directory(file_system_dir_path, source_count_name) + database_name;
}

// The six Spotlight keys of the timestamps run, in column order.
inline QStringList timestamp_attribute_keys()
{
    return {QLatin1String(spotlight_keys::used_dates),           QLatin1String(spotlight_keys::use_count),
            QLatin1String(spotlight_keys::last_used_date),        QLatin1String(spotlight_keys::content_creation_date),
            QLatin1String(spotlight_keys::content_modification_date), QLatin1String(spotlight_keys::date_added)};
}

// The columns of apple_timestamps.sqlite that receive them, in the same order.
inline QStringList timestamp_column_names()
{
    return {QStringLiteral("useddates"),          QStringLiteral("usecount"),
            QStringLiteral("last_useddate"),      QStringLiteral("content_creation_date"),
            QStringLiteral("content_modification_date"), QStringLiteral("date_added")};
}

} // namespace case_conventions

#endif // CASE_CONVENTIONS_H
