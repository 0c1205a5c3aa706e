#ifndef EVIDENCE_FILES_H
#define EVIDENCE_FILES_H

// Files the tests lay out on a volume, by the names the system uses.

#include <QDir>
#include <QDirIterator>
#include <QFile>

inline QByteArray native(const QString &path) { return QFile::encodeName(path); }

// Writes content at path, making the folders on the way.
inline bool write_file(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
           && file.write(content) == content.size();
}

// A copy of a tree, hidden entries too, each copy writable by its owner.
inline bool copy_tree(const QString &from, const QString &to)
{
    if (!QDir().mkpath(to))
        return false;
    QDirIterator entries(from, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QString target = to + path.mid(from.size());
        if (entries.fileInfo().isDir() ? !QDir().mkpath(target) : !QFile::copy(path, target))
            return false;
        QFile::setPermissions(target, QFile::permissions(target) | QFile::WriteOwner);
    }
    return true;
}

#endif // EVIDENCE_FILES_H
