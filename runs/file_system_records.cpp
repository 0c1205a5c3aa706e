#include "file_system_records.h"

#include "case_connection.h"

#include <sqlite3.h>

namespace {

// A column value as text, trimmed; NULL reads as empty text.
QString trimmed_text(sqlite3_stmt *statement, int column)
{
    const QString text = column_text(statement, column).trimmed();
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
    // grow with their number. Columns as the statement names them: INT,
    // then filepath.
    walk = prepare_statement(file_system_db, QStringLiteral("select INT, filepath from files"));
    walking = walk != nullptr;
}

qint64 FileSystemRecords::total() const
{
    bool ok = false;
    const qint64 total = count_text.toLongLong(&ok, 10);
    return ok ? total : 0;
}

bool FileSystemRecords::next()
{
    if (!walking)
        return false;
    walking = sqlite3_step(walk.get()) == SQLITE_ROW;
    return walking;
}

QString FileSystemRecords::record() const
{
    return trimmed_text(walk.get(), 0);
}

QString FileSystemRecords::file_path() const
{
    return trimmed_text(walk.get(), 1);
}

void FileSystemRecords::finish()
{
    walking = false;
    walk.reset();
}
