#include "case_layout.h"

#include "case_conventions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

CaseLayout::CaseLayout(const QString &case_folder, const QString &source_count_name)
    : case_path(QDir::cleanPath(QDir(case_folder).absolutePath()))
    , source_name(source_count_name)
{
}

QString CaseLayout::file_system_dir_path() const
{
    return case_path.endsWith(QLatin1Char('/')) ? case_path : case_path + QLatin1Char('/');
}

QString CaseLayout::database_directory() const
{
    return case_conventions::database_directory(file_system_dir_path(), source_name);
}

QString CaseLayout::file_system_database() const
{
    return database_directory() + case_conventions::file_system_database_name();
}

QString CaseLayout::apple_metadata_database() const
{
    return database_directory() + case_conventions::apple_metadata_database_name();
}

QString CaseLayout::apple_timestamps_database() const
{
    return database_directory() + case_conventions::apple_timestamps_database_name();
}

QString CaseLayout::essential_database() const
{
    return file_system_dir_path() + source_name + QStringLiteral("_essential.sqlite");
}

QStringList CaseLayout::all_databases() const
{
    return {file_system_database(), apple_metadata_database(), apple_timestamps_database(),
            essential_database()};
}

QStringList CaseLayout::existing_databases() const
{
    QStringList existing;
    for (const QString &path : all_databases()) {
        if (QFileInfo::exists(path))
            existing << path;
    }
    return existing;
}

bool CaseLayout::remove_existing(QString *error) const
{
    for (const QString &database : all_databases()) {
        // A journal left by an interrupted run would be replayed into the new file.
        for (const QString &suffix : {QString(), QStringLiteral("-journal"), QStringLiteral("-wal"),
                                      QStringLiteral("-shm")}) {
            const QString path = database + suffix;
            if (QFileInfo::exists(path) && !QFile::remove(path)) {
                *error = QStringLiteral("cannot remove %1 to replace it").arg(path);
                return false;
            }
        }
    }
    return true;
}

bool CaseLayout::create_directories(QString *error) const
{
    if (QDir().mkpath(database_directory()))
        return true;
    *error = QStringLiteral("cannot create the database folder %1").arg(database_directory());
    return false;
}
