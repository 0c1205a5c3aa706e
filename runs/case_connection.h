#ifndef CASE_CONNECTION_H
#define CASE_CONNECTION_H

#include <QSqlDatabase>
#include <QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

// How a failed open leaves the connection's registration.
enum class FailedOpen { KeepRegistration, RemoveRegistration };

// A new "QSQLITE" connection to the database file at path, registered under
// a name no other connection of this process has had, and opened with no
// options (so a missing file comes into being). The handle is open when the
// open succeeded; otherwise it is closed, and invalid when its registration
// was removed.
QSqlDatabase open_case_connection(const QString &path, FailedOpen on_failure);

// A connection name: the millisecond clock in decimal, raised past the last
// name handed out so that two connections of one run never share a name.
QString take_connection_name();

// The open SQLite handle behind a connection, for statements run once per
// file or batch, where the framework's own handling of each statement text
// costs more than SQLite's; null when the driver is no SQLite driver or
// the connection is closed.
sqlite3 *sqlite_handle(const QSqlDatabase &connection);

// A statement prepared on such a handle, finalized when let go.
struct FinalizeStatement
{
    void operator()(sqlite3_stmt *statement) const;
};
using PreparedStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// statement prepared on the connection's SQLite handle, with text bound to
// its first parameter where given; null when it can't be prepared.
PreparedStatement prepare_statement(const QSqlDatabase &connection, const QString &statement,
                                    const QString &first_parameter = QString());

// A column of the current row as the framework's SQLite driver would hand
// it over and convert it to text; a null string for NULL.
QString column_text(sqlite3_stmt *statement, int column);

// Keeps the rollback journal of the connection's database from one commit
// to the next, clearing its header at each commit instead of making and
// deleting the file for every row: as safe, and a fifth of the cost of a
// row in memory. Only a database that deletes its journal is switched (a
// write-ahead log stays as the host made it); false when nothing changed.
bool keep_journal_between_commits(const QSqlDatabase &connection);

// Back to deleting the journal at each commit, which deletes the kept one:
// a run leaves no journal beside the databases it wrote.
void delete_journal_after_commits(const QSqlDatabase &connection);

// Makes sure the result table has its index on filesystem_record; a second
// run finds it in place.
void create_record_index(QSqlDatabase connection);

#endif // CASE_CONNECTION_H
