// Media files that name other files and addresses, examined by the worker as
// the host starts it and by the video importer alone: a reference inside a
// file is never opened. Each hostile file names a film and a text outside the
// volume, whose access times must not move and whose values must not reach
// the row, and a listener on the loopback address that must see no
// connection; a session description names a port that must stay unbound.

#include "content_samples.h"
#include "unique_fd.h"
#include "evidence_files.h"
#include "test_case.h"
#include "type_identity/content_type.h"

#include <QBuffer>
#include <QtEndian>
#include <QImage>
#include <QtTest>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

const QStringList keys = { "kMDItemFSName", "kMDItemPixelWidth", "kMDItemPixelHeight", "kMDItemCodecs",
                           "kMDItemDurationSeconds", "kMDItemTitle", "kMDItemCreator", "kMDItemAuthors" };
// What only the outside film and text hold: a picture size no evidence file
// has, and a sentence.
const QStringList outside_values = { "458", "254", "OUTSIDE-SECRET" };

// A PDF of the given objects (the first the catalogue), with right cross-reference offsets.
QByteArray pdf_of(const QList<QByteArray> &objects, const QByteArray &trailer_entries)
{
    QByteArray pdf = "%PDF-1.7\n", xref = "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (int i = 0; i < objects.size(); ++i) {
        xref += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    return pdf + xref + "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R " + trailer_entries
           + " >>\nstartxref\n" + QByteArray::number(pdf.size()) + "\n%%EOF\n";
}

// A number of that type, most significant byte first, as media boxes and segments hold it.
template <typename T> QByteArray big_endian(T value)
{
    QByteArray out(sizeof(T), Qt::Uninitialized);
    qToBigEndian(value, out.data());
    return out;
}

// The HEIF photo with its meta box replaced: the original left in place as
// free space (the picture data keeps its offsets) and a copy at the end whose
// data information names the references, and whose items' data refer to the
// first of them. Empty when the item locations are not laid out as the
// encoder installed here writes them (version 1, four-byte offsets and lengths).
QByteArray heif_with_references(QByteArray heif, const QList<QByteArray> &locations)
{
    const qsizetype meta = heif.indexOf("meta") - 4;
    if (meta < 0)
        return QByteArray();
    QByteArray box = heif.mid(meta, qFromBigEndian<quint32>(heif.constData() + meta));
    heif.replace(meta + 4, 4, "free");
    QByteArray entries;
    for (const QByteArray &location : locations)
        entries += big_endian(quint32(12 + location.size() + 1)) + "url " + QByteArray(4, '\0') + location + '\0';
    const QByteArray dref = big_endian(quint32(16 + entries.size())) + "dref" + QByteArray(4, '\0')
                            + big_endian(quint32(locations.size())) + entries;
    box += big_endian(quint32(8 + dref.size())) + "dinf" + dref;
    box.replace(0, 4, big_endian(quint32(box.size())));

    const qsizetype iloc = box.indexOf("iloc") - 4;
    if (iloc < 0 || box.at(iloc + 8) != 1 || box.at(iloc + 12) != 0x44 || box.at(iloc + 13) != 0x40)
        return QByteArray();
    qsizetype item = iloc + 16;
    for (quint16 items = qFromBigEndian<quint16>(box.constData() + iloc + 14); items > 0; --items) {
        // Identifier, construction method, then the data reference index.
        box.replace(item + 4, 2, big_endian(quint16(1)));
        item += 10 + 2 + qsizetype(qFromBigEndian<quint16>(box.constData() + item + 10)) * 8;
    }
    return heif + box;
}

// A plain picture in that format.
QByteArray image_file(int width, int height, const char *format)
{
    QImage picture(width, height, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, format);
    return buffer.data();
}

// A socket of that type bound to an ephemeral port of the loopback address; its port in port.
UniqueFd loopback_socket(int type, quint16 &port)
{
    UniqueFd socket(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (!socket || ::bind(socket.get(), reinterpret_cast<sockaddr *>(&address), length) != 0
        || ::getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &length) != 0)
        return UniqueFd();
    port = ntohs(address.sin_port);
    return socket;
}

// Whether the UDP port is bound on this machine, as the kernel lists sockets.
bool udp_port_bound(quint16 port)
{
    const QByteArray local = ":" + QByteArray::number(port, 16).toUpper().rightJustified(4, '0') + " ";
    for (const char *table : { "/proc/net/udp", "/proc/net/udp6" }) {
        QFile sockets(table);
        if (!sockets.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : sockets.readAll().split('\n')) {
            // The local address is the second column.
            if (line.simplified().split(' ').value(1).append(' ').endsWith(local))
                return true;
        }
    }
    return false;
}

} // namespace

class tst_hostile_media : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void worker_opens_nothing_a_file_names_data();
    void worker_opens_nothing_a_file_names();
    void video_importer_alone_reads_no_playlist_data();
    void video_importer_alone_reads_no_playlist();
    void films_of_each_container_still_give_their_picture_data();
    void films_of_each_container_still_give_their_picture();

private:
    // The hostile files: a row name, a name on the volume, content, a value the row must hold.
    void hostile_files(bool films_only);
    // A Word document's properties and relationships (all its importer reads) naming the outside files and address.
    QByteArray office_document(const QString &address);
    qint64 outside_access_time(const QString &name) const;
    // Connections the listener was offered since it last looked.
    int connections_seen();

    QTemporaryDir outside_dir, films_dir;
    const QString outside = outside_dir.path();
    // Never accepts: a connection offered waits in its queue until counted.
    UniqueFd listener;
    quint16 listener_port = 0;
    quint16 udp_port = 0;
};

void tst_hostile_media::initTestCase()
{
    QVERIFY(QFile::exists(VANTREL_EXECUTABLE));
    QVERIFY(write_file(outside + "/secret.txt", "OUTSIDE-SECRET, a file of the examining machine\n"));
    // The outside film, and genuine films of each MPEG kind, AVI and Matroska with the same picture.
    const std::pair<QString, QStringList> films[] = {
        { outside + "/secret-film.ts", { "-c:v", "mpeg2video", "-f", "mpegts" } },
        { films_dir.filePath("program.mpg"), { "-c:v", "mpeg2video", "-f", "mpeg" } },
        { films_dir.filePath("bare.mpg"), { "-c:v", "mpeg1video", "-f", "mpeg1video" } },
        { films_dir.filePath("transport.mpg"), { "-c:v", "mpeg2video", "-f", "mpegts" } },
        { films_dir.filePath("film.avi"), { "-c:v", "mpeg4", "-f", "avi" } },
        { films_dir.filePath("film.webm"), { "-c:v", "mpeg4", "-f", "matroska" } },
    };
    for (const auto &[path, arguments] : films) {
        QProcess ffmpeg;
        ffmpeg.setProcessChannelMode(QProcess::MergedChannels);
        ffmpeg.start("ffmpeg", QStringList{ "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                                            "testsrc=duration=1:size=458x254:rate=25" } + arguments << path);
        if (!ffmpeg.waitForFinished(120000) || ffmpeg.exitCode() != 0)
            QSKIP(qPrintable("ffmpeg cannot make the films: " + ffmpeg.readAll()));
    }
    // A photo encoded by the HEIF tool, when it is installed.
    QVERIFY(write_file(films_dir.filePath("photo.png"), image_file(40, 30, "PNG")));
    QProcess heif_encoder;
    heif_encoder.start("heif-enc", { "-q", "50", films_dir.filePath("photo.png"), "-o", films_dir.filePath("photo.heic") });
    heif_encoder.waitForFinished(60000);
    listener = loopback_socket(SOCK_STREAM, listener_port);
    QVERIFY(listener && ::listen(listener.get(), 16) == 0);
    // A port free once the probe closes, which only a session description's reader would bind.
    QVERIFY(loopback_socket(SOCK_DGRAM, udp_port));
}

void tst_hostile_media::init()
{
    // Well in the past, so that any read moves it even on a relatime mount.
    for (const char *name : { "secret.txt", "secret-film.ts" }) {
        const struct timespec times[2] = { { 978307200, 0 }, { 0, UTIME_OMIT } };
        QVERIFY(::utimensat(AT_FDCWD, native(outside + "/" + name).constData(), times, 0) == 0);
    }
    connections_seen();
}

qint64 tst_hostile_media::outside_access_time(const QString &name) const
{
    struct stat status = {};
    return ::stat(native(outside + "/" + name).constData(), &status) == 0 ? status.st_atim.tv_sec : -1;
}

int tst_hostile_media::connections_seen()
{
    int count = 0;
    while (UniqueFd(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)))
        ++count;
    return count;
}

QByteArray tst_hostile_media::office_document(const QString &address)
{
    QTemporaryDir parts;
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const QByteArray relationship = "<Relationship Id=\"rId%1\" Type=\"http://schemas.openxmlformats.org/"
                                    "officeDocument/2006/relationships/%2\" Target=\"%3\"%4/>";
    const auto related = [&](int id, const char *type, const QString &target, bool external) {
        return QString::fromLatin1(relationship).arg(id).arg(type, target, external ? " TargetMode=\"External\"" : "").toUtf8();
    };
    const std::pair<const char *, QByteArray> files[] = {
        { "_rels/.rels", xml + "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
          + related(1, "officeDocument", "word/document.xml", false) + related(2, "hyperlink", address, true)
          + related(3, "image", "file://" + outside + "/secret-film.ts", true) + "</Relationships>" },
        { "word/_rels/document.xml.rels", xml + "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/"
          "relationships\">" + related(1, "attachedTemplate", address + "/template.dotx", true)
          + related(2, "oleObject", "file://" + outside + "/secret.txt", true) + "</Relationships>" },
        { "docProps/core.xml", xml + "<cp:coreProperties xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:cp="
          "\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\"><dc:title>Hostile letter"
          "</dc:title></cp:coreProperties>" },
        // Entities declared as outside files and addresses, used where a value is read.
        { "docProps/app.xml", xml + "<!DOCTYPE Properties [<!ENTITY leak SYSTEM \"file://" + outside.toUtf8()
          + "/secret.txt\"><!ENTITY remote SYSTEM \"" + address.toUtf8() + "/entity\">]><Properties xmlns=\""
          "http://schemas.openxmlformats.org/officeDocument/2006/extended-properties\"><Application>&leak;&remote;"
          "</Application></Properties>" },
    };
    for (const auto &[name, content] : files) {
        if (!write_file(parts.filePath(name), content))
            return QByteArray();
    }
    QProcess zip;
    zip.setWorkingDirectory(parts.path());
    zip.start("zip", { "-q", "-r", "-X", "document.zip", "." });
    if (!zip.waitForFinished(60000) || zip.exitCode() != 0)
        return QByteArray();
    QFile archive(parts.filePath("document.zip"));
    return archive.open(QIODevice::ReadOnly) ? archive.readAll() : QByteArray();
}

void tst_hostile_media::hostile_files(bool films_only)
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expected"); // a value the row holds, showing the file was read; empty: none

    const QByteArray film = (outside + "/secret-film.ts").toUtf8();
    const QByteArray address = "http://127.0.0.1:" + QByteArray::number(listener_port);
    // Relative names resolve in the folder the worker was started in: the outside folder.
    const QByteArray concat = "ffconcat version 1.0\nfile secret-film.ts\nfile secret-film.ts\n";
    const auto hls = [](const QByteArray &segment) {
        return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:1.0,\n" + segment
               + "\n#EXTINF:1.0,\n" + segment + "\n#EXT-X-ENDLIST\n";
    };
    const auto dash = [](const QByteArray &base) {
        return "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
               "profiles=\"urn:mpeg:dash:profile:isoff-on-demand:2011\" mediaPresentationDuration=\"PT1S\" "
               "minBufferTime=\"PT1S\"><Period><AdaptationSet contentType=\"video\" mimeType=\"video/mp4\">"
               "<Representation id=\"1\" bandwidth=\"100000\"><BaseURL>" + base
               + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n";
    };
    const QByteArray sdp = "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=film\nc=IN IP4 127.0.0.1\nt=0 0\nm=video "
                           + QByteArray::number(udp_port) + " RTP/AVP 96\na=rtpmap:96 H264/90000\n";
    const auto row = [](const char *row, const QString &name, const QByteArray &content, const QString &expected = {}) {
        QTest::newRow(row) << name << content << expected;
    };
    row("concat list named .mpg reads no outside film", "/Movies/list.mpg", concat);
    row("HLS playlist named .mpg reads no outside film", "/Movies/playlist.mpg", hls(film));
    row("DASH manifest named .mpg reads no outside film", "/Movies/manifest.mpg", dash(film));
    row("DASH manifest named .mpg fetches nothing over HTTP", "/Movies/remote.mpg", dash(address + "/film.mp4"));
    row("SDP description named .mpg binds no port", "/Movies/session.mpg", sdp);
    row("concat list named .mov reads no outside film", "/Movies/list.mov", concat);
    row("DASH manifest named .m4v fetches nothing over HTTP", "/Movies/manifest.m4v", dash(address + "/film.mp4"));
    row("HLS playlist named .webm fetches nothing over HTTP", "/Movies/playlist.webm", hls(address + "/segment.ts"));
    row("SDP description named .avi binds no port", "/Movies/session.avi", sdp);
    if (films_only)
        return;

    // Every way a document names another file or address, and a title read beside them.
    const QByteArray text = (outside + "/secret.txt").toUtf8();
    row("PDF with link, launch, remote go-to, external stream and embedded file reference opens none", "/Docs/report.pdf",
        pdf_of({ "<< /Type /Catalog /Pages 2 0 R /OpenAction << /S /URI /URI (" + address + "/opened) >>"
                 " /Names << /EmbeddedFiles << /Names [(secret.txt) 6 0 R] >> >> >>",
                 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 5 0 R /Annots [7 0 R 8 0 R] >>",
                 "<< /Title (Hostile report) >>",
                 "<< /Length 0 /F << /Type /Filespec /F (" + text + ") >> >>\nstream\n\nendstream",
                 "<< /Type /Filespec /F (" + text + ") /UF (" + text + ") >>",
                 "<< /Type /Annot /Subtype /Link /Rect [0 0 100 100] /A << /S /Launch /F (" + text + ") >> >>",
                 "<< /Type /Annot /Subtype /Link /Rect [0 100 100 200] /A << /S /GoToR /F (" + film + ") /D [0 /Fit] >> >>" },
               "/Info 4 0 R"),
        "Hostile report");
    row("Word document with external relationships and entities reads only its own parts", "/Docs/letter.docx",
        office_document(QString::fromUtf8(address)), "Hostile letter");

    const QByteArray xmp = "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
        "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
        "<rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmlns:xmpGImg="
        "\"http://ns.adobe.com/xap/1.0/g/img/\" xmlns:xmpMM=\"http://ns.adobe.com/xap/1.0/mm/\" xmlns:stRef="
        "\"http://ns.adobe.com/xap/1.0/sType/ResourceRef#\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">"
        "<xmp:BaseURL>" + address + "/base</xmp:BaseURL><xmpMM:DerivedFrom stRef:filePath=\"" + film + "\"/>"
        "<xmp:Thumbnails><rdf:Alt><rdf:li rdf:parseType=\"Resource\"><xmpGImg:format>JPEG</xmpGImg:format>"
        "<xmpGImg:image>" + address + "/thumbnail.jpg</xmpGImg:image></rdf:li></rdf:Alt></xmp:Thumbnails>"
        "<dc:description>&leak;&remote;</dc:description></rdf:Description></rdf:RDF></x:xmpmeta>"
        "<?xpacket end=\"w\"?>";
    const QByteArray doctype = "<!DOCTYPE x:xmpmeta [<!ENTITY leak SYSTEM \"file://" + text + "\"><!ENTITY remote SYSTEM \""
                               + address + "/entity\">]>";
    // The packet, with outside entities declared, in an APP1 segment right after the JPEG's start of image.
    const QByteArray jpeg_packet = "http://ns.adobe.com/xap/1.0/" + QByteArray(1, '\0') + doctype + xmp;
    const QByteArray jpeg = image_file(64, 48, "JPEG");
    row("JPEG whose XMP declares outside entities and names a thumbnail, base address and source opens none",
        "/Pictures/photo.jpg", jpeg.left(2) + "\xFF\xE1" + big_endian(quint16(jpeg_packet.size() + 2)) + jpeg_packet + jpeg.mid(2),
        "|64|48|");
    QFile heif(films_dir.filePath("photo.heic"));
    row("HEIC whose item data lie in an outside film and at an address reads neither", "/Pictures/photo.heic",
        heif_with_references(heif.open(QIODevice::ReadOnly) ? heif.readAll() : QByteArray(),
                             { "file://" + film, address + "/photo.hevc" }), "|40|30|");
}

void tst_hostile_media::worker_opens_nothing_a_file_names_data()
{
    hostile_files(false);
}

void tst_hostile_media::worker_opens_nothing_a_file_names()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QString, expected);
    if (content.isEmpty())
        QSKIP("the tool that makes this file is missing, or writes it otherwise");

    TestCase test_case;
    test_case.add_file(name, content);
    test_case.create_file_system_db({ { 1, name } });
    test_case.create_metadata_db(keys);
    test_case.create_timestamps_db();

    // Started as run_worker starts it, from the outside folder, watching the port the while.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *variable : { "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM" })
        environment.remove(variable);
    QProcess worker;
    worker.setProcessEnvironment(environment);
    worker.setWorkingDirectory(outside);
    worker.start(VANTREL_EXECUTABLE, { test_case.source_root(), QString(), test_case.case_dir(), TestCase::joined(keys),
                                       TestCase::joined(keys), test_case.source_name(), "2" });
    QVERIFY(worker.waitForStarted());
    bool bound = false;
    QDeadlineTimer deadline(120000);
    while (!worker.waitForFinished(10) && !deadline.hasExpired())
        bound = bound || udp_port_bound(udp_port);
    QCOMPARE(worker.exitStatus(), QProcess::NormalExit);
    QCOMPARE(worker.exitCode(), 0);

    const QList<QVariantList> rows = TestCase::rows(test_case.metadata_db(), "select * from files");
    QCOMPARE(rows.size(), 1);
    const QString row = QVariant(rows.first()).toStringList().join('|');
    for (const QString &value : outside_values)
        QVERIFY2(!row.contains(value), qPrintable(row));
    QVERIFY2(expected.isEmpty() || row.contains(expected), qPrintable(row));
    QCOMPARE(outside_access_time("secret-film.ts"), qint64(978307200));
    QCOMPARE(outside_access_time("secret.txt"), qint64(978307200));
    QCOMPARE(connections_seen(), 0);
    QVERIFY(!bound);
}

void tst_hostile_media::video_importer_alone_reads_no_playlist_data()
{
    hostile_files(true);
}

void tst_hostile_media::video_importer_alone_reads_no_playlist()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);

    // Handed over directly, as a worker that checked nothing would hand it.
    QTemporaryDir volume;
    QVERIFY(write_file(volume.path() + name, content));
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(outside));
    QString importer;
    const ImportedValues values = import_file(volume.path() + name, content_type_identifier(name.section('/', -1)), &importer);
    QDir::setCurrent(previous);

    QCOMPARE(importer, QStringLiteral("video"));
    QStringList found;
    for (const auto &[key, value] : values)
        found << key;
    QCOMPARE(found, QStringList());
    QCOMPARE(outside_access_time("secret-film.ts"), qint64(978307200));
    QCOMPARE(connections_seen(), 0);
}

void tst_hostile_media::films_of_each_container_still_give_their_picture_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");

    QTest::newRow("MPEG program stream named .mpg") << "program.mpg" << "public.mpeg";
    QTest::newRow("bare MPEG-1 video named .mpg") << "bare.mpg" << "public.mpeg";
    QTest::newRow("MPEG transport stream named .mpg") << "transport.mpg" << "public.mpeg";
    QTest::newRow("AVI named .avi") << "film.avi" << "public.avi";
    QTest::newRow("Matroska named .webm") << "film.webm" << "org.webmproject.webm";
}

void tst_hostile_media::films_of_each_container_still_give_their_picture()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);
    QStringList picture;
    for (const auto &[key, value] : import_file(films_dir.filePath(file), content_type)) {
        if (key == QLatin1String("kMDItemPixelWidth") || key == QLatin1String("kMDItemPixelHeight"))
            picture << key + '=' + QString::number(value.number);
    }
    QCOMPARE(picture, QStringList({ "kMDItemPixelWidth=458", "kMDItemPixelHeight=254" }));
}

QTEST_GUILESS_MAIN(tst_hostile_media)
#include "tst_hostile_media.moc"
