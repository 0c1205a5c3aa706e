#ifndef FILE_CONTENT_H
#define FILE_CONTENT_H

#include "metadata_value.h"

#include <QString>

#include <memory>

// What one file's content says about it (a photo's camera, a song's
// artist), asked one key at a time while the file's row is read.
class FileContent
{
public:
    virtual ~FileContent() = default;

    // The content's value for key; a Null value when the content gives none.
    virtual MetadataValue value(const QString &key) = 0;
};

// Reads the content of the files of one run.
class FileContentSource
{
public:
    virtual ~FileContentSource() = default;

    // The content of the regular file at path (the volume root directly
    // followed by its path on the volume), already open for reading as file,
    // which stays open as long as what is returned; nullptr when its content
    // can give no key at all. Must outlive what it returns.
    virtual std::unique_ptr<FileContent> content_of(const QString &path, int file) = 0;
};

#endif // FILE_CONTENT_H
