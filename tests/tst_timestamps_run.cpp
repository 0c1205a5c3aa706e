// Run kind "1" as the host starts it: six timestamps of every record,
// appended to apple_timestamps.sqlite.

#include "text_rows.h"

#include <QFile>
#include <QtTest>

#include <sys/time.h>
#include <sys/xattr.h>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

QString progress(int count, const QString &total)
{
    return QStringLiteral("\"Record:\" \"SRC1\" && %1 && \"%2\"").arg(count).arg(total);
}

bool set_attribute(const QString &path, const char *name, const QByteArray &value)
{
    return ::setxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()), 0) == 0;
}

} // namespace

class tst_timestamps_run : public QObject
{
    Q_OBJECT

private slots:
    void rows_appended_data();
    void rows_appended();
    void timestamp_columns();
};

void tst_timestamps_run::rows_appended_data()
{
    QTest::addColumn<int>("record_count");
    QTest::addColumn<QStringList>("expected_lines");

    QTest::newRow("empty files table, no line") << 0 << QStringList();
    QTest::newRow("499 records, no line") << 499 << QStringList();
    QTest::newRow("500 records, one line after the 500th") << 500 << QStringList{progress(500, "500")};
}

void tst_timestamps_run::rows_appended()
{
    QFETCH(int, record_count);
    QFETCH(QStringList, expected_lines);

    TestCase test_case;
    Records records;
    for (int i = 1; i <= record_count; ++i)
        records.append({i, QStringLiteral("/f%1").arg(i)});
    test_case.create_file_system_db(records);
    test_case.create_timestamps_db();
    const QString timestamps = test_case.timestamps_db();
    QVERIFY(TestCase::exec(timestamps, {"insert into files (filesystem_record) values (-1)"}));

    for (int run = 1; run <= 2; ++run) {
        const TestCase::Result result = test_case.run("1");
        QCOMPARE(result.exit_code, 0);
        QCOMPARE(result.lines, expected_lines);
        // Earlier rows stay; every run appends one row per record.
        QCOMPARE(TestCase::count_rows(timestamps), 1 + run * record_count);
        QCOMPARE(TestCase::record_index_count(timestamps), 1);
    }
    // The timestamps run reads the records but never marks them.
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(),
                                  "where fs_module_apple_metadata_run_status = '1'"),
             0);
}

void tst_timestamps_run::timestamp_columns()
{
    TestCase test_case;
    test_case.add_file("/Users/a/report.txt");
    test_case.add_file("/.Trashes/501/old.doc");
    const QString report = test_case.source_root() + "/Users/a/report.txt";

    const timeval times[2] = {{1600000000, 0}, {1700000000, 250000}};
    QVERIFY(::utimes(QFile::encodeName(report).constData(), times) == 0);
    const QByteArray used_dates =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array>"
        "<date>1970-01-01T00:00:00Z</date><date>2023-11-14T22:13:20Z</date>"
        "<date>2023-11-14T23:13:20Z</date></array></plist>";
    QByteArray last_used(16, '\0');
    const qint64 seconds = 1690000000;
    memcpy(last_used.data(), &seconds, sizeof seconds); // little-endian host
    if (!set_attribute(report, "user.com.apple.metadata:kMDItemUsedDates", used_dates)
        || !set_attribute(report, "user.com.apple.lastuseddate#PS", last_used))
        QSKIP("the temporary folder's file system keeps no user extended attributes");

    test_case.create_file_system_db({{"  5 ", " /Users/a/report.txt  "},
                                     {6, "/.Trashes/501/old.doc"},
                                     {7, "/Users/a/missing.txt"},
                                     {QVariant(), "/Users/a/report.txt"}});
    test_case.create_timestamps_db();

    QCOMPARE(test_case.run("1").lines, QStringList());
    const QList<QStringList> rows = text_rows(test_case.timestamps_db(),
                                              "select filesystem_record, useddates, usecount, last_useddate, "
                                              "content_modification_date, date_added from files order by rowid");
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows[0], (QStringList{"5", "1700000000;1700003600", "NULL", "1690000000", "1700000000", "NULL"}));
    // A protected file gets its row here; a missing one gets empty texts.
    QCOMPARE(rows[1][0], QStringLiteral("6"));
    QVERIFY(rows[1][4].toLongLong() > 0);
    QCOMPARE(rows[2], (QStringList{"7", "", "", "", "", ""}));
    // A record without a number is still read and stored.
    QCOMPARE(rows[3][1], QStringLiteral("1700000000;1700003600"));
}

QTEST_GUILESS_MAIN(tst_timestamps_run)
#include "tst_timestamps_run.moc"
