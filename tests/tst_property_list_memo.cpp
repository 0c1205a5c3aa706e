// The memo of property lists answers exactly as the parser does, whatever
// order lists come in, however often they repeat and however many there are.

#include "file/property_list_memo.h"
#include "file/property_list_value.h"
#include "property_list_bytes.h"

#include <QtTest>

using namespace property_list_bytes;

class tst_property_list_memo : public QObject
{
    Q_OBJECT

private slots:
    void answers_as_the_parser_data();
    void answers_as_the_parser();
};

void tst_property_list_memo::answers_as_the_parser_data()
{
    QTest::addColumn<QList<QByteArray>>("lists");

    const QByteArray tag = binary(array(string("Red\n6")));
    const QByteArray other_tag = binary(array(string("Work\n0")));
    QByteArray malformed = tag;
    malformed[malformed.size() - 9] = char(0x7F); // the top object past the table
    QList<QByteArray> many;
    for (int i = 0; i < 3 * int(PropertyListMemo::max_entries); ++i)
        many.append(binary(array(string(QByteArray::number(i % 300).constData()))));
    many.append(tag);
    many.append(tag);

    QTest::newRow("the same tag on every file") << QList<QByteArray>{tag, tag, tag};
    QTest::newRow("two tags taking turns") << QList<QByteArray>{tag, other_tag, tag, other_tag};
    QTest::newRow("a malformed list is not another list's value") << QList<QByteArray>{tag, malformed, tag, malformed};
    QTest::newRow("a list differing only in length")
        << QList<QByteArray>{tag, tag.left(tag.size() - 1), tag + QByteArray(1, '\0'), tag};
    QTest::newRow("a list too long to keep") << QList<QByteArray>{binary(array(string(QByteArray(2000, 'a').constData()))),
                                                                 binary(array(string(QByteArray(2000, 'a').constData())))};
    QTest::newRow("more lists than it keeps, then one met before") << many;
}

void tst_property_list_memo::answers_as_the_parser()
{
    QFETCH(QList<QByteArray>, lists);
    PropertyListMemo memo;
    for (const QByteArray &list : lists) {
        QCOMPARE(memo.value(list), property_list_value(list));
        QVERIFY(memo.size() <= PropertyListMemo::max_entries);
    }
}

QTEST_GUILESS_MAIN(tst_property_list_memo)
#include "tst_property_list_memo.moc"
