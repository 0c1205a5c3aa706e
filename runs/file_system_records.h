#ifndef FILE_SYSTEM_RECORDS_H
#define FILE_SYSTEM_RECORDS_H

#include "case_connection.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

// The records of a source's file_system.sqlite, walked forward once: the
// count first, then every record's number and path as the database returns
// them. On a connection that did not open there is no count and no record.
class FileSystemRecords
{
public:
    explicit FileSystemRecords(QSqlDatabase file_system_db);

    // The record count as a whole number; 0 when it could not be read.
    qint64 total() const;

    // Steps to the next record; false after the last.
    bool next();
    // The current record's INT as text, trimmed; empty for NULL.
    QString record() const;
    // The current record's filepath, trimmed; empty for NULL.
    QString file_path() const;

    // Ends the walk, so that the connection can be written and closed.
    void finish();

private:
    QSqlQuery query;
    QString count_text;
    // The walk itself runs on SQLite's own statement: the framework's copy
    // of every value through a variant cost more than the step.
    PreparedStatement walk;
    bool walking = false;
};

#endif // FILE_SYSTEM_RECORDS_H
