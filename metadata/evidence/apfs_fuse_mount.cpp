#include "apfs_fuse_mount.h"

#include <QDir>
#include <QFile>
#include <QList>

namespace {

// The daemon's arguments that are read; a longer command line is no form
// read here.
constexpr qsizetype max_arguments = 16;

QByteArray cleaned(const QByteArray &path)
{
    return QFile::encodeName(QDir::cleanPath(QFile::decodeName(path)));
}

// A plain decimal number no larger than max.
std::optional<quint64> decimal(const QByteArray &text, quint64 max)
{
    if (text.isEmpty() || text.size() > 19)
        return std::nullopt;
    for (const char digit : text) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
    }
    const quint64 value = text.toULongLong();
    return value <= max ? std::optional<quint64>(value) : std::nullopt;
}

} // namespace

std::optional<ApfsFuseMount> apfs_fuse_mount(const QByteArray &command_line, const QByteArray &mount_point)
{
    QList<QByteArray> arguments = command_line.split('\0');
    if (!arguments.isEmpty() && arguments.last().isEmpty())
        arguments.removeLast();
    if (arguments.size() < 3 || arguments.size() > max_arguments
        || arguments[0].mid(arguments[0].lastIndexOf('/') + 1) != "fsapfsmount")
        return std::nullopt;

    ImageScope scope;
    bool volume_chosen = false, offset_given = false;
    qsizetype at = 1;
    // Options come first; one after the image (which getopt could move
    // before it or not, by the daemon's environment) is not read.
    for (; at < arguments.size() && arguments[at].startsWith('-'); ++at) {
        const QByteArray option = arguments[at];
        if (option == "--") {
            ++at;
            break;
        }
        if (option == "-v")
            continue; // it only keeps the daemon in the foreground, telling more
        if (option.size() < 2 || (option[1] != 'f' && option[1] != 'o'))
            return std::nullopt;
        // The value follows the letter, or is the next argument.
        QByteArray value = option.mid(2);
        if (value.isEmpty()) {
            if (++at >= arguments.size())
                return std::nullopt;
            value = arguments[at];
        }
        if (option[1] == 'f') {
            // "all" lists every volume under names of the daemon's own.
            const std::optional<quint64> volume = decimal(value, image_scope::max_volume);
            if (volume_chosen || !volume || *volume == 0)
                return std::nullopt;
            scope.volume = std::uint32_t(*volume);
            volume_chosen = true;
        } else {
            const std::optional<quint64> offset = decimal(value, quint64(INT64_MAX));
            if (offset_given || !offset)
                return std::nullopt;
            scope.offset = *offset;
            offset_given = true;
        }
    }
    if (arguments.size() - at != 2 || arguments[at].isEmpty() || arguments[at + 1].isEmpty())
        return std::nullopt;

    const QByteArray image = arguments[at], named_mount = cleaned(arguments[at + 1]), here = cleaned(mount_point);
    if (named_mount.startsWith('/')) {
        if (named_mount != here || !image.startsWith('/'))
            return std::nullopt;
        return ApfsFuseMount{cleaned(image), scope};
    }
    // The daemon left the folder both were named from; the mount point
    // tells it, when it ends in the name given.
    if (!here.endsWith('/' + named_mount))
        return std::nullopt;
    const QByteArray base = here.left(here.size() - named_mount.size());
    return ApfsFuseMount{image.startsWith('/') ? cleaned(image) : cleaned(base + image), scope};
}
