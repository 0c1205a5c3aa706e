// How the worker tells the image behind a mount from what the machine
// writes about it: the mount table, loop devices' sysfs values and a FUSE
// daemon's command line. All of it may hold names anyone chose; what can't
// be read exactly leaves the mount to be read as mounted.

#include "evidence/apfs_fuse_mount.h"
#include "evidence/image_volume.h"
#include "evidence/loop_device.h"
#include "evidence/mount_table.h"
#include "evidence/mounted_image.h"
#include "image_scope.h"
#include "volume_images.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// A mount table as the kernel writes it, with the lines a hostile name or
// a garbled table could give.
QByteArray mount_table()
{
    return "22 1 8:1 / / rw,relatime - ext4 /dev/sda1 rw\n"
           "40 22 7:0 / /cases/mnt\\0402 ro,relatime shared:4 - hfsplus /dev/loop0 ro\n"
           "43 22 0:40 / /cases/outer rw - tmpfs tmpfs rw\n"
           "44 43 0:41 / /cases/outer/inner rw - tmpfs tmpfs rw\n"
           "45 22 0:42 / /cases/twice rw - tmpfs first rw\n"
           "46 45 0:43 / /cases/twice rw - tmpfs second rw\n"
           "48 22 7:2 / /cases/short rw -\n"
           "49 22 7:3 / /cases/nodash rw ext4 /dev/loop3 rw\n"
           "50 22 7 / /cases/baddevice rw - ext4 /dev/loop5 rw\n"
           "51 22 7:6 / /cases/" + QByteArray(70000, 'x') + " rw - ext4 /dev/loop6 rw\n"
           "\n\n - - - -\n\\\\\\ \\0 \\777\n";
}

bool can_mount_loop_devices()
{
    return ::geteuid() == 0 && QFile::exists("/dev/loop-control") && run_quietly("losetup", {"-V"});
}

} // namespace

class tst_mount_tracing : public QObject
{
    Q_OBJECT

private slots:
    void the_mount_holding_a_folder_data();
    void the_mount_holding_a_folder();
    void loop_devices_tell_their_window_data();
    void loop_devices_tell_their_window();
    void apfs_fuse_command_lines_data();
    void apfs_fuse_command_lines();
    void scopes_reach_the_reader_whole_data();
    void scopes_reach_the_reader_whole();
    void a_loop_mount_is_traced_to_its_window_data();
    void a_loop_mount_is_traced_to_its_window();
    void only_the_mounted_block_device_is_opened_data();
    void only_the_mounted_block_device_is_opened();
};

void tst_mount_tracing::the_mount_holding_a_folder_data()
{
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QByteArray>("mount_point"); // empty: none holds it, or it is not traced
    QTest::addColumn<QByteArray>("below");
    QTest::addColumn<QByteArray>("device");
    const auto row = [](const char *name, const QByteArray &folder, const QByteArray &mount_point,
                        const QByteArray &below, const QByteArray &device = "8:1") {
        QTest::newRow(name) << folder << mount_point << below << device;
    };

    row("the mount point itself, its blank escaped", "/cases/mnt 2", "/cases/mnt 2", "", "7:0");
    row("a folder below a mount point", "/cases/mnt 2/Users/x", "/cases/mnt 2", "Users/x", "7:0");
    row("a name that only starts like a mount point", "/cases/mnt 23", "/", "cases/mnt 23");
    row("the deepest mount point holds it", "/cases/outer/inner/x", "/cases/outer/inner", "x", "0:41");
    row("a folder with a mount beneath it is read as mounted", "/cases/outer", "", "");
    row("the later of two mounts at one place", "/cases/twice", "/cases/twice", "", "0:43");
    // Each of these lines is passed over: the root mount holds the folder.
    row("a line without its file system's fields", "/cases/short", "/", "cases/short");
    row("a line without its separator", "/cases/nodash", "/", "cases/nodash");
    row("a device number without its minor", "/cases/baddevice", "/", "cases/baddevice");
    row("an overlong line", "/cases/" + QByteArray(70000, 'x'), "/", "cases/" + QByteArray(70000, 'x'));
}

void tst_mount_tracing::the_mount_holding_a_folder()
{
    QFETCH(QByteArray, folder);
    QFETCH(QByteArray, mount_point);
    QFETCH(QByteArray, below);
    QFETCH(QByteArray, device);

    const std::optional<MountEntry> mount = mount_holding(folder, mount_table());
    QCOMPARE(mount.has_value(), !mount_point.isEmpty());
    if (!mount)
        return;
    QCOMPARE(mount->mount_point, mount_point);
    QCOMPARE(mount->root, QByteArray("/"));
    QCOMPARE(mount->device, device);
    QCOMPARE(folder_below(folder, mount->mount_point), std::optional<QByteArray>(below));
}

void tst_mount_tracing::loop_devices_tell_their_window_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("backing");
    QTest::addColumn<QByteArray>("offset");
    QTest::addColumn<QByteArray>("size_limit");
    QTest::addColumn<QByteArray>("start"); // a scanned partition's, in 512-byte sectors
    QTest::addColumn<QByteArray>("sectors");
    QTest::addColumn<QByteArray>("file"); // empty: read as mounted
    QTest::addColumn<qulonglong>("window_offset");
    QTest::addColumn<qulonglong>("window_size");
    const auto row = [](const char *name, const QByteArray &source, const QByteArray &backing, const QByteArray &offset,
                        const QByteArray &size_limit, const QByteArray &start, const QByteArray &sectors,
                        const QByteArray &file, qulonglong window_offset, qulonglong window_size) {
        QTest::newRow(name) << source << backing << offset << size_limit << start << sectors << file << window_offset
                            << window_size;
    };

    const QByteArray disk = "/ev/disk.img\n", file = "/ev/disk.img";
    row("a whole device from the file's first byte", "/dev/loop0", disk, "0\n", "0\n", "", "", file, 0, 0);
    row("an offset and a size limit", "/dev/loop12", disk, "20480\n", "4194304\n", "", "", file, 20480, 4194304);
    row("a scanned partition", "/dev/loop0p1", disk, "0\n", "0\n", "40\n", "130992\n", file, 20480, 130992 * 512);
    row("a scanned partition of a device with an offset", "/dev/loop3p2", disk, "1048576\n", "0\n", "40\n", "8\n",
        file, 1048576 + 20480, 4096);
    row("a partition past the size limit", "/dev/loop0p1", disk, "0\n", "8192\n", "40\n", "8\n", "", 0, 0);
    row("a name ending in a blank keeps it", "/dev/loop0", "/ev/a.raw \n", "0\n", "0\n", "", "", "/ev/a.raw ", 0, 0);
    row("a backing file deleted since", "/dev/loop0", "/ev/a.raw (deleted)\n", "0\n", "0\n", "", "", "", 0, 0);
    row("a negative offset", "/dev/loop0", disk, "-1\n", "0\n", "", "", "", 0, 0);
    row("an offset beyond any file", "/dev/loop0", disk, "99999999999999999999\n", "0\n", "", "", "", 0, 0);
    row("the loop control device", "/dev/loop-control", disk, "0\n", "0\n", "", "", "", 0, 0);
    row("a disk", "/dev/sdb2", disk, "0\n", "0\n", "", "", "", 0, 0);
}

void tst_mount_tracing::loop_devices_tell_their_window()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, backing);
    QFETCH(QByteArray, offset);
    QFETCH(QByteArray, size_limit);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, sectors);
    QFETCH(QByteArray, file);
    QFETCH(qulonglong, window_offset);
    QFETCH(qulonglong, window_size);

    std::optional<LoopWindow> window;
    if (const std::optional<LoopSource> loop = loop_source(source)) {
        QCOMPARE(loop->partition.isEmpty(), start.isEmpty());
        window = loop_window(backing, offset, size_limit);
        if (window && !loop->partition.isEmpty())
            window = partition_window(*window, start, sectors);
    }
    QCOMPARE(window.has_value(), !file.isEmpty());
    if (!window)
        return;
    QCOMPARE(window->backing_file, file);
    QCOMPARE(window->offset, window_offset);
    QCOMPARE(window->size, window_size);
}

void tst_mount_tracing::apfs_fuse_command_lines_data()
{
    QTest::addColumn<QByteArray>("command_line"); // NUL-separated, as /proc writes it
    QTest::addColumn<QByteArray>("image");        // empty: read as mounted
    QTest::addColumn<qulonglong>("offset");
    QTest::addColumn<uint>("volume");
    const auto row = [](const char *name, std::initializer_list<const char *> arguments, const QByteArray &image,
                        qulonglong offset = 0, uint volume = 0) {
        QByteArray line;
        for (const char *argument : arguments)
            line += QByteArray(argument) + '\0';
        QTest::newRow(name) << line << image << offset << volume;
    };

    const char *here = "/cases/mnt 2";
    row("absolute image and mount point", {"fsapfsmount", "/ev/a.raw", here}, "/ev/a.raw");
    row("both named from one folder, which the daemon left", {"/usr/bin/fsapfsmount", "../a.raw", "mnt 2"}, "/a.raw");
    row("a relative image beside an absolute mount point", {"fsapfsmount", "a.raw", here}, "");
    row("a volume chosen by its number", {"fsapfsmount", "-f", "1", "/ev/a.raw", here}, "/ev/a.raw", 0, 1);
    row("a container's offset, a joined volume number and verbose output",
        {"fsapfsmount", "-o", "20480", "-f3", "-v", "--", "/ev/disk.img", here}, "/ev/disk.img", 20480, 3);
    row("every volume under the daemon's own names", {"fsapfsmount", "-f", "all", "/ev/a.raw", here}, "");
    row("an offset in hexadecimal", {"fsapfsmount", "-o", "0x5000", "/ev/a.raw", here}, "");
    row("a password", {"fsapfsmount", "-p", "secret", "/ev/a.raw", here}, "");
    row("an option after the image", {"fsapfsmount", "/ev/a.raw", here, "-f", "2"}, "");
    row("another mount point's daemon", {"fsapfsmount", "/ev/a.raw", "/cases/other"}, "");
    row("another daemon", {"sshfs", "/ev/a.raw", here}, "");
}

void tst_mount_tracing::apfs_fuse_command_lines()
{
    QFETCH(QByteArray, command_line);
    QFETCH(QByteArray, image);
    QFETCH(qulonglong, offset);
    QFETCH(uint, volume);

    const std::optional<ApfsFuseMount> mount = apfs_fuse_mount(command_line, "/cases/mnt 2");
    QCOMPARE(mount.has_value(), !image.isEmpty());
    if (!mount)
        return;
    QCOMPARE(mount->image, image);
    QCOMPARE(mount->scope.offset, offset);
    QCOMPARE(mount->scope.volume, volume);
}

void tst_mount_tracing::scopes_reach_the_reader_whole_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QByteArray>("folder");

    const ImageScope odd{20480, 4096, 2, QByteArray("Users/a b\n/-f")};
    QTest::newRow("a folder with blanks, newlines and dashes") << image_scope::arguments(odd) << true << odd.folder;
    const auto refused = [](const char *name, const QByteArrayList &arguments) {
        QTest::newRow(name) << arguments << false << QByteArray();
    };
    refused("a folder that climbs", {"0", "0", "0", "/" + QByteArray("a/..").toHex()});
    refused("an absolute folder", {"0", "0", "0", "/" + QByteArray("/a").toHex()});
    refused("half a hexadecimal byte", {"0", "0", "0", "/616"});
    refused("a volume past the last", {"0", "0", "101", "/"});
    refused("an offset past a file's largest", {"9223372036854775808", "0", "0", "/"});
    refused("an argument missing", {"0", "0", "/"});
}

void tst_mount_tracing::scopes_reach_the_reader_whole()
{
    QFETCH(QByteArrayList, arguments);
    QFETCH(bool, accepted);
    QFETCH(QByteArray, folder);

    const std::optional<ImageScope> scope = image_scope::from_arguments(arguments);
    QCOMPARE(scope.has_value(), accepted);
    if (scope) {
        QCOMPARE(scope->folder, folder);
        QCOMPARE(image_scope::arguments(*scope), arguments);
    }
}

void tst_mount_tracing::a_loop_mount_is_traced_to_its_window_data()
{
    QTest::addColumn<qulonglong>("offset"); // where the file system starts in the file
    QTest::addColumn<bool>("size_limit");
    QTest::addColumn<QString>("folder"); // the source folder, below the mount point

    QTest::newRow("the mount point of a device from the first byte") << 0ull << false << "";
    QTest::newRow("a folder below the mount point") << 0ull << false << "cases/a b";
    QTest::newRow("a device with an offset and a size limit") << 1048576ull << true << "cases";
}

void tst_mount_tracing::a_loop_mount_is_traced_to_its_window()
{
    QFETCH(qulonglong, offset);
    QFETCH(bool, size_limit);
    QFETCH(QString, folder);

    // The kernel mounts no Mac volume here; an ext2 one shows the tracing,
    // which looks at the loop device and not at what it holds.
    if (!can_mount_loop_devices() || QStandardPaths::findExecutable("mke2fs").isEmpty())
        QSKIP("this machine does not let the test attach loop devices");
    QTemporaryDir scratch;
    const qulonglong size = 4 << 20;
    QVERIFY(QDir().mkpath(scratch.filePath("tree/cases/a b")));
    const QString file_system = scratch.filePath("fs.img"), disk = scratch.filePath("disk.img");
    QVERIFY(run_quietly("mke2fs", {"-q", "-F", "-t", "ext2", "-d", scratch.filePath("tree"), file_system, "4M"}));
    QFile part(file_system), whole(disk);
    QVERIFY(part.open(QIODevice::ReadOnly) && whole.open(QIODevice::WriteOnly));
    QVERIFY(whole.write(QByteArray(qsizetype(offset), '\0') + part.readAll() + QByteArray(8192, 'x')) > 0);
    whole.close();

    QStringList options = {"-o", QString::number(offset)};
    if (size_limit)
        options << "--sizelimit" << QString::number(size);
    const QString device = attach_loop_device(disk, options);
    if (device.isEmpty())
        QSKIP("this machine does not let the test attach loop devices");
    const auto detach = qScopeGuard([&] { run_quietly("losetup", {"-d", device}); });
    const QString mount_point = scratch.filePath("mnt");
    QVERIFY(QDir().mkpath(mount_point));
    if (!run_quietly("mount", {"-t", "ext2", "-o", "ro", device, mount_point}))
        QSKIP("this machine does not let the test mount a loop device");
    const auto unmount = qScopeGuard([&] { ::umount2(QFile::encodeName(mount_point).constData(), MNT_DETACH); });

    // What the reader is given: it finds no Mac volume in these bytes, and
    // the run then reads the mount as mounted.
    const std::optional<MountedImage> image = image_behind_mount(mount_point + '/' + folder);
    QVERIFY(image);
    QCOMPARE(image->image, QFileInfo(disk).canonicalFilePath());
    QVERIFY(!image->block_device);
    QCOMPARE(image->scope.offset, offset);
    QCOMPARE(image->scope.size, size_limit ? size : 0ull);
    QCOMPARE(image->scope.volume, 0u);
    QCOMPARE(image->scope.folder, QFile::encodeName(folder));
}

void tst_mount_tracing::only_the_mounted_block_device_is_opened_data()
{
    QTest::addColumn<QString>("device"); // "loop": a loop device of this machine
    QTest::addColumn<bool>("number_matches");
    QTest::addColumn<bool>("opened");

    QTest::newRow("the block device the mount reports") << "loop" << true << true;
    QTest::newRow("another block device") << "loop" << false << false;
    QTest::newRow("a character device") << "/dev/null" << true << false;
    QTest::newRow("a regular file") << "file" << true << false;
    QTest::newRow("a link to the block device, as /dev/mapper names them") << "link" << true << true;
}

void tst_mount_tracing::only_the_mounted_block_device_is_opened()
{
    QFETCH(QString, device);
    QFETCH(bool, number_matches);
    QFETCH(bool, opened);

    QTemporaryDir scratch;
    QString path = device;
    if (device == "loop") {
        path = QStringLiteral("/dev/loop0");
        if (!QFileInfo::exists(path))
            QSKIP("this machine has no loop device");
    } else if (device == "file") {
        path = scratch.filePath("file");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
    } else if (device == "link") {
        if (!QFileInfo::exists("/dev/loop0"))
            QSKIP("this machine has no loop device");
        path = scratch.filePath("link");
        QVERIFY(QFile::link("/dev/loop0", path));
    }
    struct stat status = {};
    const bool exists = ::stat(QFile::encodeName(path).constData(), &status) == 0;
    const quint64 number = exists ? quint64(S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode) ? status.st_rdev
                                                                                                : status.st_dev)
                                  : 0;
    const std::vector<UniqueFd> files = open_block_device(path, number_matches ? number : number + 1);
    QCOMPARE(files.size(), opened ? 1u : 0u);
}

QTEST_GUILESS_MAIN(tst_mount_tracing)
#include "tst_mount_tracing.moc"
