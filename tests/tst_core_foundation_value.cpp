// Spotlight's CoreFoundation values as the macOS store converts them, run
// against a counting stand-in: every kind, and every object released once.

#include "core_foundation_stand_in.h"
#include "core_foundation_value.h"
#include "metadata_store.h"

#include <QtTest>

#include <functional>

namespace cf = core_foundation_stand_in;

using ValueMaker = std::function<CFTypeRef()>;
Q_DECLARE_METATYPE(ValueMaker)
Q_DECLARE_METATYPE(MetadataValue)

namespace {

MetadataValue text(const char16_t *units)
{
    return MetadataValue::from_text(QString::fromStdU16String(units));
}

MetadataValue array(std::vector<MetadataValue> items)
{
    return MetadataValue::from_array(std::move(items));
}

// An array holding these objects, which it retains; the maker's own
// references go, so the array is their only owner.
CFArrayRef owning_array(const std::vector<CFTypeRef> &items)
{
    CFArrayRef result = cf::make_array(items);
    for (CFTypeRef item : items)
        CFRelease(item);
    return result;
}

QString counted(const cf::Counts &counts)
{
    return QStringLiteral("%1 alive, %2 faults").arg(counts.alive()).arg(counts.faults);
}

const std::u16string report = u"/Volumes/Evidence/Users/a/report.pages";

} // namespace

class tst_core_foundation_value : public QObject
{
    Q_OBJECT

private slots:
    void init() { cf::reset(); }
    void converted_value_data();
    void converted_value();
    void stand_in_notices_a_leak_and_a_double_release();
    void spotlight_item_data();
    void spotlight_item();
};

void tst_core_foundation_value::converted_value_data()
{
    QTest::addColumn<ValueMaker>("make");
    QTest::addColumn<MetadataValue>("expected");

    const double unix_epoch = -978307200.0; // in seconds since 2001

    QTest::newRow("string keeps every character")
        << ValueMaker([] { return cf::make_string(u"  report\t.pages "); }) << text(u"  report\t.pages ");
    QTest::newRow("empty string is a value, not missing")
        << ValueMaker([] { return cf::make_string(u""); }) << MetadataValue::from_text(QLatin1String(""));
    QTest::newRow("characters beyond the basic plane keep both halves")
        << ValueMaker([] { return cf::make_string(u"\U0001F600 \U0001D11E\u00e9"); })
        << text(u"\U0001F600 \U0001D11E\u00e9");
    QTest::newRow("embedded nul character is kept")
        << ValueMaker([] { return cf::make_string(std::u16string(u"a\0b", 3)); })
        << MetadataValue::from_text(QString::fromStdU16String(std::u16string(u"a\0b", 3)));
    QTest::newRow("number by its double value")
        << ValueMaker([] { return cf::make_number(3.14159265); }) << MetadataValue::from_number(3.14159265);
    QTest::newRow("zero is a number, not missing")
        << ValueMaker([] { return cf::make_number(0); }) << MetadataValue::from_number(0);
    QTest::newRow("yes is the number one")
        << ValueMaker([] { return cf::make_boolean(true); }) << MetadataValue::from_number(1);
    QTest::newRow("no is the number zero")
        << ValueMaker([] { return cf::make_boolean(false); }) << MetadataValue::from_number(0);
    QTest::newRow("date counted from 1970, not from 2001")
        << ValueMaker([] { return cf::make_date(0.0); }) << MetadataValue::from_date(978307200.0);
    QTest::newRow("date at the 1970 epoch")
        << ValueMaker([=] { return cf::make_date(unix_epoch); }) << MetadataValue::from_date(0.0);
    QTest::newRow("date before 1970 with its fraction")
        << ValueMaker([=] { return cf::make_date(unix_epoch - 86400.5); })
        << MetadataValue::from_date(-86400.5);
    QTest::newRow("array keeps its items in order")
        << ValueMaker([] {
               return owning_array({cf::make_string(u"Red"), cf::make_number(2), cf::make_date(0.0),
                                    cf::make_boolean(true)});
           })
        << array({text(u"Red"), MetadataValue::from_number(2), MetadataValue::from_date(978307200.0),
                  MetadataValue::from_number(1)});
    QTest::newRow("nested array keeps its kind but not its items")
        << ValueMaker([] {
               return owning_array({cf::make_string(u"a"),
                                    owning_array({cf::make_string(u"b"), cf::make_string(u"c")}),
                                    cf::make_string(u"d")});
           })
        << array({text(u"a"), array({}), text(u"d")});
    QTest::newRow("empty array") << ValueMaker([] { return owning_array({}); }) << array({});
    QTest::newRow("other kinds inside an array stay other")
        << ValueMaker([] { return owning_array({cf::make_other(), cf::make_string(u"")}); })
        << array({MetadataValue::other(), MetadataValue::from_text(QLatin1String(""))});
    QTest::newRow("data or a dictionary is of another kind")
        << ValueMaker([] { return cf::make_other(); }) << MetadataValue::other();
    QTest::newRow("no object is no value") << ValueMaker([] { return CFTypeRef(); })
                                           << MetadataValue::null_value();
}

void tst_core_foundation_value::converted_value()
{
    QFETCH(ValueMaker, make);
    QFETCH(MetadataValue, expected);

    const CFTypeRef object = make();
    const MetadataValue value = metadata_value_of(object);
    QVERIFY(value == expected);

    // The conversion only borrows: the owner's one release ends every object.
    if (object)
        CFRelease(object);
    QVERIFY2(cf::counts().alive() == 0 && cf::counts().faults == 0, qPrintable(counted(cf::counts())));
}

void tst_core_foundation_value::stand_in_notices_a_leak_and_a_double_release()
{
    // Without this the release counts below would prove nothing.
    const CFTypeRef leaked = cf::make_string(u"x");
    QCOMPARE(cf::counts().alive(), 1);
    CFRelease(leaked);
    QCOMPARE(cf::counts().alive(), 0);
    CFRelease(leaked);
    QCOMPARE(cf::counts().faults, 1);
}

void tst_core_foundation_value::spotlight_item_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("has_item");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QList<MetadataValue>>("expected");

    const QString known = QString::fromStdU16String(report);
    QTest::newRow("no item for a path Spotlight does not know")
        << QStringLiteral("/Volumes/Evidence/missing") << false << QStringList{"kMDItemFSName"}
        << QList<MetadataValue>();
    QTest::newRow("each copied value released, present or absent, repeated or not")
        << known << true << QStringList{"kMDItemFSName", "kMDItemAuthors", "kMDItemWhereFroms", "kMDItemFSName"}
        << QList<MetadataValue>{text(u"report.pages"), MetadataValue::null_value(),
                                array({text(u"https://example.org/r"), text(u"")}), text(u"report.pages")};
    QTest::newRow("item made and released without a key read")
        << known << true << QStringList() << QList<MetadataValue>();
    QTest::newRow("path beyond the basic plane finds its item")
        << QString::fromStdU16String(u"/Volumes/Evidence/\U0001F4C1/a") << true << QStringList{"kMDItemUseCount"}
        << QList<MetadataValue>{MetadataValue::from_number(7)};
    QTest::newRow("empty key has no value")
        << known << true << QStringList{""} << QList<MetadataValue>{MetadataValue::null_value()};
}

void tst_core_foundation_value::spotlight_item()
{
    QFETCH(QString, path);
    QFETCH(bool, has_item);
    QFETCH(QStringList, keys);
    QFETCH(QList<MetadataValue>, expected);

    cf::add_item(report, {{u"kMDItemFSName", cf::make_string(u"report.pages")},
                          {u"kMDItemWhereFroms",
                           owning_array({cf::make_string(u"https://example.org/r"), cf::make_string(u"")})}});
    cf::add_item(u"/Volumes/Evidence/\U0001F4C1/a", {{u"kMDItemUseCount", cf::make_number(7)}});
    {
        const std::unique_ptr<MetadataStore> store = create_platform_metadata_store(QStringLiteral("/Volumes/Evidence"));
        const std::unique_ptr<MetadataItem> item = store->create_item(path);
        QCOMPARE(bool(item), has_item);
        QList<MetadataValue> values;
        for (const QString &key : keys) {
            if (item)
                values.append(item->copy_attribute(key));
        }
        QVERIFY(values == expected);
    }
    cf::clear_items();
    QVERIFY2(cf::counts().alive() == 0 && cf::counts().faults == 0, qPrintable(counted(cf::counts())));
}

QTEST_GUILESS_MAIN(tst_core_foundation_value)
#include "tst_core_foundation_value.moc"
