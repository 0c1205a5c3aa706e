// How the values a metadata store hands back become the texts of a row.

#include "memory_metadata_store.h"
#include "vantrel.h"

#include <QtTest>

#include <clocale>
#include <cstdio>

Q_DECLARE_METATYPE(MetadataValue)

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

MetadataValue array(std::vector<MetadataValue> items)
{
    return MetadataValue::from_array(std::move(items));
}

// The value text of one attribute, read through the reader as a run reads it.
QString rendered(const MetadataValue &value)
{
    vantrel reader;
    reader.set_metadata_store(std::make_unique<MemoryMetadataStore>(
        QHash<QString, MemoryMetadataStore::Attributes>{{file_path, {{"kMDItemX", value}}}}));
    reader.fill_apple_metadata_from_api(file_path, {"kMDItemX"}, QString());
    return reader.extracted_values_list.value(0, QStringLiteral("<no entry>"));
}

} // namespace

class tst_attribute_extraction : public QObject
{
    Q_OBJECT

private slots:
    void value_text_data();
    void value_text();
    void date_text_ignores_the_process_locale();
    void row_data();
    void row();
    void one_item_and_one_copy_per_key();
    void nothing_of_an_earlier_file_survives();
};

void tst_attribute_extraction::value_text_data()
{
    QTest::addColumn<MetadataValue>("value");
    QTest::addColumn<QString>("expected");

    const MetadataValue epoch = MetadataValue::from_date(0.0);

    QTest::newRow("whole number") << MetadataValue::from_number(5) << "5";
    QTest::newRow("half") << MetadataValue::from_number(0.5) << "0.5";
    QTest::newRow("five digits stay whole") << MetadataValue::from_number(12345) << "12345";
    QTest::newRow("six significant digits") << MetadataValue::from_number(3.14159265) << "3.14159";
    QTest::newRow("large count loses its lower digits")
        << MetadataValue::from_number(1234567) << "1.23457e+06";
    QTest::newRow("nine digits in exponent form")
        << MetadataValue::from_number(123456789) << "1.23457e+08";
    QTest::newRow("small number in exponent form")
        << MetadataValue::from_number(0.00001) << "1e-05";
    QTest::newRow("yes value") << MetadataValue::from_number(1) << "1";
    QTest::newRow("zero number is a value, not missing") << MetadataValue::from_number(0) << "0";
    QTest::newRow("negative number") << MetadataValue::from_number(-2.5) << "-2.5";

    QTest::newRow("date cut to whole seconds")
        << MetadataValue::from_date(1700000000.25) << "1700000000";
    QTest::newRow("date before 1970") << MetadataValue::from_date(-86400) << "-86400";
    QTest::newRow("half second before the epoch keeps its sign")
        << MetadataValue::from_date(-0.5) << "-0";
    QTest::newRow("rounding to microseconds carries into the seconds")
        << MetadataValue::from_date(1699999999.9999996) << "1700000000";
    QTest::newRow("date just short of the next second")
        << MetadataValue::from_date(1699999999.999) << "1699999999";
    QTest::newRow("epoch date is missing") << epoch << null;
    QTest::newRow("negative zero date is the epoch") << MetadataValue::from_date(-0.0) << null;
    QTest::newRow("tenth of a microsecond after the epoch")
        << MetadataValue::from_date(1e-7) << "0";
    QTest::newRow("date far beyond 64-bit seconds")
        << MetadataValue::from_date(1e20) << "100000000000000000000";

    QTest::newRow("string unchanged, blanks kept") << text("  a b\t") << "  a b\t";
    QTest::newRow("empty string is empty, not missing") << text("") << "";
    QTest::newRow("null string from a store is still a string")
        << MetadataValue::from_text(QString()) << "";
    QTest::newRow("raw data or dictionary is missing") << MetadataValue::other() << null;
    QTest::newRow("no value") << MetadataValue::null_value() << null;

    QTest::newRow("two dates")
        << array({MetadataValue::from_date(1700000000), MetadataValue::from_date(1700003600)})
        << "1700000000;1700003600";
    QTest::newRow("epoch date vanishes in array with its separator")
        << array({epoch, MetadataValue::from_date(1700000000)}) << "1700000000";
    QTest::newRow("epoch date between strings leaves one separator")
        << array({text("a"), epoch, text("b")}) << "a;b";
    QTest::newRow("empty string keeps its slot") << array({text("a"), text(""), text("b")})
                                                 << "a;;b";
    QTest::newRow("only the one trailing separator goes") << array({text("x;")}) << "x;";
    QTest::newRow("one empty string is empty text") << array({text("")}) << "";
    QTest::newRow("empty array is missing") << array({}) << null;
    QTest::newRow("array of skipped items is missing")
        << array({epoch, MetadataValue::other(), array({text("deep")}), MetadataValue::null_value()})
        << null;
    QTest::newRow("nested array contributes nothing")
        << array({text("a"), array({text("b"), text("c")}), text("d")}) << "a;d";
    QTest::newRow("numbers by the number rule inside an array")
        << array({MetadataValue::from_number(1234567), MetadataValue::from_number(1)})
        << "1.23457e+06;1";
    QTest::newRow("mixed kinds in array order")
        << array({text("Red"), MetadataValue::from_number(2), MetadataValue::from_date(-86400.5)})
        << "Red;2;-86400";
}

void tst_attribute_extraction::value_text()
{
    QFETCH(MetadataValue, value);
    QFETCH(QString, expected);

    const QString text = rendered(value);
    QVERIFY2(same_text(text, expected), qPrintable("got " + shown(text)));
}

void tst_attribute_extraction::date_text_ignores_the_process_locale()
{
    // The application object takes the number format from the environment,
    // so an examiner's German desktop must not turn the point into a comma.
    const QByteArray previous = std::setlocale(LC_NUMERIC, nullptr);
    const char *german = nullptr;
    for (const char *name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE"}) {
        if ((german = std::setlocale(LC_NUMERIC, name)))
            break;
    }
    if (!german)
        QSKIP("no German locale on this machine (install and generate de_DE.UTF-8 to run this)");

    char printed[32];
    std::snprintf(printed, sizeof printed, "%f", 0.5);
    const QString date = rendered(MetadataValue::from_date(1700000000.75));
    const QString number = rendered(MetadataValue::from_number(0.5));
    std::setlocale(LC_NUMERIC, previous.constData());

    QCOMPARE(QString::fromLatin1(printed), QStringLiteral("0,500000")); // the locale is in force
    QCOMPARE(date, QStringLiteral("1700000000"));
    QCOMPARE(number, QStringLiteral("0.5"));
}

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
