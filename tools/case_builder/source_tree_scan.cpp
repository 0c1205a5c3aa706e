#include "source_tree_scan.h"

#ifndef __APPLE__
#include "evidence/image_volume.h"
#endif

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

#ifndef __APPLE__
// A folder of an image holds at most this many entries the host would list.
constexpr int max_image_entries = 1 << 20;

// The records beneath relative on an image's volume, in the same order as
// a folder's: as the worker reads that volume, so that every record it
// is given names an object the image holds.
void scan_image_directory(const EvidenceVolume &volume, const QByteArray &relative, SourceTreeScan *scan)
{
    std::optional<QList<QByteArray>> names = volume.list_directory(relative, max_image_entries);
    if (!names) {
        scan->warnings << QStringLiteral("cannot list /%1 in the image; its contents are not recorded")
                              .arg(QFile::decodeName(relative));
        return;
    }
    std::sort(names->begin(), names->end());
    for (const QByteArray &name : *names) {
        const QByteArray path = relative.isEmpty() ? name : relative + '/' + name;
        const std::optional<FileFacts> facts = volume.look_at(path);
        if (!facts) {
            scan->warnings << QStringLiteral("cannot examine /%1 in the image; it is not recorded")
                                  .arg(QFile::decodeName(path));
            continue;
        }
        SourceRecord record;
        record.stored_path = QLatin1Char('/') + QFile::decodeName(path);
        const std::uint32_t type = facts->mode.value_or(0) & S_IFMT;
        record.kind = facts->is_regular_file ? SourceRecord::Kind::File
                      : facts->is_directory  ? SourceRecord::Kind::Directory
                      : type == S_IFLNK      ? SourceRecord::Kind::SymbolicLink
                                             : SourceRecord::Kind::Other;
        record.size = qint64(facts->size.value_or(0));
        // The image's records hold no access or change time the worker reads.
        record.modified = record.accessed = record.changed = qint64(facts->modification_time.value_or(0));
        scan->records.append(record);
        if (record.kind == SourceRecord::Kind::Directory)
            scan_image_directory(volume, path, scan);
    }
}
#endif

} // namespace

SourceTreeScan scan_source_tree(const QString &root)
{
    SourceTreeScan scan;
    const QFileInfo root_info(root);
    if (!root_info.exists()) {
        scan.error = QStringLiteral("source tree %1 does not exist").arg(root);
        return scan;
    }
#ifndef __APPLE__
    // An image of a volume is recorded as the tree of the volume it holds.
    if (root_info.isFile()) {
        const ImageVolume volume(root_info.absoluteFilePath());
        if (!volume.is_open() || !volume.look_at(QByteArray())) {
            scan.error = QStringLiteral("source %1 holds no volume image that can be read").arg(root);
            return scan;
        }
        scan_image_directory(volume, QByteArray(), &scan);
        return scan;
    }
#endif
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
