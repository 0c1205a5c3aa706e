// The runs over copies of real macOS volumes: the values only the volume's
// own Spotlight index holds reach the case.

#include "evidence_files.h"
#include "text_rows.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/");

// The LICENSE file's dates in each volume's index, in seconds since 1970.
const QString indexed_10_13 = QStringLiteral("1687458846");
const QString indexed_12 = QStringLiteral("1687237824");

// Every entry beneath a folder with its size: what a run must leave as it was.
QStringList snapshot(const QString &root)
{
    QDirIterator entries(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    QStringList listed;
    while (entries.hasNext())
        listed.append(entries.next() + QString::number(entries.fileInfo().size()));
    return listed;
}

} // namespace

class tst_spotlight_volume_runs : public QObject
{
    Q_OBJECT

private slots:
    void runs_read_the_volume_index_data();
    void runs_read_the_volume_index();
    void left_click_on_deleted_indexed_file_data() { runs_read_the_volume_index_data(); }
    void left_click_on_deleted_indexed_file();
};

void tst_spotlight_volume_runs::runs_read_the_volume_index_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("indexed_date");

    QTest::newRow("volume indexed by macOS 10.13") << "macos-10.13" << indexed_10_13;
    QTest::newRow("volume indexed by macOS 12, strings in maps") << "macos-12" << indexed_12;
}

void tst_spotlight_volume_runs::runs_read_the_volume_index()
{
    QFETCH(QString, volume);
    QFETCH(QString, indexed_date);

    const QStringList keys = {"kMDItemContentType", "kMDItemKind", "kMDItemDateAdded", "kMDItemFSName",
                              "kMDItemFSSize", "kMDItemContentTypeTree"};
    TestCase test_case;
    test_case.set_source_root(fixtures + volume);
    test_case.create_file_system_db({{1, "/LICENSE"}, {2, "/not-in-volume.txt"}});
    test_case.create_timestamps_db();
    test_case.create_metadata_db(keys);
    const QStringList volume_files = snapshot(fixtures + volume);

    QCOMPARE(test_case.run("1").lines, QStringList());
    QCOMPARE(test_case.run("2", QString(), keys, keys).lines, QStringList());
    // A file the volume does not hold has no item at all: empty texts, not NULLs.
    QCOMPARE(text_rows(test_case.timestamps_db(), "select content_creation_date, content_modification_date, "
                                                  "date_added, useddates from files order by rowid"),
             (QList<QStringList>{{indexed_date, indexed_date, indexed_date, "NULL"}, {"", "", "", ""}}));
    QCOMPARE(text_rows(test_case.metadata_db(), "select " + keys.join(',') + " from files order by rowid"),
             (QList<QStringList>{{"public.data", "Document", indexed_date, "LICENSE", "18652",
                                  "public.data;public.item"}, {"", "", "", "", "", ""}}));
    // The index is only read: nothing is written beside it.
    QCOMPARE(snapshot(fixtures + volume), volume_files);
}

void tst_spotlight_volume_runs::left_click_on_deleted_indexed_file()
{
    QFETCH(QString, volume);
    QFETCH(QString, indexed_date);

    const QStringList keys = {"kMDItemContentType", "kMDItemKind", "kMDItemDateAdded", "kMDItemFSName"};
    QTemporaryDir copy;
    QVERIFY(copy_tree(fixtures + volume, copy.path()));
    TestCase test_case;
    test_case.set_source_root(copy.path());
    test_case.create_file_system_db({{1, "/LICENSE"}});
    test_case.create_metadata_db(keys);
    const QString select = "select " + keys.join(',') + ", filesystem_record from files";

    // The copy's index is read: the file has its indexed values.
    QCOMPARE(test_case.run("4", "/LICENSE", keys, keys).lines, QStringList());
    QCOMPARE(text_rows(test_case.metadata_db(), select),
             (QList<QStringList>{{"public.data", "Document", indexed_date, "LICENSE", "1"}}));
    // Deleted since the volume was indexed: no item, so empty texts, not NULLs.
    QVERIFY(QFile::remove(copy.path() + "/LICENSE"));
    QCOMPARE(test_case.run("4", "/LICENSE", keys, keys).lines, QStringList());
    QCOMPARE(text_rows(test_case.metadata_db(), select), (QList<QStringList>{{"", "", "", "", "1"}}));
}

QTEST_GUILESS_MAIN(tst_spotlight_volume_runs)
#include "tst_spotlight_volume_runs.moc"
