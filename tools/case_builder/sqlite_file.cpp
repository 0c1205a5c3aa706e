#include "sqlite_file.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVector>

namespace {

QString next_connection_name()
{
    static int serial = 0;
    return QStringLiteral("vantrel-case-%1").arg(++serial);
}

} // namespace

SqliteFile::SqliteFile(const QString &path)
    : connection_name(next_connection_name())
    , file_path(path)
{
    database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection_name);
    database.setDatabaseName(path);
    if (!database.open())
        fail(QStringLiteral("cannot open"), database.lastError().text());
}

SqliteFile::~SqliteFile()
{
    database.close();
    // The registration may only go once no handle to it is left.
    database = QSqlDatabase();
    QSqlDatabase::removeDatabase(connection_name);
}

bool SqliteFile::fail(const QString &what, const QString &driver_text)
{
    last_error = QStringLiteral("%1 %2: %3").arg(what, file_path, driver_text);
    return false;
}

bool SqliteFile::execute(const QString &statement, const QVariantList &values)
{
    QSqlQuery query(database);
    if (!query.prepare(statement))
        return fail(QStringLiteral("cannot prepare a statement on"), query.lastError().text());
    for (const QVariant &value : values)
        query.addBindValue(value);
    if (!query.exec())
        return fail(QStringLiteral("cannot write"), query.lastError().text());
    return true;
}

bool SqliteFile::insert_rows(const QString &insert, const QVector<QVariantList> &rows)
{
    if (!database.transaction())
        return fail(QStringLiteral("cannot start a transaction on"), database.lastError().text());
    {
        QSqlQuery query(database);
        if (!query.prepare(insert)) {
            const QString reason = query.lastError().text();
            database.rollback();
            return fail(QStringLiteral("cannot prepare a statement on"), reason);
        }
        for (const QVariantList &row : rows) {
            for (int position = 0; position < row.size(); ++position)
                query.bindValue(position, row.at(position));
            if (!query.exec()) {
                const QString reason = query.lastError().text();
                query.finish();
                database.rollback();
                return fail(QStringLiteral("cannot write"), reason);
            }
        }
    }
    if (!database.commit())
        return fail(QStringLiteral("cannot commit"), database.lastError().text());
    return true;
}
