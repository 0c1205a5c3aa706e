// What a file is, for files the volume's index does not describe: type,
// kind and conformance from real files of real content, bundles, the
// Finder's information, file-system facts, hostile bundles and the index's
// own kind texts.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "private_runtime_directory.h"
#include "metadata_store.h"
#include "metadata_value_text.h"
#include "property_list_bytes.h"
#include "spotlight_index/spotlight_volume_index.h"
#include "type_identity/content_type.h"
#include "type_identity/index_kind_names.h"
#include "type_identity/type_identity.h"

#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

const QString fixtures = QStringLiteral(VANTREL_FIXTURES_DIR "/spotlight/");

const QString bundle_tree = QStringLiteral("com.apple.application-bundle;com.apple.application;public.executable;"
                                           "com.apple.localizable-name-bundle;com.apple.bundle;public.directory;"
                                           "public.item;com.apple.package");

QByteArray image_bytes(const char *format)
{
    QImage image(16, 16, QImage::Format_ARGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QByteArray pdf_bytes()
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        QPainter painter(&writer);
        painter.drawText(100, 100, QStringLiteral("Invoice"));
    }
    return bytes;
}

// A zip archive holding one stored file, byte for byte as zip writes it.
QByteArray zip_bytes()
{
    const QByteArray name = "a.txt", data = "hello";
    const quint32 crc = 0x3610a686; // CRC-32 of "hello"
    auto le = [](QByteArray &out, quint32 value, int width) {
        for (int i = 0; i < width; ++i)
            out.append(char((value >> (8 * i)) & 0xff));
    };
    QByteArray zip = "PK\x03\x04";
    le(zip, 10, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2);
    le(zip, crc, 4); le(zip, 5, 4); le(zip, 5, 4); le(zip, quint32(name.size()), 2); le(zip, 0, 2);
    zip += name + data;
    const quint32 central = quint32(zip.size());
    zip += "PK\x01\x02";
    le(zip, 20, 2); le(zip, 10, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2);
    le(zip, crc, 4); le(zip, 5, 4); le(zip, 5, 4); le(zip, quint32(name.size()), 2);
    le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 2); le(zip, 0, 4); le(zip, 0, 4);
    zip += name;
    const quint32 central_size = quint32(zip.size()) - central;
    zip += "PK\x05\x06";
    le(zip, 0, 2); le(zip, 0, 2); le(zip, 1, 2); le(zip, 1, 2);
    le(zip, central_size, 4); le(zip, central, 4); le(zip, 0, 2);
    return zip;
}

QByteArray info_plist(std::initializer_list<std::pair<const char *, const char *>> entries, bool binary)
{
    property_list_bytes::Plist root(plist_new_dict());
    for (const auto &[key, value] : entries)
        plist_dict_set_item(root.get(), key, plist_new_string(value));
    return binary ? property_list_bytes::binary(root) : property_list_bytes::xml(root);
}

// Finder information: type, creator and flags big-endian at the front,
// the date added in the extended half.
QByteArray finder_info(const char *type, const char *creator, quint16 flags, quint32 date_added = 0)
{
    QByteArray bytes(32, '\0');
    std::memcpy(bytes.data(), type, 4);
    std::memcpy(bytes.data() + 4, creator, 4);
    bytes[8] = char(flags >> 8);
    bytes[9] = char(flags & 0xff);
    for (int i = 0; i < 4; ++i)
        bytes[20 + i] = char((date_added >> (24 - 8 * i)) & 0xff);
    return bytes;
}

// Every key's text as the host stores it; "<null>" for a missing value.
QString stored_text(MetadataItem &item, const QString &key)
{
    const QString text = metadata_value_text(item.copy_attribute(key));
    return text.isNull() ? QStringLiteral("<null>") : text;
}

// The texts of keys given separated by commas, separated likewise.
QString stored_texts(MetadataItem &item, const QString &keys)
{
    QStringList texts;
    for (const QString &key : keys.split(','))
        texts.append(stored_text(item, key));
    return texts.join(',');
}

const char *const no_codes = "\0\0\0\0";

} // namespace

class tst_type_identity : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void content_type_data();
    void content_type();
    void finder_information_data();
    void finder_information();
    void bundle_data();
    void bundle();
    void file_system_facts_data();
    void file_system_facts();
    void index_kind_texts_come_first();
    void index_kinds_from_the_fixture_volumes_data();
    void index_kinds_from_the_fixture_volumes();
    void indexed_file_keeps_the_index_values();

private:
    QString make(const QString &name, const QString &how);
    bool attributes_supported() const;

    std::unique_ptr<QTemporaryDir> folder;
};

void tst_type_identity::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
}

bool tst_type_identity::attributes_supported() const
{
    const QString probe = folder->filePath(".probe");
    write_file(probe, "x");
    const bool supported = lsetxattr(native(probe).constData(), "user.vantrel.probe", "1", 1, 0) == 0;
    QFile::remove(probe);
    return supported;
}

// Makes name inside the test folder: "file:CONTENT" for a regular file
// holding that content ("jpeg", "png", "pdf", "zip", other text as is),
// "exec:TEXT" for an executable one, "folder", "app" (a bundle with a
// binary Info.plist), "link" (to a folder), "pipe".
QString tst_type_identity::make(const QString &name, const QString &how)
{
    const QString path = folder->filePath(name);
    const QString content = how.section(':', 1);
    if (how.startsWith("file:") || how.startsWith("exec:")) {
        const QByteArray bytes = content == "jpeg" ? image_bytes("JPEG")
                                 : content == "png" ? image_bytes("PNG")
                                 : content == "pdf" ? pdf_bytes()
                                 : content == "zip" ? zip_bytes()
                                                    : content.toUtf8();
        if (!write_file(path, bytes))
            qFatal("cannot write %s", qPrintable(path));
        if (how.startsWith("exec:"))
            chmod(native(path).constData(), 0755);
    } else if (how == "folder") {
        QDir().mkpath(path);
    } else if (how == "app") {
        QDir().mkpath(path + "/Contents/MacOS");
        write_file(path + "/Contents/Info.plist",
                    info_plist({{"CFBundleIdentifier", "com.example.tool"}, {"CFBundleName", "Tool"}}, true));
    } else if (how == "link") {
        QDir().mkpath(folder->filePath("target-folder"));
        if (symlink("target-folder", native(path).constData()) != 0)
            qFatal("cannot link %s", qPrintable(path));
    } else if (how == "pipe") {
        mkfifo(native(path).constData(), 0644);
    }
    return path;
}

void tst_type_identity::content_type_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QString>("kind");

    const QString image = ";public.image;public.data;public.item;public.content";
    const QString text = "public.plain-text;public.text;public.data;public.item;public.content";
    const QString data = "public.data;public.item";
    const auto as_data = [&](const char *row, const char *name, const char *how) {
        QTest::newRow(row) << name << how << "public.data" << data << "Document";
    };

    QTest::newRow("JPEG written by an image library") << "beach.jpg" << "file:jpeg" << "public.jpeg"
                                                      << "public.jpeg" + image << "JPEG image";
    QTest::newRow("extension in capitals") << "IMG_0001.JPG" << "file:jpeg" << "public.jpeg"
                                           << "public.jpeg" + image << "JPEG image";
    QTest::newRow("PNG") << "logo.png" << "file:png" << "public.png" << "public.png" + image << "PNG image";
    QTest::newRow("PDF") << "invoice.pdf" << "file:pdf" << "com.adobe.pdf"
                         << "com.adobe.pdf;public.data;public.item;public.composite-content;public.content"
                         << "PDF document";
    QTest::newRow("zip archive") << "tools.zip" << "file:zip" << "public.zip-archive"
                                 << "public.zip-archive;com.pkware.zip-archive;public.data;public.item;public.archive"
                                 << "ZIP archive";
    QTest::newRow("text file") << "notes.txt" << "file:a note" << "public.plain-text" << text
                               << "Plain Text Document";
    as_data("PDF content without extension is still data", "scan", "file:pdf");
    QTest::newRow("PDF content named .txt is text, as on a Mac") << "scan.txt" << "file:pdf"
                                                                 << "public.plain-text" << text
                                                                 << "Plain Text Document";
    as_data("text without extension is data, like the fixtures' LICENSE", "LICENSE", "file:Apache License");
    as_data("unknown extension is data", "dump.q7z", "file:x");
    as_data("hidden file's name after the dot is no extension", ".pdf", "file:pdf");
    QTest::newRow("hidden file with an extension") << ".scratch.tiff" << "file:x" << "public.tiff"
                                                   << "public.tiff" + image << "TIFF image";
    as_data("name ending in a dot has no extension", "draft.", "file:x");
    QTest::newRow("executable without extension") << "run" << "exec:#!/bin/sh" << "public.unix-executable"
                                                  << "public.unix-executable;public.data;public.item;public.executable"
                                                  << "Unix executable file";
    QTest::newRow("executable with a known extension keeps its type")
        << "run.sh" << "exec:#!/bin/sh" << "public.shell-script"
        << "public.shell-script;public.script;public.source-code;" + text << "Shell script";
    as_data("executable with an unknown extension is data", "run.q7z", "exec:x");
    QTest::newRow("folder") << "Photos" << "folder" << "public.folder"
                            << "public.folder;public.directory;public.item" << "Folder";
    QTest::newRow("folder with a file's extension is a folder") << "Holiday.jpg" << "folder" << "public.folder"
                                                                << "public.folder;public.directory;public.item"
                                                                << "Folder";
    QTest::newRow("application bundle") << "Tool.app" << "app" << "com.apple.application-bundle" << bundle_tree
                                        << "Application";
    as_data("file named like a bundle is data", "Tool.app", "file:x");
    QTest::newRow("framework folder") << "Kit.framework" << "folder" << "com.apple.framework"
                                      << "com.apple.framework;com.apple.bundle;public.directory;public.item"
                                      << "Framework";
    QTest::newRow("link to a folder is a link") << "Shortcut" << "link" << "public.symlink"
                                                << "public.symlink;public.item" << "Alias";
    QTest::newRow("named pipe has no type") << "pipe" << "pipe" << "<null>" << "<null>" << "<null>";
}

void tst_type_identity::content_type()
{
    QFETCH(QString, name);
    QFETCH(QString, how);
    QFETCH(QString, type);
    QFETCH(QString, tree);
    QFETCH(QString, kind);

    const QString path = make(name, how);
    FileMetadataStore store(folder->path());
    const std::unique_ptr<MetadataItem> item = store.create_item(path);
    QVERIFY(item);
    QCOMPARE(stored_text(*item, "kMDItemContentType"), type);
    QCOMPARE(stored_text(*item, "kMDItemContentTypeTree"), tree);
    QCOMPARE(stored_text(*item, "kMDItemKind"), kind);
    // The importer side asks by name alone, for regular files.
    if (how.startsWith("file:"))
        QCOMPARE(content_type_identifier(name), type);
}

void tst_type_identity::finder_information_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("how");
    QTest::addColumn<QByteArray>("finder_bytes"); // null: no attribute
    QTest::addColumn<QString>("keys");     // separated by commas
    QTest::addColumn<QString>("expected"); // one value a key, likewise

    const QByteArray none;
    const QByteArray plain = finder_info(no_codes, no_codes, 0);
    const QString file = "report.txt", how = "file:hello";

    QTest::newRow("no Finder information: no codes, flags, label or date added")
        << file << how << none
        << "kMDItemFSTypeCode,kMDItemFSCreatorCode,kMDItemFSFinderFlags,kMDItemFSLabel,kMDItemFSInvisible,"
           "kMDItemFSIsExtensionHidden,kMDItemFSHasCustomIcon,kMDItemFSIsStationery,kMDItemDateAdded"
        << ",,0,0,0,0,0,0,<null>";
    QTest::newRow("dot file is invisible without Finder information") << ".hidden" << how << none
                                                                      << "kMDItemFSInvisible" << "1";
    QTest::newRow("type and creator codes") << file << how << finder_info("TEXT", "ttxt", 0)
                                            << "kMDItemFSTypeCode,kMDItemFSCreatorCode" << "TEXT,ttxt";
    QTest::newRow("all-zero Finder information: no codes, extension shown, no date added")
        << file << how << plain << "kMDItemFSTypeCode,kMDItemDisplayName,kMDItemDateAdded" << ",report.txt,<null>";
    QTest::newRow("code with a space") << file << how << finder_info("PDF ", "prvw", 0) << "kMDItemFSTypeCode"
                                       << "PDF ";
    QTest::newRow("flags as one number") << file << how << finder_info(no_codes, no_codes, 0x4410)
                                         << "kMDItemFSFinderFlags" << "17424";
    QTest::newRow("red label") << file << how << finder_info(no_codes, no_codes, 0x000c) << "kMDItemFSLabel" << "6";
    QTest::newRow("orange label beside other flags") << file << how << finder_info(no_codes, no_codes, 0x440e)
                                                     << "kMDItemFSLabel" << "7";
    QTest::newRow("gray label") << file << how << finder_info(no_codes, no_codes, 0x0002) << "kMDItemFSLabel" << "1";
    QTest::newRow("invisible flag") << file << how << finder_info(no_codes, no_codes, 0x4000)
                                    << "kMDItemFSInvisible" << "1";
    QTest::newRow("label is not invisibility") << file << how << finder_info(no_codes, no_codes, 0x000e)
                                               << "kMDItemFSInvisible" << "0";
    QTest::newRow("hidden extension leaves the display name") << file << how
                                                              << finder_info(no_codes, no_codes, 0x0010)
                                                              << "kMDItemFSIsExtensionHidden,kMDItemDisplayName"
                                                              << "1,report";
    QTest::newRow("custom icon") << file << how << finder_info(no_codes, no_codes, 0x0400)
                                 << "kMDItemFSHasCustomIcon" << "1";
    QTest::newRow("stationery") << file << how << finder_info(no_codes, no_codes, 0x0800)
                                << "kMDItemFSIsStationery" << "1";
    QTest::newRow("date added from the extended half") << file << how
                                                       << finder_info(no_codes, no_codes, 0, 1700000000)
                                                       << "kMDItemDateAdded" << "1700000000";
    QTest::newRow("alias flag makes an alias file") << "Report alias" << how
                                                    << finder_info("alis", "MACS", 0x8000) << "kMDItemContentType"
                                                    << "com.apple.alias-file";
    QTest::newRow("folder's window bytes are no codes, its label is")
        << "Photos" << "folder" << finder_info("\0\x10\0\x20", "\x01\0\x02\0", 0x000c)
        << "kMDItemFSTypeCode,kMDItemFSLabel" << ",6";
    QTest::newRow("folder's date added") << "Photos" << "folder" << finder_info(no_codes, no_codes, 0, 1600000000)
                                         << "kMDItemDateAdded" << "1600000000";
    QTest::newRow("too short: no flags") << file << how << finder_info(no_codes, no_codes, 0x000c).left(31)
                                         << "kMDItemFSLabel" << "<null>";
    QTest::newRow("too long: no codes, no date added")
        << file << how << finder_info("TEXT", "ttxt", 0, 1700000000) + "x" << "kMDItemFSTypeCode,kMDItemDateAdded"
        << "<null>,<null>";
    QTest::newRow("empty: not a plain file's zero") << file << how << QByteArray("") << "kMDItemFSFinderFlags"
                                                    << "<null>";
}

void tst_type_identity::finder_information()
{
    QFETCH(QString, name);
    QFETCH(QString, how);
    QFETCH(QByteArray, finder_bytes);
    QFETCH(QString, keys);
    QFETCH(QString, expected);

    const QString path = make(name, how);
    if (!finder_bytes.isNull()) {
        if (!attributes_supported())
            QSKIP("the temporary folder's file system refuses user extended attributes");
        QVERIFY(lsetxattr(native(path).constData(), "user.com.apple.FinderInfo", finder_bytes.constData(),
                          std::size_t(finder_bytes.size()), 0) == 0);
    }
    FileMetadataStore store(folder->path());
    const std::unique_ptr<MetadataItem> item = store.create_item(path);
    QVERIFY(item);
    QCOMPARE(stored_texts(*item, keys), expected);
}

void tst_type_identity::bundle_data()
{
    QTest::addColumn<QString>("bundle");
    QTest::addColumn<QString>("place");   // where the Info.plist is put
    QTest::addColumn<QString>("content"); // "binary", "xml", "name only", "garbage", "array", "fan-out",
                                          // "pipe", "link", "sparse", "inside", "outside"
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("display_name");

    QTest::newRow("application with a binary Info.plist")
        << "Tool.app" << "Contents/Info.plist" << "binary" << "com.example.tool" << "2.1" << "Example Tool";
    QTest::newRow("application with an XML Info.plist")
        << "Tool.app" << "Contents/Info.plist" << "xml" << "com.example.tool" << "2.1" << "Example Tool";
    QTest::newRow("application named by its bundle name") << "Tool.app" << "Contents/Info.plist" << "name only"
                                                          << "<null>" << "<null>" << "Tool Name";
    QTest::newRow("application without Info.plist shows its name without .app")
        << "Tool.app" << "" << "" << "<null>" << "<null>" << "Tool";
    QTest::newRow("framework keeps its Info.plist in Resources")
        << "Kit.framework" << "Resources/Info.plist" << "binary" << "com.example.tool" << "2.1" << "Kit.framework";
    QTest::newRow("plain folder's Info.plist is not read") << "Photos" << "Contents/Info.plist" << "binary"
                                                           << "<null>" << "<null>" << "Photos";
    // Hostile Info.plists: the bundle is still named by its folder, nothing else is read.
    const auto refused = [](const char *row, const char *content) {
        QTest::newRow(row) << "Tool.app" << "Contents/Info.plist" << content << "<null>" << "<null>" << "Tool";
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
    QFETCH(QString, identifier);
    QFETCH(QString, version);
    QFETCH(QString, display_name);

    // The volume is a folder inside the test's folder, so that something
    // lies outside it.
    const QString volume = folder->filePath("volume");
    const QString bundle_path = volume + '/' + bundle;
    QVERIFY(QDir().mkpath(bundle_path));
    const QByteArray full = info_plist({{"CFBundleIdentifier", "com.example.tool"},
                                        {"CFBundleShortVersionString", "2.1"},
                                        {"CFBundleDisplayName", "Example Tool"},
                                        {"CFBundleName", "Tool Name"}},
                                       content != "xml");
    if (!place.isEmpty()) {
        const QString plist = bundle_path + '/' + place;
        QVERIFY(QDir().mkpath(QFileInfo(plist).path()));
        const QByteArray plist_native = native(plist);
        if (content == "binary" || content == "xml") {
            QVERIFY(write_file(plist, full));
        } else if (content == "name only") {
            QVERIFY(write_file(plist, info_plist({{"CFBundleName", "Tool Name"}}, true)));
        } else if (content == "garbage") {
            QVERIFY(write_file(plist, "bplist00\xff\xff\xff garbage"));
        } else if (content == "array") {
            QVERIFY(write_file(plist, property_list_bytes::binary(
                                           property_list_bytes::array(property_list_bytes::string("x")))));
        } else if (content == "fan-out") {
            QVERIFY(write_file(plist, property_list_bytes::binary_shared_fan_out(24, 4)));
        } else if (content == "pipe") {
            QVERIFY(mkfifo(plist_native.constData(), 0644) == 0);
        } else if (content == "link") {
            QVERIFY(write_file(bundle_path + "/Contents/Real.plist", full));
            QVERIFY(symlink("Real.plist", plist_native.constData()) == 0);
        } else if (content == "sparse") {
            QFile file(plist);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(qint64(1) << 30));
        } else if (content == "inside") {
            // Contents is a link to another bundle's Contents on the volume.
            QVERIFY(QDir(bundle_path).removeRecursively() && QDir().mkpath(bundle_path));
            QVERIFY(QDir().mkpath(volume + "/Other.app/Contents"));
            QVERIFY(write_file(volume + "/Other.app/Contents/Info.plist", full));
            QVERIFY(symlink("../Other.app/Contents", native(bundle_path + "/Contents").constData()) == 0);
        } else if (content == "outside") {
            // Contents itself is a link to a folder beside the volume.
            QVERIFY(QDir(bundle_path).removeRecursively() && QDir().mkpath(bundle_path));
            const QString outside = folder->filePath("outside");
            QVERIFY(QDir().mkpath(outside));
            QVERIFY(write_file(outside + "/Info.plist", full));
            QVERIFY(symlink(native(outside).constData(), native(bundle_path + "/Contents").constData()) == 0);
        }
    }

    FileMetadataStore store(volume);
    const std::unique_ptr<MetadataItem> item = store.create_item(bundle_path);
    QVERIFY(item);
    QCOMPARE(stored_text(*item, "kMDItemCFBundleIdentifier"), identifier);
    QCOMPARE(stored_text(*item, "kMDItemVersion"), version);
    QCOMPARE(stored_text(*item, "kMDItemDisplayName"), display_name);
}

void tst_type_identity::file_system_facts_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("keys");     // separated by commas
    QTest::addColumn<QString>("expected"); // likewise; "blocks": allocated blocks x 512

    QTest::newRow("folder counts its entries, hidden ones too, and has no size")
        << "folder:3" << 0755 << "kMDItemFSNodeCount,kMDItemLogicalSize" << "3,<null>";
    QTest::newRow("empty folder") << "folder:0" << 0755 << "kMDItemFSNodeCount" << "0";
    QTest::newRow("file: no node count, its content's size, what is allocated, owner's access")
        << "file" << 0644
        << "kMDItemFSNodeCount,kMDItemLogicalSize,kMDItemPhysicalSize,kMDItemFSIsReadable,kMDItemFSIsWriteable"
        << "<null>,5000,blocks,1,1";
    QTest::newRow("read-only file") << "file" << 0444 << "kMDItemFSIsWriteable" << "0";
    QTest::newRow("write-only file") << "file" << 0200 << "kMDItemFSIsReadable" << "0";
    QTest::newRow("others' access does not count") << "file" << 0066 << "kMDItemFSIsReadable" << "0";
}

void tst_type_identity::file_system_facts()
{
    QFETCH(QString, how);
    QFETCH(int, mode);
    QFETCH(QString, keys);
    QFETCH(QString, expected);

    const QString path = folder->filePath("object");
    if (how.startsWith("folder")) {
        QVERIFY(QDir().mkpath(path));
        for (int i = 0; i < how.section(':', 1).toInt(); ++i)
            QVERIFY(write_file(path + (i == 0 ? "/.hidden" : QString("/file%1").arg(i)), "x"));
    } else {
        QVERIFY(write_file(path, QByteArray(5000, 'x')));
    }
    QVERIFY(chmod(native(path).constData(), mode_t(mode)) == 0);
    struct stat status = {};
    QVERIFY(lstat(native(path).constData(), &status) == 0);
    expected.replace("blocks", metadata_number_text(double(status.st_blocks) * 512));

    FileMetadataStore store(folder->path());
    const std::unique_ptr<MetadataItem> item = store.create_item(path);
    QVERIFY(item);
    const QString texts = stored_texts(*item, keys);
    chmod(native(path).constData(), 0755);
    QCOMPARE(texts, expected);
}

void tst_type_identity::index_kind_texts_come_first()
{
    // Stands for a volume whose index calls unknown documents differently.
    class OlderKinds : public KindNames
    {
    public:
        QString kind_of(const QString &type) override
        {
            return type == "public.data" ? QStringLiteral("Unknown document") : QString();
        }
    };
    make("blob", "file:x");
    make("beach.jpg", "file:jpeg");
    FileMetadataStore store(folder->path());
    store.type_identity().set_kind_names(std::make_shared<OlderKinds>());
    QCOMPARE(stored_text(*store.create_item(folder->filePath("blob")), "kMDItemKind"), "Unknown document");
    QCOMPARE(stored_text(*store.create_item(folder->filePath("beach.jpg")), "kMDItemKind"), "JPEG image");
}

void tst_type_identity::index_kinds_from_the_fixture_volumes_data()
{
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("max_items");
    QTest::addColumn<QString>("kind");

    QTest::newRow("macOS 10.13: the LICENSE file's English kind") << "macos-10.13" << "public.data" << 4096
                                                                  << "Document";
    QTest::newRow("macOS 12: the LICENSE file's English kind") << "macos-12" << "public.data" << 4096
                                                               << "Document";
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
    // Asked again, the answer is the kept one.
    QCOMPARE(kinds.kind_of(type), kind);
}

void tst_type_identity::indexed_file_keeps_the_index_values()
{
    // A copy of the volume, so that files the index lacks can be added.
    const QString volume = folder->filePath("volume");
    QVERIFY(copy_tree(fixtures + "macos-12", volume));
    QVERIFY(write_file(volume + "/beach.jpg", image_bytes("JPEG")));
    QVERIFY(write_file(volume + "/README", "read me"));

    const std::unique_ptr<MetadataStore> store = create_platform_metadata_store(volume);
    const std::unique_ptr<MetadataItem> license = store->create_item(volume + "/LICENSE");
    QVERIFY(license);
    QCOMPARE(stored_text(*license, "kMDItemContentType"), "public.data");
    QCOMPARE(stored_text(*license, "kMDItemContentTypeTree"), "public.data;public.item");
    QCOMPARE(stored_text(*license, "kMDItemKind"), "Document");
    QCOMPARE(stored_text(*license, "kMDItemDateAdded"), "1687237824");

    const std::unique_ptr<MetadataItem> photo = store->create_item(volume + "/beach.jpg");
    QVERIFY(photo);
    QCOMPARE(stored_text(*photo, "kMDItemContentType"), "public.jpeg");
    QCOMPARE(stored_text(*photo, "kMDItemKind"), "JPEG image");
    const std::unique_ptr<MetadataItem> readme = store->create_item(volume + "/README");
    QVERIFY(readme);
    QCOMPARE(stored_text(*readme, "kMDItemContentType"), "public.data");
    QCOMPARE(stored_text(*readme, "kMDItemKind"), "Document");
}

// Images and PDFs are drawn with the GUI framework; its runtime folder is
// a private one, so that nothing of the test stays behind.
int main(int argc, char **argv)
{
    PrivateRuntimeDirectory runtime_directory;
    QGuiApplication application(argc, argv);
    tst_type_identity test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_type_identity.moc"
