#include "content_signature.h"

#include <QTest>

class TestContentSignature : public QObject
{
    Q_OBJECT

private slots:
    void files_no_importer_could_read_are_told_apart_data();
    void files_no_importer_could_read_are_told_apart();
    void film_containers_are_told_by_their_first_bytes_data();
    void film_containers_are_told_by_their_first_bytes();
};

void TestContentSignature::files_no_importer_could_read_are_told_apart_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<bool>("may_match");
    // Genuine files of every type the importers read match: the reading table's test shows it on samples.

    QTest::newRow("an empty photo") << "public.jpeg" << QByteArray() << false;
    QTest::newRow("text named as a photo") << "public.jpeg" << QByteArray("synthetic record 1\n") << false;
    QTest::newRow("a PNG named as a JPEG") << "public.jpeg" << QByteArray("\x89PNG\r\n\x1A\n") << false;
    QTest::newRow("a big-endian TIFF") << "public.tiff" << QByteArray("MM\0*", 4) << true;
    QTest::newRow("a WAVE file named as WebP") << "org.webmproject.webp" << QByteArray("RIFF\0\0\0\0WAVE", 12)
                                               << false;
    QTest::newRow("an old film beginning with its data") << "com.apple.quicktime-movie"
                                                         << QByteArray("\0\0\0\x08mdat", 8) << true;
    QTest::newRow("a HEIC photo cut short") << "public.heic" << QByteArray("\0\0\0\x18" "ft", 6) << false;
    QTest::newRow("a PDF after a mail header") << "com.adobe.pdf" << QByteArray("From: x\r\n\r\n%PDF-1.7") << true;
    QTest::newRow("a PDF without its header") << "com.adobe.pdf" << QByteArray("1 0 obj << >> endobj") << false;
    QTest::newRow("an empty package's end record only") << "org.oasis-open.opendocument.text"
                                                        << QByteArray("PK\x05\x06", 4) << false;
    QTest::newRow("a FLAC stream behind tags") << "org.xiph.flac" << QByteArray("ID3\x04") << true;
    QTest::newRow("an MP3 with no tag, sync first") << "public.mp3" << QByteArray("\xFF\xFB\x90") << true;
    QTest::newRow("a camera raw of any make") << "com.nikon.raw-image" << QByteArray("anything") << true;
    QTest::newRow("a Matroska film") << "org.matroska.mkv" << QByteArray("\x1A\x45\xDF\xA3") << true;

    // An .mpg file is a program stream, a bare video stream or a transport stream; text never is.
    const QString mpeg = "public.mpeg";
    QByteArray transport(3 * 188, '\xFF'), timed(3 * 192, '\xFF');
    for (int packet = 0; packet < 3; ++packet) {
        transport[packet * 188] = '\x47';
        timed[packet * 192 + 4] = '\x47';
    }
    QTest::newRow("an MPEG program stream film") << mpeg << QByteArray("\0\0\x01\xBA\x44", 5) << true;
    QTest::newRow("a bare MPEG video stream") << mpeg << QByteArray("\0\0\x01\xB3\x14", 5) << true;
    QTest::newRow("an MPEG transport stream") << mpeg << transport << true;
    QTest::newRow("a transport stream with time codes") << mpeg << timed << true;
    QTest::newRow("a transport stream of exactly one packet") << mpeg << transport.left(188) << true;
    QTest::newRow("a sync byte that does not repeat") << mpeg << QByteArray("G" + QByteArray(400, 'x')) << false;
    QTest::newRow("a transport stream losing sync") << mpeg << transport.left(376) + "x" + transport.mid(377) << false;
    QTest::newRow("a picture start code is no film's start") << mpeg << QByteArray("\0\0\x01\x00", 4) << false;
    QTest::newRow("an HLS playlist named .mpg") << mpeg << QByteArray("#EXTM3U\n#EXT-X-TARGETDURATION:10\n") << false;
    QTest::newRow("a concatenation list named .mpg") << mpeg << QByteArray("ffconcat version 1.0\nfile a.mp4\n") << false;
    QTest::newRow("a DASH manifest named .mpg") << mpeg << QByteArray("<?xml version=\"1.0\"?><MPD xmlns=") << false;
    QTest::newRow("a session description named .mpg") << mpeg << QByteArray("v=0\nc=IN IP4 127.0.0.1\n") << false;
    QTest::newRow("an HLS playlist named .mp4") << "public.mpeg-4" << QByteArray("#EXTM3U\n") << false;
    QTest::newRow("a session description named .avi") << "public.avi" << QByteArray("v=0\nc=IN IP4 ::1\n") << false;
}

void TestContentSignature::film_containers_are_told_by_their_first_bytes_data()
{
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<int>("container");

    QTest::newRow("QuickTime") << QByteArray("\0\0\0\x14" "ftypqt  ", 12) << int(FilmContainer::IsoMedia);
    QTest::newRow("WebM") << QByteArray("\x1A\x45\xDF\xA3\x9F") << int(FilmContainer::Matroska);
    QTest::newRow("AVI") << QByteArray("RIFF\0\0\0\0AVI LIST", 16) << int(FilmContainer::Avi);
    QTest::newRow("a WAVE file is no film") << QByteArray("RIFF\0\0\0\0WAVEfmt ", 16) << int(FilmContainer::None);
    QTest::newRow("Flash video") << QByteArray("FLV\x01\x05", 5) << int(FilmContainer::Flv);
    QTest::newRow("Ogg") << QByteArray("OggS\0\x02", 6) << int(FilmContainer::Ogg);
    QTest::newRow("MPEG program stream") << QByteArray("\0\0\x01\xBA", 4) << int(FilmContainer::MpegProgram);
    QTest::newRow("bare MPEG video") << QByteArray("\0\0\x01\xB3", 4) << int(FilmContainer::MpegVideo);
    QTest::newRow("an HLS playlist") << QByteArray("#EXTM3U\n") << int(FilmContainer::None);
    QTest::newRow("nothing") << QByteArray() << int(FilmContainer::None);
}

void TestContentSignature::film_containers_are_told_by_their_first_bytes()
{
    QFETCH(QByteArray, head);
    QFETCH(int, container);
    QCOMPARE(int(film_container(head)), container);
}

void TestContentSignature::files_no_importer_could_read_are_told_apart()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, head);
    QFETCH(bool, may_match);
    QCOMPARE(content_may_match(type, head), may_match);
}

QTEST_GUILESS_MAIN(TestContentSignature)
#include "tst_content_signature.moc"
