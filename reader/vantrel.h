#ifndef VANTREL_H
#define VANTREL_H

#include "metadata_key.h"

#include <QList>
#include <QObject>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

class MetadataStore;
class QWidget;
class RecordBatches;
class RowInsert;

// The reader: holds one job's parameters, reads the Spotlight attributes of
// the source's files and stores them in the case's result databases.
// Everything runs synchronously on the caller's thread.
//
// Operations and members are public so that tests can drive a reader in
// process and look at what a call left behind; the window only calls the
// pub_ operations.
class vantrel : public QObject
{
    Q_OBJECT

public:
    explicit vantrel(QWidget *parent = nullptr);
    ~vantrel() override;

    // Stores the seven command-line texts, splitting the joined lists.
    void pub_set_initialize(QString file_paths, QString apple_metadata_attributes_names,
                            QString file_system_dir_path, QString flag,
                            QString source_count_name, QString virtual_source_path,
                            QString apple_metadata_column_names);

    // Run kind "1": six timestamps of every record, appended.
    void pub_start_extraction_for_apple_timestamps();
    // Run kind "2": every record's metadata into an emptied result table.
    void pub_start_extraction_for_apple_metadata();
    // Run kind "3": the records listed by the host's essential database.
    void pub_start_extraction_for_right_click_fs_module();
    // Run kind "4": one file's metadata as the only row.
    void pub_start_extraction_for_left_click_fs_module();

    // The first result column whose name contains key; empty when none does.
    QString get_exact_column_name_from_key(QString key);

    // Whether the path lies in a folder the worker may not read.
    bool bool_is_permission_restricted_file(QString file_path, QString caller);

    // Leaves the keys and the rendered value texts of one file in
    // extracted_keys_list and extracted_values_list.
    void fill_apple_metadata_from_api(QString file_path, QList<QString> keys, QString caller);
    // The keys, each with an empty (non-null) value text.
    void set_blank_apple_metadata(QList<QString> keys);

    // Whether apple_metadata.sqlite is open; empties its table when it is.
    bool open_apple_metadata_db();
    // Deletes every row of apple_metadata.sqlite.
    void clear_all_from_apple_metadata_db();
    // One row of apple_metadata.sqlite from the last extraction.
    void insert_global_metadata_in_apple_metadata_db(QString record);
    // Whether apple_timestamps.sqlite is open.
    bool open_apple_timestamps_db();
    // One row of apple_timestamps.sqlite from the last extraction.
    void insert_global_timestamps_in_apple_timestamps_db(QString record);

    void extract_all_file_path_from_file_system_db_for_apple_metadata();
    void start_extraction_for_apple_metadata(QString record, QString file_path);
    void extract_all_file_path_from_file_system_db_for_apple_timestamps();
    void start_extraction_for_apple_timestamps(QString record, QString file_path);
    void start_extraction_for_right_click_fs_module();
    void extract_file_paths_from_apple_metadata_essential_db_for_right_click();
    void start_extraction_for_left_click_fs_module();

    // Replaces the metadata store the extraction asks; tests give an
    // in-memory one. Without it the platform's store is made on first use.
    void set_metadata_store(std::unique_ptr<MetadataStore> store);

    QStringList extracted_keys_list;
    QStringList extracted_values_list;
    QStringList apple_metadata_attributes_list;
    QString left_click_file_path;
    QStringList file_paths_list;
    QString file_system_dir_path;
    QString source_count_name;
    QString virtual_source_path;
    QStringList apple_metadata_columns_list;
    QString right_click_file_path;
    QString flag;
    QStringList timestamp_attributes_list;
    QStringList timestamp_columns_list;
    QSqlDatabase apple_timestamps_db;
    QSqlDatabase apple_metadata_db;

private:
    // The record walk of the full and timestamps runs: opens
    // file_system.sqlite, then the result database through open_result, and
    // hands every record's number and stored path to read_record, printing
    // a progress line every 500 records. Marks the records that marks
    // collected once every file is read. False when the result database did
    // not open, which ends the run.
    bool walk_file_system_records(bool (vantrel::*open_result)(),
                                  void (vantrel::*read_record)(QString, QString), RecordBatches *marks);
    // The per-file step of the metadata runs: unless the file lies in a
    // protected folder, reads its metadata and stores its row. Whether a row
    // was stored.
    bool store_metadata_row_unless_protected(const QString &record, const QString &stored_path,
                                             const QString &caller);
    // The full path of one of the source's databases, by name.
    QString case_database_path(QLatin1String database_name) const;
    // Closes a result connection once its prepared row insert is let go.
    static void close_result_database(QSqlDatabase &database, RowInsert &row_insert);

    std::unique_ptr<MetadataStore> metadata_store;
    std::unique_ptr<RowInsert> metadata_row_insert;
    std::unique_ptr<RowInsert> timestamps_row_insert;
    // The result columns of the last key list: a run asks for the same keys
    // for every file, so they are looked up once.
    QStringList column_lookup_keys;
    QStringList column_lookup_source;
    QStringList column_lookup_columns;
    // The timestamp columns of the last row, and the list they came from.
    QStringList timestamp_insert_columns;
    QStringList timestamp_insert_source;
    // The keys of the last key list, worked out once for the run.
    QStringList resolved_key_names;
    std::vector<MetadataKey> resolved_keys;
};

#endif // VANTREL_H
