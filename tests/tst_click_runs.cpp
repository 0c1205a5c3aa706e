// Run kinds "3" and "4" as the host starts them from its file-system view.

#include "test_case.h"

#include <QFile>
#include <QtTest>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

const QStringList keys = {QStringLiteral("kMDItemFSName")};

QList<QVariantList> result_rows(const TestCase &test_case)
{
    return TestCase::rows(test_case.metadata_db(),
                          "select filesystem_record, kMDItemFSName from files order by rowid");
}

QList<QVariantList> marked_records(const TestCase &test_case)
{
    return TestCase::rows(test_case.file_system_db(),
                          "select INT from files where fs_module_apple_metadata_run_status = '1' order by 1");
}

} // namespace

class tst_click_runs : public QObject
{
    Q_OBJECT

private slots:
    void right_click_progress_data();
    void right_click_progress();
    void right_click_rows_and_marks();
    void right_click_without_essential_db();
    void left_click_data();
    void left_click();
};

void tst_click_runs::right_click_progress_data()
{
    QTest::addColumn<int>("record_count");
    QTest::addColumn<int>("protected_record");
    QTest::addColumn<QString>("path_pattern");
    QTest::addColumn<QStringList>("expected_lines");

    QTest::newRow("250 records, lines at 100 and 200")
        << 250 << 0 << "/f%1"
        << QStringList{R"("Record:" "/f100" && 100 && "250")", R"("Record:" "/f200" && 200 && "250")"};
    QTest::newRow("protected record does not count")
        << 101 << 3 << "/f%1" << QStringList{R"("Record:" "/f101" && 100 && "101")"};
    QTest::newRow("99 records, no line") << 99 << 0 << "/f%1" << QStringList();
    QTest::newRow("quotes and && in a path stay inside one quoted item")
        << 100 << 0 << "/a \"b\" && c\\%1"
        << QStringList{R"("Record:" "/a \"b\" && c\\100" && 100 && "100")"};
}

void tst_click_runs::right_click_progress()
{
    QFETCH(int, record_count);
    QFETCH(int, protected_record);
    QFETCH(QString, path_pattern);
    QFETCH(QStringList, expected_lines);

    TestCase test_case;
    QList<QVariantList> essential_rows;
    Records records;
    for (int i = 1; i <= record_count; ++i) {
        const QString path = i == protected_record ? QStringLiteral("/.TemporaryItems/f%1").arg(i)
                                                   : path_pattern.arg(i);
        essential_rows.append({i, path, "SRC1"});
        records.append({i, path});
    }
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, essential_rows);
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);

    const TestCase::Result result = test_case.run("3", essential, keys, keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, expected_lines);
    QCOMPARE(result_rows(test_case).size(), record_count - (protected_record ? 1 : 0));
    QCOMPARE(marked_records(test_case).size(), record_count);
}

void tst_click_runs::right_click_rows_and_marks()
{
    TestCase test_case;
    test_case.add_file("/Users/a/report.txt");
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, {{1, "/Users/a/report.txt", "SRC1"},
                                              {2, "/.Trashes/501/old.doc", "SRC1"},
                                              {"", "/Users/a/report.txt", "SRC1"},
                                              {QVariant(), "/Users/a/report.txt", "SRC1"},
                                              {"4 OR 1=1", "/Users/a/report.txt", "SRC1"},
                                              {5, "/Users/a/report.txt", "SRC2"}});
    test_case.create_file_system_db({{1, "/Users/a/report.txt"}, {2, "/.Trashes/501/old.doc"},
                                     {3, "/x"}, {4, "/y"}, {5, "/z"}});
    test_case.create_metadata_db(keys);
    QVERIFY(TestCase::exec(test_case.metadata_db(),
                           {"insert into files values ('earlier', 99)"}));

    for (int run = 1; run <= 2; ++run)
        QCOMPARE(test_case.run("3", essential, keys, keys).lines, QStringList());

    // Earlier rows stay and each run appends; empty record numbers are
    // skipped, protected files marked without a row, and a record number
    // that is no whole number gets its row but marks nothing.
    const QList<QVariantList> expected = {{99, "earlier"},
                                          {1, "report.txt"},
                                          {"4 OR 1=1", "report.txt"},
                                          {1, "report.txt"},
                                          {"4 OR 1=1", "report.txt"}};
    QCOMPARE(result_rows(test_case), expected);
    QCOMPARE(marked_records(test_case), (QList<QVariantList>{{1}, {2}}));
    QCOMPARE(TestCase::record_index_count(test_case.metadata_db()), 1);
    // The host's essential database is only read.
    QCOMPARE(TestCase::rows(essential, "select count(*) from files"), (QList<QVariantList>{{6}}));
}

void tst_click_runs::right_click_without_essential_db()
{
    TestCase test_case;
    test_case.create_file_system_db({{1, "/a"}});
    test_case.create_metadata_db(keys);
    const QString essential = test_case.case_dir() + "gone.sqlite";

    QCOMPARE(test_case.run("3", essential, keys, keys).lines, QStringList());
    QVERIFY(result_rows(test_case).isEmpty());
    QVERIFY(marked_records(test_case).isEmpty());
    QCOMPARE(TestCase::record_index_count(test_case.metadata_db()), 1);
}

void tst_click_runs::left_click_data()
{
    QTest::addColumn<QString>("file_path");
    QTest::addColumn<bool>("with_prefix");
    QTest::addColumn<QList<QVariantList>>("expected_rows");

    const QList<QVariantList> earlier = {{99, "earlier"}};
    QTest::newRow("found record is the only row") << "/Users/a/report.txt" << false
                                                  << QList<QVariantList>{{7, "report.txt"}};
    QTest::newRow("unknown path leaves earlier rows") << "/Users/a/other.txt" << false << earlier;
    QTest::newRow("path given with the source prefix finds no record")
        << "/Users/a/report.txt" << true << earlier;
    QTest::newRow("duplicate path takes the first record")
        << "/dup.txt" << false << QList<QVariantList>{{11, "dup.txt"}};
    QTest::newRow("protected path empties the table") << "/.Trashes/501/old.doc" << false
                                                       << QList<QVariantList>();
    QTest::newRow("record without a number is not found") << "/nonumber.txt" << false << earlier;
}

void tst_click_runs::left_click()
{
    QFETCH(QString, file_path);
    QFETCH(bool, with_prefix);
    QFETCH(QList<QVariantList>, expected_rows);

    TestCase test_case;
    for (const char *path : {"/Users/a/report.txt", "/dup.txt", "/.Trashes/501/old.doc", "/nonumber.txt"})
        test_case.add_file(path);
    test_case.create_file_system_db({{7, "/Users/a/report.txt"}, {11, "/dup.txt"}, {12, "/dup.txt"},
                                     {13, "/.Trashes/501/old.doc"}, {QVariant(), "/nonumber.txt"}});
    test_case.create_metadata_db(keys);
    QVERIFY(TestCase::exec(test_case.metadata_db(),
                           {"insert into files values ('earlier', 99)"}));

    const QString argument = with_prefix ? test_case.source_root() + file_path : file_path;
    const TestCase::Result result = test_case.run("4", argument, keys, keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(result.lines, QStringList());
    QCOMPARE(result_rows(test_case), expected_rows);
    QVERIFY(marked_records(test_case).isEmpty());
}

QTEST_GUILESS_MAIN(tst_click_runs)
#include "tst_click_runs.moc"
