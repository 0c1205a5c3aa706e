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

// A sample of every type the table lists, by type.
const std::map<QString, QString> sample_of_type = {
    {"public.jpeg", "photo.jpg"}, {"public.png", "alpha.png"}, {"public.tiff", "scan.tif"},
    {"public.heic", "small.heic"}, {"public.heif", "small.heif"}, {"com.compuserve.gif", "image.gif"},
    {"org.webmproject.webp", "image.webp"}, {"com.adobe.raw-image", "photo.dng"},
    {"com.canon.cr2-raw-image", "photo.cr2"}, {"com.nikon.raw-image", "photo.nef"},
    {"com.sony.arw-raw-image", "photo.arw"}, {"com.canon.cr3-raw-image", "photo.cr3"},
    {"com.fuji.raw-image", "photo.raf"}, {"com.olympus.raw-image", "photo.orf"},
    {"com.panasonic.rw2-raw-image", "photo.rw2"}, {"com.adobe.pdf", "written.pdf"}, {"public.mp3", "song.mp3"},
    {"com.apple.m4a-audio", "song.m4a"}, {"com.apple.protected-mpeg-4-audio", "song.m4p"},
    {"com.apple.m4b-audio", "song.m4b"}, {"com.microsoft.waveform-audio", "song.wav"},
    {"public.aiff-audio", "song.aiff"}, {"public.aifc-audio", "song.aifc"}, {"org.xiph.flac", "song.flac"},
    {"org.xiph.ogg-audio", "song.ogg"}, {"com.apple.quicktime-movie", "clip.mov"}, {"public.mpeg-4", "clip.mp4"},
    {"com.apple.m4v-video", "clip.m4v"}, {"public.3gpp", "clip.3gp"}, {"public.avi", "clip.avi"},
    {"public.mpeg", "clip.mpg"}, {"org.webmproject.webm", "clip.webm"},
    {"org.openxmlformats.wordprocessingml.document", "report.docx"},
    {"org.openxmlformats.spreadsheetml.sheet", "sheet.xlsx"},
    {"org.openxmlformats.presentationml.presentation", "deck.pptx"},
    {"org.oasis-open.opendocument.text", "minutes.odt"}, {"org.oasis-open.opendocument.spreadsheet", "sheet.ods"},
    {"org.oasis-open.opendocument.presentation", "slides.odp"},
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

    const auto sample = sample_of_type.find(content_type);
    QVERIFY2(sample != sample_of_type.end(), "the table lists a type no sample shows");
    if (const auto reason = samples.missing.find(sample->second); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    // The worker types the file by its name, asks for the table's keys and checks its first bytes.
    QCOMPARE(content_type_identifier(sample->second), content_type);
    const QStringList keys = reading_keys(importer);
    QCOMPARE(importable_keys(content_type), QSet<QString>(keys.begin(), keys.end()));
    QVERIFY(content_may_match(content_type, samples.read(sample->second).left(content_signature_bytes)));
    // The importer process hands it to the importer the table names, which finds values.
    QString chosen;
    const ImportedValues values = import_file(samples.path(sample->second), content_type, &chosen);
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
