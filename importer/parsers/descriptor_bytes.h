#ifndef DESCRIPTOR_BYTES_H
#define DESCRIPTOR_BYTES_H

#include <QByteArray>

#include <optional>

// The size of the open regular file fd, or -1 when it cannot be told.
qint64 descriptor_size(int fd);

// Reads up to length bytes of fd from offset without moving its file
// position; fewer at the end of the file; -1 on a read error.
qint64 read_descriptor_at(int fd, qint64 offset, char *buffer, qint64 length);

// The whole content of fd, read through fd from its first byte; nothing
// when the file is larger than limit bytes or cannot be read in full, so
// that a parser never sees a silently shortened file.
std::optional<QByteArray> read_whole_descriptor(int fd, qint64 limit);

#endif // DESCRIPTOR_BYTES_H
