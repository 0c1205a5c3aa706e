// A folder of the examining machine as the evidence volume, tried with real
// links, pipes and escapes, through both ways of resolving beneath its root.

#include "evidence/host_folder_volume.h"
#include "evidence_files.h"

#include <QtTest>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <thread>

using Links = EvidenceVolume::Links;
Q_DECLARE_METATYPE(EvidenceVolume::Links)

namespace {

// A path beneath the volume longer than the system's limit for one lookup.
QByteArray long_relative()
{
    QByteArray path = "long";
    while (path.size() < PATH_MAX + 100)
        path += '/' + QByteArray(200, 'd');
    return path + "/deep.txt";
}

// Makes relative beneath folder one component at a time, as no single
// call takes a path that long; its last component a file holding content.
bool write_long(const QString &folder, const QByteArray &relative, const QByteArray &content)
{
    UniqueFd at(::open(native(folder).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const QList<QByteArray> parts = relative.split('/');
    for (qsizetype i = 0; at && i + 1 < parts.size(); ++i) {
        ::mkdirat(at.get(), parts[i].constData(), 0755);
        at.reset(::openat(at.get(), parts[i].constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    const UniqueFd file(at ? ::openat(at.get(), parts.last().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644) : -1);
    return file && ::write(file.get(), content.constData(), size_t(content.size())) == content.size();
}

// The kernel calls that fail for the volume under test ('+' between them),
// and how: "openat2" (EAGAIN spares its probe of the root), "open /proc",
// "open_by_handle_at", "O_NOATIME" (with " on a read-only mount", fstatfs
// reports one), "statx", "pread", "getdents64", "fgetxattr".
QString failing_call;
int failure = 0;

bool fails(const char *call)
{
    const QStringList calls = failing_call.split('+');
    if (std::none_of(calls.begin(), calls.end(), [call](const QString &failing) { return failing.startsWith(QLatin1String(call)); }))
        return false;
    errno = failure;
    return true;
}

HostSystemCalls faulty_calls()
{
    const HostSystemCalls &kernel = kernel_system_calls();
    HostSystemCalls calls = kernel;
    calls.openat2 = [](int folder, const char *path, open_how *how, std::size_t size) -> long {
        if ((failure != EAGAIN || std::strcmp(path, ".") != 0) && fails("openat2"))
            return -1;
        return kernel_system_calls().openat2(folder, path, how, size);
    };
    calls.open = [](const char *path, int flags) -> int {
        if ((QByteArray(path).startsWith("/proc/") && fails("open /proc")) || ((flags & O_NOATIME) && fails("O_NOATIME")))
            return -1;
        return kernel_system_calls().open(path, flags);
    };
    calls.openat = [](int folder, const char *path, int flags) -> int {
        if ((flags & O_NOATIME) && fails("O_NOATIME"))
            return -1;
        return kernel_system_calls().openat(folder, path, flags);
    };
    // The rest fail whole, with the table's error.
    calls.open_by_handle_at = [](auto... call) {
        return fails("open_by_handle_at") ? -1 : kernel_system_calls().open_by_handle_at(call...);
    };
    calls.statx = [](auto... call) { return fails("statx") ? -1 : kernel_system_calls().statx(call...); };
    calls.fstatfs = [](int fd, struct statfs *status) -> int {
        const int got = kernel_system_calls().fstatfs(fd, status);
        if (got == 0 && failing_call.endsWith(QLatin1String("on a read-only mount")))
            status->f_flags |= ST_RDONLY;
        return got;
    };
    calls.pread = [](auto... call) { return fails("pread") ? -1 : kernel_system_calls().pread(call...); };
    calls.getdents64 = [](auto... call) { return fails("getdents64") ? -1 : kernel_system_calls().getdents64(call...); };
    calls.fgetxattr = [](auto... call) { return fails("fgetxattr") ? -1 : kernel_system_calls().fgetxattr(call...); };
    return calls;
}

// What a volume gives of the object at relative, as the fault table puts it.
QByteArray described(const EvidenceVolume &volume, const QByteArray &relative)
{
    const std::unique_ptr<EvidenceObject> object = volume.open(relative);
    if (!object)
        return "nothing";
    const FileFacts &facts = object->facts();
    QByteArray text = facts.is_directory ? "folder" : QByteArray::number(qulonglong(facts.size.value_or(0))) + " bytes";
    if (facts.is_directory) {
        const auto names = object->entries(10);
        text += names ? "; " + QByteArray::number(names->size()) + " entries" : "; unlisted";
    } else {
        text += "; read: " + object->read_at(0, 100);
    }
    return text + "; attribute: " + object->attribute("user.origin").value_or("none");
}

} // namespace

class tst_host_folder_volume : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    // The long path is deeper than one call can remove.
    void cleanupTestCase() { QProcess::execute("rm", {"-rf", dir.path()}); }
    void cleanup() { HostFolderVolume::force_component_walk(false); }
    void access_data();
    void access();
    void failing_kernel_calls_data();
    void failing_kernel_calls();
    void swapped_pipe_is_never_opened_data();
    void swapped_pipe_is_never_opened();

private:
    QTemporaryDir dir;
};

void tst_host_folder_volume::initTestCase()
{
    const auto link = [this](const QByteArray &target, const QString &relative) {
        return QDir().mkpath(QFileInfo(dir.filePath(relative)).path())
               && ::symlink(target.constData(), native(dir.filePath(relative)).constData()) == 0;
    };
    const QByteArray outside = native(dir.filePath("outside"));
    QVERIFY(write_file(dir.filePath("volume/Users/x/report.txt"), "volume report"));
    QVERIFY(write_file(dir.filePath("outside/secret.txt"), "outside secret"));
    QVERIFY(write_file(dir.filePath("volume/outside/.keep"), "")); // an "outside" on the volume, no secret
    QVERIFY(link(outside, "volume/Users/x/outlink") && link("../../../outside", "volume/Users/x/uplink"));
    QVERIFY(link("/Users/x", "volume/Users/y/docs") && link("../x", "volume/Users/y/rel"));
    QVERIFY(link("Users/x/report.txt", "volume/filelink") && link(outside + "/secret.txt", "volume/Users/x/secretlink"));
    QVERIFY(link("loop2", "volume/loop1") && link("loop1", "volume/loop2"));
    QCOMPARE(::mkfifo(native(dir.filePath("volume/fifo")).constData(), 0600), 0);
    QVERIFY(write_long(dir.filePath("volume"), long_relative(), "deep content"));
}

void tst_host_folder_volume::access_data()
{
    QTest::addColumn<bool>("walk");
    QTest::addColumn<QString>("operation"); // open (and read whole), look, folder, list (list2: at most two names),
                                            // relative (of the root plus relative; relative/: the root ending in /)
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<EvidenceVolume::Links>("links");
    QTest::addColumn<QByteArray>("expected"); // content, file type, names, "=" and a relative path; empty: refused

    for (const bool walk : {false, true}) {
        const auto row = [walk](const char *name, const char *operation, const QByteArray &relative, const char *expected,
                                Links links = Links::InsideRoot) {
            QTest::newRow(qPrintable(QString(walk ? "walked: " : "kernel: ") + name))
                << walk << operation << relative << links << QByteArray(expected);
        };
        row("a plain file", "open", "Users/x/report.txt", "volume report");
        row("dot-dot inside the volume", "open", "Users/x/../x/report.txt", "volume report");
        row("dot-dot never climbs above the root", "open", "../outside/secret.txt", "");
        row("absolute link to an outside folder stays on the volume", "open", "Users/x/outlink/secret.txt", "");
        row("relative link climbing out stops at the root", "open", "Users/x/uplink/secret.txt", "");
        row("absolute link inside the volume is a place on it", "open", "Users/y/docs/report.txt", "volume report");
        row("relative link inside the volume", "open", "Users/y/rel/report.txt", "volume report");
        row("any link refused where links are refused", "open", "Users/y/docs/report.txt", "", Links::Refused);
        row("link as the last component is not followed", "open", "filelink", "");
        row("link loop ends", "open", "loop1/x", "");
        row("pipe is never opened", "open", "fifo", "");
        row("folder is no regular file", "open", "Users", "");
        row("a path past the system's length limit reads as any other", "open", long_relative(), "deep content");
        // The link's own facts, not its target's: an examiner's row describes the link.
        row("last link looked at as itself", "look", "Users/x/secretlink", "link");
        row("pipe looked at as itself", "look", "fifo", "pipe");
        row("nothing to look at through an outside link", "look", "Users/x/outlink/secret.txt", "");
        // One look serves a row: what is opened is what was looked at, and only files and folders are.
        row("a file looked at and read", "look+open", "Users/y/docs/report.txt", "file: volume report");
        row("a folder looked at and opened", "look+open", "Users/y/docs/.", "folder: opened");
        row("a pipe looked at, never opened", "look+open", "fifo", "pipe: ");
        row("a last link looked at, never followed", "look+open", "Users/x/secretlink", "link: ");
        row("pipe is no folder", "folder", "fifo", "");
        row("link to a folder is not followed as the last component", "folder", "Users/y/docs", "");
        row("link to a folder followed through its dot", "folder", "Users/y/docs/.", "folder");
        row("link to a folder followed through a trailing separator", "folder", "Users/y/docs/", "folder");
        row("link to a folder refused where links are refused", "folder", "Users/y/docs/.", "", Links::Refused);
        row("folder listed without . and ..", "list", "Users/x", "outlink,report.txt,secretlink,uplink");
        row("listing stops at its limit", "list2", "Users/x", "2 names");
        row("listing through a link refused where links are refused", "list", "Users/y/docs", "", Links::Refused);
        row("a stored path is relative to the root", "relative", "/a/b", "=a/b");
        row("the root itself is the empty path", "relative", "", "=");
        row("a root ending in a separator", "relative/", "/a", "=a");
        row("a sibling of the root is outside", "relative", "2/a", "");
        row("a zero character is refused", "relative", QByteArray("/a\0b", 4), "");
    }
}

void tst_host_folder_volume::access()
{
    QFETCH(bool, walk);
    QFETCH(QString, operation);
    QFETCH(QByteArray, relative);
    QFETCH(EvidenceVolume::Links, links);
    QFETCH(QByteArray, expected);

    HostFolderVolume::force_component_walk(walk);
    const HostFolderVolume root(dir.filePath("volume"));
    QVERIFY(!walk || root.resolution() == HostFolderVolume::Resolution::ComponentWalk);
    QByteArray got; // what the operation gave, as the expected column puts it
    if (operation == "open") {
        const std::unique_ptr<EvidenceObject> file = root.open_regular_file(relative, links);
        QCOMPARE(file != nullptr, !expected.isEmpty());
        QCOMPARE(root.read_small_file(relative, 100, links).value_or(QByteArray()), expected);
        got = file ? file->read_at(0, 100) : QByteArray();
    } else if (operation == "look") {
        const auto facts = root.look_at(relative, links);
        got = !facts ? "" : S_ISLNK(*facts->mode) ? "link" : S_ISFIFO(*facts->mode) ? "pipe" : "other";
    } else if (operation == "look+open") {
        if (auto looked = root.open(relative, links)) {
            const mode_t type = *looked->facts().mode & S_IFMT;
            got = type == S_IFREG ? "file: " + looked->read_at(0, 100)
                : type == S_IFDIR ? QByteArray("folder: ") + (looked->entries(1) ? "opened" : "")
                                  : QByteArray(type == S_IFIFO ? "pipe: " : "link: ") + (looked->readable() ? "opened" : "");
        }
    } else if (operation == "folder") {
        got = root.open_directory(relative, links) ? "folder" : "";
    } else if (operation.startsWith("relative")) {
        const auto found = HostFolderVolume(root.volume_root() + (operation == "relative/" ? "/" : ""))
                               .relative_path(root.volume_root() + QString::fromUtf8(relative));
        got = found ? "=" + *found : "";
    } else if (auto names = root.list_directory(relative, operation == "list2" ? 2 : 10, links)) {
        std::sort(names->begin(), names->end());
        got = operation == "list2" ? QByteArray::number(names->size()) + " names" : names->join(',');
    }
    QCOMPARE(got, expected);
}

void tst_host_folder_volume::failing_kernel_calls_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("error");
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray report = "Users/x/report.txt";
    QTest::newRow("nothing fails") << "" << 0 << report << QByteArray("13 bytes; read: volume report; attribute: here");
    QTest::newRow("openat2 forbidden by a sandbox: the walk finds the file")
        << "openat2" << EPERM << report << QByteArray("13 bytes; read: volume report; attribute: here");
    QTest::newRow("a rename racing every lookup: nothing, and no hang")
        << "openat2" << EAGAIN << report << QByteArray("nothing");
    QTest::newRow("no /proc: a file is opened by its handle")
        << "open /proc" << ENOENT << report << QByteArray("13 bytes; read: volume report; attribute: here");
    QTest::newRow("no /proc, opening by handle refused: a file keeps its facts, nothing is read")
        << "open /proc+open_by_handle_at" << ENOENT << report << QByteArray("13 bytes; read: ; attribute: none");
    QTest::newRow("no /proc: a folder is still listed")
        << "open /proc" << ENOENT << QByteArray("Users/x") << QByteArray("folder; 4 entries; attribute: none");
    QTest::newRow("access time not kept on a writable mount: attributes, no bytes")
        << "O_NOATIME" << EPERM << report << QByteArray("13 bytes; read: ; attribute: here");
    QTest::newRow("access time not kept on a writable mount: a folder is not listed")
        << "O_NOATIME" << EPERM << QByteArray("Users/x") << QByteArray("folder; unlisted; attribute: none");
    QTest::newRow("access time not kept on a read-only mount: read as usual")
        << "O_NOATIME on a read-only mount" << EPERM << report << QByteArray("13 bytes; read: volume report; attribute: here");
    QTest::newRow("the object can't be looked at: nothing") << "statx" << EPERM << report << QByteArray("nothing");
    QTest::newRow("a failing disk: no bytes") << "pread" << EIO << report << QByteArray("13 bytes; read: ; attribute: here");
    QTest::newRow("a failing listing: no entries")
        << "getdents64" << EIO << QByteArray("Users/x") << QByteArray("folder; unlisted; attribute: none");
    QTest::newRow("a failing attribute read: no attribute")
        << "fgetxattr" << EIO << report << QByteArray("13 bytes; read: volume report; attribute: none");
}

void tst_host_folder_volume::failing_kernel_calls()
{
    QFETCH(QString, call);
    QFETCH(int, error);
    QFETCH(QByteArray, relative);
    QFETCH(QByteArray, expected);
    if (::setxattr(native(dir.filePath("volume/Users/x/report.txt")).constData(), "user.origin", "here", 4, 0) != 0)
        QSKIP("this file system keeps no user attributes");
    static const HostSystemCalls calls = faulty_calls();
    failing_call = call;
    failure = error;
    const auto healed = qScopeGuard([] { failing_call.clear(); });
    QCOMPARE(described(HostFolderVolume(dir.filePath("volume"), calls), relative), expected);
}

void tst_host_folder_volume::swapped_pipe_is_never_opened_data()
{
    QTest::addColumn<bool>("walk");
    QTest::newRow("kernel: a pipe swapped in between look and open") << false;
    QTest::newRow("walked: a pipe swapped in between look and open") << true;
}

void tst_host_folder_volume::swapped_pipe_is_never_opened()
{
    QFETCH(bool, walk);
    // A file and a pipe trade places as fast as they can while the root
    // looks at and opens one of the two names; the kernel reports every
    // real open of the pipe, whatever name it has then.
    const QString folder = dir.filePath(walk ? "swap-walked" : "swap-kernel");
    const QByteArray item = native(folder + "/item"), other = native(folder + "/other");
    QVERIFY(write_file(folder + "/item", "a file") && ::mkfifo(other.constData(), 0600) == 0);
    const UniqueFd watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    QVERIFY(watch && ::inotify_add_watch(watch.get(), other.constData(), IN_OPEN) >= 0);

    HostFolderVolume::force_component_walk(walk);
    const HostFolderVolume root(folder);
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        while (!done)
            ::renameat2(AT_FDCWD, item.constData(), AT_FDCWD, other.constData(), RENAME_EXCHANGE);
    });
    int files_opened = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto looked = root.open("item");
        files_opened += looked && looked->readable();
    }
    done = true;
    swapper.join();
    char events[4096];
    QCOMPARE(::read(watch.get(), events, sizeof events), ssize_t(-1));
    QVERIFY(files_opened > 0); // the race did let the file through at times
}

QTEST_GUILESS_MAIN(tst_host_folder_volume)
#include "tst_host_folder_volume.moc"
