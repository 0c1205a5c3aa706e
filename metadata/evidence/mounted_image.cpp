#include "mounted_image.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <unistd.h>

#include <memory>

namespace {

// Bounds on what the machine's own tables may hold.
constexpr qint64 max_table_size = 16 << 20;
constexpr qint64 max_command_line = 64 << 10;

// The whole of a small file of the running system, such as /proc or /sys
// gives; nullopt when it can't be read.
std::optional<QByteArray> system_file(const QString &path, qint64 max_size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    return file.read(max_size);
}

// A mount table's field, whose blanks, tabs, newlines and backslashes are
// written as octal escapes.
QByteArray unescaped(const QByteArray &field)
{
    QByteArray text;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int code = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok && code < 256) {
                text.append(char(code));
                i += 3;
                continue;
            }
        }
        text.append(field[i]);
    }
    return text;
}

QByteArray cleaned(const QByteArray &path)
{
    return QFile::encodeName(QDir::cleanPath(QFile::decodeName(path)));
}

} // namespace

std::optional<MountEntry> mount_at(const QByteArray &folder, const QByteArray &mount_table)
{
    const QByteArray wanted = cleaned(folder);
    std::optional<MountEntry> found;
    // A later line mounted over an earlier one at the same place.
    for (const QByteArray &line : mount_table.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-");
        if (fields.size() < 5 || separator < 6 || separator + 2 >= fields.size())
            continue;
        if (unescaped(fields[4]) != wanted)
            continue;
        found = MountEntry{unescaped(fields[4]), unescaped(fields[3]), fields[separator + 1],
                           unescaped(fields[separator + 2])};
    }
    return found;
}

std::optional<QString> apfs_fuse_image(const QByteArray &command_line, const QByteArray &mount_point)
{
    QList<QByteArray> arguments = command_line.split('\0');
    if (!arguments.isEmpty() && arguments.last().isEmpty())
        arguments.removeLast();
    // Options (an offset, a volume's index, a password) name a part of the
    // image this reading can't place: such mounts are read as mounted.
    if (arguments.size() != 3 || arguments[0].mid(arguments[0].lastIndexOf('/') + 1) != "fsapfsmount"
        || arguments[1].startsWith('-') || arguments[2].startsWith('-') || arguments[1].isEmpty()
        || arguments[2].isEmpty())
        return std::nullopt;
    const QByteArray image = arguments[1], named_mount = cleaned(arguments[2]), at = cleaned(mount_point);
    if (named_mount.startsWith('/'))
        return named_mount == at && image.startsWith('/') ? std::optional<QString>(QFile::decodeName(cleaned(image)))
                                                          : std::nullopt;
    // The daemon left the folder both were named from; the mount point
    // tells it, when it ends in the name given.
    if (!at.endsWith('/' + named_mount))
        return std::nullopt;
    const QByteArray base = at.left(at.size() - named_mount.size());
    return QFile::decodeName(image.startsWith('/') ? cleaned(image) : cleaned(base + image));
}

std::optional<QString> image_behind_mount(const QString &folder)
{
    const std::optional<QByteArray> table = system_file(QStringLiteral("/proc/self/mountinfo"), max_table_size);
    const std::optional<MountEntry> mount = table ? mount_at(QFile::encodeName(folder), *table) : std::nullopt;
    if (!mount || mount->root != "/")
        return std::nullopt;
    // A loop device read from its backing file's first byte.
    if (mount->source.startsWith("/dev/loop")) {
        const QString device = QFile::decodeName(mount->source.mid(5));
        const auto backing = system_file("/sys/block/" + device + "/loop/backing_file", 4096);
        const auto offset = system_file("/sys/block/" + device + "/loop/offset", 64);
        if (!backing || !offset || offset->trimmed() != "0")
            return std::nullopt;
        const QByteArray file = backing->trimmed();
        if (!file.startsWith('/') || file.endsWith(" (deleted)"))
            return std::nullopt;
        return QFile::decodeName(file);
    }
    if (!mount->type.startsWith("fuse"))
        return std::nullopt;
    // A FUSE mount: the daemon whose command line names this mount point.
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
        const auto command_line =
            system_file(QStringLiteral("/proc/%1/cmdline").arg(QLatin1String(entry->d_name)), max_command_line);
        if (!command_line)
            continue;
        if (const std::optional<QString> image = apfs_fuse_image(*command_line, mount->mount_point))
            return image;
    }
    return std::nullopt;
}
