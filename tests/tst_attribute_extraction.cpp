// How one file's attributes become the keys and texts of its row: one item,
// one copy per key, rendered texts in the keys' order.

#include "memory_metadata_store.h"
#include "vantrel.h"

#include <QtTest>

class tst_attribute_extraction : public QObject
{
    Q_OBJECT

private slots:
    void row_data();
    void row();
};

void tst_attribute_extraction::row_data()
{
    QTest::addColumn<bool>("has_item");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("expected"); // "<null>" for null text: stored as NULL, unlike empty text

    QTest::newRow("no keys, no entries") << true << QStringList() << QStringList();
    QTest::newRow("no keys and no item, no entries") << false << QStringList() << QStringList();
    QTest::newRow("no item: every key blank, in order")
        << false << QStringList{"kMDItemFSName", "kMDItemKind", "kMDItemFSName"} << QStringList{"", "", ""};
    QTest::newRow("absent attribute between present ones") << true
        << QStringList{"kMDItemFSName", "kMDItemAuthors", "kMDItemFSSize"} << QStringList{"report.pages", "<null>", "2048"};
    QTest::newRow("duplicate keys each get their value")
        << true << QStringList{"kMDItemFSSize", "kMDItemFSSize"} << QStringList{"2048", "2048"};
    QTest::newRow("empty key has no value") << true << QStringList{""} << QStringList{"<null>"};
}

void tst_attribute_extraction::row()
{
    QFETCH(bool, has_item);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, expected);

    const QString file = "/Volumes/Evidence/Users/a/report.pages", earlier = "/Volumes/Evidence/b.txt";
    QHash<QString, MemoryMetadataStore::Attributes> files = {
        {earlier, {{"kMDItemAuthors", MetadataValue::from_text("An Examiner")}}}};
    if (has_item) {
        files.insert(file, {{"kMDItemFSName", MetadataValue::from_text("report.pages")},
                            {"kMDItemFSSize", MetadataValue::from_number(2048)}});
    }
    MemoryMetadataStore::Counts counts;
    vantrel reader;
    reader.set_metadata_store(std::make_unique<MemoryMetadataStore>(files, &counts));
    // Nothing of an earlier file survives into the next one's entries.
    reader.fill_apple_metadata_from_api(earlier, QStringList(4, "kMDItemAuthors"), QString());
    counts = {};
    reader.fill_apple_metadata_from_api(file, keys, QString());

    QCOMPARE(reader.extracted_keys_list, keys);
    QStringList values;
    for (const QString &value : reader.extracted_values_list)
        values << (value.isNull() ? "<null>" : value);
    QCOMPARE(values, expected);
    // One item per file, one copy per key.
    QCOMPARE(counts.items_made, has_item ? 1 : 0);
    QCOMPARE(counts.values_copied, has_item ? int(keys.size()) : 0);
}

QTEST_GUILESS_MAIN(tst_attribute_extraction)
#include "tst_attribute_extraction.moc"
