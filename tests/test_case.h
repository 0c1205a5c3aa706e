#ifndef TEST_CASE_H
#define TEST_CASE_H

#include "case_conventions.h"

#include <QPair>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// A case as the host lays it out, in a fresh temporary folder: a source
// tree of real files, and the source's databases with the host's tables.
class TestCase
{
public:
    explicit TestCase(const QString &source_name = QStringLiteral("SRC1"));

    QString source_root() const;   // virtual_source_path, no trailing "/"
    // Examines an existing volume (read only) instead of the case's own tree.
    void set_source_root(const QString &path) { external_source_root = path; }
    // Starts this worker executable instead of build/vantrel.
    void set_worker(const QString &path) { worker = path; }
    QString case_dir() const;      // file_system_dir_path, ending in "/"
    QString database_dir() const;  // case_dir + source name + "/"
    QString source_name() const { return name; }
    QString database(const QString &file_name) const { return database_dir() + file_name; }
    QString file_system_db() const { return database(case_conventions::file_system_database_name()); }
    QString metadata_db() const { return database(case_conventions::apple_metadata_database_name()); }
    QString timestamps_db() const { return database(case_conventions::apple_timestamps_database_name()); }

    // Creates a file under the source (parents included), relative path with
    // a leading "/".
    void add_file(const QString &relative_path, const QByteArray &content = "x");

    // file_system.sqlite with the host's columns and these (INT, filepath)
    // rows; INT is declared without a type so tests can store any text.
    void create_file_system_db(const QList<QPair<QVariant, QVariant>> &records);
    // apple_metadata.sqlite with these columns plus filesystem_record.
    void create_metadata_db(const QStringList &columns);
    // apple_timestamps.sqlite with the six timestamp columns.
    void create_timestamps_db();
    // An essential database at path with (fs_record_no, display_filepath,
    // source_count_name) rows.
    static void create_essential_db(const QString &path, const QList<QVariantList> &rows);

    struct Result
    {
        int exit_code = -1;
        QProcess::ExitStatus exit_status = QProcess::CrashExit;
        QStringList lines; // the worker's debug output, line by line
        QByteArray standard_output;
        QByteArray standard_error;
    };
    // Starts build/vantrel as the host would for this case.
    Result run(const QString &flag, const QString &file_paths = QString(),
               const QStringList &keys = QStringList(), const QStringList &columns = QStringList()) const;

    // Inserts rows through one prepared statement, in one transaction.
    static void insert_rows(const QString &path, const QString &insert, const QList<QVariantList> &rows);
    // Executes statements on a database file, failing the test on error.
    static bool exec(const QString &path, const QStringList &statements);
    // Rows of the files table (with an optional where clause); -1 when unreadable.
    static int count_rows(const QString &path, const QString &where = QString());
    // How many indexes named fs_parent the database holds.
    static int record_index_count(const QString &path);
    // The rows of a query, each row's values in column order.
    static QList<QVariantList> rows(const QString &path, const QString &select);

    // "[(@@)]"-joined list as the host passes it; a single item gets a
    // trailing separator so that it is still a list.
    static QString joined(const QStringList &items);

private:
    QTemporaryDir dir;
    QString name;
    QString external_source_root;
    QString worker;
};

// Runs build/vantrel (or worker) as a headless host starts it (no display,
// no runtime directory) and gives exactly what it printed.
TestCase::Result run_worker(const QStringList &arguments, const QString &worker = QString());

#endif // TEST_CASE_H
