// The worker's reading of the image reader's answers: a reader taken over
// by the image it parses must not make the worker read a path of its
// choosing, nor accept facts no volume records.

#include "image_protocol.h"

#include <QtTest>

namespace {

QByteArray u32(std::uint32_t value)
{
    QByteArray bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes.append(char((value >> shift) & 0xff));
    return bytes;
}

QByteArray names_payload(const QList<QByteArray> &names, std::uint32_t count)
{
    QByteArray payload = u32(count);
    for (const QByteArray &name : names)
        payload += u32(std::uint32_t(name.size())) + name;
    return payload;
}

} // namespace

class tst_image_protocol : public QObject
{
    Q_OBJECT

private slots:
    void hostile_listings_are_refused_data();
    void hostile_listings_are_refused();
    void facts_travel_whole();
    void impossible_facts_are_refused();
    void requests_round_trip_and_refuse_garbage();
};

void tst_image_protocol::hostile_listings_are_refused_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("two plain names") << names_payload({"a", "b c"}, 2) << true;
    QTest::newRow("a name with a separator") << names_payload({"a/../../etc"}, 1) << false;
    QTest::newRow("a name that climbs") << names_payload({".."}, 1) << false;
    QTest::newRow("a name with a zero") << names_payload({QByteArray("a\0b", 3)}, 1) << false;
    QTest::newRow("an empty name") << names_payload({""}, 1) << false;
    QTest::newRow("more names than asked for") << names_payload({"a", "b", "c"}, 3) << false;
    QTest::newRow("fewer names than announced") << names_payload({"a"}, 2) << false;
    QTest::newRow("bytes after the last name") << names_payload({"a"}, 1) + "x" << false;
    QTest::newRow("a name longer than its bytes") << u32(1) + u32(100) + "abc" << false;
}

void tst_image_protocol::hostile_listings_are_refused()
{
    QFETCH(QByteArray, payload);
    QFETCH(bool, accepted);
    QCOMPARE(image_protocol::decode_names(payload, 2).has_value(), accepted);
}

void tst_image_protocol::facts_travel_whole()
{
    FileFacts facts;
    facts.number = 0x1122334455667788ull;
    facts.is_regular_file = true;
    facts.size = 53;
    facts.mode = 0100644;
    facts.birth_time = 1642144781.201997443;
    facts.added_time = 1642144781.197370938;
    facts.owner_user_id = 99;
    const std::optional<FileFacts> back = image_protocol::decode_facts(image_protocol::encode_facts(facts));
    QVERIFY(back);
    QCOMPARE(back->number, facts.number);
    QCOMPARE(back->size, facts.size);
    QCOMPARE(back->mode, facts.mode);
    QCOMPARE(back->birth_time, facts.birth_time);
    QCOMPARE(back->added_time, facts.added_time);
    QCOMPARE(back->owner_user_id, facts.owner_user_id);
    // What the volume does not record stays absent, not zero.
    QCOMPARE(back->owner_group_id, std::optional<std::uint32_t>());
    QCOMPARE(back->modification_time, std::optional<double>());
}

void tst_image_protocol::impossible_facts_are_refused()
{
    FileFacts facts;
    facts.is_regular_file = true;
    QByteArray both = image_protocol::encode_facts(facts);
    both[2] = char(both[2] | 0x02); // the folder bit beside the file bit
    QVERIFY(!image_protocol::decode_facts(both));
    FileFacts numbered;
    numbered.number = 1;
    QByteArray cut = image_protocol::encode_facts(numbered);
    cut.chop(1);
    QVERIFY(!image_protocol::decode_facts(cut));
}

void tst_image_protocol::requests_round_trip_and_refuse_garbage()
{
    image_protocol::Request request;
    request.sequence = 7;
    request.kind = image_protocol::Kind::Attribute;
    request.follow_links = false;
    request.path = "Users/x/Downloads/a.pdf";
    request.name = "com.apple.metadata:kMDItemWhereFroms";
    const std::optional<QByteArray> frame = image_protocol::encode_request(request);
    QVERIFY(frame);
    const std::optional<image_protocol::Request> back = image_protocol::decode_request(QByteArrayView(*frame).sliced(4));
    QVERIFY(back);
    QCOMPARE(back->path, request.path);
    QCOMPARE(back->name, request.name);
    QCOMPARE(back->follow_links, false);
    QByteArray unknown_kind = frame->sliced(4);
    unknown_kind[4] = 'z';
    QVERIFY(!image_protocol::decode_request(unknown_kind));
    request.path = QByteArray(image_protocol::max_path_size + 1, 'a');
    QVERIFY(!image_protocol::encode_request(request));
    // An answer frame announcing more than the bound is refused before it is read.
    QVERIFY(!image_protocol::decode_frame_length(u32(image_protocol::max_frame_size + 1)));
}

QTEST_GUILESS_MAIN(tst_image_protocol)
#include "tst_image_protocol.moc"
