// What an honest importer sends the worker comes back whole; what a
// taken-over one sends is refused as a whole, whatever its bytes.

#include "import_protocol.h"

#include <QtTest>

using namespace import_protocol;

Q_DECLARE_METATYPE(ImportedValues)

namespace {

template <typename T> QByteArray little(T value)
{
    value = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&value), sizeof value);
}
QByteArray key(const QByteArray &name) { return little(quint16(name.size())) + name; }
QByteArray kind(char kind) { return QByteArray(1, kind); }
QByteArray text(const QByteArray &utf8) { return kind(1) + little<quint32>(quint32(utf8.size())) + utf8; }

} // namespace

class tst_import_protocol : public QObject
{
    Q_OBJECT

private slots:
    void answer_comes_back_data();
    void answer_comes_back();
    void hostile_answer_refused_data();
    void hostile_answer_refused();
    void frame_length_bounded();
    void request_names_one_content_type();
};

void tst_import_protocol::answer_comes_back_data()
{
    QTest::addColumn<ImportedValues>("given");
    QTest::addColumn<ImportedValues>("sent"); // what an honest importer's frame carries back

    using V = MetadataValue;
    const auto t = [](const char *utf8) { return V::from_text(QString::fromUtf8(utf8)); };
    const auto whole = [](const char *row, const ImportedValues &values) { QTest::newRow(row) << values << values; };
    whole("nothing found", {});
    whole("an empty text stays empty, not absent", {{"kMDItemTitle", t("")}});
    whole("text beyond ASCII", {{"kMDItemTitle", t("Übersicht 東京 🎵")}});
    whole("numbers keep every bit", {{"kMDItemFNumber", V::from_number(2.8)}, {"kMDItemDurationSeconds",
          V::from_number(-0.0)}, {"kMDItemFSSize", V::from_number(9007199254740993.0)}});
    whole("dates before 1970 and with fractions", {{"kMDItemContentCreationDate", V::from_date(-86400.25)},
                                                   {"kMDItemContentModificationDate", V::from_date(1700000000.5)}});
    whole("arrays of texts, numbers and dates", {{"kMDItemAuthors", V::from_array({t("Ann"), t(""), t("Bo")})},
          {"kMDItemMixed", V::from_array({V::from_number(1), V::from_date(2)})}, {"kMDItemKeywords", V::from_array({})}});
    whole("a key twice keeps both in order", {{"kMDItemTitle", t("first")}, {"kMDItemTitle", t("second")}});
    // Fifteen longest texts and a title fill a frame to its last byte; a byte more and the title is left out.
    ImportedValues full(15, {"kMDItemComment", V::from_text(QString(int(max_text_size), 'c'))}), overflowing = full;
    full.emplace_back("kMDItemTitle", V::from_text(QString(65194, 't')));
    overflowing.emplace_back("kMDItemTitle", V::from_text(QString(65195, 't')));
    whole("a frame filled to its last byte", full);
    QTest::newRow("a value that would overflow the frame") << overflowing << ImportedValues(full.begin(), full.end() - 1);

    // Values the worker would refuse are left out, the rest still sent.
    const ImportedValues kept = {{"kMDItemTitle", t("kept")}};
    const auto left_out = [&](const char *row, const std::pair<QString, V> &refused) {
        QTest::newRow(row) << ImportedValues{refused, kept[0]} << kept;
    };
    left_out("a value of no shown kind", {"kMDItemThumbnail", V::other()});
    left_out("a null value", {"kMDItemTitle", V::null_value()});
    left_out("a key that is no identifier", {"kMDItem Title", t("kept")});
    left_out("a text too long to send", {"kMDItemComment", V::from_text(QString(int(max_text_size) + 1, 'c'))});
    left_out("a number that is not a number", {"kMDItemFNumber", V::from_number(qQNaN())});
    QTest::newRow("nested and odd items inside an array")
        << ImportedValues{{"kMDItemAuthors", V::from_array({V::from_array({}), t("kept"), V::other()})}}
        << ImportedValues{{"kMDItemAuthors", V::from_array({t("kept")})}};
    const ImportedValues many(max_value_count + 1, kept[0]);
    QTest::newRow("more values than a frame may hold") << many << ImportedValues(many.begin(), many.end() - 1);
}

void tst_import_protocol::answer_comes_back()
{
    QFETCH(ImportedValues, given);
    QFETCH(ImportedValues, sent);
    const QByteArray frame = encode_answer(0x01020304, given);
    QCOMPARE(decode_frame_length(frame.left(length_size)).value_or(0), quint32(frame.size() - length_size));
    const std::optional<Answer> answer = decode_answer(frame.mid(length_size));
    QVERIFY(answer);
    QCOMPARE(answer->sequence, 0x01020304u);
    QVERIFY(answer->values == sent);
}

void tst_import_protocol::hostile_answer_refused_data()
{
    QTest::addColumn<QByteArray>("body");

    const QByteArray sequence = little<quint32>(9), one = sequence + little<quint32>(1), title = one + key("kMDItemTitle");
    const QByteArray number = one + key("kMDItemFNumber") + kind(2), array = one + key("kMDItemAuthors") + kind(4);
    QTest::newRow("request number cut short") << QByteArray("\x09\0", 2);
    QTest::newRow("count cut short") << sequence + QByteArray("\x01\0", 2);
    QTest::newRow("more values than allowed") << sequence + little<quint32>(max_value_count + 1);
    QTest::newRow("count promises a value that is not there") << one;
    QTest::newRow("key length beyond the bytes") << one + little(quint16(40)) + "kMD";
    QTest::newRow("empty key") << one + key("") + text("x");
    QTest::newRow("key too long") << one + key(QByteArray(int(max_key_size) + 1, 'k')) + text("x");
    QTest::newRow("key with a zero byte") << one + key(QByteArray("kMD\0X", 5)) + text("x");
    QTest::newRow("key with a path in it") << one + key("../kMDItemTitle") + text("x");
    QTest::newRow("key with a space") << one + key("kMDItem Title") + text("x");
    QTest::newRow("key without its value") << title;
    QTest::newRow("value of kind zero") << title + kind(0);
    QTest::newRow("value of an unknown kind") << title + kind(5) + little(1.0);
    QTest::newRow("value of kind 255") << title + kind(char(0xff));
    QTest::newRow("text longer than its bytes") << title + kind(1) + little<quint32>(10) + "short";
    QTest::newRow("text longer than allowed") << title + text(QByteArray(int(max_text_size) + 1, 't'));
    QTest::newRow("text length near four gigabytes") << title + kind(1) + little<quint32>(0xffffffff);
    QTest::newRow("number cut short") << number + "1234";
    QTest::newRow("number that is not a number") << number + little(qQNaN());
    QTest::newRow("date at infinity") << one + key("kMDItemContentCreationDate") + kind(3) + little(qInf());
    QTest::newRow("array longer than allowed") << array + little<quint32>(max_array_size + 1);
    QTest::newRow("array promising items that are not there") << array + little<quint32>(3) + text("a");
    QTest::newRow("array inside an array") << array + little<quint32>(1) + kind(4) + little<quint32>(0);
    QTest::newRow("array item of an unknown kind") << array + little<quint32>(1) + kind(7);
    QTest::newRow("bytes after the last value") << title + text("x") + "!";
    QTest::newRow("body larger than a frame") << sequence + little<quint32>(0) + QByteArray(int(max_frame_size), '\0');
}

void tst_import_protocol::hostile_answer_refused()
{
    QFETCH(QByteArray, body);
    QVERIFY(!decode_answer(body));
}

void tst_import_protocol::frame_length_bounded()
{
    QVERIFY(!decode_frame_length(little<quint32>(max_frame_size + 1)));
    QVERIFY(!decode_frame_length(little<quint32>(0xffffffff)));
    QVERIFY(!decode_frame_length(QByteArray("\x10\0", 2)));
}

void tst_import_protocol::request_names_one_content_type()
{
    QVERIFY(!encode_request(1, QString()));
    QVERIFY(!encode_request(1, QString(int(max_content_type_size) + 1, 't')));
    const QString longest(int(max_content_type_size), 't');
    const QByteArray request = encode_request(42, longest).value_or(QByteArray());
    const std::optional<Request> decoded = decode_request(request);
    QVERIFY(decoded);
    QCOMPARE(decoded->sequence, 42u);
    QCOMPARE(decoded->content_type, longest);
    QVERIFY(!decode_request(request + "x"));
    QVERIFY(!decode_request(request.chopped(1)));
}

QTEST_GUILESS_MAIN(tst_import_protocol)
#include "tst_import_protocol.moc"
