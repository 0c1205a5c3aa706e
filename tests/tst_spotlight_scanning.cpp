// The shortcuts a scan of the index takes for every record must tell what
// the checked, byte-by-byte reading tells: a record header read whole or
// for its identifier alone, with room to spare or at the end of a record;
// a name looked at a word at a time; the sieve of a look-up by name never
// turning down a name it was made for.

#include "spotlight_index/spotlight_item_names.h"
#include "spotlight_index/spotlight_name_sieve.h"
#include "spotlight_index/spotlight_record.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

using namespace synthetic_spotlight;

class tst_spotlight_scanning : public QObject
{
    Q_OBJECT

private slots:
    void record_headers_data();
    void record_headers();
    void name_looks_data();
    void name_looks();
    void sieve_keeps_wanted_names_data();
    void sieve_keeps_wanted_names();
};

void tst_spotlight_scanning::record_headers_data()
{
    QTest::addColumn<quint64>("id");
    QTest::addColumn<quint64>("parent");
    QTest::addColumn<quint64>("updated");

    QTest::newRow("one-byte fields") << quint64(2) << quint64(1) << quint64(5);
    QTest::newRow("the widths a volume writes") << quint64(3333333) << quint64(3333251)
                                                << quint64(1687458846) * 1000000;
    QTest::newRow("the root's parent, all bits set") << quint64(2) << ~quint64(0) << quint64(1);
    QTest::newRow("every field nine bytes") << ~quint64(0) << ~quint64(0) << ~quint64(0);
    QTest::newRow("every field eight bytes") << (quint64(1) << 56) - 1 << (quint64(1) << 55)
                                             << (quint64(1) << 49);
}

void tst_spotlight_scanning::record_headers()
{
    QFETCH(quint64, id);
    QFETCH(quint64, parent);
    QFETCH(quint64, updated);

    const QByteArray header = varint(id) + '\x05' + varint(77) + varint(parent) + varint(updated);
    // With a long record after it, and as the whole of a record.
    for (const QByteArray &bytes : {header + QByteArray(40, '\xff'), header}) {
        SpotlightByteReader whole(bytes);
        SpotlightRecordHeader read;
        QVERIFY(spotlight_read_record_header(whole, read));
        QCOMPARE(read.id, id);
        QCOMPARE(read.flags, quint8(5));
        QCOMPARE(read.parent, parent);
        QCOMPARE(read.updated, updated);
        QCOMPARE(whole.position(), header.size());

        SpotlightByteReader by_id(bytes);
        quint64 read_id = 0;
        QVERIFY(spotlight_read_record_id(by_id, read_id));
        QCOMPARE(read_id, id);
        QCOMPARE(by_id.position(), header.size());
    }
    // Cut anywhere, both fail alike rather than read past the end.
    for (qsizetype size = 0; size < header.size(); ++size) {
        SpotlightByteReader whole(header.constData(), size), by_id(header.constData(), size);
        SpotlightRecordHeader read;
        quint64 read_id = 0;
        QVERIFY(!spotlight_read_record_header(whole, read));
        QVERIFY(!spotlight_read_record_id(by_id, read_id));
    }
}

void tst_spotlight_scanning::name_looks_data()
{
    QTest::addColumn<QByteArray>("name");

    // Every size up to beyond four words, with the marker or a byte of a
    // longer UTF-8 sequence at its first, middle and last place.
    for (int size = 0; size <= 41; ++size) {
        const QByteArray plain(size, 'a');
        QTest::newRow(qPrintable(QString("ASCII, %1 bytes").arg(size))) << plain;
        for (const int at : {0, size / 2, size - 1}) {
            if (at < 0 || at >= size)
                continue;
            for (const char odd : {'\x16', '\xc3'}) {
                QByteArray name = plain;
                name[at] = odd;
                QTest::newRow(qPrintable(QString("%1 bytes, 0x%2 at %3").arg(size).arg(quint8(odd), 0, 16).arg(at)))
                    << name;
            }
        }
    }
}

void tst_spotlight_scanning::name_looks()
{
    QFETCH(QByteArray, name);

    // A name in the midst of other bytes: nothing beyond it is looked at.
    const QByteArray around = QByteArray(16, '\x16') + name + QByteArray(16, '\xc3');
    const SpotlightNameLook look = spotlight_look_at_name(QByteArrayView(around).sliced(16, name.size()));
    QCOMPARE(look.localized, name.contains('\x16'));
    QCOMPARE(look.ascii, spotlight_is_ascii(name));
}

void tst_spotlight_scanning::sieve_keeps_wanted_names_data()
{
    QTest::addColumn<QList<QByteArray>>("wanted");

    QList<QByteArray> sizes;
    for (int size = 0; size <= 40; ++size)
        sizes.append(QByteArray("Report 3333333 of the year.pdf and more").left(size));
    QTest::newRow("every size up to 40 bytes") << sizes;
    QTest::newRow("a path's components") << QList<QByteArray>{"Photo 4", "Invoice 5", "Holiday 19", "Notes 3333333.plist"};
    QTest::newRow("names alike but in the middle") << QList<QByteArray>{"Report 1 of the year.pdf", "Report 2 of the year.pdf"};
    QTest::newRow("composed UTF-8") << QList<QByteArray>{"R\xc3\xa9sum\xc3\xa9 12.plist", "\xe2\x82\xac"};
}

void tst_spotlight_scanning::sieve_keeps_wanted_names()
{
    QFETCH(QList<QByteArray>, wanted);

    const SpotlightNameSieve sieve(wanted);
    for (const QByteArray &name : wanted)
        QVERIFY2(sieve.may_hold(name), name.constData());
    // What it is for: nearly every other name is turned down.
    int let_through = 0;
    for (int i = 0; i < 1000; ++i)
        let_through += sieve.may_hold(QByteArray("Backup ") + QByteArray::number(i) + ".txt");
    QVERIFY2(let_through < 100, qPrintable(QString::number(let_through)));
}

QTEST_GUILESS_MAIN(tst_spotlight_scanning)
#include "tst_spotlight_scanning.moc"
