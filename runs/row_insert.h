#ifndef ROW_INSERT_H
#define ROW_INSERT_H

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

// The insert of one result row, prepared once and bound again for every
// file: within a run every row names the same columns, and preparing the
// statement anew for each file would cost more than the insert itself.
class RowInsert
{
public:
    // The statement for a row with these columns and filesystem_record;
    // a "'" inside a column name is doubled so that it cannot end the name.
    static QString statement(const QStringList &columns);

    // Stores one row on connection: the values bound as text in column
    // order, then the record number. Each row commits by itself.
    void insert(QSqlDatabase connection, const QStringList &columns, const QStringList &values,
                const QString &record);

    // Lets go of the prepared statement before its connection closes.
    void release();

private:
    QSqlQuery query;
    QStringList prepared_columns;
    QString prepared_connection;
    bool prepared = false;
};

#endif // ROW_INSERT_H
