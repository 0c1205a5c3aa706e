// The statement texts the runs build from host data.

#include "case_connection.h"
#include "record_batches.h"
#include "row_insert.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QtTest>

class tst_case_statements : public QObject
{
    Q_OBJECT

private slots:
    void run_status_updates_data();
    void run_status_updates();
    void row_insert_statement_data();
    void row_insert_statement();
    void stored_row_keeps_every_text_data();
    void stored_row_keeps_every_text();
    void row_insert_follows_the_columns_asked_for();
    void connection_names_never_repeat();
};

namespace {

const QString update_head = QStringLiteral("Update files set fs_module_apple_metadata_run_status = '1' Where ");

QStringList numbers(int first, int last)
{
    QStringList list;
    for (int i = first; i <= last; ++i)
        list.append(QString::number(i));
    return list;
}

QString terms(QStringList records)
{
    std::reverse(records.begin(), records.end());
    return update_head + QLatin1String("INT = ") + records.join(QLatin1String(" OR INT = "));
}

} // namespace

void tst_case_statements::run_status_updates_data()
{
    QTest::addColumn<QStringList>("records");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("no records, no statement") << QStringList() << QStringList();
    QTest::newRow("records listed newest first without trailing OR")
        << QStringList{"7", "8", "9"}
        << QStringList{update_head + "INT = 9 OR INT = 8 OR INT = 7"};
    QTest::newRow("fifty records make one statement") << numbers(1, 50) << QStringList{terms(numbers(1, 50))};
    QTest::newRow("fifty-first record opens a second statement")
        << numbers(1, 51) << QStringList{terms(numbers(1, 50)), update_head + "INT = 51"};
    QTest::newRow("negative record numbers are whole numbers")
        << QStringList{"-3", "0"} << QStringList{update_head + "INT = 0 OR INT = -3"};
    QTest::newRow("text that is no whole number is left out")
        << QStringList{"1", "", "7a", "1 OR 1=1", "1; DROP TABLE files", " 2", "-", "+4", "٣", "5"}
        << QStringList{update_head + "INT = 5 OR INT = 1"};
    QStringList hostile_between = numbers(1, 49) + QStringList{"x"} + numbers(50, 51);
    QTest::newRow("left-out record takes no place in a batch")
        << hostile_between << QStringList{terms(numbers(1, 50)), update_head + "INT = 51"};
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

void tst_case_statements::row_insert_statement_data()
{
    QTest::addColumn<QStringList>("columns");
    QTest::addColumn<QString>("expected");

    QTest::newRow("quoted columns then filesystem_record")
        << QStringList{"kMDItemUseCount", "kMDItemDateAdded"}
        << "Insert into files ('kMDItemUseCount','kMDItemDateAdded',filesystem_record) Values (?,?,?)";
    QTest::newRow("file with no keys stores its record alone")
        << QStringList() << "Insert into files (filesystem_record) Values (?)";
    QTest::newRow("key without a column gives the empty name")
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

namespace {

// A result table with two text columns in a fresh database.
QSqlDatabase result_database(const QTemporaryDir &folder)
{
    QSqlDatabase connection = open_case_connection(folder.filePath("result.sqlite"), FailedOpen::KeepRegistration);
    QSqlQuery query(connection);
    if (!query.exec("create table files (INT integer primary key, a text, b text, filesystem_record integer)"))
        qWarning() << query.lastError().text();
    return connection;
}

QVariantList stored_rows(QSqlDatabase connection, const QString &columns)
{
    QVariantList values;
    QSqlQuery query(connection);
    if (!query.exec("select " + columns + " from files order by rowid"))
        qWarning() << query.lastError().text();
    while (query.next()) {
        for (int i = 0; i < query.record().count(); ++i)
            values.append(query.value(i));
    }
    return values;
}

} // namespace

void tst_case_statements::stored_row_keeps_every_text_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("plain text") << "public.data";
    QTest::newRow("empty text is stored as empty, not NULL") << QString("");
    QTest::newRow("missing value is NULL") << QString();
    QTest::newRow("decomposed text stays decomposed") << QString::fromUtf8("Re\xcc\x81sume\xcc\x81");
    QTest::newRow("text beyond the basic plane") << QString::fromUtf8("tag \xf0\x9f\x94\xb4 red");
    QTest::newRow("ascii after non-ascii") << QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac;Japan");
    QTest::newRow("zero character inside the text") << QString("a") + QChar(0) + QString("b");
}

void tst_case_statements::stored_row_keeps_every_text()
{
    QFETCH(QString, text);

    QTemporaryDir folder;
    QSqlDatabase connection = result_database(folder);
    RowInsert insert;
    // A longer value first: the buffers kept from row to row must not leak
    // its tail into the next one.
    insert.insert(connection, {"a", "b"}, {QString(300, QChar('x')), "first"}, "1");
    insert.insert(connection, {"a", "b"}, {text, text}, "2");
    insert.release();

    const QVariantList rows = stored_rows(connection, "a, b, filesystem_record, typeof(a)");
    QCOMPARE(rows.size(), 8);
    QCOMPARE(rows[4].isNull(), text.isNull());
    QCOMPARE(rows[4].toString(), text);
    QCOMPARE(rows[5].toString(), text);
    QCOMPARE(rows[6].toLongLong(), 2);
    QCOMPARE(rows[7].toString(), text.isNull() ? QString("null") : QString("text"));
    connection.close();
}

void tst_case_statements::row_insert_follows_the_columns_asked_for()
{
    QTemporaryDir folder;
    QSqlDatabase connection = result_database(folder);
    RowInsert insert;
    insert.insert(connection, {"a", "b"}, {"1a", "1b"}, "1");
    // Other columns: prepared anew. Fewer values than columns: NULL.
    insert.insert(connection, {"b"}, {}, "2");
    // A column the table lacks loses that row only.
    insert.insert(connection, {"missing"}, {"x"}, "3");
    insert.insert(connection, {"a"}, {"4a"}, "4");
    insert.release();

    const QVariantList expected = {"1a", "1b", 1, QVariant(), QVariant(), 2, "4a", QVariant(), 4};
    const QVariantList rows = stored_rows(connection, "a, b, filesystem_record");
    QCOMPARE(rows.size(), expected.size());
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(rows[i].isNull(), expected[i].isNull());
        QCOMPARE(rows[i].toString(), expected[i].toString());
    }
    connection.close();
}

void tst_case_statements::connection_names_never_repeat()
{
    // Far more names than milliseconds pass: a run's input and result
    // connections are made back to back.
    QString previous = take_connection_name();
    for (int i = 0; i < 10000; ++i) {
        const QString name = take_connection_name();
        QVERIFY2(name.toLongLong() > previous.toLongLong(), qPrintable(previous + " then " + name));
        QVERIFY(std::all_of(name.cbegin(), name.cend(), [](QChar c) { return c.isDigit(); }));
        previous = name;
    }
    QVERIFY(previous.toLongLong() >= QDateTime::currentMSecsSinceEpoch() - 1000);
}

QTEST_GUILESS_MAIN(tst_case_statements)
#include "tst_case_statements.moc"
