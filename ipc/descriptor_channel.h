#ifndef DESCRIPTOR_CHANNEL_H
#define DESCRIPTOR_CHANNEL_H

#include "unique_fd.h"

#include <QByteArray>
#include <QByteArrayView>

#include <chrono>
#include <optional>

// Byte messages over one end of a Unix stream socket, optionally carrying
// an open descriptor beside them. Sending never raises SIGPIPE: a peer that
// has gone is a failed send.
namespace descriptor_channel {

// Sends all of bytes, with passed (when >= 0) travelling beside the first
// of them. False when the peer has gone or the socket fails.
bool send(int socket, QByteArrayView bytes, int passed = -1);

// A request as received: its bytes and the descriptor that came with them.
struct Received
{
    QByteArray bytes;
    UniqueFd passed;
};

// Blocks until a length-prefixed message of at most max_size bytes
// (prefix excluded) has arrived; the bytes returned hold the prefix too.
// nullopt at the end of the stream, on a failure or an oversized message.
// Any descriptor beyond the first is closed unread.
std::optional<Received> receive_with_descriptor(int socket, qsizetype max_size);

// Outcome of reading with a deadline.
enum class ReadOutcome { Complete, TimedOut, Ended, Failed };

// Fills buffer entirely from socket unless deadline passes first.
ReadOutcome read_exactly(int socket, char *buffer, qsizetype size,
                         std::chrono::steady_clock::time_point deadline);

} // namespace descriptor_channel

#endif // DESCRIPTOR_CHANNEL_H
