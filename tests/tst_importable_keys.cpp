// The worker decides without the importer process whether a file's content
// can answer a key; a key or type its table lacks would never be asked of
// the importers, so the shipped importers are held to it.

#include "content/importable_keys.h"
#include "content_importers.h"
#include "type_identity/content_type.h"
#include "importer_loop.h"

#include <QtTest>

class tst_importable_keys : public QObject
{
    Q_OBJECT

private slots:
    void shipped_importers_are_all_asked();
    void importer_chosen_by_the_type_table_data();
    void importer_chosen_by_the_type_table();
};

// Every key an importer gives for a type it reads is in the worker's table
// for that type, and every importer reads some type the table lists.
void tst_importable_keys::shipped_importers_are_all_asked()
{
    QStringList never_asked;
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        bool reads_any = false;
        for (const QString &type : importable_content_types()) {
            if (!importer->reads(type))
                continue;
            reads_any = true;
            for (const QString &key : importer->keys()) {
                if (!importable_keys(type).contains(key))
                    never_asked.append(importer->name() + ' ' + type + ' ' + key);
            }
        }
        if (!reads_any)
            never_asked.append(importer->name());
    }
    QCOMPARE(never_asked, QStringList());
}

void tst_importable_keys::importer_chosen_by_the_type_table_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<bool>("importable");

    QTest::newRow("a camera's upper-case name") << "IMG_0001.JPG" << "public.jpeg" << true;
    QTest::newRow("the last extension counts") << "photo.jpg.pdf" << "com.adobe.pdf" << true;
    QTest::newRow("a song") << "track 01.mp3" << "public.mp3" << true;
    QTest::newRow("a phone's film") << "IMG_0002.MOV" << "com.apple.quicktime-movie" << true;
    QTest::newRow("a word-processing document") << "report.docx" << "org.openxmlformats.wordprocessingml.document" << true;
    QTest::newRow("an OpenDocument spreadsheet") << "budget.ods" << "org.oasis-open.opendocument.spreadsheet" << true;
    QTest::newRow("a hidden name is no extension") << ".pdf" << "public.data" << false;
    QTest::newRow("a type no importer reads") << "notes.txt" << "public.plain-text" << false;
    QTest::newRow("no extension at all") << "LICENSE" << "public.data" << false;
}

// The type table and the importers must agree on identifiers, or a
// family's files are never handed to it.
void tst_importable_keys::importer_chosen_by_the_type_table()
{
    QFETCH(QString, name);
    QFETCH(QString, content_type);
    QFETCH(bool, importable);
    QCOMPARE(content_type_identifier(name), content_type);
    QCOMPARE(!importable_keys(content_type).isEmpty(), importable);
}

QTEST_GUILESS_MAIN(tst_importable_keys)
#include "tst_importable_keys.moc"
