#include "vantrel.h"

#include "case_conventions.h"

#include "case_connection.h"
#include "row_insert.h"

#include <QSqlQuery>

bool vantrel::open_apple_metadata_db()
{
    const QString path = case_database_path(case_conventions::apple_metadata_database_name());
    metadata_row_insert->release();
    apple_metadata_db = open_case_connection(path, FailedOpen::KeepRegistration);
    if (!apple_metadata_db.isOpen())
        return false;
    // The full and left-click runs rebuild the table: rows of earlier runs go.
    clear_all_from_apple_metadata_db();
    return true;
}

void vantrel::clear_all_from_apple_metadata_db()
{
    if (!apple_metadata_db.isOpen())
        return;
    QSqlQuery query(apple_metadata_db);
    query.prepare(QStringLiteral("Delete from files"));
    query.exec();
}

void vantrel::insert_global_metadata_in_apple_metadata_db(QString record)
{
    if (extracted_keys_list != column_lookup_keys || apple_metadata_columns_list != column_lookup_source) {
        column_lookup_keys = extracted_keys_list;
        column_lookup_source = apple_metadata_columns_list;
        column_lookup_columns.clear();
        column_lookup_columns.reserve(extracted_keys_list.size());
        for (const QString &key : qAsConst(extracted_keys_list))
            column_lookup_columns.append(get_exact_column_name_from_key(key));
    }
    metadata_row_insert->insert(apple_metadata_db, column_lookup_columns, extracted_values_list, record);
}

bool vantrel::open_apple_timestamps_db()
{
    const QString path = case_database_path(case_conventions::apple_timestamps_database_name());
    timestamps_row_insert->release();
    apple_timestamps_db = open_case_connection(path, FailedOpen::KeepRegistration);
    return apple_timestamps_db.isOpen();
}

void vantrel::insert_global_timestamps_in_apple_timestamps_db(QString record)
{
    // The timestamp columns by position: the keys are always the six of
    // the timestamp table, in its order. Worked out once for the run.
    if (timestamp_insert_columns.size() != extracted_keys_list.size()
        || timestamp_insert_source != timestamp_columns_list) {
        timestamp_insert_source = timestamp_columns_list;
        timestamp_insert_columns = timestamp_columns_list.mid(0, extracted_keys_list.size());
        while (timestamp_insert_columns.size() < extracted_keys_list.size())
            timestamp_insert_columns.append(QString());
    }
    timestamps_row_insert->insert(apple_timestamps_db, timestamp_insert_columns, extracted_values_list, record);
}

void vantrel::close_result_database(QSqlDatabase &database, RowInsert &row_insert)
{
    row_insert.release();
    if (database.isOpen())
        database.close();
}
