#include "vantrel.h"

#include "case_conventions.h"
#include "metadata_store.h"
#include "row_insert.h"

#include <QWidget>

namespace {

const QString list_separator = case_conventions::list_separator();

} // namespace

vantrel::vantrel(QWidget *parent)
    : QObject(parent)
    , metadata_row_insert(std::make_unique<RowInsert>())
    , timestamps_row_insert(std::make_unique<RowInsert>())
{
    timestamp_attributes_list = case_conventions::timestamp_attribute_keys();
    timestamp_columns_list = case_conventions::timestamp_column_names();
}

vantrel::~vantrel() = default;

void vantrel::pub_set_initialize(QString file_paths, QString apple_metadata_attributes_names,
                                 QString file_system_dir_path, QString flag,
                                 QString source_count_name, QString virtual_source_path,
                                 QString apple_metadata_column_names)
{
    // A single path is a click run's file or essential database; a joined
    // list is kept as a list and leaves the click paths alone.
    if (file_paths.contains(list_separator)) {
        file_paths_list = file_paths.split(list_separator, Qt::KeepEmptyParts);
    } else if (flag == QLatin1String("3")) {
        right_click_file_path = file_paths;
    } else if (flag == QLatin1String("4")) {
        left_click_file_path = file_paths;
    }

    // The host always joins its lists; a text without the separator is
    // not a list and leaves the previous one in place.
    if (apple_metadata_attributes_names.contains(list_separator))
        apple_metadata_attributes_list = apple_metadata_attributes_names.split(list_separator, Qt::KeepEmptyParts);
    if (apple_metadata_column_names.contains(list_separator))
        apple_metadata_columns_list = apple_metadata_column_names.split(list_separator, Qt::KeepEmptyParts);

    this->file_system_dir_path = file_system_dir_path;
    this->source_count_name = source_count_name;
    this->virtual_source_path = virtual_source_path;
    this->flag = flag;
}

void vantrel::pub_start_extraction_for_apple_timestamps()
{
    extract_all_file_path_from_file_system_db_for_apple_timestamps();
}

void vantrel::pub_start_extraction_for_apple_metadata()
{
    extract_all_file_path_from_file_system_db_for_apple_metadata();
}

void vantrel::pub_start_extraction_for_right_click_fs_module()
{
    start_extraction_for_right_click_fs_module();
}

void vantrel::pub_start_extraction_for_left_click_fs_module()
{
    start_extraction_for_left_click_fs_module();
}

QString vantrel::get_exact_column_name_from_key(QString key)
{
    // The host names its columns after the keys, sometimes with a suffix,
    // so the column contains the key; the earliest column wins.
    for (const QString &column : qAsConst(apple_metadata_columns_list)) {
        if (column.contains(key))
            return column;
    }
    return QString(QLatin1String(""));
}

void vantrel::set_metadata_store(std::unique_ptr<MetadataStore> store)
{
    metadata_store = std::move(store);
}
