#include "row_insert.h"

#include <QVariant>

QString RowInsert::statement(const QStringList &columns)
{
    if (columns.isEmpty())
        return QStringLiteral("Insert into files (filesystem_record) Values (?)");

    QString names;
    QString placeholders;
    for (const QString &column : columns) {
        QString quoted = column;
        quoted.replace(QLatin1Char('\''), QLatin1String("''"));
        names += QLatin1Char('\'') + quoted + QLatin1String("',");
        placeholders += QLatin1String("?,");
    }
    return QLatin1String("Insert into files (") + names + QLatin1String("filesystem_record) Values (")
        + placeholders + QLatin1String("?)");
}

void RowInsert::insert(QSqlDatabase connection, const QStringList &columns,
                       const QStringList &values, const QString &record)
{
    if (!connection.isOpen())
        return;

    if (!prepared || columns != prepared_columns || connection.connectionName() != prepared_connection) {
        query = QSqlQuery(connection);
        if (!query.prepare(statement(columns))) {
            // A table without these columns: this file's row is lost, and the
            // next file tries again.
            release();
            return;
        }
        prepared = true;
        prepared_columns = columns;
        prepared_connection = connection.connectionName();
    }

    // Null texts become NULL, empty texts '': the host tells "no value"
    // from "no metadata item" by that difference.
    for (int i = 0; i < columns.size(); ++i)
        query.bindValue(i, i < values.size() ? QVariant(values.at(i)) : QVariant(QString()));
    query.bindValue(int(columns.size()), record);
    query.exec();
}

void RowInsert::release()
{
    query = QSqlQuery();
    prepared = false;
    prepared_columns.clear();
    prepared_connection.clear();
}
