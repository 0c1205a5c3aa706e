#include "vantrel.h"

#include "case_connection.h"
#include "row_insert.h"

void vantrel::extract_all_file_path_from_file_system_db_for_apple_timestamps()
{
    if (!walk_file_system_records(&vantrel::open_apple_timestamps_db,
                                  &vantrel::start_extraction_for_apple_timestamps, nullptr))
        return;
    create_record_index(apple_timestamps_db);
    close_result_database(apple_timestamps_db, *timestamps_row_insert);
}

void vantrel::start_extraction_for_apple_timestamps(QString record, QString file_path)
{
    // Every file gets its timestamps, those in protected folders too: the
    // times are what the examiner's timeline is built from.
    fill_apple_metadata_from_api(virtual_source_path + file_path, timestamp_attributes_list,
                                 QStringLiteral("void vantrel::start_extraction_for_apple_timestamps(QString, QString)"));
    insert_global_timestamps_in_apple_timestamps_db(record);
}
