#include "vantrel.h"

bool vantrel::open_apple_metadata_db()
{
    return false;
}

void vantrel::clear_all_from_apple_metadata_db()
{
}

void vantrel::insert_global_metadata_in_apple_metadata_db(QString record)
{
    Q_UNUSED(record);
}

bool vantrel::open_apple_timestamps_db()
{
    return false;
}

void vantrel::insert_global_timestamps_in_apple_timestamps_db(QString record)
{
    Q_UNUSED(record);
}
