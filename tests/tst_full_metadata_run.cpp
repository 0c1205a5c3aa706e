// Run kind "2" as the host starts it: every record of the source into an
// emptied apple_metadata.sqlite, every record marked.

#include "text_rows.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

const QStringList keys = {QStringLiteral("kMDItemFSName"), QStringLiteral("kMDItemTitle")};

Records numbered_records(int count)
{
    Records records;
    for (int i = 1; i <= count; ++i)
        records.append({i, QStringLiteral("/file%1.txt").arg(i)});
    return records;
}

QString progress(const QString &label, int count, const QString &total)
{
    return QStringLiteral("\"Record:\" \"%1\" && %2 && \"%3\"").arg(label).arg(count).arg(total);
}

} // namespace

class tst_full_metadata_run : public QObject
{
    Q_OBJECT

private slots:
    void every_record_read_and_marked_data();
    void every_record_read_and_marked();
    void row_per_file();
    void missing_file_system_db_still_empties_results();
    void unopenable_results_db_marks_nothing();
    void hostile_record_numbers_and_column_names();
    void killed_midway_keeps_rows_and_marks_nothing();
};

void tst_full_metadata_run::every_record_read_and_marked_data()
{
    QTest::addColumn<int>("record_count");
    QTest::addColumn<QStringList>("expected_lines");

    QTest::newRow("no records, no line") << 0 << QStringList();
    QTest::newRow("499 records, no line") << 499 << QStringList();
    QTest::newRow("500 records, one line") << 500 << QStringList{progress("SRC1", 500, "500")};
    QTest::newRow("1234 records, lines at 500 and 1000")
        << 1234 << QStringList{progress("SRC1", 500, "1234"), progress("SRC1", 1000, "1234")};
}

void tst_full_metadata_run::every_record_read_and_marked()
{
    QFETCH(int, record_count);
    QFETCH(QStringList, expected_lines);

    TestCase test_case;
    test_case.create_file_system_db(numbered_records(record_count));
    test_case.create_metadata_db(keys);
    const QString metadata = test_case.metadata_db();
    const QString file_system = test_case.file_system_db();
    QVERIFY(TestCase::exec(metadata, {"insert into files (filesystem_record) values (999999)"}));

    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, expected_lines);
    QCOMPARE(TestCase::count_rows(metadata), record_count);
    QCOMPARE(TestCase::count_rows(metadata, "where filesystem_record = 999999"), 0);
    QCOMPARE(TestCase::count_rows(file_system, "where fs_module_apple_metadata_run_status = '1'"), record_count);
    QCOMPARE(TestCase::record_index_count(metadata), 1);
}

void tst_full_metadata_run::row_per_file()
{
    TestCase test_case;
    test_case.add_file("/Users/a/report.txt");
    test_case.add_file("/.Trashes/501/old.doc");
    test_case.create_file_system_db({{" 7 ", "  /Users/a/report.txt\t"},
                                     {8, "/Users/a/missing.txt"},
                                     {9, "/.Trashes/501/old.doc"},
                                     {10, QVariant()}});
    test_case.create_metadata_db(keys);
    const QString metadata = test_case.metadata_db();

    for (int run = 1; run <= 2; ++run) {
        const TestCase::Result result = test_case.run("2", QString(), keys, keys);
        QCOMPARE(result.lines, QStringList());
        // Trimmed record and path; an absent attribute is NULL, a file that
        // is not there has empty texts; the protected file has no row.
        QCOMPARE(text_rows(metadata, "select filesystem_record, kMDItemFSName, kMDItemTitle from files order by 1"),
                 (QList<QStringList>{{"7", "report.txt", "NULL"}, {"8", "", ""}, {"10", "source", "NULL"}}));
        // The update names the trimmed number, which the record stored as
        // text with blanks around it does not equal: three of four marked.
        QCOMPARE(TestCase::count_rows(test_case.file_system_db(),
                            "where fs_module_apple_metadata_run_status = '1'"),
                 3);
        QCOMPARE(TestCase::record_index_count(metadata), 1);
    }
}

void tst_full_metadata_run::missing_file_system_db_still_empties_results()
{
    // It comes into being empty; the result table is still emptied and indexed.
    TestCase test_case;
    test_case.create_metadata_db(keys);
    const QString metadata = test_case.metadata_db();
    QVERIFY(TestCase::exec(metadata, {"insert into files (filesystem_record) values (1)"}));
    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.lines, QStringList());
    QVERIFY(QFile::exists(test_case.file_system_db()));
    QCOMPARE(TestCase::count_rows(metadata), 0);
    QCOMPARE(TestCase::record_index_count(metadata), 1);
}

void tst_full_metadata_run::unopenable_results_db_marks_nothing()
{
    TestCase test_case;
    test_case.create_file_system_db(numbered_records(3));
    QVERIFY(QDir().mkpath(test_case.metadata_db()));
    const TestCase::Result result = test_case.run("2", QString(), keys, keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, QStringList());
    QCOMPARE(TestCase::count_rows(test_case.file_system_db(),
                        "where fs_module_apple_metadata_run_status = '1'"),
             0);
}

void tst_full_metadata_run::hostile_record_numbers_and_column_names()
{
    // Record numbers that are no whole numbers keep their rows but never
    // reach a run-status update; a quote in a column name stays inside it.
    TestCase test_case;
    test_case.create_file_system_db({{1, "/a"}, {"7a", "/b"}, {"1 OR 1=1", "/c"},
                                     {"2; DROP TABLE files", "/d"}, {3, "/e"}, {4, "/f"}});
    const QStringList columns = {"it's kMDItemFSName"};
    test_case.create_metadata_db(columns);
    QVERIFY(TestCase::exec(test_case.file_system_db(),
                           {"update files set fs_module_apple_metadata_run_status = '0'"}));

    const TestCase::Result result = test_case.run("2", QString(), {"kMDItemFSName"}, columns);
    QCOMPARE(result.lines, QStringList());
    const auto rows = TestCase::rows(test_case.metadata_db(),
                                     "select filesystem_record from files order by rowid");
    QCOMPARE(rows.size(), 6);
    QCOMPARE(rows[2][0].toString(), QStringLiteral("1 OR 1=1"));
    const auto marked = TestCase::rows(test_case.file_system_db(),
                                       "select INT from files where fs_module_apple_metadata_run_status = '1' "
                                       "order by rowid");
    QCOMPARE(marked, (QList<QVariantList>{{1}, {3}, {4}}));
}

void tst_full_metadata_run::killed_midway_keeps_rows_and_marks_nothing()
{
    TestCase test_case;
    test_case.create_file_system_db(numbered_records(4000));
    test_case.create_metadata_db(keys);

    // A killed worker cannot remove the runtime folder it would make for
    // itself: it gets one that goes with the test.
    QTemporaryDir runtime_folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime_folder.path());
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.start(QStringLiteral(VANTREL_EXECUTABLE),
                 {test_case.source_root(), QString(), test_case.case_dir(), TestCase::joined(keys),
                  TestCase::joined(keys), test_case.source_name(), "2"});
    QElapsedTimer timer;
    timer.start();
    // Killed right after its first progress line, well inside its loop.
    while (!worker.readAllStandardError().contains("Record:") && timer.elapsed() < 60000)
        worker.waitForReadyRead(100);
    worker.kill();
    worker.waitForFinished();

    const QString metadata = test_case.metadata_db();
    const QString file_system = test_case.file_system_db();
    QVERIFY(TestCase::count_rows(metadata) >= 500);
    QVERIFY(TestCase::count_rows(metadata) < 4000);
    QCOMPARE(TestCase::count_rows(file_system, "where fs_module_apple_metadata_run_status = '1'"), 0);
    for (const QString &path : {metadata, file_system})
        QCOMPARE(TestCase::rows(path, "pragma integrity_check"), (QList<QVariantList>{{"ok"}}));
}

QTEST_GUILESS_MAIN(tst_full_metadata_run)
#include "tst_full_metadata_run.moc"
