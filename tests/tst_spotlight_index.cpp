// Reading a volume's own Spotlight index: the fixture volumes' values, names
// taken from raw records, copies of an item over pages and both store files,
// the file store asked only for what the index lacks, and damaged stores.

#include "evidence_files.h"
#include "metadata_store.h"
#include "metadata_value_text.h"
#include "evidence/host_folder_volume.h"
#include "spotlight_index/spotlight_index_store.h"
#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace synthetic_spotlight;

namespace {

// A store's bytes as a source that must be read from one thread only, as
// an image's are: its pages are then read on the scanning thread.
class OneThreadSource : public SpotlightByteSource
{
public:
    explicit OneThreadSource(std::unique_ptr<SpotlightByteSource> source) : source_(std::move(source)) {}
    qint64 size() const override { return source_->size(); }
    QByteArray read(qint64 offset, qint64 length) override { return source_->read(offset, length); }
    bool holds_data(qint64 offset, qint64 length) override { return source_->holds_data(offset, length); }

private:
    std::unique_ptr<SpotlightByteSource> source_;
};

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight");
const QString store_10_13 = QStringLiteral("macos-10.13/.Spotlight-V100/Store-V2/D980C3E8-1007-4F67-9911-9143A0B3427A");
const QString store_12 = QStringLiteral("macos-12/.Spotlight-V100/Store-V2/B8A60235-5AE9-4A1A-9004-3F40B6FF4C28");

// Attribute values as the index stores them: each the property number and its bytes.
using Values = QList<QPair<quint32, QByteArray>>;

QByteArray raw_record(quint64 id, quint64 parent, quint64 updated, const Values &values)
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
QByteArray text(const QByteArray &bytes) { return varint(quint64(bytes.size() + 1)) + bytes + '\0'; }

// Property numbers of the synthetic stores' table.
enum : quint32 { FileName = 1, DisplayName = 2, AccumulatedSizes = 3, ContentType = 4, Kind = 11, Title = 18 };

std::unique_ptr<SpotlightVolumeIndex> index_of(const QList<QByteArray> &records)
{
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    stores.push_back(SpotlightStoreFile::open(SpotlightByteSource::from_bytes(assemble_store({records_page(records)}))));
    return SpotlightVolumeIndex::from_stores(std::move(stores));
}

// Stands for the file store, answering every key and counting the files it is asked about.
struct FileStoreStandIn : MetadataStore
{
    struct Item : MetadataItem
    {
        MetadataValue copy_attribute(const QString &key) override { return MetadataValue::from_text("file store: " + key); }
    };
    std::unique_ptr<MetadataItem> create_item(const QString &) override { return ++items_made, std::make_unique<Item>(); }
    int items_made = 0;
};

QString index_file(const QString &volume) { return volume + "/.Spotlight-V100/Store-V2/0000-TEST/store.db"; }

// The store's scan, every item's attributes read after it; whether all read to their record's end.
SpotlightScanSummary read_everything(SpotlightStoreFile &store, bool *all_complete)
{
    std::vector<SpotlightRecordLocation> locations;
    const auto summary = store.scan([&](const SpotlightScannedItem &item) { locations.push_back(item.location); });
    for (const SpotlightRecordLocation &location : locations) {
        const auto record = store.record(location);
        *all_complete = *all_complete && record && record->complete();
    }
    return summary;
}

// The volume's own index in front of fallback, as a run puts them; fallback alone where it has none.
std::unique_ptr<MetadataStore> with_index(const QString &root, std::unique_ptr<MetadataStore> fallback)
{
    auto index = SpotlightVolumeIndex::read(root);
    if (!index)
        return fallback;
    return std::make_unique<SpotlightIndexStore>(root, std::move(index), std::move(fallback));
}

} // namespace

Q_DECLARE_METATYPE(MetadataValue)
Q_DECLARE_METATYPE(SyntheticItem)
Q_DECLARE_METATYPE(Values)

char *toString(const MetadataValue &value)
{
    QString shown = QString("kind %1: \"%2\" %3").arg(int(value.kind)).arg(value.text).arg(value.number, 0, 'g', 17);
    for (std::size_t i = 0; i < value.items.size() && i < 8; ++i)
        shown += " [" + QString::fromUtf8(std::unique_ptr<char[]>(toString(value.items[i])).get()) + ']';
    return qstrdup(shown.toUtf8().constData());
}

class tst_spotlight_index : public QObject
{
    Q_OBJECT

private slots:
    void fixture_values_data();
    void fixture_values();
    void file_store_only_where_the_index_lacks_data();
    void file_store_only_where_the_index_lacks();
    void store_scans_data();
    void store_scans();
    void damaged_copies_data();
    void damaged_copies();
    void raw_records_data();
    void raw_records();
    void item_by_path_data();
    void item_by_path();
};

void tst_spotlight_index::fixture_values_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    // Types, kinds and dates of LICENSE reach the case in the volume runs' tests.
    const auto license = [](const char *row, const char *macos, const char *key, const MetadataValue &value) {
        QTest::newRow(row) << QString("macos-") + macos << "/LICENSE" << key << value;
    };
    license("10.13 display name without its language marker", "10.13", "kMDItemDisplayName", MetadataValue::from_text("LICENSE"));
    license("10.13 logical size", "10.13", "kMDItemLogicalSize", MetadataValue::from_number(18652));
    license("10.13 physical size of three bytes", "10.13", "kMDItemPhysicalSize", MetadataValue::from_number(20480));
    license("12 text encoding hint of five bytes", "12", "_kMDItemTextEncodingHint", MetadataValue::from_number(0x08000100));
    license("12 flag reads as one", "12", "_kMDItemTextContentIndexExists", MetadataValue::from_number(1));
    QTest::newRow("file the index has no item for goes to the file store")
        << "macos-12" << "/.DS_Store" << "kMDItemContentType" << MetadataValue::from_text("file store: kMDItemContentType");
    QTest::newRow("volume root is the index's root item")
        << "macos-10.13" << "" << "kMDItemContentType" << MetadataValue::from_text("public.volume");
    QTest::newRow("root with trailing separator")
        << "macos-10.13" << "/" << "kMDItemContentType" << MetadataValue::from_text("public.volume");
}

void tst_spotlight_index::fixture_values()
{
    QFETCH(QString, volume);
    QFETCH(QString, path);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);

    const QString root = fixtures + "/" + volume;
    auto store = with_index(root, std::make_unique<FileStoreStandIn>());
    auto item = store->create_item(root + path);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute(key), expected);
}

void tst_spotlight_index::file_store_only_where_the_index_lacks_data()
{
    QTest::addColumn<QByteArray>("store"); // null: no index folder
    QTest::addColumn<QString>("on_disk");  // beside the volume's folder; "link:" a dangling link
    QTest::addColumn<QString>("asked");
    QTest::addColumn<QString>("keys");     // separated by commas
    QTest::addColumn<QString>("expected"); // likewise; null: no item at all
    QTest::addColumn<int>("files_looked_at");

    const QByteArray indexed = synthetic_store({{40, 2, 100, "a.txt", "A"}});
    const QString a = "volume/a.txt";
    QTest::newRow("index answers every key: the file is never looked at")
        << indexed << a << a << "kMDItemDisplayName,_kMDItemFileName" << "A,a.txt" << 0;
    QTest::newRow("missing keys: the file is looked at once") << indexed << a << a
        << "kMDItemTitle,kMDItemDisplayName,kMDItemKind" << "file store: kMDItemTitle,A,file store: kMDItemKind" << 1;
    QTest::newRow("indexed file deleted from the volume") << indexed << QString() << a << "kMDItemDisplayName" << QString() << 0;
    QTest::newRow("link left in the indexed file's place is looked at, not followed")
        << indexed << "link:" + a << a << "kMDItemDisplayName" << "A" << 0;
    QTest::newRow("name differing only in case is another file")
        << indexed << "volume/A.txt" << "volume/A.txt" << "kMDItemDisplayName" << "file store: kMDItemDisplayName" << 1;
    QTest::newRow("path that only starts like the volume's is no file of it")
        << indexed << "volume-other/a.txt" << "volume-other/a.txt" << "kMDItemDisplayName" << QString() << 0;

    const auto unusable = [&a](const char *row, const QByteArray &store) {
        QTest::newRow(row) << store << a << a << "kMDItemDisplayName" << "file store: kMDItemDisplayName" << 1;
    };
    unusable("no index folder", QByteArray());
    unusable("empty store file", "");
    unusable("store of another format", QByteArray("SQLite format 3").leftJustified(0x2000, '\0'));
    unusable("header only, no tables", QByteArray("8tsd").leftJustified(0x1000, '\0'));
    unusable("store without items", synthetic_store({}));
}

void tst_spotlight_index::file_store_only_where_the_index_lacks()
{
    QFETCH(QByteArray, store);
    QFETCH(QString, on_disk);
    QFETCH(QString, asked);
    QFETCH(QString, keys);
    QFETCH(QString, expected);
    QFETCH(int, files_looked_at);

    QTemporaryDir folder;
    const QString root = folder.path() + "/volume";
    QVERIFY(store.isNull() || write_file(index_file(root), store));
    if (on_disk.startsWith("link:"))
        QVERIFY(QFile::link("nowhere", folder.filePath(on_disk.mid(5))));
    else if (!on_disk.isEmpty())
        QVERIFY(write_file(folder.filePath(on_disk), "x"));

    auto counting = std::make_unique<FileStoreStandIn>();
    FileStoreStandIn *files = counting.get();
    auto wrapped = with_index(root, std::move(counting));
    // Without an index that can be read, the file store alone is the store.
    QCOMPARE(wrapped.get() == files, store != synthetic_store({{40, 2, 100, "a.txt", "A"}}));
    auto item = wrapped->create_item(folder.filePath(asked));
    QCOMPARE(bool(item), !expected.isNull());
    const QStringList asked_keys = keys.split(','), values = expected.split(',');
    for (int i = 0; item && i < asked_keys.size(); ++i)
        QCOMPARE(metadata_value_text(item->copy_attribute(asked_keys[i])), values[i]);
    QCOMPARE(files->items_made, files_looked_at);
}

void tst_spotlight_index::store_scans_data()
{
    QTest::addColumn<QString>("fixture"); // else: the crafted store
    QTest::addColumn<QByteArray>("store");
    QTest::addColumn<qint64>("items");
    QTest::addColumn<int>("damaged_pages");
    QTest::addColumn<qint64>("damaged_records");
    QTest::addColumn<bool>("records_complete");

    QTest::newRow("standalone store of LZ4 pages") << "859631-store.db" << QByteArray() << qint64(1848) << 0 << qint64(0) << true;
    QTest::newRow("10.13 store.db of zlib pages") << store_10_13 + "/store.db" << QByteArray() << qint64(3) << 0 << qint64(0) << true;
    QTest::newRow("12 .store.db with string maps") << store_12 + "/.store.db" << QByteArray() << qint64(3) << 0 << qint64(0) << true;

    const auto crafted = [](const char *row, const QByteArray &store, qint64 items, int damaged_pages, qint64 damaged_records,
                            bool complete) {
        QTest::newRow(row) << QString() << store << items << damaged_pages << damaged_records << complete;
    };
    const QByteArray two_items = records_page({record({20, 2, 1, "a", "A"}), record({21, 2, 1, "b", "B"})});
    crafted("page listed a hundred thousand times is read once", assemble_store({two_items}, 100000), 2, 0, 0, true);
    crafted("page inflating past every limit", assemble_store({page(QByteArray(64 * 1024 * 1024, '\0'), 0x09, 0, true)}), 0,
            1, 0, true);
    QByteArray too_long = two_items;
    qToLittleEndian(quint32(0x7fffffff), too_long.data() + 8);
    crafted("page claiming more bytes than the store holds", assemble_store({too_long}), 0, 1, 0, true);
    // 2^53 sizes: a count no record can hold.
    const QByteArray huge_array = record({20, 2, 1, "a", "A"}) + varint(1) + varint(quint64(1) << 56);
    crafted("multi-valued attribute claiming 2^53 values", assemble_store({records_page({huge_array})}), 1, 0, 0, false);
    crafted("record size beyond its page",
            assemble_store({page(u32(0x7ffffff0) + record({20, 2, 1, "a", "A"}), 0x09, 0x100, true)}), 0, 0, 1, true);
}

void tst_spotlight_index::store_scans()
{
    QFETCH(QString, fixture);
    QFETCH(QByteArray, store);
    QFETCH(qint64, items);
    QFETCH(int, damaged_pages);
    QFETCH(qint64, damaged_records);
    QFETCH(bool, records_complete);

    // Pages read on the pool's threads, and on the scanning thread alone.
    for (const bool one_thread : {false, true}) {
        const QFileInfo info(fixtures + "/" + fixture);
        const HostFolderVolume folder(info.absolutePath());
        std::unique_ptr<SpotlightByteSource> source =
            fixture.isEmpty() ? SpotlightByteSource::from_bytes(store)
                              : SpotlightByteSource::from_object(folder.open_regular_file(
                                    QFile::encodeName(info.fileName()), EvidenceVolume::Links::Refused));
        if (one_thread)
            source = std::make_unique<OneThreadSource>(std::move(source));
        auto file = SpotlightStoreFile::open(std::move(source), fixture.isEmpty() ? nullptr : &folder);
        QVERIFY(file);
        bool all_complete = true;
        const SpotlightScanSummary summary = read_everything(*file, &all_complete);
        QCOMPARE(summary.items, items);
        QCOMPARE(summary.pages_damaged, damaged_pages);
        QCOMPARE(summary.damaged_records, damaged_records);
        QCOMPARE(summary.pages_read + summary.pages_damaged, summary.pages);
        QCOMPARE(all_complete, records_complete);
    }
}

void tst_spotlight_index::damaged_copies_data()
{
    QTest::addColumn<QString>("damaged"); // a store file, or a string map of the store.db beside it

    QTest::newRow("standalone store") << "859631-store.db";
    QTest::newRow("10.13 store.db") << store_10_13 + "/store.db";
    QTest::newRow("12 store.db") << store_12 + "/store.db";
    QTest::newRow("12 attribute name map") << store_12 + "/dbStr-1.map.data";
    QTest::newRow("12 attribute name offsets") << store_12 + "/dbStr-1.map.offsets";
    QTest::newRow("12 category map header") << store_12 + "/dbStr-2.map.header";
    QTest::newRow("12 localized list map") << store_12 + "/dbStr-5.map.data";
}

void tst_spotlight_index::damaged_copies()
{
    QFETCH(QString, damaged);

    QTemporaryDir copy;
    QVERIFY(copy_tree(fixtures, copy.path()));
    const QString store_path = copy.filePath(damaged.endsWith(".db") ? damaged : QFileInfo(damaged).path() + "/store.db");
    QFile file(copy.filePath(damaged));
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QByteArray original = file.readAll();
    // Reading a damaged store must end, and end soon, whatever it finds.
    const auto read_damaged = [&store_path] {
        bool complete = true;
        if (auto store = SpotlightStoreFile::open_file(store_path))
            read_everything(*store, &complete);
    };

    // Cut where structures begin and end, and at random places.
    QRandomGenerator random(0x5107);
    QList<qint64> cuts = {0, 1, 4, 0x28, 0x47, 0x48, 0x1000, 0x1014, 0x1024, 0x5014, 0x5020, 0x9021, 0x19014, 0x19100};
    for (int i = 0; i < 20; ++i)
        cuts.append(random.bounded(qint64(original.size())));
    for (qint64 cut : cuts) {
        if (cut < original.size() && file.resize(cut) && file.flush())
            read_damaged();
    }
    QVERIFY(file.resize(original.size()));

    // Flip single bits, mostly of bytes that hold something.
    QList<qint64> filled;
    for (qint64 i = 0; i < original.size(); ++i)
        if (original[i] != 0)
            filled.append(i);
    for (int i = 0; i < 300; ++i) {
        const qint64 at = i % 4 == 0 || filled.isEmpty() ? random.bounded(qint64(original.size()))
                                                         : filled[random.bounded(qsizetype(filled.size()))];
        const char flipped = char(original[at] ^ (1 << random.bounded(8)));
        QVERIFY(file.seek(at) && file.write(&flipped, 1) == 1 && file.flush());
        read_damaged();
        QVERIFY(file.seek(at) && file.write(original.constData() + at, 1) == 1);
    }
}

void tst_spotlight_index::raw_records_data()
{
    QTest::addColumn<Values>("values"); // of an item beneath the root
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");
    QTest::addColumn<int>("found"); // 0: no record, 1: a complete one, 2: one cut short by damage

    // The root's display name tells it apart from the item's.
    const auto name_row = [](const char *row, const QByteArray &stored_name, const QString &path, bool found) {
        QTest::newRow(row) << Values{{FileName, stored_name}, {DisplayName, text("the item")}} << path << "kMDItemDisplayName"
                           << (found ? MetadataValue::from_text("the item") : MetadataValue()) << int(found);
    };
    name_row("trailing zero bytes are no part of the name", varint(12) + QByteArray("notes.txt\0\0\0", 12), "notes.txt", true);
    name_row("zero byte inside the name stays in it", text(QByteArray("a\0b", 3)), QString("a") + QChar(0) + "b", true);
    name_row("composed name in the index, decomposed in the path", text("R\xc3\xa9sum\xc3\xa9"),
             QString::fromUtf8("Re\xcc\x81sume\xcc\x81"), true);
    name_row("name beyond the basic plane", text("\xf0\x9f\x93\x81 box"), QString::fromUtf8("\xf0\x9f\x93\x81 box"), true);
    name_row("bytes that are no UTF-8 read as replacement characters", text("a\xff" "b"),
             QString("a") + QChar(0xfffd) + "b", true);
    name_row("localized name answers by its text without the language", text("Dokument\x16\x02" "de"), "Dokument", true);
    name_row("localized name is not found with its marker", text("Dokument\x16\x02" "de"),
             QString::fromUtf8("Dokument\x16\x02" "de"), false);
    name_row("name longer than its record is damage", varint(200) + QByteArray("short"), "short", false);

    const auto value_row = [](const char *row, const Values &values, const QString &key, const MetadataValue &expected,
                              int found) {
        QTest::newRow(row) << Values{{FileName, text("a.txt")}} + values << "a.txt" << key << expected << found;
    };
    const Values damaged = {{DisplayName, text("A")}, {Kind, varint(500) + "cut"}};
    value_row("key of a later attribute",
              {{DisplayName, text("A")}, {ContentType, text("public.plain-text")}, {Title, text("Quarterly report")}},
              "kMDItemTitle", MetadataValue::from_text("Quarterly report"), 1);
    value_row("key the record lacks", {{DisplayName, text("A")}}, "kMDItemTitle", MetadataValue(), 1);
    value_row("values before damage stand", damaged, "kMDItemDisplayName", MetadataValue::from_text("A"), 2);
    value_row("the damaged value and those after it are gone", damaged, "kMDItemKind", MetadataValue(), 2);
    value_row("property the tables lack ends the record", {{DisplayName, text("A")}, {900, text("x")}},
              "kMDItemDisplayName", MetadataValue::from_text("A"), 2);
    value_row("several sizes read as an array", {{AccumulatedSizes, varint(16) + varint(7) + varint(300)}},
              "kMDStoreAccumulatedSizes",
              MetadataValue::from_array({MetadataValue::from_number(7), MetadataValue::from_number(300)}), 1);
    value_row("file name itself is a value too", {}, "_kMDItemFileName", MetadataValue::from_text("a.txt"), 1);
}

void tst_spotlight_index::raw_records()
{
    QFETCH(Values, values);
    QFETCH(QString, path);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);
    QFETCH(int, found);

    auto index = index_of({raw_record(2, 1, 1, {{FileName, text("Volume")}, {DisplayName, text("root")}}),
                           raw_record(40, 2, 1, values)});
    QCOMPARE(index->item_count(), 2);
    const auto record = index->record(path);
    QCOMPARE(record ? (record->complete() ? 1 : 2) : 0, found);
    if (record)
        QCOMPARE(record->value(key), expected);
}

void tst_spotlight_index::item_by_path_data()
{
    QTest::addColumn<QList<SyntheticItem>>("store_db");
    QTest::addColumn<QList<SyntheticItem>>("dot_store_db");
    QTest::addColumn<QString>("path");
    QTest::addColumn<MetadataValue>("expected");

    // One item a page, filler between the copies: they fall into different batches of pages.
    using Items = QList<SyntheticItem>;
    const auto spread = [](const Items &items) {
        Items spread;
        for (quint64 i = 0; i < 40; ++i)
            spread.append({1000 + i, 2, 5, QString("filler %1").arg(i), "filler"});
        for (int i = 0; i < items.size(); ++i)
            spread.insert(1 + i * 13, items[i]);
        return spread;
    };
    const auto row = [](const char *row, const Items &store_db, const Items &dot_store_db, const QString &path,
                        const char *display_name) { // null: no item
        QTest::newRow(row) << store_db << dot_store_db << path
                           << (display_name ? MetadataValue::from_text(QString::fromUtf8(display_name)) : MetadataValue());
    };
    const Items renamed_same_time = spread({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "b.txt", "second"}});
    const Items renamed_later = spread({{40, 2, 100, "old.txt", "old"}, {40, 2, 200, "new.txt", "new"}});

    row("item only in .store.db", {}, {{40, 2, 100, "a.txt", "A"}}, "a.txt", "A");
    row("latest copy in a later page wins",
        spread({{40, 2, 100, "a.txt", "old"}, {40, 2, 300, "a.txt", "new"}, {40, 2, 200, "a.txt", "mid"}}), {}, "a.txt", "new");
    row("later copy wins, .store.db holding it", {{40, 2, 100, "a.txt", "old"}}, {{40, 2, 200, "a.txt", "new"}}, "a.txt", "new");
    row("equal times: the first copy read wins",
        spread({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "a.txt", "second"}}), {}, "a.txt", "first");
    row("equal times across stores: store.db read first wins", spread({{40, 2, 100, "a.txt", "store.db"}}),
        spread({{40, 2, 100, "a.txt", ".store.db"}}), "a.txt", "store.db");
    row("equal times, renamed: the later name leads nowhere", renamed_same_time, {}, "b.txt", nullptr);
    row("equal times, renamed: the first name still leads to it", renamed_same_time, {}, "a.txt", "first");
    row("renamed in a later page: the old name leads nowhere", renamed_later, {}, "old.txt", nullptr);
    row("renamed in a later page: found by its new name", renamed_later, {}, "new.txt", "new");
    row("renamed in the other store: the old name leads nowhere", {{40, 2, 100, "old.txt", "old"}},
        {{40, 2, 200, "new.txt", "new"}}, "old.txt", nullptr);
    row("moved to another folder in the other store", spread({{30, 2, 1, "Docs", "Docs"}, {40, 2, 100, "a.txt", "at the root"}}),
        spread({{40, 30, 200, "a.txt", "in Docs"}}), "Docs/a.txt", "in Docs");
    row("same name in one folder: the newer item, whichever page holds it",
        spread({{41, 2, 300, "a.txt", "newer"}, {40, 2, 100, "a.txt", "older"}}), {}, "a.txt", "newer");
    row("same name and time in one folder: the larger identifier",
        spread({{41, 2, 100, "a.txt", "41"}, {40, 2, 100, "a.txt", "40"}}), {}, "a.txt", "41");
    row("nested path through its folders",
        {{30, 2, 100, "Docs", "Docs"}, {31, 30, 100, "2024", "2024"}, {40, 31, 100, "a.txt", "A"}}, {}, "Docs/2024/a.txt", "A");
    row("folder missing from the index leaves its files unplaced", {{40, 31, 100, "a.txt", "A"}}, {}, "Docs/2024/a.txt", nullptr);
    row("items whose parents form a cycle are not reached",
        {{50, 51, 100, "x", "X"}, {51, 50, 100, "y", "Y"}, {52, 52, 100, "z", "Z"}}, {}, "x/y/x/y", nullptr);
    row("decomposed name in the index, composed in the path", {{40, 2, 100, "Re\xcc\x81sume\xcc\x81.txt", "R"}}, {},
        QString::fromUtf8("R\xc3\xa9sum\xc3\xa9.txt"), "R");
    row("large identifiers of nine bytes", {{0x686ddc3e064e01adull, 2, 100, "big", "B"}}, {}, "big", "B");

    // A chain of folders deeper than any walk, and a file of the same name at the top.
    Items chain;
    QString deep;
    for (quint64 level = 0; level < 70; ++level, deep += "d/")
        chain.append({100 + level, level ? 99 + level : 2, 1, "d", "folder"});
    chain += {{50, 169, 1, "f.txt", "deep"}, {51, 2, 1, "f.txt", "top"}};
    row("deeper than any walk: found through the tables at once", chain, {}, deep + "f.txt", "deep");
    row("deeper than any walk: no deeper than the index goes", chain, {}, deep + "d/f.txt", nullptr);

    // More items than the smallest tables hold.
    Items many;
    for (quint64 i = 0; i < 1500; ++i)
        many += {{1000 + i, 2, 1, QString::number(i), QString()}, {100000 + i, 1000 + i, 1, "f", QString::number(i)}};
    row("thousands of items in as many folders", many, {}, "1499/f", "1499");
}

void tst_spotlight_index::item_by_path()
{
    QFETCH(QList<SyntheticItem>, store_db);
    QFETCH(QList<SyntheticItem>, dot_store_db);
    QFETCH(QString, path);
    QFETCH(MetadataValue, expected);

    QTemporaryDir volume;
    QVERIFY(write_file(index_file(volume.path()), synthetic_store(store_db, 1)));
    QVERIFY(write_file(QFileInfo(index_file(volume.path())).path() + "/.store.db", synthetic_store(dot_store_db, 1)));
    QVERIFY(write_file(volume.filePath(path), QByteArray())); // the index answers only for files on the volume

    auto store = with_index(volume.path(), nullptr);
    QVERIFY(store);
    // The first look-up walks the items, later ones use the tables built at the second: all must agree.
    for (int lookup = 1; lookup <= 3; ++lookup) {
        auto item = store->create_item(volume.filePath(path));
        QCOMPARE(item ? item->copy_attribute("kMDItemDisplayName") : MetadataValue(), expected);
    }
}

QTEST_GUILESS_MAIN(tst_spotlight_index)
#include "tst_spotlight_index.moc"
