// The answer frame the worker reads from its importer process: what an
// honest importer sends comes back whole, and what a taken-over one sends
// is refused as a whole, whatever its bytes.

#include "importers/import_protocol.h"

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

using namespace import_protocol;

Q_DECLARE_METATYPE(ImportedValues)

namespace {

// Little-endian building blocks for hostile bodies.
QByteArray u32(std::uint32_t value)
{
    QByteArray out;
    for (int shift = 0; shift < 32; shift += 8)
        out.append(char((value >> shift) & 0xff));
    return out;
}

QByteArray u16(std::uint16_t value)
{
    return u32(value).left(2);
}

QByteArray f64(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return u32(std::uint32_t(bits)) + u32(std::uint32_t(bits >> 32));
}

QByteArray key(const QByteArray &name)
{
    return u16(std::uint16_t(name.size())) + name;
}

QByteArray text(const QByteArray &utf8)
{
    return QByteArray(1, '\x01') + u32(std::uint32_t(utf8.size())) + utf8;
}

MetadataValue texts(std::initializer_list<const char *> items)
{
    std::vector<MetadataValue> values;
    for (const char *item : items)
        values.push_back(MetadataValue::from_text(QString::fromUtf8(item)));
    return MetadataValue::from_array(std::move(values));
}

} // namespace

class tst_import_protocol : public QObject
{
    Q_OBJECT

private slots:
    void answer_comes_back_data();
    void answer_comes_back();
    void hostile_answer_refused_data();
    void hostile_answer_refused();
    void frame_length_bounded_data();
    void frame_length_bounded();
    void request_names_one_content_type_data();
    void request_names_one_content_type();
};

void tst_import_protocol::answer_comes_back_data()
{
    QTest::addColumn<ImportedValues>("given");
    QTest::addColumn<ImportedValues>("sent"); // what an honest importer's frame carries back

    const auto whole = [](const char *row, const ImportedValues &values) { QTest::newRow(row) << values << values; };
    whole("nothing found", {});
    whole("a camera's make", {{"kMDItemAcquisitionMake", MetadataValue::from_text("Canon")}});
    whole("an empty text stays empty, not absent", {{"kMDItemTitle", MetadataValue::from_text(QLatin1String(""))}});
    whole("text beyond ASCII", {{"kMDItemTitle", MetadataValue::from_text(QString::fromUtf8("Übersicht 東京 🎵"))}});
    whole("numbers keep every bit", {{"kMDItemFNumber", MetadataValue::from_number(2.8)},
                                     {"kMDItemDurationSeconds", MetadataValue::from_number(-0.0)},
                                     {"kMDItemFSSize", MetadataValue::from_number(9007199254740993.0)}});
    whole("dates before 1970 and with fractions",
          {{"kMDItemContentCreationDate", MetadataValue::from_date(-86400.25)},
           {"kMDItemContentModificationDate", MetadataValue::from_date(1700000000.5)}});
    whole("arrays of texts, numbers and dates",
          {{"kMDItemAuthors", texts({"Ann", "", "Bo"})},
           {"kMDItemMixed", MetadataValue::from_array({MetadataValue::from_number(1), MetadataValue::from_date(2)})},
           {"kMDItemKeywords", MetadataValue::from_array({})}});
    whole("a key twice keeps both in order",
          {{"kMDItemTitle", MetadataValue::from_text("first")}, {"kMDItemTitle", MetadataValue::from_text("second")}});
    whole("text at its largest", {{"kMDItemComment", MetadataValue::from_text(QString(int(max_text_size), 'c'))}});

    // Values the worker would refuse are left out, the rest still sent.
    const MetadataValue title = MetadataValue::from_text("kept");
    QTest::newRow("a value of no shown kind")
        << ImportedValues{{"kMDItemThumbnail", MetadataValue::other()}, {"kMDItemTitle", title}}
        << ImportedValues{{"kMDItemTitle", title}};
    QTest::newRow("a null value") << ImportedValues{{"kMDItemTitle", MetadataValue::null_value()}} << ImportedValues{};
    QTest::newRow("a key that is no identifier")
        << ImportedValues{{"kMDItem Title", title}, {"kMDItemTitle", title}} << ImportedValues{{"kMDItemTitle", title}};
    QTest::newRow("a text too long to send")
        << ImportedValues{{"kMDItemComment", MetadataValue::from_text(QString(int(max_text_size) + 1, 'c'))},
                          {"kMDItemTitle", title}}
        << ImportedValues{{"kMDItemTitle", title}};
    QTest::newRow("a number that is not a number")
        << ImportedValues{{"kMDItemFNumber", MetadataValue::from_number(std::nan(""))}} << ImportedValues{};
    QTest::newRow("nested and odd items inside an array")
        << ImportedValues{{"kMDItemAuthors",
                           MetadataValue::from_array({MetadataValue::from_array({}), title, MetadataValue::other()})}}
        << ImportedValues{{"kMDItemAuthors", MetadataValue::from_array({title})}};
    ImportedValues many;
    for (std::uint32_t i = 0; i <= max_value_count; ++i)
        many.emplace_back(QStringLiteral("kMDItemKey%1").arg(i), title);
    ImportedValues allowed(many.begin(), many.begin() + max_value_count);
    QTest::newRow("more values than a frame may hold") << many << allowed;
}

void tst_import_protocol::answer_comes_back()
{
    QFETCH(ImportedValues, given);
    QFETCH(ImportedValues, sent);
    const QByteArray frame = encode_answer(0x01020304, given);
    const std::optional<std::uint32_t> length = decode_frame_length(frame.left(length_size));
    QVERIFY(length);
    QCOMPARE(qsizetype(*length), frame.size() - length_size);
    const std::optional<Answer> answer = decode_answer(frame.mid(length_size));
    QVERIFY(answer);
    QCOMPARE(answer->sequence, 0x01020304u);
    QCOMPARE(answer->values.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        QCOMPARE(answer->values[i].first, sent[i].first);
        QVERIFY(answer->values[i].second == sent[i].second);
    }
}

void tst_import_protocol::hostile_answer_refused_data()
{
    QTest::addColumn<QByteArray>("body");

    const QByteArray sequence = u32(9);
    const QByteArray one = sequence + u32(1);
    QTest::newRow("no bytes at all") << QByteArray();
    QTest::newRow("request number cut short") << QByteArray("\x09\0", 2);
    QTest::newRow("count cut short") << sequence + QByteArray("\x01\0", 2);
    QTest::newRow("more values than allowed") << sequence + u32(max_value_count + 1);
    QTest::newRow("count promises a value that is not there") << one;
    QTest::newRow("key length beyond the bytes") << one + u16(40) + "kMD";
    QTest::newRow("empty key") << one + key("") + text("x");
    QTest::newRow("key too long") << one + key(QByteArray(int(max_key_size) + 1, 'k')) + text("x");
    QTest::newRow("key with a zero byte") << one + key(QByteArray("kMD\0X", 5)) + text("x");
    QTest::newRow("key with a path in it") << one + key("../kMDItemTitle") + text("x");
    QTest::newRow("key with a space") << one + key("kMDItem Title") + text("x");
    QTest::newRow("key without its value") << one + key("kMDItemTitle");
    QTest::newRow("value of kind zero") << one + key("kMDItemTitle") + QByteArray(1, '\0');
    QTest::newRow("value of an unknown kind") << one + key("kMDItemTitle") + QByteArray(1, '\x05') + f64(1);
    QTest::newRow("value of kind 255") << one + key("kMDItemTitle") + QByteArray(1, '\xff');
    QTest::newRow("text longer than its bytes") << one + key("kMDItemTitle") + QByteArray(1, '\x01') + u32(10) + "short";
    QTest::newRow("text longer than allowed")
        << one + key("kMDItemTitle") + text(QByteArray(int(max_text_size) + 1, 't'));
    QTest::newRow("text length near four gigabytes") << one + key("kMDItemTitle") + QByteArray(1, '\x01') + u32(0xffffffff);
    QTest::newRow("number cut short") << one + key("kMDItemFNumber") + QByteArray(1, '\x02') + "1234";
    QTest::newRow("number that is not a number")
        << one + key("kMDItemFNumber") + QByteArray(1, '\x02') + f64(std::numeric_limits<double>::quiet_NaN());
    QTest::newRow("date at infinity")
        << one + key("kMDItemContentCreationDate") + QByteArray(1, '\x03') + f64(std::numeric_limits<double>::infinity());
    QTest::newRow("array longer than allowed") << one + key("kMDItemAuthors") + QByteArray(1, '\x04') + u32(max_array_size + 1);
    QTest::newRow("array promising items that are not there") << one + key("kMDItemAuthors") + QByteArray(1, '\x04') + u32(3) + text("a");
    QTest::newRow("array inside an array")
        << one + key("kMDItemAuthors") + QByteArray(1, '\x04') + u32(1) + QByteArray(1, '\x04') + u32(0);
    QTest::newRow("array item of an unknown kind")
        << one + key("kMDItemAuthors") + QByteArray(1, '\x04') + u32(1) + QByteArray(1, '\x07');
    QTest::newRow("bytes after the last value") << one + key("kMDItemTitle") + text("x") + "!";
    QTest::newRow("body larger than a frame") << sequence + u32(0) + QByteArray(int(max_frame_size), '\0');
}

void tst_import_protocol::hostile_answer_refused()
{
    QFETCH(QByteArray, body);
    QVERIFY(!decode_answer(body));
}

void tst_import_protocol::frame_length_bounded_data()
{
    QTest::addColumn<QByteArray>("length");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("empty body") << u32(0) << true;
    QTest::newRow("largest body") << u32(max_frame_size) << true;
    QTest::newRow("one byte over") << u32(max_frame_size + 1) << false;
    QTest::newRow("four gigabytes") << u32(0xffffffff) << false;
    QTest::newRow("length cut short") << QByteArray("\x10\0", 2) << false;
}

void tst_import_protocol::frame_length_bounded()
{
    QFETCH(QByteArray, length);
    QFETCH(bool, accepted);
    QCOMPARE(bool(decode_frame_length(length)), accepted);
}

void tst_import_protocol::request_names_one_content_type_data()
{
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<bool>("sendable");

    QTest::newRow("a photo") << "public.jpeg" << true;
    QTest::newRow("no type") << "" << false;
    QTest::newRow("a type at its longest") << QString(int(max_content_type_size), 't') << true;
    QTest::newRow("a type too long") << QString(int(max_content_type_size) + 1, 't') << false;
}

void tst_import_protocol::request_names_one_content_type()
{
    QFETCH(QString, content_type);
    QFETCH(bool, sendable);
    const std::optional<QByteArray> request = encode_request(42, content_type);
    QCOMPARE(bool(request), sendable);
    if (!request)
        return;
    const std::optional<Request> decoded = decode_request(*request);
    QVERIFY(decoded);
    QCOMPARE(decoded->sequence, 42u);
    QCOMPARE(decoded->content_type, content_type);
    QVERIFY(!decode_request(*request + "x"));
    QVERIFY(!decode_request(request->chopped(1)));
}

QTEST_GUILESS_MAIN(tst_import_protocol)
#include "tst_import_protocol.moc"
