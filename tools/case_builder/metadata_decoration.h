#ifndef METADATA_DECORATION_H
#define METADATA_DECORATION_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

// The macOS metadata a file copied off a Mac carries in its extended
// attributes, so that the worker has real values to read.
struct MetadataDecoration
{
    struct Tag
    {
        QString name;
        int colour = 0; // the Finder's label number, 0 for none
    };

    QStringList where_froms;      // download address and referring page
    QVector<Tag> tags;
    qint64 last_used_seconds = 0; // when the file was last opened, since 1970
    qint64 last_used_nanoseconds = 0;

    // Writes the attributes to the file at path; false with the reason in
    // *error, for instance when its file system keeps no extended attributes.
    bool write_to(const QString &path, QString *error) const;
};

#endif // METADATA_DECORATION_H
