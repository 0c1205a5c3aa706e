// How one file's attributes become the keys and texts of its row: one item,
// one copy per key, rendered texts in the keys' order.

#include "memory_metadata_store.h"
#include "vantrel.h"

#include <QtTest>

namespace {

const QString file_path = QStringLiteral("/Volumes/Evidence/Users/a/report.pages");

// Stands for null text in the tables: stored as NULL, unlike empty text.
const QString null = QStringLiteral("<null>");

// Whether a value text is the expected one, null and empty told apart.
bool same_text(const QString &actual, const QString &expected)
{
    if (expected == null)
        return actual.isNull();
    return !actual.isNull() && actual == expected;
}

QString shown(const QString &text)
{
    return text.isNull() ? null : '"' + text + '"';
}

MetadataValue text(const char *utf8)
{
    return MetadataValue::from_text(QString::fromUtf8(utf8));
}

} // namespace

class tst_attribute_extraction : public QObject
{
    Q_OBJECT

private slots:
    void row_data();
    void row();
    void one_item_and_one_copy_per_key();
    void nothing_of_an_earlier_file_survives();
};

void tst_attribute_extraction::row_data()
{
    QTest::addColumn<bool>("has_item");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("no keys, no entries") << true << QStringList() << QStringList();
    QTest::newRow("no keys and no item, no entries") << false << QStringList() << QStringList();
    QTest::newRow("no item: every key blank, in order")
        << false << QStringList{"kMDItemFSName", "kMDItemKind", "kMDItemFSName"}
        << QStringList{"", "", ""};
    QTest::newRow("absent attribute between present ones")
        << true << QStringList{"kMDItemFSName", "kMDItemAuthors", "kMDItemFSSize"}
        << QStringList{"report.pages", null, "2048"};
    QTest::newRow("duplicate keys each get their value")
        << true << QStringList{"kMDItemFSSize", "kMDItemFSSize"} << QStringList{"2048", "2048"};
    QTest::newRow("empty key has no value") << true << QStringList{""} << QStringList{null};
}

void tst_attribute_extraction::row()
{
    QFETCH(bool, has_item);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, expected);

    QHash<QString, MemoryMetadataStore::Attributes> files;
    if (has_item) {
        files.insert(file_path, {{"kMDItemFSName", text("report.pages")},
                                 {"kMDItemFSSize", MetadataValue::from_number(2048)}});
    }
    vantrel reader;
    reader.set_metadata_store(std::make_unique<MemoryMetadataStore>(files));
    reader.fill_apple_metadata_from_api(file_path, keys, QString());

    QCOMPARE(reader.extracted_keys_list, keys);
    QCOMPARE(reader.extracted_values_list.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        const QString &value = reader.extracted_values_list.at(i);
        QVERIFY2(same_text(value, expected.at(i)),
                 qPrintable(QString("entry %1 is %2").arg(i).arg(shown(value))));
    }
}

void tst_attribute_extraction::one_item_and_one_copy_per_key()
{
    MemoryMetadataStore::Counts counts;
    vantrel reader;
    reader.set_metadata_store(std::make_unique<MemoryMetadataStore>(
        QHash<QString, MemoryMetadataStore::Attributes>{{file_path, {}}}, &counts));
    reader.fill_apple_metadata_from_api(file_path, {"a", "b", "a"}, QString());
    QCOMPARE(counts.items_made, 1);
    QCOMPARE(counts.values_copied, 3);
}

void tst_attribute_extraction::nothing_of_an_earlier_file_survives()
{
    const QString other = QStringLiteral("/Volumes/Evidence/b.txt");
    vantrel reader;
    reader.set_metadata_store(std::make_unique<MemoryMetadataStore>(
        QHash<QString, MemoryMetadataStore::Attributes>{{file_path, {{"k", text("first")}}},
                                                        {other, {}}}));
    reader.fill_apple_metadata_from_api(file_path, {"k", "k"}, QString());
    reader.fill_apple_metadata_from_api(other, {"k"}, QString());
    QCOMPARE(reader.extracted_keys_list, QStringList{"k"});
    QCOMPARE(reader.extracted_values_list.size(), 1);
    QVERIFY(reader.extracted_values_list.at(0).isNull());

    reader.fill_apple_metadata_from_api(QStringLiteral("/nowhere"), {"k"}, QString());
    QCOMPARE(reader.extracted_values_list, QStringList{""});
    QVERIFY(!reader.extracted_values_list.at(0).isNull());
}

QTEST_GUILESS_MAIN(tst_attribute_extraction)
#include "tst_attribute_extraction.moc"
