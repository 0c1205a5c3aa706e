// Run kind "1" as the host starts it: six timestamps of every record,
// appended to apple_timestamps.sqlite.

#include "text_rows.h"

#include <QtEndian>
#include <QtTest>

#include <sys/time.h>
#include <sys/xattr.h>

class tst_timestamps_run : public QObject
{
    Q_OBJECT

private slots:
    void rows_appended();
    void timestamp_columns();
};

void tst_timestamps_run::rows_appended()
{
    TestCase test_case;
    QList<QPair<QVariant, QVariant>> records;
    for (int i = 1; i <= 500; ++i)
        records.append({i, QStringLiteral("/f%1").arg(i)});
    test_case.create_file_system_db(records);
    test_case.create_timestamps_db();
    QVERIFY(TestCase::exec(test_case.timestamps_db(), {"insert into files (filesystem_record) values (-1)"}));

    for (int run = 1; run <= 2; ++run) {
        QCOMPARE(test_case.run("1").lines, QStringList{R"("Record:" "SRC1" && 500 && "500")"});
        // Earlier rows stay; every run appends one row per record.
        QCOMPARE(TestCase::count_rows(test_case.timestamps_db()), 1 + run * 500);
        QCOMPARE(TestCase::record_index_count(test_case.timestamps_db()), 1);
    }
    // The timestamps run reads the records but never marks them.
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(), "where fs_module_apple_metadata_run_status = '1'"), 0);
}

void tst_timestamps_run::timestamp_columns()
{
    TestCase test_case;
    test_case.add_file("/Users/a/report.txt");
    test_case.add_file("/.Trashes/501/old.doc");
    const QByteArray report = QFile::encodeName(test_case.source_root() + "/Users/a/report.txt");
    const timeval times[2] = {{1600000000, 0}, {1700000000, 250000}};
    QVERIFY(::utimes(report.constData(), times) == 0);
    const QByteArray used_dates = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array>"
                                  "<date>1970-01-01T00:00:00Z</date><date>2023-11-14T22:13:20Z</date>"
                                  "<date>2023-11-14T23:13:20Z</date></array></plist>";
    QByteArray last_used(16, '\0');
    qToLittleEndian<qint64>(1690000000, last_used.data());
    if (::setxattr(report.constData(), "user.com.apple.metadata:kMDItemUsedDates", used_dates.constData(),
                   size_t(used_dates.size()), 0) != 0
        || ::setxattr(report.constData(), "user.com.apple.lastuseddate#PS", last_used.constData(), 16, 0) != 0)
        QSKIP("the temporary folder's file system keeps no user extended attributes");

    test_case.create_file_system_db({{"  5 ", " /Users/a/report.txt  "}, {6, "/.Trashes/501/old.doc"},
                                     {7, "/Users/a/missing.txt"}, {QVariant(), "/Users/a/report.txt"}});
    test_case.create_timestamps_db();
    QCOMPARE(test_case.run("1").lines, QStringList());
    const QList<QStringList> rows = text_rows(test_case.timestamps_db(), "select filesystem_record, useddates, "
        "usecount, last_useddate, content_modification_date, date_added from files order by rowid");
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows[0], (QStringList{"5", "1700000000;1700003600", "NULL", "1690000000", "1700000000", "NULL"}));
    // A protected file gets its row here; a missing one gets empty texts.
    QVERIFY(rows[1][0] == "6" && rows[1][4].toLongLong() > 0);
    QCOMPARE(rows[2], (QStringList{"7", "", "", "", "", ""}));
    // A record without a number is still read and stored.
    QCOMPARE(rows[3][1], QStringLiteral("1700000000;1700003600"));
}

QTEST_GUILESS_MAIN(tst_timestamps_run)
#include "tst_timestamps_run.moc"
