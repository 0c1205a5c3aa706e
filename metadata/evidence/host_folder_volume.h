#ifndef HOST_FOLDER_VOLUME_H
#define HOST_FOLDER_VOLUME_H

#include "evidence_volume.h"
#include "host_system_calls.h"
#include "unique_fd.h"

// An evidence volume that the examining machine has mounted: a folder of
// the host, read through the kernel. Every object is looked up beneath the
// folder (openat2 in the root, or one component at a time where the kernel
// can't), then the object looked at is opened itself, read-only, without
// blocking and without moving its access time; only regular files and
// folders are opened, so a pipe, socket or device never is. Where the
// kernel won't keep an access time (an examiner who does not own the file,
// on a mount that records access times), the object gives its facts and
// attributes but none of its bytes or entries.
class HostFolderVolume : public EvidenceVolume
{
public:
    // How paths are resolved beneath the root.
    enum class Resolution {
        Kernel,        // the kernel resolves in the root (openat2)
        ComponentWalk, // one component at a time, where openat2 is missing or forbidden
    };

    // Opens the folder volume_root ("" is the machine's own root) through
    // calls; is_open() tells whether it could be.
    explicit HostFolderVolume(const QString &volume_root, const HostSystemCalls &calls = kernel_system_calls());

    bool is_open() const override { return root_.valid(); }
    // How this volume resolves paths, chosen when it was opened.
    Resolution resolution() const { return resolution_; }

    std::optional<FileFacts> look_at(QByteArrayView relative, Links links = Links::InsideRoot) const override;
    std::unique_ptr<EvidenceObject> open(QByteArrayView relative, Links links = Links::InsideRoot) const override;

    // Makes volumes opened from now on walk paths component by component
    // even where the kernel could resolve them (tests of the walk).
    static void force_component_walk(bool forced);

private:
    // Looks relative up beneath the root (an O_PATH descriptor); tells
    // through at_spelling whether the object lies where relative spells it.
    UniqueFd look_up(QByteArrayView relative, Links links, bool *at_spelling = nullptr) const;
    // Whether relative has no empty, "." or ".." component.
    static bool is_plain_path(QByteArrayView relative);
    UniqueFd walk_beneath(QByteArrayView relative, Links links) const;
    std::optional<QByteArray> read_link(int link) const;
    // Opens again, for reading, the object that the O_PATH descriptor
    // object names, never by its path.
    UniqueFd reopen(int object, bool is_directory, bool keep_access_time) const;

    const HostSystemCalls &calls_;
    UniqueFd root_;
    // Where the kernel says the root lies, to tell where objects lie.
    std::optional<QByteArray> root_kernel_path_;
    // The root opened for reading, as the mount that file handles are
    // opened on where /proc is missing.
    UniqueFd root_mount_;
    // This process's descriptor folder in /proc, where a looked-at file is
    // opened again by its number: one step, where the full path takes four.
    UniqueFd own_descriptors_;
    Resolution resolution_ = Resolution::Kernel;
};

#endif // HOST_FOLDER_VOLUME_H
