#include "vantrel.h"

#include "case_connection.h"
#include "file_system_records.h"
#include "progress_line.h"
#include "row_insert.h"

namespace {

const QString caller_text =
    QStringLiteral("void vantrel::start_extraction_for_apple_timestamps(QString, QString)");

constexpr int progress_period = 500;

} // namespace

void vantrel::extract_all_file_path_from_file_system_db_for_apple_timestamps()
{
    const QString path = file_system_dir_path + source_count_name + QLatin1String("/file_system.sqlite");
    QSqlDatabase file_system_db = open_case_connection(path, FailedOpen::RemoveRegistration);
    FileSystemRecords records(file_system_db);

    if (!open_apple_timestamps_db())
        return;

    const QString total = QString::number(records.total());
    for (int record_counter = 1; records.next(); ++record_counter) {
        start_extraction_for_apple_timestamps(records.record(), records.file_path());
        if (record_counter % progress_period == 0)
            print_progress_line(source_count_name, record_counter, total);
    }
    records.finish();
    file_system_db.close();

    create_record_index(apple_timestamps_db);
    close_result_database(apple_timestamps_db, *timestamps_row_insert);
}

void vantrel::start_extraction_for_apple_timestamps(QString record, QString file_path)
{
    // Every file gets its timestamps, those in protected folders too: the
    // times are what the examiner's timeline is built from.
    fill_apple_metadata_from_api(virtual_source_path + file_path, timestamp_attributes_list, caller_text);
    insert_global_timestamps_in_apple_timestamps_db(record);
}
