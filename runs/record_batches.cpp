#include "record_batches.h"

#include "case_connection.h"

#include <sqlite3.h>

namespace {

// The characters SQLite's tokenizer skips between tokens; any other blank
// (a no-break space, a vertical tab) is part of a token and breaks the update.
bool is_sqlite_blank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\f')
        || c == QLatin1Char('\r');
}

} // namespace

bool RecordBatches::is_decimal_record(const QString &record)
{
    int first = 0;
    int end = record.size();
    while (first < end && is_sqlite_blank(record.at(first)))
        ++first;
    while (end > first && is_sqlite_blank(record.at(end - 1)))
        --end;
    if (first < end && record.at(first) == QLatin1Char('-'))
        ++first;
    if (first == end)
        return false;
    for (int i = first; i < end; ++i) {
        const QChar c = record.at(i);
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

void RecordBatches::add(const QString &record)
{
    if (!is_decimal_record(record))
        return;
    if (batches.isEmpty() || batches.constLast().size() == batch_size) {
        batches.append(QStringList());
        batches.last().reserve(batch_size);
    }
    batches.last().append(record);
}

QStringList RecordBatches::update_statements() const
{
    QStringList statements;
    statements.reserve(batches.size());
    for (const QStringList &batch : batches) {
        QString statement =
            QStringLiteral("Update files set fs_module_apple_metadata_run_status = '1' Where ");
        // Newest record first, as the host has always received them.
        for (auto record = batch.crbegin(); record != batch.crend(); ++record)
            statement += QLatin1String("INT = ") + *record + QLatin1String(" OR ");
        if (statement.endsWith(QLatin1String(" OR ")))
            statement.chop(4);
        statements.append(statement);
    }
    return statements;
}

void RecordBatches::mark_records(QSqlDatabase file_system_db) const
{
    if (!file_system_db.isOpen())
        return;
    // Straight to SQLite: the framework would scan each statement's
    // thousand characters for placeholders that it never holds.
    for (const QString &statement : update_statements()) {
        if (const PreparedStatement update = prepare_statement(file_system_db, statement))
            sqlite3_step(update.get());
    }
}
