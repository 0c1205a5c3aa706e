#include "evidence_root.h"

#include <QFile>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

long call_openat2(int dirfd, const char *path, std::uint64_t flags, std::uint64_t resolve)
{
    struct open_how how = {};
    how.flags = flags;
    how.resolve = resolve;
    return ::syscall(SYS_openat2, dirfd, path, &how, sizeof how);
}

// O_PATH opens read nothing, and openat2 refuses O_NOATIME beside them.
int without_atime(int flags)
{
    return (flags & O_PATH) ? flags : flags | O_NOATIME;
}

// Opens through openat2 and, where the kernel refuses O_NOATIME (a file
// this user does not own), once more without it.
int open_without_atime(int dirfd, const char *path, int flags, std::uint64_t resolve)
{
    for (;;) {
        long fd = call_openat2(dirfd, path, std::uint64_t(without_atime(flags)), resolve);
        if (fd < 0 && errno == EPERM)
            fd = call_openat2(dirfd, path, std::uint64_t(flags), resolve);
        if (fd < 0 && errno == EINTR)
            continue;
        return int(fd);
    }
}

} // namespace

EvidenceRoot::EvidenceRoot(const QString &volume_root)
    : volume_root_(volume_root)
{
    const QByteArray native = QFile::encodeName(volume_root.isEmpty() ? QStringLiteral("/") : volume_root);
    if (native.contains('\0'))
        return;
    root_.reset(::open(native.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::optional<QByteArray> EvidenceRoot::relative_path(const QString &full_path) const
{
    if (!full_path.startsWith(volume_root_))
        return std::nullopt;
    QByteArray relative = QFile::encodeName(full_path.mid(volume_root_.size()));
    if (relative.contains('\0'))
        return std::nullopt;
    while (relative.startsWith('/'))
        relative.remove(0, 1);
    return relative;
}

UniqueFd EvidenceRoot::open_beneath(QByteArrayView relative, int flags, Links links) const
{
    if (!root_.valid() || relative.contains('\0'))
        return UniqueFd();
    QByteArray path = relative.isEmpty() ? QByteArray(".") : relative.toByteArray();
    std::uint64_t resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    if (links == Links::Refused)
        resolve |= RESOLVE_NO_SYMLINKS;
    return UniqueFd(open_without_atime(root_.get(), path.constData(), flags | O_NOFOLLOW | O_CLOEXEC, resolve));
}

UniqueFd EvidenceRoot::open_object(QByteArrayView relative, Links links) const
{
    return open_beneath(relative, O_PATH, links);
}

std::optional<struct statx> EvidenceRoot::look_at(QByteArrayView relative, Links links) const
{
    const UniqueFd object = open_object(relative, links);
    if (!object)
        return std::nullopt;
    struct statx status = {};
    if (::statx(object.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return std::nullopt;
    return status;
}

UniqueFd EvidenceRoot::open_regular_file(QByteArrayView relative, Links links) const
{
    // Non-blocking, so that a pipe put in a file's place can't stall the
    // run; then only what really is a regular file is kept.
    UniqueFd file = open_beneath(relative, O_RDONLY | O_NONBLOCK | O_NOCTTY, links);
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return UniqueFd();
    return file;
}

UniqueFd EvidenceRoot::open_directory(QByteArrayView relative, Links links) const
{
    return open_beneath(relative, O_RDONLY | O_DIRECTORY | O_NONBLOCK, links);
}

std::optional<QByteArray> EvidenceRoot::read_small_file(QByteArrayView relative, qint64 max_size, Links links) const
{
    const UniqueFd file = open_regular_file(relative, links);
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || status.st_size > max_size)
        return std::nullopt;
    // Read no further than the limit, whatever the file grows to meanwhile.
    QByteArray content(qsizetype(status.st_size), Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < content.size()) {
        const ssize_t got = ::pread(file.get(), content.data() + filled, std::size_t(content.size() - filled), filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        filled += got;
    }
    content.truncate(filled);
    return content;
}
