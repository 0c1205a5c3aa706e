#include "vantrel.h"

#include "case_connection.h"
#include "case_conventions.h"
#include "file_system_records.h"
#include "progress_line.h"
#include "record_batches.h"
#include "row_insert.h"

namespace {

constexpr int progress_period = 500;

} // namespace

QString vantrel::case_database_path(QLatin1String database_name) const
{
    return case_conventions::database_path(file_system_dir_path, source_count_name, database_name);
}

bool vantrel::walk_file_system_records(bool (vantrel::*open_result)(),
                                       void (vantrel::*read_record)(QString, QString), RecordBatches *marks)
{
    QSqlDatabase file_system_db = open_case_connection(
        case_database_path(case_conventions::file_system_database_name()), FailedOpen::RemoveRegistration);
    FileSystemRecords records(file_system_db);

    if (!(this->*open_result)())
        return false;

    const QString total = QString::number(records.total());
    for (int record_counter = 1; records.next(); ++record_counter) {
        const QString record = records.record();
        (this->*read_record)(record, records.file_path());
        if (marks)
            marks->add(record);
        if (record_counter % progress_period == 0)
            print_progress_line(source_count_name, record_counter, total);
    }
    records.finish();

    // Marks go in only now, so that a run stopped midway leaves every
    // record unmarked and the host runs it again in full.
    if (marks)
        marks->mark_records(file_system_db);
    file_system_db.close();
    return true;
}

bool vantrel::store_metadata_row_unless_protected(const QString &record, const QString &stored_path,
                                                  const QString &caller)
{
    const QString path = virtual_source_path + stored_path;
    if (bool_is_permission_restricted_file(path, caller))
        return false;
    fill_apple_metadata_from_api(path, apple_metadata_attributes_list, caller);
    insert_global_metadata_in_apple_metadata_db(record);
    return true;
}
