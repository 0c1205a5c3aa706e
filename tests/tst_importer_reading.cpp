// The one table of what each importer reads, proven both ways: every type
// in it reaches, through the worker's own typing, dispatch and signature
// check, the importer the table names, which finds values in a sample of
// it; every importer gives only keys the table lists; and the reading guide (docs/reading.md) lists
// what the table says.

#include "content_importers.h"
#include "content_samples.h"
#include "content_signature.h"
#include "content/importable_keys.h"
#include "importer_reading.h"
#include "type_identity/content_type.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <map>

namespace {

// A sample of every type the table lists, found by the type the worker gives its name.
const QStringList samples_read = {
    "photo.jpg", "alpha.png", "scan.tif", "small.heic", "small.heif", "image.gif", "image.webp", "photo.dng",
    "photo.cr2", "photo.nef", "photo.arw", "photo.cr3", "photo.raf", "photo.orf", "photo.rw2", "written.pdf",
    "song.mp3", "song.m4a", "song.m4p", "song.m4b", "song.wav", "song.aiff", "song.aifc", "song.flac", "song.ogg",
    "clip.mov", "clip.mp4", "clip.m4v", "clip.3gp", "clip.avi", "clip.mpg", "clip.webm", "report.docx", "sheet.xlsx",
    "deck.pptx", "minutes.odt", "sheet.ods", "slides.odp",
};

// the reading guide's table rows for an importer: its types cell and the keys it names.
struct ReadmeRow
{
    QString types;
    QStringList keys;
};

// The rows of the reading guide's table that begins with header, up to the blank line
// after it, by their first cell without "| " and backticks.
std::map<QString, ReadmeRow> readme_rows(const QString &header)
{
    QFile readme(QStringLiteral(VANTREL_SOURCE_DIR "/docs/reading.md"));
    std::map<QString, ReadmeRow> rows;
    if (!readme.open(QIODevice::ReadOnly))
        return rows;
    static const QRegularExpression key(QStringLiteral("`(kMDItem\\w+)`"));
    const QStringList lines = QString::fromUtf8(readme.readAll()).split('\n');
    qsizetype at = lines.indexOf(header);
    for (at = at < 0 ? lines.size() : at + 2; at < lines.size() && !lines[at].isEmpty(); ++at) {
        const QStringList cells = lines[at].split(QStringLiteral(" | "));
        if (cells.size() < 3)
            continue;
        ReadmeRow row{cells[1], {}};
        for (const QRegularExpressionMatch &match : key.globalMatch(cells.last()))
            row.keys.append(match.captured(1));
        rows[cells[0].mid(2).remove('`')] = row;
    }
    return rows;
}

} // namespace

class tst_importer_reading : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { samples.make_all(); }
    void every_type_is_read_from_a_sample_data();
    void every_type_is_read_from_a_sample();
    void every_importer_is_the_table_s();
    void readme_lists_what_the_table_says();

private:
    ContentSamples samples;
};

void tst_importer_reading::every_type_is_read_from_a_sample_data()
{
    QTest::addColumn<QString>("importer");
    QTest::addColumn<QString>("content_type");
    for (const QString &importer : reading_importer_names()) {
        for (const QString &type : reading_content_types(importer))
            QTest::newRow(qPrintable(type + " reaches " + importer + ", which reads a sample")) << importer << type;
    }
}

void tst_importer_reading::every_type_is_read_from_a_sample()
{
    QFETCH(QString, importer);
    QFETCH(QString, content_type);

    // The worker types the file by its name, asks for the table's keys and checks its first bytes.
    const auto sample = std::find_if(samples_read.begin(), samples_read.end(),
                                     [&](const QString &name) { return content_type_identifier(name) == content_type; });
    QVERIFY2(sample != samples_read.end(), "the table lists a type no sample shows");
    if (const auto reason = samples.missing.find(*sample); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    const QStringList keys = reading_keys(importer);
    QCOMPARE(importable_keys(content_type), QSet<QString>(keys.begin(), keys.end()));
    QVERIFY(content_may_match(content_type, samples.read(*sample).left(content_signature_bytes)));
    // The importer process hands it to the importer the table names, which finds values.
    QString chosen;
    const ImportedValues values = import_file(samples.path(*sample), content_type, &chosen);
    QCOMPARE(chosen, importer);
    QVERIFY2(!values.empty(), "no value read");
    for (const auto &[key, value] : values)
        QVERIFY2(keys.contains(key), qPrintable(key + " is given but not in the table"));
}

void tst_importer_reading::every_importer_is_the_table_s()
{
    QStringList names;
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        names.append(importer->name());
        QCOMPARE(importer->keys(), reading_keys(importer->name()));
        // What the table gives another importer, or no importer, this one leaves.
        for (const QString &other : reading_importer_names()) {
            for (const QString &type : reading_content_types(other))
                QCOMPARE(importer->reads(type), other == importer->name());
        }
        QVERIFY(!importer->reads(QStringLiteral("public.plain-text")));
    }
    names.sort();
    QStringList table = reading_importer_names();
    table.sort();
    QCOMPARE(names, table);
}

void tst_importer_reading::readme_lists_what_the_table_says()
{
    // The overview names the families by what they hold.
    const std::map<QString, QString> family_importers = {
        {"images", "image"}, {"PDF", "pdf"}, {"audio", "audio"}, {"video", "video"}, {"office", "office"}};
    const std::map<QString, ReadmeRow> families = readme_rows("| family | content types | keys, for instance |");
    QCOMPARE(families.size(), family_importers.size());
    for (const auto &[family, row] : families)
        QCOMPARE(row.types, reading_type_names(family_importers.at(family)));

    const std::map<QString, ReadmeRow> rows = readme_rows("| importer | types | library | keys |");
    QStringList listed;
    for (const auto &[importer, row] : rows)
        listed.append(importer);
    QStringList table = reading_importer_names();
    table.sort();
    QCOMPARE(listed, table);
    for (const auto &[importer, row] : rows) {
        QCOMPARE(row.types, reading_type_names(importer));
        QCOMPARE(row.keys, reading_keys(importer));
    }
}

QTEST_GUILESS_MAIN(tst_importer_reading)
#include "tst_importer_reading.moc"
