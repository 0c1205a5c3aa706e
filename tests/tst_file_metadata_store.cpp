// The metadata a mounted volume's files carry themselves: real files,
// folders and links, with extended attributes written by the test.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "property_list_bytes.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace property_list_bytes;

using Attributes = QList<QPair<QByteArray, QByteArray>>;
Q_DECLARE_METATYPE(MetadataValue)
Q_DECLARE_METATYPE(Attributes)

namespace {

MetadataValue text(const char *utf8) { return MetadataValue::from_text(QString::fromUtf8(utf8)); }

MetadataValue texts(std::initializer_list<const char *> utf8)
{
    std::vector<MetadataValue> items;
    for (const char *item : utf8)
        items.push_back(text(item));
    return MetadataValue::from_array(std::move(items));
}

bool set_attribute(const QString &path, const QByteArray &name, const QByteArray &content)
{
    return lsetxattr(native(path).constData(), name.constData(), content.constData(), std::size_t(content.size()), 0) == 0;
}

bool set_modification_time(const QString &path, qint64 seconds, long nanoseconds)
{
    const struct timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    return utimensat(AT_FDCWD, native(path).constData(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

const QByteArray apple = "user.com.apple.metadata:";

} // namespace

class tst_file_metadata_store : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void value_data();
    void value();
    void path_and_name_data();
    void path_and_name();
    void no_item_data();
    void no_item();

private:
    std::unique_ptr<QTemporaryDir> folder;
    QString report; // a five-byte file, fresh for every test
    bool attributes_supported = false;
};

void tst_file_metadata_store::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(write_file(report = folder->filePath("report.txt"), "hello"));
    QVERIFY(set_modification_time(report, 1700000000, 500000000));
    attributes_supported = set_attribute(report, "user.vantrel.probe", "1");
}

void tst_file_metadata_store::value_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    // How each kind of list reads is the property list value's test; here, which attribute is read.
    const QByteArray from_browser = binary(array(string("https://example.org/a.zip")));
    const QByteArray finder_tags =
        binary(array(string("Red\n6"), string("Project X"), string("Blue\n4"), string("Ends with\n")));
    const MetadataValue tag_names = texts({"Red", "Project X", "Blue", "Ends with\n"});
    const MetadataValue none = MetadataValue::null_value();
    const QByteArray last_used = "user.com.apple.lastuseddate#PS";
    const auto row = [](const char *name, const Attributes &attributes, const QString &key, const MetadataValue &expected) {
        QTest::newRow(name) << attributes << key << expected;
    };

    row("list stored for the key", {{apple + "kMDItemWhereFroms", from_browser}}, "kMDItemWhereFroms",
        texts({"https://example.org/a.zip"}));
    row("stored value wins over the file system's", {{apple + "kMDItemFSName", xml(string("Renamed"))}}, "kMDItemFSName",
        text("Renamed"));
    row("empty attribute is another kind", {{apple + "kMDItemKind", QByteArray()}}, "kMDItemKind", MetadataValue::other());
    row("another key's attribute is not read", {{apple + "kMDItemKind", xml(string("PDF"))}}, "kMDItemAuthors", none);
    row("key with a zero character reads no shorter key's attribute", {{apple + "kMDItemKind", xml(string("PDF"))}},
        QString("kMDItemKind") + QChar(0) + "x", none);

    row("owner", {}, "kMDItemFSOwnerUserID", MetadataValue::from_number(double(geteuid())));
    row("group", {}, "kMDItemFSOwnerGroupID", MetadataValue::from_number(double(getegid())));
    row("content change date with its nanoseconds", {}, "kMDItemFSContentChangeDate", MetadataValue::from_date(1700000000.5));
    row("content modification date", {}, "kMDItemContentModificationDate", MetadataValue::from_date(1700000000.5));

    // 1700000000 s and 250000000 ns, little-endian, as macOS records a file's last opening.
    const QByteArray opened = QByteArray::fromHex("00f1536500000000" "80b2e60e00000000");
    row("last used date from its seconds and nanoseconds", {{last_used, opened}}, "kMDItemLastUsedDate",
        MetadataValue::from_date(1700000000.25));
    row("last used date of the wrong length is another kind", {{last_used, QByteArray(15, '\1')}}, "kMDItemLastUsedDate",
        MetadataValue::other());
    row("never opened", {}, "kMDItemLastUsedDate", none);

    row("Finder tags lose their colour, nothing else", {{apple + "_kMDItemUserTags", finder_tags}}, "kMDItemUserTags",
        tag_names);
    row("Finder tags win over desktop tags", {{"user.xdg.tags", "work"}, {apple + "_kMDItemUserTags", finder_tags}},
        "kMDItemUserTags", tag_names);
    row("desktop tags split at commas", {{"user.xdg.tags", "work,urgent,,x y"}}, "kMDItemUserTags",
        texts({"work", "urgent", "x y"}));
    row("tags stored under their own key win",
        {{"user.xdg.tags", "work"}, {apple + "kMDItemUserTags", xml(array(string("Own")))}}, "kMDItemUserTags", texts({"Own"}));

    row("download origin, then referrer",
        {{"user.xdg.referrer.url", "https://example.org/"}, {"user.xdg.origin.url", "https://example.org/a.zip"}},
        "kMDItemWhereFroms", texts({"https://example.org/a.zip", "https://example.org/"}));
    row("download referrer alone", {{"user.xdg.referrer.url", "https://example.org/"}}, "kMDItemWhereFroms",
        texts({"https://example.org/"}));
    row("stored download sources win over the desktop's",
        {{"user.xdg.origin.url", "https://elsewhere.example/"}, {apple + "kMDItemWhereFroms", from_browser}},
        "kMDItemWhereFroms", texts({"https://example.org/a.zip"}));
}

void tst_file_metadata_store::value()
{
    QFETCH(Attributes, attributes);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);

    if (!attributes.isEmpty() && !attributes_supported)
        QSKIP("the temporary folder's file system refuses user extended attributes");
    for (const auto &[name, content] : attributes)
        QVERIFY2(set_attribute(report, name, content), name.constData());
    FileMetadataStore store;
    const std::unique_ptr<MetadataItem> item = store.create_item(report);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute(key), expected);
}

void tst_file_metadata_store::path_and_name_data()
{
    QTest::addColumn<QString>("relative_path"); // made inside the test's folder
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("name"); // what is made, where the path leads

    QTest::newRow("folder given with a trailing slash is named without it") << "Photos/" << "folder" << "Photos";
    QTest::newRow("path ending in '..' names the folder it reached, not '..'") << "Photos/Inner/.." << "folder"
                                                                             << "Photos";
    QTest::newRow("path ending in '.' names the folder itself") << "Photos/." << "folder" << "Photos";
    QTest::newRow("file reached through a linked folder is named where it lies") << "Shortcut/report.txt" << "file"
                                                                                 << "Real/report.txt";
    QTest::newRow("named pipe is looked at, never opened") << "pipe" << "pipe" << "pipe";
    QTest::newRow("name with spaces and accents") << "Caf\u00e9 menu.txt" << "file" << "Caf\u00e9 menu.txt";
    QTest::newRow("link to a file outside is looked at, never followed") << "evidence-link" << "link" << "evidence-link";
}

void tst_file_metadata_store::path_and_name()
{
    QFETCH(QString, relative_path);
    QFETCH(QString, kind);
    QFETCH(QString, name);

    const QString path = folder->path() + '/' + relative_path;
    const QByteArray made = native(folder->filePath(name));
    // The link's target lies outside the examined tree, as a file of the examining machine would.
    QTemporaryDir outside;
    const QString target = outside.filePath("machine-file");
    QVERIFY(write_file(target, "secret contents") && set_modification_time(target, 1000000000, 0));
    if (attributes_supported)
        QVERIFY(set_attribute(target, apple + "kMDItemWhereFroms", binary(array(string("https://machine.example/"))))
                && set_attribute(target, "user.xdg.tags", "machine"));
    // A file below a folder is reached through a link to that folder.
    if (name.contains('/'))
        QVERIFY(QDir().mkpath(folder->filePath(name.section('/', 0, -2)))
                && symlink(native(name.section('/', 0, -2)).constData(), native(folder->filePath("Shortcut"))) == 0);
    if (kind == "folder")
        QVERIFY(mkdir(made.constData(), 0755) == 0 && mkdir(made + "/Inner", 0755) == 0);
    else if (kind == "pipe")
        QVERIFY(mkfifo(made.constData(), 0644) == 0);
    else if (kind == "link")
        QVERIFY(symlink(native(target).constData(), made.constData()) == 0);
    else // modified in 2023, unlike its birth moments ago
        QVERIFY(write_file(folder->filePath(name), "12345678") && set_modification_time(folder->filePath(name), 1700000000, 0));

    FileMetadataStore store;
    const std::unique_ptr<MetadataItem> item = store.create_item(path);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute("kMDItemFSName"), text(name.section('/', -1).toUtf8().constData()));
    QCOMPARE(item->copy_attribute("kMDItemPath"), MetadataValue::from_text(folder->filePath(name)));
    QCOMPARE(item->copy_attribute("kMDItemFSSize"), kind == "file" ? MetadataValue::from_number(8) : MetadataValue());
    QVERIFY(item->copy_attribute("kMDItemFSContentChangeDate") != MetadataValue::from_date(1000000000));
    QCOMPARE(item->copy_attribute("kMDItemWhereFroms"), MetadataValue());
    QCOMPARE(item->copy_attribute("kMDItemUserTags"), MetadataValue());
    // The birth time, where the file system keeps one.
    struct statx status = {};
    QVERIFY(statx(AT_FDCWD, made.constData(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) == 0);
    const MetadataValue created = item->copy_attribute("kMDItemFSCreationDate");
    QCOMPARE(item->copy_attribute("kMDItemContentCreationDate"), created);
    QCOMPARE(created, status.stx_mask & STATX_BTIME
                          ? MetadataValue::from_date(double(status.stx_btime.tv_sec) + status.stx_btime.tv_nsec / 1e9)
                          : MetadataValue());
}

void tst_file_metadata_store::no_item_data()
{
    QTest::addColumn<QString>("path"); // "{folder}" stands for the test's folder

    QTest::newRow("missing file") << "{folder}/missing.txt";
    QTest::newRow("missing folder on the way") << "{folder}/missing/report.txt";
    QTest::newRow("regular file used as a folder") << "{folder}/report.txt/inside";
    QTest::newRow("empty path") << "";
    QTest::newRow("name with a zero character") << QString("{folder}/report.txt") + QChar(0) + "x";
    QTest::newRow("name that is no UTF-8 cannot be reached") << "{folder}/caf\xef\xbf\xbd";
    QTest::newRow("file in a folder its owner may not search") << "{folder}/locked/inside.txt";
}

void tst_file_metadata_store::no_item()
{
    QFETCH(QString, path);
    path.replace("{folder}", folder->path());
    if (path.contains("/locked/") && geteuid() == 0)
        QSKIP("the administrator searches every folder; run the tests as another user for this");
    // A name made of bytes that no text can stand for, which the temporary
    // folder could not remove by its name either; and a folder locked to its owner.
    const QByteArray latin1_name = native(folder->path()) + "/caf\xe9";
    const int made = open(latin1_name.constData(), O_CREAT | O_WRONLY, 0644);
    QVERIFY(made >= 0 && close(made) == 0);
    const QByteArray locked = native(folder->filePath("locked"));
    QVERIFY(write_file(folder->filePath("locked/inside.txt"), "") && chmod(locked.constData(), 0) == 0);

    const bool has_item = bool(FileMetadataStore().create_item(path));
    unlink(latin1_name.constData());
    chmod(locked.constData(), 0755);
    QVERIFY(!has_item);
}

QTEST_GUILESS_MAIN(tst_file_metadata_store)
#include "tst_file_metadata_store.moc"
