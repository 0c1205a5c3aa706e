#include "vantrel.h"

#include "case_connection.h"
#include "record_batches.h"
#include "row_insert.h"

void vantrel::extract_all_file_path_from_file_system_db_for_apple_metadata()
{
    // Protected files are marked too: the host must not offer them again.
    RecordBatches batches;
    if (!walk_file_system_records(&vantrel::open_apple_metadata_db,
                                  &vantrel::start_extraction_for_apple_metadata, &batches))
        return;
    create_record_index(apple_metadata_db);
    close_result_database(apple_metadata_db, *metadata_row_insert);
}

void vantrel::start_extraction_for_apple_metadata(QString record, QString file_path)
{
    store_metadata_row_unless_protected(
        record, file_path, QStringLiteral("void vantrel::start_extraction_for_apple_metadata(QString, QString)"));
}
