#include "vantrel.h"

#include "case_connection.h"
#include "case_conventions.h"
#include "row_insert.h"

#include <QSqlQuery>
#include <QVariant>

namespace {

const QString caller_text = QStringLiteral("void vantrel::start_extraction_for_left_click_fs_module()");

} // namespace

void vantrel::start_extraction_for_left_click_fs_module()
{
    const QString file_system_path = case_database_path(case_conventions::file_system_database_name());

    QString record;
    {
        QSqlDatabase file_system_db = open_case_connection(file_system_path, FailedOpen::RemoveRegistration);
        if (file_system_db.isOpen()) {
            QSqlQuery query(file_system_db);
            query.setForwardOnly(true);
            query.prepare(QStringLiteral("Select INT from files where filepath = ?"));
            // The stored path exactly as the host gave it, without the
            // source's prefix: that is how file_system.sqlite keeps it.
            query.addBindValue(left_click_file_path);
            if (query.exec() && query.next())
                record = query.value(0).toString();
            query.finish();
        }
        file_system_db.close();
    }

    // An unknown file leaves the result table as it was; only a found
    // record may empty it.
    if (record.isEmpty())
        return;
    if (!open_apple_metadata_db())
        return;

    if (!store_metadata_row_unless_protected(record, left_click_file_path, caller_text))
        return;
    close_result_database(apple_metadata_db, *metadata_row_insert);
}
