#include "vantrel.h"

void vantrel::extract_all_file_path_from_file_system_db_for_apple_timestamps()
{
}

void vantrel::start_extraction_for_apple_timestamps(QString record, QString file_path)
{
    Q_UNUSED(record);
    Q_UNUSED(file_path);
}
