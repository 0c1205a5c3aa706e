#include "vantrel.h"

#include "case_connection.h"
#include "case_conventions.h"
#include "progress_line.h"
#include "record_batches.h"
#include "row_insert.h"

#include <QSqlQuery>
#include <QVariant>

#include <sqlite3.h>

namespace {

const QString caller_text = QStringLiteral(
    "void vantrel::extract_file_paths_from_apple_metadata_essential_db_for_right_click()");

constexpr int progress_period = 100;

} // namespace

void vantrel::start_extraction_for_right_click_fs_module()
{
    const QString path = case_database_path(case_conventions::apple_metadata_database_name());
    // The rows of the chosen files join whatever the table holds: no clearing.
    metadata_row_insert->release();
    apple_metadata_db = open_case_connection(path, FailedOpen::RemoveRegistration);

    extract_file_paths_from_apple_metadata_essential_db_for_right_click();

    create_record_index(apple_metadata_db);
    close_result_database(apple_metadata_db, *metadata_row_insert);
}

void vantrel::extract_file_paths_from_apple_metadata_essential_db_for_right_click()
{
    QSqlDatabase essential_db = open_case_connection(right_click_file_path, FailedOpen::RemoveRegistration);

    QString total;
    RecordBatches batches;
    if (essential_db.isOpen()) {
        QSqlQuery query(essential_db);
        query.prepare(QStringLiteral("Select count(*) from files where source_count_name = ?"));
        query.addBindValue(source_count_name);
        if (query.exec() && query.next())
            total = query.value(0).toString();

        query.clear();
        // Forward only, straight on SQLite: the chosen records are read once.
        const PreparedStatement chosen = prepare_statement(
            essential_db, QStringLiteral("select fs_record_no,display_filepath from files where source_count_name = ?"),
            source_count_name);
        int processed_count = 0;
        while (chosen && sqlite3_step(chosen.get()) == SQLITE_ROW) {
            const QString record = column_text(chosen.get(), 0);
            if (record.isEmpty())
                continue;
            const QString display = column_text(chosen.get(), 1);
            batches.add(record);

            if (!store_metadata_row_unless_protected(record, display, caller_text))
                continue;

            ++processed_count;
            if (processed_count % progress_period == 0)
                print_progress_line(display, processed_count, total);
        }
        query.finish();
    }
    essential_db.close();

    // The source's records are marked only after every chosen file was read.
    const QString file_system_path = case_database_path(case_conventions::file_system_database_name());
    QSqlDatabase file_system_db = open_case_connection(file_system_path, FailedOpen::RemoveRegistration);
    batches.mark_records(file_system_db);
    file_system_db.close();
}
