#ifndef IMAGE_PROTOCOL_H
#define IMAGE_PROTOCOL_H

#include "file_facts.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <cstdint>
#include <optional>

// What the worker and its image reader say to each other over their
// socket. The worker asks about one object of the image by its path on the
// volume; the reader answers with one frame. Everything the reader sends
// is untrusted: it may have been taken over by the image it parses.
namespace image_protocol {

// The reader finds its end of the socket at this descriptor, and the image
// files it was handed (the image, or an E01's segments in order) from
// first_image_fd on.
constexpr int reader_channel_fd = 3;
constexpr int first_image_fd = 4;
// Segments beyond these are not handed over: a split image of more is rare
// and each costs a descriptor of the worker's.
constexpr int max_image_files = 256;

// Bounds of what is asked and accepted.
constexpr std::uint32_t max_path_size = 16 * 1024;
constexpr std::uint32_t max_name_size = 1024;
constexpr std::uint32_t max_read_size = 1 << 20;      // bytes of content per request
constexpr std::uint32_t max_frame_size = 4 << 20;     // bytes after the length
constexpr std::uint32_t max_request_size = 32 + max_path_size + max_name_size;

enum class Kind : std::uint8_t {
    Look = 'l',           // the object's facts
    Entries = 'e',        // the names in a folder, at most length of them
    AttributeNames = 'n', // the names of its extended attributes, each ended by a zero
    Attribute = 'a',      // one extended attribute's content
    Read = 'r',           // up to length bytes of a file's content from offset
};

struct Request
{
    std::uint32_t sequence = 0;
    Kind kind = Kind::Look;
    bool follow_links = true; // links in the middle of the path, beneath the volume root
    QByteArray path;          // relative to the image's root, no leading separator
    QByteArray name;          // an attribute's name
    std::uint64_t offset = 0;
    std::uint32_t length = 0;
};

// An answer: the request's number, whether the object (and, for an
// attribute, the attribute) was there, and what was asked.
struct Answer
{
    std::uint32_t sequence = 0;
    bool found = false;
    QByteArray payload;
};

// The request bytes (length, then body); nullopt when a field is over its bound.
std::optional<QByteArray> encode_request(const Request &request);
// What a complete request body asks; nullopt for a malformed one.
std::optional<Request> decode_request(QByteArrayView body);

// The answer frame (length, then body).
QByteArray encode_answer(const Answer &answer);
// The body length an answer frame announces in its first four bytes;
// nullopt when it exceeds max_frame_size.
std::optional<std::uint32_t> decode_frame_length(QByteArrayView length);
// One answer body; nullopt unless it is well formed.
std::optional<Answer> decode_answer(QByteArrayView body);

// A Look answer's payload for facts, and back; nullopt for a malformed one.
QByteArray encode_facts(const FileFacts &facts);
std::optional<FileFacts> decode_facts(QByteArrayView payload);

// An Entries answer's payload, and back; nullopt for a malformed one or
// one holding more than max_entries names.
QByteArray encode_names(const QList<QByteArray> &names);
std::optional<QList<QByteArray>> decode_names(QByteArrayView payload, int max_entries);

} // namespace image_protocol

#endif // IMAGE_PROTOCOL_H
