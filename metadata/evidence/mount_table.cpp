#include "mount_table.h"

#include <QDir>
#include <QFile>
#include <QList>

namespace {

// The table's longest line that is read: a line holds two paths and some
// options, each far below this.
constexpr qsizetype max_line = 64 * 1024;

// A table's field, whose blanks, tabs, newlines and backslashes are
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

// One line of the table; nullopt when it lacks a field or holds a path
// that is not absolute.
std::optional<MountEntry> entry_of(const QByteArray &line)
{
    if (line.size() > max_line)
        return std::nullopt;
    const QList<QByteArray> fields = line.split(' ');
    // ID, parent ID, major:minor, root, mount point, options, optional
    // fields, "-", type, source, file-system options.
    const qsizetype separator = fields.indexOf("-", 6);
    if (separator < 6 || separator + 3 >= fields.size())
        return std::nullopt;
    MountEntry entry{unescaped(fields[4]), unescaped(fields[3]), fields[separator + 1],
                     unescaped(fields[separator + 2]), fields[2], fields[5] + ',' + fields[separator + 3]};
    if (!entry.mount_point.startsWith('/') || !entry.root.startsWith('/') || entry.device.count(':') != 1)
        return std::nullopt;
    entry.mount_point = cleaned(entry.mount_point);
    return entry;
}

} // namespace

std::optional<QByteArray> folder_below(const QByteArray &folder, const QByteArray &mount_point)
{
    const QByteArray inner = cleaned(folder), outer = cleaned(mount_point);
    if (!inner.startsWith('/') || !outer.startsWith('/'))
        return std::nullopt;
    if (inner == outer)
        return QByteArray();
    const QByteArray prefix = outer.endsWith('/') ? outer : outer + '/';
    if (!inner.startsWith(prefix))
        return std::nullopt;
    return inner.mid(prefix.size());
}

std::optional<MountEntry> mount_holding(const QByteArray &folder, const QByteArray &mount_table)
{
    const QByteArray wanted = cleaned(folder);
    if (!wanted.startsWith('/'))
        return std::nullopt;
    std::optional<MountEntry> found;
    for (const QByteArray &line : mount_table.split('\n')) {
        const std::optional<MountEntry> entry = entry_of(line);
        if (!entry)
            continue;
        const std::optional<QByteArray> below = folder_below(wanted, entry->mount_point);
        if (!below) {
            // A mount inside the source's tree.
            if (folder_below(entry->mount_point, wanted))
                return std::nullopt;
            continue;
        }
        if (!found || entry->mount_point.size() >= found->mount_point.size())
            found = entry;
    }
    return found;
}

bool is_read_only(const QByteArray &options)
{
    return options.split(',').contains("ro");
}
