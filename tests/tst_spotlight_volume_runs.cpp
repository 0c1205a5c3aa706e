// The timestamps and full metadata runs over copies of real macOS volumes:
// the values only the volume's own Spotlight index holds reach the case.

#include "test_case.h"

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

// Copies a volume's files, hidden ones and its index included, to target.
bool copy_volume(const QString &volume, const QString &target)
{
    QDirIterator files(volume, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        const QString copy = target + path.mid(volume.size());
        if (files.fileInfo().isDir() ? !QDir().mkpath(copy) : !QFile::copy(path, copy))
            return false;
    }
    return true;
}

} // namespace

class tst_spotlight_volume_runs : public QObject
{
    Q_OBJECT

private slots:
    void timestamps_run_data();
    void timestamps_run();
    void full_metadata_run_data();
    void full_metadata_run();
    void left_click_on_deleted_indexed_file_data();
    void left_click_on_deleted_indexed_file();
};

void tst_spotlight_volume_runs::timestamps_run_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("indexed_date");

    QTest::newRow("volume indexed by macOS 10.13") << "macos-10.13" << indexed_10_13;
    QTest::newRow("volume indexed by macOS 12, strings in maps") << "macos-12" << indexed_12;
}

void tst_spotlight_volume_runs::timestamps_run()
{
    QFETCH(QString, volume);
    QFETCH(QString, indexed_date);

    TestCase test_case;
    test_case.set_source_root(fixtures + volume);
    test_case.create_file_system_db({{1, "/LICENSE"}, {2, "/not-in-volume.txt"}});
    test_case.create_timestamps_db();

    QCOMPARE(test_case.run("1").lines, QStringList());
    const auto rows = TestCase::rows(test_case.timestamps_db(),
                                     "select content_creation_date, content_modification_date, date_added, "
                                     "useddates, filesystem_record from files order by rowid");
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[0][0].toString(), indexed_date);
    QCOMPARE(rows[0][1].toString(), indexed_date);
    QCOMPARE(rows[0][2].toString(), indexed_date);
    QVERIFY(rows[0][3].isNull());
    // A file the volume does not hold has no item at all: empty texts.
    QCOMPARE(rows[1][2].toString(), QString());
    QVERIFY(!rows[1][2].isNull());
}

void tst_spotlight_volume_runs::full_metadata_run_data()
{
    timestamps_run_data();
}

void tst_spotlight_volume_runs::full_metadata_run()
{
    QFETCH(QString, volume);
    QFETCH(QString, indexed_date);

    const QStringList keys = {"kMDItemContentType", "kMDItemKind", "kMDItemDateAdded", "kMDItemFSName",
                              "kMDItemFSSize", "kMDItemContentTypeTree"};
    TestCase test_case;
    test_case.set_source_root(fixtures + volume);
    test_case.create_file_system_db({{1, "/LICENSE"}});
    test_case.create_metadata_db(keys);

    const QStringList volume_files = snapshot(fixtures + volume);

    QCOMPARE(test_case.run("2", QString(), keys, keys).lines, QStringList());
    const auto rows = TestCase::rows(test_case.metadata_db(),
                                     "select kMDItemContentType, kMDItemKind, kMDItemDateAdded, kMDItemFSName, "
                                     "kMDItemFSSize, kMDItemContentTypeTree from files");
    QCOMPARE(rows.size(), 1);
    const QVariantList expected = {"public.data", "Document", indexed_date, "LICENSE", "18652",
                                   "public.data;public.item"};
    QCOMPARE(rows[0], expected);
    // The index is only read: nothing is written beside it.
    QCOMPARE(snapshot(fixtures + volume), volume_files);
}

void tst_spotlight_volume_runs::left_click_on_deleted_indexed_file_data()
{
    timestamps_run_data();
}

void tst_spotlight_volume_runs::left_click_on_deleted_indexed_file()
{
    QFETCH(QString, volume);
    QFETCH(QString, indexed_date);

    const QStringList keys = {"kMDItemContentType", "kMDItemKind", "kMDItemDateAdded", "kMDItemFSName"};
    QTemporaryDir copy;
    QVERIFY(copy_volume(fixtures + volume, copy.path()));
    TestCase test_case;
    test_case.set_source_root(copy.path());
    test_case.create_file_system_db({{1, "/LICENSE"}});
    test_case.create_metadata_db(keys);
    const QString select = "select kMDItemContentType, kMDItemKind, kMDItemDateAdded, kMDItemFSName, "
                           "filesystem_record from files";

    // The copy's index is read: the file has its indexed values.
    QCOMPARE(test_case.run("4", "/LICENSE", keys, keys).lines, QStringList());
    QCOMPARE(TestCase::rows(test_case.database("apple_metadata.sqlite"), select),
             (QList<QVariantList>{{"public.data", "Document", indexed_date, "LICENSE", 1}}));

    // Deleted since the volume was indexed: no item, so empty texts, not NULLs.
    QVERIFY(QFile::remove(copy.path() + "/LICENSE"));
    QCOMPARE(test_case.run("4", "/LICENSE", keys, keys).lines, QStringList());
    const auto rows = TestCase::rows(test_case.database("apple_metadata.sqlite"), select);
    QCOMPARE(rows, (QList<QVariantList>{{"", "", "", "", 1}}));
    for (int column = 0; column < keys.size(); ++column)
        QVERIFY2(!rows[0][column].isNull(), qPrintable(keys[column] + " is NULL"));
}

QTEST_GUILESS_MAIN(tst_spotlight_volume_runs)
#include "tst_spotlight_volume_runs.moc"
