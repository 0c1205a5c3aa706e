// Where a key's value comes from once files' content is read: the file's
// own attribute first, then its content, then what the file system says;
// and the importer is asked only where its answer can count, once a file.

#include "evidence_files.h"
#include "file/file_metadata_store.h"
#include "importers/content_import_source.h"
#include "property_list_bytes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace std::chrono_literals;

Q_DECLARE_METATYPE(MetadataValue)

namespace {

const QByteArray attribute_prefix = "user.com.apple.metadata:";

// A file store reading content through the test importer, and how often
// the importer was asked.
struct Store
{
    explicit Store(const QString &root)
    {
        ImporterLimits limits;
        limits.time_per_file = 1000ms;
        auto content = std::make_unique<ContentImportSource>(VANTREL_TEST_IMPORTER, limits);
        source = content.get();
        files = std::make_unique<FileMetadataStore>(root, std::move(content));
    }
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
    void importer_asked_once_per_file();
};

void tst_content_import::value_by_precedence_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("attribute"); // the key's own attribute, binary property list
    QTest::addColumn<QString>("key");
    QTest::addColumn<MetadataValue>("expected");
    QTest::addColumn<QString>("same_as_key"); // when set: expected is that key's value instead
    QTest::addColumn<int>("requests");

    using namespace property_list_bytes;
    const QString created = "kMDItemContentCreationDate";
    QTest::newRow("a photo's capture time over its birth time")
        << "photo.jpg" << QByteArray("\xFF\xD8\xFF\nkMDItemContentCreationDate@1500000000") << QByteArray() << created
        << MetadataValue::from_date(1500000000) << QString() << 1;
    QTest::newRow("the file's own date over its content's, without asking")
        << "photo.jpg" << QByteArray("\xFF\xD8\xFF\nkMDItemContentCreationDate@1500000000") << binary_date(100) << created
        << MetadataValue::from_date(978307200 + 100) << QString() << 0;
    QTest::newRow("a document's title from its content")
        << "report.pdf" << QByteArray("%PDF-\nkMDItemTitle=Quarterly") << QByteArray() << "kMDItemTitle"
        << MetadataValue::from_text("Quarterly") << QString() << 1;
    QTest::newRow("the file's own title over its content's")
        << "report.pdf" << QByteArray("%PDF-\nkMDItemTitle=Quarterly") << binary(string("Given")) << "kMDItemTitle"
        << MetadataValue::from_text("Given") << QString() << 0;
    QTest::newRow("birth time where the content has no date")
        << "photo.jpg" << QByteArray("\xFF\xD8\xFF\nkMDItemPixelWidth#640") << QByteArray() << created << MetadataValue()
        << "kMDItemFSCreationDate" << 1;
    QTest::newRow("birth time where the importer crashed")
        << "photo.jpg" << QByteArray("\xFF\xD8\xFF\ncrash") << QByteArray() << created << MetadataValue()
        << "kMDItemFSCreationDate" << 1;
    QTest::newRow("a key no importer gives costs nothing")
        << "photo.jpg" << QByteArray("\xFF\xD8\xFF\ncrash") << QByteArray() << "kMDItemFSName"
        << MetadataValue::from_text("photo.jpg") << QString() << 0;
    QTest::newRow("a type no importer reads costs nothing")
        << "notes.txt" << QByteArray("kMDItemTitle=never") << QByteArray() << "kMDItemTitle" << MetadataValue()
        << QString() << 0;
    QTest::newRow("a key the content does not give is absent")
        << "song.mp3" << QByteArray("kMDItemAlbum=Blue") << QByteArray() << "kMDItemTitle" << MetadataValue()
        << QString() << 1;
    QTest::newRow("a link named like a photo is not opened")
        << "link.jpg" << QByteArray() << QByteArray() << "kMDItemAcquisitionModel" << MetadataValue() << QString()
        << 0;
    QTest::newRow("a pipe named like a photo is not opened")
        << "pipe.jpg" << QByteArray() << QByteArray() << "kMDItemAcquisitionModel" << MetadataValue() << QString()
        << 0;
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
    const QByteArray native_path = native(path);
    // A target a link could lead the importer to, were links followed.
    QVERIFY(write_file(root.filePath("target.jpg"), "\xFF\xD8\xFF\nkMDItemAcquisitionModel=Followed"));
    if (name == "link.jpg")
        QVERIFY(::symlink("target.jpg", native_path.constData()) == 0);
    else if (name == "pipe.jpg")
        QVERIFY(::mkfifo(native_path.constData(), 0600) == 0);
    else
        QVERIFY(write_file(path, content));
    if (!attribute.isEmpty()) {
        const QByteArray attribute_name = attribute_prefix + key.toUtf8();
        if (::setxattr(native_path.constData(), attribute_name.constData(), attribute.constData(),
                       std::size_t(attribute.size()), 0) != 0)
            QSKIP("the temporary folder's file system refuses user extended attributes");
    }

    Store store(root.path());
    const std::unique_ptr<MetadataItem> item = store.files->create_item(path);
    QVERIFY(item);
    const MetadataValue value = item->copy_attribute(key);
    if (!same_as_key.isEmpty())
        expected = item->copy_attribute(same_as_key);
    QCOMPARE(value, expected);
    QCOMPARE(store.source->importer().requests(), requests);
}

void tst_content_import::importer_asked_once_per_file()
{
    QTemporaryDir root;
    QVERIFY(write_file(root.filePath("a.jpg"), "\xFF\xD8\xFF\nkMDItemPixelWidth#640\nkMDItemPixelHeight#480"));
    QVERIFY(write_file(root.filePath("b.jpg"), "\xFF\xD8\xFF\ncrash"));
    Store store(root.path());
    const QStringList keys = {"kMDItemPixelWidth", "kMDItemFSName", "kMDItemPixelHeight", "kMDItemPixelWidth",
                              "kMDItemAcquisitionMake"};
    for (const QString name : {"a.jpg", "b.jpg"}) {
        const std::unique_ptr<MetadataItem> item = store.files->create_item(root.filePath(name));
        for (const QString &key : keys)
            item->copy_attribute(key);
    }
    // Even a file whose importer died is not asked again.
    QCOMPARE(store.source->importer().requests(), 2);
    QCOMPARE(store.files->create_item(root.filePath("a.jpg"))->copy_attribute("kMDItemPixelHeight"),
             MetadataValue::from_number(480));
}

QTEST_GUILESS_MAIN(tst_content_import)
#include "tst_content_import.moc"
