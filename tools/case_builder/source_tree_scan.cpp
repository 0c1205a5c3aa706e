#include "source_tree_scan.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <climits>

#include <sys/stat.h>
#include <unistd.h>

namespace {

bool can_list(const QString &directory)
{
    return ::access(QFile::encodeName(directory).constData(), R_OK | X_OK) == 0;
}

QStringList sorted_entry_names(const QString &directory)
{
    QStringList names;
    // System brings sockets, fifos and dangling links; Hidden the dot files.
    QDirIterator it(directory, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        it.next();
        names << it.fileName();
    }
    // Plain code-unit order: the same on every machine, whatever its locale.
    std::sort(names.begin(), names.end());
    return names;
}

// A link's target exactly as written in the link, not resolved.
QString link_text(const QString &local_path)
{
    QByteArray target(PATH_MAX, '\0');
    const ssize_t length = ::readlink(QFile::encodeName(local_path).constData(), target.data(),
                                      size_t(target.size()));
    return length < 0 ? QString() : QFile::decodeName(target.left(int(length)));
}

// The record of the entry at local_path from lstat, so that a link is
// described as itself; false when the entry cannot be examined.
bool read_source_record(const QString &local_path, const QString &stored_path, SourceRecord *record)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(local_path).constData(), &status) != 0)
        return false;

    record->stored_path = stored_path;
    if (S_ISREG(status.st_mode))
        record->kind = SourceRecord::Kind::File;
    else if (S_ISDIR(status.st_mode))
        record->kind = SourceRecord::Kind::Directory;
    else if (S_ISLNK(status.st_mode))
        record->kind = SourceRecord::Kind::SymbolicLink;
    else
        record->kind = SourceRecord::Kind::Other;
    record->size = qint64(status.st_size);
    record->symlink_target = record->kind == SourceRecord::Kind::SymbolicLink
                                 ? link_text(local_path)
                                 : QString();
    record->modified = qint64(status.st_mtime);
    record->accessed = qint64(status.st_atime);
    record->changed = qint64(status.st_ctime);
    return true;
}

void scan_directory(const QString &local_directory, const QString &stored_directory,
                    SourceTreeScan *scan)
{
    if (!can_list(local_directory)) {
        scan->warnings << QStringLiteral("cannot list %1; its contents are not recorded")
                              .arg(local_directory);
        return;
    }
    for (const QString &name : sorted_entry_names(local_directory)) {
        const QString local_path = local_directory + QLatin1Char('/') + name;
        const QString stored_path = stored_directory + QLatin1Char('/') + name;
        SourceRecord record;
        if (!read_source_record(local_path, stored_path, &record)) {
            scan->warnings << QStringLiteral("cannot examine %1; it is not recorded").arg(local_path);
            continue;
        }
        scan->records.append(record);
        if (record.kind == SourceRecord::Kind::Directory)
            scan_directory(local_path, stored_path, scan);
    }
}

} // namespace

SourceTreeScan scan_source_tree(const QString &root)
{
    SourceTreeScan scan;
    const QFileInfo root_info(root);
    if (!root_info.exists()) {
        scan.error = QStringLiteral("source tree %1 does not exist").arg(root);
        return scan;
    }
    if (!root_info.isDir()) {
        scan.error = QStringLiteral("source tree %1 is not a directory").arg(root);
        return scan;
    }
    if (!can_list(root)) {
        scan.error = QStringLiteral("source tree %1 cannot be read").arg(root);
        return scan;
    }
    // The root's own stored path is empty, so its entries start with "/".
    scan_directory(QDir(root).absolutePath(), QString(), &scan);
    return scan;
}
