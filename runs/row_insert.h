#ifndef ROW_INSERT_H
#define ROW_INSERT_H

#include "case_connection.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <memory>
#include <string>
#include <vector>


// The insert of one result row, prepared once and bound again for every
// file: within a run every row names the same columns, and preparing the
// statement anew for each file would cost more than the insert itself.
// Values are bound by position straight on the connection's SQLite handle:
// the framework's binding names a placeholder for every value, which cost
// more than storing the row.
class RowInsert
{
public:
    RowInsert();
    ~RowInsert();

    // The statement for a row with these columns and filesystem_record;
    // a "'" inside a column name is doubled so that it cannot end the name.
    static QString statement(const QStringList &columns);

    // Stores one row on connection: the values bound as text in column
    // order, then the record number. Each row commits by itself, the
    // journal kept from one row's commit to the next.
    void insert(QSqlDatabase connection, const QStringList &columns, const QStringList &values,
                const QString &record);

    // Lets go of the prepared statement before its connection closes, and
    // of the journal kept between its rows.
    void release();

private:
    PreparedStatement prepared;
    QStringList prepared_columns;
    QSqlDatabase prepared_on;
    // Whether prepared_on's journal is kept between rows.
    bool journal_kept = false;
    // The bound texts of the row being stored, kept from row to row.
    std::vector<std::string> value_buffers;
};

#endif // ROW_INSERT_H
