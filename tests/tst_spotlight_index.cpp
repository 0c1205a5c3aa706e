// Reading a volume's own Spotlight index: the fixture volumes' values, names
// taken from raw records, copies of an item over pages and both store files,
// the file store asked only for what the index lacks, and damaged stores.

#include "metadata_store.h"
#include "spotlight_index/spotlight_index_store.h"
#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace synthetic_spotlight;

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight");
const QString store_10_13 = QStringLiteral("macos-10.13/.Spotlight-V100/Store-V2/D980C3E8-1007-4F67-9911-9143A0B3427A");
const QString store_12 = QStringLiteral("macos-12/.Spotlight-V100/Store-V2/B8A60235-5AE9-4A1A-9004-3F40B6FF4C28");

double date_2001(double seconds) { return seconds + 978307200.0; }

MetadataValue texts(const QStringList &list)
{
    std::vector<MetadataValue> items;
    for (const QString &text : list)
        items.push_back(MetadataValue::from_text(text));
    return MetadataValue::from_array(std::move(items));
}

// A record of raw attribute bytes: each entry the property number and the
// value's bytes as the index stores them.
QByteArray raw_record(quint64 id, quint64 parent, quint64 updated, const QList<QPair<quint32, QByteArray>> &values)
{
    QByteArray record = varint(id) + '\0' + varint(1) + varint(parent) + varint(updated);
    quint32 previous = 0;
    for (const auto &[number, bytes] : values) {
        record += varint(number - previous) + bytes;
        previous = number;
    }
    return record;
}

// A text value as the index stores it: its length with the NUL, the bytes, a NUL.
QByteArray text(const QByteArray &bytes)
{
    return varint(quint64(bytes.size() + 1)) + bytes + '\0';
}

// Property numbers of the synthetic stores' table.
enum : quint32 { FileName = 1, DisplayName = 2, AccumulatedSizes = 3, ContentType = 4, Kind = 11, Title = 18 };

std::unique_ptr<SpotlightVolumeIndex> index_of(const QList<QByteArray> &records)
{
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    stores.push_back(SpotlightStoreFile::open(SpotlightByteSource::from_bytes(assemble_store({records_page(records)}))));
    return SpotlightVolumeIndex::from_stores(std::move(stores));
}

// Stands for the file store, answering every key and counting the files it is asked about.
class FileStoreStandIn : public MetadataStore
{
    class Item : public MetadataItem
    {
    public:
        MetadataValue copy_attribute(const QString &key) override
        {
            return MetadataValue::from_text(QStringLiteral("file store: ") + key);
        }
    };

public:
    std::unique_ptr<MetadataItem> create_item(const QString &) override
    {
        ++items_made;
        return std::make_unique<Item>();
    }
    int items_made = 0;
};

bool write_file(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString synthetic_store_folder(const QString &volume) { return volume + "/.Spotlight-V100/Store-V2/0000-TEST"; }

} // namespace

Q_DECLARE_METATYPE(MetadataValue)
Q_DECLARE_METATYPE(SyntheticItem)

char *toString(const MetadataValue &value)
{
    QString text;
    switch (value.kind) {
    case MetadataValue::Kind::Null: text = "Null"; break;
    case MetadataValue::Kind::Text: text = "Text(" + value.text + ")"; break;
    case MetadataValue::Kind::Number: text = "Number(" + QString::number(value.number, 'f', 3) + ")"; break;
    case MetadataValue::Kind::Date: text = "Date(" + QString::number(value.number, 'f', 3) + ")"; break;
    case MetadataValue::Kind::Other: text = "Other"; break;
    case MetadataValue::Kind::Array:
        text = "Array[";
        for (const MetadataValue &item : value.items)
            text += QString::fromLatin1(QScopedArrayPointer<char>(toString(item)).data()) + ",";
        text += "]";
        break;
    }
    return qstrdup(text.toUtf8().constData());
}

class tst_spotlight_index : public QObject
{
    Q_OBJECT

private slots:
    void license_values_data();
    void license_values();
    void file_store_answers_the_rest_data();
    void file_store_answers_the_rest();
    void file_consulted_only_for_missing_keys_data();
    void file_consulted_only_for_missing_keys();
    void items_only_for_files_on_the_volume_data();
    void items_only_for_files_on_the_volume();
    void volume_without_usable_index_data();
    void volume_without_usable_index();
    void whole_store_reads_data();
    void whole_store_reads();
    void damaged_copies_data();
    void damaged_copies();
    void hostile_stores_data();
    void hostile_stores();
    void file_names_from_raw_records_data();
    void file_names_from_raw_records();
    void copies_of_an_item_data();
    void copies_of_an_item();
    void deep_paths_data();
    void deep_paths();
    void values_decoded_for_the_key_asked_data();
    void values_decoded_for_the_key_asked();
    void hundred_thousand_items();
};

void tst_spotlight_index::license_values_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    const double created_10_13 = date_2001(709151646);
    QTest::newRow("10.13 content creation date") << "macos-10.13" << "kMDItemContentCreationDate"
                                                 << MetadataValue::from_date(created_10_13);
    QTest::newRow("10.13 content type from the category table")
        << "macos-10.13" << "kMDItemContentType" << MetadataValue::from_text("public.data");
    QTest::newRow("10.13 content type tree from a category list")
        << "macos-10.13" << "kMDItemContentTypeTree" << texts({"public.data", "public.item"});
    QTest::newRow("10.13 kind is the English text of the localized list")
        << "macos-10.13" << "kMDItemKind" << MetadataValue::from_text("Document");
    QTest::newRow("10.13 display name without its language marker")
        << "macos-10.13" << "kMDItemDisplayName" << MetadataValue::from_text("LICENSE");
    QTest::newRow("10.13 logical size") << "macos-10.13" << "kMDItemLogicalSize" << MetadataValue::from_number(18652);
    QTest::newRow("10.13 physical size of three bytes")
        << "macos-10.13" << "kMDItemPhysicalSize" << MetadataValue::from_number(20480);

    const double created_12 = date_2001(708930624);
    QTest::newRow("12 content creation date") << "macos-12" << "kMDItemContentCreationDate"
                                              << MetadataValue::from_date(created_12);
    QTest::newRow("12 content type from the string maps")
        << "macos-12" << "kMDItemContentType" << MetadataValue::from_text("public.data");
    QTest::newRow("12 kind from the localized list map")
        << "macos-12" << "kMDItemKind" << MetadataValue::from_text("Document");
    QTest::newRow("12 text encoding hint of five bytes")
        << "macos-12" << "_kMDItemTextEncodingHint" << MetadataValue::from_number(0x08000100);
    QTest::newRow("12 flag reads as one") << "macos-12" << "_kMDItemTextContentIndexExists"
                                          << MetadataValue::from_number(1);
}

void tst_spotlight_index::license_values()
{
    QFETCH(QString, volume);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);

    const QString root = fixtures + "/" + volume;
    auto store = SpotlightIndexStore::wrap(root, nullptr);
    QVERIFY(store);
    auto item = store->create_item(root + "/LICENSE");
    QVERIFY(item);
    QCOMPARE(item->copy_attribute(key), expected);
}

void tst_spotlight_index::file_store_answers_the_rest_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    QTest::newRow("file the index has no item for")
        << "macos-12" << "/.DS_Store" << "kMDItemContentType"
        << MetadataValue::from_text("file store: kMDItemContentType");
    QTest::newRow("volume root is the index's root item")
        << "macos-10.13" << "" << "kMDItemContentType" << MetadataValue::from_text("public.volume");
    QTest::newRow("root with trailing separator")
        << "macos-10.13" << "/" << "kMDItemContentType" << MetadataValue::from_text("public.volume");
}

void tst_spotlight_index::file_store_answers_the_rest()
{
    QFETCH(QString, volume);
    QFETCH(QString, path);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);

    const QString root = fixtures + "/" + volume;
    auto store = SpotlightIndexStore::wrap(root, std::make_unique<FileStoreStandIn>());
    auto item = store->create_item(root + path);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute(key), expected);
}

void tst_spotlight_index::items_only_for_files_on_the_volume_data()
{
    QTest::addColumn<QString>("on_disk"); // what is created, beside the volume's folder
    QTest::addColumn<bool>("as_dangling_link");
    QTest::addColumn<QString>("asked");
    QTest::addColumn<MetadataValue>("expected_display_name"); // Null: no item at all

    const MetadataValue indexed = MetadataValue::from_text("A");
    QTest::newRow("indexed file still on the volume")
        << "volume/a.txt" << false << "volume/a.txt" << indexed;
    QTest::newRow("indexed file deleted from the volume")
        << QString() << false << "volume/a.txt" << MetadataValue::null_value();
    QTest::newRow("link left in the indexed file's place is looked at, not followed")
        << "volume/a.txt" << true << "volume/a.txt" << indexed;
    QTest::newRow("name differing only in case is another file")
        << "volume/A.txt" << false << "volume/A.txt"
        << MetadataValue::from_text("file store: kMDItemDisplayName");
    QTest::newRow("path that only starts like the volume's is no file of it")
        << "volume-other/a.txt" << false << "volume-other/a.txt" << MetadataValue::null_value();
}

void tst_spotlight_index::items_only_for_files_on_the_volume()
{
    QFETCH(QString, on_disk);
    QFETCH(bool, as_dangling_link);
    QFETCH(QString, asked);
    QFETCH(MetadataValue, expected_display_name);

    QTemporaryDir folder;
    const QString root = folder.path() + "/volume";
    QVERIFY(write_file(synthetic_store_folder(root) + "/store.db", synthetic_store({{40, 2, 100, "a.txt", "A"}})));
    if (!on_disk.isEmpty()) {
        const QString created = folder.path() + "/" + on_disk;
        QVERIFY(as_dangling_link ? QFile::link("nowhere", created) : write_file(created, "x"));
    }

    // The file store stands in for every path, as if it could not tell.
    auto store = SpotlightIndexStore::wrap(root, std::make_unique<FileStoreStandIn>());
    QVERIFY(store);
    auto item = store->create_item(folder.path() + "/" + asked);
    QCOMPARE(bool(item), expected_display_name.kind != MetadataValue::Kind::Null);
    if (item)
        QCOMPARE(item->copy_attribute("kMDItemDisplayName"), expected_display_name);
}

void tst_spotlight_index::volume_without_usable_index_data()
{
    QTest::addColumn<QByteArray>("store_bytes"); // null: no store folder at all

    QTest::newRow("no index folder") << QByteArray();
    QTest::newRow("empty store file") << QByteArray("");
    QTest::newRow("store of another format") << QByteArray("SQLite format 3").leftJustified(0x2000, '\0');
    QTest::newRow("header only, no tables") << QByteArray("8tsd").leftJustified(0x1000, '\0');
    QTest::newRow("store without items") << synthetic_store({});
}

void tst_spotlight_index::volume_without_usable_index()
{
    QFETCH(QByteArray, store_bytes);

    QTemporaryDir volume;
    if (!store_bytes.isNull())
        QVERIFY(write_file(synthetic_store_folder(volume.path()) + "/store.db", store_bytes));
    auto files = std::make_unique<FileStoreStandIn>();
    MetadataStore *file_store = files.get();
    QCOMPARE(SpotlightIndexStore::wrap(volume.path(), std::move(files)).get(), file_store);
}

void tst_spotlight_index::whole_store_reads_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("expected_items");

    QTest::newRow("standalone store of LZ4 pages") << "859631-store.db" << 1848;
    QTest::newRow("10.13 store.db of zlib pages") << store_10_13 + "/store.db" << 3;
    QTest::newRow("12 .store.db with string maps") << store_12 + "/.store.db" << 3;
}

void tst_spotlight_index::whole_store_reads()
{
    QFETCH(QString, path);
    QFETCH(int, expected_items);

    auto store = SpotlightStoreFile::open_file(fixtures + "/" + path);
    QVERIFY(store);
    std::vector<SpotlightRecordLocation> locations;
    const SpotlightScanSummary summary =
        store->scan([&](const SpotlightScannedItem &item) { locations.push_back(item.location); });
    QVERIFY(summary.pages > 0);
    QCOMPARE(summary.pages_read, summary.pages);
    QCOMPARE(summary.items, qint64(expected_items));
    QCOMPARE(summary.damaged_records, qint64(0));

    // Every attribute of every item reads to the record's end.
    for (const SpotlightRecordLocation &location : locations) {
        bool complete = false;
        const auto attributes = store->attributes(location, &complete);
        QVERIFY(attributes);
        QVERIFY(!attributes->empty());
        QVERIFY(complete);
    }
}

void tst_spotlight_index::damaged_copies_data()
{
    QTest::addColumn<QString>("store_folder"); // copied whole, string maps included
    QTest::addColumn<QString>("damaged_file");

    QTest::newRow("standalone store") << QString() << "859631-store.db";
    QTest::newRow("10.13 store.db") << store_10_13 << "store.db";
    QTest::newRow("12 store.db") << store_12 << "store.db";
    QTest::newRow("12 attribute name map") << store_12 << "dbStr-1.map.data";
    QTest::newRow("12 attribute name offsets") << store_12 << "dbStr-1.map.offsets";
    QTest::newRow("12 category map header") << store_12 << "dbStr-2.map.header";
    QTest::newRow("12 localized list map") << store_12 << "dbStr-5.map.data";
}

void tst_spotlight_index::damaged_copies()
{
    QFETCH(QString, store_folder);
    QFETCH(QString, damaged_file);

    QTemporaryDir copy;
    const QString source_folder = fixtures + "/" + store_folder;
    const QStringList names = store_folder.isEmpty() ? QStringList{damaged_file}
                                                     : QDir(source_folder).entryList(QDir::Files | QDir::Hidden);
    for (const QString &name : names)
        QVERIFY(QFile::copy(source_folder + "/" + name, copy.filePath(name)));
    const QString store_path = copy.filePath(damaged_file.endsWith(".db") ? damaged_file : "store.db");

    QFile file(copy.filePath(damaged_file));
    QVERIFY(file.setPermissions(file.permissions() | QFile::WriteOwner));
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QByteArray original = file.readAll();

    // Reading a damaged store must end, and end soon, whatever it finds.
    const auto read_everything = [&store_path] {
        auto store = SpotlightStoreFile::open_file(store_path);
        if (!store)
            return;
        std::vector<SpotlightRecordLocation> locations;
        store->scan([&](const SpotlightScannedItem &item) { locations.push_back(item.location); });
        for (const SpotlightRecordLocation &location : locations)
            store->attributes(location);
    };
    // Cut at the places where structures begin and end, and at random ones.
    QRandomGenerator random(0x5107);
    QList<qint64> cuts = {0, 1, 4, 0x28, 0x47, 0x48, 0x1000, 0x1014, 0x1024, 0x5014, 0x5020, 0x9021, 0x19014, 0x19100};
    for (int i = 0; i < 20; ++i)
        cuts.append(random.bounded(qint64(original.size())));
    for (qint64 cut : cuts) {
        if (cut >= original.size())
            continue;
        QVERIFY(file.resize(cut));
        file.flush();
        read_everything();
    }
    QVERIFY(file.resize(original.size()));

    // Flip single bits, mostly of bytes that hold something.
    QList<qint64> filled;
    for (qint64 i = 0; i < original.size(); ++i) {
        if (original[i] != 0)
            filled.append(i);
    }
    for (int i = 0; i < 300; ++i) {
        const qint64 at = i % 4 == 0 || filled.isEmpty() ? random.bounded(qint64(original.size()))
                                                         : filled[random.bounded(qsizetype(filled.size()))];
        const char flipped = char(original[at] ^ (1 << random.bounded(8)));
        QVERIFY(file.seek(at));
        file.write(&flipped, 1);
        file.flush();
        read_everything();
        QVERIFY(file.seek(at));
        file.write(original.constData() + at, 1);
    }
}

void tst_spotlight_index::hostile_stores_data()
{
    QTest::addColumn<QByteArray>("store");
    QTest::addColumn<qint64>("expected_items");
    QTest::addColumn<int>("expected_damaged_pages");
    QTest::addColumn<bool>("records_complete");

    const QByteArray two_items = records_page({record({20, 2, 1, "a", "A"}), record({21, 2, 1, "b", "B"})});
    QTest::newRow("page listed a hundred thousand times is read once")
        << assemble_store({two_items}, 100000) << qint64(2) << 0 << true;

    QByteArray bomb = page(QByteArray(64 * 1024 * 1024, '\0'), 0x09, 0, true);
    QTest::newRow("page inflating past every limit") << assemble_store({bomb}) << qint64(0) << 1 << true;

    QByteArray too_long = two_items;
    qToLittleEndian(quint32(0x7fffffff), too_long.data() + 8);
    QTest::newRow("page claiming more bytes than the store holds")
        << assemble_store({too_long}) << qint64(0) << 1 << true;

    // 2^53 sizes: a count no record can hold.
    const QByteArray huge_array = record({20, 2, 1, "a", "A"}) + varint(1) + varint(quint64(1) << 56);
    QTest::newRow("multi-valued attribute claiming 2^53 values")
        << assemble_store({records_page({huge_array})}) << qint64(1) << 0 << false;

    QTest::newRow("record size beyond its page")
        << assemble_store({page(u32(0x7ffffff0) + record({20, 2, 1, "a", "A"}), 0x09, 0x100, true)})
        << qint64(0) << 0 << true;
}

void tst_spotlight_index::hostile_stores()
{
    QFETCH(QByteArray, store);
    QFETCH(qint64, expected_items);
    QFETCH(int, expected_damaged_pages);
    QFETCH(bool, records_complete);

    auto file = SpotlightStoreFile::open(SpotlightByteSource::from_bytes(store));
    QVERIFY(file);
    std::vector<SpotlightRecordLocation> locations;
    const SpotlightScanSummary summary =
        file->scan([&](const SpotlightScannedItem &item) { locations.push_back(item.location); });
    QCOMPARE(summary.items, expected_items);
    QCOMPARE(summary.pages_damaged, expected_damaged_pages);
    for (const SpotlightRecordLocation &location : locations) {
        bool complete = false;
        QVERIFY(file->attributes(location, &complete));
        QCOMPARE(complete, records_complete);
    }
}

void tst_spotlight_index::file_names_from_raw_records_data()
{
    QTest::addColumn<QByteArray>("stored_name"); // the file name value's bytes
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("found");

    QTest::newRow("plain name") << text("notes.txt") << "notes.txt" << true;
    QTest::newRow("name differing in case is another") << text("notes.txt") << "Notes.txt" << false;
    QTest::newRow("trailing zero bytes are no part of the name")
        << varint(12) + QByteArray("notes.txt\0\0\0", 12) << "notes.txt" << true;
    QTest::newRow("zero byte inside the name stays in it")
        << text(QByteArray("a\0b", 3)) << QString("a") + QChar(0) + "b" << true;
    QTest::newRow("composed name in the index, decomposed in the path")
        << text("R\xc3\xa9sum\xc3\xa9") << QString::fromUtf8("Re\xcc\x81sume\xcc\x81") << true;
    QTest::newRow("name beyond the basic plane")
        << text("\xf0\x9f\x93\x81 box") << QString::fromUtf8("\xf0\x9f\x93\x81 box") << true;
    QTest::newRow("bytes that are no UTF-8 read as replacement characters")
        << text("a\xff" "b") << QString("a") + QChar(0xfffd) + "b" << true;
    QTest::newRow("localized name answers by its text without the language")
        << text("Dokument\x16\x02" "de") << "Dokument" << true;
    QTest::newRow("localized name is not found with its marker")
        << text("Dokument\x16\x02" "de") << QString::fromUtf8("Dokument\x16\x02" "de") << false;
    QTest::newRow("name longer than its record is damage")
        << varint(200) + QByteArray("short") << "short" << false;
}

void tst_spotlight_index::file_names_from_raw_records()
{
    QFETCH(QByteArray, stored_name);
    QFETCH(QString, path);
    QFETCH(bool, found);

    // The root, and the item under it; its display name tells it apart.
    const QByteArray root = raw_record(2, 1, 1, {{FileName, text("Volume")}, {DisplayName, text("root")}});
    const QByteArray item =
        raw_record(40, 2, 1, {{FileName, stored_name}, {DisplayName, text("the item")}});
    auto index = index_of({root, item});
    QCOMPARE(index->item_count(), 2);
    const auto record = index->record(path);
    QCOMPARE(bool(record), found);
    if (record)
        QCOMPARE(record->value("kMDItemDisplayName"), MetadataValue::from_text("the item"));
}

void tst_spotlight_index::copies_of_an_item_data()
{
    // One item a page, filler between the copies: they fall into different batches of pages.
    QTest::addColumn<QList<SyntheticItem>>("store_db");
    QTest::addColumn<QList<SyntheticItem>>("dot_store_db");
    QTest::addColumn<QString>("path");
    QTest::addColumn<MetadataValue>("expected");

    QList<SyntheticItem> filler;
    for (quint64 i = 0; i < 40; ++i)
        filler.append({1000 + i, 2, 5, QString("filler %1").arg(i), "filler"});
    const auto with_filler = [&filler](QList<SyntheticItem> items) {
        QList<SyntheticItem> spread = filler;
        for (int i = 0; i < items.size(); ++i)
            spread.insert(qMin(int(spread.size()), 1 + i * 13), items[i]);
        return spread;
    };
    using Items = QList<SyntheticItem>;
    const MetadataValue none = MetadataValue::null_value();

    QTest::newRow("item only in .store.db") << Items{} << Items{{40, 2, 100, "a.txt", "A"}} << "a.txt"
                                            << MetadataValue::from_text("A");
    QTest::newRow("latest copy in a later page wins")
        << with_filler({{40, 2, 100, "a.txt", "old"}, {40, 2, 300, "a.txt", "new"}, {40, 2, 200, "a.txt", "mid"}})
        << Items{} << "a.txt" << MetadataValue::from_text("new");
    QTest::newRow("later copy wins, .store.db holding it")
        << Items{{40, 2, 100, "a.txt", "old"}} << Items{{40, 2, 200, "a.txt", "new"}} << "a.txt"
        << MetadataValue::from_text("new");
    QTest::newRow("equal times: the first copy read wins")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "a.txt", "second"}}) << Items{} << "a.txt"
        << MetadataValue::from_text("first");
    QTest::newRow("equal times across stores: store.db read first wins")
        << with_filler({{40, 2, 100, "a.txt", "store.db"}}) << with_filler({{40, 2, 100, "a.txt", ".store.db"}})
        << "a.txt" << MetadataValue::from_text("store.db");
    QTest::newRow("equal times, renamed: the later name leads nowhere")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "b.txt", "second"}}) << Items{} << "b.txt"
        << none;
    QTest::newRow("equal times, renamed: the first name still leads to it")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "b.txt", "second"}}) << Items{} << "a.txt"
        << MetadataValue::from_text("first");
    QTest::newRow("renamed in a later page: the old name leads nowhere")
        << with_filler({{40, 2, 100, "old.txt", "old"}, {40, 2, 200, "new.txt", "new"}}) << Items{} << "old.txt"
        << none;
    QTest::newRow("renamed in a later page: found by its new name")
        << with_filler({{40, 2, 100, "old.txt", "old"}, {40, 2, 200, "new.txt", "new"}}) << Items{} << "new.txt"
        << MetadataValue::from_text("new");
    QTest::newRow("renamed in the other store: the old name leads nowhere")
        << Items{{40, 2, 100, "old.txt", "old"}} << Items{{40, 2, 200, "new.txt", "new"}} << "old.txt" << none;
    QTest::newRow("moved to another folder in the other store")
        << with_filler({{30, 2, 1, "Docs", "Docs"}, {40, 2, 100, "a.txt", "at the root"}})
        << with_filler({{40, 30, 200, "a.txt", "in Docs"}}) << "Docs/a.txt" << MetadataValue::from_text("in Docs");
    QTest::newRow("same name in one folder: the newer item, whichever page holds it")
        << with_filler({{41, 2, 300, "a.txt", "newer"}, {40, 2, 100, "a.txt", "older"}}) << Items{} << "a.txt"
        << MetadataValue::from_text("newer");
    QTest::newRow("same name and time in one folder: the larger identifier")
        << with_filler({{41, 2, 100, "a.txt", "41"}, {40, 2, 100, "a.txt", "40"}}) << Items{} << "a.txt"
        << MetadataValue::from_text("41");
    QTest::newRow("nested path through its folders")
        << Items{{30, 2, 100, "Docs", "Docs"}, {31, 30, 100, "2024", "2024"}, {40, 31, 100, "a.txt", "A"}}
        << Items{} << "Docs/2024/a.txt" << MetadataValue::from_text("A");
    QTest::newRow("folder missing from the index leaves its files unplaced")
        << Items{{40, 31, 100, "a.txt", "A"}} << Items{} << "Docs/2024/a.txt" << none;
    QTest::newRow("items whose parents form a cycle are not reached")
        << Items{{50, 51, 100, "x", "X"}, {51, 50, 100, "y", "Y"}, {52, 52, 100, "z", "Z"}} << Items{} << "x/y/x/y"
        << none;
    QTest::newRow("decomposed name in the index, composed in the path")
        << Items{{40, 2, 100, QString::fromUtf8("Re\xcc\x81sume\xcc\x81.txt"), "R"}} << Items{}
        << QString::fromUtf8("R\xc3\xa9sum\xc3\xa9.txt") << MetadataValue::from_text("R");
    QTest::newRow("large identifiers of nine bytes")
        << Items{{0x686ddc3e064e01adull, 2, 100, "big", "B"}} << Items{} << "big" << MetadataValue::from_text("B");
}

void tst_spotlight_index::copies_of_an_item()
{
    QFETCH(QList<SyntheticItem>, store_db);
    QFETCH(QList<SyntheticItem>, dot_store_db);
    QFETCH(QString, path);
    QFETCH(MetadataValue, expected);

    QTemporaryDir volume;
    const QString folder = synthetic_store_folder(volume.path());
    QVERIFY(write_file(folder + "/store.db", synthetic_store(store_db, 1)));
    QVERIFY(write_file(folder + "/.store.db", synthetic_store(dot_store_db, 1)));
    QVERIFY(write_file(volume.filePath(path), QByteArray())); // the index answers only for files on the volume

    auto store = SpotlightIndexStore::wrap(volume.path(), nullptr);
    QVERIFY(store);
    // The first look-up walks the items, later ones use the tables built at the second: all must agree.
    for (int lookup = 1; lookup <= 3; ++lookup) {
        auto item = store->create_item(volume.path() + "/" + path);
        QCOMPARE(item ? item->copy_attribute("kMDItemDisplayName") : MetadataValue::null_value(), expected);
    }
}

void tst_spotlight_index::deep_paths_data()
{
    QTest::addColumn<int>("depth");

    QTest::newRow("a few folders deep: found by walking") << 3;
    QTest::newRow("deeper than any walk: found through the tables at once") << 70;
}

void tst_spotlight_index::deep_paths()
{
    QFETCH(int, depth);

    // A chain of folders, the file at its bottom, and a file of the same
    // name at the top that must not be taken for it.
    QList<QByteArray> records;
    QString path;
    quint64 parent = 2;
    for (int level = 0; level < depth; ++level) {
        const quint64 id = 100 + quint64(level);
        records.append(record({id, parent, 1, "d", "folder"}));
        path += "d/";
        parent = id;
    }
    records.append(record({50, parent, 1, "f.txt", "deep"}));
    records.append(record({51, 2, 1, "f.txt", "top"}));
    auto index = index_of(records);
    for (int lookup = 1; lookup <= 2; ++lookup) {
        const auto found = index->record(path + "f.txt");
        QVERIFY(found);
        QCOMPARE(found->value("kMDItemDisplayName"), MetadataValue::from_text("deep"));
    }
    QVERIFY(!index->record(path + "d/f.txt"));
}

void tst_spotlight_index::values_decoded_for_the_key_asked_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");
    QTest::addColumn<bool>("complete");

    const auto item = [](const QList<QPair<quint32, QByteArray>> &values) {
        QList<QPair<quint32, QByteArray>> all = {{FileName, text("a.txt")}};
        all += values;
        return raw_record(40, 2, 1, all);
    };
    const QByteArray title = text("Quarterly report");
    QTest::newRow("key of a later attribute")
        << item({{DisplayName, text("A")}, {ContentType, text("public.plain-text")}, {Title, title}})
        << "kMDItemTitle" << MetadataValue::from_text("Quarterly report") << true;
    QTest::newRow("key the record lacks")
        << item({{DisplayName, text("A")}}) << "kMDItemTitle" << MetadataValue::null_value() << true;
    QTest::newRow("values before damage stand")
        << item({{DisplayName, text("A")}, {Kind, varint(500) + "cut"}}) << "kMDItemDisplayName"
        << MetadataValue::from_text("A") << false;
    QTest::newRow("the damaged value and those after it are gone")
        << item({{DisplayName, text("A")}, {Kind, varint(500) + "cut"}}) << "kMDItemKind"
        << MetadataValue::null_value() << false;
    QTest::newRow("property the tables lack ends the record")
        << item({{DisplayName, text("A")}, {900, text("x")}}) << "kMDItemDisplayName"
        << MetadataValue::from_text("A") << false;
    QTest::newRow("several sizes read as an array")
        << item({{AccumulatedSizes, varint(16) + varint(7) + varint(300)}}) << "kMDStoreAccumulatedSizes"
        << MetadataValue::from_array({MetadataValue::from_number(7), MetadataValue::from_number(300)}) << true;
    QTest::newRow("file name itself is a value too")
        << item({}) << "_kMDItemFileName" << MetadataValue::from_text("a.txt") << true;
}

void tst_spotlight_index::values_decoded_for_the_key_asked()
{
    QFETCH(QByteArray, record);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);
    QFETCH(bool, complete);

    auto index = index_of({record});
    const auto found = index->record("a.txt");
    QVERIFY(found);
    QCOMPARE(found->value(key), expected);
    QCOMPARE(found->complete(), complete);
}

void tst_spotlight_index::file_consulted_only_for_missing_keys_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("files_looked_at");

    QTest::newRow("index answers every key: the file is never looked at")
        << QStringList{"kMDItemDisplayName", "_kMDItemFileName"} << QStringList{"A", "a.txt"} << 0;
    QTest::newRow("missing keys: the file is looked at once")
        << QStringList{"kMDItemTitle", "kMDItemDisplayName", "kMDItemKind"}
        << QStringList{"file store: kMDItemTitle", "A", "file store: kMDItemKind"} << 1;
}

void tst_spotlight_index::file_consulted_only_for_missing_keys()
{
    QFETCH(QStringList, keys);
    QFETCH(QStringList, expected);
    QFETCH(int, files_looked_at);

    QTemporaryDir volume;
    QVERIFY(write_file(synthetic_store_folder(volume.path()) + "/store.db", synthetic_store({{40, 2, 1, "a.txt", "A"}})));
    QVERIFY(write_file(volume.filePath("a.txt"), QByteArray()));

    auto counting = std::make_unique<FileStoreStandIn>();
    FileStoreStandIn *files = counting.get();
    auto store = SpotlightIndexStore::wrap(volume.path(), std::move(counting));
    auto item = store->create_item(volume.path() + "/a.txt");
    QVERIFY(item);
    QStringList values;
    for (const QString &key : keys)
        values.append(item->copy_attribute(key).text);
    QCOMPARE(values, expected);
    QCOMPARE(files->items_made, files_looked_at);
}

void tst_spotlight_index::hundred_thousand_items()
{
    QList<SyntheticItem> items;
    for (quint64 folder = 0; folder < 100; ++folder) {
        const quint64 folder_id = 1000 + folder;
        items.append({folder_id, 2, 1, QString("folder %1").arg(folder), QString()});
        for (quint64 file = 0; file < 1000; ++file)
            items.append({200000 + folder * 1000 + file, folder_id, 1, QString("file %1.txt").arg(file),
                          QString("display %1/%2").arg(folder).arg(file)});
    }
    QTemporaryDir volume;
    QVERIFY(write_file(synthetic_store_folder(volume.path()) + "/store.db", synthetic_store(items)));
    const auto asked = [&](int folder, int file) {
        return volume.path() + QString("/folder %1/file %2.txt").arg(folder).arg(file);
    };
    for (int folder = 0; folder < 100; folder += 7) {
        for (int file = 0; file < 1000; file += 97)
            QVERIFY(write_file(asked(folder, file), "x"));
    }

    auto store = SpotlightIndexStore::wrap(volume.path(), nullptr);
    QVERIFY(store);
    for (int folder = 0; folder < 100; folder += 7) {
        for (int file = 0; file < 1000; file += 97) {
            auto item = store->create_item(asked(folder, file));
            QVERIFY(item);
            QCOMPARE(item->copy_attribute("kMDItemDisplayName"),
                     MetadataValue::from_text(QString("display %1/%2").arg(folder).arg(file)));
        }
    }
}

QTEST_GUILESS_MAIN(tst_spotlight_index)
#include "tst_spotlight_index.moc"
