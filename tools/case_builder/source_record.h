#ifndef SOURCE_RECORD_H
#define SOURCE_RECORD_H

#include <QString>
#include <QVector>

// What the host keeps about one entry of a source: a file, a directory, a
// symbolic link (the link itself, never its target) or anything else.
struct SourceRecord
{
    enum class Kind { File, Directory, SymbolicLink, Other };

    QString stored_path;    // within the source, with a leading "/"
    Kind kind = Kind::File;
    qint64 size = 0;        // bytes of the entry itself; a link's is its target text
    QString symlink_target; // a link's target as written; empty otherwise
    qint64 modified = 0;    // seconds since 1970-01-01 UTC
    qint64 accessed = 0;
    qint64 changed = 0;

    // The last component of the stored path.
    QString file_name() const;
    // The stored path of the enclosing directory; "/" at the top of the source.
    QString parent_path() const;
    // The file name's suffix after its last dot, lower case; empty for none.
    QString extension() const;
    // The kind as the host's file_type column spells it.
    QString kind_text() const;
};

using SourceRecords = QVector<SourceRecord>;

#endif // SOURCE_RECORD_H
