#ifndef APFS_FUSE_MOUNT_H
#define APFS_FUSE_MOUNT_H

#include "image_scope.h"

#include <QByteArray>

#include <optional>

// What Debian's read-only FUSE mount of an APFS image (fsapfsmount) shows,
// read from its daemon's command line (its arguments, NUL-separated).

// The image and the part of it one daemon shows.
struct ApfsFuseMount
{
    QByteArray image; // absolute, cleaned
    ImageScope scope; // the container's offset and volume number, no folder
};

// The mount of command_line's daemon when it is the one at mount_point:
// the forms "fsapfsmount [-f N] [-o OFFSET] [-v] IMAGE MOUNT_POINT", whose
// root is the chosen volume's root (-f, from 1) or, without it, the
// container's one volume. A relative image is taken beside the relative
// mount point, as both were named from one folder. nullopt for anything
// this reading can't place exactly: a password, "-f all", an option after
// the image, an option it does not know.
std::optional<ApfsFuseMount> apfs_fuse_mount(const QByteArray &command_line, const QByteArray &mount_point);

#endif // APFS_FUSE_MOUNT_H
