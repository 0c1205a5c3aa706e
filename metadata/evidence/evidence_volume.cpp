#include "evidence_volume.h"

#include <QFile>

std::optional<QByteArray> EvidenceVolume::relative_path(const QString &full_path) const
{
    if (!full_path.startsWith(volume_root_))
        return std::nullopt;
    QStringView rest = QStringView(full_path).sliced(volume_root_.size());
    // "/Volumes/Data" + "2/x" names a sibling of the volume, not a file on it.
    if (!rest.isEmpty() && !rest.startsWith(QLatin1Char('/')) && !volume_root_.isEmpty()
        && !volume_root_.endsWith(QLatin1Char('/')))
        return std::nullopt;
    while (rest.startsWith(QLatin1Char('/')))
        rest = rest.sliced(1);
    // Spelt as the file system names it, as QFile::encodeName spells it.
    QByteArray relative = rest.toLocal8Bit();
    if (relative.contains('\0'))
        return std::nullopt;
    return relative;
}

QString EvidenceVolume::full_path(QByteArrayView relative) const
{
    const QString rest = QFile::decodeName(relative.toByteArray());
    if (rest.isEmpty())
        return volume_root_.isEmpty() ? QStringLiteral("/") : volume_root_;
    return volume_root_.endsWith(QLatin1Char('/')) ? volume_root_ + rest : volume_root_ + QLatin1Char('/') + rest;
}

bool EvidenceVolume::is_full_path_of(const QString &full_path, QByteArrayView relative) const
{
    if (relative.isEmpty() || volume_root_.isEmpty() || !full_path.startsWith(volume_root_))
        return false;
    QStringView rest = QStringView(full_path).sliced(volume_root_.size());
    if (!volume_root_.endsWith(QLatin1Char('/'))) {
        if (!rest.startsWith(QLatin1Char('/')))
            return false;
        rest = rest.sliced(1);
    }
    // Names beyond ASCII are left to full_path, which decodes them.
    if (rest.size() != relative.size())
        return false;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        const char16_t c = rest[i].unicode();
        if (c >= 0x80 || c != char16_t(static_cast<unsigned char>(relative[i])))
            return false;
    }
    return true;
}

std::unique_ptr<EvidenceObject> EvidenceVolume::open_regular_file(QByteArrayView relative, Links links) const
{
    std::unique_ptr<EvidenceObject> object = open(relative, links);
    if (!object || !object->facts().is_regular_file || !object->readable())
        return nullptr;
    return object;
}

std::unique_ptr<EvidenceObject> EvidenceVolume::open_directory(QByteArrayView relative, Links links) const
{
    std::unique_ptr<EvidenceObject> object = open(relative, links);
    if (!object || !object->facts().is_directory || !object->readable())
        return nullptr;
    return object;
}

std::optional<QByteArray> EvidenceVolume::read_small_file(QByteArrayView relative, qint64 max_size, Links links) const
{
    const std::unique_ptr<EvidenceObject> file = open_regular_file(relative, links);
    if (!file || !file->facts().size || *file->facts().size > quint64(max_size))
        return std::nullopt;
    // Read no further than the size seen, whatever the file grows to meanwhile.
    return file->read_at(0, qint64(*file->facts().size));
}

std::optional<QList<QByteArray>> EvidenceVolume::list_directory(QByteArrayView relative, int max_entries,
                                                                Links links) const
{
    const std::unique_ptr<EvidenceObject> folder = open_directory(relative, links);
    if (!folder)
        return std::nullopt;
    return folder->entries(max_entries);
}
