#include "synthetic_source.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

// Records per folder, the folder's own record included.
const int folder_span = 100;
// 2020-09-13 12:26:40 UTC: a plausible age for a volume's files.
const qint64 base_time = 1600000000;

const char *const extensions[] = {"txt", "pdf", "jpg", "docx", "png", "html", "md", "zip"};

QString folder_path(int index)
{
    return QStringLiteral("/folder_%1").arg(index / folder_span, 4, 10, QLatin1Char('0'));
}

QString system_error_text()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool set_times(const QString &path, const SourceRecord &record, QString *error)
{
    const struct timespec times[2] = {{time_t(record.accessed), 0}, {time_t(record.modified), 0}};
    if (::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    *error = QStringLiteral("cannot set the times of %1: %2").arg(path, system_error_text());
    return false;
}

} // namespace

SyntheticSource::SyntheticSource(int record_count)
{
    record_list.reserve(record_count);
    for (int index = 0; index < record_count; ++index) {
        SourceRecord record;
        if (index % folder_span == 0) {
            record.stored_path = folder_path(index);
            record.kind = SourceRecord::Kind::Directory;
            record.size = 4096;
        } else {
            const char *extension = extensions[index % (sizeof extensions / sizeof *extensions)];
            record.stored_path = folder_path(index)
                                 + QStringLiteral("/item_%1.").arg(index, 6, 10, QLatin1Char('0'))
                                 + QLatin1String(extension);
            record.kind = SourceRecord::Kind::File;
            record.size = content_of(index).size();
        }
        record.modified = base_time + qint64(index) * 37;
        record.accessed = record.modified + 3600;
        record.changed = record.modified;
        record_list.append(record);
    }
}

QByteArray SyntheticSource::content_of(int index)
{
    return QByteArray("synthetic record ") + QByteArray::number(index) + '\n';
}

MetadataDecoration SyntheticSource::decoration_of(int index, const SourceRecord &record)
{
    MetadataDecoration decoration;
    decoration.where_froms << QStringLiteral("https://downloads.example.com/files%1")
                                  .arg(record.stored_path)
                           << QStringLiteral("https://example.com/page/%1").arg(index % 10);
    decoration.tags.append({QStringLiteral("Red"), 6});
    if (index % 2 == 0)
        decoration.tags.append({QStringLiteral("Project %1").arg(index % 3), 0});
    decoration.last_used_seconds = record.modified + 86400;
    decoration.last_used_nanoseconds = (qint64(index) * 1000003) % 1000000000;
    return decoration;
}

bool SyntheticSource::write_files(const QString &root, bool decorate, QString *error) const
{
    for (int index = 0; index < record_list.size(); ++index) {
        const SourceRecord &record = record_list.at(index);
        const QString path = root + record.stored_path;
        if (record.kind == SourceRecord::Kind::Directory) {
            if (!QDir().mkpath(path)) {
                *error = QStringLiteral("cannot create folder %1").arg(path);
                return false;
            }
            continue;
        }
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(content_of(index)) != record.size) {
            *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
            return false;
        }
        file.close();
        if (decorate && !decoration_of(index, record).write_to(path, error))
            return false;
        if (!set_times(path, record, error))
            return false;
    }
    // A folder's times change while its files are written: set them last.
    for (const SourceRecord &record : record_list) {
        if (record.kind == SourceRecord::Kind::Directory && !set_times(root + record.stored_path, record, error))
            return false;
    }
    return true;
}
