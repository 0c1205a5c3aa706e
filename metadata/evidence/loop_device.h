#ifndef LOOP_DEVICE_H
#define LOOP_DEVICE_H

#include <QByteArray>
#include <QtGlobal>

#include <optional>

// What a loop device maps, as the kernel tells it under /sys/block: the
// file behind it and the window of that file's bytes the device shows
// (losetup's offset and size limit), narrowed to one partition for a
// device whose partitions were scanned (losetup -P, /dev/loopNpM).

// A loop device named by a mount's source: the device ("loop3") and, for
// one of its partitions, that partition ("loop3p2", else empty).
struct LoopSource
{
    QByteArray device;
    QByteArray partition;
};
// nullopt for a source that names no loop device by its kernel name.
std::optional<LoopSource> loop_source(const QByteArray &source);

// The bytes of a file a loop device shows.
struct LoopWindow
{
    QByteArray backing_file; // absolute
    quint64 offset = 0;      // where the device's first byte is in the file
    quint64 size = 0;        // how many bytes it shows from there; 0 for all to the file's end
};

// A number as sysfs writes it: decimal digits and one newline; nullopt
// for anything else, and for one beyond a file's largest offset.
std::optional<quint64> sysfs_number(const QByteArray &text);

// The window from the texts of a device's loop/backing_file, loop/offset
// and loop/sizelimit; nullopt when one is garbled, the file is no absolute
// path, or it was deleted since it was attached (another file may now have
// its name).
std::optional<LoopWindow> loop_window(const QByteArray &backing_file, const QByteArray &offset,
                                      const QByteArray &size_limit);

// window narrowed to the partition whose start and size (the texts of its
// sysfs start and size, in 512-byte sectors) the kernel found in it;
// nullopt when they are garbled or lie beyond the window.
std::optional<LoopWindow> partition_window(const LoopWindow &window, const QByteArray &start, const QByteArray &size);

#endif // LOOP_DEVICE_H
