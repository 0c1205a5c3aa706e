// Where a key's value comes from once files' content is read: the file's
// own attribute first, then its content, then what the file system says;
// and the importer is asked only where its answer can count, once a file.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "content/content_import_source.h"
#include "property_list_bytes.h"

#include <QtTest>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

Q_DECLARE_METATYPE(MetadataValue)

namespace {

// A file store reading content through the test importer, and how often the importer was asked.
struct Store
{
    explicit Store(const QString &root)
    {
        auto content = std::make_unique<ContentImportSource>(VANTREL_TEST_IMPORTER);
        source = content.get();
        files = std::make_unique<FileMetadataStore>(root, std::move(content));
    }
    int requests() const { return source->importer().requests(); }
    ContentImportSource *source = nullptr;
    std::unique_ptr<FileMetadataStore> files;
};

} // namespace

class tst_content_import : public QObject
{
    Q_OBJECT

private slots:
    void value_by_precedence_data();
    void value_by_precedence();
};

void tst_content_import::value_by_precedence_data()
{
    QTest::addColumn<QString>("name"); // link.jpg and pipe.jpg are made as such, to target.jpg
    QTest::addColumn<QByteArray>("content"); // the test importer's script
    QTest::addColumn<QByteArray>("attribute"); // the key's own attribute, binary property list
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");
    QTest::addColumn<QString>("same_as_key"); // when set: expected is that key's value instead
    QTest::addColumn<int>("requests");

    using namespace property_list_bytes;
    using V = MetadataValue;
    const QString created = "kMDItemContentCreationDate", birth = "kMDItemFSCreationDate", model = "kMDItemAcquisitionModel";
    // Each script follows its format's signature, as the worker checks it before asking.
    const QByteArray jpeg = "\xFF\xD8\xFF\n", dated = jpeg + "kMDItemContentCreationDate@1500000000";
    const QByteArray titled = "%PDF-\nkMDItemAuthors[Ann]\nkMDItemTitle=Quarterly", none;
    QTest::newRow("a photo's capture time over its birth time")
        << "photo.jpg" << dated << none << created << V::from_date(1500000000) << QString() << 1;
    QTest::newRow("the file's own date over its content's, without asking")
        << "photo.jpg" << dated << binary_date(100) << created << V::from_date(978307200 + 100) << QString() << 0;
    QTest::newRow("a document's title from its content")
        << "report.pdf" << titled << none << "kMDItemTitle" << V::from_text("Quarterly") << QString() << 1;
    QTest::newRow("the file's own title over its content's")
        << "report.pdf" << titled << binary(string("Given")) << "kMDItemTitle" << V::from_text("Given") << QString() << 0;
    QTest::newRow("birth time where the content has no date")
        << "photo.jpg" << jpeg + "kMDItemPixelWidth#640" << none << created << V() << birth << 1;
    QTest::newRow("birth time where the importer crashed")
        << "photo.jpg" << jpeg + "crash" << none << created << V() << birth << 1;
    QTest::newRow("a key no importer gives costs nothing")
        << "photo.jpg" << jpeg + "crash" << none << "kMDItemFSName" << V::from_text("photo.jpg") << QString() << 0;
    QTest::newRow("a type no importer reads costs nothing")
        << "notes.txt" << titled << none << "kMDItemTitle" << V() << QString() << 0;
    QTest::newRow("a key the content does not give is absent")
        << "song.mp3" << QByteArray("kMDItemAlbum=Blue") << none << "kMDItemTitle" << V() << QString() << 1;
    QTest::newRow("a link named like a photo is not opened") << "link.jpg" << none << none << model << V() << QString() << 0;
    QTest::newRow("a pipe named like a photo is not opened") << "pipe.jpg" << none << none << model << V() << QString() << 0;
}

void tst_content_import::value_by_precedence()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, attribute);
    QFETCH(QString, key);
    QFETCH(MetadataValue, expected);
    QFETCH(QString, same_as_key);
    QFETCH(int, requests);

    QTemporaryDir root;
    const QString path = root.filePath(name);
    const QByteArray native_path = native(path), attribute_name = "user.com.apple.metadata:" + key.toUtf8();
    QVERIFY(write_file(root.filePath("target.jpg"), "\xFF\xD8\xFF\nkMDItemAcquisitionModel=Followed"));
    QVERIFY(name == "link.jpg"   ? ::symlink("target.jpg", native_path.constData()) == 0
            : name == "pipe.jpg" ? ::mkfifo(native_path.constData(), 0600) == 0
                                 : write_file(path, content));
    if (!attribute.isEmpty() && ::setxattr(native_path.constData(), attribute_name.constData(), attribute.constData(),
                                           std::size_t(attribute.size()), 0) != 0)
        QSKIP("the temporary folder's file system refuses user extended attributes");

    Store store(root.path());
    const std::unique_ptr<MetadataItem> item = store.files->create_item(path);
    QVERIFY(item);
    const MetadataValue value = item->copy_attribute(key);
    QCOMPARE(value, same_as_key.isEmpty() ? expected : item->copy_attribute(same_as_key));
    QCOMPARE(store.requests(), requests);
    // Once asked, a file is not asked again whatever else is read of it, even when its importer died.
    for (const QString other : {"kMDItemPixelWidth", "kMDItemTitle", "kMDItemContentCreationDate"})
        item->copy_attribute(requests ? other : key);
    QCOMPARE(store.requests(), requests);
}

QTEST_GUILESS_MAIN(tst_content_import)
#include "tst_content_import.moc"
