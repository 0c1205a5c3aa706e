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
           "41 22 0:36 / /cases/fuse rw,nosuid - fuse.fsapfsmount fsapfsmount rw,user_id=0\n"
           "42 22 7:1 /Users /cases/bind ro - hfsplus /dev/loop1 rw\n"
           "43 22 0:40 / /cases/outer rw - tmpfs tmpfs rw\n"
           "44 43 0:41 / /cases/outer/inner rw - tmpfs tmpfs rw\n"
           "45 22 0:42 / /cases/twice rw - tmpfs first rw\n"
           "46 45 0:43 / /cases/twice rw - tmpfs second rw\n"
           "47 22 0:44 / /cases/a\\012b rw - tmpfs newline rw\n"
           "48 22 7:2 / /cases/short rw -\n"
           "49 22 7:3 / /cases/nodash rw ext4 /dev/loop3 rw\n"
           "50 22 7:4 / cases/relative rw - ext4 /dev/loop4 rw\n"
           "51 22 7:5 / /cases/nodevice rw - ext4 /dev/loop5 rw\n"
           "51 22 7 / /cases/baddevice rw - ext4 /dev/loop5 rw\n"
           "52 22 7:6 / /cases/" + QByteArray(70000, 'x') + " rw - ext4 /dev/loop6 rw\n"
           "\n\n - - - -\n\\\\\\ \\0 \\777\n";
}

// Runs program, its output left unseen; whether it succeeded.
bool quietly(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    return process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool can_mount_loop_devices()
{
    return ::geteuid() == 0 && QFile::exists("/dev/loop-control") && quietly("losetup", {"-V"});
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
    QTest::addColumn<QByteArray>("mount_point"); // empty: none holds it
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("below");
    QTest::addColumn<bool>("read_only");

    QTest::newRow("the mount point itself, its blank escaped") << QByteArray("/cases/mnt 2") << QByteArray("/cases/mnt 2")
                                                               << QByteArray("/dev/loop0") << QByteArray("") << true;
    QTest::newRow("a folder below a mount point")
        << QByteArray("/cases/mnt 2/Users/x") << QByteArray("/cases/mnt 2") << QByteArray("/dev/loop0")
        << QByteArray("Users/x") << true;
    QTest::newRow("a name that only starts like a mount point is below the root")
        << QByteArray("/cases/mnt 23") << QByteArray("/") << QByteArray("/dev/sda1") << QByteArray("cases/mnt 23")
        << false;
    QTest::newRow("dot-dot is taken out before matching")
        << QByteArray("/cases/fuse/../mnt 2/./a") << QByteArray("/cases/mnt 2") << QByteArray("/dev/loop0")
        << QByteArray("a") << true;
    QTest::newRow("the deepest mount point holds it") << QByteArray("/cases/outer/inner/x")
                                                      << QByteArray("/cases/outer/inner") << QByteArray("tmpfs")
                                                      << QByteArray("x") << false;
    QTest::newRow("a folder with a mount beneath it is read as mounted")
        << QByteArray("/cases/outer") << QByteArray() << QByteArray() << QByteArray() << false;
    QTest::newRow("the later of two mounts at one place") << QByteArray("/cases/twice") << QByteArray("/cases/twice")
                                                           << QByteArray("second") << QByteArray("") << false;
    QTest::newRow("an escaped newline in a mount point") << QByteArray("/cases/a\nb/c") << QByteArray("/cases/a\nb")
                                                          << QByteArray("newline") << QByteArray("c") << false;
    QTest::newRow("the file system's read-only option counts too")
        << QByteArray("/cases/bind") << QByteArray("/cases/bind") << QByteArray("/dev/loop1") << QByteArray("") << true;
    // Each of these lines is passed over: the root mount holds the folder.
    for (const char *garbled : {"short", "nodash", "baddevice", "relative"}) {
        QTest::newRow(qPrintable(QStringLiteral("a line that does not parse (%1) is passed over").arg(garbled)))
            << "/cases/" + QByteArray(garbled) << QByteArray("/") << QByteArray("/dev/sda1")
            << "cases/" + QByteArray(garbled) << false;
    }
    QTest::newRow("an overlong line is passed over")
        << "/cases/" + QByteArray(70000, 'x') << QByteArray("/") << QByteArray("/dev/sda1")
        << "cases/" + QByteArray(70000, 'x') << false;
    QTest::newRow("a relative folder is held by nothing") << QByteArray("cases/mnt 2") << QByteArray() << QByteArray()
                                                          << QByteArray() << false;
}

void tst_mount_tracing::the_mount_holding_a_folder()
{
    QFETCH(QByteArray, folder);
    QFETCH(QByteArray, mount_point);
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, below);
    QFETCH(bool, read_only);

    const std::optional<MountEntry> mount = mount_holding(folder, mount_table());
    QCOMPARE(mount.has_value(), !mount_point.isEmpty());
    if (!mount)
        return;
    QCOMPARE(mount->mount_point, mount_point);
    QCOMPARE(mount->source, source);
    QCOMPARE(folder_below(folder, mount->mount_point), std::optional<QByteArray>(below));
    QCOMPARE(is_read_only(mount->options), read_only);
    // Only a whole file system's mount is traced; a bind mount of a folder of it is not.
    QCOMPARE(mount->root, QByteArray(mount_point == "/cases/bind" ? "/Users" : "/"));
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

    const QByteArray disk = "/ev/disk.img\n";
    QTest::newRow("a whole device from the file's first byte")
        << QByteArray("/dev/loop0") << disk << QByteArray("0\n") << QByteArray("0\n") << QByteArray() << QByteArray()
        << QByteArray("/ev/disk.img") << 0ull << 0ull;
    QTest::newRow("an offset and a size limit") << QByteArray("/dev/loop12") << disk << QByteArray("20480\n")
                                                << QByteArray("4194304\n") << QByteArray() << QByteArray()
                                                << QByteArray("/ev/disk.img") << 20480ull << 4194304ull;
    QTest::newRow("a scanned partition") << QByteArray("/dev/loop0p1") << disk << QByteArray("0\n") << QByteArray("0\n")
                                         << QByteArray("40\n") << QByteArray("130992\n") << QByteArray("/ev/disk.img")
                                         << 20480ull << 130992ull * 512;
    QTest::newRow("a scanned partition of a device with an offset")
        << QByteArray("/dev/loop3p2") << disk << QByteArray("1048576\n") << QByteArray("0\n") << QByteArray("40\n")
        << QByteArray("8\n") << QByteArray("/ev/disk.img") << 1048576ull + 20480 << 4096ull;
    QTest::newRow("a partition past the size limit") << QByteArray("/dev/loop0p1") << disk << QByteArray("0\n")
                                                     << QByteArray("8192\n") << QByteArray("40\n") << QByteArray("8\n")
                                                     << QByteArray() << 0ull << 0ull;
    QTest::newRow("a name ending in a blank keeps it") << QByteArray("/dev/loop0") << QByteArray("/ev/a.raw \n")
                                                       << QByteArray("0\n") << QByteArray("0\n") << QByteArray()
                                                       << QByteArray() << QByteArray("/ev/a.raw ") << 0ull << 0ull;
    QTest::newRow("a backing file deleted since") << QByteArray("/dev/loop0") << QByteArray("/ev/a.raw (deleted)\n")
                                                  << QByteArray("0\n") << QByteArray("0\n") << QByteArray()
                                                  << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("a relative backing file") << QByteArray("/dev/loop0") << QByteArray("a.raw\n") << QByteArray("0\n")
                                             << QByteArray("0\n") << QByteArray() << QByteArray() << QByteArray()
                                             << 0ull << 0ull;
    QTest::newRow("a backing file cut short of its newline")
        << QByteArray("/dev/loop0") << QByteArray("/ev/a.r") << QByteArray("0\n") << QByteArray("0\n") << QByteArray()
        << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("a negative offset") << QByteArray("/dev/loop0") << disk << QByteArray("-1\n") << QByteArray("0\n")
                                       << QByteArray() << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("an offset beyond any file") << QByteArray("/dev/loop0") << disk
                                               << QByteArray("99999999999999999999\n") << QByteArray("0\n")
                                               << QByteArray() << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("an offset and size beyond a file's end together")
        << QByteArray("/dev/loop0") << disk << QByteArray("9223372036854775807\n") << QByteArray("2\n") << QByteArray()
        << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("letters in a size limit") << QByteArray("/dev/loop0") << disk << QByteArray("0\n")
                                             << QByteArray("12k\n") << QByteArray() << QByteArray() << QByteArray()
                                             << 0ull << 0ull;
    QTest::newRow("an empty value") << QByteArray("/dev/loop0") << disk << QByteArray("") << QByteArray("0\n")
                                    << QByteArray() << QByteArray() << QByteArray() << 0ull << 0ull;
    QTest::newRow("an empty partition") << QByteArray("/dev/loop0p1") << disk << QByteArray("0\n") << QByteArray("0\n")
                                        << QByteArray("40\n") << QByteArray("0\n") << QByteArray() << 0ull << 0ull;
    QTest::newRow("the loop control device") << QByteArray("/dev/loop-control") << disk << QByteArray("0\n")
                                             << QByteArray("0\n") << QByteArray() << QByteArray() << QByteArray()
                                             << 0ull << 0ull;
    QTest::newRow("a name that only starts like a loop device")
        << QByteArray("/dev/loop1x") << disk << QByteArray("0\n") << QByteArray("0\n") << QByteArray() << QByteArray()
        << QByteArray() << 0ull << 0ull;
    QTest::newRow("a disk") << QByteArray("/dev/sdb2") << disk << QByteArray("0\n") << QByteArray("0\n")
                            << QByteArray() << QByteArray() << QByteArray() << 0ull << 0ull;
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

    const auto line = [](std::initializer_list<const char *> arguments) {
        QByteArray text;
        for (const char *argument : arguments)
            text += QByteArray(argument) + '\0';
        return text;
    };
    const char *here = "/cases/mnt 2";
    QTest::newRow("absolute image and mount point") << line({"fsapfsmount", "/ev/a.raw", here})
                                                    << QByteArray("/ev/a.raw") << 0ull << 0u;
    QTest::newRow("both named from one folder, which the daemon left")
        << line({"/usr/bin/fsapfsmount", "../a.raw", "mnt 2"}) << QByteArray("/a.raw") << 0ull << 0u;
    QTest::newRow("a relative image beside an absolute mount point cannot be placed")
        << line({"fsapfsmount", "a.raw", here}) << QByteArray() << 0ull << 0u;
    QTest::newRow("a volume chosen by its number") << line({"fsapfsmount", "-f", "1", "/ev/a.raw", here})
                                                   << QByteArray("/ev/a.raw") << 0ull << 1u;
    QTest::newRow("a volume number joined to its option") << line({"fsapfsmount", "-f2", "/ev/a.raw", here})
                                                          << QByteArray("/ev/a.raw") << 0ull << 2u;
    QTest::newRow("a container's offset, a volume and verbose output")
        << line({"fsapfsmount", "-o", "20480", "-f", "3", "-v", "--", "/ev/disk.img", here})
        << QByteArray("/ev/disk.img") << 20480ull << 3u;
    QTest::newRow("every volume under the daemon's own names") << line({"fsapfsmount", "-f", "all", "/ev/a.raw", here})
                                                               << QByteArray() << 0ull << 0u;
    QTest::newRow("volume zero") << line({"fsapfsmount", "-f", "0", "/ev/a.raw", here}) << QByteArray() << 0ull << 0u;
    QTest::newRow("a volume past a container's last") << line({"fsapfsmount", "-f", "101", "/ev/a.raw", here})
                                                       << QByteArray() << 0ull << 0u;
    QTest::newRow("a volume chosen twice") << line({"fsapfsmount", "-f", "1", "-f", "2", "/ev/a.raw", here})
                                           << QByteArray() << 0ull << 0u;
    QTest::newRow("an offset in hexadecimal") << line({"fsapfsmount", "-o", "0x5000", "/ev/a.raw", here})
                                              << QByteArray() << 0ull << 0u;
    QTest::newRow("a password") << line({"fsapfsmount", "-p", "secret", "/ev/a.raw", here}) << QByteArray() << 0ull
                                << 0u;
    QTest::newRow("a recovery password") << line({"fsapfsmount", "-r", "secret", "/ev/a.raw", here}) << QByteArray()
                                         << 0ull << 0u;
    QTest::newRow("options for the FUSE layer") << line({"fsapfsmount", "-X", "allow_other", "/ev/a.raw", here})
                                                << QByteArray() << 0ull << 0u;
    QTest::newRow("an option after the image") << line({"fsapfsmount", "/ev/a.raw", here, "-f", "2"}) << QByteArray()
                                               << 0ull << 0u;
    QTest::newRow("an option without its value") << line({"fsapfsmount", "/ev/a.raw", here, "-f"}) << QByteArray()
                                                 << 0ull << 0u;
    QTest::newRow("another mount point's daemon") << line({"fsapfsmount", "/ev/a.raw", "/cases/other"}) << QByteArray()
                                                  << 0ull << 0u;
    QTest::newRow("another daemon") << line({"sshfs", "/ev/a.raw", here}) << QByteArray() << 0ull << 0u;
    QTest::newRow("a command line of zero bytes") << QByteArray(40, '\0') << QByteArray() << 0ull << 0u;
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
    QTest::newRow("the whole volume") << QByteArrayList{"0", "0", "0", "/"} << true << QByteArray();
    QTest::newRow("a folder that climbs") << QByteArrayList{"0", "0", "0", "/" + QByteArray("a/..").toHex()} << false
                                          << QByteArray();
    QTest::newRow("an absolute folder") << QByteArrayList{"0", "0", "0", "/" + QByteArray("/a").toHex()} << false
                                        << QByteArray();
    QTest::newRow("an empty component") << QByteArrayList{"0", "0", "0", "/" + QByteArray("a//b").toHex()} << false
                                        << QByteArray();
    QTest::newRow("a zero byte") << QByteArrayList{"0", "0", "0", "/" + QByteArray("a\0b", 3).toHex()} << false
                                 << QByteArray();
    QTest::newRow("half a hexadecimal byte") << QByteArrayList{"0", "0", "0", "/616"} << false << QByteArray();
    QTest::newRow("a volume past the last") << QByteArrayList{"0", "0", "101", "/"} << false << QByteArray();
    QTest::newRow("an offset past a file's largest") << QByteArrayList{"9223372036854775808", "0", "0", "/"} << false
                                                     << QByteArray();
    QTest::newRow("a signed size") << QByteArrayList{"0", "+1", "0", "/"} << false << QByteArray();
    QTest::newRow("an argument missing") << QByteArrayList{"0", "0", "/"} << false << QByteArray();
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
    QVERIFY(quietly("mke2fs", {"-q", "-F", "-t", "ext2", "-d", scratch.filePath("tree"), file_system, "4M"}));
    QFile part(file_system), whole(disk);
    QVERIFY(part.open(QIODevice::ReadOnly) && whole.open(QIODevice::WriteOnly));
    QVERIFY(whole.write(QByteArray(qsizetype(offset), '\0') + part.readAll() + QByteArray(8192, 'x')) > 0);
    whole.close();

    QProcess attach;
    QStringList arguments = {"-r", "-f", "--show", "-o", QString::number(offset)};
    if (size_limit)
        arguments << "--sizelimit" << QString::number(size);
    attach.start("losetup", arguments << disk);
    attach.waitForFinished(30000);
    const QString device = QString::fromUtf8(attach.readAllStandardOutput()).trimmed();
    if (attach.exitCode() != 0 || !device.startsWith("/dev/loop"))
        QSKIP("this machine does not let the test attach loop devices");
    const auto detach = qScopeGuard([&] { quietly("losetup", {"-d", device}); });
    const QString mount_point = scratch.filePath("mnt");
    QVERIFY(QDir().mkpath(mount_point));
    if (!quietly("mount", {"-t", "ext2", "-o", "ro", device, mount_point}))
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
    QTest::newRow("a pipe, which would block a reader") << "fifo" << true << false;
    QTest::newRow("a regular file") << "file" << true << false;
    QTest::newRow("a link to the block device, as /dev/mapper names them") << "link" << true << true;
    QTest::newRow("a device that is not there") << "/dev/no-such-device" << true << false;
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
    } else if (device == "fifo") {
        path = scratch.filePath("fifo");
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
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
