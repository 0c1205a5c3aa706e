#ifndef IMAGE_FILE_SYSTEM_H
#define IMAGE_FILE_SYSTEM_H

#include "file_facts.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <memory>
#include <optional>

// One object of a volume read from its image, as its library hands it.
class ImageEntry
{
public:
    virtual ~ImageEntry() = default;
    // What the volume's records say of it.
    virtual FileFacts facts() const = 0;
    // The target of a symbolic link; nullopt for anything else.
    virtual std::optional<QByteArray> link_target() const = 0;
    // The object of that name in this folder, nullptr when it holds none.
    virtual std::unique_ptr<ImageEntry> child(QByteArrayView name) const = 0;
    // The names in this folder, at most max_entries; nullopt when it can't be listed.
    virtual std::optional<QList<QByteArray>> names(int max_entries) const = 0;
    // The names of its extended attributes, each ended by a zero byte.
    virtual std::optional<QByteArray> attribute_names() const = 0;
    // One extended attribute's content, at most max_size bytes of it;
    // nullopt when absent, unreadable or larger.
    virtual std::optional<QByteArray> attribute(QByteArrayView name, qint64 max_size) const = 0;
    // Up to length bytes of a file's content from offset, decompressed
    // where the volume compresses it; nullopt on a failure.
    virtual std::optional<QByteArray> read(qint64 offset, qint64 length) const = 0;
};

// One macOS volume of an image.
class ImageFileSystem
{
public:
    virtual ~ImageFileSystem() = default;
    // The volume's own name.
    virtual QByteArray name() const = 0;
    // Its root folder; nullptr when it can't be read.
    virtual std::unique_ptr<ImageEntry> root() const = 0;
};

#endif // IMAGE_FILE_SYSTEM_H
