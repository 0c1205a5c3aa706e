// What a file is, for files the volume's index does not describe: type,
// kind and conformance from names and file kinds, bundles, the Finder's
// information, file-system facts, hostile bundles and the index's own
// kind texts.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "metadata_store.h"
#include "metadata_value_text.h"
#include "property_list_bytes.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "type_identity/content_type.h"
#include "type_identity/index_kind_names.h"
#include "type_identity/type_identity.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/");

QByteArray info_plist(std::initializer_list<std::pair<const char *, const char *>> entries, bool binary = true)
{
    property_list_bytes::Plist root(plist_new_dict());
    for (const auto &[key, value] : entries)
        plist_dict_set_item(root.get(), key, plist_new_string(value));
    return binary ? property_list_bytes::binary(root) : property_list_bytes::xml(root);
}

// Finder information: type, creator and flags big-endian at the front,
// the date added in the extended half.
QByteArray finder_info(const char *type, const char *creator, quint16 finder_flags, quint32 date_added = 0)
{
    QByteArray bytes(32, '\0');
    std::memcpy(bytes.data(), type, 4);
    std::memcpy(bytes.data() + 4, creator, 4);
    qToBigEndian(finder_flags, bytes.data() + 8);
    qToBigEndian(date_added, bytes.data() + 20);
    return bytes;
}

// A Mach-O header: "thin:CPU" a 64-bit file's own little-endian header,
// "ppc" a big-endian 32-bit one, "universal:CPU/SUB,CPU/SUB" a universal
// file's list of slices (20 bytes each, big-endian).
QByteArray mach_o(const QString &how)
{
    const bool thin = how.startsWith("thin:");
    const QStringList slices = how.startsWith("universal:") ? how.mid(10).split(',') : QStringList();
    QList<quint32> words = thin ? QList<quint32>{0xfeedfacf, how.mid(5).toUInt(nullptr, 0)}
                         : how == "ppc" ? QList<quint32>{0xfeedface, 18} : QList<quint32>{0xcafebabe, quint32(slices.size())};
    for (const QString &slice : slices)
        words << slice.section('/', 0, 0).toUInt(nullptr, 0) << slice.section('/', 1).toUInt(nullptr, 0) << 4096 << 4096 << 12;
    QByteArray bytes;
    for (const quint32 word : words) {
        char out[4];
        thin ? qToLittleEndian(word, out) : qToBigEndian(word, out);
        bytes.append(out, 4);
    }
    return bytes + QByteArray(64, '\0');
}

QByteArray flags(quint16 flags, quint32 date_added = 0) { return finder_info("\0\0\0\0", "\0\0\0\0", flags, date_added); }

// The texts of keys given separated by commas as the host stores them,
// separated likewise; "<null>" for a missing value.
QString stored_texts(MetadataItem &item, const QString &keys)
{
    QStringList texts;
    for (const QString &key : keys.split(',')) {
        const QString text = metadata_value_text(item.copy_attribute(key));
        texts.append(text.isNull() ? QStringLiteral("<null>") : text);
    }
    return texts.join(',');
}

} // namespace

class tst_type_identity : public QObject
{
    Q_OBJECT

private slots:
    void init() { folder = std::make_unique<QTemporaryDir>(); }
    void identity_data();
    void identity();
    void bundle_data();
    void bundle();
    void executable_facts_data();
    void executable_facts();
    void index_kind_texts_come_first();
    void index_kinds_from_the_fixture_volumes_data();
    void index_kinds_from_the_fixture_volumes();
    void file_the_index_lacks_on_an_indexed_volume();

private:
    QString make(const QString &name, const QString &how);

    std::unique_ptr<QTemporaryDir> folder;
};

// Makes name inside the test folder: "file:TEXT" for a regular file
// holding TEXT ("file0444:TEXT" with that mode), "exec:TEXT" for an
// executable one, "folder" ("folder:N" holding N entries, the first
// hidden), "app" (a bundle with a binary Info.plist), "link" (to a
// folder), "pipe".
QString tst_type_identity::make(const QString &name, const QString &how)
{
    const QString path = folder->filePath(name);
    const QByteArray native_path = native(path);
    if (how.startsWith("file") || how.startsWith("exec")) {
        const uint mode = how.startsWith("exec") ? 0755 : how[4] == ':' ? 0644 : how.mid(4, 4).toUInt(nullptr, 8);
        if (!write_file(path, how.section(':', 1).toUtf8()) || chmod(native_path, mode) != 0)
            qFatal("cannot write %s", native_path.constData());
    } else if (how.startsWith("folder")) {
        QDir().mkpath(path);
        for (int i = 0; i < how.section(':', 1).toInt(); ++i)
            write_file(path + (i == 0 ? "/.hidden" : QString("/file%1").arg(i)), "x");
    } else if (how == "app") {
        write_file(path + "/Contents/Info.plist", info_plist({{"CFBundleIdentifier", "com.example.tool"}}));
    } else if (how == "link") {
        QDir().mkpath(folder->filePath("target-folder"));
        symlink("target-folder", native_path);
    } else if (how == "pipe") {
        mkfifo(native_path, 0644);
    }
    return path;
}

void tst_type_identity::identity_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("how");
    QTest::addColumn<QByteArray>("finder_bytes"); // null: no attribute
    QTest::addColumn<QString>("keys");     // separated by commas
    QTest::addColumn<QString>("expected"); // one value a key, likewise

    // Type, tree and kind from the name and what the file is; the Finder's information where it is given.
    const auto row = [](const char *row, const char *name, const char *how, const QString &type, const QString &tree,
                        const char *kind) {
        QTest::newRow(row) << name << how << QByteArray() << "kMDItemContentType,kMDItemContentTypeTree,kMDItemKind"
                           << type + ',' + tree + ',' + kind;
    };
    const QString image = ";public.image;public.data;public.item;public.content";
    const QString text = "public.plain-text;public.text;public.data;public.item;public.content";
    const auto as_data = [&row](const char *name_of_row, const char *name, const char *how) {
        row(name_of_row, name, how, "public.data", "public.data;public.item", "Document");
    };
    const auto as_text = [&row, &text](const char *name_of_row, const char *name, const char *how) {
        row(name_of_row, name, how, "public.plain-text", text, "Plain Text Document");
    };
    const QString folder_tree = "public.folder;public.directory;public.item";

    row("JPEG", "beach.jpg", "file:x", "public.jpeg", "public.jpeg" + image, "JPEG image");
    row("extension in capitals", "IMG_0001.JPG", "file:x", "public.jpeg", "public.jpeg" + image, "JPEG image");
    row("PNG", "logo.png", "file:x", "public.png", "public.png" + image, "PNG image");
    row("PDF", "invoice.pdf", "file:x", "com.adobe.pdf",
        "com.adobe.pdf;public.data;public.item;public.composite-content;public.content", "PDF document");
    row("Word document: Office Open XML, no zip archive in its tree", "letter.docx", "file:PK",
        "org.openxmlformats.wordprocessingml.document",
        "org.openxmlformats.wordprocessingml.document;org.openxmlformats.openxml;public.data;public.item;"
        "public.composite-content;public.content", "Microsoft Word document");
    row("the last extension counts", "scan.jpg.pdf", "file:x", "com.adobe.pdf",
        "com.adobe.pdf;public.data;public.item;public.composite-content;public.content", "PDF document");
    row("zip archive", "tools.zip", "file:x", "public.zip-archive",
        "public.zip-archive;com.pkware.zip-archive;public.data;public.item;public.archive", "ZIP archive");
    as_text("text file", "notes.txt", "file:a note");
    as_data("PDF content without extension is still data", "scan", "file:%PDF-1.4");
    as_text("PDF content named .txt is text, as on a Mac", "scan.txt", "file:%PDF-1.4");
    as_data("text without extension is data, like the fixtures' LICENSE", "LICENSE", "file:Apache License");
    as_data("unknown extension is data", "dump.q7z", "file:x");
    as_data("hidden file's name after the dot is no extension", ".pdf", "file:x");
    row("hidden file with an extension", ".scratch.tiff", "file:x", "public.tiff", "public.tiff" + image, "TIFF image");
    as_data("name ending in a dot has no extension", "draft.", "file:x");
    row("executable without extension", "run", "exec:#!/bin/sh", "public.unix-executable",
        "public.unix-executable;public.data;public.item;public.executable", "Unix executable file");
    row("executable with a known extension keeps its type", "run.sh", "exec:#!/bin/sh", "public.shell-script",
        "public.shell-script;public.script;public.source-code;" + text, "Shell script");
    as_data("executable with an unknown extension is data", "run.q7z", "exec:x");
    row("folder", "Photos", "folder", "public.folder", folder_tree, "Folder");
    row("folder with a file's extension is a folder", "Holiday.jpg", "folder", "public.folder", folder_tree, "Folder");
    row("application bundle", "Tool.app", "app", "com.apple.application-bundle",
        "com.apple.application-bundle;com.apple.application;public.executable;com.apple.localizable-name-bundle;"
        "com.apple.bundle;public.directory;public.item;com.apple.package", "Application");
    as_data("file named like a bundle is data", "Tool.app", "file:x");
    row("another maker's package: a .dayone journal is no folder", "Journal.dayone", "folder", "com.dayoneapp.journal",
        "com.dayoneapp.journal;com.apple.package;public.directory;public.item;public.composite-content;public.content",
        "Day One Journal");
    row("framework folder", "Kit.framework", "folder", "com.apple.framework",
        "com.apple.framework;com.apple.bundle;public.directory;public.item", "Framework");
    row("link to a folder is a link", "Shortcut", "link", "public.symlink", "public.symlink;public.item", "Alias");
    row("named pipe has no type", "pipe", "pipe", "<null>", "<null>", "<null>");

    const auto finder = [](const char *row, const QByteArray &bytes, const char *keys, const char *expected,
                        const char *name = "report.txt", const char *how = "file:hello") {
        QTest::newRow(row) << name << how << bytes << keys << expected;
    };
    finder("no Finder information: no codes, flags, label or date added", QByteArray(),
        "kMDItemFSTypeCode,kMDItemFSCreatorCode,kMDItemFSFinderFlags,kMDItemFSLabel,kMDItemFSInvisible,"
        "kMDItemFSIsExtensionHidden,kMDItemDateAdded", ",,0,0,0,0,<null>");
    finder("no Finder information: custom icon and stationery have no value, not 0", QByteArray(),
        "kMDItemFSHasCustomIcon,kMDItemFSIsStationery", "<null>,<null>");
    finder("clear custom icon and stationery flags have no value", flags(0x0010),
        "kMDItemFSHasCustomIcon,kMDItemFSIsStationery", "<null>,<null>");
    finder("dot file is invisible without Finder information", QByteArray(), "kMDItemFSInvisible", "1", ".hidden");
    finder("type and creator codes", finder_info("TEXT", "ttxt", 0), "kMDItemFSTypeCode,kMDItemFSCreatorCode", "TEXT,ttxt");
    finder("all-zero Finder information: no codes, extension shown, no date added", flags(0),
        "kMDItemFSTypeCode,kMDItemDisplayName,kMDItemDateAdded", ",report.txt,<null>");
    finder("code with a space", finder_info("PDF ", "prvw", 0), "kMDItemFSTypeCode", "PDF ");
    finder("flags as one number", flags(0x4410), "kMDItemFSFinderFlags", "17424");
    finder("red label", flags(0x000c), "kMDItemFSLabel", "6");
    finder("orange label beside other flags", flags(0x440e), "kMDItemFSLabel", "7");
    finder("gray label", flags(0x0002), "kMDItemFSLabel", "1");
    finder("invisible flag", flags(0x4000), "kMDItemFSInvisible", "1");
    finder("label is not invisibility", flags(0x000e), "kMDItemFSInvisible", "0");
    finder("hidden extension leaves the display name", flags(0x0010), "kMDItemFSIsExtensionHidden,kMDItemDisplayName",
        "1,report");
    finder("custom icon", flags(0x0400), "kMDItemFSHasCustomIcon", "1");
    finder("stationery", flags(0x0800), "kMDItemFSIsStationery", "1");
    finder("date added from the extended half", flags(0, 1700000000), "kMDItemDateAdded", "1700000000");
    finder("alias flag makes an alias file", finder_info("alis", "MACS", 0x8000), "kMDItemContentType",
        "com.apple.alias-file", "Report alias");
    finder("folder's window bytes are no codes, its label is", finder_info("\0\x10\0\x20", "\x01\0\x02\0", 0x000c),
        "kMDItemFSTypeCode,kMDItemFSLabel", ",6", "Photos", "folder");
    finder("folder's date added", flags(0, 1600000000), "kMDItemDateAdded", "1600000000", "Photos", "folder");
    finder("too short: no flags", flags(0x000c).left(31), "kMDItemFSLabel", "<null>");
    finder("too long: no codes, no date added", finder_info("TEXT", "ttxt", 0, 1700000000) + "x",
        "kMDItemFSTypeCode,kMDItemDateAdded", "<null>,<null>");
    finder("empty: not a plain file's zero", "", "kMDItemFSFinderFlags", "<null>");

    // File-system facts: "blocks" stands for what is allocated, 512 bytes a block.
    const auto facts = [](const char *row, const QString &how, const char *keys, const char *expected) {
        QTest::newRow(row) << "object" << how << QByteArray() << keys << expected;
    };
    facts("folder counts its entries, hidden ones too, and has no size", "folder:3", "kMDItemFSNodeCount,kMDItemLogicalSize",
          "3,<null>");
    facts("empty folder", "folder", "kMDItemFSNodeCount", "0");
    facts("file: no node count, its content's size, what is allocated, owner's access", "file:" + QString(5000, 'x'),
          "kMDItemFSNodeCount,kMDItemLogicalSize,kMDItemPhysicalSize,kMDItemFSIsReadable,kMDItemFSIsWriteable",
          "<null>,5000,blocks,1,1");
    facts("file without a document identifier lists 0", "file:# Notes", "kMDItemDocumentIdentifier", "0");
    facts("folder has no document identifier", "folder", "kMDItemDocumentIdentifier", "<null>");
    facts("read-only file", "file0444:x", "kMDItemFSIsWriteable", "0");
    facts("write-only file", "file0200:x", "kMDItemFSIsReadable", "0");
    facts("others' access does not count", "file0066:x", "kMDItemFSIsReadable", "0");
}

void tst_type_identity::identity()
{
    QFETCH(QString, name);
    QFETCH(QString, how);
    QFETCH(QByteArray, finder_bytes);
    QFETCH(QString, keys);
    QFETCH(QString, expected);

    const QByteArray path = native(make(name, how));
    struct stat status = {};
    QVERIFY(lstat(path, &status) == 0);
    expected.replace("blocks", metadata_number_text(double(status.st_blocks) * 512));
    if (!finder_bytes.isNull()
        && lsetxattr(path, "user.com.apple.FinderInfo", finder_bytes.constData(), std::size_t(finder_bytes.size()), 0) != 0) {
        QVERIFY2(errno == ENOTSUP, strerror(errno));
        QSKIP("the temporary folder's file system refuses user extended attributes");
    }
    FileMetadataStore store(folder->path());
    const std::unique_ptr<MetadataItem> item = store.create_item(QFile::decodeName(path));
    QVERIFY(item);
    QCOMPARE(stored_texts(*item, keys), expected);
    // The importer side asks by name alone, for regular files.
    if (keys.startsWith("kMDItemContentType,") && how.startsWith("file:"))
        QCOMPARE(content_type_identifier(name), expected.section(',', 0, 0));
}

void tst_type_identity::bundle_data()
{
    QTest::addColumn<QString>("bundle");
    QTest::addColumn<QString>("place"); // where the Info.plist is put
    QTest::addColumn<QString>("content"); // "binary", "xml", "name only", "garbage", "array", "fan-out",
                                          // "pipe", "link", "sparse", "inside", "outside"
    QTest::addColumn<QString>("expected"); // identifier, version and display name

    const auto row = [](const char *row, const char *bundle, const char *place, const char *content, const char *expected) {
        QTest::newRow(row) << bundle << place << content << expected;
    };
    row("application with a binary Info.plist", "Tool.app", "Contents/Info.plist", "binary", "com.example.tool,2.1,Example Tool");
    row("application with an XML Info.plist", "Tool.app", "Contents/Info.plist", "xml", "com.example.tool,2.1,Example Tool");
    row("application named by its bundle name", "Tool.app", "Contents/Info.plist", "name only", "<null>,<null>,Tool Name");
    row("application without Info.plist shows its name without .app", "Tool.app", "", "", "<null>,<null>,Tool");
    row("framework keeps its Info.plist in Resources", "Kit.framework", "Resources/Info.plist", "binary",
        "com.example.tool,2.1,Kit.framework");
    row("plain folder's Info.plist is not read", "Photos", "Contents/Info.plist", "binary", "<null>,<null>,Photos");
    // Hostile Info.plists: the bundle is still named by its folder, nothing else is read.
    const auto refused = [&row](const char *name, const char *content) {
        row(name, "Tool.app", "Contents/Info.plist", content, "<null>,<null>,Tool");
    };
    refused("garbage Info.plist", "garbage");
    refused("Info.plist holding no dictionary", "array");
    refused("Info.plist crafted to explode is refused", "fan-out");
    refused("Info.plist that is a pipe is never opened", "pipe");
    refused("Info.plist that is a link is not followed", "link");
    refused("1 GB sparse Info.plist is not read", "sparse");
    refused("Contents linking to another bundle's is not followed", "inside");
    refused("Contents linking outside the volume is not followed", "outside");
}

void tst_type_identity::bundle()
{
    QFETCH(QString, bundle);
    QFETCH(QString, place);
    QFETCH(QString, content);
    QFETCH(QString, expected);

    // The volume is a folder inside the test's folder, so that something lies outside it.
    const QString volume = folder->filePath("volume"), bundle_path = volume + '/' + bundle;
    const QString plist = bundle_path + '/' + place, outside = folder->filePath("outside");
    const QByteArray full = info_plist({{"CFBundleIdentifier", "com.example.tool"}, {"CFBundleShortVersionString", "2.1"},
                                        {"CFBundleDisplayName", "Example Tool"}, {"CFBundleName", "Tool Name"}},
                                       content != "xml");
    QVERIFY(QDir().mkpath(place.isEmpty() ? bundle_path : QFileInfo(plist).path()));
    const QByteArray plist_native = native(plist), contents = native(bundle_path + "/Contents");
    if (content == "binary" || content == "xml")
        QVERIFY(write_file(plist, full));
    else if (content == "name only")
        QVERIFY(write_file(plist, info_plist({{"CFBundleName", "Tool Name"}})));
    else if (content == "garbage")
        QVERIFY(write_file(plist, "bplist00\xff\xff\xff garbage"));
    else if (content == "array")
        QVERIFY(write_file(plist, property_list_bytes::binary(property_list_bytes::array(property_list_bytes::string("x")))));
    else if (content == "fan-out")
        QVERIFY(write_file(plist, property_list_bytes::binary_shared_fan_out(24, 4)));
    else if (content == "pipe")
        QVERIFY(mkfifo(plist_native, 0644) == 0);
    else if (content == "link")
        QVERIFY(write_file(bundle_path + "/Contents/Real.plist", full) && symlink("Real.plist", plist_native) == 0);
    else if (content == "sparse")
        QVERIFY(write_file(plist, "") && truncate(plist_native, qint64(1) << 30) == 0);
    // Contents a link to another bundle's Contents on the volume, or to a folder beside the volume.
    else if (content == "inside")
        QVERIFY(QDir(bundle_path + "/Contents").removeRecursively() && write_file(volume + "/Other.app/Contents/Info.plist", full)
                && symlink("../Other.app/Contents", contents) == 0);
    else if (content == "outside")
        QVERIFY(QDir(bundle_path + "/Contents").removeRecursively() && write_file(outside + "/Info.plist", full)
                && symlink(native(outside), contents) == 0);

    FileMetadataStore store(volume);
    const std::unique_ptr<MetadataItem> item = store.create_item(bundle_path);
    QVERIFY(item);
    QCOMPARE(stored_texts(*item, "kMDItemCFBundleIdentifier,kMDItemVersion,kMDItemDisplayName"), expected);
}

void tst_type_identity::executable_facts_data()
{
    QTest::addColumn<QString>("bundle");
    QTest::addColumn<QString>("info_plist"); // where the Info.plist lies in the bundle
    QTest::addColumn<QString>("executable"); // CFBundleExecutable
    QTest::addColumn<QByteArray>("content"); // what lies at the executable's place; "link" a link to a real one
    QTest::addColumn<QString>("expected");   // architectures, platform, copyright

    // Every bundle's Info.plist names a copyright, which is read beside what the executable gives.
    const auto row = [](const char *row, const char *bundle, const char *plist, const char *executable,
                        const QByteArray &content, const char *expected) {
        QTest::newRow(row) << bundle << plist << executable << content << QString(expected) + ",(c) 2024 Example Ltd";
    };
    const char *app = "Contents/Info.plist";
    const QByteArray arm64 = mach_o("thin:0x0100000c");
    row("universal application: its slices in their order", "Tool.app", app, "Tool",
        mach_o("universal:0x01000007/3,0x0100000c/0"), "x86_64;arm64,<null>");
    row("arm64e slice shows as arm64, once", "Tool.app", app, "Tool",
        mach_o("universal:0x01000007/3,0x0100000c/0,0x0100000c/2"), "x86_64;arm64,<null>");
    row("big-endian PowerPC header", "Old.app", app, "Old", mach_o("ppc"), "ppc,<null>");
    row("framework's executable lies at its top", "Kit.framework", "Resources/Info.plist", "Kit",
        mach_o("thin:0x01000007"), "x86_64,<null>");
    row("iPhone application: flat bundle, thin, platform from LSRequiresIPhoneOS", "Phone.app", "Info.plist", "Phone",
        arm64, "arm64,LSRequiresIPhoneOS");
    // What is no Mach-O executable names no architecture.
    row("script as the executable", "Tool.app", app, "Tool", "#!/bin/sh\nexec true\n", "<null>,<null>");
    row("Java class file shares the universal magic", "Tool.app", app, "Tool",
        QByteArray::fromHex("cafebabe00000034") + mach_o("universal:0x0100000c/0").repeated(40), "<null>,<null>");
    row("universal file claiming more slices than it holds", "Tool.app", app, "Tool",
        QByteArray::fromHex("cafebabe00000030") + QByteArray(40, '\0'), "<null>,<null>");
    row("executable named out of the bundle is not read", "Tool.app", app, "../../Tool", arm64, "<null>,<null>");
    row("executable that is a link is not followed", "Tool.app", app, "Tool", "link", "<null>,<null>");
    QTest::newRow("plain folder: nothing read") << "Tools" << app << "Tool" << arm64 << "<null>,<null>,<null>";
}

void tst_type_identity::executable_facts()
{
    QFETCH(QString, bundle);
    QFETCH(QString, info_plist);
    QFETCH(QString, executable);
    QFETCH(QByteArray, content);
    QFETCH(QString, expected);

    const QString volume = folder->filePath("volume"), bundle_path = volume + '/' + bundle;
    property_list_bytes::Plist root(plist_new_dict());
    plist_dict_set_item(root.get(), "CFBundleExecutable", plist_new_string(executable.toUtf8().constData()));
    plist_dict_set_item(root.get(), "NSHumanReadableCopyright", plist_new_string("(c) 2024 Example Ltd"));
    if (info_plist == "Info.plist")
        plist_dict_set_item(root.get(), "LSRequiresIPhoneOS", plist_new_bool(1));
    QVERIFY(write_file(bundle_path + '/' + info_plist, property_list_bytes::binary(root)));
    const QString place = info_plist.startsWith("Contents/") ? bundle_path + "/Contents/MacOS/" : bundle_path + '/';
    QVERIFY(QDir().mkpath(place));
    // The name leading out of the bundle finds a real executable there, which must not be read.
    QVERIFY(write_file(volume + "/Tool", mach_o("thin:0x0100000c")));
    if (content == "link")
        QVERIFY(write_file(place + "Real", mach_o("thin:0x0100000c"))
                && symlink("Real", native(place + executable)) == 0);
    else if (!executable.contains('/'))
        QVERIFY(write_file(place + executable, content));

    FileMetadataStore store(volume);
    const std::unique_ptr<MetadataItem> item = store.create_item(bundle_path);
    QVERIFY(item);
    QCOMPARE(stored_texts(*item, "kMDItemExecutableArchitectures,kMDItemExecutablePlatform,kMDItemCopyright"), expected);
}

void tst_type_identity::index_kind_texts_come_first()
{
    // Stands for a volume whose index calls unknown documents differently.
    struct OlderKinds : KindNames
    {
        QString kind_of(const QString &type) override { return type == "public.data" ? "Unknown document" : QString(); }
    };
    FileMetadataStore store(folder->path());
    store.type_identity().set_kind_names(std::make_shared<OlderKinds>());
    QCOMPARE(stored_texts(*store.create_item(make("blob", "file:x")), "kMDItemKind"), "Unknown document");
    QCOMPARE(stored_texts(*store.create_item(make("beach.jpg", "file:x")), "kMDItemKind"), "JPEG image");
}

void tst_type_identity::index_kinds_from_the_fixture_volumes_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("max_items");
    QTest::addColumn<QString>("kind");

    QTest::newRow("macOS 10.13: the LICENSE file's English kind") << "macos-10.13" << "public.data" << 4096 << "Document";
    QTest::newRow("macOS 12: the LICENSE file's English kind") << "macos-12" << "public.data" << 4096 << "Document";
    QTest::newRow("type the index holds no item of") << "macos-12" << "public.jpeg" << 4096 << "";
    QTest::newRow("no items may be read") << "macos-12" << "public.data" << 0 << "";
}

void tst_type_identity::index_kinds_from_the_fixture_volumes()
{
    QFETCH(QString, volume);
    QFETCH(QString, type);
    QFETCH(int, max_items);
    QFETCH(QString, kind);

    const std::unique_ptr<SpotlightVolumeIndex> index = SpotlightVolumeIndex::read(fixtures + volume);
    QVERIFY(index);
    IndexKindNames kinds(*index, max_items);
    QCOMPARE(kinds.kind_of(type), kind);
    QCOMPARE(kinds.kind_of(type), kind); // asked again, the answer is the kept one
}

void tst_type_identity::file_the_index_lacks_on_an_indexed_volume()
{
    // The index's own values reach the case in the volume runs' tests; a file added to a copy of the volume has none.
    const QString volume = folder->filePath("volume");
    QVERIFY(copy_tree(fixtures + "macos-12", volume));
    QVERIFY(write_file(volume + "/beach.jpg", "x"));
    const std::unique_ptr<MetadataStore> store = create_platform_metadata_store(volume);
    const std::unique_ptr<MetadataItem> photo = store->create_item(volume + "/beach.jpg");
    QVERIFY(photo);
    QCOMPARE(stored_texts(*photo, "kMDItemContentType,kMDItemKind"), "public.jpeg,JPEG image");
}

QTEST_GUILESS_MAIN(tst_type_identity)
#include "tst_type_identity.moc"
