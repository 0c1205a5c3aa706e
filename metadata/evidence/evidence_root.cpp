#include "evidence_root.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <memory>
#include <vector>

namespace {

// As many links as the kernel follows in one lookup before it gives up.
constexpr int max_links = 40;
// Longer link targets than the system's own limit are damage.
constexpr qsizetype max_link_target = 4096;

std::atomic<bool> component_walk_forced{false};

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
int openat2_without_atime(int dirfd, const char *path, int flags, std::uint64_t resolve)
{
    // The kernel answers EAGAIN when a rename elsewhere raced the lookup
    // and it can't vouch for staying beneath the root; a few tries settle it.
    for (int attempt = 0;; ++attempt) {
        long fd = call_openat2(dirfd, path, std::uint64_t(without_atime(flags)), resolve);
        if (fd < 0 && errno == EPERM)
            fd = call_openat2(dirfd, path, std::uint64_t(flags), resolve);
        if (fd < 0 && (errno == EINTR || (errno == EAGAIN && attempt < 8)))
            continue;
        return int(fd);
    }
}

// The same for one component looked up in an open folder.
int openat_without_atime(int dirfd, const char *name, int flags)
{
    for (;;) {
        int fd = ::openat(dirfd, name, without_atime(flags));
        if (fd < 0 && errno == EPERM)
            fd = ::openat(dirfd, name, flags);
        if (fd < 0 && errno == EINTR)
            continue;
        return fd;
    }
}

// Whether this kernel lets the process resolve beneath a root: openat2
// is missing before Linux 5.6, and sandboxes often forbid it (ENOSYS or
// EPERM from a seccomp filter). Looking up the root itself can fail for
// no other reason, so any failure means walking.
bool kernel_resolves_in_root(int root)
{
    const UniqueFd probe(int(call_openat2(root, ".", O_PATH | O_CLOEXEC, RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS)));
    return probe.valid();
}

// Puts the components of path before those still pending. "." stays, so
// that in "link/." the link is a middle component and is followed, as the
// kernel does; a trailing separator means the same.
void append_components(std::deque<QByteArray> &pending, QByteArrayView path)
{
    std::deque<QByteArray> parts;
    for (const QByteArray &part : path.toByteArray().split('/')) {
        if (!part.isEmpty())
            parts.push_back(part);
    }
    if (path.endsWith('/') && !parts.empty())
        parts.push_back(".");
    pending.insert(pending.begin(), parts.begin(), parts.end());
}

std::optional<QByteArray> read_link(int link)
{
    QByteArray target(max_link_target + 1, Qt::Uninitialized);
    const ssize_t length = ::readlinkat(link, "", target.data(), std::size_t(target.size()));
    if (length <= 0 || length > max_link_target)
        return std::nullopt;
    target.truncate(qsizetype(length));
    return target;
}

// Where the kernel says an open object lies, read from /proc; nullopt
// where /proc is not mounted, the object has lost its name or lies where
// this process cannot name it.
std::optional<QByteArray> kernel_path(int fd)
{
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    QByteArray target(max_link_target + 1, Qt::Uninitialized);
    const ssize_t length = ::readlink(link, target.data(), std::size_t(target.size()));
    if (length <= 0 || length > max_link_target)
        return std::nullopt;
    target.truncate(qsizetype(length));
    if (!target.startsWith('/') || target.endsWith(" (deleted)"))
        return std::nullopt;
    return target;
}

} // namespace

EvidenceRoot::EvidenceRoot(const QString &volume_root)
    : volume_root_(volume_root)
{
    const QByteArray native = QFile::encodeName(volume_root.isEmpty() ? QStringLiteral("/") : volume_root);
    if (native.contains('\0'))
        return;
    root_.reset(::open(native.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (root_)
        root_kernel_path_ = kernel_path(root_.get());
    if (root_ && (component_walk_forced || !kernel_resolves_in_root(root_.get())))
        resolution_ = Resolution::ComponentWalk;
}

void EvidenceRoot::force_component_walk(bool forced)
{
    component_walk_forced = forced;
}

std::optional<QByteArray> EvidenceRoot::relative_path(const QString &full_path) const
{
    if (!full_path.startsWith(volume_root_))
        return std::nullopt;
    const QString rest = full_path.mid(volume_root_.size());
    // "/Volumes/Data" + "2/x" names a sibling of the volume, not a file on it.
    if (!rest.isEmpty() && !rest.startsWith(QLatin1Char('/')) && !volume_root_.isEmpty()
        && !volume_root_.endsWith(QLatin1Char('/')))
        return std::nullopt;
    QByteArray relative = QFile::encodeName(rest);
    if (relative.contains('\0'))
        return std::nullopt;
    while (relative.startsWith('/'))
        relative.remove(0, 1);
    return relative;
}

QString EvidenceRoot::full_path(QByteArrayView relative) const
{
    const QString rest = QFile::decodeName(relative.toByteArray());
    if (rest.isEmpty())
        return volume_root_.isEmpty() ? QStringLiteral("/") : volume_root_;
    return volume_root_.endsWith(QLatin1Char('/')) ? volume_root_ + rest : volume_root_ + QLatin1Char('/') + rest;
}

UniqueFd EvidenceRoot::open_beneath(QByteArrayView relative, int flags, Links links) const
{
    if (!root_.valid() || relative.contains('\0'))
        return UniqueFd();
    flags |= O_NOFOLLOW | O_CLOEXEC;
    if (resolution_ == Resolution::ComponentWalk)
        return walk_beneath(relative, flags, links);
    QByteArray path = relative.isEmpty() ? QByteArray(".") : relative.toByteArray();
    std::uint64_t resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    if (links == Links::Refused)
        resolve |= RESOLVE_NO_SYMLINKS;
    return UniqueFd(openat2_without_atime(root_.get(), path.constData(), flags, resolve));
}

UniqueFd EvidenceRoot::walk_beneath(QByteArrayView relative, int flags, Links links) const
{
    // Every folder passed on the way down stays open, so ".." goes back up
    // by what was opened, never by asking the file system for a parent
    // (which could lie above the root, or have been moved out of it).
    std::vector<UniqueFd> folders;
    folders.emplace_back(::fcntl(root_.get(), F_DUPFD_CLOEXEC, 0));
    if (!folders.back())
        return UniqueFd();
    std::deque<QByteArray> pending;
    append_components(pending, relative);
    int links_followed = 0;

    while (!pending.empty()) {
        const QByteArray name = pending.front();
        pending.pop_front();
        if (name == ".")
            continue;
        if (name == "..") {
            if (folders.size() > 1)
                folders.pop_back();
            continue;
        }
        const int folder = folders.back().get();
        if (pending.empty())
            return UniqueFd(openat_without_atime(folder, name.constData(), flags));

        UniqueFd step(::openat(folder, name.constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat status = {};
        if (!step || ::fstat(step.get(), &status) != 0)
            return UniqueFd();
        if (S_ISDIR(status.st_mode)) {
            folders.push_back(std::move(step));
            continue;
        }
        if (!S_ISLNK(status.st_mode) || links == Links::Refused || ++links_followed > max_links)
            return UniqueFd();
        const std::optional<QByteArray> target = read_link(step.get());
        if (!target)
            return UniqueFd();
        // An absolute target is a place on the volume: start again at its root.
        if (target->startsWith('/'))
            folders.resize(1);
        append_components(pending, *target);
    }
    // The path named a folder on the way ("", ".", "a/.."): open that one.
    return UniqueFd(openat_without_atime(folders.back().get(), ".", flags));
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

std::optional<EvidenceRoot::LookedObject> EvidenceRoot::look_and_open(QByteArrayView relative, Links links) const
{
    // Opening a device can act on it (a tape rewinds, a watchdog starts)
    // and opening a pipe can wait for a writer: look first, open only
    // files and folders, non-blocking all the same.
    UniqueFd object = open_object(relative, links);
    if (!object)
        return std::nullopt;
    LookedObject looked = {};
    if (::statx(object.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &looked.status) != 0)
        return std::nullopt;
    looked.looked = std::move(object);
    const mode_t type = looked.status.stx_mode & S_IFMT;
    if (!(looked.status.stx_mask & STATX_TYPE) || (type != S_IFREG && type != S_IFDIR))
        return looked;
    // Between the look and the opening the path may have been changed to
    // name something else: only the object that was looked at will do.
    UniqueFd opened = open_beneath(relative, (type == S_IFDIR ? O_DIRECTORY : 0) | O_RDONLY | O_NONBLOCK | O_NOCTTY,
                                   links);
    struct stat status = {};
    if (opened && ::fstat(opened.get(), &status) == 0 && (status.st_mode & S_IFMT) == type
        && status.st_dev == makedev(looked.status.stx_dev_major, looked.status.stx_dev_minor)
        && status.st_ino == looked.status.stx_ino)
        looked.opened = std::move(opened);
    return looked;
}

std::optional<QByteArray> EvidenceRoot::where_it_lies(const LookedObject &object) const
{
    // The name the object has, not the one it was asked by: a path may end
    // in "..", differ in case from the entry a case-blind volume matched, or
    // pass through links.
    if (!root_kernel_path_ || !object.looked)
        return std::nullopt;
    const std::optional<QByteArray> at = kernel_path(object.looked.get());
    if (!at)
        return std::nullopt;
    const QByteArray &root = *root_kernel_path_;
    if (*at == root)
        return QByteArray();
    if (root == "/")
        return at->mid(1);
    if (at->startsWith(root) && at->at(root.size()) == '/')
        return at->mid(root.size() + 1);
    return std::nullopt;
}

UniqueFd EvidenceRoot::open_typed(QByteArrayView relative, mode_t type, Links links) const
{
    std::optional<LookedObject> looked = look_and_open(relative, links);
    if (!looked || (looked->status.stx_mode & S_IFMT) != type)
        return UniqueFd();
    return std::move(looked->opened);
}

UniqueFd EvidenceRoot::open_regular_file(QByteArrayView relative, Links links) const
{
    return open_typed(relative, S_IFREG, links);
}

UniqueFd EvidenceRoot::open_directory(QByteArrayView relative, Links links) const
{
    return open_typed(relative, S_IFDIR, links);
}

QByteArray EvidenceRoot::read_at(const UniqueFd &file, qint64 offset, qint64 length)
{
    if (!file || offset < 0 || length <= 0)
        return QByteArray();
    QByteArray content(qsizetype(length), Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < content.size()) {
        const ssize_t got = ::pread(file.get(), content.data() + filled, std::size_t(content.size() - filled),
                                    off_t(offset + filled));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        filled += got;
    }
    content.truncate(filled);
    return content;
}

std::optional<QByteArray> EvidenceRoot::read_small_file(QByteArrayView relative, qint64 max_size, Links links) const
{
    const UniqueFd file = open_regular_file(relative, links);
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || status.st_size > max_size)
        return std::nullopt;
    // Read no further than the size seen, whatever the file grows to meanwhile.
    return read_at(file, 0, status.st_size);
}

std::optional<QList<QByteArray>> EvidenceRoot::list_directory(QByteArrayView relative, int max_entries,
                                                              Links links) const
{
    UniqueFd folder = open_directory(relative, links);
    if (!folder)
        return std::nullopt;
    // The descriptor was opened with O_NOATIME where allowed, and reading
    // the entries through it keeps the folder's access time as it was.
    const std::unique_ptr<DIR, int (*)(DIR *)> listing(::fdopendir(folder.get()), &::closedir);
    if (!listing)
        return std::nullopt;
    folder.release(); // the listing owns it now
    QList<QByteArray> names;
    while (names.size() < max_entries) {
        const struct dirent *entry = ::readdir(listing.get());
        if (!entry)
            break;
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    return names;
}
