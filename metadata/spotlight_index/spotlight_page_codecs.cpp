#include "spotlight_page_codecs.h"

#include "spotlight_bytes.h"

#include <lz4.h>
#include <zlib.h>

#include <climits>
#include <cstring>

// Apple's LZ4 framing: blocks "bv41" (decompressed size, compressed size,
// data), "bv4-" (size, stored bytes), ended by "bv4$". Later blocks may
// refer back into earlier output, so all are decoded into one buffer.
bool spotlight_decompress_lz4(const QByteArray &input, qint64 limit, QByteArray &output)
{
    SpotlightByteReader reader(input);
    output.resize(0); // keeps what output holds room for
    while (true) {
        const char *magic = nullptr;
        if (!reader.read_bytes(4, magic))
            return false;
        if (std::memcmp(magic, "bv4$", 4) == 0)
            return true;
        quint32 decompressed = 0, compressed = 0;
        const char *data = nullptr;
        if (!reader.read_u32(decompressed) || decompressed > limit - output.size())
            return false;
        const qsizetype at = output.size();
        if (std::memcmp(magic, "bv4-", 4) == 0) {
            if (!reader.read_bytes(decompressed, data))
                return false;
            output.append(data, qsizetype(decompressed));
        } else if (std::memcmp(magic, "bv41", 4) == 0) {
            if (!reader.read_u32(compressed) || compressed > quint32(INT_MAX) || !reader.read_bytes(compressed, data))
                return false;
            output.resize(at + qsizetype(decompressed));
            const int written = LZ4_decompress_safe_usingDict(data, output.data() + at, int(compressed),
                                                              int(decompressed), output.constData(), int(at));
            if (written != int(decompressed))
                return false;
        } else {
            return false;
        }
    }
}

bool spotlight_decompress_zlib(const QByteArray &input, qint64 limit, QByteArray &output)
{
    output.resize(qsizetype(limit));
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return false;
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.constData()));
    stream.avail_in = uInt(input.size());
    stream.next_out = reinterpret_cast<Bytef *>(output.data());
    stream.avail_out = uInt(output.size());
    const int result = inflate(&stream, Z_FINISH);
    const qsizetype written = qsizetype(stream.total_out);
    inflateEnd(&stream);
    // Z_BUF_ERROR: the stream wants more room than the page may take.
    if (result != Z_STREAM_END)
        return false;
    output.truncate(written);
    return true;
}

bool spotlight_is_zlib_stream(const QByteArray &bytes)
{
    if (bytes.size() < 2)
        return false;
    const unsigned first = quint8(bytes[0]), second = quint8(bytes[1]);
    return (first & 0x0f) == 8 && (first >> 4) <= 7 && ((first << 8) | second) % 31 == 0;
}

