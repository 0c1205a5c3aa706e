#ifndef RECORD_BATCHES_H
#define RECORD_BATCHES_H

#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// The record numbers a run has read, 50 to a batch, and the run-status
// updates that mark them in file_system.sqlite once the run has read every
// file.
class RecordBatches
{
public:
    static constexpr int batch_size = 50;

    // Adds a record number as read. Only whole numbers as SQLite reads them
    // (blanks around them included) are spliced into an update, as read; any
    // other text is left out, so that a record number from the host's database
    // can neither break a batch nor mark other rows.
    void add(const QString &record);

    // One update statement per batch, in the order the batches were filled.
    QStringList update_statements() const;

    // Runs the update statements on the source's file_system.sqlite.
    void mark_records(QSqlDatabase file_system_db) const;

    // Whether SQLite reads the text as a decimal whole number: digits with an
    // optional "-", with or without SQLite's blanks (space, tab, line feed,
    // form feed, carriage return) before and after.
    static bool is_decimal_record(const QString &record);

private:
    QList<QStringList> batches;
};

#endif // RECORD_BATCHES_H
