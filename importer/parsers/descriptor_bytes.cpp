#include "descriptor_bytes.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

qint64 descriptor_size(int fd)
{
    struct stat facts {};
    if (::fstat(fd, &facts) != 0 || !S_ISREG(facts.st_mode))
        return -1;
    return qint64(facts.st_size);
}

qint64 read_descriptor_at(int fd, qint64 offset, char *buffer, qint64 length)
{
    qint64 done = 0;
    while (done < length) {
        const ssize_t got = ::pread(fd, buffer + done, size_t(length - done), off_t(offset + done));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

std::optional<QByteArray> read_whole_descriptor(int fd, qint64 limit)
{
    const qint64 size = descriptor_size(fd);
    if (size < 0 || size > limit)
        return std::nullopt;
    QByteArray bytes(size, Qt::Uninitialized);
    // The file may shrink while it is read; what was read is all it holds.
    const qint64 got = read_descriptor_at(fd, 0, bytes.data(), size);
    if (got < 0)
        return std::nullopt;
    bytes.truncate(got);
    return bytes;
}
