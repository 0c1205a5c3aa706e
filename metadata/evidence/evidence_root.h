#ifndef EVIDENCE_ROOT_H
#define EVIDENCE_ROOT_H

#include "unique_fd.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <sys/stat.h>

#include <optional>

// The one way in to the evidence. Every object is looked up beneath the
// volume root as the Mac would see it: ".." never climbs above the root,
// and an absolute link inside the volume means a place on that volume.
// The last component of a path is never followed, so a link is looked at
// as itself. Files are opened read-only, without blocking and without
// moving their access time; only regular files and folders are opened for
// reading, so a pipe, socket or device is never opened for reading at all.
class EvidenceRoot
{
public:
    // How links in the middle of a path are treated.
    enum class Links {
        InsideRoot, // followed, but resolved beneath the root
        Refused,    // any link in the path refuses it (the volume's own index)
    };

    // How paths are resolved beneath the root.
    enum class Resolution {
        Kernel,        // the kernel resolves in the root (openat2)
        ComponentWalk, // one component at a time, where openat2 is missing or forbidden
    };

    // Opens the volume root; is_open() tells whether it could be.
    explicit EvidenceRoot(const QString &volume_root);

    bool is_open() const { return root_.valid(); }
    const QString &volume_root() const { return volume_root_; }
    // How this root resolves paths, chosen when it was opened.
    Resolution resolution() const { return resolution_; }

    // A full path (the volume root directly followed by a stored path) as a
    // path relative to the root ("" for the root itself); nullopt when it
    // does not start with the root at a component boundary or holds a zero
    // character.
    std::optional<QByteArray> relative_path(const QString &full_path) const;
    // The full path of a path relative to the root: the volume root directly
    // followed by it, as the host joins them.
    QString full_path(QByteArrayView relative) const;

    // The file-system facts of the object itself; nullopt when it cannot be
    // reached beneath the root.
    std::optional<struct statx> look_at(QByteArrayView relative, Links links = Links::InsideRoot) const;

    // An object looked at and, when it is a regular file or a folder, that
    // very object opened for reading (invalid for anything else).
    struct LookedObject
    {
        struct statx status;
        UniqueFd opened;
        UniqueFd looked; // the object itself (O_PATH), for where_it_lies()
    };
    // One look that serves both the object's facts and the reading of its
    // content or attributes; nullopt when it cannot be reached.
    std::optional<LookedObject> look_and_open(QByteArrayView relative, Links links = Links::InsideRoot) const;

    // Where a looked object lies beneath the root, as the file system names
    // it ("" for the root): the name it has, not the words it was asked by;
    // nullopt where the kernel does not tell (no /proc, an object removed
    // meanwhile, a place this process cannot name).
    std::optional<QByteArray> where_it_lies(const LookedObject &object) const;

    // A descriptor that names the object itself (O_PATH), for looking at it.
    UniqueFd open_object(QByteArrayView relative, Links links = Links::InsideRoot) const;

    // A regular file opened for reading; invalid for anything else (a
    // link, folder, pipe, socket or device) and for what cannot be reached.
    UniqueFd open_regular_file(QByteArrayView relative, Links links = Links::InsideRoot) const;

    // A folder opened for listing; invalid for anything else.
    UniqueFd open_directory(QByteArrayView relative, Links links = Links::InsideRoot) const;

    // The whole content of a regular file of at most max_size bytes;
    // nullopt for a larger one and for anything open_regular_file refuses.
    std::optional<QByteArray> read_small_file(QByteArrayView relative, qint64 max_size,
                                              Links links = Links::InsideRoot) const;

    // The names in a folder ("." and ".." left out), at most max_entries of
    // them, listed without moving the folder's access time; nullopt when it
    // is no folder or cannot be read.
    std::optional<QList<QByteArray>> list_directory(QByteArrayView relative, int max_entries,
                                                    Links links = Links::InsideRoot) const;

    // Up to length bytes of an open file from offset, fewer where it ends
    // or fails; the descriptor's own position is left alone.
    static QByteArray read_at(const UniqueFd &file, qint64 offset, qint64 length);

    // Makes roots opened from now on walk paths component by component even
    // where the kernel could resolve them (tests of the walk).
    static void force_component_walk(bool forced);

private:
    // Resolves relative beneath the root with the given open flags.
    UniqueFd open_beneath(QByteArrayView relative, int flags, Links links) const;
    UniqueFd walk_beneath(QByteArrayView relative, int flags, Links links) const;
    // The object opened for reading when it is of the wanted type (S_IFREG
    // or S_IFDIR); invalid for anything else.
    UniqueFd open_typed(QByteArrayView relative, mode_t type, Links links) const;

    QString volume_root_;
    UniqueFd root_;
    // Where the kernel says the root lies, to tell where looked objects lie.
    std::optional<QByteArray> root_kernel_path_;
    Resolution resolution_ = Resolution::Kernel;
};

#endif // EVIDENCE_ROOT_H
