#include "case_connection.h"

#include <QDateTime>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QVariant>

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
