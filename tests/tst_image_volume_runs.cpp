// Full runs whose source is an image of the volume: the images' own values
// reach the case, the same as from a folder copy of the same volume, and a
// damaged image costs values, never rows or time.

#include "evidence_files.h"
#include "hfs_attribute_records.h"
#include "test_case.h"
#include "text_rows.h"
#include "volume_images.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/mount.h>

namespace {

const QStringList file_keys = {"kMDItemFSName", "kMDItemFSSize", "kMDItemFSCreationDate", "kMDItemFSOwnerUserID",
                               "kMDItemFSOwnerGroupID", "kMDItemDateAdded", "kMDItemContentType"};

QString select_of(const QStringList &keys)
{
    return "select " + keys.join(',') + " from files order by rowid";
}

// The rows of a run over source, which holds stored_paths.
QList<QStringList> rows_over(const QString &source, const QStringList &stored_paths)
{
    TestCase test_case;
    test_case.set_source_root(source);
    QList<QPair<QVariant, QVariant>> files;
    for (const QString &path : stored_paths)
        files.append({int(files.size()) + 1, path});
    test_case.create_file_system_db(files);
    test_case.create_metadata_db(file_keys);
    const QStringList lines = test_case.run("2", QString(), file_keys, file_keys).lines;
    return lines.isEmpty() ? text_rows(test_case.metadata_db(), select_of(file_keys)) : QList<QStringList>{lines};
}

// A mount made by the test, undone when it goes.
struct TestMount
{
    QString mount_point;
    QString loop_device;
    bool mounted = false;

    ~TestMount()
    {
        if (mounted)
            ::umount2(QFile::encodeName(mount_point).constData(), MNT_DETACH);
        if (!loop_device.isEmpty())
            run_quietly("losetup", {"-d", loop_device});
    }
};

// image mounted read-only at mount_point: by fsapfsmount with options, or
// through a loop device attached with losetup options; false when this
// machine does not let the test do so.
bool mount_image(TestMount &mount, const QString &image, const QString &kind, const QStringList &options)
{
    if (kind == "fuse") {
        mount.mounted = run_quietly("fsapfsmount", options + QStringList{image, mount.mount_point});
        return mount.mounted && !QDir(mount.mount_point).isEmpty();
    }
    mount.loop_device = attach_loop_device(image, options);
    mount.mounted = !mount.loop_device.isEmpty()
                    && run_quietly("mount", {"-t", "hfsplus", "-o", "ro", mount.loop_device, mount.mount_point});
    return mount.mounted;
}

} // namespace

class tst_image_volume_runs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void runs_give_the_image_values_data();
    void runs_give_the_image_values();
    void the_index_in_an_image_gives_the_folder_copy_values_data();
    void the_index_in_an_image_gives_the_folder_copy_values();
    void hfs_attributes_reach_the_row_data();
    void hfs_attributes_reach_the_row();
    void every_run_kind_reads_the_image_data();
    void every_run_kind_reads_the_image();
    void damaged_images_keep_every_row_data();
    void damaged_images_keep_every_row();
    void mounts_are_read_through_their_images_data();
    void mounts_are_read_through_their_images();
    void an_image_that_cannot_be_read_leaves_the_mount();

private:
    QTemporaryDir scratch;
};

void tst_image_volume_runs::initTestCase()
{
    QVERIFY(scratch.isValid());
    for (const QString &name : {"apfs.raw", "hfsplus.raw", "spotlight-10.13.img", "spotlight-12.img"})
        QVERIFY(!unpack_volume_image(scratch.path(), name).isEmpty());
}

void tst_image_volume_runs::runs_give_the_image_values_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("owner");
    QTest::addColumn<QString>("group");
    QTest::addColumn<bool>("mounted"); // the source is the folder a FUSE mount shows the image at

    QTest::newRow("APFS container") << "apfs.raw" << "99" << "99" << false;
    QTest::newRow("HFS+ volume") << "hfsplus.raw" << "501" << "20" << false;
    // The mount shows no birth time, date added or owner: the image behind it does.
    QTest::newRow("APFS container behind its FUSE mount") << "apfs.raw" << "99" << "99" << true;
}

void tst_image_volume_runs::runs_give_the_image_values()
{
    QFETCH(QString, image);
    QFETCH(QString, owner);
    QFETCH(QString, group);
    QFETCH(bool, mounted);

    TestCase test_case;
    test_case.set_source_root(scratch.filePath(image));
    QTemporaryDir mount_point;
    const auto unmount = qScopeGuard([&] {
        if (mounted)
            ::umount2(QFile::encodeName(mount_point.path()).constData(), MNT_DETACH);
    });
    if (mounted) {
        if (QProcess::execute("fsapfsmount", {scratch.filePath(image), mount_point.path()}) != 0
            || !QFile::exists(mount_point.filePath("passwords.txt")))
            QSKIP("this machine does not let the test mount an image with FUSE");
        test_case.set_source_root(mount_point.path());
    }
    test_case.create_file_system_db({{1, "/a_directory/a_file"}, {2, "/a_directory/missing"}, {3, "/passwords.txt"}});
    test_case.create_metadata_db(file_keys);
    QCOMPARE(test_case.run("2", QString(), file_keys, file_keys).lines, QStringList());

    const QList<QStringList> rows = text_rows(test_case.metadata_db(), select_of(file_keys));
    QCOMPARE(rows.size(), 3);
    QCOMPARE(rows[0].mid(0, 2), (QStringList{"a_file", "53"}));
    // 2022-01-14, the day the image's files were made, which a mount does not show.
    QVERIFY2(rows[0][2].startsWith("16421447"), qPrintable(rows[0][2]));
    QCOMPARE(rows[0].mid(3, 2), (QStringList{owner, group}));
    QVERIFY2(rows[0][5].startsWith("16421447"), qPrintable(rows[0][5]));
    // A path the image lacks has no item: empty texts.
    QCOMPARE(rows[1], QStringList(file_keys.size(), QString()));
    QCOMPARE(rows[2].mid(0, 2), (QStringList{"passwords.txt", "116"}));
}

void tst_image_volume_runs::the_index_in_an_image_gives_the_folder_copy_values_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("folder");

    QTest::newRow("GPT disk indexed by macOS 10.13") << "spotlight-10.13.img" << "macos-10.13";
    QTest::newRow("GPT disk indexed by macOS 12") << "spotlight-12.img" << "macos-12";
}

void tst_image_volume_runs::the_index_in_an_image_gives_the_folder_copy_values()
{
    QFETCH(QString, image);
    QFETCH(QString, folder);

    const QStringList keys = {"kMDItemContentType", "kMDItemKind", "kMDItemDateAdded", "kMDItemFSName",
                              "kMDItemFSSize", "kMDItemContentTypeTree", "kMDItemContentCreationDate"};
    const auto run_over = [&keys](const QString &source) {
        TestCase test_case;
        test_case.set_source_root(source);
        test_case.create_file_system_db({{1, "/LICENSE"}, {2, "/not-in-volume.txt"}});
        test_case.create_metadata_db(keys);
        const QStringList lines = test_case.run("2", QString(), keys, keys).lines;
        return lines.isEmpty() ? text_rows(test_case.metadata_db(), select_of(keys)) : QList<QStringList>{lines};
    };
    const QList<QStringList> from_folder = run_over(QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/") + folder);
    QCOMPARE(from_folder.size(), 2);
    QCOMPARE(from_folder[0][3], QString("LICENSE"));
    QCOMPARE(run_over(scratch.filePath(image)), from_folder);
}

void tst_image_volume_runs::hfs_attributes_reach_the_row_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("attribute");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("in_fork"); // in a fork of its own rather than inline
    QTest::addColumn<QString>("text");

    // A binary property list: an array (one reference) holding one ASCII
    // string of 29 characters; offsets of one byte; the trailer.
    const QByteArray url = "https://example.org/setup.pkg";
    const QByteArray where_froms = QByteArray("bplist00") + QByteArray::fromHex("a1015f101d") + url
                                   + QByteArray::fromHex("080a") + QByteArray(6, '\0') + QByteArray::fromHex("0101")
                                   + big_endian(0, 4) + big_endian(2, 4) + QByteArray(8, '\0') + big_endian(0, 4)
                                   + big_endian(quint32(10 + 3 + url.size()), 4);
    const QByteArray where_from = "com.apple.metadata:kMDItemWhereFroms";
    QTest::newRow("where-froms kept inline") << "kMDItemWhereFroms" << where_from << where_froms << false << QString(url);
    QTest::newRow("where-froms in a fork of their own") << "kMDItemWhereFroms" << where_from << where_froms << true
                                                        << QString(url);
    // 2023-11-14T22:13:20Z: seconds, then nanoseconds, little-endian.
    QTest::newRow("last used date") << "kMDItemLastUsedDate" << QByteArray("com.apple.lastuseddate#PS")
                                    << QByteArray::fromHex("00f1536500000000""0000000000000000") << false
                                    << "1700000000";
}

void tst_image_volume_runs::hfs_attributes_reach_the_row()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, attribute);
    QFETCH(QByteArray, content);
    QFETCH(bool, in_fork);
    QFETCH(QString, text);

    // /a_directory/a_file (catalog node 19) given the attribute, on a copy
    // of the volume; a fork's content goes in a free block far from the
    // volume's special files.
    QFile original(scratch.filePath("hfsplus.raw"));
    QVERIFY(original.open(QIODevice::ReadOnly));
    QByteArray volume = original.readAll();
    constexpr quint32 spare_block = 1000;
    QByteArray data = inline_data(content);
    if (in_fork) {
        volume.replace(qsizetype(spare_block) * 4096, content.size(), content);
        data = fork_data(quint64(content.size()), spare_block, 1);
    }
    QTemporaryDir folder;
    QVERIFY(write_file(folder.filePath("image"), with_attribute_leaf(volume, {attribute_record(19, attribute, data)})));

    TestCase test_case;
    test_case.set_source_root(folder.filePath("image"));
    test_case.create_file_system_db({{1, "/a_directory/a_file"}});
    test_case.create_metadata_db({key});
    QCOMPARE(test_case.run("2", QString(), {key}, {key}).lines, QStringList());
    const QList<QStringList> rows = text_rows(test_case.metadata_db(), select_of({key}));
    QCOMPARE(rows.size(), 1);
    QVERIFY2(rows[0][0].contains(text), qPrintable(rows[0][0]));
}

void tst_image_volume_runs::every_run_kind_reads_the_image_data()
{
    QTest::addColumn<QString>("flag");
    QTest::newRow("timestamps run") << "1";
    QTest::newRow("right-click run") << "3";
    QTest::newRow("left-click run") << "4";
}

void tst_image_volume_runs::every_run_kind_reads_the_image()
{
    QFETCH(QString, flag);
    TestCase test_case;
    test_case.set_source_root(scratch.filePath("apfs.raw"));
    test_case.create_file_system_db({{1, "/a_directory/a_file"}, {2, "/passwords.txt"}});
    test_case.create_metadata_db(file_keys);
    test_case.create_timestamps_db();
    const QString essential = test_case.case_dir() + "essential.sqlite";
    TestCase::create_essential_db(essential, {{1, "/a_directory/a_file", "SRC1"}});
    const QString file_paths = flag == "3" ? essential : flag == "4" ? QStringLiteral("/a_directory/a_file") : QString();
    QCOMPARE(test_case.run(flag, file_paths, file_keys, file_keys).lines, QStringList());

    // The image's own birth time and date added, which no mount shows, reach the row.
    const QList<QStringList> rows = flag == "1"
        ? text_rows(test_case.timestamps_db(), "select content_creation_date, date_added from files order by rowid")
        : text_rows(test_case.metadata_db(), "select kMDItemFSCreationDate, kMDItemDateAdded from files order by rowid");
    QCOMPARE(rows.size(), flag == "1" ? 2 : 1);
    QVERIFY2(rows[0][0].startsWith("16421447") && rows[0][1].startsWith("16421447"), qPrintable(rows[0].join(' ')));
}

void tst_image_volume_runs::damaged_images_keep_every_row_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<qint64>("keep");

    QTest::newRow("APFS cut after its first blocks") << "apfs.raw" << qint64(64 * 1024);
    QTest::newRow("GPT disk cut before its volume") << "spotlight-12.img" << qint64(16 * 1024);
    QTest::newRow("empty image file") << "apfs.raw" << qint64(0);
}

void tst_image_volume_runs::damaged_images_keep_every_row()
{
    QFETCH(QString, image);
    QFETCH(qint64, keep);

    QFile original(scratch.filePath(image));
    QVERIFY(original.open(QIODevice::ReadOnly));
    QTemporaryDir folder;
    QVERIFY(write_file(folder.filePath("image"), original.read(keep)));

    TestCase test_case;
    test_case.set_source_root(folder.filePath("image"));
    test_case.create_file_system_db({{1, "/a_directory/a_file"}, {2, "/LICENSE"}, {3, "/"}});
    test_case.create_metadata_db(file_keys);
    const TestCase::Result result = test_case.run("2", QString(), file_keys, file_keys);
    QCOMPARE(result.exit_code, 0);
    QCOMPARE(text_rows(test_case.metadata_db(), select_of(file_keys)),
             QList<QStringList>(3, QStringList(file_keys.size(), QString())));
}

void tst_image_volume_runs::mounts_are_read_through_their_images_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("kind"); // "fuse" (fsapfsmount) or "loop" (a kernel mount of a loop device)
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("folder"); // the source folder below the mount point
    QTest::addColumn<QString>("same_as"); // the image whose own run gives the same rows
    QTest::addColumn<QStringList>("paths");

    const QStringList apfs_paths = {"/a_directory/a_file", "/passwords.txt", "/missing"};
    QTest::newRow("a folder below an APFS FUSE mount") << "apfs.raw" << "fuse" << QStringList() << "a_directory"
                                                       << "apfs.raw" << QStringList{"/a_file", "/another_file"};
    QTest::newRow("an APFS FUSE mount of volume 1") << "apfs.raw" << "fuse" << QStringList{"-f", "1"} << ""
                                                    << "apfs.raw" << apfs_paths;
    QTest::newRow("an APFS FUSE mount of a container at an offset")
        << "padded-apfs.raw" << "fuse" << QStringList{"-o", "1048576", "-f", "1"} << "" << "apfs.raw" << apfs_paths;
    QTest::newRow("a folder below a loop mount of an HFS+ volume")
        << "hfsplus.raw" << "loop" << QStringList() << "a_directory" << "hfsplus.raw"
        << QStringList{"/a_file", "/another_file"};
    QTest::newRow("a loop device at a GPT disk's partition")
        << "spotlight-12.img" << "loop" << QStringList{"-o", "20480"} << "" << "spotlight-12.img"
        << QStringList{"/LICENSE", "/missing"};
}

void tst_image_volume_runs::mounts_are_read_through_their_images()
{
    QFETCH(QString, image);
    QFETCH(QString, kind);
    QFETCH(QStringList, options);
    QFETCH(QString, folder);
    QFETCH(QString, same_as);
    QFETCH(QStringList, paths);

    const QString padded = scratch.filePath("padded-apfs.raw");
    if (!QFile::exists(padded)) {
        QFile container(scratch.filePath("apfs.raw"));
        QVERIFY(container.open(QIODevice::ReadOnly));
        QVERIFY(write_file(padded, QByteArray(1 << 20, '\0') + container.readAll()));
    }
    QTemporaryDir mount_point;
    TestMount mount{mount_point.path()};
    if (!mount_image(mount, scratch.filePath(image), kind, options))
        QSKIP("this machine does not let the test mount the image this way");
    const QString source = folder.isEmpty() ? mount_point.path() : mount_point.filePath(folder);

    // The image's own values reach the rows, as from the image named itself.
    QStringList image_paths;
    for (const QString &path : paths)
        image_paths.append(folder.isEmpty() ? path : '/' + folder + path);
    const QList<QStringList> from_image = rows_over(scratch.filePath(same_as), image_paths);
    QCOMPARE(from_image.size(), paths.size());
    QVERIFY2(!from_image[0][2].isEmpty() && !from_image[0][5].isEmpty(), qPrintable(from_image[0].join('|')));
    QCOMPARE(rows_over(source, paths), from_image);
}

void tst_image_volume_runs::an_image_that_cannot_be_read_leaves_the_mount()
{
    // The image file renamed over by another after it was mounted: the
    // daemon reads the one it opened, the worker finds no volume in the
    // file now named, and reads the mount as it is.
    QTemporaryDir folder;
    const QString image = folder.filePath("evidence.raw");
    QVERIFY(QFile::copy(scratch.filePath("apfs.raw"), image));
    QTemporaryDir mount_point;
    TestMount mount{mount_point.path()};
    if (!mount_image(mount, image, "fuse", {}))
        QSKIP("this machine does not let the test mount an image with FUSE");
    QVERIFY(write_file(folder.filePath("other"), QByteArray(1 << 20, 'x')));
    QVERIFY(::rename(QFile::encodeName(folder.filePath("other")).constData(), QFile::encodeName(image).constData())
            == 0);

    const QList<QStringList> rows = rows_over(mount_point.filePath("a_directory"), {"/a_file"});
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].mid(0, 2), (QStringList{"a_file", "53"}));
    // The owner the mount shows, not the image's 99.
    const QString mounted_owner = QString::number(QFileInfo(mount_point.filePath("a_directory/a_file")).ownerId());
    QCOMPARE(rows[0][3], mounted_owner);
    QVERIFY(mounted_owner != "99");
}

QTEST_GUILESS_MAIN(tst_image_volume_runs)
#include "tst_image_volume_runs.moc"
