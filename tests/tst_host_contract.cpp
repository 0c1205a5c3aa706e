// What the host must guarantee: each case shows, through the built worker, a way the runs lose
// or misplace data without a word when the host's side is not as agreed (a contract, not faults).

#include "evidence_files.h"
#include "text_rows.h"

#include <QDir>
#include <QtTest>

using Records = QList<QPair<QVariant, QVariant>>;

namespace {

const QStringList keys = {QStringLiteral("kMDItemFSName")};

Records records(int count)
{
    Records list;
    for (int i = 1; i <= count; ++i)
        list.append({i, QStringLiteral("/f%1.txt").arg(i)});
    return list;
}

int marked(const TestCase &test_case, const QString &also = QString())
{
    return TestCase::count_rows(test_case.file_system_db(), "where fs_module_apple_metadata_run_status = '1'" + also);
}

} // namespace

class tst_host_contract : public QObject
{
    Q_OBJECT

private slots:
    void column_for_key();
    void spoiled_database_data();
    void spoiled_database();
    void marks_are_committed_batch_by_batch();
    void two_workers_on_one_source_duplicate_rows();
};

void tst_host_contract::column_for_key()
{
    TestCase test_case;
    test_case.add_file("/f1.txt");
    test_case.create_file_system_db(records(1));
    const QStringList columns = {"old_kMDItemFSName_v1", "kMDItemFSName"};
    test_case.create_metadata_db(columns);
    // A key without a column names the column '': every row is lost, yet the record reads as handled.
    test_case.run("2", QString(), {"kMDItemFSName", "kMDItemTitle"}, columns);
    QCOMPARE(TestCase::count_rows(test_case.metadata_db()), 0);
    QCOMPARE(marked(test_case), 1);
    // The first column whose name contains the key takes its value.
    test_case.run("2", QString(), keys, columns);
    QCOMPARE(text_rows(test_case.metadata_db(), "select * from files"), (QList<QStringList>{{"f1.txt", "NULL", "1"}}));
}

void tst_host_contract::spoiled_database_data()
{
    QTest::addColumn<QString>("database"); // the one spoiled
    QTest::addColumn<QString>("how"); // a statement, or garbage, a folder or nothing in its place

    // A full run empties the results whatever stands for the records.
    QTest::newRow("record list missing") << "file_system.sqlite" << "";
    QTest::newRow("record list no database") << "file_system.sqlite" << "garbage";
    QTest::newRow("record list a folder") << "file_system.sqlite" << "folder";
    QTest::newRow("record list without its table") << "file_system.sqlite" << "create table other (x)";
    // Records are marked handled whatever stands for the results.
    QTest::newRow("results no database") << "apple_metadata.sqlite" << "garbage";
    QTest::newRow("results without their table") << "apple_metadata.sqlite" << "create table other (x)";
    QTest::newRow("results refusing every insert") << "apple_metadata.sqlite"
        << "create trigger refuse before insert on files begin select raise(abort, 'refused'); end";
}

void tst_host_contract::spoiled_database()
{
    QFETCH(QString, database);
    QFETCH(QString, how);

    TestCase test_case;
    test_case.create_file_system_db(records(5));
    test_case.create_metadata_db(keys);
    QVERIFY(TestCase::exec(test_case.metadata_db(), {"insert into files (filesystem_record) values (1)"}));
    const QString path = test_case.database(database);
    const bool refusing = how.startsWith("create trigger");
    if (!refusing)
        QVERIFY(QFile::remove(path));
    if (how == "garbage")
        QVERIFY(write_file(path, QByteArray(4096, 'g')));
    else if (how == "folder")
        QVERIFY(QDir().mkpath(path));
    else if (!how.isEmpty())
        QVERIFY(TestCase::exec(path, {how}));

    QCOMPARE(test_case.run("2", QString(), keys, keys).exit_code, 0);
    // Either the host's earlier results are gone though no file was read, or every
    // record reads as handled though no row holds its values.
    const bool records_spoiled = database == "file_system.sqlite";
    if (records_spoiled || refusing)
        QCOMPARE(TestCase::count_rows(test_case.metadata_db()), 0);
    if (!records_spoiled)
        QCOMPARE(marked(test_case), 5);
}

void tst_host_contract::marks_are_committed_batch_by_batch()
{
    // A batch that fails midway stands for a worker killed while marking:
    // the batches before and after it stay committed.
    TestCase test_case;
    test_case.create_file_system_db(records(120));
    QVERIFY(TestCase::exec(test_case.file_system_db(), {"create trigger refuse before update on files when new.INT = 75 "
                                                        "begin select raise(abort, 'refused'); end"}));
    test_case.create_metadata_db(keys);

    test_case.run("2", QString(), keys, keys);
    QCOMPARE(marked(test_case), 70);
    QCOMPARE(marked(test_case, " and INT between 51 and 100"), 0);
}

void tst_host_contract::two_workers_on_one_source_duplicate_rows()
{
    TestCase test_case;
    test_case.create_file_system_db(records(20));
    test_case.create_metadata_db(keys);
    QList<QVariantList> essential_rows;
    for (const auto &[record, path] : records(20))
        essential_rows.append({record, path, test_case.source_name()});
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, essential_rows);

    // Two right-click runs at once, each adding its rows to the same table.
    const QStringList arguments = {test_case.source_root(), essential, test_case.case_dir(),
                                   TestCase::joined(keys), TestCase::joined(keys), test_case.source_name(), "3"};
    QProcess first, second;
    first.start(QStringLiteral(VANTREL_EXECUTABLE), arguments);
    second.start(QStringLiteral(VANTREL_EXECUTABLE), arguments);
    QVERIFY(first.waitForFinished(60000) && second.waitForFinished(60000));

    QVERIFY(TestCase::count_rows(test_case.metadata_db(), "where filesystem_record in (select filesystem_record "
                                                          "from files group by 1 having count(*) > 1)") > 0);
}

QTEST_GUILESS_MAIN(tst_host_contract)
#include "tst_host_contract.moc"
