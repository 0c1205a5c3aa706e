// The statement texts the runs build from host data, and the texts a row keeps.

#include "case_connection.h"
#include "record_batches.h"
#include "row_insert.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString update_head = QStringLiteral("Update files set fs_module_apple_metadata_run_status = '1' Where ");

// The update marking records first to last, newest first.
QString update(int first, int last)
{
    QStringList terms;
    for (int record = last; record >= first; --record)
        terms << "INT = " + QString::number(record);
    return update_head + terms.join(" OR ");
}

} // namespace

class tst_case_statements : public QObject
{
    Q_OBJECT

private slots:
    void run_status_updates_data();
    void run_status_updates();
    void marks_what_sqlite_reads_data();
    void marks_what_sqlite_reads();
    void row_insert_statement_data();
    void row_insert_statement();
    void stored_row_keeps_every_text_data();
    void stored_row_keeps_every_text();
    void rows_commit_one_by_one_data();
    void rows_commit_one_by_one();
    void connection_names_never_repeat();
};

void tst_case_statements::run_status_updates_data()
{
    QTest::addColumn<QStringList>("records");
    QTest::addColumn<QStringList>("expected");

    QStringList fifty_one;
    for (int record = 1; record <= 51; ++record)
        fifty_one << QString::number(record);
    QTest::newRow("records newest first, the fifty-first in a second statement")
        << fifty_one << QStringList{update(1, 50), update(51, 51)};
    QTest::newRow("text that is no whole number is left out, negative numbers kept")
        << QStringList{"0", "", "7a", "1 OR 1=1", "1; DROP TABLE files", "-", "+4", "\u0663", "-3"}
        << QStringList{update_head + "INT = -3 OR INT = 0"};
    QTest::newRow("a record number with blanks around it is spliced as read")
        << QStringList{" 7", "8\t", "\r\n9 \f", " -2 "}
        << QStringList{update_head + "INT =  -2  OR INT = \r\n9 \f OR INT = 8\t OR INT =  7"};
    QTest::newRow("blanks SQLite does not skip, inner blanks and blanks alone are left out")
        << QStringList{"\u00a07", "7\v", "7 7", "- 7", "  ", "3"} << QStringList{update_head + "INT = 3"};
    QStringList padded_then_fifty;
    padded_then_fifty << " 1";
    for (int record = 2; record <= 51; ++record)
        padded_then_fifty << QString::number(record);
    QTest::newRow("a blank-padded record counts toward its batch of fifty")
        << padded_then_fifty
        << QStringList{update_head + update(2, 50).mid(update_head.size()) + " OR INT =  1", update(51, 51)};
}

void tst_case_statements::run_status_updates()
{
    QFETCH(QStringList, records);
    QFETCH(QStringList, expected);

    RecordBatches batches;
    for (const QString &record : records)
        batches.add(record);
    QCOMPARE(batches.update_statements(), expected);
}

void tst_case_statements::marks_what_sqlite_reads_data()
{
    QTest::addColumn<QStringList>("records");
    QTest::addColumn<QList<int>>("marked");

    QTest::newRow("a record read with blanks marks that record")
        << QStringList{" 7", "9\n", "12"} << QList<int>{7, 9, 12};
    QTest::newRow("a record no whole number marks nothing, and spares its batch")
        << QStringList{"\u00a05", "5", "6 OR 1=1"} << QList<int>{5};
}

void tst_case_statements::marks_what_sqlite_reads()
{
    QFETCH(QStringList, records);
    QFETCH(QList<int>, marked);

    QTemporaryDir folder;
    QSqlDatabase connection =
        open_case_connection(folder.filePath("file_system.sqlite"), FailedOpen::KeepRegistration);
    QSqlQuery query(connection);
    QVERIFY2(query.exec("create table files (INT integer primary key, fs_module_apple_metadata_run_status text "
                        "default '0')"),
             qPrintable(query.lastError().text()));
    for (int record = 1; record <= 20; ++record)
        QVERIFY(query.exec("insert into files (INT) values (" + QString::number(record) + ")"));

    RecordBatches batches;
    for (const QString &record : records)
        batches.add(record);
    batches.mark_records(connection);

    QList<int> found;
    QVERIFY(query.exec("select INT from files where fs_module_apple_metadata_run_status = '1' order by INT"));
    while (query.next())
        found << query.value(0).toInt();
    QCOMPARE(found, marked);
    query.finish();
    connection.close();
}

void tst_case_statements::row_insert_statement_data()
{
    QTest::addColumn<QStringList>("columns");
    QTest::addColumn<QString>("expected");

    QTest::newRow("quoted columns then filesystem_record") << QStringList{"kMDItemKind", "kMDItemFSName"}
        << "Insert into files ('kMDItemKind','kMDItemFSName',filesystem_record) Values (?,?,?)";
    QTest::newRow("no keys: the record alone") << QStringList() << "Insert into files (filesystem_record) Values (?)";
    QTest::newRow("key without a column: the empty name")
        << QStringList{""} << "Insert into files ('',filesystem_record) Values (?,?)";
    QTest::newRow("quote inside a column name is doubled")
        << QStringList{"it's'),('x"} << "Insert into files ('it''s''),(''x',filesystem_record) Values (?,?)";
}

void tst_case_statements::row_insert_statement()
{
    QFETCH(QStringList, columns);
    QFETCH(QString, expected);
    QCOMPARE(RowInsert::statement(columns), expected);
}

void tst_case_statements::stored_row_keeps_every_text_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("empty text is stored as empty, not NULL") << QString("");
    QTest::newRow("missing value is NULL") << QString();
    QTest::newRow("text beyond the basic plane") << QString::fromUtf8("tag \xf0\x9f\x94\xb4 red");
    QTest::newRow("ascii after non-ascii") << QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac;Japan");
    QTest::newRow("zero character inside the text") << QString("a") + QChar(0) + QString("b");
}

void tst_case_statements::stored_row_keeps_every_text()
{
    QFETCH(QString, text);

    QTemporaryDir folder;
    QSqlDatabase connection = open_case_connection(folder.filePath("result.sqlite"), FailedOpen::KeepRegistration);
    QSqlQuery query("create table files (INT integer primary key, a text, b text, filesystem_record integer)", connection);
    RowInsert row_insert;
    // A longer value first: the buffers kept from row to row must not leak
    // its tail into the next one.
    row_insert.insert(connection, {"a", "b"}, {QString(300, 'x'), "first"}, "1");
    row_insert.insert(connection, {"a", "b"}, {text, text}, "2");
    row_insert.release();
    QVERIFY(query.exec("select a, b, filesystem_record, typeof(a) from files where rowid = 2") && query.next());
    QCOMPARE(query.isNull(0), text.isNull());
    QCOMPARE((QStringList{query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                          query.value(3).toString()}),
             (QStringList{text, text, "2", text.isNull() ? "null" : "text"}));
    connection.close();
}

void tst_case_statements::rows_commit_one_by_one_data()
{
    QTest::addColumn<QString>("host_journal");
    QTest::addColumn<bool>("journal_kept_between_rows");

    QTest::newRow("a deleted journal is kept between rows, and gone at the end") << "delete" << true;
    QTest::newRow("a write-ahead log stays as the host made it") << "wal" << false;
}

void tst_case_statements::rows_commit_one_by_one()
{
    QFETCH(QString, host_journal);
    QFETCH(bool, journal_kept_between_rows);

    QTemporaryDir folder;
    const QString path = folder.filePath("result.sqlite");
    {
        QSqlDatabase host = open_case_connection(path, FailedOpen::KeepRegistration);
        QSqlQuery query(host);
        QVERIFY(query.exec("pragma journal_mode = " + host_journal));
        QVERIFY(query.exec("create table files (INT integer primary key, a text, filesystem_record integer)"));
        host.close();
    }
    QSqlDatabase connection = open_case_connection(path, FailedOpen::KeepRegistration);
    QSqlDatabase reader = open_case_connection(path, FailedOpen::KeepRegistration);
    RowInsert row_insert;
    for (int row = 1; row <= 3; ++row) {
        row_insert.insert(connection, {"a"}, {"text"}, QString::number(row));
        // Another reader sees each row as soon as it is stored.
        QSqlQuery count("select count(*) from files", reader);
        QVERIFY(count.next());
        QCOMPARE(count.value(0).toInt(), row);
    }
    QCOMPARE(QFile::exists(path + "-journal"), journal_kept_between_rows);
    row_insert.release();
    reader.close();
    connection.close();
    QVERIFY(!QFile::exists(path + "-journal"));
    QSqlDatabase again = open_case_connection(path, FailedOpen::KeepRegistration);
    QSqlQuery mode("pragma journal_mode", again);
    QVERIFY(mode.next());
    QCOMPARE(mode.value(0).toString(), host_journal);
    again.close();
}

void tst_case_statements::connection_names_never_repeat()
{
    // Far more names than milliseconds pass: a run's connections are made back to back.
    QString previous = take_connection_name();
    for (int i = 0; i < 10000; ++i) {
        const QString name = take_connection_name();
        QVERIFY2(name.toLongLong() > previous.toLongLong() && QString::number(name.toLongLong()) == name,
                 qPrintable(previous + " then " + name));
        previous = name;
    }
    QVERIFY(previous.toLongLong() >= QDateTime::currentMSecsSinceEpoch() - 1000);
}

QTEST_GUILESS_MAIN(tst_case_statements)
#include "tst_case_statements.moc"
