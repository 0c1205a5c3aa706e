#ifndef EVIDENCE_VOLUME_H
#define EVIDENCE_VOLUME_H

#include "file_facts.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

// One object of an evidence volume, looked at and, when it is a regular
// file or a folder, held open: all that the suppliers read of it. A link
// is an object of its own, with facts and nothing else; a pipe, socket or
// device likewise.
class EvidenceObject
{
public:
    virtual ~EvidenceObject() = default;

    // What the volume records of the object itself.
    virtual const FileFacts &facts() const = 0;
    // Whether its bytes or entries can be read without leaving a trace on
    // the evidence. Its facts and attributes can be read either way.
    virtual bool readable() const = 0;
    // Up to length bytes of a readable file from offset; fewer where it
    // ends or fails, none when it is not readable.
    virtual QByteArray read_at(qint64 offset, qint64 length) const = 0;
    // Whether read_at may be called from several threads at once.
    virtual bool reads_concurrently() const { return false; }
    // The [start, end) ranges of a readable file that hold stored data, at
    // most max_ranges of them; nullopt when the volume can't tell, and then
    // all of the file may hold data.
    virtual std::optional<std::vector<std::pair<qint64, qint64>>> data_ranges(int max_ranges) const = 0;
    // The names in a readable folder ("." and ".." left out), at most
    // max_entries; nullopt when it cannot be listed.
    virtual std::optional<QList<QByteArray>> entries(int max_entries) const = 0;
    // How many entries a readable folder holds; nullopt when that can't be
    // told or when it holds more than limit.
    virtual std::optional<qint64> entry_count(qint64 limit) const = 0;
    // The names of the object's extended attributes, each ended by a zero
    // byte; nullopt when they cannot be listed.
    virtual std::optional<QByteArray> attribute_names() const = 0;
    // The content of one extended attribute; nullopt when it is absent or
    // cannot be read.
    virtual std::optional<QByteArray> attribute(QByteArrayView name) const = 0;
    // A descriptor open on a readable file's content, to hand to an
    // importer (never reopened by name); -1 when there is none. It stays
    // the object's.
    virtual int content_descriptor() const = 0;
    // Where the object lies beneath the volume root as the volume names it
    // ("" for the root): the name it has, not the words it was asked by (a
    // path may end in "..", differ in case from the entry a case-blind
    // volume matched, or pass through links); nullopt where the volume
    // can't tell.
    virtual std::optional<QByteArray> location() const = 0;
};

// A source of evidence: one macOS volume, whose objects are looked up by
// their path beneath its root as the Mac would see it: ".." never climbs
// above the root, an absolute link in the middle of a path is a place on
// the volume, and the last component is never followed.
class EvidenceVolume
{
public:
    // How links in the middle of a path are treated.
    enum class Links {
        InsideRoot, // followed, but resolved beneath the root
        Refused,    // any link in the path refuses it (the volume's own index)
    };

    explicit EvidenceVolume(QString volume_root) : volume_root_(std::move(volume_root)) {}
    virtual ~EvidenceVolume() = default;
    EvidenceVolume(const EvidenceVolume &) = delete;
    EvidenceVolume &operator=(const EvidenceVolume &) = delete;

    // The host's name for the volume root: full paths start with it.
    const QString &volume_root() const { return volume_root_; }
    // Whether the volume could be opened at all.
    virtual bool is_open() const = 0;

    // A full path (the volume root directly followed by a stored path) as a
    // path relative to the root ("" for the root itself); nullopt when it
    // does not start with the root at a component boundary or holds a zero
    // character.
    std::optional<QByteArray> relative_path(const QString &full_path) const;
    // The full path of a path relative to the root: the volume root directly
    // followed by it, as the host joins them.
    QString full_path(QByteArrayView relative) const;
    // Whether full_path(relative) is full_path itself, told without building it.
    bool is_full_path_of(const QString &full_path, QByteArrayView relative) const;

    // The facts of the object at relative, looked at without opening it;
    // nullopt when it cannot be reached.
    virtual std::optional<FileFacts> look_at(QByteArrayView relative, Links links = Links::InsideRoot) const = 0;
    // The object at relative, looked at once and, when it is a regular
    // file or a folder, that very object opened; nullptr when it cannot be
    // reached.
    virtual std::unique_ptr<EvidenceObject> open(QByteArrayView relative, Links links = Links::InsideRoot) const = 0;

    // A readable regular file; nullptr for anything else.
    std::unique_ptr<EvidenceObject> open_regular_file(QByteArrayView relative, Links links = Links::InsideRoot) const;
    // A readable folder; nullptr for anything else.
    std::unique_ptr<EvidenceObject> open_directory(QByteArrayView relative, Links links = Links::InsideRoot) const;
    // The whole content of a readable regular file of at most max_size
    // bytes; nullopt for a larger one and for anything open_regular_file refuses.
    std::optional<QByteArray> read_small_file(QByteArrayView relative, qint64 max_size,
                                              Links links = Links::InsideRoot) const;
    // The names in a readable folder, at most max_entries of them.
    std::optional<QList<QByteArray>> list_directory(QByteArrayView relative, int max_entries,
                                                    Links links = Links::InsideRoot) const;

private:
    const QString volume_root_;
};

#endif // EVIDENCE_VOLUME_H
