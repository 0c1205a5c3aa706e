// Finding items of a volume's Spotlight index: the single look-up of a
// left-click run, which reads only the copies its path names, must give
// the item the tables of the whole index give, whatever the stores hold;
// names compare in their composed form; sampling before and after reading
// the index whole; the index's integers at any place of a record.

#include "spotlight_index/spotlight_bytes.h"
#include "spotlight_index/spotlight_item_names.h"
#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

#include <QRandomGenerator>

using namespace synthetic_spotlight;

namespace {

using Items = QList<SyntheticItem>;
using Pages = QList<QByteArray>;

// Each store as its own pages; one index over them all, read afresh.
std::unique_ptr<SpotlightVolumeIndex> index_of(const QList<Pages> &stores)
{
    std::vector<std::unique_ptr<SpotlightStoreFile>> files;
    for (const Pages &pages : stores)
        files.push_back(SpotlightStoreFile::open(SpotlightByteSource::from_bytes(assemble_store(pages))));
    return SpotlightVolumeIndex::from_stores(std::move(files));
}

// items_per_page records to a page.
Pages pages_of(const Items &items, int items_per_page)
{
    Pages pages;
    for (int i = 0; i < items.size(); i += items_per_page) {
        QList<QByteArray> records;
        for (const SyntheticItem &item : items.mid(i, items_per_page))
            records.append(record(item));
        pages.append(records_page(records));
    }
    return pages;
}

// The display name of the item at path: "-" for none, "?" for a record that can't be read.
QString display_name(SpotlightVolumeIndex &index, const QString &path)
{
    const auto record = index.record(path);
    if (!record)
        return QStringLiteral("-");
    const MetadataValue value = record->value(QStringLiteral("kMDItemDisplayName"));
    return value.kind == MetadataValue::Kind::Text ? value.text : QStringLiteral("?");
}

// What a left-click run finds (the first look-up of a fresh index), and
// what a full run finds (the index read whole first).
QString single_lookup(const QList<Pages> &stores, const QString &path)
{
    return display_name(*index_of(stores), path);
}
QString through_tables(const QList<Pages> &stores, const QString &path)
{
    auto index = index_of(stores);
    index->item_count();
    return display_name(*index, path);
}

// An item's record header followed by raw attribute bytes.
QByteArray raw_record(quint64 id, quint64 parent, quint64 updated, const QByteArray &attributes)
{
    return varint(id) + '\0' + varint(1) + varint(parent) + varint(updated) + attributes;
}

} // namespace

Q_DECLARE_METATYPE(Pages)

class tst_spotlight_lookup : public QObject
{
    Q_OBJECT

private slots:
    void single_lookup_agrees_with_tables_data();
    void single_lookup_agrees_with_tables();
    void hostile_pages_data();
    void hostile_pages();
    void random_volumes_data();
    void random_volumes();
    void sampling_before_and_after_reading_whole();
    void composed_names_data();
    void composed_names();
    void index_integers_data();
    void index_integers();
};

void tst_spotlight_lookup::single_lookup_agrees_with_tables_data()
{
    QTest::addColumn<QList<Pages>>("stores");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected"); // display name; "-" for no item

    // One item a page, so that copies lie in pages of their own.
    const auto row = [](const char *name, const QList<Items> &stores, const QString &path, const QString &expected) {
        QList<Pages> pages;
        for (const Items &items : stores)
            pages.append(pages_of(items, 1));
        QTest::newRow(name) << pages << path << expected;
    };
    const SyntheticItem root{2, 1, 5, "Volume", "root"};

    row("counting copy read before the named one, under another name",
        {{root, {40, 2, 300, "b.txt", "new"}, {90, 2, 1, "x", "x"}, {40, 2, 100, "a.txt", "old"}}}, "a.txt", "-");
    row("counting copy read before the named one: found by its own name",
        {{root, {40, 2, 300, "b.txt", "new"}, {90, 2, 1, "x", "x"}, {40, 2, 100, "a.txt", "old"}}}, "b.txt", "new");
    row("same name in two folders: the path's folder decides",
        {{root, {30, 2, 1, "A", "A"}, {31, 2, 1, "B", "B"}, {40, 30, 1, "f", "in A"}, {41, 31, 1, "f", "in B"}}}, "B/f",
        "in B");
    row("folder named like its child", {{root, {30, 2, 1, "a", "outer"}, {40, 30, 1, "a", "inner"}}}, "a/a", "inner");
    row("root's own name is no component of a path", {{root}}, "Volume", "-");
    row("volume root by the empty path", {{root, {40, 2, 1, "a", "A"}}}, "", "root");
    row("newest copy of the root, in the other store", {{root}, {{2, 1, 9, "Volume", "newer root"}}}, "", "newer root");
    row("folder moved in the other store: its old path leads nowhere",
        {{root, {30, 2, 1, "Docs", "Docs"}, {40, 30, 1, "a.txt", "A"}},
         {{31, 2, 1, "Old", "Old"}, {30, 31, 5, "Docs", "moved Docs"}}},
        "Docs/a.txt", "-");
    row("folder moved in the other store: found by its new path",
        {{root, {30, 2, 1, "Docs", "Docs"}, {40, 30, 1, "a.txt", "A"}},
         {{31, 2, 1, "Old", "Old"}, {30, 31, 5, "Docs", "moved Docs"}}},
        "Old/Docs/a.txt", "A");

    // One name in five hundred folders.
    Items many = {root};
    for (quint64 i = 0; i < 500; ++i)
        many += {{1000 + i, 2, 1, QString::number(i), QString()}, {5000 + i, 1000 + i, 1, "f", "f of " + QString::number(i)}};
    row("component naming hundreds of items", {many}, "250/f", "f of 250");
    row("component naming hundreds of items, none in the folder", {many}, "f/f", "-");
}

void tst_spotlight_lookup::single_lookup_agrees_with_tables()
{
    QFETCH(QList<Pages>, stores);
    QFETCH(QString, path);
    QFETCH(QString, expected);

    QCOMPARE(single_lookup(stores, path), expected);
    QCOMPARE(through_tables(stores, path), expected);
}

void tst_spotlight_lookup::hostile_pages_data()
{
    QTest::addColumn<QList<Pages>>("stores");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    const QByteArray root = record({2, 1, 1, "Volume", "root"});
    const QByteArray old_a = record({40, 2, 100, "a.txt", "old"});
    // A name claiming more bytes than its record holds: the copy is an
    // item still, with no name.
    const QByteArray nameless_newer = raw_record(40, 2, 200, varint(1) + varint(200) + "short");
    QTest::newRow("newest copy's name unreadable: the older name leads nowhere")
        << QList<Pages>{{records_page({root, old_a}), records_page({nameless_newer})}} << "a.txt" << "-";
    QTest::newRow("nameless copy read first, older named one counts not")
        << QList<Pages>{{records_page({nameless_newer, root}), records_page({old_a})}} << "a.txt" << "-";

    // A page whose identifiers span nearly every number, so that the
    // second pass reads it again.
    const QByteArray far = record({0xfffffffffffffull, 2, 1, "far", "far"});
    QTest::newRow("page spanning every identifier")
        << QList<Pages>{{records_page({root, record({3, 2, 1, "low", "low"}), far}), records_page({old_a})}} << "far"
        << "far";

    // A record whose size runs past its page ends that page only.
    const QByteArray body = u32(quint32(root.size())) + root + u32(0x7ffffff0) + record({42, 2, 1, "c", "C"});
    const QByteArray cut = page(body, 0x09, quint32(0x14 + body.size()), true);
    QTest::newRow("record running past its page: later pages still read")
        << QList<Pages>{{cut, records_page({old_a})}} << "a.txt" << "old";
    QTest::newRow("record running past its page: what it hid is not found")
        << QList<Pages>{{cut, records_page({old_a})}} << "c" << "-";

    // Contents that decompress to nothing a page holds.
    const QByteArray garbage = page(QByteArray(300, '\x5a'), 0x09, 0x400, false);
    QTest::newRow("page of garbage between the copies")
        << QList<Pages>{{records_page({root, old_a}), garbage, records_page({record({40, 2, 50, "z", "z"})})}} << "a.txt"
        << "old";
    QTest::newRow("store of garbage beside a good one")
        << QList<Pages>{{garbage}, {records_page({root, old_a})}} << "a.txt" << "old";
}

void tst_spotlight_lookup::hostile_pages()
{
    QFETCH(QList<Pages>, stores);
    QFETCH(QString, path);
    QFETCH(QString, expected);

    QCOMPARE(single_lookup(stores, path), expected);
    QCOMPARE(through_tables(stores, path), expected);
}

void tst_spotlight_lookup::random_volumes_data()
{
    QTest::addColumn<quint32>("seed");

    // Few identifiers, names, folders and times, so that copies collide in
    // every way: renamed, moved, equal times, one name for several items.
    for (quint32 seed = 1; seed <= 12; ++seed)
        QTest::newRow(qPrintable(QString("volume %1 of colliding copies over two stores").arg(seed))) << seed;
}

void tst_spotlight_lookup::random_volumes()
{
    QFETCH(quint32, seed);

    QRandomGenerator random(seed);
    const QStringList names = {"a", "b", "Docs", QString::fromUtf8("R\xc3\xa9sum\xc3\xa9"),
                               QString::fromUtf8("Re\xcc\x81sume\xcc\x81")};
    const quint64 folders[] = {2, 30, 31, 32, 33};
    QList<Pages> stores;
    int copy = 0;
    for (int store = 0; store < 2; ++store) {
        Items items;
        if (random.bounded(3))
            items.append({2, 1, random.bounded(3u), "Volume", "root " + QString::number(copy++)});
        for (int i = 0, count = 10 + int(random.bounded(30)); i < count; ++i) {
            const quint64 id = random.bounded(4) ? 30 + random.bounded(4u) : 40 + random.bounded(8u);
            const quint64 parent = folders[random.bounded(5)];
            items.append({id, parent, random.bounded(4u), names[random.bounded(int(names.size()))],
                          "copy " + QString::number(copy++)});
        }
        stores.append(pages_of(items, 1 + int(random.bounded(4))));
    }

    QStringList paths = {""};
    for (const QString &first : names) {
        paths.append(first);
        for (const QString &second : names) {
            paths.append(first + "/" + second);
            for (const QString &third : names)
                paths.append(first + "/" + second + "/" + third);
        }
    }
    auto whole = index_of(stores);
    whole->item_count();
    for (const QString &path : qAsConst(paths))
        QCOMPARE(single_lookup(stores, path), display_name(*whole, path));
}

void tst_spotlight_lookup::sampling_before_and_after_reading_whole()
{
    // Two copies of item 40: before the index is read whole every copy is
    // visited, in the order the store holds them; after, the one that counts.
    const QList<Pages> stores = {pages_of({{2, 1, 1, "V", "root"}, {40, 2, 1, "a", "old"}, {41, 2, 1, "b", "B"},
                                           {40, 2, 2, "a", "new"}},
                                          3)};
    const auto visited = [](SpotlightVolumeIndex &index, qsizetype from, int count, qsizetype *resume) {
        QStringList names;
        *resume = index.visit_items(from, [&](const std::optional<SpotlightItemRecord> &record) {
            names.append(record ? record->value("kMDItemDisplayName").text : "?");
            return names.size() < count;
        });
        return names;
    };
    auto index = index_of(stores);
    qsizetype resume = 0;
    QCOMPARE(visited(*index, 0, 2, &resume), (QStringList{"root", "old"}));
    QCOMPARE(visited(*index, resume, 9, &resume), (QStringList{"B", "new"}));
    QCOMPARE(resume, 4);
    QCOMPARE(visited(*index, 7, 9, &resume), QStringList());
    QCOMPARE(resume, 7);

    QCOMPARE(index->item_count(), 3);
    QCOMPARE(visited(*index, 0, 9, &resume), (QStringList{"root", "new", "B"}));
    QCOMPARE(resume, 3);
}

void tst_spotlight_lookup::composed_names_data()
{
    QTest::addColumn<QByteArray>("stored");

    QTest::newRow("ASCII") << QByteArray("Report 2024.pdf");
    QTest::newRow("accented Latin, composed") << QByteArray("R\xc3\xa9sum\xc3\xa9");
    QTest::newRow("accented Latin, decomposed") << QByteArray("Re\xcc\x81sume\xcc\x81");
    QTest::newRow("last two-byte letter before the combining marks") << QByteArray("\xcb\xbf");
    QTest::newRow("first combining mark alone") << QByteArray("\xcc\x80");
    QTest::newRow("Hangul jamo that compose") << QByteArray("\xe1\x84\x80\xe1\x85\xa1");
    QTest::newRow("beyond the basic plane") << QByteArray("\xf0\x9f\x93\x81 box");
    QTest::newRow("overlong encoding of a letter") << QByteArray("\xc1\x81");
    QTest::newRow("continuation byte without a lead") << QByteArray("a\x80" "b");
    QTest::newRow("lead byte at the end") << QByteArray("a\xc3");
    QTest::newRow("lead byte followed by a letter") << QByteArray("\xc3" "a");
    QTest::newRow("byte no UTF-8 uses") << QByteArray("a\xff" "b");
    QTest::newRow("zero byte inside") << QByteArray("a\0b", 3);
}

void tst_spotlight_lookup::composed_names()
{
    QFETCH(QByteArray, stored);

    // Whatever shortcut the stored side takes, both sides meet where the
    // full conversion says they do.
    const QByteArray expected = QString::fromUtf8(stored).normalized(QString::NormalizationForm_C).toUtf8();
    QByteArray spelt;
    QCOMPARE(spotlight_composed_name(QByteArrayView(stored), spelt).toByteArray(), expected);
    QCOMPARE(spotlight_composed_name(QString::fromUtf8(stored)), expected);
    QCOMPARE(spotlight_name_key(7, 30, spotlight_composed_name(QByteArrayView(stored), spelt)),
             spotlight_name_key(7, 30, spotlight_composed_name(QString::fromUtf8(stored))));
    QVERIFY(spotlight_name_key(7, 30, expected) != spotlight_name_key(7, 31, expected));
}

void tst_spotlight_lookup::index_integers_data()
{
    QTest::addColumn<quint64>("value");

    // Every width the index writes: one byte up to nine.
    for (int bits = 0; bits < 64; bits += 7) {
        QTest::newRow(qPrintable(QString("lowest %1 bits set").arg(bits))) << (quint64(1) << bits) - 1;
        QTest::newRow(qPrintable(QString("bit %1 alone").arg(bits))) << (quint64(1) << bits);
    }
    QTest::newRow("every bit set") << ~quint64(0);
    QTest::newRow("a date in microseconds") << quint64(1687458846) * 1000000;
}

void tst_spotlight_lookup::index_integers()
{
    QFETCH(quint64, value);

    // Read with room to spare and at the very end of a record alike.
    const QByteArray encoded = varint(value);
    for (const QByteArray &bytes : {encoded + QByteArray(9, '\xee'), encoded}) {
        SpotlightByteReader reader(bytes);
        quint64 read = 0;
        QVERIFY(reader.read_varint(read));
        QCOMPARE(read, value);
        QCOMPARE(reader.position(), encoded.size());
    }
    // Cut one byte short, it fails rather than reading past the end.
    if (encoded.size() > 1) {
        SpotlightByteReader reader(encoded.constData(), encoded.size() - 1);
        quint64 read = 0;
        QVERIFY(!reader.read_varint(read));
    }
}

QTEST_GUILESS_MAIN(tst_spotlight_lookup)
#include "tst_spotlight_lookup.moc"
