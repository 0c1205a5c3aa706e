// How a volume's index is read for speed: file names taken from the raw
// record, copies of an item spread over many pages and both store files,
// values decoded only for the key asked, and the file itself consulted only
// for what the index lacks.

#include "metadata_store.h"
#include "spotlight_index/spotlight_index_store.h"
#include "spotlight_index/spotlight_store_file.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "synthetic_spotlight_store.h"

#include <QtTest>

#include <QTemporaryDir>

using namespace synthetic_spotlight;

namespace {

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

std::unique_ptr<SpotlightVolumeIndex> index_of(const QList<QList<QByteArray>> &stores_pages)
{
    std::vector<std::unique_ptr<SpotlightStoreFile>> stores;
    for (const QList<QByteArray> &pages : stores_pages) {
        QList<QByteArray> built;
        for (const QByteArray &page : pages)
            built.append(page);
        stores.push_back(SpotlightStoreFile::open(SpotlightByteSource::from_bytes(assemble_store(built))));
    }
    return SpotlightVolumeIndex::from_stores(std::move(stores));
}

// Stands for the file store, counting the files it is asked about.
class CountingFileStore : public MetadataStore
{
    class Item : public MetadataItem
    {
    public:
        MetadataValue copy_attribute(const QString &key) override
        {
            return MetadataValue::from_text(QStringLiteral("file: ") + key);
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

} // namespace

Q_DECLARE_METATYPE(MetadataValue)

class tst_spotlight_index_reading : public QObject
{
    Q_OBJECT

private slots:
    void file_names_from_raw_records_data();
    void file_names_from_raw_records();
    void copies_over_many_pages_data();
    void copies_over_many_pages();
    void deep_paths_data();
    void deep_paths();
    void values_decoded_for_the_key_asked_data();
    void values_decoded_for_the_key_asked();
    void file_consulted_only_for_missing_keys_data();
    void file_consulted_only_for_missing_keys();
};

void tst_spotlight_index_reading::file_names_from_raw_records_data()
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

void tst_spotlight_index_reading::file_names_from_raw_records()
{
    QFETCH(QByteArray, stored_name);
    QFETCH(QString, path);
    QFETCH(bool, found);

    // The root, and the item under it; its display name tells it apart.
    const QByteArray root = raw_record(2, 1, 1, {{FileName, text("Volume")}, {DisplayName, text("root")}});
    const QByteArray item =
        raw_record(40, 2, 1, {{FileName, stored_name}, {DisplayName, text("the item")}});
    auto index = index_of({{records_page({root, item})}});
    QCOMPARE(index->item_count(), 2);
    const auto record = index->record(path);
    QCOMPARE(bool(record), found);
    if (record)
        QCOMPARE(record->value("kMDItemDisplayName"), MetadataValue::from_text("the item"));
}

void tst_spotlight_index_reading::copies_over_many_pages_data()
{
    // Each copy: identifier, update time, name, display name; one page each,
    // so that the copies fall into different batches of pages.
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

    QTest::newRow("latest copy in a later page wins")
        << with_filler({{40, 2, 100, "a.txt", "old"}, {40, 2, 300, "a.txt", "new"}, {40, 2, 200, "a.txt", "mid"}})
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("new");
    QTest::newRow("equal times: the first copy read wins")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "a.txt", "second"}})
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("first");
    QTest::newRow("equal times across stores: store.db read first wins")
        << with_filler({{40, 2, 100, "a.txt", "store.db"}})
        << with_filler({{40, 2, 100, "a.txt", ".store.db"}}) << "a.txt" << MetadataValue::from_text("store.db");
    QTest::newRow("equal times, renamed: the later name leads nowhere")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "b.txt", "second"}})
        << QList<SyntheticItem>{} << "b.txt" << MetadataValue::null_value();
    QTest::newRow("equal times, renamed: the first name still leads to it")
        << with_filler({{40, 2, 100, "a.txt", "first"}, {40, 2, 100, "b.txt", "second"}})
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("first");
    QTest::newRow("renamed in a later page: the old name leads nowhere")
        << with_filler({{40, 2, 100, "old.txt", "old"}, {40, 2, 200, "new.txt", "new"}})
        << QList<SyntheticItem>{} << "old.txt" << MetadataValue::null_value();
    QTest::newRow("renamed in a later page: found by its new name")
        << with_filler({{40, 2, 100, "old.txt", "old"}, {40, 2, 200, "new.txt", "new"}})
        << QList<SyntheticItem>{} << "new.txt" << MetadataValue::from_text("new");
    QTest::newRow("moved to another folder in the other store")
        << with_filler({{30, 2, 1, "Docs", "Docs"}, {40, 2, 100, "a.txt", "at the root"}})
        << with_filler({{40, 30, 200, "a.txt", "in Docs"}}) << "Docs/a.txt" << MetadataValue::from_text("in Docs");
    QTest::newRow("same name in one folder: the newer item, whichever page holds it")
        << with_filler({{41, 2, 300, "a.txt", "newer"}, {40, 2, 100, "a.txt", "older"}})
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("newer");
    QTest::newRow("same name and time in one folder: the larger identifier")
        << with_filler({{41, 2, 100, "a.txt", "41"}, {40, 2, 100, "a.txt", "40"}})
        << QList<SyntheticItem>{} << "a.txt" << MetadataValue::from_text("41");
}

void tst_spotlight_index_reading::copies_over_many_pages()
{
    QFETCH(QList<SyntheticItem>, store_db);
    QFETCH(QList<SyntheticItem>, dot_store_db);
    QFETCH(QString, path);
    QFETCH(MetadataValue, expected);

    QTemporaryDir volume;
    const QString folder = volume.filePath(".Spotlight-V100/Store-V2/0000-TEST");
    QVERIFY(QDir().mkpath(folder));
    const auto write = [](const QString &path, const QByteArray &bytes) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    QVERIFY(write(folder + "/store.db", synthetic_store(store_db, 1)));
    QVERIFY(write(folder + "/.store.db", synthetic_store(dot_store_db, 1)));

    // The index answers only for files still on the volume.
    QVERIFY(QDir().mkpath(QFileInfo(volume.filePath(path)).absolutePath()));
    QVERIFY(write(volume.filePath(path), QByteArray()));

    auto store = SpotlightIndexStore::wrap(volume.path(), nullptr);
    QVERIFY(store);
    // The first look-up walks the items, the next ones use the tables built
    // at the second: both must agree.
    for (int lookup = 1; lookup <= 3; ++lookup) {
        auto item = store->create_item(volume.path() + "/" + path);
        QCOMPARE(item ? item->copy_attribute("kMDItemDisplayName") : MetadataValue::null_value(), expected);
    }
}

void tst_spotlight_index_reading::deep_paths_data()
{
    QTest::addColumn<int>("depth");

    QTest::newRow("a few folders deep: found by walking") << 3;
    QTest::newRow("deeper than any walk: found through the tables at once") << 70;
}

void tst_spotlight_index_reading::deep_paths()
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
    auto index = index_of({{records_page(records)}});
    for (int lookup = 1; lookup <= 2; ++lookup) {
        const auto found = index->record(path + "f.txt");
        QVERIFY(found);
        QCOMPARE(found->value("kMDItemDisplayName"), MetadataValue::from_text("deep"));
    }
    QVERIFY(!index->record(path + "d/f.txt"));
}

void tst_spotlight_index_reading::values_decoded_for_the_key_asked_data()
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

void tst_spotlight_index_reading::values_decoded_for_the_key_asked()
{
    QFETCH(QByteArray, record);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);
    QFETCH(bool, complete);

    auto index = index_of({{records_page({record})}});
    const auto found = index->record("a.txt");
    QVERIFY(found);
    QCOMPARE(found->value(key), expected);
    QCOMPARE(found->complete(), complete);
}

void tst_spotlight_index_reading::file_consulted_only_for_missing_keys_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("files_looked_at");

    QTest::newRow("index answers every key: the file is never looked at")
        << QStringList{"kMDItemDisplayName", "_kMDItemFileName"} << QStringList{"A", "a.txt"} << 0;
    QTest::newRow("missing keys: the file is looked at once")
        << QStringList{"kMDItemTitle", "kMDItemDisplayName", "kMDItemKind"}
        << QStringList{"file: kMDItemTitle", "A", "file: kMDItemKind"} << 1;
}

void tst_spotlight_index_reading::file_consulted_only_for_missing_keys()
{
    QFETCH(QStringList, keys);
    QFETCH(QStringList, expected);
    QFETCH(int, files_looked_at);

    QTemporaryDir volume;
    const QString folder = volume.filePath(".Spotlight-V100/Store-V2/0000-TEST");
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + "/store.db");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(synthetic_store({{40, 2, 1, "a.txt", "A"}}));
    file.close();
    QFile on_volume(volume.filePath("a.txt"));
    QVERIFY(on_volume.open(QIODevice::WriteOnly));
    on_volume.close();

    auto counting = std::make_unique<CountingFileStore>();
    CountingFileStore *files = counting.get();
    auto store = SpotlightIndexStore::wrap(volume.path(), std::move(counting));
    auto item = store->create_item(volume.path() + "/a.txt");
    QVERIFY(item);
    QStringList values;
    for (const QString &key : keys)
        values.append(item->copy_attribute(key).text);
    QCOMPARE(values, expected);
    QCOMPARE(files->items_made, files_looked_at);
}

QTEST_GUILESS_MAIN(tst_spotlight_index_reading)
#include "tst_spotlight_index_reading.moc"
