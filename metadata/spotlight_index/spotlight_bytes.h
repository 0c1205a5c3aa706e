#ifndef SPOTLIGHT_BYTES_H
#define SPOTLIGHT_BYTES_H

#include <QByteArray>
#include <QtAlgorithms>
#include <QtEndian>
#include <QtGlobal>

#include <cstring>

// The bytes one of the index's integers takes, told by its first byte: one
// and the number of its leading one bits (read_varint tells the format).
// Counting the bits took a quarter of the record scan: a table is read instead.
struct SpotlightVarintSizes
{
    quint8 of[256] = {};
    constexpr SpotlightVarintSizes()
    {
        for (int first = 0; first < 256; ++first) {
            int size = 1;
            for (int bit = 0x80; bit && (first & bit); bit >>= 1)
                ++size;
            of[first] = quint8(size);
        }
    }
};
inline constexpr SpotlightVarintSizes spotlight_varint_sizes;

inline int spotlight_varint_size(quint8 first)
{
    return spotlight_varint_sizes.of[first];
}

// One of the index's integers at at, which must have nine bytes readable
// after it (the most one takes); at moves past it. For the fields every
// record starts with, read by the thousand per page.
inline quint64 spotlight_varint_at(const char *&at)
{
    const quint8 first = quint8(*at);
    if (first < 0x80) {
        ++at;
        return first;
    }
    const int size = spotlight_varint_size(first);
    if (size == 9) {
        const quint64 value = qFromLittleEndian<quint64>(at + 1);
        at += 9;
        return value;
    }
    // The size's bytes taken as one big-endian number: the value is its
    // low seven bits a byte, the leading ones of the first byte dropped.
    const quint64 value = (qFromBigEndian<quint64>(at) >> (64 - 8 * size)) & ((quint64(1) << (7 * size)) - 1);
    at += size;
    return value;
}

// Reads the little-endian fields and variable-length integers of a volume's
// Spotlight index. Every read checks the bytes left first and fails rather
// than running past the end, so nothing taken from the index is used unchecked.
class SpotlightByteReader
{
public:
    SpotlightByteReader(const char *data, qsizetype size) : data_(data), size_(size < 0 ? 0 : size) {}
    explicit SpotlightByteReader(const QByteArray &bytes) : SpotlightByteReader(bytes.constData(), bytes.size()) {}

    qsizetype position() const { return position_; }
    // The next unread byte, for a caller that reads a run of fields whose
    // greatest size it has checked against remaining(); advance_to() then
    // moves past what it read.
    const char *cursor() const { return data_ + position_; }
    void advance_to(const char *at) { position_ = at - data_; }
    qsizetype remaining() const { return size_ - position_; }
    bool at_end() const { return position_ >= size_; }

    bool skip(quint64 count)
    {
        if (count > quint64(remaining()))
            return false;
        position_ += qsizetype(count);
        return true;
    }

    bool read_u8(quint8 &value)
    {
        if (remaining() < 1)
            return false;
        value = quint8(data_[position_++]);
        return true;
    }

    bool read_u32(quint32 &value) { return read_little_endian(value); }
    bool read_u64(quint64 &value) { return read_little_endian(value); }

    bool read_f32(float &value)
    {
        quint32 bits = 0;
        if (!read_u32(bits))
            return false;
        std::memcpy(&value, &bits, sizeof value);
        return true;
    }

    bool read_f64(double &value)
    {
        quint64 bits = 0;
        if (!read_u64(bits))
            return false;
        std::memcpy(&value, &bits, sizeof value);
        return true;
    }

    // Hands out the next count bytes without copying them.
    bool read_bytes(quint64 count, const char *&bytes)
    {
        if (count > quint64(remaining()))
            return false;
        bytes = data_ + position_;
        position_ += qsizetype(count);
        return true;
    }

    // Text up to its terminating NUL, which is consumed; fails without one.
    bool read_cstring(QByteArray &text)
    {
        if (remaining() <= 0)
            return false;
        const void *end = std::memchr(data_ + position_, 0, size_t(remaining()));
        if (!end)
            return false;
        const qsizetype length = static_cast<const char *>(end) - (data_ + position_);
        text = QByteArray(data_ + position_, length);
        position_ += length + 1;
        return true;
    }

    // The index's own integers: the number of leading one bits of the first
    // byte is the number of bytes that follow, most significant first, the
    // rest of the first byte holding the top bits. A first byte of 0xff is
    // followed by a whole 64-bit value stored least significant byte first.
    bool read_varint(quint64 &value)
    {
        quint8 first = 0;
        if (!read_u8(first))
            return false;
        if (first < 0x80) { // most numbers of a record: steps, flags, lengths
            value = first;
            return true;
        }
        const int following = spotlight_varint_size(first) - 1;
        if (following == 8)
            return read_u64(value);
        if (remaining() < following)
            return false;
        // Every record's header holds several of these: where eight bytes
        // can be read, the following bytes are taken as one word.
        const char *bytes = data_ + position_;
        quint64 gathered = first & (0x7f >> following);
        if (remaining() >= 8) {
            gathered = (gathered << (8 * following)) | (qFromBigEndian<quint64>(bytes) >> (8 * (8 - following)));
        } else {
            for (int i = 0; i < following; ++i)
                gathered = (gathered << 8) | quint8(bytes[i]);
        }
        position_ += following;
        value = gathered;
        return true;
    }

    // Steps over one of the index's integers without assembling its value.
    bool skip_varint()
    {
        if (remaining() < 1)
            return false;
        return skip(quint64(spotlight_varint_size(quint8(data_[position_]))));
    }

    // The external string maps' entry lengths: seven bits a byte, the lowest
    // group first, the top bit saying another byte follows.
    bool read_leb128(quint64 &value)
    {
        value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            quint8 byte = 0;
            if (!read_u8(byte))
                return false;
            value |= quint64(byte & 0x7f) << shift;
            if (!(byte & 0x80))
                return true;
        }
        return false;
    }

private:
    template<typename T>
    bool read_little_endian(T &value)
    {
        if (remaining() < qsizetype(sizeof(T)))
            return false;
        value = qFromLittleEndian<T>(data_ + position_);
        position_ += qsizetype(sizeof(T));
        return true;
    }

    const char *data_ = nullptr;
    qsizetype size_ = 0;
    qsizetype position_ = 0;
};

#endif // SPOTLIGHT_BYTES_H
