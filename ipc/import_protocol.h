#ifndef IMPORT_PROTOCOL_H
#define IMPORT_PROTOCOL_H

#include "imported_values.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>

// What the worker and its importer process say to each other over their
// socket. A request is the file itself (an open descriptor passed beside
// the bytes) and its content type; the answer is one frame of typed values.
// Everything the importer sends is untrusted: it may have been taken over by
// the file it read.
namespace import_protocol {

// The importer process finds its end of the socket at this descriptor.
constexpr int importer_channel_fd = 3;

// Bounds of what is accepted. Genuine metadata is far below each of them.
constexpr std::uint32_t max_frame_size = 1 << 20;       // bytes after the length
constexpr std::uint32_t max_value_count = 1024;         // keys in one answer
constexpr std::uint32_t max_key_size = 128;             // bytes of one key
constexpr std::uint32_t max_text_size = 64 * 1024;      // bytes of one text
constexpr std::uint32_t max_array_size = 1024;          // items of one array
constexpr std::uint32_t max_content_type_size = 256;    // bytes of a request's type
constexpr std::uint32_t max_request_size = 4 + max_content_type_size; // after the length

// Size of the length that opens every message.
constexpr int length_size = 4;

// Appends value as the four little-endian bytes in which this protocol and
// the spawner's write every length and number.
void put_u32(QByteArray &out, std::uint32_t value);
// The little-endian number in the four bytes of bytes from at, which the
// caller has checked are there.
std::uint32_t u32_at(QByteArrayView bytes, qsizetype at);

// One file asked about. The answer repeats the request's number, so that an
// answer never counts for a file it was not given for.
struct Request
{
    std::uint32_t sequence = 0;
    QString content_type;
};

struct Answer
{
    std::uint32_t sequence = 0;
    ImportedValues values;
};

// The request bytes (length, then body) for a file of content_type, sent
// with its descriptor; nullopt when the type is empty or too long to send.
std::optional<QByteArray> encode_request(std::uint32_t sequence, const QString &content_type);
// What a complete request asks; nullopt for a malformed one.
std::optional<Request> decode_request(QByteArrayView request);

// The answer frame (length, then body) to request sequence. Values the
// worker would refuse (of another kind, nested arrays, too long, too many)
// are left out, so that one odd value never costs the file all the others.
QByteArray encode_answer(std::uint32_t sequence, const ImportedValues &values);
// The body length an answer frame announces in its first length_size bytes;
// nullopt when it exceeds max_frame_size.
std::optional<std::uint32_t> decode_frame_length(QByteArrayView length);
// One answer body; nullopt unless it is well formed and within every
// bound, to its last byte.
std::optional<Answer> decode_answer(QByteArrayView body);

} // namespace import_protocol

#endif // IMPORT_PROTOCOL_H
