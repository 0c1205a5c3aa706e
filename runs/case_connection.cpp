#include "case_connection.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QVariant>

#include <sqlite3.h>

QString take_connection_name()
{
    // A run holds its input and result connections at once and may make
    // both within one millisecond; reusing a name would cut off the first.
    static qint64 last_name = -1;
    last_name = qMax(QDateTime::currentMSecsSinceEpoch(), last_name + 1);
    return QString::number(last_name);
}

QSqlDatabase open_case_connection(const QString &path, FailedOpen on_failure)
{
    const QString name = take_connection_name();
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);

    {
        QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        connection.setDatabaseName(path);
        if (connection.open() || on_failure == FailedOpen::KeepRegistration)
            return connection;
    }
    // The handle above is gone, so the registration goes without a warning
    // about a connection still in use.
    QSqlDatabase::removeDatabase(name);
    return QSqlDatabase();
}

void create_record_index(QSqlDatabase connection)
{
    if (!connection.isOpen())
        return;
    QSqlQuery query(connection);
    query.prepare(QStringLiteral("create index IF NOT EXISTS fs_parent on files(filesystem_record)"));
    query.exec();
}

sqlite3 *sqlite_handle(const QSqlDatabase &connection)
{
    if (!connection.isOpen())
        return nullptr;
    const QVariant handle = connection.driver() ? connection.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(handle.constData());
}

namespace {

// The journal mode of the connection's main database after asking for
// change (empty: only asking), or empty when it can't be read.
QByteArray journal_mode(sqlite3 *database, const char *change)
{
    const QByteArray statement = QByteArray("PRAGMA journal_mode") + (*change ? QByteArray("=") + change : "");
    sqlite3_stmt *prepared = nullptr;
    QByteArray mode;
    if (sqlite3_prepare_v2(database, statement.constData(), -1, &prepared, nullptr) == SQLITE_OK && prepared
        && sqlite3_step(prepared) == SQLITE_ROW)
        mode = QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(prepared, 0)));
    sqlite3_finalize(prepared);
    return mode;
}

} // namespace

bool keep_journal_between_commits(const QSqlDatabase &connection)
{
    sqlite3 *database = sqlite_handle(connection);
    if (!database || journal_mode(database, "") != "delete")
        return false;
    return journal_mode(database, "persist") == "persist";
}

void delete_journal_after_commits(const QSqlDatabase &connection)
{
    if (sqlite3 *database = sqlite_handle(connection); database && journal_mode(database, "") == "persist")
        journal_mode(database, "delete");
}

void FinalizeStatement::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

PreparedStatement prepare_statement(const QSqlDatabase &connection, const QString &statement,
                                    const QString &first_parameter)
{
    sqlite3 *database = sqlite_handle(connection);
    if (!database)
        return nullptr;
    sqlite3_stmt *prepared = nullptr;
    if (sqlite3_prepare16_v2(database, statement.utf16(), int(statement.size() * sizeof(QChar)), &prepared, nullptr)
        != SQLITE_OK) {
        sqlite3_finalize(prepared);
        return nullptr;
    }
    PreparedStatement owned(prepared);
    if (owned && !first_parameter.isNull()
        && sqlite3_bind_text16(prepared, 1, first_parameter.utf16(), int(first_parameter.size() * sizeof(QChar)),
                               SQLITE_TRANSIENT)
            != SQLITE_OK)
        return nullptr;
    return owned;
}

QString column_text(sqlite3_stmt *statement, int column)
{
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return QString::number(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(statement, column)).toString();
    case SQLITE_BLOB:
        return QVariant(QByteArray(static_cast<const char *>(sqlite3_column_blob(statement, column)),
                                   sqlite3_column_bytes(statement, column)))
            .toString();
    case SQLITE_NULL:
        return QString();
    default:
        return QString(static_cast<const QChar *>(sqlite3_column_text16(statement, column)),
                       sqlite3_column_bytes16(statement, column) / qsizetype(sizeof(QChar)));
    }
}
