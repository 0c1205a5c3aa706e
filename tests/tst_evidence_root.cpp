// The one way in to the evidence, tried with real links, pipes and
// escapes, through both ways of resolving beneath the volume root.

#include "evidence/evidence_root.h"
#include "evidence_files.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <thread>

using Links = EvidenceRoot::Links;
Q_DECLARE_METATYPE(EvidenceRoot::Links)

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

} // namespace

class tst_evidence_root : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { EvidenceRoot::force_component_walk(false); }
    void access_data();
    void access();
    void swapped_pipe_is_never_opened_data();
    void swapped_pipe_is_never_opened();

private:
    QTemporaryDir dir;
};

void tst_evidence_root::initTestCase()
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

void tst_evidence_root::access_data()
{
    QTest::addColumn<bool>("walk");
    QTest::addColumn<QString>("operation"); // open (and read whole), look, folder, list (list2: at most two names),
                                            // relative (of the root plus relative; relative/: the root ending in /)
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<EvidenceRoot::Links>("links");
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
        row("link to an outside file is not followed", "open", "Users/x/secretlink", "");
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

void tst_evidence_root::access()
{
    QFETCH(bool, walk);
    QFETCH(QString, operation);
    QFETCH(QByteArray, relative);
    QFETCH(EvidenceRoot::Links, links);
    QFETCH(QByteArray, expected);

    EvidenceRoot::force_component_walk(walk);
    const EvidenceRoot root(dir.filePath("volume"));
    QVERIFY(!walk || root.resolution() == EvidenceRoot::Resolution::ComponentWalk);
    QByteArray got; // what the operation gave, as the expected column puts it
    if (operation == "open") {
        const UniqueFd file = root.open_regular_file(relative, links);
        QCOMPARE(file.valid(), !expected.isEmpty());
        QCOMPARE(root.read_small_file(relative, 100, links).value_or(QByteArray()), expected);
        got = EvidenceRoot::read_at(file, 0, 100);
    } else if (operation == "look") {
        const auto facts = root.look_at(relative, links);
        got = !facts ? "" : S_ISLNK(facts->stx_mode) ? "link" : S_ISFIFO(facts->stx_mode) ? "pipe" : "other";
    } else if (operation == "look+open") {
        if (auto looked = root.look_and_open(relative, links)) {
            const mode_t type = looked->status.stx_mode & S_IFMT;
            got = type == S_IFREG ? "file: " + EvidenceRoot::read_at(looked->opened, 0, 100)
                : type == S_IFDIR ? QByteArray("folder: ") + (looked->opened ? "opened" : "")
                                  : QByteArray(type == S_IFIFO ? "pipe: " : "link: ") + (looked->opened ? "opened" : "");
        }
    } else if (operation == "folder") {
        got = root.open_directory(relative, links).valid() ? "folder" : "";
    } else if (operation.startsWith("relative")) {
        const auto found = EvidenceRoot(root.volume_root() + (operation == "relative/" ? "/" : ""))
                               .relative_path(root.volume_root() + QString::fromUtf8(relative));
        got = found ? "=" + *found : "";
    } else if (auto names = root.list_directory(relative, operation == "list2" ? 2 : 10, links)) {
        std::sort(names->begin(), names->end());
        got = operation == "list2" ? QByteArray::number(names->size()) + " names" : names->join(',');
    }
    QCOMPARE(got, expected);
}

void tst_evidence_root::swapped_pipe_is_never_opened_data()
{
    QTest::addColumn<bool>("walk");
    QTest::newRow("kernel: a pipe swapped in between look and open") << false;
    QTest::newRow("walked: a pipe swapped in between look and open") << true;
}

void tst_evidence_root::swapped_pipe_is_never_opened()
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

    EvidenceRoot::force_component_walk(walk);
    const EvidenceRoot root(folder);
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        while (!done)
            ::renameat2(AT_FDCWD, item.constData(), AT_FDCWD, other.constData(), RENAME_EXCHANGE);
    });
    int files_opened = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto looked = root.look_and_open("item");
        files_opened += looked && looked->opened;
    }
    done = true;
    swapper.join();
    char events[4096];
    QCOMPARE(::read(watch.get(), events, sizeof events), ssize_t(-1));
    QVERIFY(files_opened > 0); // the race did let the file through at times
}

QTEST_GUILESS_MAIN(tst_evidence_root)
#include "tst_evidence_root.moc"
