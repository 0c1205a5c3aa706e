// Extended attributes of an HFS+ volume read from its attributes B-tree by
// the image reader's own walk: the fixture's attribute, attributes crafted
// in its place (inline, in a fork of their own), and damaged trees, which
// must cost the value and nothing more.

#include "hfs_attribute_records.h"
#include "hfs_attributes.h"
#include "hfs_file_system.h"
#include "image_bytes.h"
#include "image_file_system.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QtEndian>
#include <QtTest>

namespace {

// The catalog node ID of /a_directory/a_file in hfsplus.raw.
constexpr std::uint32_t a_file = 19;
constexpr qint64 unlimited = 1 << 20;
// The fixture volume's allocation block.
constexpr int block_size = 4096;
// A free block far from the volume's special files, for a crafted fork.
constexpr std::uint32_t spare_block = 1000;

const QByteArray where_froms = QByteArray::fromHex("62706c6973743030a101") + "https://example.org/setup.pkg";
const QByteArray quarantine = "0083;6551f4a2;Safari;8E3C1D0B-6B0E-4C58-A8B1-2B1F4C8D9E7A";
const QByteArray large_plist = QByteArray("bplist00") + QByteArray(6000, 'x');

} // namespace

class tst_hfs_attributes : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void attributes_come_from_the_attributes_tree_data();
    void attributes_come_from_the_attributes_tree();
    void damaged_trees_cost_the_value_not_time_data();
    void damaged_trees_cost_the_value_not_time();
    void entries_answer_with_the_content_data();
    void entries_answer_with_the_content();

private:
    // The fixture volume with its attributes leaf rewritten as crafted.
    QByteArray crafted() const;

    QByteArray volume;
};

void tst_hfs_attributes::initTestCase()
{
    QProcess gzip;
    gzip.start(QStringLiteral("gzip"), {"-dc", QStringLiteral(VANTREL_FIXTURES_DIR "/volumes/hfsplus.raw.gz")});
    QVERIFY(gzip.waitForFinished(60000) && gzip.exitCode() == 0);
    volume = gzip.readAllStandardOutput();
    QCOMPARE(volume.mid(1024, 2), QByteArray("H+"));
    QCOMPARE(qFromBigEndian<quint32>(volume.constData() + 1024 + 40), quint32(block_size));
    QCOMPARE(node_size(volume), 8192);
    QVERIFY(qsizetype(spare_block + 2) * block_size < volume.size());
}

QByteArray tst_hfs_attributes::crafted() const
{
    QByteArray bytes = volume;
    bytes.replace(qsizetype(spare_block) * block_size, large_plist.size(), large_plist);
    const QList<QByteArray> records = {
        attribute_record(a_file, "com.apple.metadata:big", fork_data(quint64(large_plist.size()), spare_block, 2)),
        attribute_record(a_file, "com.apple.metadata:kMDItemWhereFroms", inline_data(where_froms)),
        attribute_record(a_file, "com.apple.quarantine", inline_data(quarantine)),
        // Its one extent holds a block of the ten its size needs.
        attribute_record(a_file, "fragmented", fork_data(10 * block_size, spare_block, 1)),
        attribute_record(a_file, "myxattr", inline_data("crafted")),
        attribute_record(a_file, "overlong", inline_data("short", 4000)),
        attribute_record(a_file + 1, "myxattr", inline_data("the next file's")),
    };
    return with_attribute_leaf(bytes, records);
}

void tst_hfs_attributes::attributes_come_from_the_attributes_tree_data()
{
    QTest::addColumn<bool>("crafted");
    QTest::addColumn<uint>("file");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<qint64>("max_size");
    QTest::addColumn<QByteArray>("content"); // null for none

    // Cross-checked against the attributes B-tree's one leaf record.
    QTest::newRow("the fixture's inline attribute") << false << uint(a_file) << QByteArray("myxattr") << unlimited
                                                    << QByteArray("My extended attribute");
    QTest::newRow("exactly as large as allowed") << false << uint(a_file) << QByteArray("myxattr") << qint64(21)
                                                 << QByteArray("My extended attribute");
    QTest::newRow("a byte larger than allowed") << false << uint(a_file) << QByteArray("myxattr") << qint64(20)
                                                << QByteArray();
    QTest::newRow("a name the file lacks") << false << uint(a_file) << QByteArray("com.apple.quarantine") << unlimited
                                           << QByteArray();
    QTest::newRow("a name that only starts the same") << false << uint(a_file) << QByteArray("myxatt") << unlimited
                                                      << QByteArray();
    QTest::newRow("the same name of another file") << false << uint(a_file - 1) << QByteArray("myxattr") << unlimited
                                                   << QByteArray();
    QTest::newRow("where-froms kept inline") << true << uint(a_file)
                                             << QByteArray("com.apple.metadata:kMDItemWhereFroms") << unlimited
                                             << where_froms;
    QTest::newRow("quarantine kept inline") << true << uint(a_file) << QByteArray("com.apple.quarantine") << unlimited
                                            << quarantine;
    QTest::newRow("among several, the one of its file") << true << uint(a_file + 1) << QByteArray("myxattr")
                                                        << unlimited << QByteArray("the next file's");
    QTest::newRow("a property list in a fork of its own") << true << uint(a_file) << QByteArray("com.apple.metadata:big")
                                                          << unlimited << large_plist;
    QTest::newRow("a fork larger than allowed") << true << uint(a_file) << QByteArray("com.apple.metadata:big")
                                                << qint64(large_plist.size() - 1) << QByteArray();
    QTest::newRow("a fork its extents don't cover") << true << uint(a_file) << QByteArray("fragmented") << unlimited
                                                    << QByteArray();
    QTest::newRow("inline size past its record") << true << uint(a_file) << QByteArray("overlong") << unlimited
                                                 << QByteArray();
}

void tst_hfs_attributes::attributes_come_from_the_attributes_tree()
{
    QFETCH(bool, crafted);
    QFETCH(uint, file);
    QFETCH(QByteArray, name);
    QFETCH(qint64, max_size);
    QFETCH(QByteArray, content);

    const std::shared_ptr<const ImageBytes> bytes = memory_bytes(crafted ? this->crafted() : volume);
    const std::optional<QByteArray> read = hfs_attribute(*bytes, file, name, max_size);
    QCOMPARE(read.has_value(), !content.isNull());
    if (read)
        QCOMPARE(*read, content);
}

void tst_hfs_attributes::damaged_trees_cost_the_value_not_time_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<uint>("file");

    QTest::newRow("header node overwritten") << "header" << uint(a_file);
    QTest::newRow("record offset past the node") << "offset" << uint(a_file);
    QTest::newRow("leaf chain that loops") << "loop" << uint(a_file + 1);
    QTest::newRow("index node that is its own child") << "index" << uint(a_file);
    QTest::newRow("node size larger than the tree") << "node size" << uint(a_file);
    QTest::newRow("attributes file past the volume's end") << "extent" << uint(a_file);
}

void tst_hfs_attributes::damaged_trees_cost_the_value_not_time()
{
    QFETCH(QString, damage);
    QFETCH(uint, file);

    QByteArray bytes = volume;
    const qsizetype header = attributes_file(bytes);
    const qsizetype leaf = header + node_size(bytes);
    if (damage == "header") {
        bytes.replace(header, 512, QByteArray(512, char(0xa5)));
    } else if (damage == "offset") {
        // The first record's offset, the node's last two bytes.
        put(bytes, leaf + node_size(bytes) - 2, 9000, 2);
    } else if (damage == "loop") {
        // The leaf's forward link names the leaf itself; the records of a
        // later file are looked for past it.
        put(bytes, leaf, 1, 4);
    } else if (damage == "index") {
        // The root (node 1) made an index node whose one record, after its
        // 26-byte key, points at node 1.
        bytes[leaf + 8] = 0;
        put(bytes, leaf + 14 + 2 + 26, 1, 4);
    } else if (damage == "node size") {
        put(bytes, header + 14 + 18, 32768, 2);
    } else if (damage == "extent") {
        put(bytes, 1024 + 0x160 + 16, 0xfffffff0, 4);
    }
    const std::shared_ptr<const ImageBytes> damaged = memory_bytes(bytes);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(hfs_attribute(*damaged, file, "myxattr", unlimited), std::optional<QByteArray>());
    QVERIFY(timer.elapsed() < 1000);
}

void tst_hfs_attributes::entries_answer_with_the_content_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<qint64>("max_size");
    QTest::addColumn<bool>("listed");
    QTest::addColumn<QByteArray>("content"); // null for none

    QTest::newRow("an attribute the library names") << QByteArray("a_directory/a_file") << QByteArray("myxattr")
                                                    << unlimited << true << QByteArray("My extended attribute");
    QTest::newRow("one the entry's own size limit refuses") << QByteArray("a_directory/a_file")
                                                            << QByteArray("myxattr") << qint64(8) << true
                                                            << QByteArray();
    // Its data fork is empty; the catalog record's resource fork holds 17 bytes.
    QTest::newRow("a file's resource fork") << QByteArray("a_directory/a_resourcefork")
                                            << QByteArray("com.apple.ResourceFork") << unlimited << true
                                            << QByteArray("My resource fork\n");
    QTest::newRow("no resource fork, nothing to show") << QByteArray("a_directory/a_file")
                                                       << QByteArray("com.apple.ResourceFork") << unlimited << false
                                                       << QByteArray();
    QTest::newRow("Finder information within the limit only") << QByteArray("a_link")
                                                               << QByteArray("com.apple.FinderInfo") << qint64(31)
                                                               << true << QByteArray();
}

void tst_hfs_attributes::entries_answer_with_the_content()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, name);
    QFETCH(qint64, max_size);
    QFETCH(bool, listed);
    QFETCH(QByteArray, content);

    const std::unique_ptr<ImageFileSystem> file_system = hfs_volume(memory_bytes(volume));
    QVERIFY(file_system);
    std::unique_ptr<ImageEntry> entry = file_system->root();
    for (const QByteArray &component : path.split('/')) {
        QVERIFY(entry);
        entry = entry->child(component);
    }
    QVERIFY(entry);
    const QList<QByteArray> names = entry->attribute_names().value_or(QByteArray()).split('\0');
    QCOMPARE(names.contains(name), listed);
    const std::optional<QByteArray> read = entry->attribute(name, max_size);
    QCOMPARE(read.has_value(), !content.isNull());
    if (read)
        QCOMPARE(*read, content);
}

QTEST_GUILESS_MAIN(tst_hfs_attributes)
#include "tst_hfs_attributes.moc"
