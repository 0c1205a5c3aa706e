#include "mounted_image.h"

#include "apfs_fuse_mount.h"
#include "loop_device.h"
#include "mount_table.h"

#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <memory>

namespace {

// Bounds on what the machine's own tables may hold.
constexpr qint64 max_table_size = 16 << 20;
constexpr qint64 max_command_line = 64 << 10;
constexpr qint64 max_sysfs_text = 4096;

// The whole of a small file of the running system, such as /proc or /sys
// gives; nullopt when it can't be read.
std::optional<QByteArray> system_file(const QString &path, qint64 max_size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    return file.read(max_size);
}

// A device number as the mount table writes it ("major:minor").
std::optional<dev_t> device_number(const QByteArray &text)
{
    const QList<QByteArray> parts = text.trimmed().split(':');
    bool major_ok = false, minor_ok = false;
    const uint major_number = parts.value(0).toUInt(&major_ok), minor_number = parts.value(1).toUInt(&minor_ok);
    if (parts.size() != 2 || !major_ok || !minor_ok)
        return std::nullopt;
    return ::makedev(major_number, minor_number);
}

// The file and window a loop device (or its scanned partition) shows, when
// it is the device the mount reports.
std::optional<LoopWindow> loop_device_window(const LoopSource &loop, dev_t mounted)
{
    const QString device = "/sys/block/" + QFile::decodeName(loop.device);
    const QString block = loop.partition.isEmpty() ? device : device + '/' + QFile::decodeName(loop.partition);
    const auto number = system_file(block + "/dev", 64);
    if (!number || device_number(*number) != mounted)
        return std::nullopt;
    const auto backing = system_file(device + "/loop/backing_file", max_sysfs_text);
    const auto offset = system_file(device + "/loop/offset", 64);
    const auto size_limit = system_file(device + "/loop/sizelimit", 64);
    std::optional<LoopWindow> window =
        backing && offset && size_limit ? loop_window(*backing, *offset, *size_limit) : std::nullopt;
    if (!window || loop.partition.isEmpty())
        return window;
    const auto start = system_file(block + "/start", 64);
    const auto size = system_file(block + "/size", 64);
    return start && size ? partition_window(*window, *start, *size) : std::nullopt;
}

// The image a FUSE APFS mount at mount_point shows: its daemon's command
// line tells, when the daemon is fsapfsmount run by the examiner or root.
std::optional<ApfsFuseMount> apfs_fuse_daemon(const QByteArray &mount_point)
{
    const std::unique_ptr<DIR, int (*)(DIR *)> processes(::opendir("/proc"), &::closedir);
    if (!processes)
        return std::nullopt;
    while (const dirent *entry = ::readdir(processes.get())) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9')
            continue;
        // Only the mount program itself, run by the examiner or root: a
        // command line alone is anyone's to write.
        const QString process = QStringLiteral("/proc/%1").arg(QLatin1String(entry->d_name));
        const QFileInfo program(process + QStringLiteral("/exe"));
        const uint owner = QFileInfo(process).ownerId();
        if (program.symLinkTarget().section(QLatin1Char('/'), -1) != QLatin1String("fsapfsmount")
            || (owner != 0 && owner != uint(::geteuid())))
            continue;
        const auto command_line = system_file(process + QStringLiteral("/cmdline"), max_command_line);
        if (!command_line)
            continue;
        if (std::optional<ApfsFuseMount> mount = apfs_fuse_mount(*command_line, mount_point))
            return mount;
    }
    return std::nullopt;
}

} // namespace

std::optional<MountedImage> image_behind_mount(const QString &folder)
{
    // The host may name the folder through links; the table names mounts
    // by where they really are.
    const QByteArray resolved = QFile::encodeName(QFileInfo(folder).canonicalFilePath());
    const std::optional<QByteArray> table = system_file(QStringLiteral("/proc/self/mountinfo"), max_table_size);
    const std::optional<MountEntry> mount =
        table && !resolved.isEmpty() ? mount_holding(resolved, *table) : std::nullopt;
    if (!mount || mount->root != "/")
        return std::nullopt;
    const std::optional<QByteArray> below = folder_below(resolved, mount->mount_point);
    // The folder must lie on that very mount, not one mounted over its
    // mount point later.
    struct stat status = {};
    const std::optional<dev_t> mounted = device_number(mount->device);
    if (!below || !image_scope::is_plain_folder(*below) || !mounted
        || ::stat(resolved.constData(), &status) != 0 || status.st_dev != *mounted)
        return std::nullopt;

    MountedImage image;
    if (const std::optional<LoopSource> loop = loop_source(mount->source)) {
        const std::optional<LoopWindow> window = loop_device_window(*loop, *mounted);
        if (!window)
            return std::nullopt;
        image.image = QFile::decodeName(window->backing_file);
        image.scope.offset = window->offset;
        image.scope.size = window->size;
    } else if (mount->type.startsWith("fuse")) {
        const std::optional<ApfsFuseMount> fuse = apfs_fuse_daemon(mount->mount_point);
        if (!fuse)
            return std::nullopt;
        image.image = QFile::decodeName(fuse->image);
        image.scope = fuse->scope;
    } else if (mount->source.startsWith("/dev/") && is_read_only(mount->options)
               && (mount->type == "hfsplus" || mount->type == "apfs")) {
        // A read-only kernel mount of a Mac volume: the device itself, once
        // the worker has checked that it is the block device the mount
        // reports. A writable one changes under the reader.
        image.image = QFile::decodeName(mount->source);
        image.block_device = true;
        image.device_number = quint64(*mounted);
    } else {
        return std::nullopt;
    }
    image.scope.folder = *below;
    return image;
}
