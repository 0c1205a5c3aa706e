// What a file's metadata attribute, a property list, holds as a value,
// however it is encoded and however it was damaged or crafted.

#include "property_list_bytes.h"
#include "metadata_value_text.h"
#include "file/property_list_value.h"

#include <QtTest>

#include <limits>

using namespace property_list_bytes;

Q_DECLARE_METATYPE(MetadataValue)

namespace {

MetadataValue text(const char *utf8) { return MetadataValue::from_text(QString::fromUtf8(utf8)); }
MetadataValue number(double value) { return MetadataValue::from_number(value); }
MetadataValue date(double since_1970) { return MetadataValue::from_date(since_1970); }

Plist tree(plist_t node) { return Plist(node); }

} // namespace

class tst_property_list_value : public QObject
{
    Q_OBJECT

private slots:
    void value_data();
    void value();
    void stored_text_data();
    void stored_text();
};

void tst_property_list_value::value_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<MetadataValue>("expected");

    const Plist where_froms = array(string("https://example.org/a.zip"), string(""));
    const MetadataValue where_froms_value =
        MetadataValue::from_array({text("https://example.org/a.zip"), text("")});

    QTest::newRow("binary string") << binary(string("Keynote")) << text("Keynote");
    QTest::newRow("XML string") << xml(string("Keynote")) << text("Keynote");
    QTest::newRow("binary non-ASCII string") << binary(string("caf\xC3\xA9 \xE2\x82\xAC"))
                                             << text("caf\xC3\xA9 \xE2\x82\xAC");
    QTest::newRow("XML string with entities")
        << xml_document("<string>&lt;b&gt; &amp; &#233;</string>") << text("<b> & \xC3\xA9");
    QTest::newRow("empty string is a value") << binary(string("")) << text("");
    QTest::newRow("binary integer") << binary(integer(4096)) << number(4096);
    QTest::newRow("negative XML integer") << xml_document("<integer>-5</integer>") << number(-5);
    QTest::newRow("negative binary integer") << binary(integer(-7)) << number(-7);
    QTest::newRow("real") << binary(tree(plist_new_real(0.25))) << number(0.25);
    QTest::newRow("true is one") << xml_document("<true/>") << number(1);
    QTest::newRow("false is zero") << binary(tree(plist_new_bool(0))) << number(0);

    QTest::newRow("XML date in seconds since 1970")
        << xml_document("<date>2023-11-14T22:13:20Z</date>") << date(1700000000);
    QTest::newRow("binary date keeps its microseconds")
        << binary_date(721692800.25) << date(1700000000.25);
    QTest::newRow("date before 2001 with a fraction counts backwards")
        << binary_date(-100.25) << date(978307099.75);
    QTest::newRow("date before 1970") << xml_document("<date>1969-12-31T00:00:00Z</date>")
                                      << date(-86400);
    QTest::newRow("date at the 1970 epoch stays a date")
        << binary_date(-978307200.0) << date(0);
    QTest::newRow("Windows zero date of 1601 beyond 32-bit seconds")
        << xml_document("<date>1601-01-01T00:00:00Z</date>") << date(-11644473600.0);
    QTest::newRow("binary date in 2200 beyond 32-bit seconds")
        << binary_date(7258118400.0 - 978307200.0) << date(7258118400.0);

    QTest::newRow("binary array of strings") << binary(where_froms) << where_froms_value;
    QTest::newRow("XML array of strings") << xml(where_froms) << where_froms_value;
    QTest::newRow("empty array") << xml_document("<array/>") << MetadataValue::from_array({});
    QTest::newRow("nested array keeps its kind, not its items")
        << binary(array(string("a"), array(string("b"))))
        << MetadataValue::from_array({text("a"), MetadataValue::from_array({})});
    QTest::newRow("dictionary in an array is another kind")
        << xml_document("<array><dict><key>k</key><string>v</string></dict><integer>3</integer></array>")
        << MetadataValue::from_array({MetadataValue::other(), number(3)});
    // A long list of tags or addresses is genuine: nothing of it is dropped.
    std::vector<Plist> long_list;
    std::vector<MetadataValue> long_value;
    for (int i = 0; i < 100000; ++i) {
        long_list.push_back(integer(i));
        long_value.push_back(number(i));
    }
    QTest::newRow("long flat array is read whole") << binary(array_of(std::move(long_list)))
                                                   << MetadataValue::from_array(std::move(long_value));

    QTest::newRow("raw data") << xml_document("<data>AAEC</data>") << MetadataValue::other();
    QTest::newRow("dictionary") << xml_document("<dict><key>k</key><string>v</string></dict>")
                                << MetadataValue::other();
    QTest::newRow("keyed-archive identifier") << binary(tree(plist_new_uid(7)))
                                              << MetadataValue::other();

    // Damaged or crafted lists are refused, never followed into a hang or an exhausted memory.
    const MetadataValue other = MetadataValue::other();
    const QByteArray sound = binary(array(string("a"), string("b")));

    QTest::newRow("no bytes") << QByteArray() << other;
    QTest::newRow("text that is no property list") << QByteArray("Red\n6") << other;
    QTest::newRow("random bytes") << QByteArray::fromHex("00ff13bc9a0000017f") << other;
    QTest::newRow("binary magic alone") << QByteArray("bplist00") << other;
    QTest::newRow("truncated binary list") << sound.left(sound.size() - 5) << other;
    QTest::newRow("binary list with its trailer cut") << sound.left(sound.size() - 32) << other;
    QTest::newRow("truncated XML list") << xml(string("abc")).left(60) << other;
    QTest::newRow("unclosed XML array") << xml_document("<array><string>a</string>") << other;

    QTest::newRow("array containing itself") << binary_objects({array_object({0})}) << other;
    QTest::newRow("two arrays containing each other")
        << binary_objects({array_object({1}), array_object({0})}) << other;
    QTest::newRow("reference to an object that does not exist")
        << binary_objects({array_object({5})}) << other;
    QTest::newRow("array claiming more items than bytes")
        << binary_objects({QByteArray::fromHex("af13") + QByteArray::fromHex("4000000000000000")})
        << other;
    QTest::newRow("shared objects fanning out to a trillion nodes")
        << binary_shared_fan_out(4, 1000) << other;
    QTest::newRow("one long string shared sixteen thousand times") << [] {
        // 32 KiB of text that the parser would copy into half a gigabyte.
        std::vector<QByteArray> objects{array_object(std::vector<std::uint64_t>(16000, 1)),
                                        ascii_string_object(QByteArray(32768, 'x'))};
        return binary_objects(objects);
    }() << other;
    QTest::newRow("binary arrays nested ten thousand deep") << binary_shared_fan_out(10000, 1) << other;
    QTest::newRow("XML arrays nested a hundred thousand deep") << xml_nesting(100000) << other;

    QTest::newRow("shallow nesting is read")
        << binary_shared_fan_out(100, 1) << MetadataValue::from_array({MetadataValue::from_array({})});
    QTest::newRow("moderate shared fan-out is read") << binary_shared_fan_out(2, 300)
                                                     << MetadataValue::from_array(
                                                            std::vector<MetadataValue>(
                                                                300, MetadataValue::from_array({})));
}

void tst_property_list_value::value()
{
    QFETCH(QByteArray, bytes);
    QFETCH(MetadataValue, expected);

    const MetadataValue value = property_list_value(bytes);
    QCOMPARE(value, expected);
    if (expected.kind == MetadataValue::Kind::Text)
        QVERIFY2(!value.text.isNull(), "a string value came back as null text");
}

void tst_property_list_value::stored_text_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("expected"); // null: stored as NULL

    // Seconds from 1970 to 2001, where the format's dates count from.
    const double to_2001 = 978307200.0;
    const double largest = std::numeric_limits<double>::max();
    const QString largest_whole_seconds = QStringLiteral(
        "17976931348623157081452742373170435679807056752584499659891747680315726078002853876058955"
        "86327668781715404589535143824642343213268894641827684675467035375169860499105765512820762"
        "45490090389328944075868508455133942304583236903222948165808559332123348274797826204144723"
        "168738177180919299881250404026184124858368");

    QTest::newRow("distant-past date of year 1")
        << binary_date(-62135596800.0 - to_2001) << QString("-62135596800");
    QTest::newRow("date in the year 12000")
        << binary_date(316532332800.0 - to_2001) << QString("316532332800");
    QTest::newRow("date a fraction of a microsecond short of a second rounds up")
        << binary_date(721692799.9999996) << QString("1700000000");
    QTest::newRow("half a second before 2001 stays in 2000")
        << binary_date(-0.5) << QString("978307199");
    QTest::newRow("half a second before 1970 is minus zero")
        << binary_date(-0.5 - to_2001) << QString("-0");
    QTest::newRow("date exactly at 1970 is no value") << binary_date(-to_2001) << QString();
    QTest::newRow("largest finite date") << binary_date(largest) << largest_whole_seconds;
    QTest::newRow("smallest finite date") << binary_date(-largest) << "-" + largest_whole_seconds;
    QTest::newRow("date that is not a number")
        << binary_date(std::numeric_limits<double>::quiet_NaN()) << QString("nan");
    QTest::newRow("date at infinity")
        << binary_date(std::numeric_limits<double>::infinity()) << QString("inf");
    QTest::newRow("date at minus infinity")
        << binary_date(-std::numeric_limits<double>::infinity()) << QString("-inf");
    QTest::newRow("XML date of year 1")
        << xml_document("<date>0001-01-01T00:00:00Z</date>") << QString("-62135596800");
    QTest::newRow("array of dates far apart")
        << binary_objects({array_object({1, 2}), date_object(-62135596800.0 - to_2001),
                           date_object(721692800.0)})
        << QString("-62135596800;1700000000");

    QTest::newRow("16-byte integer is unsigned")
        << binary_objects({integer_object(4, ~std::uint64_t(0))}) << QString("1.84467e+19");
    QTest::newRow("16-byte integer beyond 64 bits has no number")
        << binary_objects({integer_object(4, 5, 1)}) << QString();
    QTest::newRow("8-byte integer is signed")
        << binary_objects({integer_object(3, ~std::uint64_t(0))}) << QString("-1");
    QTest::newRow("4-byte integer is unsigned")
        << binary_objects({integer_object(2, 0xFFFFFFFFu)}) << QString("4.29497e+09");
    QTest::newRow("XML integer above the signed range")
        << xml_document("<integer>18446744073709551615</integer>") << QString("1.84467e+19");
    QTest::newRow("unsigned integer in an array")
        << binary_objects({array_object({1, 2}), integer_object(4, ~std::uint64_t(0)),
                           integer_object(0, 7)})
        << QString("1.84467e+19;7");

    const QString with_nul = QString::fromUtf16(u"a\0b", 3);
    QTest::newRow("one-byte string keeps what follows a NUL")
        << binary_objects({ascii_string_object(QByteArray("a\0b", 3))}) << with_nul;
    QTest::newRow("UTF-16 string keeps what follows a NUL")
        << binary_objects({utf16_string_object(QString::fromUtf16(u"\u00e9\0\u20ac", 3))})
        << QString::fromUtf16(u"\u00e9\0\u20ac", 3);
    QTest::newRow("long string with its length in an integer object")
        << binary_objects({ascii_string_object(QByteArray("twenty\0characters..", 20))})
        << QString::fromUtf16(u"twenty\0characters..", 20);
    QTest::newRow("strings with NULs in an array")
        << binary_objects({array_object({1, 1}), ascii_string_object(QByteArray("a\0b", 3))})
        << with_nul + ";" + with_nul;
}

void tst_property_list_value::stored_text()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expected);

    const QString text = metadata_value_text(property_list_value(bytes));
    QCOMPARE(text, expected);
    QCOMPARE(text.isNull(), expected.isNull());
}

QTEST_GUILESS_MAIN(tst_property_list_value)
#include "tst_property_list_value.moc"
