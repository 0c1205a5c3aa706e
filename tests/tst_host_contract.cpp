// What the host must guarantee: each case shows, through the built worker,
// a way the runs lose or misplace data without a word when the host's
// side is not as agreed. They pin the worker's contract, not faults.

#include "evidence_files.h"
#include "test_case.h"

#include <QDir>
#include <QFile>
#include <QtTest>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

Records files(TestCase &test_case, int count)
{
    Records records;
    for (int i = 1; i <= count; ++i) {
        test_case.add_file(QStringLiteral("/f%1.txt").arg(i));
        records.append({i, QStringLiteral("/f%1.txt").arg(i)});
    }
    return records;
}

int marked(const TestCase &test_case)
{
    return TestCase::count_rows(test_case.database("file_system.sqlite"),
                                "where fs_module_apple_metadata_run_status = '1'");
}

} // namespace

class tst_host_contract : public QObject
{
    Q_OBJECT

private slots:
    void key_without_a_column_loses_every_row();
    void key_inside_an_earlier_column_lands_there();
    void spoiled_database_data();
    void spoiled_database();
    void marks_are_committed_batch_by_batch();
    void two_workers_on_one_source_duplicate_rows();
};

void tst_host_contract::key_without_a_column_loses_every_row()
{
    TestCase test_case;
    test_case.create_file_system_db(files(test_case, 3));
    test_case.create_metadata_db({"kMDItemFSName"});

    // kMDItemTitle has no column: every insert names a column '' and fails.
    test_case.run("2", QString(), {"kMDItemFSName", "kMDItemTitle"}, {"kMDItemFSName"});
    QCOMPARE(TestCase::count_rows(test_case.database("apple_metadata.sqlite")), 0);
    QCOMPARE(marked(test_case), 3);
}

void tst_host_contract::key_inside_an_earlier_column_lands_there()
{
    TestCase test_case;
    test_case.create_file_system_db(files(test_case, 1));
    const QStringList columns = {"old_kMDItemFSName_v1", "kMDItemFSName"};
    test_case.create_metadata_db(columns);

    // The first column whose name contains the key takes its value.
    test_case.run("2", QString(), {"kMDItemFSName"}, columns);
    const auto rows = TestCase::rows(test_case.database("apple_metadata.sqlite"),
                                     "select old_kMDItemFSName_v1, kMDItemFSName from files");
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0][0].toString(), QStringLiteral("f1.txt"));
    QVERIFY(rows[0][1].isNull());
}

void tst_host_contract::spoiled_database_data()
{
    QTest::addColumn<QString>("database"); // the one spoiled
    QTest::addColumn<QString>("how");

    // A full run empties the results whatever stands for the records.
    QTest::newRow("record list missing") << "file_system.sqlite" << "missing";
    QTest::newRow("record list no database") << "file_system.sqlite" << "garbage";
    QTest::newRow("record list a folder") << "file_system.sqlite" << "folder";
    QTest::newRow("record list without its table") << "file_system.sqlite" << "empty database";
    // Records are marked handled whatever stands for the results.
    QTest::newRow("results no database") << "apple_metadata.sqlite" << "garbage";
    QTest::newRow("results without their table") << "apple_metadata.sqlite" << "empty database";
    QTest::newRow("results refusing every insert") << "apple_metadata.sqlite" << "refusing trigger";
}

void tst_host_contract::spoiled_database()
{
    QFETCH(QString, database);
    QFETCH(QString, how);

    TestCase test_case;
    const bool records_spoiled = database == "file_system.sqlite";
    const QStringList keys = {"kMDItemFSName"};
    const QString metadata = test_case.database("apple_metadata.sqlite");
    if (!records_spoiled)
        test_case.create_file_system_db(files(test_case, 5));
    if (records_spoiled || how == "refusing trigger") {
        test_case.create_metadata_db(keys);
        QVERIFY(TestCase::exec(metadata, {"insert into files (filesystem_record) values (1)"}));
    }
    const QString path = test_case.database(database);
    if (how == "garbage")
        QVERIFY(write_file(path, QByteArray(4096, 'g')));
    else if (how == "folder")
        QVERIFY(QDir().mkpath(path));
    else if (how == "empty database")
        QVERIFY(TestCase::exec(path, {"create table other (x)"}));
    else if (how == "refusing trigger")
        QVERIFY(TestCase::exec(path, {"create trigger refuse before insert on files "
                                      "begin select raise(abort, 'refused'); end"}));

    QCOMPARE(test_case.run("2", QString(), keys, keys).exit_code, 0);
    // Either the host's earlier results are gone though no file was read, or every
    // record reads as handled though no row holds its values.
    if (records_spoiled || how == "refusing trigger")
        QCOMPARE(TestCase::count_rows(metadata), 0);
    if (!records_spoiled)
        QCOMPARE(marked(test_case), 5);
}

void tst_host_contract::marks_are_committed_batch_by_batch()
{
    // A batch that fails midway stands for a worker killed while marking:
    // the batches before and after it stay committed.
    TestCase test_case;
    Records records;
    for (int i = 1; i <= 120; ++i)
        records.append({i, QStringLiteral("/missing%1").arg(i)});
    test_case.create_file_system_db(records);
    QVERIFY(TestCase::exec(test_case.database("file_system.sqlite"),
                           {"create trigger refuse before update on files when new.INT = 75 "
                            "begin select raise(abort, 'refused'); end"}));
    const QStringList keys = {"kMDItemFSName"};
    test_case.create_metadata_db(keys);

    test_case.run("2", QString(), keys, keys);
    QCOMPARE(marked(test_case), 70);
    QCOMPARE(TestCase::count_rows(test_case.database("file_system.sqlite"),
                                  "where fs_module_apple_metadata_run_status = '1' and INT between 51 and 100"),
             0);
}

void tst_host_contract::two_workers_on_one_source_duplicate_rows()
{
    TestCase test_case;
    const Records records = files(test_case, 20);
    test_case.create_file_system_db(records);
    const QStringList keys = {"kMDItemFSName"};
    test_case.create_metadata_db(keys);
    QList<QVariantList> essential_rows;
    for (const auto &record : records)
        essential_rows.append({record.first, record.second, test_case.source_name()});
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, essential_rows);

    // Two right-click runs at once, each adding its rows to the same table.
    const QStringList arguments = {test_case.source_root(), essential, test_case.case_dir(),
                                   TestCase::joined(keys), TestCase::joined(keys), test_case.source_name(), "3"};
    QProcess first, second;
    first.start(QStringLiteral(VANTREL_EXECUTABLE), arguments);
    second.start(QStringLiteral(VANTREL_EXECUTABLE), arguments);
    QVERIFY(first.waitForFinished(60000));
    QVERIFY(second.waitForFinished(60000));

    const QString metadata = test_case.database("apple_metadata.sqlite");
    QVERIFY(TestCase::count_rows(metadata) > 20);
    QVERIFY(TestCase::count_rows(metadata, "where filesystem_record in "
                                           "(select filesystem_record from files group by 1 having count(*) > 1)")
            > 0);
}

QTEST_GUILESS_MAIN(tst_host_contract)
#include "tst_host_contract.moc"
