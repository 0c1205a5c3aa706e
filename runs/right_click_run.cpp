#include "vantrel.h"

#include "case_connection.h"
#include "case_conventions.h"
#include "progress_line.h"
#include "record_batches.h"
#include "row_insert.h"

#include <QSqlQuery>
#include <QSqlRecord>
#include <QVariant>

namespace {

const QString caller_text = QStringLiteral(
    "void vantrel::extract_file_paths_from_apple_metadata_essential_db_for_right_click()");

constexpr int progress_period = 100;

// A column value as text; NULL and a missing column give no text (a null
// string), which the run skips as it skips an empty record number.
QString column_text(const QSqlQuery &query, int column)
{
    return column < 0 ? QString() : query.value(column).toString();
}

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
        query.setForwardOnly(true);
        query.prepare(QStringLiteral(
            "select fs_record_no,display_filepath from files where source_count_name = ?"));
        query.addBindValue(source_count_name);
        if (query.exec()) {
            const QSqlRecord columns = query.record();
            const int record_column = columns.indexOf(QStringLiteral("fs_record_no"));
            const int display_column = columns.indexOf(QStringLiteral("display_filepath"));

            int processed_count = 0;
            while (query.next()) {
                const QString record = column_text(query, record_column);
                if (record.isEmpty())
                    continue;
                const QString display = column_text(query, display_column);
                batches.add(record);

                if (!store_metadata_row_unless_protected(record, display, caller_text))
                    continue;

                ++processed_count;
                if (processed_count % progress_period == 0)
                    print_progress_line(display, processed_count, total);
            }
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
