// The metadata a mounted volume's files carry themselves: real files,
// folders and links, with extended attributes written by the test.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "property_list_bytes.h"
#include "vantrel.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

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
    return lsetxattr(native(path).constData(), name.constData(), content.constData(),
                     std::size_t(content.size()), 0) == 0;
}

// Seconds and nanoseconds as macOS records a file's last opening.
QByteArray last_opening(qint64 seconds, qint64 nanoseconds)
{
    QByteArray bytes;
    for (qint64 part : {seconds, nanoseconds}) {
        for (int i = 0; i < 8; ++i)
            bytes.append(char((quint64(part) >> (8 * i)) & 0xFF));
    }
    return bytes;
}

void set_modification_time(const QString &path, qint64 seconds, long nanoseconds)
{
    const struct timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    QVERIFY(utimensat(AT_FDCWD, native(path).constData(), times, AT_SYMLINK_NOFOLLOW) == 0);
}

const QByteArray apple = "user.com.apple.metadata:";

} // namespace

class tst_file_metadata_store : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void value_data();
    void value();
    void path_and_name_data();
    void path_and_name();
    void creation_date_where_the_file_system_keeps_one();
    void link_is_never_followed();
    void no_item_data();
    void no_item();
    void unsearchable_folder_hides_its_files();
    void reader_rows_from_real_files();

private:
    std::unique_ptr<QTemporaryDir> folder;
    QString report; // a five-byte file, fresh for every test
    bool attributes_supported = false;
};

void tst_file_metadata_store::initTestCase()
{
    QTemporaryDir probe;
    QVERIFY(write_file(probe.filePath("probe"), ""));
    attributes_supported = set_attribute(probe.filePath("probe"), "user.vantrel.probe", "1");
    if (!attributes_supported)
        qWarning("the temporary folder's file system refuses user attributes: %s", strerror(errno));
}

void tst_file_metadata_store::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    QVERIFY(write_file(report = folder->filePath("report.txt"), "hello"));
    set_modification_time(report, 1700000000, 500000000);
}

void tst_file_metadata_store::value_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");

    const QByteArray from_browser = binary(array(string("https://example.org/a.zip")));
    const QByteArray finder_tags = binary(array(string("Red\n6"), string("Project X"),
                                                string("Blue\n4"), string("Ends with\n")));
    const Attributes none;

    QTest::newRow("binary list stored for the key")
        << Attributes{{apple + "kMDItemWhereFroms", from_browser}} << "kMDItemWhereFroms"
        << texts({"https://example.org/a.zip"});
    QTest::newRow("XML list stored for the key")
        << Attributes{{apple + "kMDItemAuthors", xml(array(string("Ann"), string("Bo")))}}
        << "kMDItemAuthors" << texts({"Ann", "Bo"});
    QTest::newRow("stored value wins over the file system's")
        << Attributes{{apple + "kMDItemFSName", xml(string("Renamed"))}} << "kMDItemFSName"
        << text("Renamed");
    QTest::newRow("garbage attribute is another kind")
        << Attributes{{apple + "kMDItemKind", QByteArray::fromHex("deadbeef00ff")}} << "kMDItemKind"
        << MetadataValue::other();
    QTest::newRow("empty attribute is another kind")
        << Attributes{{apple + "kMDItemKind", QByteArray()}} << "kMDItemKind"
        << MetadataValue::other();
    QTest::newRow("another key's attribute is not read")
        << Attributes{{apple + "kMDItemKind", xml(string("PDF"))}} << "kMDItemAuthors"
        << MetadataValue::null_value();
    QTest::newRow("key with a zero character reads no shorter key's attribute")
        << Attributes{{apple + "kMDItemKind", xml(string("PDF"))}}
        << QString("kMDItemKind") + QChar(0) + "x" << MetadataValue::null_value();
    QTest::newRow("unknown key without attribute has no value")
        << none << "kMDItemAuthors" << MetadataValue::null_value();

    QTest::newRow("name") << none << "kMDItemFSName" << text("report.txt");
    QTest::newRow("display name") << none << "kMDItemDisplayName" << text("report.txt");
    QTest::newRow("size of a regular file") << none << "kMDItemFSSize"
                                            << MetadataValue::from_number(5);
    QTest::newRow("owner") << none << "kMDItemFSOwnerUserID"
                           << MetadataValue::from_number(double(geteuid()));
    QTest::newRow("group") << none << "kMDItemFSOwnerGroupID"
                           << MetadataValue::from_number(double(getegid()));
    QTest::newRow("content change date with its nanoseconds")
        << none << "kMDItemFSContentChangeDate" << MetadataValue::from_date(1700000000.5);
    QTest::newRow("content modification date") << none << "kMDItemContentModificationDate"
                                                << MetadataValue::from_date(1700000000.5);

    QTest::newRow("last used date from its seconds and nanoseconds")
        << Attributes{{"user.com.apple.lastuseddate#PS", last_opening(1700000000, 250000000)}}
        << "kMDItemLastUsedDate" << MetadataValue::from_date(1700000000.25);
    QTest::newRow("last used date of the wrong length is another kind")
        << Attributes{{"user.com.apple.lastuseddate#PS", QByteArray(15, '\1')}}
        << "kMDItemLastUsedDate" << MetadataValue::other();
    QTest::newRow("never opened") << none << "kMDItemLastUsedDate" << MetadataValue::null_value();

    QTest::newRow("Finder tags lose their colour, nothing else")
        << Attributes{{apple + "_kMDItemUserTags", finder_tags}} << "kMDItemUserTags"
        << texts({"Red", "Project X", "Blue", "Ends with\n"});
    QTest::newRow("Finder tags win over desktop tags")
        << Attributes{{"user.xdg.tags", "work"}, {apple + "_kMDItemUserTags", finder_tags}}
        << "kMDItemUserTags" << texts({"Red", "Project X", "Blue", "Ends with\n"});
    QTest::newRow("desktop tags split at commas")
        << Attributes{{"user.xdg.tags", "work,urgent,,x y"}} << "kMDItemUserTags"
        << texts({"work", "urgent", "x y"});
    QTest::newRow("tags stored under their own key win")
        << Attributes{{"user.xdg.tags", "work"}, {apple + "kMDItemUserTags", xml(array(string("Own")))}}
        << "kMDItemUserTags" << texts({"Own"});
    QTest::newRow("no tags") << none << "kMDItemUserTags" << MetadataValue::null_value();

    QTest::newRow("download origin, then referrer")
        << Attributes{{"user.xdg.referrer.url", "https://example.org/"},
                      {"user.xdg.origin.url", "https://example.org/a.zip"}}
        << "kMDItemWhereFroms" << texts({"https://example.org/a.zip", "https://example.org/"});
    QTest::newRow("download referrer alone")
        << Attributes{{"user.xdg.referrer.url", "https://example.org/"}} << "kMDItemWhereFroms"
        << texts({"https://example.org/"});
    QTest::newRow("stored download sources win over the desktop's")
        << Attributes{{"user.xdg.origin.url", "https://elsewhere.example/"},
                      {apple + "kMDItemWhereFroms", from_browser}}
        << "kMDItemWhereFroms" << texts({"https://example.org/a.zip"});
    QTest::newRow("no download sources") << none << "kMDItemWhereFroms"
                                         << MetadataValue::null_value();
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
    QTest::addColumn<QString>("name");

    QTest::newRow("folder") << "Photos" << "folder" << "Photos";
    QTest::newRow("folder given with a trailing slash") << "Photos/" << "folder" << "Photos";
    QTest::newRow("named pipe is looked at, never opened") << "pipe" << "pipe" << "pipe";
    QTest::newRow("name with spaces and accents") << "Caf\u00e9 menu.txt" << "file"
                                                  << "Caf\u00e9 menu.txt";
    QTest::newRow("link pointing nowhere") << "dangling" << "link" << "dangling";
}

void tst_file_metadata_store::path_and_name()
{
    QFETCH(QString, relative_path);
    QFETCH(QString, kind);
    QFETCH(QString, name);

    const QString path = folder->path() + '/' + relative_path;
    const QByteArray made = native(folder->filePath(name));
    if (kind == "folder")
        QVERIFY(mkdir(made.constData(), 0755) == 0);
    else if (kind == "pipe")
        QVERIFY(mkfifo(made.constData(), 0644) == 0);
    else if (kind == "link")
        QVERIFY(symlink("/nonexistent/target", made.constData()) == 0);
    else
        QVERIFY(write_file(folder->filePath(name), "12345678"));

    FileMetadataStore store;
    const std::unique_ptr<MetadataItem> item = store.create_item(path);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute("kMDItemFSName"), text(name.toUtf8().constData()));
    QCOMPARE(item->copy_attribute("kMDItemPath"), MetadataValue::from_text(path));
    const MetadataValue size = item->copy_attribute("kMDItemFSSize");
    if (kind == "file")
        QCOMPARE(size, MetadataValue::from_number(8));
    else
        QCOMPARE(size, MetadataValue::null_value());
}

void tst_file_metadata_store::creation_date_where_the_file_system_keeps_one()
{
    struct statx status = {};
    QVERIFY(statx(AT_FDCWD, native(report).constData(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status)
            == 0);
    FileMetadataStore store;
    const std::unique_ptr<MetadataItem> item = store.create_item(report);
    QVERIFY(item);
    const MetadataValue created = item->copy_attribute("kMDItemFSCreationDate");
    QCOMPARE(item->copy_attribute("kMDItemContentCreationDate"), created);
    if (!(status.stx_mask & STATX_BTIME)) {
        QCOMPARE(created, MetadataValue::null_value());
        QSKIP("the temporary folder's file system keeps no creation times");
    }
    QCOMPARE(created, MetadataValue::from_date(double(status.stx_btime.tv_sec)
                                               + status.stx_btime.tv_nsec / 1e9));
    // Made moments ago, unlike its modification date set into 2023.
    QVERIFY(qAbs(created.number - QDateTime::currentSecsSinceEpoch()) < 600);
}

void tst_file_metadata_store::link_is_never_followed()
{
    // The target lies outside the examined tree, as a file of the examining machine would.
    QTemporaryDir outside;
    const QString target = outside.filePath("machine-file");
    QVERIFY(write_file(target, "secret contents"));
    set_modification_time(target, 1000000000, 0);
    if (attributes_supported) {
        QVERIFY(set_attribute(target, apple + "kMDItemWhereFroms",
                              binary(array(string("https://machine.example/")))));
        QVERIFY(set_attribute(target, "user.xdg.tags", "machine"));
    }
    const QString link = folder->filePath("evidence-link");
    QVERIFY(symlink(native(target).constData(), native(link).constData()) == 0);

    FileMetadataStore store;
    const std::unique_ptr<MetadataItem> item = store.create_item(link);
    QVERIFY(item);
    QCOMPARE(item->copy_attribute("kMDItemFSName"), text("evidence-link"));
    QCOMPARE(item->copy_attribute("kMDItemFSSize"), MetadataValue::null_value());
    QVERIFY(item->copy_attribute("kMDItemFSContentChangeDate")
            != MetadataValue::from_date(1000000000));
    QCOMPARE(item->copy_attribute("kMDItemWhereFroms"), MetadataValue::null_value());
    QCOMPARE(item->copy_attribute("kMDItemUserTags"), MetadataValue::null_value());
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
}

void tst_file_metadata_store::no_item()
{
    QFETCH(QString, path);
    path.replace("{folder}", folder->path());
    // A name made of bytes that no text can stand for; the temporary
    // folder could not remove it by its name either.
    const QByteArray latin1_name = native(folder->path()) + "/caf\xe9";
    const int made = open(latin1_name.constData(), O_CREAT | O_WRONLY, 0644);
    QVERIFY(made >= 0);
    close(made);

    FileMetadataStore store;
    const bool has_item = bool(store.create_item(path));
    unlink(latin1_name.constData());
    QVERIFY(!has_item);
}

void tst_file_metadata_store::unsearchable_folder_hides_its_files()
{
    if (geteuid() == 0)
        QSKIP("the administrator searches every folder; run the tests as another user for this");
    const QString locked = folder->filePath("locked");
    QVERIFY(mkdir(native(locked).constData(), 0755) == 0);
    const QString inside = locked + "/inside.txt";
    QVERIFY(write_file(inside, ""));
    QVERIFY(chmod(native(locked).constData(), 0) == 0);

    FileMetadataStore store;
    const bool has_item = bool(store.create_item(inside));
    chmod(native(locked).constData(), 0755);
    QVERIFY(!has_item);
}

void tst_file_metadata_store::reader_rows_from_real_files()
{
    if (!attributes_supported)
        QSKIP("the temporary folder's file system refuses user extended attributes");
    QVERIFY(set_attribute(report, apple + "kMDItemWhereFroms",
                          binary(array(string("https://example.org/a"), string("https://example.org/")))));
    QVERIFY(set_attribute(report, apple + "kMDItemAuthors", "not a property list"));
    const QStringList keys = {"kMDItemFSName", "kMDItemWhereFroms", "kMDItemAuthors",
                              "kMDItemFSSize", "kMDItemContentModificationDate", "kMDItemTitle"};

    // Without a store of its own the reader asks the platform's.
    vantrel reader;
    reader.fill_apple_metadata_from_api(report, keys, QString());
    QCOMPARE(reader.extracted_keys_list, keys);
    const QStringList values = reader.extracted_values_list;
    QCOMPARE(values.size(), keys.size());
    QCOMPARE(values.at(0), QStringLiteral("report.txt"));
    QCOMPARE(values.at(1), QStringLiteral("https://example.org/a;https://example.org/"));
    QVERIFY(values.at(2).isNull());
    QCOMPARE(values.at(3), QStringLiteral("5"));
    QCOMPARE(values.at(4), QStringLiteral("1700000000"));
    QVERIFY(values.at(5).isNull());

    reader.fill_apple_metadata_from_api(folder->filePath("missing"), keys, QString());
    QCOMPARE(reader.extracted_values_list, QStringList(keys.size(), QString("")));
    QVERIFY(!reader.extracted_values_list.at(0).isNull());
}

QTEST_GUILESS_MAIN(tst_file_metadata_store)
#include "tst_file_metadata_store.moc"
