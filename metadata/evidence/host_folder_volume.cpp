#include "host_folder_volume.h"

#include "path_walk.h"

#include <QFile>
#include <QVarLengthArray>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// Longer link targets than the system's own limit are damage.
constexpr qsizetype max_link_target = 4096;
// Most attribute values fit: one call reads them. A longer one is measured first.
constexpr qsizetype first_attribute_read = 4096;

std::atomic<bool> component_walk_forced{false};

double seconds_since_1970(const struct statx_timestamp &time)
{
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

// The facts in what the kernel reported of an object; many file systems
// keep no creation time, and a few leave out more.
FileFacts facts_from(const struct statx &status)
{
    const auto reported = [&status](unsigned int mask) { return (status.stx_mask & mask) != 0; };
    FileFacts facts;
    if (reported(STATX_INO))
        facts.number = status.stx_ino;
    facts.is_regular_file = reported(STATX_TYPE) && S_ISREG(status.stx_mode);
    facts.is_directory = reported(STATX_TYPE) && S_ISDIR(status.stx_mode);
    if (reported(STATX_SIZE))
        facts.size = status.stx_size;
    if (reported(STATX_TYPE) && reported(STATX_MODE))
        facts.mode = status.stx_mode;
    if (reported(STATX_BLOCKS))
        facts.allocated_blocks = status.stx_blocks;
    if (reported(STATX_BTIME))
        facts.birth_time = seconds_since_1970(status.stx_btime);
    if (reported(STATX_MTIME))
        facts.modification_time = seconds_since_1970(status.stx_mtime);
    if (reported(STATX_UID))
        facts.owner_user_id = status.stx_uid;
    if (reported(STATX_GID))
        facts.owner_group_id = status.stx_gid;
    return facts;
}

// Reads through call(buffer, size) into a buffer grown to what the call
// asks for; nullopt on any other failure. The object can change between
// two calls, so a few rounds are allowed.
template <typename Call>
std::optional<QByteArray> read_grown(Call call)
{
    // Read on the stack and kept at their own size: a page-sized block per
    // attribute and file would keep the allocator busy merging free blocks.
    char first[first_attribute_read];
    const ssize_t first_read = call(first, sizeof first);
    if (first_read >= 0)
        return QByteArray(first, qsizetype(first_read));
    if (errno != ERANGE)
        return std::nullopt;
    QByteArray buffer;
    for (int round = 0; round < 4; ++round) {
        const ssize_t needed = call(nullptr, 0);
        if (needed < 0)
            return std::nullopt;
        buffer.resize(qsizetype(needed) + 1);
        const ssize_t read = call(buffer.data(), std::size_t(buffer.size()));
        if (read >= 0) {
            buffer.truncate(qsizetype(read));
            return buffer;
        }
        if (errno != ERANGE)
            return std::nullopt;
    }
    return std::nullopt;
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

// An object of a host folder: its facts, the object itself as it was
// looked at, and for a file or folder that very object opened.
class HostObject : public EvidenceObject
{
public:
    HostObject(const HostSystemCalls &calls, const std::optional<QByteArray> &root_path, FileFacts facts,
               UniqueFd looked, std::optional<QByteArray> spelled_location, UniqueFd opened, bool readable)
        : calls_(calls), root_path_(root_path), facts_(std::move(facts)), looked_(std::move(looked)),
          spelled_location_(std::move(spelled_location)), opened_(std::move(opened)),
          readable_(readable && opened_.valid())
    {
    }

    std::optional<QByteArray> location() const override
    {
        if (!root_path_ || !looked_)
            return std::nullopt;
        if (spelled_location_)
            return spelled_location_;
        const std::optional<QByteArray> at = kernel_path(looked_.get());
        if (!at)
            return std::nullopt;
        const QByteArray &root = *root_path_;
        if (*at == root)
            return QByteArray();
        if (root == "/")
            return at->mid(1);
        if (at->startsWith(root) && at->size() > root.size() && at->at(root.size()) == '/')
            return at->mid(root.size() + 1);
        return std::nullopt;
    }

    const FileFacts &facts() const override { return facts_; }
    bool readable() const override { return readable_; }
    int content_descriptor() const override { return readable_ && facts_.is_regular_file ? opened_.get() : -1; }

    QByteArray read_at(qint64 offset, qint64 length) const override
    {
        if (content_descriptor() < 0 || offset < 0 || length <= 0)
            return QByteArray();
        QByteArray content(qsizetype(length), Qt::Uninitialized);
        qsizetype filled = 0;
        while (filled < content.size()) {
            const ssize_t got = calls_.pread(opened_.get(), content.data() + filled,
                                             std::size_t(content.size() - filled), off_t(offset + filled));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            filled += got;
        }
        content.truncate(filled);
        return content;
    }

    // Each read names its own position on a descriptor that nothing moves.
    bool reads_concurrently() const override { return true; }

    std::optional<std::vector<std::pair<qint64, qint64>>> data_ranges(int max_ranges) const override
    {
        if (content_descriptor() < 0 || !facts_.size)
            return std::nullopt;
        const qint64 size = qint64(*facts_.size);
        std::vector<std::pair<qint64, qint64>> ranges;
        for (qint64 at = 0; at < size;) {
            const off_t data = calls_.lseek(opened_.get(), off_t(at), SEEK_DATA);
            if (data < 0) {
                if (errno == ENXIO)
                    break; // only a hole is left
                return std::nullopt;
            }
            const off_t hole = calls_.lseek(opened_.get(), data, SEEK_HOLE);
            if (hole < 0 || int(ranges.size()) == max_ranges)
                return std::nullopt;
            ranges.emplace_back(qint64(data), qint64(hole));
            at = hole;
        }
        return ranges;
    }

    std::optional<QList<QByteArray>> entries(int max_entries) const override
    {
        QList<QByteArray> names;
        const bool listed = each_entry([&names, max_entries](const char *name) {
            names.append(QByteArray(name));
            return names.size() < max_entries;
        });
        if (!listed)
            return std::nullopt;
        return names;
    }

    std::optional<qint64> entry_count(qint64 limit) const override
    {
        qint64 count = 0;
        if (!each_entry([&count, limit](const char *) { return ++count <= limit; }) || count > limit)
            return std::nullopt;
        return count;
    }

    std::optional<QByteArray> attribute_names() const override
    {
        if (!opened_)
            return std::nullopt;
        return read_grown([this](char *buffer, std::size_t size) { return calls_.flistxattr(opened_.get(), buffer, size); });
    }

    std::optional<QByteArray> attribute(QByteArrayView name) const override
    {
        if (!opened_ || name.isEmpty() || name.contains('\0'))
            return std::nullopt;
        // The name ended by a zero on the stack, as the kernel wants it.
        QVarLengthArray<char, 256> terminated;
        terminated.append(name.data(), name.size());
        terminated.append('\0');
        return read_grown([this, &terminated](char *buffer, std::size_t size) {
            return calls_.fgetxattr(opened_.get(), terminated.constData(), buffer, size);
        });
    }

private:
    // Calls visit with each entry's name but "." and "..", read straight
    // from the descriptor (which moves no access time where it was opened
    // with O_NOATIME), until it answers false; false when the folder
    // cannot be read.
    template <typename Visit>
    bool each_entry(Visit visit) const
    {
        if (!readable_ || !facts_.is_directory)
            return false;
        alignas(8) char buffer[16384];
        for (;;) {
            const long got = calls_.getdents64(opened_.get(), buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                return false;
            if (got == 0)
                return true;
            // Each record: inode (8), offset (8), its length (2), type (1), then the name and its zero.
            for (long at = 0; at < got;) {
                unsigned short record_length = 0;
                std::memcpy(&record_length, buffer + at + 16, sizeof record_length);
                if (record_length < 20 || at + record_length > got)
                    return false;
                const char *name = buffer + at + 19;
                if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 && !visit(name))
                    return true;
                at += record_length;
            }
        }
    }

    const HostSystemCalls &calls_;
    const std::optional<QByteArray> root_path_;
    const FileFacts facts_;
    const UniqueFd looked_;
    // Where it lies when the lookup itself vouches for that: a plain path
    // followed through no link lies where it is spelt.
    const std::optional<QByteArray> spelled_location_;
    const UniqueFd opened_;
    const bool readable_;
};

} // namespace

HostFolderVolume::HostFolderVolume(const QString &volume_root, const HostSystemCalls &calls)
    : EvidenceVolume(volume_root), calls_(calls)
{
    const QByteArray native = QFile::encodeName(volume_root.isEmpty() ? QStringLiteral("/") : volume_root);
    if (native.contains('\0'))
        return;
    root_.reset(calls_.open(native.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root_)
        return;
    root_kernel_path_ = kernel_path(root_.get());
    // openat2 is missing before Linux 5.6, and sandboxes often forbid it
    // (ENOSYS, or EPERM from a system-call filter). Looking up the root
    // itself can fail for no other reason, so any failure means walking.
    open_how how = {};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    const UniqueFd probe(int(calls_.openat2(root_.get(), ".", &how, sizeof how)));
    // Opening a folder reads nothing of it.
    root_mount_.reset(calls_.openat(root_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    own_descriptors_.reset(calls_.open("/proc/self/fd", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (component_walk_forced || !probe)
        resolution_ = Resolution::ComponentWalk;
}

void HostFolderVolume::force_component_walk(bool forced)
{
    component_walk_forced = forced;
}

UniqueFd HostFolderVolume::look_up(QByteArrayView relative, Links links, bool *at_spelling) const
{
    if (at_spelling)
        *at_spelling = false;
    if (!root_.valid() || relative.contains('\0'))
        return UniqueFd();
    // The kernel refuses a path at or past its length limit in one lookup;
    // such a path is walked component by component instead, so that a row
    // never depends on which way this machine resolves.
    if (resolution_ == Resolution::ComponentWalk || relative.size() >= PATH_MAX)
        return walk_beneath(relative, links);
    // The path ended by a zero on the stack, as the kernel wants it.
    QVarLengthArray<char, 512> path;
    if (relative.isEmpty())
        path.append('.');
    else
        path.append(relative.data(), relative.size());
    path.append('\0');
    open_how how = {};
    how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS | (links == Links::Refused ? RESOLVE_NO_SYMLINKS : 0);
    // Most paths pass through no link: looked up so first, the object lies
    // where the path spells it, and nobody need ask the kernel where that is.
    const bool plain = is_plain_path(relative);
    bool through_no_link = plain && links != Links::Refused;
    if (through_no_link)
        how.resolve |= RESOLVE_NO_SYMLINKS;
    // The kernel answers EAGAIN when a rename elsewhere raced the lookup
    // and it can't vouch for staying beneath the root; a few tries settle it.
    for (int attempt = 0;; ++attempt) {
        const long fd = calls_.openat2(root_.get(), path.constData(), &how, sizeof how);
        if (fd < 0 && (errno == EINTR || (errno == EAGAIN && attempt < 8)))
            continue;
        if (fd < 0 && errno == ELOOP && through_no_link) {
            // A link on the way: looked up again, following it beneath the root.
            through_no_link = false;
            how.resolve &= ~__u64(RESOLVE_NO_SYMLINKS);
            attempt = -1;
            continue;
        }
        if (at_spelling)
            *at_spelling = fd >= 0 && plain && (through_no_link || links == Links::Refused);
        return UniqueFd(int(fd));
    }
}

bool HostFolderVolume::is_plain_path(QByteArrayView relative)
{
    // No empty, "." or ".." component, so the spelling names one place.
    if (relative.isEmpty())
        return true;
    qsizetype start = 0;
    for (;;) {
        qsizetype end = relative.indexOf('/', start);
        if (end < 0)
            end = relative.size();
        const QByteArrayView component = relative.sliced(start, end - start);
        if (component.isEmpty() || component == "." || component == "..")
            return false;
        if (end == relative.size())
            return true;
        start = end + 1;
    }
}

std::optional<QByteArray> HostFolderVolume::read_link(int link) const
{
    QByteArray target(max_link_target + 1, Qt::Uninitialized);
    const ssize_t length = calls_.readlinkat(link, "", target.data(), std::size_t(target.size()));
    if (length <= 0 || length > max_link_target)
        return std::nullopt;
    target.truncate(qsizetype(length));
    return target;
}

UniqueFd HostFolderVolume::walk_beneath(QByteArrayView relative, Links links) const
{
    // Each step an O_PATH descriptor, looked at without following it.
    struct Steps
    {
        const HostFolderVolume &volume;

        UniqueFd look_in(const UniqueFd &folder, const QByteArray &name) const
        {
            for (;;) {
                const int fd = volume.calls_.openat(folder.get(), name.constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
                if (fd < 0 && errno == EINTR)
                    continue;
                return UniqueFd(fd);
            }
        }
        std::optional<path_walk::Found> found(const UniqueFd &object) const
        {
            struct stat status = {};
            if (volume.calls_.fstat(object.get(), &status) != 0)
                return std::nullopt;
            return S_ISDIR(status.st_mode)   ? path_walk::Found::Folder
                   : S_ISLNK(status.st_mode) ? path_walk::Found::Link
                                             : path_walk::Found::Other;
        }
        std::optional<QByteArray> link_target(const UniqueFd &link) const { return volume.read_link(link.get()); }
    };
    return path_walk::walk(UniqueFd(::fcntl(root_.get(), F_DUPFD_CLOEXEC, 0)), relative, links == Links::InsideRoot,
                           Steps{*this});
}

UniqueFd HostFolderVolume::reopen(int object, bool is_directory, bool keep_access_time) const
{
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (keep_access_time ? O_NOATIME : 0);
    const auto retried = [](auto open) {
        for (;;) {
            const int fd = open();
            if (fd < 0 && errno == EINTR)
                continue;
            return UniqueFd(fd);
        }
    };
    // A folder through its own ".".
    if (is_directory)
        return retried([&] { return calls_.openat(object, ".", flags | O_DIRECTORY); });
    // A file through the process's descriptor table.
    if (own_descriptors_) {
        char number[16] = {};
        std::to_chars(number, number + sizeof number - 1, object);
        UniqueFd opened = retried([&] { return calls_.openat(own_descriptors_.get(), number, flags); });
        if (opened || errno == EPERM)
            return opened;
    }
    // Without /proc, through the file's handle on its file system, where
    // the examiner may open by handle (CAP_DAC_READ_SEARCH); a handle the
    // root's mount reads as another object is caught by the identity check.
    alignas(file_handle) char storage[sizeof(file_handle) + MAX_HANDLE_SZ] = {};
    auto *handle = reinterpret_cast<file_handle *>(storage);
    handle->handle_bytes = MAX_HANDLE_SZ;
    int mount_id = 0;
    if (!root_mount_ || calls_.name_to_handle_at(object, "", handle, &mount_id, AT_EMPTY_PATH) != 0)
        return UniqueFd();
    return retried([&] { return calls_.open_by_handle_at(root_mount_.get(), handle, flags); });
}

std::optional<FileFacts> HostFolderVolume::look_at(QByteArrayView relative, Links links) const
{
    const UniqueFd object = look_up(relative, links);
    struct statx status = {};
    if (!object || calls_.statx(object.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return std::nullopt;
    return facts_from(status);
}

std::unique_ptr<EvidenceObject> HostFolderVolume::open(QByteArrayView relative, Links links) const
{
    // Opening a device can act on it (a tape rewinds, a watchdog starts)
    // and opening a pipe can wait for a writer: look first, open only
    // files and folders, non-blocking all the same.
    bool at_spelling = false;
    UniqueFd object = look_up(relative, links, &at_spelling);
    struct statx status = {};
    if (!object || calls_.statx(object.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return nullptr;
    FileFacts facts = facts_from(status);
    const mode_t type = status.stx_mode & S_IFMT;
    const auto made = [&](UniqueFd opened, bool readable) {
        return std::make_unique<HostObject>(
            calls_, root_kernel_path_, std::move(facts), std::move(object),
            at_spelling ? std::optional<QByteArray>(relative.toByteArray()) : std::nullopt, std::move(opened),
            readable);
    };
    if (!facts.is_regular_file && !facts.is_directory)
        return made(UniqueFd(), false);

    // The path may name something else by now: the object looked at is
    // opened itself, never looked up again.
    const auto reopen = [&](bool keep_access_time) { return this->reopen(object.get(), facts.is_directory, keep_access_time); };
    UniqueFd opened = reopen(true);
    bool readable = opened.valid();
    if (!opened && errno == EPERM) {
        // The kernel keeps access times only for an owner or a privileged
        // examiner. Opened all the same, the object still gives its
        // attributes, which move no access time; its bytes and entries are
        // read only where the mount itself keeps access times.
        opened = reopen(false);
        struct statfs mount = {};
        const unsigned long keeping = ST_RDONLY | ST_NOATIME | (facts.is_directory ? ST_NODIRATIME : 0);
        readable = opened && calls_.fstatfs(opened.get(), &mount) == 0 && (mount.f_flags & keeping) != 0;
    }
    struct stat reopened = {};
    if (!opened || calls_.fstat(opened.get(), &reopened) != 0 || (reopened.st_mode & S_IFMT) != type
        || reopened.st_dev != makedev(status.stx_dev_major, status.stx_dev_minor) || reopened.st_ino != status.stx_ino)
        return made(UniqueFd(), false);
    return made(std::move(opened), readable);
}
