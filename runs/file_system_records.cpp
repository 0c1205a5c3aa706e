#include "file_system_records.h"

#include <QSqlRecord>
#include <QVariant>

namespace {

// A column value as text; NULL and a missing column read as empty text.
QString trimmed_text(const QSqlQuery &query, int column)
{
    if (column < 0)
        return QLatin1String("");
    const QString text = query.value(column).toString().trimmed();
    return text.isNull() ? QLatin1String("") : text;
}

} // namespace

FileSystemRecords::FileSystemRecords(QSqlDatabase file_system_db)
    : query(file_system_db)
{
    if (!file_system_db.isOpen())
        return;

    query.prepare(QStringLiteral("select count(*) from files"));
    if (query.exec() && query.next())
        count_text = query.value(0).toString();

    query.clear();
    // Forward only: a volume's records are read once, and memory must not
    // grow with their number.
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("select INT, filepath from files"));
    if (query.exec()) {
        const QSqlRecord columns = query.record();
        record_column = columns.indexOf(QStringLiteral("INT"));
        file_path_column = columns.indexOf(QStringLiteral("filepath"));
    }
}

qint64 FileSystemRecords::total() const
{
    bool ok = false;
    const qint64 total = count_text.toLongLong(&ok, 10);
    return ok ? total : 0;
}

bool FileSystemRecords::next()
{
    return query.isActive() && query.next();
}

QString FileSystemRecords::record() const
{
    return trimmed_text(query, record_column);
}

QString FileSystemRecords::file_path() const
{
    return trimmed_text(query, file_path_column);
}

void FileSystemRecords::finish()
{
    query.finish();
}
