// The worker as the host starts it, with the test importer installed beside
// it: files whose importer hangs, crashes, lies or runs out of memory keep
// their rows without content values, and every other row is whole.

#include "text_rows.h"

#include <QtTest>

#include <signal.h>

#include <algorithm>

namespace {

// A case examined by a copy of the worker that finds the test importer beside it.
struct InstalledCase : TestCase
{
    InstalledCase()
    {
        QVERIFY(QFile::copy(VANTREL_EXECUTABLE, worker()) && QFile::copy(VANTREL_TEST_IMPORTER, dir.filePath("vantrel-importer")));
        set_worker(worker());
    }
    QString worker() const { return dir.filePath("vantrel"); }
    QTemporaryDir dir;
};

} // namespace

class tst_importer_runs : public QObject
{
    Q_OBJECT

private slots:
    void hostile_files_lose_only_their_content_values();
    void importer_dies_with_the_worker();
    void importer_found_on_a_host_without_proc();
};

void tst_importer_runs::hostile_files_lose_only_their_content_values()
{
    // Each file's scripted content, then its title and authors as stored.
    const char *files[][4] = {
        {"alpha.pdf", "kMDItemTitle=Alpha\nkMDItemAuthors[Ann,Bo]", "Alpha", "Ann;Bo"}, {"hangs.pdf", "sleep", "NULL", "NULL"},
        {"beta.pdf", "kMDItemTitle=Beta", "Beta", "NULL"}, {"crashes.pdf", "crash", "NULL", "NULL"},
        {"gamma.pdf", "chatter\nkMDItemTitle=Gamma", "Gamma", "NULL"}, {"garbage.pdf", "garbage", "NULL", "NULL"},
        {"memory.pdf", "memory", "NULL", "NULL"}, {"delta.pdf", "kMDItemTitle=Delta", "Delta", "NULL"},
        {"notes.txt", "kMDItemTitle=never asked", "NULL", "NULL"}, {"IMG_0001.JPG", "crash", "NULL", "NULL"},
        {"IMG_0002.JPG", "kMDItemContentCreationDate@1500000000.75", "NULL", "NULL"},
    };
    InstalledCase test_case;
    QList<QPair<QVariant, QVariant>> records;
    QList<QStringList> expected;
    for (const auto &[name, content, title, authors] : files) {
        // The worker hands over only files that begin with their format's signature.
        const QByteArray signature = QByteArray(name).endsWith(".pdf") ? "%PDF-\n"
            : QByteArray(name).endsWith(".JPG")                       ? "\xFF\xD8\xFF\n"
                                                                      : "";
        test_case.add_file(QStringLiteral("/Docs/") + name, signature + content);
        records.append({records.size() + 1, QStringLiteral("/Docs/") + name});
        expected.append({QString::number(records.size()), name, title, authors});
    }
    test_case.create_file_system_db(records);
    const QStringList keys = {"kMDItemFSName", "kMDItemTitle", "kMDItemAuthors"};
    test_case.create_metadata_db(keys);
    test_case.create_timestamps_db();

    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.exit_code, 0);
    // Nothing the importer printed reaches the host.
    QCOMPARE(result.lines, QStringList());
    QCOMPARE(result.standard_output, QByteArray());
    QCOMPARE(text_rows(test_case.metadata_db(), "select filesystem_record, kMDItemFSName, kMDItemTitle, kMDItemAuthors"
                                                " from files order by 1"), expected);
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(), "where fs_module_apple_metadata_run_status = '1'"), 11);
    // A photo's capture time is its content creation timestamp; the crashed importer's photo keeps its file's times.
    QCOMPARE(test_case.run("1").exit_code, 0);
    const QList<QStringList> photos = text_rows(test_case.timestamps_db(), "select content_modification_date,"
        " content_creation_date from files where filesystem_record > 9 order by filesystem_record");
    QVERIFY(!QStringList({"NULL", ""}).contains(photos.value(0).value(0)));
    QCOMPARE(photos.value(1).value(1), QString("1500000000"));
}

void tst_importer_runs::importer_dies_with_the_worker()
{
    InstalledCase test_case;
    test_case.add_file("/hangs.pdf", "%PDF-\nsleep");
    test_case.create_file_system_db({{1, "/hangs.pdf"}});
    test_case.create_metadata_db({"kMDItemTitle"});
    const QString keys = TestCase::joined({"kMDItemTitle"});

    // A worker killed outright cannot remove a runtime folder of its own.
    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", runtime.path());
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(test_case.worker(),
                 {test_case.source_root(), QString(), test_case.case_dir(), keys, keys, test_case.source_name(), "2"});
    QVERIFY(worker.waitForStarted());
    const auto children_of = [](const QString &parent) {
        QFile list(QStringLiteral("/proc/%1/task/%1/children").arg(parent));
        return list.open(QIODevice::ReadOnly) ? QString::fromLatin1(list.readAll()).split(' ', Qt::SkipEmptyParts)
                                              : QStringList();
    };
    // The spawner, then the importer it forked, reading the hanging file.
    QStringList importers;
    QVERIFY(QTest::qWaitFor([&] {
        importers = children_of(QString::number(worker.processId()));
        if (!importers.isEmpty())
            importers += children_of(importers.first().trimmed());
        return importers.size() >= 2;
    }, 10000));
    worker.kill();
    QVERIFY(worker.waitForFinished());
    // Gone, or at most zombies waiting for the process that adopted them.
    const auto gone = [&importers] {
        return std::all_of(importers.begin(), importers.end(), [](const QString &pid) {
            QFile status(QStringLiteral("/proc/%1/stat").arg(pid.trimmed()));
            return !status.open(QIODevice::ReadOnly) || status.readAll().split(')').value(1).trimmed().startsWith('Z');
        });
    };
    const bool died = QTest::qWaitFor(gone, 5000);
    if (!died) {
        for (const QString &pid : importers)
            ::kill(pid.trimmed().toInt(), SIGKILL);
    }
    QVERIFY(died);
}

void tst_importer_runs::importer_found_on_a_host_without_proc()
{
    if (::geteuid() != 0 || QStandardPaths::findExecutable("unshare").isEmpty())
        QSKIP("hiding /proc from the worker needs root and unshare");
    InstalledCase test_case;
    // The worker in a mount namespace of its own, where /proc is an empty
    // folder: it must still find the test importer beside itself (no
    // importer of the build or the installation reads these scripts).
    QFile without_proc(test_case.dir.filePath("without-proc"));
    QVERIFY(without_proc.open(QIODevice::WriteOnly));
    without_proc.write("#!/bin/sh\n"
                       "exec unshare --mount --propagation private /bin/sh -c '"
                       "mount -t tmpfs none /proc && [ ! -e /proc/self ] || exit 3; exec \"$0\" \"$@\"' "
                       "\"$(dirname \"$0\")/vantrel\" \"$@\"\n");
    without_proc.close();
    QVERIFY(without_proc.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    test_case.set_worker(without_proc.fileName());

    test_case.add_file("/alpha.pdf", "%PDF-\nkMDItemTitle=Alpha");
    test_case.create_file_system_db({{1, "/alpha.pdf"}});
    const QStringList keys = {"kMDItemTitle"};
    test_case.create_metadata_db(keys);
    QCOMPARE(test_case.run("2", QString(), keys, keys).exit_code, 0);
    QCOMPARE(text_rows(test_case.metadata_db(), "select kMDItemTitle from files"), QList<QStringList>{{"Alpha"}});
}

QTEST_GUILESS_MAIN(tst_importer_runs)
#include "tst_importer_runs.moc"
