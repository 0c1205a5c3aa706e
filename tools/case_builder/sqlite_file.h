#ifndef SQLITE_FILE_H
#define SQLITE_FILE_H

#include <QSqlDatabase>
#include <QString>
#include <QVariantList>
#include <QVector>

// One SQLite file opened on a connection of its own, closed and
// unregistered when the object goes.
class SqliteFile
{
public:
    // Opens (creating when missing) the file at path; see error().
    explicit SqliteFile(const QString &path);
    ~SqliteFile();
    SqliteFile(const SqliteFile &) = delete;
    SqliteFile &operator=(const SqliteFile &) = delete;

    // Whether the open succeeded.
    bool is_open() const { return database.isOpen(); }

    // Runs one statement with values bound by position; false, with the
    // driver's reason in error(), when it fails.
    bool execute(const QString &statement, const QVariantList &values = QVariantList());

    // Runs insert once per row of values inside one transaction: the case
    // is the builder's, and one commit per row would make large sources slow.
    bool insert_rows(const QString &insert, const QVector<QVariantList> &rows);

    // What went wrong last, with the file's path.
    QString error() const { return last_error; }

private:
    bool fail(const QString &what, const QString &driver_text);

    QString connection_name;
    QString file_path;
    QSqlDatabase database;
    QString last_error;
};

#endif // SQLITE_FILE_H
