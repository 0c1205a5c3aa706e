#include "import_protocol.h"

#include <QtEndian>

#include <cmath>
#include <cstring>

namespace import_protocol {

void put_u32(QByteArray &out, std::uint32_t value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof bytes);
}

std::uint32_t u32_at(QByteArrayView bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.data() + at);
}

namespace {

// The kinds a value may travel as; an array holds only the first three.
enum class WireKind : std::uint8_t { Text = 1, Number = 2, Date = 3, Array = 4 };

void put_u16(QByteArray &out, std::uint16_t value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof bytes);
}

void put_double(QByteArray &out, double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    put_u32(out, std::uint32_t(bits));
    put_u32(out, std::uint32_t(bits >> 32));
}

// Reads little-endian fields from untrusted bytes; every read checks that
// the bytes are there, and a failed read leaves the reader failed.
class Reader
{
public:
    explicit Reader(QByteArrayView bytes) : bytes_(bytes) {}

    bool failed() const { return failed_; }
    bool at_end() const { return position_ == bytes_.size(); }

    std::uint64_t unsigned_field(int size)
    {
        if (failed_ || bytes_.size() - position_ < size) {
            failed_ = true;
            return 0;
        }
        const char *at = bytes_.data() + position_;
        position_ += size;
        switch (size) {
        case 1:
            return static_cast<unsigned char>(*at);
        case 2:
            return qFromLittleEndian<quint16>(at);
        case 4:
            return qFromLittleEndian<quint32>(at);
        default:
            return qFromLittleEndian<quint64>(at);
        }
    }

    double double_field()
    {
        const std::uint64_t bits = unsigned_field(8);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    QByteArrayView bytes_field(qsizetype size)
    {
        if (failed_ || bytes_.size() - position_ < size) {
            failed_ = true;
            return {};
        }
        const QByteArrayView field = bytes_.sliced(position_, size);
        position_ += size;
        return field;
    }

    void fail() { failed_ = true; }

private:
    QByteArrayView bytes_;
    qsizetype position_ = 0;
    bool failed_ = false;
};

// Spotlight keys are plain identifiers; anything else in a key is taken as
// a sign that the importer no longer says what it means.
bool is_key(QByteArrayView key)
{
    if (key.isEmpty() || key.size() > qsizetype(max_key_size))
        return false;
    for (const char c : key) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || c == '_' || c == ':' || c == '.' || c == '-';
        if (!allowed)
            return false;
    }
    return true;
}

bool is_scalar(const MetadataValue &value)
{
    switch (value.kind) {
    case MetadataValue::Kind::Text:
        return value.text.toUtf8().size() <= qsizetype(max_text_size);
    case MetadataValue::Kind::Number:
    case MetadataValue::Kind::Date:
        return std::isfinite(value.number);
    default:
        return false;
    }
}

void put_scalar(QByteArray &out, const MetadataValue &value)
{
    if (value.kind == MetadataValue::Kind::Text) {
        const QByteArray text = value.text.toUtf8();
        out.append(char(WireKind::Text));
        put_u32(out, std::uint32_t(text.size()));
        out.append(text);
    } else {
        out.append(char(value.kind == MetadataValue::Kind::Date ? WireKind::Date : WireKind::Number));
        put_double(out, value.number);
    }
}

// One value in its wire form; empty when it cannot travel.
QByteArray wire_value(const MetadataValue &value)
{
    QByteArray out;
    if (is_scalar(value)) {
        put_scalar(out, value);
    } else if (value.kind == MetadataValue::Kind::Array && value.items.size() <= max_array_size) {
        out.append(char(WireKind::Array));
        QByteArray items;
        std::uint32_t count = 0;
        for (const MetadataValue &item : value.items) {
            if (!is_scalar(item))
                continue;
            put_scalar(items, item);
            ++count;
        }
        put_u32(out, count);
        out.append(items);
    }
    return out;
}

std::optional<MetadataValue> read_scalar(Reader &reader, std::uint8_t kind)
{
    switch (WireKind(kind)) {
    case WireKind::Text: {
        const std::uint64_t size = reader.unsigned_field(4);
        if (size > max_text_size)
            return std::nullopt;
        const QByteArrayView text = reader.bytes_field(qsizetype(size));
        if (reader.failed())
            return std::nullopt;
        return MetadataValue::from_text(QString::fromUtf8(text));
    }
    case WireKind::Number:
    case WireKind::Date: {
        const double number = reader.double_field();
        if (reader.failed() || !std::isfinite(number))
            return std::nullopt;
        return WireKind(kind) == WireKind::Date ? MetadataValue::from_date(number)
                                                : MetadataValue::from_number(number);
    }
    default:
        return std::nullopt;
    }
}

std::optional<MetadataValue> read_value(Reader &reader)
{
    const std::uint8_t kind = std::uint8_t(reader.unsigned_field(1));
    if (reader.failed())
        return std::nullopt;
    if (WireKind(kind) != WireKind::Array)
        return read_scalar(reader, kind);
    const std::uint64_t count = reader.unsigned_field(4);
    if (reader.failed() || count > max_array_size)
        return std::nullopt;
    std::vector<MetadataValue> items;
    items.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::optional<MetadataValue> item = read_scalar(reader, std::uint8_t(reader.unsigned_field(1)));
        if (!item)
            return std::nullopt;
        items.push_back(std::move(*item));
    }
    return MetadataValue::from_array(std::move(items));
}

} // namespace

std::optional<QByteArray> encode_request(std::uint32_t sequence, const QString &content_type)
{
    const QByteArray type = content_type.toUtf8();
    if (type.isEmpty() || type.size() > qsizetype(max_content_type_size))
        return std::nullopt;
    QByteArray request;
    put_u32(request, std::uint32_t(4 + type.size()));
    put_u32(request, sequence);
    request.append(type);
    return request;
}

std::optional<Request> decode_request(QByteArrayView request)
{
    Reader reader(request);
    const std::uint64_t size = reader.unsigned_field(length_size);
    if (size <= 4 || size > max_request_size)
        return std::nullopt;
    Request decoded;
    decoded.sequence = std::uint32_t(reader.unsigned_field(4));
    const QByteArrayView type = reader.bytes_field(qsizetype(size - 4));
    if (reader.failed() || !reader.at_end())
        return std::nullopt;
    decoded.content_type = QString::fromUtf8(type);
    return decoded;
}

QByteArray encode_answer(std::uint32_t sequence, const ImportedValues &values)
{
    QByteArray body;
    std::uint32_t count = 0;
    QByteArray entries;
    for (const auto &[key, value] : values) {
        const QByteArray key_bytes = key.toUtf8();
        if (count == max_value_count || !is_key(key_bytes))
            continue;
        const QByteArray wire = wire_value(value);
        if (wire.isEmpty())
            continue;
        // The whole answer must fit one frame: what would overflow it is left out.
        const qsizetype sequence_and_count_size = 8;
        if (sequence_and_count_size + entries.size() + 2 + key_bytes.size() + wire.size() > qsizetype(max_frame_size))
            continue;
        put_u16(entries, std::uint16_t(key_bytes.size()));
        entries.append(key_bytes);
        entries.append(wire);
        ++count;
    }
    put_u32(body, sequence);
    put_u32(body, count);
    body.append(entries);

    QByteArray frame;
    put_u32(frame, std::uint32_t(body.size()));
    frame.append(body);
    return frame;
}

std::optional<std::uint32_t> decode_frame_length(QByteArrayView length)
{
    Reader reader(length);
    const std::uint64_t size = reader.unsigned_field(length_size);
    if (reader.failed() || !reader.at_end() || size > max_frame_size)
        return std::nullopt;
    return std::uint32_t(size);
}

std::optional<Answer> decode_answer(QByteArrayView body)
{
    if (body.size() > qsizetype(max_frame_size))
        return std::nullopt;
    Reader reader(body);
    Answer answer;
    answer.sequence = std::uint32_t(reader.unsigned_field(4));
    const std::uint64_t count = reader.unsigned_field(4);
    if (reader.failed() || count > max_value_count)
        return std::nullopt;
    ImportedValues &values = answer.values;
    values.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t key_size = reader.unsigned_field(2);
        const QByteArrayView key = reader.bytes_field(qsizetype(key_size));
        if (reader.failed() || !is_key(key))
            return std::nullopt;
        std::optional<MetadataValue> value = read_value(reader);
        if (!value)
            return std::nullopt;
        values.emplace_back(QString::fromLatin1(key), std::move(*value));
    }
    if (!reader.at_end())
        return std::nullopt;
    return answer;
}

} // namespace import_protocol
