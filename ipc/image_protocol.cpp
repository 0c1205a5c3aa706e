#include "image_protocol.h"

#include <cstring>

namespace image_protocol {

namespace {

void put(QByteArray &out, std::uint64_t value, int size)
{
    for (int i = 0; i < size; ++i)
        out.append(char((value >> (8 * i)) & 0xff));
}

void put_bytes(QByteArray &out, QByteArrayView bytes)
{
    put(out, std::uint64_t(bytes.size()), 4);
    out.append(bytes);
}

void put_double(QByteArray &out, double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    put(out, bits, 8);
}

// Reads little-endian fields from untrusted bytes; every read checks that
// the bytes are there, and a failed read leaves the reader failed.
class Fields
{
public:
    explicit Fields(QByteArrayView bytes) : bytes_(bytes) {}

    bool failed() const { return failed_; }
    bool at_end() const { return position_ == bytes_.size(); }

    std::uint64_t number(int size)
    {
        if (failed_ || bytes_.size() - position_ < size) {
            failed_ = true;
            return 0;
        }
        std::uint64_t value = 0;
        for (int i = size - 1; i >= 0; --i)
            value = (value << 8) | static_cast<unsigned char>(bytes_[position_ + i]);
        position_ += size;
        return value;
    }

    double real()
    {
        const std::uint64_t bits = number(8);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    QByteArray bytes(std::uint32_t max_size)
    {
        const std::uint64_t size = number(4);
        if (failed_ || size > max_size || std::uint64_t(bytes_.size() - position_) < size) {
            failed_ = true;
            return QByteArray();
        }
        const QByteArray value = bytes_.sliced(position_, qsizetype(size)).toByteArray();
        position_ += qsizetype(size);
        return value;
    }

    QByteArray rest()
    {
        const QByteArray value = bytes_.sliced(position_).toByteArray();
        position_ = bytes_.size();
        return value;
    }

private:
    QByteArrayView bytes_;
    qsizetype position_ = 0;
    bool failed_ = false;
};

QByteArray framed(const QByteArray &body)
{
    QByteArray frame;
    frame.reserve(4 + body.size());
    put(frame, std::uint64_t(body.size()), 4);
    frame.append(body);
    return frame;
}

bool known(std::uint8_t kind)
{
    switch (Kind(kind)) {
    case Kind::Look:
    case Kind::Entries:
    case Kind::AttributeNames:
    case Kind::Attribute:
    case Kind::Read:
        return true;
    }
    return false;
}

// Which of the optional facts an answer holds, one bit each.
enum FactBit : std::uint32_t {
    Number = 1 << 0,
    Size = 1 << 1,
    Mode = 1 << 2,
    Blocks = 1 << 3,
    Birth = 1 << 4,
    Modification = 1 << 5,
    Owner = 1 << 6,
    Group = 1 << 7,
    Added = 1 << 8,
    RegularFile = 1 << 16,
    Directory = 1 << 17,
};

} // namespace

std::optional<QByteArray> encode_request(const Request &request)
{
    if (request.path.size() > qsizetype(max_path_size) || request.name.size() > qsizetype(max_name_size))
        return std::nullopt;
    QByteArray body;
    put(body, request.sequence, 4);
    put(body, std::uint8_t(request.kind), 1);
    put(body, request.follow_links ? 1 : 0, 1);
    put_bytes(body, request.path);
    put_bytes(body, request.name);
    put(body, request.offset, 8);
    put(body, request.length, 4);
    return framed(body);
}

std::optional<Request> decode_request(QByteArrayView body)
{
    Fields fields(body);
    Request request;
    request.sequence = std::uint32_t(fields.number(4));
    const auto kind = std::uint8_t(fields.number(1));
    const auto follow = fields.number(1);
    request.path = fields.bytes(max_path_size);
    request.name = fields.bytes(max_name_size);
    request.offset = fields.number(8);
    request.length = std::uint32_t(fields.number(4));
    if (fields.failed() || !fields.at_end() || !known(kind) || follow > 1)
        return std::nullopt;
    request.kind = Kind(kind);
    request.follow_links = follow == 1;
    return request;
}

QByteArray encode_answer(const Answer &answer)
{
    QByteArray body;
    body.reserve(5 + answer.payload.size());
    put(body, answer.sequence, 4);
    put(body, answer.found ? 1 : 0, 1);
    body.append(answer.payload);
    return framed(body);
}

std::optional<std::uint32_t> decode_frame_length(QByteArrayView length)
{
    Fields fields(length);
    const auto size = std::uint32_t(fields.number(4));
    if (fields.failed() || size > max_frame_size)
        return std::nullopt;
    return size;
}

std::optional<Answer> decode_answer(QByteArrayView body)
{
    Fields fields(body);
    Answer answer;
    answer.sequence = std::uint32_t(fields.number(4));
    const auto found = fields.number(1);
    if (fields.failed() || found > 1)
        return std::nullopt;
    answer.found = found == 1;
    answer.payload = fields.rest();
    return answer;
}

QByteArray encode_facts(const FileFacts &facts)
{
    std::uint32_t present = (facts.is_regular_file ? RegularFile : 0) | (facts.is_directory ? Directory : 0);
    QByteArray values;
    const auto add = [&](FactBit bit, const auto &value, int size) {
        if (!value)
            return;
        present |= bit;
        put(values, std::uint64_t(*value), size);
    };
    const auto add_time = [&](FactBit bit, const std::optional<double> &value) {
        if (!value)
            return;
        present |= bit;
        put_double(values, *value);
    };
    add(Number, facts.number, 8);
    add(Size, facts.size, 8);
    add(Mode, facts.mode, 4);
    add(Blocks, facts.allocated_blocks, 8);
    add_time(Birth, facts.birth_time);
    add_time(Modification, facts.modification_time);
    add(Owner, facts.owner_user_id, 4);
    add(Group, facts.owner_group_id, 4);
    add_time(Added, facts.added_time);
    QByteArray payload;
    put(payload, present, 4);
    payload.append(values);
    return payload;
}

std::optional<FileFacts> decode_facts(QByteArrayView payload)
{
    Fields fields(payload);
    const auto present = std::uint32_t(fields.number(4));
    FileFacts facts;
    facts.is_regular_file = present & RegularFile;
    facts.is_directory = present & Directory;
    if (facts.is_regular_file && facts.is_directory)
        return std::nullopt;
    if (present & Number)
        facts.number = fields.number(8);
    if (present & Size)
        facts.size = fields.number(8);
    if (present & Mode)
        facts.mode = std::uint32_t(fields.number(4));
    if (present & Blocks)
        facts.allocated_blocks = fields.number(8);
    if (present & Birth)
        facts.birth_time = fields.real();
    if (present & Modification)
        facts.modification_time = fields.real();
    if (present & Owner)
        facts.owner_user_id = std::uint32_t(fields.number(4));
    if (present & Group)
        facts.owner_group_id = std::uint32_t(fields.number(4));
    if (present & Added)
        facts.added_time = fields.real();
    if (fields.failed() || !fields.at_end())
        return std::nullopt;
    return facts;
}

QByteArray encode_names(const QList<QByteArray> &names)
{
    QByteArray payload;
    put(payload, std::uint64_t(names.size()), 4);
    for (const QByteArray &name : names)
        put_bytes(payload, name);
    return payload;
}

std::optional<QList<QByteArray>> decode_names(QByteArrayView payload, int max_entries)
{
    Fields fields(payload);
    const std::uint64_t count = fields.number(4);
    if (fields.failed() || count > std::uint64_t(max_entries < 0 ? 0 : max_entries))
        return std::nullopt;
    QList<QByteArray> names;
    for (std::uint64_t i = 0; i < count && !fields.failed(); ++i) {
        QByteArray name = fields.bytes(max_name_size);
        // A name is one component: a separator or zero in it would make a
        // path of the volume out of a hostile reader's answer.
        if (name.isEmpty() || name.contains('/') || name.contains('\0') || name == "." || name == "..")
            return std::nullopt;
        names.append(std::move(name));
    }
    if (fields.failed() || !fields.at_end())
        return std::nullopt;
    return names;
}

} // namespace image_protocol
