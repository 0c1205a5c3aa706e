#include "test_case.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QtTest>

namespace {

// Each helper call gets a connection of its own, closed before the worker runs.
struct ScopedConnection
{
    explicit ScopedConnection(const QString &path) : name(QStringLiteral("test-%1").arg(++counter))
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.open();
    }
    ~ScopedConnection() { QSqlDatabase::removeDatabase(name); }
    QSqlDatabase db() const { return QSqlDatabase::database(name, false); }
    static inline int counter = 0;
    QString name;
};

// Inserts rows through one prepared statement in one transaction: the host
// writes its tables far faster than the worker may write its results.
void insert_rows(const QString &path, const QString &insert, const QList<QVariantList> &rows)
{
    ScopedConnection connection(path);
    connection.db().transaction();
    QSqlQuery query(connection.db());
    query.prepare(insert);
    for (const QVariantList &row : rows) {
        for (int i = 0; i < row.size(); ++i)
            query.bindValue(i, row.at(i));
        QVERIFY2(query.exec(), qPrintable(query.lastError().text()));
    }
    connection.db().commit();
}

} // namespace

TestCase::TestCase(const QString &source_name) : name(source_name)
{
    QDir(dir.path()).mkpath(QStringLiteral("source"));
    QDir(dir.path()).mkpath(QStringLiteral("case/") + name);
}

void TestCase::add_file(const QString &relative_path, const QByteArray &content)
{
    const QString path = source_root() + relative_path;
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), qPrintable(path));
}

void TestCase::create_file_system_db(const QList<QPair<QVariant, QVariant>> &records)
{
    QVERIFY(exec(file_system_db(), {"create table files (INT, filepath TEXT, file_name TEXT, "
                                    "fs_module_apple_metadata_run_status TEXT DEFAULT '0')"}));
    QList<QVariantList> rows;
    for (const auto &record : records)
        rows.append({record.first, record.second});
    insert_rows(file_system_db(), "insert into files (INT, filepath) values (?, ?)", rows);
}

void TestCase::create_metadata_db(const QStringList &columns)
{
    QString definition;
    for (const QString &column : columns)
        definition += '"' + QString(column).replace('"', "\"\"") + "\" TEXT, ";
    QVERIFY(exec(metadata_db(), {"create table files (" + definition + "filesystem_record INTEGER)"}));
}

void TestCase::create_timestamps_db()
{
    QVERIFY(exec(timestamps_db(), {"create table files (useddates TEXT, usecount TEXT, last_useddate TEXT, "
                                   "content_creation_date TEXT, content_modification_date TEXT, "
                                   "date_added TEXT, filesystem_record INTEGER)"}));
}

void TestCase::create_essential_db(const QString &path, const QList<QVariantList> &rows)
{
    QVERIFY(exec(path, {"create table files (fs_record_no, display_filepath TEXT, source_count_name TEXT)"}));
    insert_rows(path, "insert into files values (?, ?, ?)", rows);
}

QString TestCase::joined(const QStringList &items)
{
    const QString separator = case_conventions::list_separator();
    return items.size() == 1 ? items.first() + separator : items.join(separator);
}

TestCase::Result TestCase::run(const QString &flag, const QString &file_paths,
                               const QStringList &keys, const QStringList &columns) const
{
    return run_worker({source_root(), file_paths, case_dir(), joined(keys), joined(columns), name, flag}, worker);
}

TestCase::Result run_worker(const QStringList &arguments, const QString &worker_executable)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(name));
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(worker_executable.isEmpty() ? QStringLiteral(VANTREL_EXECUTABLE) : worker_executable, arguments);
    TestCase::Result result;
    if (!worker.waitForFinished(120000))
        return result; // the process is killed as it goes out of scope
    result.exit_code = worker.exitCode();
    result.exit_status = worker.exitStatus();
    result.standard_output = worker.readAllStandardOutput();
    result.standard_error = worker.readAllStandardError();
    result.lines = QString::fromUtf8(result.standard_error).split('\n', Qt::SkipEmptyParts);
    return result;
}

bool TestCase::exec(const QString &path, const QStringList &statements)
{
    ScopedConnection connection(path);
    QSqlQuery query(connection.db());
    for (const QString &statement : statements) {
        if (!query.exec(statement)) {
            qWarning() << statement << query.lastError().text();
            return false;
        }
    }
    return true;
}

QList<QVariantList> TestCase::rows(const QString &path, const QString &select)
{
    QList<QVariantList> result;
    ScopedConnection connection(path);
    QSqlQuery query(connection.db());
    if (!query.exec(select))
        qWarning() << select << query.lastError().text();
    while (query.next()) {
        result.append(QVariantList());
        for (int i = 0; i < query.record().count(); ++i)
            result.last().append(query.value(i));
    }
    return result;
}
