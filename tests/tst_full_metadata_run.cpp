// Run kind "2" as the host starts it: every record of the source into an
// emptied apple_metadata.sqlite, every record marked.

#include "text_rows.h"

#include <QDir>
#include <QDeadlineTimer>
#include <QtTest>

namespace {

const QStringList keys = {QStringLiteral("kMDItemFSName"), QStringLiteral("kMDItemTitle")};
const QString marked = QStringLiteral("where fs_module_apple_metadata_run_status = '1'");

QList<QPair<QVariant, QVariant>> numbered_records(int count)
{
    QList<QPair<QVariant, QVariant>> records;
    for (int i = 1; i <= count; ++i)
        records.append({i, QStringLiteral("/file%1.txt").arg(i)});
    return records;
}

QString progress(int count, int total) { return QString(R"("Record:" "SRC1" && %1 && "%2")").arg(count).arg(total); }

} // namespace

class tst_full_metadata_run : public QObject
{
    Q_OBJECT

private slots:
    void every_record_read_and_marked_data();
    void every_record_read_and_marked();
    void row_per_file();
    void unopenable_results_db_marks_nothing();
    void killed_midway_keeps_rows_and_marks_nothing();
};

void tst_full_metadata_run::every_record_read_and_marked_data()
{
    QTest::addColumn<int>("record_count");
    QTest::addColumn<QStringList>("expected_lines");

    QTest::newRow("499 records, no line") << 499 << QStringList();
    QTest::newRow("500 records, one line") << 500 << QStringList{progress(500, 500)};
    QTest::newRow("1234 records, lines at 500 and 1000")
        << 1234 << QStringList{progress(500, 1234), progress(1000, 1234)};
}

void tst_full_metadata_run::every_record_read_and_marked()
{
    QFETCH(int, record_count);
    QFETCH(QStringList, expected_lines);

    TestCase test_case;
    test_case.create_file_system_db(numbered_records(record_count));
    test_case.create_metadata_db(keys);
    const QString metadata = test_case.metadata_db();
    QVERIFY(TestCase::exec(metadata, {"insert into files (filesystem_record) values (999999)"}));

    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, expected_lines);
    // The host's earlier row is gone; one row per record.
    QCOMPARE(TestCase::count_rows(metadata), record_count);
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(), marked), record_count);
    QCOMPARE(TestCase::record_index_count(metadata), 1);
}

void tst_full_metadata_run::row_per_file()
{
    TestCase test_case;
    test_case.add_file("/Users/a/report.txt");
    test_case.add_file("/.Trashes/501/old.doc");
    test_case.create_file_system_db({{" 7 ", "  /Users/a/report.txt\t"}, {"2; DROP TABLE files", "/Users/a/gone.txt"},
                                     {9, "/.Trashes/501/old.doc"}, {10, QVariant()},
                                     {"1 OR 1=1", "/Users/a/report.txt"}});
    const QStringList columns = {"kMDItemFSName", "it's kMDItemTitle"};
    test_case.create_metadata_db(columns);

    for (int run = 1; run <= 2; ++run) {
        QCOMPARE(test_case.run("2", QString(), keys, columns).lines, QStringList());
        // Trimmed record and path; an absent attribute is NULL, a file that is not
        // there has empty texts, a protected file no row; a quote stays in its column.
        QCOMPARE(text_rows(test_case.metadata_db(),
                           "select filesystem_record, kMDItemFSName, \"it's kMDItemTitle\" from files order by rowid"),
                 (QList<QStringList>{{"7", "report.txt", "NULL"}, {"2; DROP TABLE files", "", ""},
                                     {"10", "source", "NULL"}, {"1 OR 1=1", "report.txt", "NULL"}}));
        // Only whole numbers reach the update, and the trimmed "7" does not equal
        // the record stored with blanks around it.
        QCOMPARE(text_rows(test_case.file_system_db(), "select INT from files " + marked),
                 (QList<QStringList>{{"9"}, {"10"}}));
        QCOMPARE(TestCase::record_index_count(test_case.metadata_db()), 1);
    }
}

void tst_full_metadata_run::unopenable_results_db_marks_nothing()
{
    TestCase test_case;
    test_case.create_file_system_db(numbered_records(3));
    QVERIFY(QDir().mkpath(test_case.metadata_db()));
    QCOMPARE(test_case.run("2", QString(), keys, keys).lines, QStringList());
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(), marked), 0);
}

void tst_full_metadata_run::killed_midway_keeps_rows_and_marks_nothing()
{
    TestCase test_case;
    test_case.create_file_system_db(numbered_records(4000));
    test_case.create_metadata_db(keys);

    // A killed worker leaves its runtime folder behind: it gets one that goes with the test.
    QTemporaryDir runtime_folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime_folder.path());
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(QStringLiteral(VANTREL_EXECUTABLE), {test_case.source_root(), QString(), test_case.case_dir(),
                 TestCase::joined(keys), TestCase::joined(keys), test_case.source_name(), "2"});
    // Killed right after its first progress line, well inside its loop.
    const QDeadlineTimer deadline(60000);
    while (!worker.readAllStandardError().contains("Record:") && !deadline.hasExpired())
        worker.waitForReadyRead(100);
    worker.kill();
    worker.waitForFinished();

    const int rows = TestCase::count_rows(test_case.metadata_db());
    QVERIFY2(rows >= 500 && rows < 4000, qPrintable(QString::number(rows)));
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(), marked), 0);
    for (const QString &path : {test_case.metadata_db(), test_case.file_system_db()})
        QCOMPARE(TestCase::rows(path, "pragma integrity_check"), (QList<QVariantList>{{"ok"}}));
}

QTEST_GUILESS_MAIN(tst_full_metadata_run)
#include "tst_full_metadata_run.moc"
