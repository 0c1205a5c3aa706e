// What the content importers read from files made at test time by the
// tools that write such files, and how they bear hostile ones.

#include "content_importer_keys.h"
#include "content_importers.h"
#include "metadata_value_text.h"

#include <QtTest>

#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>
#include <QStandardPaths>

#include <fcntl.h>
#include <unistd.h>

#include <map>

namespace {

// Stands for null text in the tables: the key has no value.
const QString null = QStringLiteral("<null>");

QString shown(const QString &text)
{
    return text.isNull() ? null : '"' + text + '"';
}

// Runs a tool to make a sample; the reason it could not, or empty text.
QString run_tool(const QString &program, const QStringList &arguments, const QString &folder)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        return program + QStringLiteral(" is not installed");
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return program + QStringLiteral(" failed: ") + QString::fromLocal8Bit(process.readAll());
    return QString();
}

bool write_file(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The values the first importer that reads the type finds, read through a
// descriptor as the importer process hands it over.
ImportedValues import_file(const QString &path, const QString &content_type, QString *importer_name = nullptr)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    ImportedValues values;
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        if (!importer->reads(content_type))
            continue;
        if (importer_name)
            *importer_name = importer->name();
        values = importer->import(fd, content_type);
        break;
    }
    ::close(fd);
    return values;
}

QString value_text(const ImportedValues &values, const QString &key)
{
    for (const auto &[found_key, value] : values) {
        if (found_key == key)
            return metadata_value_text(value);
    }
    return QString();
}

// A PDF of the given objects (numbered from 1, the first the catalog),
// with a cross-reference table whose offsets are right and the trailer's
// information dictionary when one is given.
QByteArray pdf_file(const QByteArray &version, const QList<QByteArray> &objects, int info_object)
{
    QByteArray pdf = "%PDF-" + version + "\n%\xe2\xe3\xcf\xd3\n";
    QList<qsizetype> offsets;
    for (qsizetype i = 0; i < objects.size(); ++i) {
        offsets.append(pdf.size());
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const qsizetype xref = pdf.size();
    pdf += "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (const qsizetype offset : offsets)
        pdf += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    pdf += "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R";
    if (info_object > 0)
        pdf += " /Info " + QByteArray::number(info_object) + " 0 R";
    pdf += " >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    return pdf;
}

const QList<QByteArray> letter_pages = {
    "<< /Type /Catalog /Pages 2 0 R >>",
    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
    "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>",
};

} // namespace

class tst_content_importers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void imported_value_data();
    void imported_value();
    void hostile_file_data();
    void hostile_file();
    void importer_for_type_data();
    void importer_for_type();
    void every_key_given_is_declared();

private:
    QString path(const QString &name) const { return folder.filePath(name); }
    void make_images();
    void make_pdfs();
    void make_audio();
    void make_video();
    void make_office_documents();
    void make_hostile_files();

    QTemporaryDir folder;
    // Samples that could not be made, with the reason.
    std::map<QString, QString> missing;
};

void tst_content_importers::initTestCase()
{
    QVERIFY2(folder.isValid(), qPrintable(folder.errorString()));
    make_images();
    make_pdfs();
    make_audio();
    make_video();
    make_office_documents();
    make_hostile_files();
}

void tst_content_importers::make_images()
{
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QVERIFY(picture.save(path("photo.jpg"), "JPEG"));
    QVERIFY(picture.save(path("turned.jpg"), "JPEG"));
    QImage translucent(30, 20, QImage::Format_ARGB32);
    translucent.fill(QColor(200, 10, 10, 100));
    QVERIFY(translucent.save(path("alpha.png"), "PNG"));

    const QString photo_reason = run_tool(QStringLiteral("exiv2"), {
        "-M", "set Exif.Image.Make Canon",
        "-M", "set Exif.Image.Model Canon EOS 5D Mark IV",
        "-M", "set Exif.Photo.LensModel EF24-70mm f/2.8L II USM",
        "-M", "set Exif.Photo.ExposureTime 1/250",
        "-M", "set Exif.Photo.FNumber 28/10",
        "-M", "set Exif.Photo.ISOSpeedRatings 400",
        "-M", "set Exif.Photo.FocalLength 50/1",
        "-M", "set Exif.Photo.Flash 9",
        "-M", "set Exif.Photo.WhiteBalance 1",
        "-M", "set Exif.Photo.DateTimeOriginal 2021:06:15 12:20:30",
        "-M", "set Exif.Photo.OffsetTimeOriginal +02:00",
        "-M", "set Exif.GPSInfo.GPSLatitude 22/1 54/1 30/1",
        "-M", "set Exif.GPSInfo.GPSLatitudeRef S",
        "-M", "set Exif.GPSInfo.GPSLongitude 43/1 11/1 47/1",
        "-M", "set Exif.GPSInfo.GPSLongitudeRef W",
        "-M", "set Exif.GPSInfo.GPSAltitude 12/1",
        "-M", "set Exif.GPSInfo.GPSAltitudeRef 1",
        "-M", "set Exif.GPSInfo.GPSDateStamp 2021:06:15",
        "-M", "set Exif.GPSInfo.GPSTimeStamp 10/1 20/1 31/1",
        "photo.jpg" }, folder.path());
    if (!photo_reason.isEmpty())
        missing["photo.jpg"] = photo_reason;
    const QString turned_reason = run_tool(QStringLiteral("exiv2"), {
        "-M", "set Exif.Image.Orientation 6",
        "-M", "set Exif.Photo.Flash 16",
        "-M", "set Exif.Photo.DateTimeOriginal 2021:06:15 12:20:30",
        "turned.jpg" }, folder.path());
    if (!turned_reason.isEmpty())
        missing["turned.jpg"] = turned_reason;
}

void tst_content_importers::make_pdfs()
{
    {
        QPdfWriter writer(path("written.pdf"));
        writer.setTitle(QStringLiteral("Quarterly report"));
        writer.setCreator(QStringLiteral("Report Builder 2"));
        writer.setPageSize(QPageSize(QPageSize::A4));
        QPainter painter(&writer);
        painter.fillRect(100, 100, 400, 200, Qt::black);
        writer.newPage();
        painter.fillRect(100, 100, 200, 400, Qt::black);
    }

    QList<QByteArray> described = letter_pages;
    described.append("<< /Title (Minutes) /Author (Alex Example) /Creator (Writer 7)"
                     " /Producer (PDF Maker 1.2) /CreationDate (D:20210615122030+02'00')"
                     " /ModDate (D:20220101000000Z) >>");
    QVERIFY(write_file(path("described.pdf"), pdf_file("1.4", described, 4)));

    // A title nested far deeper than any document needs.
    QList<QByteArray> nested = letter_pages;
    const int depth = 200000;
    nested.append("<< /Title " + QByteArray(depth, '[') + QByteArray(depth, ']') + " /Author ("
                  + QByteArray(depth, '(') + ") >>");
    QVERIFY(write_file(path("nested.pdf"), pdf_file("1.7", nested, 4)));
}
void tst_content_importers::make_audio()
{
    // Two seconds of a tone, tagged as a song, in each container.
    const QStringList tone = { "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                               "sine=frequency=440:sample_rate=44100:duration=2", "-ac", "2",
                               "-metadata", "title=Night Train", "-metadata", "artist=The Examples",
                               "-metadata", "album=Sample Album", "-metadata", "composer=A. Writer",
                               "-metadata", "genre=Jazz", "-metadata", "date=2019",
                               "-metadata", "track=3/12" };
    const std::pair<const char *, QStringList> songs[] = {
        { "song.mp3", { "-c:a", "libmp3lame", "-b:a", "128k" } },
        { "song.m4a", { "-c:a", "aac", "-b:a", "128k" } },
        { "song.wav", { "-c:a", "pcm_s16le" } },
    };
    for (const auto &[name, encoding] : songs) {
        const QString reason = run_tool(QStringLiteral("ffmpeg"), tone + encoding + QStringList{ name }, folder.path());
        if (!reason.isEmpty())
            missing[name] = reason;
    }
}
void tst_content_importers::make_video()
{
    const QStringList picture = { "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                                  "testsrc=duration=1:size=320x240:rate=25" };
    const QStringList tagged = { "-pix_fmt", "yuv420p", "-metadata", "creation_time=2021-06-15T10:20:30Z" };
    const std::pair<const char *, QStringList> clips[] = {
        { "clip.mp4", picture + QStringList{ "-f", "lavfi", "-i", "sine=duration=1" } + tagged
                          + QStringList{ "-c:v", "libx264", "-c:a", "aac", "-shortest" } },
        { "clip.mov", picture + tagged + QStringList{ "-c:v", "mpeg4" } },
    };
    for (const auto &[name, arguments] : clips) {
        const QString reason = run_tool(QStringLiteral("ffmpeg"), arguments + QStringList{ name }, folder.path());
        if (!reason.isEmpty())
            missing[name] = reason;
    }
}

void tst_content_importers::make_office_documents()
{
    // Each document is a folder of parts, zipped by the zip tool.
    const auto zip_folder = [this](const QString &name, const std::map<QString, QByteArray> &parts) {
        const QString parts_folder = path(name + ".parts");
        for (const auto &[part, content] : parts) {
            QVERIFY(QDir().mkpath(QFileInfo(parts_folder + '/' + part).absolutePath()));
            QVERIFY(write_file(parts_folder + '/' + part, content));
        }
        const QString reason = run_tool(QStringLiteral("zip"), { "-q", "-r", "-X", "../" + name, "." }, parts_folder);
        if (!reason.isEmpty())
            missing[name] = reason;
    };

    zip_folder(QStringLiteral("report.docx"), {
        { "[Content_Types].xml", "<?xml version=\"1.0\"?><Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\"/>" },
        { "word/document.xml", "<?xml version=\"1.0\"?><w:document xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\"/>" },
        { "docProps/core.xml",
          "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
          "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\""
          " xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcterms=\"http://purl.org/dc/terms/\""
          " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">"
          "<dc:title>Budget 2024</dc:title><dc:creator>Alex Example</dc:creator>"
          "<cp:lastModifiedBy>Sam Editor</cp:lastModifiedBy>"
          "<dcterms:created xsi:type=\"dcterms:W3CDTF\">2021-06-15T10:20:30Z</dcterms:created>"
          "<dcterms:modified xsi:type=\"dcterms:W3CDTF\">2022-01-01T00:00:00Z</dcterms:modified>"
          "</cp:coreProperties>" },
        { "docProps/app.xml",
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/extended-properties\">"
          "<Application>Microsoft Office Word</Application><Pages>7</Pages></Properties>" },
    });

    zip_folder(QStringLiteral("minutes.odt"), {
        { "mimetype", "application/vnd.oasis.opendocument.text" },
        { "content.xml", "<?xml version=\"1.0\"?><office:document-content xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\"/>" },
        { "meta.xml",
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<office:document-meta xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\""
          " xmlns:meta=\"urn:oasis:names:tc:opendocument:xmlns:meta:1.0\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">"
          "<office:meta><meta:generator>LibreOffice/7.4.7.2$Linux_X86_64</meta:generator>"
          "<dc:title>Board minutes</dc:title><meta:initial-creator>Alex Example</meta:initial-creator>"
          "<dc:creator>Sam Editor</dc:creator>"
          "<meta:creation-date>2021-06-15T12:20:30.123456789</meta:creation-date>"
          "<dc:date>2022-01-01T01:00:00+01:00</dc:date>"
          "<meta:document-statistic meta:page-count=\"3\" meta:word-count=\"120\"/>"
          "</office:meta></office:document-meta>" },
    });

    // A property part of 128 MiB of zeros, stored in about 128 KiB.
    const QString bomb_parts = path("bomb.docx.parts/docProps");
    QVERIFY(QDir().mkpath(bomb_parts));
    QFile huge(bomb_parts + "/core.xml");
    QVERIFY(huge.open(QIODevice::WriteOnly));
    QVERIFY(huge.resize(128LL * 1024 * 1024));
    huge.close();
    const QString reason = run_tool(QStringLiteral("zip"), { "-q", "-r", "-X", "../bomb.docx", "." }, path("bomb.docx.parts"));
    if (!reason.isEmpty())
        missing["bomb.docx"] = reason;
    QFile::remove(bomb_parts + "/core.xml");
}

void tst_content_importers::make_hostile_files()
{
    QFile photo(path("alpha.png"));
    QVERIFY(photo.open(QIODevice::ReadOnly));
    const QByteArray png = photo.readAll();
    QFile jpeg(path("photo.jpg"));
    QVERIFY(jpeg.open(QIODevice::ReadOnly));
    QVERIFY(write_file(path("truncated.jpg"), jpeg.readAll().left(700)));
    QVERIFY(write_file(path("truncated.png"), png.left(40)));

    // The same noise for every type: no importer may trust a single byte.
    QByteArray noise(64 * 1024, Qt::Uninitialized);
    quint32 state = 0x9e3779b9u;
    for (char &byte : noise) {
        state = state * 1664525u + 1013904223u;
        byte = char(state >> 24);
    }
    QVERIFY(write_file(path("noise.bin"), noise));

    // Two gigabytes that take no room: all holes, or a real movie's header
    // followed by holes.
    QFile sparse(path("sparse.mov"));
    QVERIFY(sparse.open(QIODevice::WriteOnly));
    QVERIFY(sparse.resize(2LL * 1024 * 1024 * 1024));
    sparse.close();
    if (QFile::exists(path("clip.mp4"))) {
        QVERIFY(QFile::copy(path("clip.mp4"), path("padded.mp4")));
        QFile padded(path("padded.mp4"));
        QVERIFY(padded.resize(2LL * 1024 * 1024 * 1024));
    } else {
        missing["padded.mp4"] = missing["clip.mp4"];
    }
    QVERIFY(write_file(path("empty.bin"), QByteArray()));
}

void tst_content_importers::imported_value_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<QString>("key");
    // "~N": a number within a twentieth of N.
    QTest::addColumn<QString>("expected");

    const QString jpeg = QStringLiteral("public.jpeg");
    QTest::newRow("photo width in pixels") << "photo.jpg" << jpeg << "kMDItemPixelWidth" << "64";
    QTest::newRow("photo height in pixels") << "photo.jpg" << jpeg << "kMDItemPixelHeight" << "48";
    QTest::newRow("wide photo is landscape") << "photo.jpg" << jpeg << "kMDItemOrientation" << "0";
    QTest::newRow("photo colour space") << "photo.jpg" << jpeg << "kMDItemColorSpace" << "RGB";
    QTest::newRow("photo bits per sample") << "photo.jpg" << jpeg << "kMDItemBitsPerSample" << "8";
    QTest::newRow("photo has no alpha") << "photo.jpg" << jpeg << "kMDItemHasAlphaChannel" << "0";
    QTest::newRow("camera make") << "photo.jpg" << jpeg << "kMDItemAcquisitionMake" << "Canon";
    QTest::newRow("camera model") << "photo.jpg" << jpeg << "kMDItemAcquisitionModel" << "Canon EOS 5D Mark IV";
    QTest::newRow("lens") << "photo.jpg" << jpeg << "kMDItemLensModel" << "EF24-70mm f/2.8L II USM";
    QTest::newRow("exposure as seconds") << "photo.jpg" << jpeg << "kMDItemExposureTimeSeconds" << "0.004";
    QTest::newRow("aperture as f-number") << "photo.jpg" << jpeg << "kMDItemFNumber" << "2.8";
    QTest::newRow("sensitivity") << "photo.jpg" << jpeg << "kMDItemISOSpeed" << "400";
    QTest::newRow("focal length") << "photo.jpg" << jpeg << "kMDItemFocalLength" << "50";
    QTest::newRow("flash that fired is on") << "photo.jpg" << jpeg << "kMDItemFlashOnOff" << "1";
    QTest::newRow("manual white balance") << "photo.jpg" << jpeg << "kMDItemWhiteBalance" << "1";
    QTest::newRow("southern latitude is negative") << "photo.jpg" << jpeg << "kMDItemLatitude" << "-22.9083";
    QTest::newRow("western longitude is negative") << "photo.jpg" << jpeg << "kMDItemLongitude" << "-43.1964";
    QTest::newRow("altitude below sea level is negative") << "photo.jpg" << jpeg << "kMDItemAltitude" << "-12";
    QTest::newRow("satellite fix time is UTC") << "photo.jpg" << jpeg << "kMDItemGPSDateStamp" << "1623752431";
    QTest::newRow("capture time in the recorded zone") << "photo.jpg" << jpeg << "kMDItemContentCreationDate" << "1623752430";
    QTest::newRow("quarter-turned photo is portrait") << "turned.jpg" << jpeg << "kMDItemOrientation" << "1";
    QTest::newRow("flash that did not fire is off") << "turned.jpg" << jpeg << "kMDItemFlashOnOff" << "0";
    QTest::newRow("capture time without a zone is taken as UTC") << "turned.jpg" << jpeg << "kMDItemContentCreationDate" << "1623759630";
    QTest::newRow("no GPS tags, no latitude") << "turned.jpg" << jpeg << "kMDItemLatitude" << null;
    QTest::newRow("no camera tags, no make") << "turned.jpg" << jpeg << "kMDItemAcquisitionMake" << null;
    const QString png = QStringLiteral("public.png");
    QTest::newRow("PNG width") << "alpha.png" << png << "kMDItemPixelWidth" << "30";
    QTest::newRow("PNG with alpha channel") << "alpha.png" << png << "kMDItemHasAlphaChannel" << "1";
    QTest::newRow("PNG without capture time") << "alpha.png" << png << "kMDItemContentCreationDate" << null;
    const QString pdf = QStringLiteral("com.adobe.pdf");
    QTest::newRow("PDF title") << "written.pdf" << pdf << "kMDItemTitle" << "Quarterly report";
    QTest::newRow("PDF authoring application") << "written.pdf" << pdf << "kMDItemCreator" << "Report Builder 2";
    QTest::newRow("PDF page count") << "written.pdf" << pdf << "kMDItemNumberOfPages" << "2";
    QTest::newRow("A4 width in points") << "written.pdf" << pdf << "kMDItemPageWidth" << "595";
    QTest::newRow("A4 height in points") << "written.pdf" << pdf << "kMDItemPageHeight" << "842";
    QTest::newRow("unencrypted PDF") << "written.pdf" << pdf << "kMDItemSecurityMethod" << "None";
    QTest::newRow("PDF author as a list") << "described.pdf" << pdf << "kMDItemAuthors" << "Alex Example";
    QTest::newRow("PDF producer as encoding application") << "described.pdf" << pdf << "kMDItemEncodingApplications" << "PDF Maker 1.2";
    QTest::newRow("PDF version from the header") << "described.pdf" << pdf << "kMDItemVersion" << "1.4";
    QTest::newRow("PDF creation date in its own zone") << "described.pdf" << pdf << "kMDItemContentCreationDate" << "1623752430";
    QTest::newRow("PDF modification date in UTC") << "described.pdf" << pdf << "kMDItemContentModificationDate" << "1640995200";
    QTest::newRow("letter width in points") << "described.pdf" << pdf << "kMDItemPageWidth" << "612";
    for (const auto &[file, type] : { std::pair{ "song.mp3", "public.mp3" },
                                      std::pair{ "song.m4a", "com.apple.m4a-audio" },
                                      std::pair{ "song.wav", "com.microsoft.waveform-audio" } }) {
        QTest::addRow("%s duration in seconds", file) << file << type << "kMDItemDurationSeconds" << "~2";
        QTest::addRow("%s sample rate", file) << file << type << "kMDItemAudioSampleRate" << "44100";
        QTest::addRow("%s channels", file) << file << type << "kMDItemAudioChannelCount" << "2";
        QTest::addRow("%s title", file) << file << type << "kMDItemTitle" << "Night Train";
        QTest::addRow("%s artist as a list", file) << file << type << "kMDItemAuthors" << "The Examples";
        QTest::addRow("%s album", file) << file << type << "kMDItemAlbum" << "Sample Album";
        QTest::addRow("%s genre", file) << file << type << "kMDItemMusicalGenre" << "Jazz";
        QTest::addRow("%s recording year", file) << file << type << "kMDItemRecordingYear" << "2019";
    }
    QTest::newRow("MP3 bit rate in bits per second") << "song.mp3" << "public.mp3" << "kMDItemAudioBitRate" << "~128000";
    QTest::newRow("MP3 composer") << "song.mp3" << "public.mp3" << "kMDItemComposer" << "A. Writer";
    QTest::newRow("MP3 track number without the total") << "song.mp3" << "public.mp3" << "kMDItemAudioTrackNumber" << "3";
    QTest::newRow("M4A composer") << "song.m4a" << "com.apple.m4a-audio" << "kMDItemComposer" << "A. Writer";
    QTest::newRow("M4A track number") << "song.m4a" << "com.apple.m4a-audio" << "kMDItemAudioTrackNumber" << "3";
    QTest::newRow("WAV duration to the sample") << "song.wav" << "com.microsoft.waveform-audio" << "kMDItemDurationSeconds" << "2";
    QTest::newRow("WAV bit rate of 16-bit stereo") << "song.wav" << "com.microsoft.waveform-audio" << "kMDItemAudioBitRate" << "1.411e+06";
    const QString mp4 = QStringLiteral("public.mpeg-4");
    QTest::newRow("movie duration") << "clip.mp4" << mp4 << "kMDItemDurationSeconds" << "~1";
    QTest::newRow("movie picture width") << "clip.mp4" << mp4 << "kMDItemPixelWidth" << "320";
    QTest::newRow("movie picture height") << "clip.mp4" << mp4 << "kMDItemPixelHeight" << "240";
    QTest::newRow("movie codecs, picture first") << "clip.mp4" << mp4 << "kMDItemCodecs" << "H.264;AAC";
    QTest::newRow("movie creation time from its header") << "clip.mp4" << mp4 << "kMDItemContentCreationDate" << "1623752430";
    const QString mov = QStringLiteral("com.apple.quicktime-movie");
    QTest::newRow("silent movie has one codec") << "clip.mov" << mov << "kMDItemCodecs" << "MPEG-4 Video";
    QTest::newRow("QuickTime picture width") << "clip.mov" << mov << "kMDItemPixelWidth" << "320";
    const QString docx = QStringLiteral("org.openxmlformats.wordprocessingml.document");
    QTest::newRow("Word title") << "report.docx" << docx << "kMDItemTitle" << "Budget 2024";
    QTest::newRow("Word author as a list") << "report.docx" << docx << "kMDItemAuthors" << "Alex Example";
    QTest::newRow("Word last editor") << "report.docx" << docx << "kMDItemEditors" << "Sam Editor";
    QTest::newRow("Word application") << "report.docx" << docx << "kMDItemCreator" << "Microsoft Office Word";
    QTest::newRow("Word page count") << "report.docx" << docx << "kMDItemNumberOfPages" << "7";
    QTest::newRow("Word creation date") << "report.docx" << docx << "kMDItemContentCreationDate" << "1623752430";
    QTest::newRow("Word modification date") << "report.docx" << docx << "kMDItemContentModificationDate" << "1640995200";
    const QString odt = QStringLiteral("org.oasis-open.opendocument.text");
    QTest::newRow("OpenDocument title") << "minutes.odt" << odt << "kMDItemTitle" << "Board minutes";
    QTest::newRow("OpenDocument initial creator is the author") << "minutes.odt" << odt << "kMDItemAuthors" << "Alex Example";
    QTest::newRow("OpenDocument creator is the last editor") << "minutes.odt" << odt << "kMDItemEditors" << "Sam Editor";
    QTest::newRow("OpenDocument generator") << "minutes.odt" << odt << "kMDItemCreator" << "LibreOffice/7.4.7.2$Linux_X86_64";
    QTest::newRow("OpenDocument page count from statistics") << "minutes.odt" << odt << "kMDItemNumberOfPages" << "3";
    QTest::newRow("OpenDocument date without a zone taken as UTC") << "minutes.odt" << odt << "kMDItemContentCreationDate" << "1623759630";
    QTest::newRow("OpenDocument date with a zone") << "minutes.odt" << odt << "kMDItemContentModificationDate" << "1640995200";
    QTest::newRow("zip bomb gives no title") << "bomb.docx" << docx << "kMDItemTitle" << null;
    QTest::newRow("PDF without an author") << "written.pdf" << pdf << "kMDItemAuthors" << null;
}

void tst_content_importers::imported_value()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    if (const auto reason = missing.find(file); reason != missing.end())
        QSKIP(qPrintable(reason->second));
    const ImportedValues values = import_file(path(file), content_type);
    const QString actual = value_text(values, key);
    if (expected == null) {
        QVERIFY2(actual.isNull(), qPrintable(shown(actual)));
    } else if (expected.startsWith(QLatin1Char('~'))) {
        // Encoders pad and average: within a twentieth of the nominal value.
        bool is_number = false;
        const double number = actual.toDouble(&is_number);
        const double nominal = expected.mid(1).toDouble();
        QVERIFY2(is_number && qAbs(number - nominal) <= nominal / 20, qPrintable(shown(actual)));
    } else {
        QCOMPARE(shown(actual), shown(expected));
    }
}

void tst_content_importers::hostile_file_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");

    QTest::newRow("JPEG cut off in its first segments") << "truncated.jpg" << "public.jpeg";
    QTest::newRow("PNG cut off in its header") << "truncated.png" << "public.png";
    QTest::newRow("2 GB of holes as a movie") << "sparse.mov" << "com.apple.quicktime-movie";
    QTest::newRow("movie padded with holes to 2 GB") << "padded.mp4" << "public.mpeg-4";
    QTest::newRow("2 GB of holes as a photo") << "sparse.mov" << "public.jpeg";
    QTest::newRow("2 GB of holes as a song") << "sparse.mov" << "public.mp3";
    QTest::newRow("zip bomb as a Word document") << "bomb.docx" << "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("PDF with objects nested 200000 deep") << "nested.pdf" << "com.adobe.pdf";
    for (const char *type : { "public.jpeg", "public.png", "public.tiff", "public.heic",
                              "com.canon.cr2-raw-image", "com.adobe.pdf", "public.mp3",
                              "com.apple.m4a-audio", "com.microsoft.waveform-audio",
                              "public.aiff-audio", "org.xiph.flac", "public.mpeg-4",
                              "com.apple.quicktime-movie", "org.openxmlformats.wordprocessingml.document",
                              "org.oasis-open.opendocument.spreadsheet" }) {
        QTest::addRow("noise as %s", type) << "noise.bin" << type;
        QTest::addRow("empty file as %s", type) << "empty.bin" << type;
    }
}

void tst_content_importers::hostile_file()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);

    if (const auto reason = missing.find(file); reason != missing.end())
        QSKIP(qPrintable(reason->second));
    QString importer;
    const ImportedValues values = import_file(path(file), content_type, &importer);
    QVERIFY2(!importer.isEmpty(), "no importer reads the type");
    // Whatever survives must still be a key the importer declares.
    for (const std::unique_ptr<ContentImporter> &candidate : all_content_importers()) {
        if (candidate->name() != importer)
            continue;
        for (const auto &[key, value] : values)
            QVERIFY2(candidate->keys().contains(key), qPrintable(key));
    }
}

void tst_content_importers::importer_for_type_data()
{
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<QString>("importer");

    QTest::newRow("JPEG photo") << "public.jpeg" << "image";
    QTest::newRow("HEIC photo") << "public.heic" << "image";
    QTest::newRow("camera raw") << "com.nikon.raw-image" << "image";
    QTest::newRow("PDF document") << "com.adobe.pdf" << "pdf";
    QTest::newRow("MP3 song") << "public.mp3" << "audio";
    QTest::newRow("AAC song") << "com.apple.m4a-audio" << "audio";
    QTest::newRow("QuickTime movie") << "com.apple.quicktime-movie" << "video";
    QTest::newRow("MPEG-4 movie") << "public.mpeg-4" << "video";
    QTest::newRow("Word document") << "org.openxmlformats.wordprocessingml.document" << "office";
    QTest::newRow("OpenDocument presentation") << "org.oasis-open.opendocument.presentation" << "office";
    QTest::newRow("plain text has none") << "public.plain-text" << "";
    QTest::newRow("a type's parent is not enough") << "public.image" << "";
}

void tst_content_importers::importer_for_type()
{
    QFETCH(QString, content_type);
    QFETCH(QString, importer);

    QStringList readers;
    for (const std::unique_ptr<ContentImporter> &candidate : all_content_importers()) {
        if (candidate->reads(content_type))
            readers.append(candidate->name());
    }
    QCOMPARE(readers.join(','), importer);
}

void tst_content_importers::every_key_given_is_declared()
{
    QStringList all = content_importer_keys();
    QCOMPARE(all.removeDuplicates(), qsizetype(0));
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        for (const QString &key : importer->keys())
            QVERIFY2(all.contains(key), qPrintable(importer->name() + ": " + key));
    }
}

QTEST_GUILESS_MAIN(tst_content_importers)
#include "tst_content_importers.moc"
