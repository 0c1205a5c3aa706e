// Run kinds "3" and "4" as the host starts them from its file-system view.

#include "test_case.h"

#include <QtTest>

const QStringList keys = {QStringLiteral("kMDItemFSName")};
const QString report = QStringLiteral("/Users/zo\u00eb/\u62a5\u544a \"draft\".txt"); // in several scripts
const QString report_name = report.mid(11);

static QList<QVariantList> result_rows(const TestCase &test_case)
{
    return TestCase::rows(test_case.metadata_db(), "select filesystem_record, kMDItemFSName from files order by rowid");
}

static QList<QVariantList> marked_records(const TestCase &test_case)
{
    return TestCase::rows(test_case.file_system_db(), "select INT from files where fs_module_apple_metadata_run_status = '1'");
}

class tst_click_runs : public QObject
{
    Q_OBJECT

private slots:
    void right_click_progress_data();
    void right_click_progress();
    void right_click_rows_and_marks();
    void left_click_data();
    void left_click();
};

void tst_click_runs::right_click_progress_data()
{
    QTest::addColumn<int>("record_count"); // the third record is protected
    QTest::addColumn<QString>("path_pattern");
    QTest::addColumn<QStringList>("expected_lines");

    QTest::newRow("lines every 100 records read, the protected one uncounted") << 250 << "/f%1"
        << QStringList{R"("Record:" "/f101" && 100 && "250")", R"("Record:" "/f201" && 200 && "250")"};
    QTest::newRow("quotes and && in a path stay inside one quoted item") << 101 << "/a \"b\" && c\\%1"
        << QStringList{R"("Record:" "/a \"b\" && c\\101" && 100 && "101")"};
}

void tst_click_runs::right_click_progress()
{
    QFETCH(int, record_count);
    QFETCH(QString, path_pattern);
    QFETCH(QStringList, expected_lines);

    TestCase test_case;
    QList<QVariantList> essential_rows;
    QList<QPair<QVariant, QVariant>> records;
    for (int i = 1; i <= record_count; ++i) {
        const QString path = i == 3 ? "/.TemporaryItems/f3" : path_pattern.arg(i);
        essential_rows.append({i, path, "SRC1"});
        records.append({i, path});
    }
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, essential_rows);
    test_case.create_file_system_db(records);
    test_case.create_metadata_db(keys);

    QCOMPARE(test_case.run("3", essential, keys, keys).lines, expected_lines);
    QCOMPARE(result_rows(test_case).size(), record_count - 1);
    QCOMPARE(marked_records(test_case).size(), record_count);
}

void tst_click_runs::right_click_rows_and_marks()
{
    TestCase test_case;
    const QString essential = test_case.case_dir() + "essential.sqlite";
    test_case.add_file(report);
    TestCase::create_essential_db(essential, {{1, report, "SRC1"}, {2, "/.Trashes/501/old.doc", "SRC1"},
                                              {"", report, "SRC1"}, {QVariant(), report, "SRC1"},
                                              {"4 OR 1=1", report, "SRC1"}, {5, report, "SRC2"}});
    test_case.create_file_system_db({{1, report}, {2, "/.Trashes/501/old.doc"}, {3, "/x"}, {4, "/y"}, {5, "/z"}});
    test_case.create_metadata_db(keys);
    QVERIFY(TestCase::exec(test_case.metadata_db(), {"insert into files values ('earlier', 99)"}));

    for (const QString &list : {test_case.case_dir() + "gone.sqlite", essential, essential})
        QCOMPARE(test_case.run("3", list, keys, keys).lines, QStringList());
    // No essential database, nothing read; else each run appends. Empty record numbers and other sources' records
    // are skipped, protected files marked without a row, "4 OR 1=1" stored but unmarked, the host's list only read.
    QCOMPARE(result_rows(test_case), (QList<QVariantList>{{99, "earlier"}, {1, report_name}, {"4 OR 1=1", report_name},
                                                          {1, report_name}, {"4 OR 1=1", report_name}}));
    QCOMPARE(marked_records(test_case), (QList<QVariantList>{{1}, {2}}));
    QCOMPARE(TestCase::record_index_count(test_case.metadata_db()), 1);
    QCOMPARE(TestCase::count_rows(essential), 6);
}

void tst_click_runs::left_click_data()
{
    QTest::addColumn<QString>("file_path"); // {root} stands for the source's own path
    QTest::addColumn<QList<QVariantList>>("expected_rows");

    const QList<QVariantList> earlier = {{99, "earlier"}};
    QTest::newRow("found record is the only row") << report << QList<QVariantList>{{7, report_name}};
    QTest::newRow("unknown path leaves earlier rows") << "/Users/a/other.txt" << earlier;
    QTest::newRow("path given with the source prefix finds no record") << "{root}" + report << earlier;
    QTest::newRow("duplicate path takes the first record") << "/dup.txt" << QList<QVariantList>{{11, "dup.txt"}};
    QTest::newRow("protected path empties the table") << "/.Trashes/501/old.doc" << QList<QVariantList>();
    QTest::newRow("record without a number is not found") << "/nonumber.txt" << earlier;
}

void tst_click_runs::left_click()
{
    QFETCH(QString, file_path);
    QFETCH(QList<QVariantList>, expected_rows);

    TestCase test_case;
    for (const QString &path : QStringList{report, "/dup.txt", "/.Trashes/501/old.doc", "/nonumber.txt"})
        test_case.add_file(path);
    test_case.create_file_system_db({{7, report}, {11, "/dup.txt"}, {12, "/dup.txt"},
                                     {13, "/.Trashes/501/old.doc"}, {QVariant(), "/nonumber.txt"}});
    test_case.create_metadata_db(keys);
    QVERIFY(TestCase::exec(test_case.metadata_db(), {"insert into files values ('earlier', 99)"}));

    QCOMPARE(test_case.run("4", file_path.replace("{root}", test_case.source_root()), keys, keys).lines, QStringList());
    QCOMPARE(result_rows(test_case), expected_rows);
    QVERIFY(marked_records(test_case).isEmpty());
}

QTEST_GUILESS_MAIN(tst_click_runs)
#include "tst_click_runs.moc"
