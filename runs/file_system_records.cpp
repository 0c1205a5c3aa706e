#include "file_system_records.h"

#include "case_connection.h"

#include <QVariant>

#include <sqlite3.h>

namespace {

// A column value as text, as the framework's SQLite driver would hand it
// over and convert it; NULL reads as empty text.
QString column_text(sqlite3_stmt *statement, int column)
{
    QString text;
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        text = QString::number(sqlite3_column_int64(statement, column));
        break;
    case SQLITE_FLOAT:
        text = QVariant(sqlite3_column_double(statement, column)).toString();
        break;
    case SQLITE_BLOB:
        text = QVariant(QByteArray(static_cast<const char *>(sqlite3_column_blob(statement, column)),
                                   sqlite3_column_bytes(statement, column)))
                   .toString();
        break;
    case SQLITE_NULL:
        break;
    default:
        text = QString(static_cast<const QChar *>(sqlite3_column_text16(statement, column)),
                       sqlite3_column_bytes16(statement, column) / qsizetype(sizeof(QChar)));
        break;
    }
    text = text.trimmed();
    return text.isNull() ? QLatin1String("") : text;
}

} // namespace

void FileSystemRecords::Finalize::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

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
    sqlite3 *database = sqlite_handle(file_system_db);
    if (!database)
        return;
    const QString statement = QStringLiteral("select INT, filepath from files");
    sqlite3_stmt *prepared = nullptr;
    if (sqlite3_prepare16_v2(database, statement.utf16(), int(statement.size() * sizeof(QChar)), &prepared, nullptr)
        != SQLITE_OK) {
        sqlite3_finalize(prepared);
        return;
    }
    walk.reset(prepared);
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
    return column_text(walk.get(), 0);
}

QString FileSystemRecords::file_path() const
{
    return column_text(walk.get(), 1);
}

void FileSystemRecords::finish()
{
    walking = false;
    walk.reset();
}
