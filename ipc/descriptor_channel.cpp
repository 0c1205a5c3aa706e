#include "descriptor_channel.h"

#include "import_protocol.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace descriptor_channel {

namespace {

// Keeps the first descriptor a message carried and closes any other: a
// confused peer must not make this process collect descriptors.
void take_descriptors(msghdr &message, UniqueFd &passed)
{
    for (cmsghdr *header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(header) + i * sizeof(int), sizeof fd);
            if (!passed.valid())
                passed.reset(fd);
            else
                ::close(fd);
        }
    }
}

// Reads exactly size bytes, blocking; the first read may bring a descriptor.
bool receive_exactly(int socket, char *buffer, qsizetype size, UniqueFd &passed)
{
    qsizetype filled = 0;
    while (filled < size) {
        iovec part = {buffer + filled, std::size_t(size - filled)};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * 4)];
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t got = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        take_descriptors(message, passed);
        filled += got;
    }
    return true;
}

} // namespace

bool send(int socket, QByteArrayView bytes, int passed)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        iovec part = {const_cast<char *>(bytes.data()) + sent, std::size_t(bytes.size() - sent)};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (passed >= 0 && sent == 0) {
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            cmsghdr *header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(sizeof(int));
            std::memcpy(CMSG_DATA(header), &passed, sizeof passed);
        }
        const ssize_t done = ::sendmsg(socket, &message, MSG_NOSIGNAL);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        sent += done;
    }
    return true;
}

std::optional<Received> receive_with_descriptor(int socket, qsizetype max_size)
{
    Received received;
    received.bytes.resize(import_protocol::length_size);
    if (!receive_exactly(socket, received.bytes.data(), import_protocol::length_size, received.passed))
        return std::nullopt;
    const std::uint32_t size = import_protocol::u32_at(received.bytes, 0);
    if (qsizetype(size) > max_size)
        return std::nullopt;
    received.bytes.resize(import_protocol::length_size + qsizetype(size));
    if (!receive_exactly(socket, received.bytes.data() + import_protocol::length_size, qsizetype(size),
                         received.passed))
        return std::nullopt;
    return received;
}

ReadOutcome read_exactly(int socket, char *buffer, qsizetype size, std::chrono::steady_clock::time_point deadline)
{
    using namespace std::chrono;
    qsizetype filled = 0;
    while (filled < size) {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        if (left <= 0)
            return ReadOutcome::TimedOut;
        pollfd wait = {socket, POLLIN, 0};
        const int ready = ::poll(&wait, 1, int(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return ReadOutcome::Failed;
        if (ready == 0)
            return ReadOutcome::TimedOut;
        const ssize_t got = ::recv(socket, buffer + filled, std::size_t(size - filled), MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got == 0)
            return ReadOutcome::Ended;
        if (got < 0)
            return ReadOutcome::Failed;
        filled += got;
    }
    return ReadOutcome::Complete;
}

} // namespace descriptor_channel
