// The one way in to the evidence, tried with real links, pipes and
// escapes, through both ways of resolving beneath the volume root.

#include "evidence/evidence_root.h"
#include "evidence_files.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

using Links = EvidenceRoot::Links;
Q_DECLARE_METATYPE(EvidenceRoot::Links)

class tst_evidence_root : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { EvidenceRoot::force_component_walk(false); }
    void open_regular_file_data();
    void open_regular_file();
    void last_link_is_looked_at_not_followed_data();
    void last_link_is_looked_at_not_followed();
    void relative_path_data();
    void relative_path();

private:
    void link(const QByteArray &target, const QString &relative);

    QTemporaryDir dir;
    QString volume;
};

void tst_evidence_root::link(const QByteArray &target, const QString &relative)
{
    const QString path = dir.filePath(relative);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QCOMPARE(::symlink(target.constData(), native(path).constData()), 0);
}

void tst_evidence_root::initTestCase()
{
    QVERIFY(dir.isValid());
    volume = dir.filePath("volume");
    const QByteArray outside = native(dir.filePath("outside"));
    QVERIFY(write_file(dir.filePath("volume/Users/x/report.txt"), "volume report"));
    QVERIFY(write_file(dir.filePath("outside/secret.txt"), "outside secret"));
    QVERIFY(write_file(dir.filePath("volume/outside/.keep"), "")); // an "outside" on the volume, no secret
    link(outside, "volume/Users/x/outlink");
    link("../../../outside", "volume/Users/x/uplink");
    link("/Users/x", "volume/Users/y/docs");
    link("../x", "volume/Users/y/rel");
    link("Users/x/report.txt", "volume/filelink");
    link("loop2", "volume/loop1");
    link("loop1", "volume/loop2");
    link(outside + "/secret.txt", "volume/Users/x/secretlink");
    QCOMPARE(::mkfifo(native(dir.filePath("volume/fifo")).constData(), 0600), 0);
}

void tst_evidence_root::open_regular_file_data()
{
    QTest::addColumn<bool>("walk");
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<EvidenceRoot::Links>("links");
    QTest::addColumn<QByteArray>("content"); // empty: nothing opened

    for (const bool walk : {false, true}) {
        const char *how = walk ? "walked: " : "kernel: ";
        const auto row = [how](const char *name) -> QTestData & { return QTest::newRow(qPrintable(QString(how) + name)); };
        row("a plain file") << walk << QByteArray("Users/x/report.txt") << Links::InsideRoot
                            << QByteArray("volume report");
        row("dot-dot inside the volume") << walk << QByteArray("Users/x/../x/report.txt") << Links::InsideRoot
                                         << QByteArray("volume report");
        row("dot-dot never climbs above the root")
            << walk << QByteArray("../../outside/secret.txt") << Links::InsideRoot << QByteArray();
        row("absolute link to an outside folder stays on the volume")
            << walk << QByteArray("Users/x/outlink/secret.txt") << Links::InsideRoot << QByteArray();
        row("relative link climbing out stops at the root")
            << walk << QByteArray("Users/x/uplink/secret.txt") << Links::InsideRoot << QByteArray();
        row("absolute link inside the volume is a place on it")
            << walk << QByteArray("Users/y/docs/report.txt") << Links::InsideRoot << QByteArray("volume report");
        row("relative link inside the volume") << walk << QByteArray("Users/y/rel/report.txt")
                                               << Links::InsideRoot << QByteArray("volume report");
        row("any link refused where links are refused")
            << walk << QByteArray("Users/y/docs/report.txt") << Links::Refused << QByteArray();
        row("link as the last component is not followed")
            << walk << QByteArray("filelink") << Links::InsideRoot << QByteArray();
        row("link to an outside file is not followed")
            << walk << QByteArray("Users/x/secretlink") << Links::InsideRoot << QByteArray();
        row("link loop ends") << walk << QByteArray("loop1/x") << Links::InsideRoot << QByteArray();
        row("pipe is never opened") << walk << QByteArray("fifo") << Links::InsideRoot << QByteArray();
        row("folder is no regular file") << walk << QByteArray("Users") << Links::InsideRoot << QByteArray();
    }
}

void tst_evidence_root::open_regular_file()
{
    QFETCH(bool, walk);
    QFETCH(QByteArray, relative);
    QFETCH(EvidenceRoot::Links, links);
    QFETCH(QByteArray, content);

    EvidenceRoot::force_component_walk(walk);
    const EvidenceRoot root(volume);
    QVERIFY(root.is_open());
    if (walk)
        QCOMPARE(root.resolution(), EvidenceRoot::Resolution::ComponentWalk);
    const UniqueFd file = root.open_regular_file(relative, links);
    QCOMPARE(file.valid(), !content.isEmpty());
    QCOMPARE(EvidenceRoot::read_at(file, 0, 100), content);
    const auto small = root.read_small_file(relative, 100, links);
    QCOMPARE(small.value_or(QByteArray()), content);
}

void tst_evidence_root::last_link_is_looked_at_not_followed_data()
{
    QTest::addColumn<bool>("walk");
    QTest::newRow("kernel") << false;
    QTest::newRow("walked") << true;
}

void tst_evidence_root::last_link_is_looked_at_not_followed()
{
    QFETCH(bool, walk);
    EvidenceRoot::force_component_walk(walk);
    const EvidenceRoot root(volume);

    // The link's own facts, not its target's: an examiner's row describes the link.
    const auto link = root.look_at("Users/x/secretlink");
    QVERIFY(link);
    QVERIFY(S_ISLNK(link->stx_mode));
    const auto fifo = root.look_at("fifo");
    QVERIFY(fifo);
    QVERIFY(S_ISFIFO(fifo->stx_mode));
    QVERIFY(!root.look_at("Users/x/outlink/secret.txt"));
    QVERIFY(!root.open_directory("fifo"));
    QVERIFY(!root.open_directory("Users/y/docs"));
    QVERIFY(root.open_directory("Users/y/docs/."));
    QVERIFY(root.open_directory("Users/y/docs/"));
    QVERIFY(!root.open_directory("Users/y/docs/.", Links::Refused));

    auto names = root.list_directory("Users/x", 10);
    QVERIFY(names);
    std::sort(names->begin(), names->end());
    QCOMPARE(*names, (QList<QByteArray>{"outlink", "report.txt", "secretlink", "uplink"}));
    QCOMPARE(root.list_directory("Users/x", 2)->size(), 2);
    QVERIFY(!root.list_directory("Users/y/docs", 10, Links::Refused));
}

void tst_evidence_root::relative_path_data()
{
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("full_path");
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<bool>("inside");

    QTest::newRow("a stored path") << "/mnt/vol" << "/mnt/vol/a/b" << QByteArray("a/b") << true;
    QTest::newRow("the root itself") << "/mnt/vol" << "/mnt/vol" << QByteArray() << true;
    QTest::newRow("a root ending in a separator") << "/mnt/vol/" << "/mnt/vol/a" << QByteArray("a") << true;
    QTest::newRow("a sibling of the root is outside") << "/mnt/vol" << "/mnt/vol2/a" << QByteArray() << false;
    QTest::newRow("another folder is outside") << "/mnt/vol" << "/etc/passwd" << QByteArray() << false;
    QTest::newRow("a zero character is refused")
        << "/mnt/vol" << QString("/mnt/vol/a") + QChar(0) + "b" << QByteArray() << false;
}

void tst_evidence_root::relative_path()
{
    QFETCH(QString, root);
    QFETCH(QString, full_path);
    QFETCH(QByteArray, relative);
    QFETCH(bool, inside);

    const auto found = EvidenceRoot(root).relative_path(full_path);
    QCOMPARE(found.has_value(), inside);
    if (inside)
        QCOMPARE(*found, relative);
}

QTEST_GUILESS_MAIN(tst_evidence_root)
#include "tst_evidence_root.moc"
