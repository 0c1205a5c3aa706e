#ifndef TEST_CASE_H
#define TEST_CASE_H

#include "case_conventions.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// A case as the host lays it out, in a fresh temporary folder: a source
// tree of real files, and the source's databases with the host's tables.
class TestCase
{
public:
    explicit TestCase(const QString &source_name = QStringLiteral("SRC1"));

    // virtual_source_path, no trailing "/"
    QString source_root() const { return external_source_root.isEmpty() ? dir.filePath("source") : external_source_root; }
    // Examines an existing volume (read only) instead of the case's own tree.
    void set_source_root(const QString &path) { external_source_root = path; }
    // Starts this worker executable instead of build/vantrel.
    void set_worker(const QString &path) { worker = path; }
    QString case_dir() const { return dir.filePath("case/"); } // file_system_dir_path, ending in "/"
    QString source_name() const { return name; }
    QString database(const QString &file_name) const { return case_dir() + name + '/' + file_name; }
    QString file_system_db() const { return database(case_conventions::file_system_database_name()); }
    QString metadata_db() const { return database(case_conventions::apple_metadata_database_name()); }
    QString timestamps_db() const { return database(case_conventions::apple_timestamps_database_name()); }

    // Creates a file under the source (parents included); relative path with a leading "/".
    void add_file(const QString &relative_path, const QByteArray &content = "x");
    // file_system.sqlite with the host's columns and (INT, filepath) rows; INT has no type: any text fits.
    void create_file_system_db(const QList<QPair<QVariant, QVariant>> &records);
    // apple_metadata.sqlite with these columns plus filesystem_record.
    void create_metadata_db(const QStringList &columns);
    // apple_timestamps.sqlite with the six timestamp columns.
    void create_timestamps_db();
    // An essential database with (fs_record_no, display_filepath, source_count_name) rows.
    static void create_essential_db(const QString &path, const QList<QVariantList> &rows);

    struct Result
    {
        int exit_code = -1;
        QProcess::ExitStatus exit_status = QProcess::CrashExit;
        QStringList lines; // the worker's debug output, line by line
        QByteArray standard_output, standard_error;
    };
    // Starts build/vantrel as the host would for this case.
    Result run(const QString &flag, const QString &file_paths = QString(),
               const QStringList &keys = QStringList(), const QStringList &columns = QStringList()) const;

    // Executes statements on a database file; false (with a warning) on error.
    static bool exec(const QString &path, const QStringList &statements);
    // The rows of a query, each row's values in column order.
    static QList<QVariantList> rows(const QString &path, const QString &select);
    // Rows of the files table (with an optional where clause); -1 when unreadable.
    static int count_rows(const QString &path, const QString &where = QString())
    {
        return rows(path, "select count(*) from files " + where).value(0).value(0, -1).toInt();
    }
    // How many indexes named fs_parent the database holds; -1 when unreadable.
    static int record_index_count(const QString &path)
    {
        return rows(path, "select count(*) from sqlite_master where name = 'fs_parent'").value(0).value(0, -1).toInt();
    }
    // "[(@@)]"-joined list as the host passes it; a single item gets a
    // trailing separator so that it is still a list.
    static QString joined(const QStringList &items);

private:
    QTemporaryDir dir;
    QString name, external_source_root, worker;
};

// Runs build/vantrel (or worker) as a headless host does (no display, no runtime folder); all it printed.
TestCase::Result run_worker(const QStringList &arguments, const QString &worker = QString());

#endif // TEST_CASE_H
