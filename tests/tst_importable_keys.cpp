// The worker decides without the importer process whether a file's content
// can answer a key; a key or type its table lacks would never be asked of
// the importers, so the shipped importers are held to it.

#include "importers/importable_keys.h"
#include "content_importers.h"
#include "type_identity/content_type.h"
#include "importer_loop.h"

#include <QtTest>

namespace {

// An importer that only declares what it reads and gives.
class DeclaredImporter : public ContentImporter
{
public:
    DeclaredImporter(QStringList types, QStringList keys) : types(std::move(types)), given(std::move(keys)) {}
    QString name() const override { return QStringLiteral("declared"); }
    bool reads(const QString &content_type) const override { return types.contains(content_type); }
    QStringList keys() const override { return given; }
    ImportedValues import(int, const QString &) const override { return {}; }

private:
    QStringList types;
    QStringList given;
};

// What of the importers the worker's table keeps from being asked: a key
// not listed for a type the importer reads, or an importer that reads no
// listed type at all.
QStringList never_asked(const ContentImporters &importers)
{
    QStringList missing;
    for (const std::unique_ptr<ContentImporter> &importer : importers) {
        bool reads_any = false;
        for (const QString &type : importable_content_types()) {
            if (!importer->reads(type))
                continue;
            reads_any = true;
            for (const QString &key : importer->keys()) {
                if (!importable_keys(type).contains(key))
                    missing.append(importer->name() + ' ' + type + ' ' + key);
            }
        }
        if (!reads_any)
            missing.append(importer->name());
    }
    return missing;
}

} // namespace

class tst_importable_keys : public QObject
{
    Q_OBJECT

private slots:
    void shipped_importers_are_all_asked();
    void table_catches_what_would_never_be_asked_data();
    void table_catches_what_would_never_be_asked();
    void importer_chosen_by_the_type_table_data();
    void importer_chosen_by_the_type_table();
};

void tst_importable_keys::shipped_importers_are_all_asked()
{
    QCOMPARE(never_asked(all_content_importers()), QStringList());
}

void tst_importable_keys::table_catches_what_would_never_be_asked_data()
{
    QTest::addColumn<QStringList>("types");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("missing");

    QTest::newRow("an importer within the table")
        << QStringList{"public.jpeg", "public.png"} << QStringList{"kMDItemPixelWidth", "kMDItemAcquisitionMake"}
        << QStringList();
    QTest::newRow("a key the table lacks for one of its types")
        << QStringList{"com.adobe.pdf"} << QStringList{"kMDItemTitle", "kMDItemPixelWidth"}
        << QStringList{"declared com.adobe.pdf kMDItemPixelWidth"};
    QTest::newRow("a type the table does not know") << QStringList{"public.rtf"} << QStringList{"kMDItemTitle"}
                                                    << QStringList{"declared"};
}

void tst_importable_keys::table_catches_what_would_never_be_asked()
{
    QFETCH(QStringList, types);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, missing);
    ContentImporters importers;
    importers.push_back(std::make_unique<DeclaredImporter>(types, keys));
    QCOMPARE(never_asked(importers), missing);
}

void tst_importable_keys::importer_chosen_by_the_type_table_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<bool>("importable");

    QTest::newRow("a camera's upper-case name") << "IMG_0001.JPG" << "public.jpeg" << true;
    QTest::newRow("a document") << "invoice.pdf" << "com.adobe.pdf" << true;
    QTest::newRow("the last extension counts") << "photo.jpg.pdf" << "com.adobe.pdf" << true;
    QTest::newRow("a song") << "track 01.mp3" << "public.mp3" << true;
    QTest::newRow("a phone's film") << "IMG_0002.MOV" << "com.apple.quicktime-movie" << true;
    QTest::newRow("a word-processing document") << "report.docx"
                                               << "org.openxmlformats.wordprocessingml.document" << true;
    QTest::newRow("an OpenDocument spreadsheet") << "budget.ods" << "org.oasis-open.opendocument.spreadsheet"
                                                 << true;
    QTest::newRow("a hidden name is no extension") << ".pdf" << "public.data" << false;
    QTest::newRow("a type no importer reads") << "notes.txt" << "public.plain-text" << false;
    QTest::newRow("no extension at all") << "LICENSE" << "public.data" << false;
}

void tst_importable_keys::importer_chosen_by_the_type_table()
{
    QFETCH(QString, name);
    QFETCH(QString, content_type);
    QFETCH(bool, importable);
    // The type table and the importers must agree on identifiers, or a
    // family's files are never handed to it.
    QCOMPARE(content_type_identifier(name), content_type);
    QCOMPARE(!importable_keys(content_type).isEmpty(), importable);
}

QTEST_GUILESS_MAIN(tst_importable_keys)
#include "tst_importable_keys.moc"
