#ifndef MOUNT_TABLE_H
#define MOUNT_TABLE_H

#include <QByteArray>

#include <optional>

// The machine's mount table as /proc/self/mountinfo writes it: one mount a
// line, its fields separated by blanks, and blanks, tabs, newlines and
// backslashes within a field written as octal escapes ("\040"). The text
// is the kernel's, but a name in it (a mount point, a FUSE daemon's
// source) is anyone's to choose: a line that does not parse is passed over.

// One mount of the table.
struct MountEntry
{
    QByteArray mount_point;
    QByteArray root;    // what of its file system the mount shows, "/" for all of it
    QByteArray type;    // the file-system type, "fuse" or "fuse.NAME" for a FUSE daemon
    QByteArray source;  // what was mounted, as it was named then
    QByteArray device;  // the device number its objects report, "major:minor"
    QByteArray options; // the mount's own options, then its file system's
};

// The mount that holds folder (an absolute path, links resolved): the one
// whose mount point is the longest prefix of folder at a component
// boundary, the later of two lines at one place (mounted over the earlier).
// nullopt when no line holds it, and when another mount point lies beneath
// folder: the host's paths may then cross into a file system other than
// the one that holds folder.
std::optional<MountEntry> mount_holding(const QByteArray &folder, const QByteArray &mount_table);

// Where folder lies beneath mount_point, relative to it ("" for the mount
// point itself); nullopt when folder is not beneath it at a component
// boundary. Both are cleaned of "." and ".." first.
std::optional<QByteArray> folder_below(const QByteArray &folder, const QByteArray &mount_point);

// Whether options (a mount's and its file system's, comma-separated) say
// it is read-only.
bool is_read_only(const QByteArray &options);

#endif // MOUNT_TABLE_H
