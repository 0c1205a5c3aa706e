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
MetadataValue array_value(std::vector<MetadataValue> items) { return MetadataValue::from_array(std::move(items)); }

// A row expecting a value, or the text it is stored as.
void row(const char *name, const QByteArray &bytes, const MetadataValue &value)
{
    QTest::newRow(name) << bytes << QVariant::fromValue(value);
}
void text_row(const char *name, const QByteArray &bytes, const QString &text) { QTest::newRow(name) << bytes << QVariant(text); }

} // namespace

class tst_property_list_value : public QObject
{
    Q_OBJECT

private slots:
    void value_data();
    void value();
};

void tst_property_list_value::value_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVariant>("expected"); // a value, or its stored text (null: stored as NULL)

    row("binary non-ASCII string", binary(string("caf\xC3\xA9 \xE2\x82\xAC")), text("caf\xC3\xA9 \xE2\x82\xAC"));
    row("XML string with entities", xml_document("<string>&lt;b&gt; &amp; &#233;</string>"), text("<b> & \xC3\xA9"));
    row("empty string is a value", binary(string("")), text(""));
    row("binary integer", binary(integer(4096)), number(4096));
    row("negative XML integer", xml_document("<integer>-5</integer>"), number(-5));
    row("negative binary integer", binary(integer(-7)), number(-7));
    row("real", binary(Plist(plist_new_real(0.25))), number(0.25));
    row("true is one", xml_document("<true/>"), number(1));
    row("false is zero", binary(Plist(plist_new_bool(0))), number(0));
    row("XML date in seconds since 1970", xml_document("<date>2023-11-14T22:13:20Z</date>"), date(1700000000));
    row("binary date keeps its microseconds", binary_date(721692800.25), date(1700000000.25));
    row("date before 2001 with a fraction counts backwards", binary_date(-100.25), date(978307099.75));
    row("date at the 1970 epoch stays a date", binary_date(-978307200.0), date(0));
    row("binary array of strings", binary(array(string("https://example.org/a.zip"), string(""))),
        array_value({text("https://example.org/a.zip"), text("")}));
    row("empty array", xml_document("<array/>"), array_value({}));
    row("nested array keeps its kind, not its items", binary(array(string("a"), array(string("b")))),
        array_value({text("a"), array_value({})}));
    row("dictionary in an array is another kind",
        xml_document("<array><dict><key>k</key><string>v</string></dict><integer>3</integer></array>"),
        array_value({MetadataValue::other(), number(3)}));
    // A long list of tags or addresses is genuine: nothing of it is dropped.
    Plist long_list(plist_new_array());
    std::vector<MetadataValue> long_value;
    for (int i = 0; i < 100000; ++i) {
        plist_array_append_item(long_list.get(), plist_new_uint(std::uint64_t(i)));
        long_value.push_back(number(i));
    }
    row("long flat array is read whole", binary(long_list), array_value(std::move(long_value)));
    row("shallow nesting is read", binary_shared_fan_out(100, 1), array_value({array_value({})}));
    row("moderate shared fan-out is read", binary_shared_fan_out(2, 300),
        array_value(std::vector<MetadataValue>(300, array_value({}))));

    // Other kinds, and damaged or crafted lists refused, never followed into a hang or an exhausted memory.
    const auto other = [](const char *name, const QByteArray &bytes) { row(name, bytes, MetadataValue::other()); };
    const QByteArray sound = binary(array(string("a"), string("b")));
    other("raw data", xml_document("<data>AAEC</data>"));
    other("dictionary", xml_document("<dict><key>k</key><string>v</string></dict>"));
    other("keyed-archive identifier", binary(Plist(plist_new_uid(7))));
    other("no bytes", QByteArray());
    other("text that is no property list", "Red\n6");
    other("random bytes", QByteArray::fromHex("00ff13bc9a0000017f"));
    other("binary magic alone", "bplist00");
    other("truncated binary list", sound.left(sound.size() - 5));
    other("binary list with its trailer cut", sound.left(sound.size() - 32));
    other("truncated XML list", xml(string("abc")).left(60));
    other("unclosed XML array", xml_document("<array><string>a</string>"));
    other("array containing itself", binary_objects({array_object({0})}));
    other("two arrays containing each other", binary_objects({array_object({1}), array_object({0})}));
    other("reference to an object that does not exist", binary_objects({array_object({5})}));
    other("array claiming more items than bytes", binary_objects({QByteArray::fromHex("af134000000000000000")}));
    other("shared objects fanning out to a trillion nodes", binary_shared_fan_out(4, 1000));
    // 32 KiB of text that the parser would copy into half a gigabyte.
    other("one long string shared sixteen thousand times",
          binary_objects({array_object(std::vector<std::uint64_t>(16000, 1)), ascii_string_object(QByteArray(32768, 'x'))}));
    other("binary arrays nested ten thousand deep", binary_shared_fan_out(10000, 1));
    other("XML arrays nested a hundred thousand deep",
          xml_document((QByteArray("<array>").repeated(100000) + "<string>x</string>" + QByteArray("</array>").repeated(100000))
                           .constData()));

    // Seconds from 1970 to 2001, where the format's dates count from.
    const double to_2001 = 978307200.0, largest = std::numeric_limits<double>::max();
    // How dates are rounded and rendered is the value text's own test; here, what the list gives it.
    text_row("distant-past date of year 1", binary_date(-62135596800.0 - to_2001), "-62135596800");
    text_row("date in the year 12000", binary_date(316532332800.0 - to_2001), "316532332800");
    text_row("largest finite date", binary_date(largest), QString::number(largest, 'f', 0));
    text_row("smallest finite date", binary_date(-largest), "-" + QString::number(largest, 'f', 0));
    text_row("date that is not a number", binary_date(std::numeric_limits<double>::quiet_NaN()), "nan");
    text_row("date at infinity", binary_date(std::numeric_limits<double>::infinity()), "inf");
    text_row("date at minus infinity", binary_date(-std::numeric_limits<double>::infinity()), "-inf");
    text_row("XML date of year 1", xml_document("<date>0001-01-01T00:00:00Z</date>"), "-62135596800");

    text_row("16-byte integer is unsigned", binary_objects({integer_object(4, ~std::uint64_t(0))}), "1.84467e+19");
    text_row("16-byte integer beyond 64 bits has no number", binary_objects({integer_object(4, 5, 1)}), QString());
    text_row("8-byte integer is signed", binary_objects({integer_object(3, ~std::uint64_t(0))}), "-1");
    text_row("4-byte integer is unsigned", binary_objects({integer_object(2, 0xFFFFFFFFu)}), "4.29497e+09");
    text_row("XML integer above the signed range", xml_document("<integer>18446744073709551615</integer>"), "1.84467e+19");

    text_row("one-byte string keeps what follows a NUL", binary_objects({ascii_string_object(QByteArray("a\0b", 3))}),
             QString::fromUtf16(u"a\0b", 3));
    const QString utf16_with_nul = QString::fromUtf16(u"\u00e9\0\u20ac", 3);
    text_row("UTF-16 string keeps what follows a NUL", binary_objects({utf16_string_object(utf16_with_nul)}), utf16_with_nul);
    text_row("long string with its length in an integer object",
             binary_objects({ascii_string_object(QByteArray("twenty\0characters..", 20))}),
             QString::fromUtf16(u"twenty\0characters..", 20));
}

void tst_property_list_value::value()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QVariant, expected);

    const MetadataValue value = property_list_value(bytes);
    if (expected.userType() == QMetaType::QString) {
        QCOMPARE(metadata_value_text(value), expected.toString());
        QCOMPARE(metadata_value_text(value).isNull(), expected.toString().isNull());
    } else {
        QCOMPARE(value, expected.value<MetadataValue>());
        if (value.kind == MetadataValue::Kind::Text)
            QVERIFY2(!value.text.isNull(), "a string value came back as null text");
    }
}

QTEST_GUILESS_MAIN(tst_property_list_value)
#include "tst_property_list_value.moc"
