#include "vantrel.h"

#include "case_connection.h"
#include "file_system_records.h"
#include "progress_line.h"
#include "record_batches.h"
#include "row_insert.h"

namespace {

const QString caller_text =
    QStringLiteral("void vantrel::start_extraction_for_apple_metadata(QString, QString)");

constexpr int progress_period = 500;

} // namespace

void vantrel::extract_all_file_path_from_file_system_db_for_apple_metadata()
{
    const QString path = file_system_dir_path + source_count_name + QLatin1String("/file_system.sqlite");
    QSqlDatabase file_system_db = open_case_connection(path, FailedOpen::RemoveRegistration);
    FileSystemRecords records(file_system_db);

    if (!open_apple_metadata_db())
        return;

    const QString total = QString::number(records.total());
    RecordBatches batches;
    for (int record_counter = 1; records.next(); ++record_counter) {
        const QString record = records.record();
        start_extraction_for_apple_metadata(record, records.file_path());
        // Protected files are marked too: the host must not offer them again.
        batches.add(record);
        if (record_counter % progress_period == 0)
            print_progress_line(source_count_name, record_counter, total);
    }
    records.finish();

    // Marks go in only now, so that a run stopped midway leaves every
    // record unmarked and the host runs it again in full.
    batches.mark_records(file_system_db);
    file_system_db.close();

    create_record_index(apple_metadata_db);
    close_result_database(apple_metadata_db, *metadata_row_insert);
}

void vantrel::start_extraction_for_apple_metadata(QString record, QString file_path)
{
    const QString path = virtual_source_path + file_path;
    if (bool_is_permission_restricted_file(path, caller_text))
        return;
    fill_apple_metadata_from_api(path, apple_metadata_attributes_list, caller_text);
    insert_global_metadata_in_apple_metadata_db(record);
}
