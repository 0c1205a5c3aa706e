#ifndef MOUNTED_IMAGE_H
#define MOUNTED_IMAGE_H

#include "image_scope.h"

#include <QString>

#include <optional>

// Where a mount's volume image is, when the machine says: a Linux mount
// hides what macOS keeps beside a file (birth times, dates added, extended
// attributes), and the image behind it holds them all.

// The image behind a source folder and the part of it the folder shows.
struct MountedImage
{
    QString image;            // an image file or, for a kernel mount, its block device
    bool block_device = false;
    quint64 device_number = 0; // the block device's, as the mount reports it
    ImageScope scope;
};

// The image behind folder (the host's source folder) when the mount that
// holds it tells one: a loop device's backing file (from its offset, up to
// its size limit, narrowed to a scanned partition), the image of a FUSE
// APFS mount (its offset and volume), or the block device of a read-only
// kernel mount; the scope's folder is where folder lies beneath the mount
// point. nullopt for any other folder, which is then read as mounted.
std::optional<MountedImage> image_behind_mount(const QString &folder);

#endif // MOUNTED_IMAGE_H
