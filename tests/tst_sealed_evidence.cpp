// The worker run over a hostile evidence volume, as the host starts it: links, "..",
// pipes and devices never let a value of the examining machine into the case, never
// stall the run, and a run moves no access time and leaves no folder behind in /tmp.

#include "evidence_files.h"
#include "test_case.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/");
const QString store_folder = QStringLiteral("/.Spotlight-V100/Store-V2/B8A60235-5AE9-4A1A-9004-3F40B6FF4C28");

const QStringList keys = {"kMDItemFSName", "kMDItemFSSize", "kMDItemWhereFroms", "kMDItemDateAdded", "kMDItemFSOwnerUserID"};

// What only the outside file and the outside index hold: its unique size,
// its download origin, and the date the fixture index gives LICENSE.
constexpr int outside_size = 31337;
const QString outside_origin = QStringLiteral("https://outside.example/leak");
const QString outside_index_date = QStringLiteral("1687237824");

// Clears path of whatever was there, making the folders on the way; its native name.
QByteArray cleared(const QString &path)
{
    QDir(path).removeRecursively();
    QFile::remove(path);
    QDir().mkpath(QFileInfo(path).path());
    return native(path);
}

// A file with the download origin macOS records for it.
bool write_downloaded(const QString &path, const QByteArray &content, const QString &origin)
{
    const QByteArray origins = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array><string>"
                               + origin.toUtf8() + "</string></array></plist>";
    return write_file(path, content) && ::setxattr(native(path).constData(), "user.com.apple.metadata:kMDItemWhereFroms",
                                                   origins.constData(), size_t(origins.size()), 0) == 0;
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
    struct stat status = {};
    for (const QString &path : paths)
        times.append(::lstat(native(path).constData(), &status) == 0
                         ? status.st_atim.tv_sec * 1000000000LL + status.st_atim.tv_nsec : -1);
    return times;
}

} // namespace

class tst_sealed_evidence : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void hostile_volume_data();
    void hostile_volume();
    void strictatime_volume_keeps_every_access_time_data();
    void strictatime_volume_keeps_every_access_time();
    void killed_worker_leaves_no_runtime_folder();

private:
    QTemporaryDir outside_dir;
    const QString outside = outside_dir.path();
};

void tst_sealed_evidence::initTestCase()
{
    // A file of the examining machine with values no evidence file has (a unique size and a
    // download origin), beside a copy of a fixture index that would answer for /LICENSE.
    QVERIFY(write_downloaded(outside + "/secret.txt", QByteArray(outside_size, 's'), outside_origin));
    QVERIFY(copy_tree(fixtures + "macos-12/.Spotlight-V100", outside + "/.Spotlight-V100"));
}

void tst_sealed_evidence::hostile_volume_data()
{
    QTest::addColumn<QString>("fixture");   // copied as the volume; empty: a bare one
    QTest::addColumn<QStringList>("links"); // "place>target"; a place alone: the same place {outside} ({store}: of the index)
    QTest::addColumn<QString>("replaced");  // made a pipe, or with "device:" an endless device
    QTest::addColumn<QString>("record_path");

    const auto row = [](const char *row, const QString &record_path, const QStringList &links = {},
                        const QString &replaced = QString(), const QString &fixture = QString()) {
        QTest::newRow(row) << fixture << links << replaced << record_path;
    };
    row("absolute link in a middle component to an outside folder", "/Users/x/linkdir/secret.txt",
        {"Users/x/linkdir>{outside}"});
    row("relative link in a middle component climbing out", "/Users/x/updir/secret.txt", {"Users/x/updir>../{outside}"});
    // The case folder, holding a secret too, lies beside the volume; the outside one far away.
    row("dot-dot in a stored path", "/../case/secret.txt");
    row("many dot-dots in a stored path", "/../../../../../../../../../../.." + outside + "/secret.txt");
    row("the item itself a link to an outside file", "/Users/x/secretlink", {"Users/x/secretlink>{outside}/secret.txt"});
    row("linked .Spotlight-V100", "/LICENSE", {".Spotlight-V100"});
    row("linked Store-V2", "/LICENSE", {".Spotlight-V100/Store-V2"});
    row("linked store folder", "/LICENSE", {"{store}"});
    row("linked store files", "/LICENSE", {"{store}/store.db", "{store}/.store.db"});
    row("linked string map", "/LICENSE", {"{store}/dbStr-1.map.data"});

    row("pipe as an item", "/Users/x/pipe", {}, "/Users/x/pipe");
    row("pipe in a middle component", "/Users/pipe/x", {}, "/Users/pipe");
    row("endless device as an item", "/Users/x/zero", {}, "device:/Users/x/zero");
    row("pipe as the attribute source of an indexed file", "/LICENSE", {}, "/LICENSE", "macos-12");
    row("pipe as store.db", "/LICENSE", {}, store_folder + "/store.db", "macos-12");
    row("pipe as .store.db", "/LICENSE", {}, store_folder + "/.store.db", "macos-12");
    row("pipe as a string map", "/LICENSE", {}, store_folder + "/dbStr-1.map.data", "macos-12");
    row("pipe as a string map header", "/LICENSE", {}, store_folder + "/dbStr-2.map.header", "macos-12");
    row("pipe as the store folder list", "/LICENSE", {}, "/.Spotlight-V100/Store-V2", "macos-12");
    row("endless device as store.db", "/LICENSE", {}, "device:" + store_folder + "/store.db", "macos-12");
    row("endless device as a string map", "/LICENSE", {}, "device:" + store_folder + "/dbStr-1.map.data", "macos-12");
}

void tst_sealed_evidence::hostile_volume()
{
    QFETCH(QString, fixture);
    QFETCH(QStringList, links);
    QFETCH(QString, replaced);
    QFETCH(QString, record_path);

    TestCase test_case;
    const QString volume = test_case.source_root();
    QVERIFY(fixture.isEmpty() ? write_file(volume + "/LICENSE", "the volume's own licence")
                              : copy_tree(fixtures + fixture, volume));
    QVERIFY(write_file(volume + "/Users/x/report.txt", "report")
            && write_downloaded(test_case.case_dir() + "secret.txt", QByteArray(outside_size, 's'), outside_origin));
    // Files linked within the index stand beside a copy of the rest of it.
    QVERIFY(!links.value(0).startsWith("{store}/") || copy_tree(outside + store_folder, volume + store_folder));
    for (QString link : links) {
        link.replace("{store}", store_folder.mid(1));
        const QString place = volume + "/" + link.section('>', 0, 0);
        QString target = QString(link.contains('>') ? link.section('>', 1) : "{outside}/" + link).replace("{outside}", outside);
        if (target.startsWith("../")) // the same place, as a path relative to the link's folder
            target = QDir(QFileInfo(place).path()).relativeFilePath(target.mid(3));
        QVERIFY(::symlink(native(target).constData(), cleared(place).constData()) == 0);
    }
    const bool device = replaced.startsWith("device:");
    const QByteArray name = replaced.isEmpty() ? QByteArray() : cleared(volume + replaced.mid(device ? 7 : 0));
    QVERIFY(name.isEmpty() || device || ::mkfifo(name.constData(), 0644) == 0);
    if (device && ::mknod(name.constData(), S_IFCHR | 0644, makedev(1, 5)) != 0)
        QSKIP("this machine refuses to make device nodes");
    test_case.create_file_system_db({{1, record_path}, {2, "/Users/x/report.txt"}});
    test_case.create_metadata_db(keys);
    test_case.create_timestamps_db();

    // A stalled read never lets the worker end: the run's own time limit fails the test.
    for (const QString flag : {"2", "1"}) {
        const TestCase::Result result = test_case.run(flag, QString(), keys, keys);
        QVERIFY2(result.exit_code == 0 && result.exit_status == QProcess::NormalExit, qPrintable("run " + flag + " failed"));
        QCOMPARE(result.lines, QStringList());
    }
    const auto rows = TestCase::rows(test_case.metadata_db(), "select * from files order by filesystem_record");
    QCOMPARE(rows.size(), 2);
    // Nothing of the outside file, nor the outside index's date unless the volume is that index's own.
    for (const QVariantList &row : rows) {
        const QStringList values = QVariant(row).toStringList();
        const QString text = values.join('|');
        QVERIFY2(!values.contains(QString::number(outside_size)) && !text.contains(outside_origin)
                     && (!fixture.isEmpty() || !text.contains(outside_index_date)), qPrintable(text));
    }
    // The volume's own file still reads, so the run did look at the volume; a pipe or device has no size.
    QCOMPARE(rows[1][1].toString(), QStringLiteral("6"));
    QVERIFY(!(fixture.isEmpty() && replaced.endsWith(record_path)) || rows[0][1].isNull());
}

void tst_sealed_evidence::strictatime_volume_keeps_every_access_time_data()
{
    QTest::addColumn<bool>("owner"); // the examiner owns the files, or is another user who may only look
    QTest::addColumn<int>("indexed_rows"); // rows with the index's date: an index is read only without a trace
    QTest::newRow("an examiner who may keep access times reads everything") << true << 1;
    QTest::newRow("another user reads attributes and facts, no content and no index") << false << 0;
}

void tst_sealed_evidence::strictatime_volume_keeps_every_access_time()
{
    QFETCH(bool, owner);
    QFETCH(int, indexed_rows);
    QTemporaryDir mount_point;
    const QByteArray target = native(mount_point.path());
    if (::mount("tmpfs", target.constData(), "tmpfs", MS_STRICTATIME, "size=64m") != 0)
        QSKIP("this machine does not let the test mount a file system");
    const auto unmount = qScopeGuard([&target] { ::umount2(target.constData(), MNT_DETACH); });

    // Both fixture volumes, and a file with macOS attributes in folders.
    const QString volume = mount_point.filePath("volume"), download = volume + "/Users/x/Downloads/a.pdf";
    QVERIFY(copy_tree(fixtures + "macos-12", volume) && copy_tree(fixtures + "macos-10.13", volume + "/older"));
    QVERIFY(write_downloaded(download, "%PDF", "https://example.org/a"));

    // Every access time set well in the past, so any read would move it.
    const struct timespec past[2] = {{1000000000, 0}, {0, UTIME_OMIT}};
    const QStringList all = entries_beneath(volume);
    QList<QPair<QVariant, QVariant>> records; // the root's own record has no path
    for (const QString &path : all) {
        records.append({records.size() + 1, path == volume ? QVariant(QString()) : QVariant(path.mid(volume.size()))});
        QCOMPARE(::utimensat(AT_FDCWD, native(path).constData(), past, AT_SYMLINK_NOFOLLOW), 0);
    }
    const QList<qint64> before = access_times(all);
    // The mount must really move access times, or the test proves nothing.
    QFile probe(mount_point.filePath("probe"));
    QVERIFY(write_file(probe.fileName(), "x") && ::utimensat(AT_FDCWD, native(probe.fileName()).constData(), past, 0) == 0);
    QVERIFY(probe.open(QIODevice::ReadOnly) && probe.readAll() == "x");
    if (access_times({probe.fileName()}).first() == 1000000000LL * 1000000000)
        QSKIP("the test mount does not record access times");

    TestCase test_case;
    test_case.set_source_root(volume);
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);
    test_case.create_timestamps_db();
    QTemporaryDir wrapper_dir;
    if (!owner) {
        // The worker started as an unprivileged user, who may write the case but owns no evidence.
        const QString wrapper = wrapper_dir.filePath("as-another-user");
        QVERIFY(write_file(wrapper, "#!/bin/sh\nexec setpriv --reuid=65534 --regid=65534 --clear-groups "
                                    VANTREL_EXECUTABLE " \"$@\"\n"));
        QVERIFY(QFile::setPermissions(wrapper, QFile::ReadOwner | QFile::ExeOwner));
        const QString case_root = QDir::cleanPath(test_case.case_dir() + "/..");
        QVERIFY(QFile::setPermissions(case_root, QFile::permissions(case_root) | QFile::ExeOther | QFile::ReadOther));
        QDirIterator case_files(case_root, QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (case_files.hasNext())
            QCOMPARE(::chown(native(case_files.next()).constData(), 65534, 65534), 0);
        if (::getuid() != 0 || QProcess::execute("setpriv", {"--reuid=65534", "--regid=65534", "--clear-groups",
                                                              "test", "-x", VANTREL_EXECUTABLE}) != 0)
            QSKIP("the test can't start the worker as another user here");
        test_case.set_worker(wrapper);
    }
    for (const QString flag : {"2", "1"})
        QCOMPARE(test_case.run(flag, QString(), keys, keys).exit_code, 0);
    QCOMPARE(TestCase::count_rows(test_case.metadata_db()), records.size());
    // The attributes were read (they move no access time): the origin reached the case.
    QCOMPARE(TestCase::count_rows(test_case.metadata_db(), "where kMDItemWhereFroms = 'https://example.org/a'"), 1);
    QCOMPARE(TestCase::count_rows(test_case.metadata_db(), "where kMDItemDateAdded = '" + outside_index_date + "'"),
             indexed_rows);

    QCOMPARE(access_times(all), before); // a difference names the entry's index in all
    QCOMPARE(entries_beneath(volume), all); // and nothing written beneath the root
}

void tst_sealed_evidence::killed_worker_leaves_no_runtime_folder()
{
    TestCase test_case;
    QList<QPair<QVariant, QVariant>> records;
    // Enough records that the run is still going when it is killed.
    for (int i = 1; i <= 3000; ++i)
        records.append({i, QString("/f%1").arg(i)});
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);

    // The worker sees a /tmp of its own, so that other workers can't blur what it leaves
    // there: the test's folder, mounted over /tmp, with the case in it at its usual path.
    const QString case_root = QDir::cleanPath(test_case.case_dir() + "/.."), private_tmp = case_root + "/private-tmp";
    const QString mount_then_run = QStringLiteral(
        "mkdir -p \"$0/private-tmp/$1\" && mount --bind \"$0\" \"$0/private-tmp/$1\" && "
        "mount --rbind \"$0/private-tmp\" /tmp && shift && exec \"$@\"");
    qunsetenv("XDG_RUNTIME_DIR"); // as on a headless host
    QProcess worker;
    const QStringList arguments = {"--mount", "sh", "-c", mount_then_run, case_root, QFileInfo(case_root).fileName(),
                                   VANTREL_EXECUTABLE, test_case.source_root(), QString(), test_case.case_dir(),
                                   TestCase::joined(keys), TestCase::joined(keys), test_case.source_name()};
    const auto left_in_tmp = [&] {
        return QDir(private_tmp).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };

    // The first worker of a user makes the shared folder (a run kind that starts nothing still comes up).
    worker.start("unshare", arguments + QStringList{"9"});
    if (!worker.waitForFinished(20000) || worker.exitCode() != 0)
        QSKIP("this machine does not let the test give the worker a /tmp of its own");
    const QStringList before = left_in_tmp();
    QVERIFY(before.contains("vantrel-runtime-" + QString::number(::getuid())));

    // Killed once it holds the results open: well past its start, inside its run. Its open
    // files are watched rather than the results read, which the run keeps locked.
    worker.start("unshare", arguments + QStringList{"2"});
    QVERIFY(worker.waitForStarted());
    const QDir descriptors(QString("/proc/%1/fd").arg(worker.processId()));
    const auto results_open = [&descriptors] {
        const QFileInfoList open = descriptors.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        return std::any_of(open.begin(), open.end(),
                           [](const QFileInfo &fd) { return fd.symLinkTarget().endsWith("apple_metadata.sqlite"); });
    };
    QTRY_VERIFY_WITH_TIMEOUT(results_open(), 20000);
    worker.kill(); // SIGKILL: no destructor runs
    worker.waitForFinished();
    QCOMPARE(worker.exitStatus(), QProcess::CrashExit);
    QCOMPARE(left_in_tmp(), before);
}

QTEST_GUILESS_MAIN(tst_sealed_evidence)
#include "tst_sealed_evidence.moc"
