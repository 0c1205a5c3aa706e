#include "importers/content_signature.h"

#include <QTest>

class TestContentSignature : public QObject
{
    Q_OBJECT

private slots:
    void files_no_importer_could_read_are_told_apart_data();
    void files_no_importer_could_read_are_told_apart();
};

void TestContentSignature::files_no_importer_could_read_are_told_apart_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<bool>("may_match");

    const QByteArray mp4 = QByteArray("\0\0\0\x18" "ftypmp42", 12);
    QTest::newRow("an empty photo") << "public.jpeg" << QByteArray() << false;
    QTest::newRow("a photo") << "public.jpeg" << QByteArray("\xFF\xD8\xFF\xE1") << true;
    QTest::newRow("text named as a photo") << "public.jpeg" << QByteArray("synthetic record 1\n") << false;
    QTest::newRow("a PNG named as a JPEG") << "public.jpeg" << QByteArray("\x89PNG\r\n\x1A\n") << false;
    QTest::newRow("a big-endian TIFF") << "public.tiff" << QByteArray("MM\0*", 4) << true;
    QTest::newRow("a WAVE file named as WebP") << "org.webmproject.webp" << QByteArray("RIFF\0\0\0\0WAVE", 12)
                                               << false;
    QTest::newRow("a film") << "public.mpeg-4" << mp4 << true;
    QTest::newRow("an old film beginning with its data") << "com.apple.quicktime-movie"
                                                         << QByteArray("\0\0\0\x08mdat", 8) << true;
    QTest::newRow("a HEIC photo cut short") << "public.heic" << QByteArray("\0\0\0\x18" "ft", 6) << false;
    QTest::newRow("a PDF after a mail header") << "com.adobe.pdf" << QByteArray("From: x\r\n\r\n%PDF-1.7") << true;
    QTest::newRow("a PDF without its header") << "com.adobe.pdf" << QByteArray("1 0 obj << >> endobj") << false;
    QTest::newRow("a document package") << "org.openxmlformats.wordprocessingml.document"
                                        << QByteArray("PK\x03\x04\x14\0", 6) << true;
    QTest::newRow("an empty package's end record only") << "org.oasis-open.opendocument.text"
                                                        << QByteArray("PK\x05\x06", 4) << false;
    QTest::newRow("a FLAC stream behind tags") << "org.xiph.flac" << QByteArray("ID3\x04") << true;
    QTest::newRow("an MP3 with no tag, sync first") << "public.mp3" << QByteArray("\xFF\xFB\x90") << true;
    QTest::newRow("a camera raw of any make") << "com.nikon.raw-image" << QByteArray("anything") << true;
    QTest::newRow("a Matroska film") << "org.matroska.mkv" << QByteArray("\x1A\x45\xDF\xA3") << true;
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
