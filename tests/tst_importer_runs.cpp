// The worker as the host starts it, with the test importer installed beside
// it: files whose importer hangs, crashes, lies or runs out of memory keep
// their rows without content values, and every other row is whole.

#include "text_rows.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <signal.h>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

// A copy of the worker with the test importer beside it, where the worker
// looks for its importer.
class InstalledWorker
{
public:
    InstalledWorker()
    {
        copied = QFile::copy(VANTREL_EXECUTABLE, worker()) && QFile::copy(VANTREL_TEST_IMPORTER, importer());
    }
    QString worker() const { return dir.filePath("vantrel"); }
    QString importer() const { return dir.filePath("vantrel-importer"); }
    bool copied = false;

private:
    QTemporaryDir dir;
};

} // namespace

class tst_importer_runs : public QObject
{
    Q_OBJECT

private slots:
    void hostile_files_lose_only_their_content_values();
    void capture_time_is_the_content_creation_timestamp();
    void importer_dies_with_the_worker();
};

void tst_importer_runs::hostile_files_lose_only_their_content_values()
{
    const InstalledWorker installed;
    QVERIFY(installed.copied);

    TestCase test_case;
    test_case.set_worker(installed.worker());
    const QList<QPair<QString, QByteArray>> files = {
        {"/Docs/alpha.pdf", "%PDF-\nkMDItemTitle=Alpha\nkMDItemAuthors[Ann,Bo]"},
        {"/Docs/hangs.pdf", "%PDF-\nsleep"},
        {"/Docs/beta.pdf", "%PDF-\nkMDItemTitle=Beta"},
        {"/Docs/crashes.pdf", "%PDF-\ncrash"},
        {"/Docs/gamma.pdf", "%PDF-\nchatter\nkMDItemTitle=Gamma"},
        {"/Docs/garbage.pdf", "%PDF-\ngarbage"},
        {"/Docs/memory.pdf", "%PDF-\nmemory"},
        {"/Docs/delta.pdf", "%PDF-\nkMDItemTitle=Delta"},
        {"/Docs/notes.txt", "kMDItemTitle=never asked"},
    };
    Records records;
    for (const auto &[path, content] : files) {
        test_case.add_file(path, content);
        records.append({records.size() + 1, path});
    }
    test_case.create_file_system_db(records);
    const QStringList keys = {"kMDItemFSName", "kMDItemTitle", "kMDItemAuthors"};
    test_case.create_metadata_db(keys);

    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.exit_status, QProcess::NormalExit);
    QCOMPARE(result.exit_code, 0);
    // Nothing the importer printed reaches the host.
    QCOMPARE(result.lines, QStringList());
    QCOMPARE(result.standard_output, QByteArray());

    const QList<QStringList> expected = {
        {"1", "alpha.pdf", "Alpha", "Ann;Bo"}, {"2", "hangs.pdf", "NULL", "NULL"},
        {"3", "beta.pdf", "Beta", "NULL"},     {"4", "crashes.pdf", "NULL", "NULL"},
        {"5", "gamma.pdf", "Gamma", "NULL"},   {"6", "garbage.pdf", "NULL", "NULL"},
        {"7", "memory.pdf", "NULL", "NULL"},   {"8", "delta.pdf", "Delta", "NULL"},
        {"9", "notes.txt", "NULL", "NULL"},
    };
    QCOMPARE(text_rows(test_case.metadata_db(),
                       "select filesystem_record, kMDItemFSName, kMDItemTitle, kMDItemAuthors from files order by 1"),
             expected);
    QCOMPARE(TestCase::count_rows(test_case.database("file_system.sqlite"),
                                  "where fs_module_apple_metadata_run_status = '1'"),
             files.size());
}

void tst_importer_runs::capture_time_is_the_content_creation_timestamp()
{
    const InstalledWorker installed;
    QVERIFY(installed.copied);

    TestCase test_case;
    test_case.set_worker(installed.worker());
    test_case.add_file("/DCIM/IMG_0001.JPG", "\xFF\xD8\xFF\nkMDItemContentCreationDate@1500000000.75");
    test_case.add_file("/DCIM/IMG_0002.JPG", "\xFF\xD8\xFF\ncrash");
    test_case.create_file_system_db({{1, "/DCIM/IMG_0001.JPG"}, {2, "/DCIM/IMG_0002.JPG"}});
    test_case.create_timestamps_db();

    const TestCase::Result result = test_case.run("1");
    QCOMPARE(result.exit_code, 0);
    const QList<QVariantList> rows = TestCase::rows(
        test_case.database("apple_timestamps.sqlite"),
        "select filesystem_record, content_creation_date, content_modification_date from files order by 1");
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[0][1].toString(), QString("1500000000"));
    // The crashed importer's photo keeps its file-system times.
    QVERIFY(!rows[1][2].toString().isEmpty());
}

void tst_importer_runs::importer_dies_with_the_worker()
{
    const InstalledWorker installed;
    QVERIFY(installed.copied);
    TestCase test_case;
    Records records;
    for (int i = 1; i <= 5; ++i) {
        test_case.add_file(QStringLiteral("/hangs%1.pdf").arg(i), "%PDF-\nsleep");
        records.append({i, QStringLiteral("/hangs%1.pdf").arg(i)});
    }
    test_case.create_file_system_db(records);
    const QStringList keys = {"kMDItemTitle"};
    test_case.create_metadata_db(keys);

    // A worker killed outright cannot remove a runtime folder of its own.
    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", runtime.path());
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(installed.worker(), {test_case.source_root(), QString(), test_case.case_dir(),
                                      TestCase::joined(keys), TestCase::joined(keys), test_case.source_name(), "2"});
    QVERIFY(worker.waitForStarted());
    const auto children_of = [](const QString &parent) {
        QFile list(QStringLiteral("/proc/%1/task/%1/children").arg(parent));
        if (!list.open(QIODevice::ReadOnly))
            return QStringList();
        return QString::fromLatin1(list.readAll()).simplified().split(' ', Qt::SkipEmptyParts);
    };
    // The spawner, then the importer it forked, reading a hanging file.
    QStringList importers;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            importers = children_of(QString::number(worker.processId()));
            if (!importers.isEmpty())
                importers += children_of(importers.first());
            return importers.size() >= 2;
        }(),
        10000);
    worker.kill();
    QVERIFY(worker.waitForFinished());
    // Gone, or at most zombies waiting for the process that adopted them.
    const auto gone = [&importers] {
        return std::all_of(importers.begin(), importers.end(), [](const QString &pid) {
            QFile status(QStringLiteral("/proc/%1/stat").arg(pid));
            return !status.open(QIODevice::ReadOnly) || status.readAll().split(')').value(1).trimmed().startsWith('Z');
        });
    };
    QTest::qWaitFor(gone, 5000);
    const bool died = gone();
    if (!died) {
        for (const QString &pid : importers)
            ::kill(pid.toInt(), SIGKILL);
    }
    QVERIFY(died);
}

QTEST_GUILESS_MAIN(tst_importer_runs)
#include "tst_importer_runs.moc"
