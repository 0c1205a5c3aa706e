#ifndef SPAWN_PROTOCOL_H
#define SPAWN_PROTOCOL_H

#include <QByteArray>
#include <QByteArrayView>

#include <sys/types.h>

#include <cstdint>
#include <optional>

// What the worker and the importer spawner say to each other over the
// spawner's control socket. The spawner has loaded the content parsers but
// reads no evidence; it forks a fresh importer for each socket it is handed
// and ends it again when asked.
namespace spawn_protocol {

// The spawner finds its control socket at this descriptor.
constexpr int control_fd = 3;

enum class Kind : char {
    // Fork an importer on the socket passed beside the request.
    Spawn = 's',
    // Kill that importer and its group, then reap it.
    End = 'e',
};

struct Request
{
    Kind kind = Kind::Spawn;
    pid_t importer = 0;
};

// Size of a request's body (after its length): the kind, then a process id.
constexpr std::uint32_t request_size = 5;
// Size of an answer: one process id, with no length before it.
constexpr int answer_size = 4;

// The request bytes (length, then body); importer names the process to end.
QByteArray encode_request(Kind kind, pid_t importer = 0);
// What a complete request asks; nullopt for a malformed one.
std::optional<Request> decode_request(QByteArrayView request);

// The answer to a request: the importer forked or ended, 0 for a refusal.
QByteArray encode_answer(pid_t importer);
// The process id an answer names; nullopt unless it names a process.
std::optional<pid_t> decode_answer(QByteArrayView answer);

} // namespace spawn_protocol

#endif // SPAWN_PROTOCOL_H
