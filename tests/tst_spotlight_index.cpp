// Reading a volume's own Spotlight index: the fixture volumes' items and
// values, the fallback to the file store, merging of a volume's store
// files, and damaged stores.

#include "metadata_store.h"
#include "spotlight_index/spotlight_index_store.h"
#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

#include <QDirIterator>
#include <QElapsedTimer>
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

// Stands for the file store: every file has an item answering every key.
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
    std::unique_ptr<MetadataItem> create_item(const QString &) override { return std::make_unique<Item>(); }
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
    void store_files_merge_data();
    void store_files_merge();
    void hundred_thousand_items_index_in_seconds();
};

void tst_spotlight_index::license_values_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    const double created_10_13 = date_2001(709151646);
    QTest::newRow("10.13 content creation date") << "macos-10.13" << "kMDItemContentCreationDate"
                                                 << MetadataValue::from_date(created_10_13);
    QTest::newRow("10.13 content modification date") << "macos-10.13" << "kMDItemContentModificationDate"
                                                     << MetadataValue::from_date(created_10_13);
    QTest::newRow("10.13 date added") << "macos-10.13" << "kMDItemDateAdded" << MetadataValue::from_date(created_10_13);
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
    QTest::newRow("12 content modification date") << "macos-12" << "kMDItemContentModificationDate"
                                                  << MetadataValue::from_date(created_12);
    QTest::newRow("12 date added") << "macos-12" << "kMDItemDateAdded" << MetadataValue::from_date(created_12);
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

    QTest::newRow("index value wins over the file store's")
        << "macos-12" << "/LICENSE" << "kMDItemContentType" << MetadataValue::from_text("public.data");
    QTest::newRow("key the index item lacks")
        << "macos-12" << "/LICENSE" << "kMDItemUserTags" << MetadataValue::from_text("file store: kMDItemUserTags");
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
    QTest::newRow("10.13 .store.db") << store_10_13 + "/.store.db" << 3;
    QTest::newRow("12 store.db with string maps") << store_12 + "/store.db" << 3;
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
    QTest::newRow("10.13 .store.db") << store_10_13 << ".store.db";
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
    QElapsedTimer timer;
    timer.start();

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
    QVERIFY2(timer.elapsed() < 60000, qPrintable(QString("took %1 ms").arg(timer.elapsed())));
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

    QElapsedTimer timer;
    timer.start();
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
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString("took %1 ms").arg(timer.elapsed())));
}

void tst_spotlight_index::store_files_merge_data()
{
    QTest::addColumn<QList<SyntheticItem>>("store_db");
    QTest::addColumn<QList<SyntheticItem>>("dot_store_db");
    QTest::addColumn<QString>("path");
    QTest::addColumn<MetadataValue>("expected_display_name");

    const SyntheticItem folder{30, 2, 100, "Docs", "Docs"};
    QTest::newRow("item only in .store.db")
        << QList<SyntheticItem>{} << QList<SyntheticItem>{{40, 2, 100, "a.txt", "A"}} << "a.txt"
        << MetadataValue::from_text("A");
    QTest::newRow("later copy wins, store.db holding it")
        << QList<SyntheticItem>{{40, 2, 200, "a.txt", "new"}} << QList<SyntheticItem>{{40, 2, 100, "a.txt", "old"}}
        << "a.txt" << MetadataValue::from_text("new");
    QTest::newRow("later copy wins, .store.db holding it")
        << QList<SyntheticItem>{{40, 2, 100, "a.txt", "old"}} << QList<SyntheticItem>{{40, 2, 200, "a.txt", "new"}}
        << "a.txt" << MetadataValue::from_text("new");
    QTest::newRow("renamed item answers under its newer name only")
        << QList<SyntheticItem>{{40, 2, 100, "old.txt", "old"}} << QList<SyntheticItem>{{40, 2, 200, "new.txt", "new"}}
        << "old.txt" << MetadataValue::null_value();
    QTest::newRow("name reused in a folder belongs to the newer item")
        << QList<SyntheticItem>{{40, 2, 100, "a.txt", "first"}, {41, 2, 300, "a.txt", "second"}}
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("second");
    QTest::newRow("nested path through its folders")
        << QList<SyntheticItem>{folder, {31, 30, 100, "2024", "2024"}, {40, 31, 100, "a.txt", "A"}}
        << QList<SyntheticItem>{} << "Docs/2024/a.txt" << MetadataValue::from_text("A");
    QTest::newRow("folder missing from the index leaves its files unplaced")
        << QList<SyntheticItem>{{40, 31, 100, "a.txt", "A"}} << QList<SyntheticItem>{} << "Docs/2024/a.txt"
        << MetadataValue::null_value();
    QTest::newRow("items whose parents form a cycle are not reached")
        << QList<SyntheticItem>{{50, 51, 100, "x", "X"}, {51, 50, 100, "y", "Y"}, {52, 52, 100, "z", "Z"}}
        << QList<SyntheticItem>{} << "x/y/x/y" << MetadataValue::null_value();
    QTest::newRow("decomposed name in the index, composed in the path")
        << QList<SyntheticItem>{{40, 2, 100, QString::fromUtf8("Re\xcc\x81sume\xcc\x81.txt"), "R"}}
        << QList<SyntheticItem>{} << QString::fromUtf8("R\xc3\xa9sum\xc3\xa9.txt") << MetadataValue::from_text("R");
    QTest::newRow("large identifiers of nine bytes")
        << QList<SyntheticItem>{{0x686ddc3e064e01adull, 2, 100, "big", "B"}} << QList<SyntheticItem>{} << "big"
        << MetadataValue::from_text("B");
}

void tst_spotlight_index::store_files_merge()
{
    QFETCH(QList<SyntheticItem>, store_db);
    QFETCH(QList<SyntheticItem>, dot_store_db);
    QFETCH(QString, path);
    QFETCH(MetadataValue, expected_display_name);

    QTemporaryDir volume;
    const QString folder = synthetic_store_folder(volume.path());
    QVERIFY(write_file(folder + "/store.db", synthetic_store(store_db)));
    QVERIFY(write_file(folder + "/.store.db", synthetic_store(dot_store_db)));
    QVERIFY(write_file(volume.path() + "/" + path, "x"));

    auto store = SpotlightIndexStore::wrap(volume.path(), nullptr);
    QVERIFY(store);
    auto item = store->create_item(volume.path() + "/" + path);
    const MetadataValue display_name = item ? item->copy_attribute("kMDItemDisplayName") : MetadataValue();
    QCOMPARE(display_name, expected_display_name);
}

void tst_spotlight_index::hundred_thousand_items_index_in_seconds()
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

    QElapsedTimer timer;
    timer.start();
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
    QVERIFY2(timer.elapsed() < 10000, qPrintable(QString("took %1 ms").arg(timer.elapsed())));
}

QTEST_GUILESS_MAIN(tst_spotlight_index)
#include "tst_spotlight_index.moc"
