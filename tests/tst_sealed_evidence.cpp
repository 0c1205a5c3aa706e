// The worker run over a hostile evidence volume, as the host starts it:
// links, "..", pipes and devices never let a value of the examining
// machine into the case, never stall the run, and a run moves no access
// time of the evidence and leaves no folder behind in /tmp.

#include "evidence_files.h"
#include "test_case.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QtTest>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/");
const QString store_uuid = QStringLiteral("B8A60235-5AE9-4A1A-9004-3F40B6FF4C28");
const QString store_folder = QStringLiteral("/.Spotlight-V100/Store-V2/") + store_uuid;

const QStringList keys = {"kMDItemFSName", "kMDItemFSSize", "kMDItemWhereFroms", "kMDItemDateAdded",
                          "kMDItemFSOwnerUserID"};

// What only the outside file and the outside index hold: its unique size,
// its download origin, and the date the fixture index gives LICENSE.
constexpr int outside_size = 31337;
const QString outside_origin = QStringLiteral("https://outside.example/leak");
const QString outside_index_date = QStringLiteral("1687237824");

bool link_to(const QString &target, const QString &link)
{
    QFile::remove(link);
    QDir().rmdir(link);
    QDir(link).removeRecursively();
    return ::symlink(native(target).constData(), native(link).constData()) == 0;
}

// Puts a pipe, or an endless device, where path was.
bool replace_with(const QString &path, bool device)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile::remove(path);
    const QByteArray name = native(path);
    return device ? ::mknod(name.constData(), S_IFCHR | 0644, makedev(1, 5)) == 0
                  : ::mkfifo(name.constData(), 0644) == 0;
}

// The download origin macOS records for a file.
bool set_origin(const QString &path, const QString &origin)
{
    const QByteArray origins = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array><string>"
        + origin.toUtf8() + "</string></array></plist>";
    return ::setxattr(native(path).constData(), "user.com.apple.metadata:kMDItemWhereFroms", origins.constData(),
                      size_t(origins.size()), 0) == 0;
}

// A file of the examining machine with values no evidence file has: a
// unique size and a download origin.
void make_secret(const QString &path)
{
    QFile secret(path);
    QVERIFY(secret.open(QIODevice::WriteOnly));
    secret.write(QByteArray(outside_size, 's'));
    secret.close();
    QVERIFY(set_origin(path, outside_origin));
}

// Starts the worker as the host does and gives it 20 s, far more than
// these few records need, so that a stalled read fails the test.
TestCase::Result run_bounded(const TestCase &test_case, const QString &flag)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("XDG_RUNTIME_DIR");
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(QStringLiteral(VANTREL_EXECUTABLE),
                 {test_case.source_root(), QString(), test_case.case_dir(), TestCase::joined(keys),
                  TestCase::joined(keys), test_case.source_name(), flag});
    TestCase::Result result;
    if (!worker.waitForFinished(20000)) {
        worker.kill();
        worker.waitForFinished();
        return result;
    }
    result.exit_code = worker.exitCode();
    result.exit_status = worker.exitStatus();
    result.lines = QString::fromUtf8(worker.readAllStandardError()).split('\n', Qt::SkipEmptyParts);
    return result;
}

// Every entry beneath root, found by listing it (which moves the folders'
// access times: done once, before the times are set).
QStringList entries_beneath(const QString &root)
{
    QDirIterator entries(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
                         QDirIterator::Subdirectories);
    QStringList paths = {root};
    while (entries.hasNext())
        paths.append(entries.next());
    paths.sort();
    return paths;
}

// The access times of the given entries, looked at without reading them.
QList<qint64> access_times(const QStringList &paths)
{
    QList<qint64> times;
    for (const QString &path : paths) {
        struct stat status = {};
        ::lstat(native(path).constData(), &status);
        times.append(qint64(status.st_atim.tv_sec) * 1000000000 + status.st_atim.tv_nsec);
    }
    return times;
}

// Unmounts the test's file system however the test ends.
struct MountGuard
{
    QByteArray target;
    ~MountGuard()
    {
        if (!target.isEmpty())
            ::umount2(target.constData(), MNT_DETACH);
    }
};

} // namespace

class tst_sealed_evidence : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void hostile_volume_leaks_nothing_data();
    void hostile_volume_leaks_nothing();
    void nothing_blocks_the_run_data();
    void nothing_blocks_the_run();
    void strictatime_volume_keeps_every_access_time();
    void killed_worker_leaves_no_runtime_folder();

private:
    QTemporaryDir outside_dir;
    QString outside;
};

void tst_sealed_evidence::initTestCase()
{
    // The outside secret, beside a copy of a fixture index that would
    // answer for /LICENSE.
    outside = outside_dir.filePath("outside");
    QVERIFY(QDir().mkpath(outside));
    make_secret(outside + "/secret.txt");
    QVERIFY(copy_tree(fixtures + "macos-12/.Spotlight-V100", outside + "/.Spotlight-V100"));
}

void tst_sealed_evidence::hostile_volume_leaks_nothing_data()
{
    QTest::addColumn<QString>("attack");
    QTest::addColumn<QString>("record_path");

    QTest::newRow("absolute link in a middle component to an outside folder")
        << "Users/x/linkdir -> outside" << "/Users/x/linkdir/secret.txt";
    QTest::newRow("relative link in a middle component climbing out")
        << "Users/x/updir -> ../../../../outside" << "/Users/x/updir/secret.txt";
    // The case folder lies beside the volume; the outside one far away.
    QTest::newRow("dot-dot in a stored path") << "secret beside the volume" << "/../case/secret.txt";
    QTest::newRow("many dot-dots in a stored path")
        << "" << "/../../../../../../../../../../.." + outside_dir.path() + "/outside/secret.txt";
    QTest::newRow("the item itself a link to an outside file")
        << "Users/x/secretlink -> outside/secret.txt" << "/Users/x/secretlink";
    QTest::newRow("linked .Spotlight-V100") << ".Spotlight-V100 -> outside index" << "/LICENSE";
    QTest::newRow("linked Store-V2") << "Store-V2 -> outside index" << "/LICENSE";
    QTest::newRow("linked store folder") << "store folder -> outside index" << "/LICENSE";
    QTest::newRow("linked store files") << "store files -> outside index" << "/LICENSE";
    QTest::newRow("linked string map") << "string map -> outside index" << "/LICENSE";
}

void tst_sealed_evidence::hostile_volume_leaks_nothing()
{
    QFETCH(QString, attack);
    QFETCH(QString, record_path);

    TestCase test_case;
    const QString volume = test_case.source_root();
    test_case.add_file("/LICENSE", "the volume's own licence");
    test_case.add_file("/Users/x/report.txt", "report");
    const QString outside_store = outside + "/.Spotlight-V100/Store-V2/" + store_uuid;
    if (attack == "secret beside the volume")
        make_secret(test_case.case_dir() + "secret.txt");
    else if (attack == "Users/x/linkdir -> outside")
        QVERIFY(link_to(outside, volume + "/Users/x/linkdir"));
    else if (attack == "Users/x/updir -> ../../../../outside")
        QVERIFY(link_to(QDir(volume + "/Users/x").relativeFilePath(outside), volume + "/Users/x/updir"));
    else if (attack == "Users/x/secretlink -> outside/secret.txt")
        QVERIFY(link_to(outside + "/secret.txt", volume + "/Users/x/secretlink"));
    else if (attack == ".Spotlight-V100 -> outside index")
        QVERIFY(link_to(outside + "/.Spotlight-V100", volume + "/.Spotlight-V100"));
    else if (attack == "Store-V2 -> outside index")
        QVERIFY(QDir().mkpath(volume + "/.Spotlight-V100")
                && link_to(outside + "/.Spotlight-V100/Store-V2", volume + "/.Spotlight-V100/Store-V2"));
    else if (attack == "store folder -> outside index")
        QVERIFY(QDir().mkpath(volume + "/.Spotlight-V100/Store-V2")
                && link_to(outside_store, volume + store_folder));
    else if (attack == "store files -> outside index" || attack == "string map -> outside index") {
        QVERIFY(copy_tree(outside_store, volume + store_folder));
        const QStringList linked = attack.startsWith("store files") ? QStringList{"store.db", ".store.db"}
                                                                    : QStringList{"dbStr-1.map.data"};
        for (const QString &name : linked)
            QVERIFY(link_to(outside_store + "/" + name, volume + store_folder + "/" + name));
    }
    test_case.create_file_system_db({{1, record_path}, {2, "/Users/x/report.txt"}});
    test_case.create_metadata_db(keys);

    const TestCase::Result result = run_bounded(test_case, "2");
    QCOMPARE(result.exit_status, QProcess::NormalExit);
    QCOMPARE(result.lines, QStringList());
    const auto rows = TestCase::rows(test_case.database("apple_metadata.sqlite"),
                                     "select * from files order by filesystem_record");
    QCOMPARE(rows.size(), 2);
    for (const QVariantList &row : rows) {
        for (const QVariant &value : row) {
            const QString text = value.toString();
            QVERIFY2(text != QString::number(outside_size) && !text.contains(outside_origin)
                         && !text.contains(outside_index_date),
                     qPrintable(text));
        }
    }
    // The volume's own file still reads, so the run did look at the volume.
    QCOMPARE(rows[1][1].toString(), QStringLiteral("6"));
}

void tst_sealed_evidence::nothing_blocks_the_run_data()
{
    QTest::addColumn<QString>("volume_fixture"); // copied as the volume; empty: a bare volume
    QTest::addColumn<QString>("replaced");       // the path made a pipe or a device
    QTest::addColumn<bool>("device");
    QTest::addColumn<QString>("record_path");

    QTest::newRow("pipe as an item") << QString() << "/Users/x/pipe" << false << "/Users/x/pipe";
    QTest::newRow("pipe as the attribute source of an indexed file")
        << "macos-12" << "/LICENSE" << false << "/LICENSE";
    QTest::newRow("pipe in a middle component") << QString() << "/Users/pipe" << false << "/Users/pipe/x";
    QTest::newRow("pipe as store.db") << "macos-12" << store_folder + "/store.db" << false << "/LICENSE";
    QTest::newRow("pipe as .store.db") << "macos-12" << store_folder + "/.store.db" << false << "/LICENSE";
    QTest::newRow("pipe as a string map") << "macos-12" << store_folder + "/dbStr-1.map.data" << false
                                          << "/LICENSE";
    QTest::newRow("pipe as a string map header")
        << "macos-12" << store_folder + "/dbStr-2.map.header" << false << "/LICENSE";
    QTest::newRow("pipe as the store folder list") << "macos-12" << "/.Spotlight-V100/Store-V2" << false
                                                   << "/LICENSE";
    QTest::newRow("endless device as an item") << QString() << "/Users/x/zero" << true << "/Users/x/zero";
    QTest::newRow("endless device as store.db") << "macos-12" << store_folder + "/store.db" << true
                                                << "/LICENSE";
    QTest::newRow("endless device as a string map")
        << "macos-12" << store_folder + "/dbStr-1.map.data" << true << "/LICENSE";
}

void tst_sealed_evidence::nothing_blocks_the_run()
{
    QFETCH(QString, volume_fixture);
    QFETCH(QString, replaced);
    QFETCH(bool, device);
    QFETCH(QString, record_path);

    TestCase test_case;
    const QString volume = test_case.source_root();
    if (!volume_fixture.isEmpty())
        QVERIFY(copy_tree(fixtures + volume_fixture, volume));
    QDir(volume + replaced).removeRecursively();
    if (!replace_with(volume + replaced, device)) {
        QVERIFY(!device);
        QSKIP("this machine refuses to make device nodes");
    }
    test_case.create_file_system_db({{1, record_path}});
    test_case.create_metadata_db(keys);

    for (const QString flag : {"2", "1"}) {
        if (flag == "1")
            test_case.create_timestamps_db();
        const TestCase::Result result = run_bounded(test_case, flag);
        QVERIFY2(result.exit_code == 0 && result.exit_status == QProcess::NormalExit,
                 qPrintable(QString("run %1 did not end in time or failed").arg(flag)));
        QCOMPARE(result.lines, QStringList());
    }
    const auto rows = TestCase::rows(test_case.database("apple_metadata.sqlite"),
                                     "select kMDItemFSName, kMDItemFSSize from files");
    QCOMPARE(rows.size(), 1);
    // The item is looked at as what it is: no content, hence no size.
    if (volume_fixture.isEmpty() && replaced == record_path)
        QVERIFY(rows[0][1].isNull());
}

void tst_sealed_evidence::strictatime_volume_keeps_every_access_time()
{
    QTemporaryDir mount_point;
    MountGuard guard;
    if (::mount("tmpfs", native(mount_point.path()).constData(), "tmpfs", MS_STRICTATIME, "size=64m") != 0)
        QSKIP("this machine does not let the test mount a file system");
    guard.target = native(mount_point.path());

    // Both fixture volumes, and files with macOS attributes in folders.
    const QString volume = mount_point.filePath("volume");
    QVERIFY(copy_tree(fixtures + "macos-12", volume));
    QVERIFY(copy_tree(fixtures + "macos-10.13", volume + "/older"));
    QVERIFY(QDir().mkpath(volume + "/Users/x/Downloads"));
    QFile download(volume + "/Users/x/Downloads/a.pdf");
    QVERIFY(download.open(QIODevice::WriteOnly));
    download.write("%PDF");
    download.close();
    QVERIFY(set_origin(download.fileName(), "https://example.org/a"));

    // Every access time set well in the past, so any read would move it.
    const struct timespec past[2] = {{1000000000, 0}, {0, UTIME_OMIT}};
    const QStringList all = entries_beneath(volume);
    QList<QPair<QVariant, QVariant>> records; // the root's own record has no path
    for (const QString &path : all) {
        records.append({records.size() + 1, path == volume ? QVariant(QString()) : QVariant(path.mid(volume.size()))});
        QCOMPARE(::utimensat(AT_FDCWD, native(path).constData(), past, AT_SYMLINK_NOFOLLOW), 0);
    }
    const QList<qint64> before = access_times(all);
    {
        // The mount must really move access times, or the test proves nothing.
        QFile probe(mount_point.filePath("probe"));
        QVERIFY(probe.open(QIODevice::WriteOnly));
        probe.write("x");
        probe.close();
        ::utimensat(AT_FDCWD, native(probe.fileName()).constData(), past, 0);
        QVERIFY(probe.open(QIODevice::ReadOnly));
        probe.readAll();
        struct stat status = {};
        ::stat(native(probe.fileName()).constData(), &status);
        if (status.st_atim.tv_sec == 1000000000)
            QSKIP("the test mount does not record access times");
    }

    TestCase test_case;
    test_case.set_source_root(volume);
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);
    test_case.create_timestamps_db();
    for (const QString flag : {"2", "1"})
        QCOMPARE(run_bounded(test_case, flag).exit_code, 0);
    QCOMPARE(TestCase::count_rows(test_case.database("apple_metadata.sqlite")), records.size());
    // The attributes and the index were read: the origin and the indexed date reached the case.
    QCOMPARE(TestCase::count_rows(test_case.database("apple_metadata.sqlite"),
                                  "where kMDItemWhereFroms = 'https://example.org/a'"),
             1);
    QCOMPARE(TestCase::count_rows(test_case.database("apple_metadata.sqlite"),
                                  "where kMDItemDateAdded = '" + outside_index_date + "'"),
             1);

    const QList<qint64> after = access_times(all);
    for (int i = 0; i < all.size(); ++i)
        QVERIFY2(after[i] == before[i], qPrintable(all[i]));
    QCOMPARE(entries_beneath(volume), all); // and nothing written beneath the root
}

void tst_sealed_evidence::killed_worker_leaves_no_runtime_folder()
{
    TestCase test_case;
    QList<QPair<QVariant, QVariant>> records;
    // Enough records that the run is still going when it is killed, even
    // where the result database sits on a fast disk.
    for (int i = 1; i <= 3000; ++i)
        records.append({i, QString("/f%1").arg(i)});
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);
    const QString metadata = test_case.database("apple_metadata.sqlite");
    QVERIFY(TestCase::exec(metadata, {"insert into files (filesystem_record) values (0)"}));

    // The worker sees a /tmp of its own, so that other workers on this
    // machine can't blur what it leaves there: the test's folder, mounted
    // over /tmp, with the case in it at its usual path.
    const QString case_root = QDir::cleanPath(test_case.case_dir() + "/..");
    const QString private_tmp = case_root + "/private-tmp";
    QVERIFY(QDir().mkpath(private_tmp));
    const QString mount_then_run = QStringLiteral(
        "mkdir -p \"$0/private-tmp/$1\" && mount --bind \"$0\" \"$0/private-tmp/$1\" && "
        "mount --rbind \"$0/private-tmp\" /tmp && shift && exec \"$@\"");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("XDG_RUNTIME_DIR");
    QProcess worker;
    worker.setProcessEnvironment(environment);
    const auto start = [&](const QString &flag) {
        worker.start("unshare", {"--mount", "sh", "-c", mount_then_run, case_root,
                                 QFileInfo(case_root).fileName(), QStringLiteral(VANTREL_EXECUTABLE),
                                 test_case.source_root(), QString(), test_case.case_dir(), TestCase::joined(keys),
                                 TestCase::joined(keys), test_case.source_name(), flag});
    };
    const auto left_in_tmp = [&] {
        return QDir(private_tmp).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };

    // The first worker of this user makes the shared folder (a run kind
    // that starts nothing still comes up); none after it.
    start("9");
    if (!worker.waitForFinished(20000) || worker.exitCode() != 0)
        QSKIP("this machine does not let the test give the worker a /tmp of its own");
    const QStringList before = left_in_tmp();
    QVERIFY(before.contains("vantrel-runtime-" + QString::number(::getuid())));

    start("2");
    // Killed once it has emptied the results: well past its start, inside its run.
    QElapsedTimer timer;
    timer.start();
    while (TestCase::count_rows(metadata, "where filesystem_record = 0") != 0 && timer.elapsed() < 20000)
        QTest::qWait(10);
    QCOMPARE(worker.state(), QProcess::Running);
    worker.kill(); // SIGKILL: no destructor runs
    worker.waitForFinished();
    QCOMPARE(worker.exitStatus(), QProcess::CrashExit);
    QCOMPARE(left_in_tmp(), before);
}

QTEST_GUILESS_MAIN(tst_sealed_evidence)
#include "tst_sealed_evidence.moc"
