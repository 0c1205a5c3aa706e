#include "row_insert.h"

#include <sqlite3.h>

namespace {

// Null text is NULL, empty text '': the host tells "no value" from "no
// metadata item" by that difference. The text is handed over as UTF-8, the
// result databases' encoding, spelt into buffer, which outlives the step.
int bind_text(sqlite3_stmt *statement, int position, const QString &text, std::string &buffer)
{
    if (text.isNull())
        return sqlite3_bind_null(statement, position);
    // Nearly every value is ASCII: one pass tells, and one narrows it.
    const char16_t *units = reinterpret_cast<const char16_t *>(text.utf16());
    const size_t size = size_t(text.size());
    char16_t all = 0;
    for (size_t i = 0; i < size; ++i)
        all |= units[i];
    if (all < 0x80) {
        buffer.resize(size);
        char *spelt = buffer.data();
        for (size_t i = 0; i < size; ++i)
            spelt[i] = char(units[i]);
    } else {
        const QByteArray encoded = text.toUtf8();
        buffer.assign(encoded.constData(), size_t(encoded.size()));
    }
    return sqlite3_bind_text(statement, position, buffer.data(), int(buffer.size()), SQLITE_STATIC);
}

} // namespace

RowInsert::RowInsert() = default;

RowInsert::~RowInsert()
{
    release();
}

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

    if (!prepared || columns != prepared_columns || connection.connectionName() != prepared_on.connectionName()) {
        release();
        // A table without these columns: this file's row is lost, and the
        // next file tries again.
        prepared = prepare_statement(connection, statement(columns));
        if (!prepared)
            return;
        prepared_columns = columns;
        prepared_on = connection;
        journal_kept = keep_journal_between_commits(connection);
    }

    sqlite3_stmt *statement = prepared.get();
    const int count = int(columns.size());
    value_buffers.resize(size_t(count) + 1);
    for (int i = 0; i < count; ++i)
        bind_text(statement, i + 1, i < values.size() ? values.at(i) : QString(), value_buffers[size_t(i)]);
    bind_text(statement, count + 1, record, value_buffers[size_t(count)]);
    sqlite3_step(statement);
    // Reset at once: the row is committed, and the statement holds nothing
    // open. Every parameter is bound again for the next row.
    sqlite3_reset(statement);
}

void RowInsert::release()
{
    prepared.reset();
    if (journal_kept && prepared_on.isOpen())
        delete_journal_after_commits(prepared_on);
    journal_kept = false;
    prepared_on = QSqlDatabase();
    prepared_columns.clear();
}
