#ifndef ZIP_ARCHIVE_H
#define ZIP_ARCHIVE_H

#include <QByteArray>

#include <memory>
#include <optional>

struct zip;

// A zip archive held in memory, read only, whose entries are read with a
// size bound: an entry that inflates beyond it is never held whole.
class ZipArchive
{
public:
    // The archive in bytes, which must outlive it; nothing when they are
    // no zip archive.
    static std::optional<ZipArchive> open(const QByteArray &bytes);

    // The entry's content, when the archive holds it, it inflates to at
    // most limit bytes and at most max_ratio times its stored size, and it
    // reads without error.
    std::optional<QByteArray> entry(const char *name, qint64 limit, qint64 max_ratio) const;

private:
    struct Close
    {
        void operator()(zip *archive) const;
    };
    explicit ZipArchive(zip *archive) : archive_(archive) {}

    std::unique_ptr<zip, Close> archive_;
};

#endif // ZIP_ARCHIVE_H
