// Sample files made at test time by the tools that write such files, and
// the importers called on them as the importer process calls them.

#include "content_samples.h"

#include "content_importers.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

namespace {

bool write_file(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// A PDF of the given objects (numbered from 1, the first the catalog),
// with a cross-reference table whose offsets are right and the trailer's
// information dictionary when one is given.
QByteArray pdf_file(const QByteArray &version, const QList<QByteArray> &objects, int info_object,
                    const QByteArray &trailer_entries = QByteArray())
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
    if (!trailer_entries.isEmpty())
        pdf += ' ' + trailer_entries;
    pdf += " >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    return pdf;
}

const QList<QByteArray> letter_pages = {
    "<< /Type /Catalog /Pages 2 0 R >>",
    "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
    "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>",
};

QByteArray rc4(const QByteArray &key, const QByteArray &data)
{
    unsigned char state[256];
    for (int i = 0; i < 256; ++i)
        state[i] = static_cast<unsigned char>(i);
    for (int i = 0, j = 0; i < 256; ++i) {
        j = (j + state[i] + static_cast<unsigned char>(key[i % key.size()])) & 0xff;
        std::swap(state[i], state[j]);
    }
    QByteArray out = data;
    for (int n = 0, i = 0, j = 0; n < out.size(); ++n) {
        i = (i + 1) & 0xff;
        j = (j + state[i]) & 0xff;
        std::swap(state[i], state[j]);
        out[n] = char(out[n] ^ state[(state[i] + state[j]) & 0xff]);
    }
    return out;
}

// The standard security handler's 40-bit scheme (revision 2): the trailer
// entries, then after a '%' the encryption dictionary whose owner and user
// entries open with these passwords. A document without strings needs no
// other encrypted content.
QByteArray encryption_entries(const QByteArray &user_password, const QByteArray &owner_password,
                              int dictionary_object)
{
    const QByteArray padding = QByteArray::fromHex(
        "28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A");
    const auto padded = [&](const QByteArray &password) { return (password + padding).left(32); };
    const QByteArray owner_key =
        QCryptographicHash::hash(padded(owner_password), QCryptographicHash::Md5).left(5);
    const QByteArray owner_entry = rc4(owner_key, padded(user_password));
    const QByteArray id = QByteArray::fromHex("0123456789ABCDEF0123456789ABCDEF");
    const qint32 permissions = -44;
    QByteArray permission_bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        permission_bytes[i] = char((quint32(permissions) >> (8 * i)) & 0xff);
    const QByteArray file_key = QCryptographicHash::hash(
        padded(user_password) + owner_entry + permission_bytes + id, QCryptographicHash::Md5).left(5);
    const QByteArray user_entry = rc4(file_key, padding);
    return "/Encrypt " + QByteArray::number(dictionary_object) + " 0 R /ID [<" + id.toHex() + "><"
           + id.toHex() + ">]%<< /Filter /Standard /V 1 /R 2 /O <" + owner_entry.toHex()
           + "> /U <" + user_entry.toHex() + "> /P " + QByteArray::number(permissions) + " >>";
}

} // namespace

// The values the first importer that reads the type finds, read through a
// descriptor as the importer process hands it over.
ImportedValues import_file(const QString &path, const QString &content_type, QString *importer_name)
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

ContentSamples::ContentSamples()
{
    QVERIFY2(folder.isValid(), qPrintable(folder.errorString()));
}

void ContentSamples::make_with(const QString &sample, const QString &program, const QStringList &arguments,
                               const QString &in)
{
    if (QStandardPaths::findExecutable(program).isEmpty()) {
        missing[sample] = program + QStringLiteral(" is not installed");
        return;
    }
    QProcess process;
    process.setWorkingDirectory(in.isEmpty() ? folder.path() : in);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        missing[sample] = program + QStringLiteral(" failed: ") + QString::fromLocal8Bit(process.readAll());
}

void ContentSamples::make_all()
{
    make_images();
    make_pdfs();
    make_audio();
    make_video();
    make_office_documents();
    make_hostile_files();
}

void ContentSamples::make_images()
{
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QVERIFY(picture.save(path("photo.jpg"), "JPEG"));
    QVERIFY(picture.save(path("turned.jpg"), "JPEG"));
    QImage translucent(30, 20, QImage::Format_ARGB32);
    translucent.fill(QColor(200, 10, 10, 100));
    QVERIFY(translucent.save(path("alpha.png"), "PNG"));

    // The encoder pads the coded picture to whole blocks and crops it back
    // in the container: 40 x 30 shown, 64 x 64 coded.
    QImage small(40, 30, QImage::Format_RGB32);
    small.fill(Qt::darkYellow);
    QVERIFY(small.save(path("small.png"), "PNG"));
    make_with("small.heic", "heif-enc", { "-q", "50", "small.png", "-o", "small.heic" });

    make_with("photo.jpg", "exiv2", {
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
        "photo.jpg" });
    make_with("turned.jpg", "exiv2", {
        "-M", "set Exif.Image.Orientation 6",
        "-M", "set Exif.Photo.Flash 16",
        "-M", "set Exif.Photo.DateTimeOriginal 2021:06:15 12:20:30",
        "turned.jpg" });
}

void ContentSamples::make_pdfs()
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

    // Encrypted for anyone to open, and encrypted behind a user password.
    for (const auto &[name, user_password] : { std::pair{ "open-encrypted.pdf", QByteArray() },
                                               std::pair{ "locked.pdf", QByteArray("secret") } }) {
        const QList<QByteArray> entries = encryption_entries(user_password, "owner", 4).split('%');
        QList<QByteArray> encrypted = letter_pages;
        encrypted.append(entries[1]);
        QVERIFY(write_file(path(name), pdf_file("1.4", encrypted, 0, entries[0])));
    }
}
void ContentSamples::make_audio()
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
    for (const auto &[name, encoding] : songs)
        make_with(name, "ffmpeg", tone + encoding + QStringList{ name });
}
void ContentSamples::make_video()
{
    const QStringList picture = { "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                                  "testsrc=duration=1:size=320x240:rate=25" };
    const QStringList tagged = { "-pix_fmt", "yuv420p", "-metadata", "creation_time=2021-06-15T10:20:30Z" };
    const std::pair<const char *, QStringList> clips[] = {
        { "clip.mp4", picture + QStringList{ "-f", "lavfi", "-i", "sine=duration=1" } + tagged
                          + QStringList{ "-c:v", "libx264", "-c:a", "aac", "-shortest" } },
        { "clip.mov", picture + tagged + QStringList{ "-c:v", "mpeg4" } },
    };
    for (const auto &[name, arguments] : clips)
        make_with(name, "ffmpeg", arguments + QStringList{ name });
}

void ContentSamples::make_office_documents()
{
    // Each document is a folder of parts, zipped by the zip tool.
    const auto zip_folder = [this](const QString &name, const std::map<QString, QByteArray> &parts) {
        const QString parts_folder = path(name + ".parts");
        for (const auto &[part, content] : parts) {
            QVERIFY(QDir().mkpath(QFileInfo(parts_folder + '/' + part).absolutePath()));
            QVERIFY(write_file(parts_folder + '/' + part, content));
        }
        make_with(name, "zip", { "-q", "-r", "-X", "../" + name, "." }, parts_folder);
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
    make_with("bomb.docx", "zip", { "-q", "-r", "-X", "../bomb.docx", "." }, path("bomb.docx.parts"));
    QFile::remove(bomb_parts + "/core.xml");
}

void ContentSamples::make_hostile_files()
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

