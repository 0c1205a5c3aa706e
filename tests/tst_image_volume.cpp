// A volume read from its image by the isolated image reader: the facts,
// entries, attributes and content a mount hides, checked against the
// libraries' own tools and against each other.

#include "evidence/image_volume.h"
#include "volume_images.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString reader = QStringLiteral(VANTREL_IMAGE_READER);

// What an independent reader of the same records (fsapfsinfo, fshfsinfo)
// prints of one file entry, field by field.
QMap<QString, QString> tool_facts(const QString &tool, const QString &image, const QString &path)
{
    QProcess info;
    info.start(tool, {"-F", path, image});
    info.waitForFinished(60000);
    QMap<QString, QString> fields;
    const QRegularExpression field(QStringLiteral("^\\t([A-Za-z ]+?)\\t*: (.*)$"));
    for (const QString &line : QString::fromUtf8(info.readAllStandardOutput()).split('\n')) {
        const QRegularExpressionMatch match = field.match(line);
        if (match.hasMatch())
            fields.insert(match.captured(1), match.captured(2));
    }
    return fields;
}

// An ISO 8601 time with nanoseconds as fsapfsinfo prints it, in seconds since 1970.
double iso_seconds(const QString &text)
{
    const QDateTime whole = QDateTime::fromString(text.left(19) + 'Z', Qt::ISODate);
    return double(whole.toSecsSinceEpoch()) + text.mid(20, 9).toDouble() / 1e9;
}

} // namespace

Q_DECLARE_METATYPE(ImageScope)

class tst_image_volume : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void facts_come_from_the_image_records_data();
    void facts_come_from_the_image_records();
    void a_link_the_host_names_leads_to_the_image();
    void facts_match_the_library_tools_data();
    void facts_match_the_library_tools();
    void folders_list_their_entries_data();
    void folders_list_their_entries();
    void attributes_keep_their_bare_names();
    void hfs_catalog_finder_info_is_an_attribute_data();
    void hfs_catalog_finder_info_is_an_attribute();
    void content_is_the_same_in_both_volume_kinds_data();
    void content_is_the_same_in_both_volume_kinds();
    void content_matches_the_folder_copy_data();
    void content_matches_the_folder_copy();
    void links_resolve_inside_the_volume_data();
    void links_resolve_inside_the_volume();
    void unreachable_paths_give_nothing_data();
    void unreachable_paths_give_nothing();
    void disks_e01_and_partitions_are_recognised_by_content_data();
    void disks_e01_and_partitions_are_recognised_by_content();
    void several_volumes_are_named_by_their_first_component();
    void a_scope_reads_the_part_a_mount_shows_data();
    void a_scope_reads_the_part_a_mount_shows();
    void a_block_device_is_read_as_its_image_data();
    void a_block_device_is_read_as_its_image();
    void damaged_images_cost_values_not_time_data();
    void damaged_images_cost_values_not_time();
    void a_hanging_reader_is_given_up();
    void a_taken_over_reader_is_distrusted();

private:
    QTemporaryDir scratch;
    QString apfs;
    QString hfs;
    QString disk_12;
};

void tst_image_volume::initTestCase()
{
    QVERIFY(scratch.isValid());
    apfs = unpack_volume_image(scratch.path(), "apfs.raw");
    hfs = unpack_volume_image(scratch.path(), "hfsplus.raw");
    disk_12 = unpack_volume_image(scratch.path(), "spotlight-12.img");
    QVERIFY(!apfs.isEmpty() && !hfs.isEmpty() && !disk_12.isEmpty());
    // The evidence is only read: the images stay read-only for the whole test.
    for (const QString &image : {apfs, hfs, disk_12})
        QVERIFY(QFile::setPermissions(image, QFile::ReadOwner | QFile::ReadGroup));
}

void tst_image_volume::facts_come_from_the_image_records_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<double>("birth");
    QTest::addColumn<uint>("owner");
    QTest::addColumn<uint>("group");
    QTest::addColumn<qulonglong>("size");

    // 2022-01-14T07:19:41.201997443Z, to the nanosecond a mount leaves out.
    QTest::newRow("APFS birth time with nanoseconds") << "apfs.raw" << QByteArray("a_directory/a_file")
                                                      << 1642144781.201997443 << 99u << 99u << 53ull;
    QTest::newRow("HFS+ owner and group of the same file") << "hfsplus.raw" << QByteArray("a_directory/a_file")
                                                           << -1.0 << 501u << 20u << 53ull;
    QTest::newRow("file in a GPT partition") << "spotlight-12.img" << QByteArray("LICENSE") << -1.0 << ~0u << ~0u
                                             << 18652ull;
}

void tst_image_volume::facts_come_from_the_image_records()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, path);
    QFETCH(double, birth);
    QFETCH(uint, owner);
    QFETCH(uint, group);
    QFETCH(qulonglong, size);

    const ImageVolume volume(scratch.filePath(image), {}, reader);
    QVERIFY(volume.is_open());
    const std::optional<FileFacts> facts = volume.look_at(path);
    QVERIFY(facts);
    QVERIFY(facts->is_regular_file);
    QCOMPARE(facts->size.value_or(0), size);
    QVERIFY(facts->birth_time && facts->modification_time && facts->added_time);
    if (birth >= 0)
        QCOMPARE(qRound64(*facts->birth_time * 1e6), qRound64(birth * 1e6));
    if (owner != ~0u) {
        QCOMPARE(facts->owner_user_id.value_or(0), owner);
        QCOMPARE(facts->owner_group_id.value_or(0), group);
    }
}

void tst_image_volume::a_link_the_host_names_leads_to_the_image()
{
    QTemporaryDir folder;
    QVERIFY(QFile::link(apfs, folder.filePath("evidence")));
    const ImageVolume volume(folder.filePath("evidence"), {}, reader);
    QVERIFY(volume.is_open());
    QCOMPARE(volume.look_at("a_directory/a_file").value_or(FileFacts()).number, std::optional<std::uint64_t>(17));
}

void tst_image_volume::facts_match_the_library_tools_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("path");

    QTest::newRow("APFS file") << "apfs.raw" << "fsapfsinfo" << "/a_directory/a_file";
    QTest::newRow("APFS folder") << "apfs.raw" << "fsapfsinfo" << "/a_directory";
    QTest::newRow("APFS link") << "apfs.raw" << "fsapfsinfo" << "/a_link";
    QTest::newRow("HFS+ file") << "hfsplus.raw" << "fshfsinfo" << "/passwords.txt";
    QTest::newRow("HFS+ link") << "hfsplus.raw" << "fshfsinfo" << "/a_link";
    QTest::newRow("HFS+ folder") << "hfsplus.raw" << "fshfsinfo" << "/a_directory";
}

void tst_image_volume::facts_match_the_library_tools()
{
    QFETCH(QString, image);
    QFETCH(QString, tool);
    QFETCH(QString, path);

    const QMap<QString, QString> expected = tool_facts(tool, scratch.filePath(image), path);
    QVERIFY2(expected.contains("Identifier"), qPrintable(tool + " printed no entry"));
    const ImageVolume volume(scratch.filePath(image), {}, reader);
    const std::optional<FileFacts> facts = volume.look_at(path.mid(1).toUtf8());
    QVERIFY(facts);
    QCOMPARE(QString::number(facts->number.value_or(0)), expected.value("Identifier"));
    // The tools stop printing at the first value they can't read.
    if (expected.contains("Owner identifier"))
        QCOMPARE(QString::number(facts->owner_user_id.value_or(~0u)), expected.value("Owner identifier"));
    if (expected.contains("Group identifier"))
        QCOMPARE(QString::number(facts->owner_group_id.value_or(~0u)), expected.value("Group identifier"));
    // "-rw-r--r-- (0100644)": the octal mode in brackets.
    if (expected.contains("File mode")) {
        const QString mode = expected.value("File mode").section('(', 1).chopped(1);
        QCOMPARE(QString::number(facts->mode.value_or(0), 8).rightJustified(7, '0'), mode);
    }
    if (expected.contains("Size") && !facts->is_directory)
        QCOMPARE(QString::number(facts->size.value_or(0)), expected.value("Size"));
    if (tool == "fsapfsinfo") {
        QCOMPARE(qRound64(facts->birth_time.value_or(0) * 1e6), qRound64(iso_seconds(expected.value("Creation time")) * 1e6));
        QCOMPARE(qRound64(facts->modification_time.value_or(0) * 1e6),
                 qRound64(iso_seconds(expected.value("Modification time")) * 1e6));
        QCOMPARE(qRound64(facts->added_time.value_or(0) * 1e6), qRound64(iso_seconds(expected.value("Added time")) * 1e6));
    }
}

void tst_image_volume::folders_list_their_entries_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QList<QByteArray>>("some_names");
    QTest::addColumn<int>("count");

    QTest::newRow("APFS root") << "apfs.raw" << QByteArray("") << QList<QByteArray>{"a_directory", "a_link", "passwords.txt", ".fseventsd"} << 4;
    // The folders that hold hard links' data are never listed, as on a Mac.
    QTest::newRow("HFS+ root, its private folders left out")
        << "hfsplus.raw" << QByteArray("") << QList<QByteArray>{"a_directory", "a_link", "passwords.txt", ".fseventsd"} << 4;
    QTest::newRow("HFS+ folder") << "hfsplus.raw" << QByteArray("a_directory")
                                 << QList<QByteArray>{"a_file", "another_file", "a_resourcefork"} << 3;
    QTest::newRow("the index folder in a partition") << "spotlight-12.img" << QByteArray(".Spotlight-V100")
                                                     << QList<QByteArray>{"Store-V2"} << -1;
}

void tst_image_volume::folders_list_their_entries()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, folder);
    QFETCH(QList<QByteArray>, some_names);
    QFETCH(int, count);

    const ImageVolume volume(scratch.filePath(image), {}, reader);
    const std::unique_ptr<EvidenceObject> object = volume.open_directory(folder);
    QVERIFY(object);
    const std::optional<QList<QByteArray>> names = object->entries(1000);
    QVERIFY(names);
    for (const QByteArray &name : some_names)
        QVERIFY2(names->contains(name), name.constData());
    if (count >= 0) {
        QCOMPARE(names->size(), count);
        QCOMPARE(object->entry_count(1000), std::optional<qint64>(count));
        // Over the limit, the count is not told.
        QCOMPARE(object->entry_count(count - 1), std::optional<qint64>());
    }
}

void tst_image_volume::attributes_keep_their_bare_names()
{
    const ImageVolume volume(apfs, {}, reader);
    const std::unique_ptr<EvidenceObject> file = volume.open_regular_file("a_directory/a_file");
    QVERIFY(file);
    QCOMPARE(file->attribute_names(), std::optional<QByteArray>(QByteArray("myxattr", 8)));
    const std::optional<QByteArray> content = file->attribute("myxattr");
    QVERIFY(content && !content->isEmpty());
    QCOMPARE(file->attribute("user.myxattr"), std::optional<QByteArray>());

    // APFS keeps a resource fork as an attribute of its own.
    const std::unique_ptr<EvidenceObject> forked = volume.open("a_directory/a_resourcefork");
    QVERIFY(forked);
    QVERIFY(forked->attribute_names().value_or(QByteArray()).contains("com.apple.ResourceFork"));
    QVERIFY(!forked->attribute("com.apple.ResourceFork").value_or(QByteArray()).isEmpty());

    // The same tree on HFS+: its attributes B-tree and the catalog's
    // resource fork hold the same values.
    const ImageVolume hfs_volume(hfs, {}, reader);
    const std::unique_ptr<EvidenceObject> hfs_file = hfs_volume.open("a_directory/a_file");
    QVERIFY(hfs_file);
    QCOMPARE(hfs_file->attribute_names(), std::optional<QByteArray>(QByteArray("myxattr", 8)));
    QCOMPARE(hfs_file->attribute("myxattr"), content);
    QCOMPARE(hfs_file->attribute("user.myxattr"), std::optional<QByteArray>());
    const std::unique_ptr<EvidenceObject> hfs_forked = hfs_volume.open("a_directory/a_resourcefork");
    QVERIFY(hfs_forked);
    QVERIFY(hfs_forked->attribute_names().value_or(QByteArray()).contains("com.apple.ResourceFork"));
    QCOMPARE(hfs_forked->attribute("com.apple.ResourceFork"), forked->attribute("com.apple.ResourceFork"));
}

void tst_image_volume::hfs_catalog_finder_info_is_an_attribute_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("finder_info"); // hex, "" for none

    // A link's record names its type and creator, as the Finder made it.
    QTest::newRow("link: type slnk, creator rhap")
        << "hfsplus.raw" << QByteArray("a_link") << QByteArray("736c6e6b72686170").leftJustified(64, '0');
    // Invisible (0x4000) and more; the date added the Mac hides reads as zeros.
    QTest::newRow("invisible file in a partition")
        << "spotlight-12.img" << QByteArray(".DS_Store")
        << QByteArray("20202020202020204010").leftJustified(64, '0');
    // Nothing but the hidden date added and counter: no attribute at all.
    QTest::newRow("plain file") << "hfsplus.raw" << QByteArray("a_directory/a_file") << QByteArray();
    QTest::newRow("volume root") << "spotlight-12.img" << QByteArray("") << QByteArray();
}

void tst_image_volume::hfs_catalog_finder_info_is_an_attribute()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, finder_info);

    const ImageVolume volume(scratch.filePath(image), {}, reader);
    const std::unique_ptr<EvidenceObject> object = volume.open(path);
    QVERIFY(object);
    const std::optional<QByteArray> content = object->attribute("com.apple.FinderInfo");
    QCOMPARE(content.value_or(QByteArray()).toHex(), finder_info);
    QCOMPARE(object->attribute_names().value_or(QByteArray()).contains("com.apple.FinderInfo"), !finder_info.isEmpty());
    // The date added it holds on the volume is a fact of its own.
    if (!path.isEmpty() && path != "a_link")
        QVERIFY(object->facts().added_time);
}

void tst_image_volume::content_is_the_same_in_both_volume_kinds_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("53-byte file") << QByteArray("a_directory/a_file");
    QTest::newRow("116-byte file") << QByteArray("passwords.txt");
}

void tst_image_volume::content_is_the_same_in_both_volume_kinds()
{
    QFETCH(QByteArray, path);
    const ImageVolume apfs_volume(apfs, {}, reader);
    const ImageVolume hfs_volume(hfs, {}, reader);
    const std::unique_ptr<EvidenceObject> in_apfs = apfs_volume.open_regular_file(path);
    const std::unique_ptr<EvidenceObject> in_hfs = hfs_volume.open_regular_file(path);
    QVERIFY(in_apfs && in_hfs);
    const QByteArray content = in_apfs->read_at(0, 1 << 20);
    QCOMPARE(qulonglong(content.size()), in_apfs->facts().size.value_or(0));
    QCOMPARE(in_hfs->read_at(0, 1 << 20), content);
    QCOMPARE(in_apfs->read_at(10, 5), content.mid(10, 5));

    // What an importer is handed: the same bytes, sealed.
    const int descriptor = in_apfs->content_descriptor();
    QVERIFY(descriptor >= 0);
    QByteArray handed(content.size() + 1, '\0');
    QCOMPARE(::pread(descriptor, handed.data(), size_t(handed.size()), 0), ssize_t(content.size()));
    QCOMPARE(handed.left(content.size()), content);
    QVERIFY(::pwrite(descriptor, "x", 1, 0) < 0);
}

void tst_image_volume::content_matches_the_folder_copy_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("a document") << QByteArray("LICENSE");
    QTest::newRow("the Finder's folder settings") << QByteArray(".DS_Store");
}

void tst_image_volume::content_matches_the_folder_copy()
{
    QFETCH(QByteArray, path);
    QFile copy(QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/macos-12/") + QString::fromUtf8(path));
    QVERIFY(copy.open(QIODevice::ReadOnly));
    const ImageVolume volume(disk_12, {}, reader);
    const std::optional<QByteArray> content = volume.read_small_file(path, 1 << 20);
    QVERIFY(content);
    QCOMPARE(*content, copy.readAll());
}

void tst_image_volume::links_resolve_inside_the_volume_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("link");
    QTest::addColumn<qulonglong>("size");

    QTest::newRow("the last component is never followed") << "apfs.raw" << QByteArray("a_link") << true << 0ull;
    QTest::newRow("dot-dot never climbs above the root") << "apfs.raw" << QByteArray("../../passwords.txt") << false
                                                          << 116ull;
    QTest::newRow("dot-dot inside a path") << "hfsplus.raw" << QByteArray("a_directory/../passwords.txt") << false
                                           << 116ull;
}

void tst_image_volume::links_resolve_inside_the_volume()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, path);
    QFETCH(bool, link);
    QFETCH(qulonglong, size);

    const ImageVolume volume(scratch.filePath(image), {}, reader);
    const std::optional<FileFacts> facts = volume.look_at(path);
    QVERIFY(facts && facts->mode);
    QCOMPARE(S_ISLNK(*facts->mode), link);
    if (!link)
        QCOMPARE(facts->size.value_or(0), size);
}

void tst_image_volume::unreachable_paths_give_nothing_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("path");

    QTest::newRow("a path the image lacks") << "apfs.raw" << QByteArray("a_directory/missing");
    QTest::newRow("through a link to a file") << "apfs.raw" << QByteArray("a_link/x");
    QTest::newRow("a file that holds no image") << "not-an-image" << QByteArray("");
    QTest::newRow("a missing image file") << "missing.raw" << QByteArray("");
    QTest::newRow("a link to nothing") << "dangling-link" << QByteArray("");
}

void tst_image_volume::unreachable_paths_give_nothing()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, path);

    QFile other(scratch.filePath("not-an-image"));
    QVERIFY(other.open(QIODevice::WriteOnly) && other.write(QByteArray(8192, 'x')) == 8192);
    other.close();
    QFile::link(scratch.filePath("missing.raw"), scratch.filePath("dangling-link"));
    const ImageVolume volume(scratch.filePath(image), {}, reader);
    QCOMPARE(volume.look_at(path).has_value(), false);
    QVERIFY(!volume.open(path));
    QVERIFY(!volume.reader().given_up());
}

void tst_image_volume::disks_e01_and_partitions_are_recognised_by_content_data()
{
    QTest::addColumn<QString>("raw");
    QTest::addColumn<qint64>("segment_bytes");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<qulonglong>("number");

    QTest::newRow("E01 of an APFS container") << "apfs.raw" << qint64(0) << QByteArray("a_directory/a_file") << 17ull;
    QTest::newRow("E01 of an HFS+ volume") << "hfsplus.raw" << qint64(0) << QByteArray("a_directory/a_file") << 19ull;
    // Catalog identifier 18 in the macOS 12 volume.
    QTest::newRow("E01 of a GPT disk in many segments") << "spotlight-12.img" << qint64(4 << 20) << QByteArray("LICENSE")
                                                        << 18ull;
}

void tst_image_volume::disks_e01_and_partitions_are_recognised_by_content()
{
    QFETCH(QString, raw);
    QFETCH(qint64, segment_bytes);
    QFETCH(QByteArray, path);
    QFETCH(qulonglong, number);

    QTemporaryDir folder;
    // Named as nothing in particular: the content tells what it is.
    const QString e01 = make_e01_image(scratch.filePath(raw), folder.filePath("evidence"), segment_bytes);
    QVERIFY(!e01.isEmpty());
    if (segment_bytes > 0)
        QVERIFY(QFile::exists(folder.filePath("evidence.E02")));
    const ImageVolume from_e01(e01, {}, reader);
    const ImageVolume from_raw(scratch.filePath(raw), {}, reader);
    const std::optional<FileFacts> facts = from_e01.look_at(path);
    QVERIFY(facts);
    QCOMPARE(facts->number.value_or(0), number);
    const std::unique_ptr<EvidenceObject> e01_file = from_e01.open_regular_file(path);
    const std::unique_ptr<EvidenceObject> raw_file = from_raw.open_regular_file(path);
    QVERIFY(e01_file && raw_file);
    QCOMPARE(e01_file->read_at(0, 1 << 20), raw_file->read_at(0, 1 << 20));
}

void tst_image_volume::several_volumes_are_named_by_their_first_component()
{
    // The macOS 12 disk (an HFS+ partition, "TestVolume") with the APFS
    // container ("apfs_test") laid after it and listed as a second partition.
    QFile disk_file(disk_12);
    QFile container_file(apfs);
    QVERIFY(disk_file.open(QIODevice::ReadOnly) && container_file.open(QIODevice::ReadOnly));
    QByteArray disk = disk_file.readAll();
    const QByteArray container = container_file.readAll();
    const quint64 first = quint64(disk.size()) / 512;
    const quint64 last = first + quint64(container.size()) / 512 - 1;
    disk.append(container);
    // The entries start at sector 2; each is 128 bytes; the second one's type,
    // then its first and last sector, little-endian.
    const qsizetype entry = 2 * 512 + 128;
    QCOMPARE(disk.mid(entry, 16), QByteArray(16, '\0'));
    disk.replace(entry, 16, QByteArray(16, '\x7c'));
    for (int byte = 0; byte < 8; ++byte) {
        disk[entry + 32 + byte] = char((first >> (8 * byte)) & 0xff);
        disk[entry + 40 + byte] = char((last >> (8 * byte)) & 0xff);
    }
    QTemporaryDir folder;
    QFile combined(folder.filePath("two-volumes.img"));
    QVERIFY(combined.open(QIODevice::WriteOnly) && combined.write(disk) == disk.size());
    combined.close();

    const ImageVolume volume(combined.fileName(), {}, reader);
    const std::unique_ptr<EvidenceObject> root = volume.open_directory("");
    QVERIFY(root);
    QCOMPARE(root->entries(10), std::optional<QList<QByteArray>>({"TestVolume", "apfs_test"}));
    QCOMPARE(volume.look_at("TestVolume/LICENSE").value_or(FileFacts()).number, std::optional<std::uint64_t>(18));
    QCOMPARE(volume.look_at("apfs_test/a_directory/a_file").value_or(FileFacts()).number,
             std::optional<std::uint64_t>(17));
    // Without its volume's name, a path names nothing.
    QVERIFY(!volume.look_at("LICENSE"));
    // ".." stays inside the volume it started in.
    QCOMPARE(volume.look_at("apfs_test/../../TestVolume/LICENSE").has_value(), false);
}

void tst_image_volume::a_scope_reads_the_part_a_mount_shows_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<ImageScope>("scope");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<qulonglong>("file_size"); // 0: nothing there
    const auto row = [](const char *name, const char *image, const ImageScope &scope, const QByteArray &path,
                        qulonglong file_size) { QTest::newRow(name) << image << scope << path << file_size; };

    const ImageScope directory{0, 0, 0, "a_directory"};
    row("a folder below the root starts every path", "apfs.raw", directory, "a_file", 53);
    row("dot-dot stops at the folder", "hfsplus.raw", directory, "../../another_file", 22);
    row("a file beside the folder is out of reach", "apfs.raw", directory, "../passwords.txt", 0);
    row("a folder the image lacks shows nothing", "apfs.raw", {0, 0, 0, "missing"}, "", 0);
    row("a link is never the folder", "apfs.raw", {0, 0, 0, "a_link"}, "", 0);
    // The macOS 12 disk's HFS+ partition starts at sector 40.
    row("a partition at a loop device's offset", "spotlight-12.img", {20480, 0, 0, {}}, "LICENSE", 18652);
    row("a size limit cuts the volume off", "spotlight-12.img", {20480, 8192, 0, {}}, "LICENSE", 0);
    row("a placed window is no disk to search", "spotlight-12.img", {0, 64 << 20, 0, {}}, "LICENSE", 0);
    row("a container's volume by its number", "apfs.raw", {0, 0, 1, {}}, "passwords.txt", 116);
    row("a volume number the container lacks", "apfs.raw", {0, 0, 2, {}}, "passwords.txt", 0);
    row("an HFS+ volume has no volume numbers", "hfsplus.raw", {0, 0, 1, {}}, "passwords.txt", 0);
    row("a container at an offset, a volume and a folder", "padded-apfs.raw", {1 << 20, 0, 1, "a_directory"},
        "another_file", 22);
}

void tst_image_volume::a_scope_reads_the_part_a_mount_shows()
{
    QFETCH(QString, image);
    QFETCH(ImageScope, scope);
    QFETCH(QByteArray, path);
    QFETCH(qulonglong, file_size);

    // The container a megabyte into its file, as a partition would be.
    const QString padded = scratch.filePath("padded-apfs.raw");
    if (!QFile::exists(padded)) {
        QFile container(apfs), out(padded);
        QVERIFY(container.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly));
        QVERIFY(out.write(QByteArray(1 << 20, '\0') + container.readAll()) > (1 << 20));
    }
    const ImageVolume scoped(open_image_files(scratch.filePath(image)), scope, "/mnt", reader);
    const std::optional<FileFacts> facts = scoped.look_at(path);
    QCOMPARE(facts.has_value(), file_size != 0);
    if (file_size != 0)
        QCOMPARE(facts->size.value_or(0), file_size);
    QVERIFY(!scoped.reader().given_up());
}

void tst_image_volume::a_block_device_is_read_as_its_image_data()
{
    QTest::addColumn<QString>("image");
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<qulonglong>("file_size");

    QTest::newRow("an HFS+ volume's device") << "hfsplus.raw" << QByteArray() << QByteArray("a_directory/a_file")
                                             << 53ull;
    QTest::newRow("a folder of an APFS container's device") << "apfs.raw" << QByteArray("a_directory")
                                                            << QByteArray("another_file") << 22ull;
}

void tst_image_volume::a_block_device_is_read_as_its_image()
{
    QFETCH(QString, image);
    QFETCH(QByteArray, folder);
    QFETCH(QByteArray, path);
    QFETCH(qulonglong, file_size);

    // A loop device stands in for the disk a kernel mount would name.
    const QString device = ::geteuid() == 0 ? attach_loop_device(scratch.filePath(image)) : QString();
    if (device.isEmpty())
        QSKIP("this machine does not let the test attach loop devices");
    const auto detach = qScopeGuard([&] { run_quietly("losetup", {"-d", device}); });
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(device).constData(), &status), 0);

    const ImageVolume volume(open_block_device(device, quint64(status.st_rdev)), ImageScope{0, 0, 0, folder}, "/mnt",
                             reader);
    QVERIFY(volume.is_open());
    const std::optional<FileFacts> facts = volume.look_at(path);
    QVERIFY(facts);
    QCOMPARE(facts->size.value_or(0), file_size);
}

void tst_image_volume::damaged_images_cost_values_not_time_data()
{
    QTest::addColumn<QString>("raw");
    QTest::addColumn<qint64>("keep");      // bytes kept of the image, -1 all
    QTest::addColumn<qint64>("overwrite"); // every this many bytes, one block overwritten; 0 none

    QTest::newRow("APFS cut in half") << "apfs.raw" << qint64(2 << 20) << qint64(0);
    QTest::newRow("APFS cut after its superblock") << "apfs.raw" << qint64(4096) << qint64(0);
    QTest::newRow("APFS overwritten in places") << "apfs.raw" << qint64(-1) << qint64(24 * 1024);
    QTest::newRow("HFS+ overwritten in places") << "hfsplus.raw" << qint64(-1) << qint64(16 * 1024);
    QTest::newRow("GPT disk cut inside its partition") << "spotlight-12.img" << qint64(300 * 1024) << qint64(0);
}

void tst_image_volume::damaged_images_cost_values_not_time()
{
    QFETCH(QString, raw);
    QFETCH(qint64, keep);
    QFETCH(qint64, overwrite);

    QFile original(scratch.filePath(raw));
    QVERIFY(original.open(QIODevice::ReadOnly));
    QByteArray bytes = original.readAll();
    if (keep >= 0)
        bytes.truncate(keep);
    // Past the first blocks, so that the image is still recognised.
    for (qint64 at = 8192; overwrite > 0 && at + 512 < bytes.size(); at += overwrite)
        bytes.replace(at, 512, QByteArray(512, char(0xa5)));
    QTemporaryDir folder;
    QFile damaged(folder.filePath("damaged"));
    QVERIFY(damaged.open(QIODevice::WriteOnly) && damaged.write(bytes) == bytes.size());
    damaged.close();

    ImageReaderLimits limits;
    limits.time_per_request = std::chrono::milliseconds(3000);
    const ImageVolume volume(damaged.fileName(), limits, reader);
    QElapsedTimer timer;
    timer.start();
    for (const QByteArray &path : {"", "a_directory", "a_directory/a_file", "a_link", "passwords.txt", "LICENSE",
                                   ".Spotlight-V100/Store-V2", "a_directory/../a_directory/a_resourcefork"}) {
        if (const std::unique_ptr<EvidenceObject> object = volume.open(path)) {
            object->attribute_names();
            object->attribute("myxattr");
            object->read_at(0, 1 << 20);
            object->entries(100);
        }
    }
    // Bounded by the reader's limits, whatever the damage.
    QVERIFY(timer.elapsed() < 8 * 3 * 3000);
}

void tst_image_volume::a_hanging_reader_is_given_up()
{
    // A "reader" that reads its request and never answers.
    QTemporaryDir folder;
    const QString hanging = folder.filePath("hanging-reader");
    QFile script(hanging);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\nexec sleep 60\n");
    script.close();
    QVERIFY(QFile::setPermissions(hanging, QFile::ReadOwner | QFile::ExeOwner));

    ImageReaderLimits limits;
    limits.time_per_request = std::chrono::milliseconds(200);
    limits.failures_before_giving_up = 2;
    const ImageVolume volume(apfs, limits, hanging);
    QElapsedTimer timer;
    timer.start();
    for (int file = 0; file < 20; ++file)
        QVERIFY(!volume.look_at("a_directory/a_file"));
    QCOMPARE(volume.reader().starts(), 2);
    QVERIFY(volume.reader().given_up());
    QVERIFY(timer.elapsed() < 5000);
}

void tst_image_volume::a_taken_over_reader_is_distrusted()
{
    QTemporaryDir folder;
    const auto scripted = [&folder](const QByteArray &mode) {
        QFile image(folder.filePath(QString::fromUtf8(mode)));
        image.open(QIODevice::WriteOnly);
        image.write(mode + '\n');
        image.close();
        return std::make_unique<ImageVolume>(image.fileName(), ImageReaderLimits{},
                                             QStringLiteral(VANTREL_TEST_IMAGE_READER));
    };

    // One byte an answer would take 64 Mi requests: a short answer ends the reading.
    const auto dribbling = scripted("dribble");
    const std::unique_ptr<EvidenceObject> file = dribbling->open_regular_file("file");
    QVERIFY(file);
    QCOMPARE(file->read_at(0, 1 << 22).size(), 1);
    QCOMPARE(file->content_descriptor(), -1);

    // A listing may not name a place outside the folder.
    const auto climbing = scripted("climbing");
    const std::unique_ptr<EvidenceObject> listed = climbing->open_directory("folder");
    QVERIFY(listed);
    QCOMPARE(listed->entries(10), std::optional<QList<QByteArray>>());

    // An answer to another request counts for nothing, and replaces the reader.
    const auto confused = scripted("wrong-answer");
    QVERIFY(!confused->look_at("file"));
    QVERIFY(!confused->look_at("file"));
    QCOMPARE(confused->reader().starts(), 2);
}

QTEST_GUILESS_MAIN(tst_image_volume)
#include "tst_image_volume.moc"
