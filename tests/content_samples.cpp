// Sample files made at test time by the tools that write such files, and
// the importers called on them as the importer process calls them.

#include "content_samples.h"

#include "content_importers.h"

#include <QColorSpace>
#include <QCryptographicHash>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QtEndian>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A one-page letter PDF whose fourth object is given (an information or an
// encryption dictionary), with right cross-reference offsets.
QByteArray pdf_file(const QByteArray &version, const QByteArray &fourth, const QByteArray &trailer_entries)
{
    const QByteArray objects[] = { "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                                   "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>", fourth };
    QByteArray pdf = "%PDF-" + version + "\n%\xe2\xe3\xcf\xd3\n", xref = "xref\n0 5\n0000000000 65535 f \n";
    for (int i = 0; i < 4; ++i) {
        xref += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    return pdf + xref + "trailer\n<< /Size 5 /Root 1 0 R " + trailer_entries + " >>\nstartxref\n"
           + QByteArray::number(pdf.size()) + "\n%%EOF\n";
}

QByteArray rc4(const QByteArray &key, QByteArray data)
{
    unsigned char s[256];
    for (int i = 0; i < 256; ++i)
        s[i] = static_cast<unsigned char>(i);
    for (int i = 0, j = 0; i < 256; ++i) {
        j = (j + s[i] + static_cast<unsigned char>(key[i % key.size()])) & 0xff;
        std::swap(s[i], s[j]);
    }
    for (int n = 0, i = 0, j = 0; n < data.size(); ++n) {
        i = (i + 1) & 0xff;
        j = (j + s[i]) & 0xff;
        std::swap(s[i], s[j]);
        data[n] = char(data[n] ^ s[(s[i] + s[j]) & 0xff]);
    }
    return data;
}

// The standard security handler's 40-bit scheme (revision 2): the trailer
// entries, and the encryption dictionary (object 4) whose owner and user
// entries open with these passwords. A document without strings needs no
// other encrypted content.
std::pair<QByteArray, QByteArray> encryption(const QByteArray &user_password, const QByteArray &owner_password)
{
    const QByteArray padding = QByteArray::fromHex("28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A");
    const QByteArray id = QByteArray::fromHex("0123456789ABCDEF0123456789ABCDEF");
    const auto padded = [&](const QByteArray &password) { return (password + padding).left(32); };
    const auto key = [](const QByteArray &bytes) { return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).left(5); };
    const QByteArray owner = rc4(key(padded(owner_password)), padded(user_password));
    // Permissions -44, little-endian.
    const QByteArray user = rc4(key(padded(user_password) + owner + QByteArray("\xd4\xff\xff\xff", 4) + id), padding);
    return { "/Encrypt 4 0 R /ID [<" + id.toHex() + "><" + id.toHex() + ">]",
             "<< /Filter /Standard /V 1 /R 2 /O <" + owner.toHex() + "> /U <" + user.toHex() + "> /P -44 >>" };
}

// Four bytes, most significant first, as ICC profiles, ISO media boxes and Fujifilm headers store numbers.
QByteArray big_endian(quint32 number)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian(number, bytes.data());
    return bytes;
}

// A file of that size whose added length is a hole.
bool sized_file(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.resize(size);
}

} // namespace

ImportedValues import_file(const QString &path, const QString &content_type, QString *importer_name)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    ImportedValues values;
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        if (importer->reads(content_type)) {
            if (importer_name)
                *importer_name = importer->name();
            values = importer->import(fd, content_type);
            break;
        }
    }
    ::close(fd);
    return values;
}

QByteArray ContentSamples::read(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool ContentSamples::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
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

namespace {

// The raw layouts built on TIFF: a plain TIFF, Canon's CR2 (a mark after
// the header), Olympus's ORF and Panasonic's RW2 (their own magic numbers).
enum class TiffLayout { Tiff, Cr2, Orf, Rw2 };

// A little-endian TIFF-structured file of 8 x 6 pixels naming its camera's
// make (Panasonic's raw layout keeps the sensor's size in tags 2 and 3).
QByteArray tiff_file(const QByteArray &make, TiffLayout layout = TiffLayout::Tiff)
{
    QByteArray bytes = layout == TiffLayout::Orf ? QByteArray("IIRO", 4)
                     : layout == TiffLayout::Rw2 ? QByteArray("IIU\0", 4)
                                                 : QByteArray("II*\0", 4);
    const auto u16 = [&bytes](quint16 value) { bytes.append(char(value & 0xff)).append(char(value >> 8)); };
    const auto u32 = [&u16](quint32 value) { u16(quint16(value & 0xffff)); u16(quint16(value >> 16)); };
    u32(16);
    bytes.append(layout == TiffLayout::Cr2 ? QByteArray("CR\x02\0\0\0\0\0", 8) : QByteArray(8, '\0'));
    const QByteArray text = make + '\0';
    const quint32 text_at = 16 + 2 + 3 * 12 + 4;
    const bool sensor_tags = layout == TiffLayout::Rw2;
    u16(3);
    u16(sensor_tags ? 2 : 256); u16(3); u32(1); u32(8);    // ImageWidth, or SensorWidth
    u16(sensor_tags ? 3 : 257); u16(3); u32(1); u32(6);    // ImageLength, or SensorHeight
    u16(271); u16(2); u32(quint32(text.size())); u32(text_at); // Make
    u32(0);
    return bytes + text;
}

// A Fujifilm raw file: its header points at an embedded JPEG whose EXIF
// block is the TIFF given, and at that TIFF itself.
QByteArray fuji_raw_file(const QByteArray &tiff)
{
    const QByteArray exif_segment = "Exif" + QByteArray(2, '\0') + tiff;
    const QByteArray jpeg = QByteArray("\xff\xd8\xff\xe1", 4) + big_endian(quint32(exif_segment.size() + 2)).mid(2)
                            + exif_segment + QByteArray("\xff\xd9", 2);
    QByteArray header = QByteArray("FUJIFILMCCD-RAW 0201FF383501") + QByteArray(128 - 28, '\0');
    const quint32 jpeg_at = quint32(header.size());
    header.replace(84, 4, big_endian(jpeg_at));
    header.replace(88, 4, big_endian(quint32(jpeg.size())));
    header.replace(100, 4, big_endian(jpeg_at + 12));
    header.replace(104, 4, big_endian(quint32(tiff.size())));
    return header + jpeg;
}

// A Canon CR3 file: an ISO media file of brand "crx " whose movie box holds
// Canon's box, whose CMT1 box is the TIFF given.
QByteArray canon_cr3_file(const QByteArray &tiff)
{
    const auto box = [](const char *type, const QByteArray &content) {
        return big_endian(quint32(8 + content.size())) + QByteArray(type, 4) + content;
    };
    const QByteArray canon_uuid = QByteArray::fromHex("85c0b687820f11e08111f4ce462b6a48");
    return box("ftyp", QByteArray("crx \0\0\0\x01crx isom", 16))
         + box("moov", box("uuid", canon_uuid + box("CMT1", tiff)));
}

} // namespace

void ContentSamples::make_all()
{
    QVERIFY2(folder.isValid(), qPrintable(folder.errorString()));
    // The HEIC encoder pads 40 x 30 to whole 64 x 64 blocks and crops back in the container.
    const auto image = [this](const char *name, int width, int height, QColor colour) {
        QImage picture(width, height, colour.alpha() < 255 ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        picture.fill(colour);
        QVERIFY(picture.save(path(name)));
    };
    image("photo.jpg", 64, 48, Qt::darkCyan);
    image("turned.jpg", 64, 48, Qt::darkCyan);
    image("alpha.png", 30, 20, QColor(200, 10, 10, 100));
    image("small.png", 40, 30, Qt::darkYellow);
    make_with("small.heic", "heif-enc", { "-q", "50", "small.png", "-o", "small.heic" });
    const auto exif = [this](const char *name, const QStringList &tags) {
        QStringList arguments;
        for (const QString &tag : tags)
            arguments << "-M" << "set Exif." + tag;
        make_with(name, "exiv2", arguments << name);
    };
    exif("photo.jpg", { "Image.Make Canon", "Image.Model Canon EOS 5D Mark IV", "Photo.LensModel EF24-70mm f/2.8L II USM",
                        "Photo.ExposureTime 1/250", "Photo.FNumber 28/10", "Photo.ISOSpeedRatings 400",
                        "Photo.FocalLength 50/1", "Photo.Flash 9", "Photo.WhiteBalance 1",
                        "Photo.DateTimeOriginal 2021:06:15 12:20:30", "Photo.OffsetTimeOriginal +02:00",
                        "GPSInfo.GPSLatitude 22/1 54/1 30/1", "GPSInfo.GPSLatitudeRef S",
                        "GPSInfo.GPSLongitude 43/1 11/1 47/1", "GPSInfo.GPSLongitudeRef W", "GPSInfo.GPSAltitude 12/1",
                        "GPSInfo.GPSAltitudeRef 1", "GPSInfo.GPSDateStamp 2021:06:15", "GPSInfo.GPSTimeStamp 10/1 20/1 31/1" });
    exif("turned.jpg", { "Image.Orientation 6", "Photo.Flash 16", "Photo.DateTimeOriginal 2021:06:15 12:20:30" });
    // A camera of 2008: capture time without a zone, edited weeks later.
    image("camera.jpg", 64, 48, Qt::darkGreen);
    exif("camera.jpg", { "Image.Make NIKON CORPORATION", "Image.Model NIKON D80", "Image.DateTime 2008:11:01 21:15:08",
                         "Photo.DateTimeOriginal 2008:10:22 16:38:20", "Photo.ExifVersion 48 50 51 48",
                         "Image.Artist Jo Camera", "Image.XResolution 118/1", "Image.YResolution 118/1",
                         "Image.ResolutionUnit 3" });
    // Its version 2 colour profile names itself in ASCII, in a 'desc' tag.
    {
        const QByteArray name("Camera RGB", 11), tag = "desc" + QByteArray(4, 0) + big_endian(name.size()) + name;
        QByteArray profile = QByteArray(128, 0) + big_endian(1) + "desc" + big_endian(144) + big_endian(tag.size()) + tag;
        profile.replace(0, 4, big_endian(profile.size()));
        profile.replace(8, 4, QByteArray("\x02\x10\0\0", 4));
        profile.replace(12, 28, "mntrRGB XYZ " + QByteArray(12, 0) + "acsp");
        QVERIFY(write("camera.icc", profile));
        make_with("camera.jpg", "exiv2", { "-iC", "camera.jpg" });
    }
    // A phone's photo with its colour profile, as phones write them.
    {
        QImage picture(64, 48, QImage::Format_RGB32);
        picture.fill(Qt::darkBlue);
        QColorSpace srgb(QColorSpace::SRgb);
        srgb.setDescription(QStringLiteral("sRGB IEC61966-2.1"));
        picture.setColorSpace(srgb);
        QVERIFY(picture.save(path("phone.jpg")));
    }
    exif("phone.jpg", { "Image.Make Apple", "Image.Model iPhone 6 Plus", "Image.Software 9.3.2",
                        "Image.XResolution 72/1", "Image.YResolution 72/1", "Image.ResolutionUnit 2",
                        "Photo.ExposureProgram 2", "Photo.ExposureMode 0", "Photo.ApertureValue 2275007/1000000",
                        "Photo.FNumber 22/10", "Photo.ExifVersion 48 50 50 49", "Photo.Flash 65",
                        "Photo.DateTimeOriginal 2016:06:15 20:14:17", "Photo.OffsetTimeOriginal -07:00",
                        "Photo.UserComment charset=Ascii Birthday at the lake",
                        "GPSInfo.GPSDateStamp 2016:06:16", "GPSInfo.GPSTimeStamp 3/1 14/1 1700/100",
                        "GPSInfo.GPSImgDirection 835100/10000", "GPSInfo.GPSDestBearing 835100/10000",
                        "GPSInfo.GPSSpeed 0/1" });
    make_with("phone.jpg", "exiv2", { "-M", "set Xmp.dc.creator Alex Example", "phone.jpg" });

    {
        QPdfWriter writer(path("written.pdf"));
        writer.setTitle(QStringLiteral("Quarterly report"));
        writer.setCreator(QStringLiteral("Report Builder 2"));
        writer.setPageSize(QPageSize(QPageSize::A4));
        QPainter painter(&writer);
        writer.newPage();
    }
    QVERIFY(write("described.pdf", pdf_file("1.4", "<< /Title (Minutes) /Author (Alex Example) /Creator (Writer 7)"
                  " /Producer (PDF Maker 1.2) /CreationDate (D:20210615122030+02'00') /ModDate (D:20220101000000Z) >>",
                  "/Info 4 0 R")));
    // A title nested far deeper than any document needs.
    const int depth = 20000;
    QVERIFY(write("nested.pdf", pdf_file("1.7", "<< /Title " + QByteArray(depth, '[') + QByteArray(depth, ']')
                                                    + " /Author (" + QByteArray(depth, '(') + ") >>", "/Info 4 0 R")));
    // Encrypted for anyone to open, and encrypted behind a user password.
    for (const auto &[name, user_password] : { std::pair{ "open-encrypted.pdf", "" }, std::pair{ "locked.pdf", "secret" } }) {
        const auto [trailer_entries, dictionary] = encryption(user_password, "owner");
        QVERIFY(write(name, pdf_file("1.4", dictionary, trailer_entries)));
    }

    const auto ffmpeg = [this](const char *name, const QStringList &arguments) {
        make_with(name, "ffmpeg", QStringList{ "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i" } + arguments << name);
    };
    // Two seconds of a tone, tagged as a song, in each container.
    QStringList tone = { "sine=frequency=440:sample_rate=44100:duration=2", "-ac", "2" };
    for (const char *tag : { "title=Night Train", "artist=The Examples", "album=Sample Album", "composer=A. Writer",
                             "genre=Jazz", "date=2019", "track=3/12" })
        tone << "-metadata" << tag;
    ffmpeg("song.mp3", tone + QStringList{ "-c:a", "libmp3lame", "-b:a", "128k" });
    ffmpeg("song.m4a", tone + QStringList{ "-c:a", "aac", "-b:a", "128k" });
    ffmpeg("song.wav", tone + QStringList{ "-c:a", "pcm_s16le" });
    // A second of test picture, with sound in the MP4 only.
    const QStringList picture = { "testsrc=duration=1:size=320x240:rate=25" };
    const QStringList tagged = { "-pix_fmt", "yuv420p", "-metadata", "creation_time=2021-06-15T10:20:30Z" };
    ffmpeg("clip.mp4", picture + QStringList{ "-f", "lavfi", "-i", "sine=duration=1" } + tagged
                           + QStringList{ "-c:v", "libx264", "-c:a", "aac", "-shortest" });
    ffmpeg("clip.mov", picture + tagged + QStringList{ "-c:v", "mpeg4" });
    // A phone's movie: its sound track first, its capture as the phone's
    // metadata keys, and a timecode track that becomes timed metadata below.
    ffmpeg("phone.mov", picture + QStringList{ "-f", "lavfi", "-i", "sine=duration=1", "-map", "1:a", "-map", "0:v",
                                               "-pix_fmt", "yuv420p", "-c:v", "libx264", "-c:a", "aac", "-b:a", "64k",
                                               "-timecode", "01:00:00:00", "-movflags", "use_metadata_tags",
                                               "-metadata", "com.apple.quicktime.make=Apple",
                                               "-metadata", "com.apple.quicktime.model=iPhone 7",
                                               "-metadata", "com.apple.quicktime.location.ISO6709=+37.3317-122.0307+010.000/",
                                               "-metadata", "com.apple.quicktime.creationdate=2016-06-15T20:14:17-0700",
                                               "-metadata", "creation_time=2021-06-15T10:20:30Z" });
    // A camera's movie of older days: its capture in user-data atoms, the
    // place in degrees and minutes.
    ffmpeg("camera.mov", picture + tagged + QStringList{ "-c:v", "mpeg4", "-metadata", "make=Canon",
                                                          "-metadata", "model=PowerShot S95",
                                                          "-metadata", "location=+3719.90-12201.84/" });
    if (!missing.count("phone.mov")) {
        // The timecode track's handler ('mhlr' 'tmcd') and sample description
        // (the entry after 'stsd', its version, count and size) turn into a
        // timed metadata track's ('meta', 'mebx').
        QByteArray movie = read("phone.mov");
        const int handler = movie.indexOf("mhlrtmcd");
        int description = -1;
        for (int at = movie.indexOf("tmcd"); at >= 0 && description < 0; at = movie.indexOf("tmcd", at + 1))
            description = at >= 16 && movie.mid(at - 16, 4) == "stsd" ? at : -1;
        QVERIFY(handler >= 0 && description >= 0);
        movie.replace(handler + 4, 4, "meta");
        movie.replace(description, 4, "mebx");
        QVERIFY(write("phone.mov", movie));
    }

    // The other containers of sound and film, and images the web and cameras use.
    QStringList plain_tone = { "sine=frequency=440:sample_rate=44100:duration=2", "-ac", "2", "-metadata", "title=Night Train" };
    ffmpeg("song.aiff", plain_tone + QStringList{ "-c:a", "pcm_s16be" });
    ffmpeg("song.aifc", plain_tone + QStringList{ "-c:a", "pcm_alaw" });
    ffmpeg("song.flac", plain_tone + QStringList{ "-c:a", "flac" });
    ffmpeg("song.ogg", plain_tone + QStringList{ "-c:a", "libvorbis" });
    const QStringList short_picture = { "testsrc=duration=1:size=160x120:rate=25" };
    ffmpeg("clip.3gp", short_picture + QStringList{ "-c:v", "libx264", "-pix_fmt", "yuv420p" });
    ffmpeg("clip.avi", short_picture + QStringList{ "-c:v", "mpeg4" });
    ffmpeg("clip.mpg", short_picture + QStringList{ "-c:v", "mpeg1video" });
    ffmpeg("clip.webm", short_picture + QStringList{ "-c:v", "libvpx" });
    ffmpeg("image.gif", { "color=c=red:s=16x8", "-frames:v", "1" });
    ffmpeg("image.webp", { "color=c=red:s=16x8", "-frames:v", "1", "-c:v", "libwebp" });
    // The same container under its other names.
    for (const auto &[copy, original] : { std::pair{ "song.m4p", "song.m4a" }, std::pair{ "song.m4b", "song.m4a" },
                                          std::pair{ "clip.m4v", "clip.mp4" }, std::pair{ "small.heif", "small.heic" } }) {
        if (missing.count(original))
            missing[copy] = missing[original];
        else
            QVERIFY(QFile::copy(path(original), path(copy)));
    }
    QVERIFY(write("scan.tif", tiff_file("Epson")));
    QVERIFY(write("photo.dng", tiff_file("Leica")));
    QVERIFY(write("photo.nef", tiff_file("NIKON CORPORATION")));
    QVERIFY(write("photo.arw", tiff_file("SONY")));
    QVERIFY(write("photo.cr2", tiff_file("Canon", TiffLayout::Cr2)));
    QVERIFY(write("photo.orf", tiff_file("OLYMPUS IMAGING CORP.", TiffLayout::Orf)));
    QVERIFY(write("photo.rw2", tiff_file("Panasonic", TiffLayout::Rw2)));
    QVERIFY(write("photo.raf", fuji_raw_file(tiff_file("FUJIFILM"))));
    QVERIFY(write("photo.cr3", canon_cr3_file(tiff_file("Canon"))));

    // An office document is a folder of parts, zipped by the zip tool.
    const auto zip = [this](const QString &name, const std::map<QString, QByteArray> &parts) {
        for (const auto &[part, content] : parts) {
            QVERIFY(QDir().mkpath(path(name + ".parts/" + part).section('/', 0, -2)));
            QVERIFY(write(name + ".parts/" + part, content));
        }
        make_with(name, "zip", { "-q", "-r", "-X", "../" + name, "." }, path(name + ".parts"));
    };
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    zip("report.docx", {
        { "docProps/core.xml", xml + "<cp:coreProperties xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
          " xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\""
          " xmlns:dcterms=\"http://purl.org/dc/terms/\"><dc:title>Budget 2024</dc:title>"
          "<dc:creator>Alex Example</dc:creator><cp:lastModifiedBy>Sam Editor</cp:lastModifiedBy>"
          "<dcterms:created>2021-06-15T10:20:30Z</dcterms:created>"
          "<dcterms:modified>2022-01-01T00:00:00Z</dcterms:modified></cp:coreProperties>" },
        { "docProps/app.xml", xml + "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/"
          "extended-properties\"><Application>Microsoft Office Word</Application><Pages>7</Pages></Properties>" } });
    // A presentation records its slides, and no pages.
    zip("deck.pptx", {
        { "docProps/app.xml", xml + "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/"
          "extended-properties\"><Application>Microsoft Office PowerPoint</Application><Slides>12</Slides>"
          "<Notes>2</Notes></Properties>" } });
    const QByteArray spreadsheet_properties = xml + "<Properties xmlns=\"http://schemas.openxmlformats.org/"
        "officeDocument/2006/extended-properties\"><Application>Microsoft Excel</Application></Properties>";
    zip("sheet.xlsx", { { "docProps/app.xml", spreadsheet_properties } });
    for (const char *name : { "sheet.ods", "slides.odp" })
        zip(name, { { "meta.xml", xml + "<office:document-meta xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\""
                      " xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><office:meta><dc:title>Plan</dc:title>"
                      "</office:meta></office:document-meta>" } });
    zip("minutes.odt", {
        { "meta.xml", xml + "<office:document-meta xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\""
          " xmlns:meta=\"urn:oasis:names:tc:opendocument:xmlns:meta:1.0\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">"
          "<office:meta><meta:generator>LibreOffice/7.4.7.2$Linux_X86_64</meta:generator>"
          "<dc:title>Board minutes</dc:title><meta:initial-creator>Alex Example</meta:initial-creator>"
          "<dc:creator>Sam Editor</dc:creator><meta:creation-date>2021-06-15T12:20:30.123456789</meta:creation-date>"
          "<dc:date>2022-01-01T01:00:00+01:00</dc:date><meta:document-statistic meta:page-count=\"3\"/>"
          "</office:meta></office:document-meta>" } });
    // A property part of 128 MiB of zeros, stored in about 128 KiB.
    QVERIFY(QDir().mkpath(path("bomb.docx.parts/docProps")));
    QVERIFY(sized_file(path("bomb.docx.parts/docProps/core.xml"), 128LL << 20));
    zip("bomb.docx", {});
    QFile::remove(path("bomb.docx.parts/docProps/core.xml"));

    QVERIFY(write("truncated.jpg", read("photo.jpg").left(700)));
    QVERIFY(write("truncated.png", read("alpha.png").left(40)));
    QVERIFY(write("empty.bin", QByteArray()));
    // The same noise for every type: no importer may trust a single byte.
    QByteArray noise(64 * 1024, Qt::Uninitialized);
    QRandomGenerator(0x9e3779b9u).fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    QVERIFY(write("noise.bin", noise));
    // Two gigabytes that take no room: all holes, or a real movie's header followed by holes.
    QVERIFY(sized_file(path("sparse.mov"), 2LL << 30));
    if (missing.count("clip.mp4"))
        missing["padded.mp4"] = missing["clip.mp4"];
    else
        QVERIFY(QFile::copy(path("clip.mp4"), path("padded.mp4")) && sized_file(path("padded.mp4"), 2LL << 30));
}
