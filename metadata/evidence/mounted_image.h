#ifndef MOUNTED_IMAGE_H
#define MOUNTED_IMAGE_H

#include <QByteArray>
#include <QString>

#include <optional>

// Where a mount's volume image is, when the machine says: a Linux mount
// hides what macOS keeps beside a file (birth times, dates added, extended
// attributes), and the image behind it holds them all.

// The mount of folder in a mount table (/proc/self/mountinfo's text): its
// mount point, the source and the file-system type; nullopt when folder
// is not itself a mount point of the table.
struct MountEntry
{
    QByteArray mount_point;
    QByteArray root; // what of its file system the mount shows, "/" for all of it
    QByteArray type;
    QByteArray source;
};
std::optional<MountEntry> mount_at(const QByteArray &folder, const QByteArray &mount_table);

// The image a read-only FUSE mount of an APFS image shows, from its
// daemon's command line (its arguments, NUL-separated): only the plain
// form "fsapfsmount IMAGE MOUNT_POINT" of the mount at mount_point, whose
// whole container is one volume; a relative image is taken beside the
// relative mount point, as both were named from one folder.
std::optional<QString> apfs_fuse_image(const QByteArray &command_line, const QByteArray &mount_point);

// The image behind the folder the host names as the source, when folder is
// a mount point whose image the machine tells: a loop device's backing
// file (from its start), or the image a FUSE APFS mount reads. nullopt for
// any other folder, which is then read as it is mounted.
std::optional<QString> image_behind_mount(const QString &folder);

#endif // MOUNTED_IMAGE_H
