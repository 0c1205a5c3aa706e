// What one file costs each content importer, sample by sample. Not a test:
// run by hand, as in `bench_content_importers -iterations 20`.

#include "content_samples.h"

#include <QtTest>

class bench_content_importers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { samples.make_all(); }
    void import_one_file_data();
    void import_one_file();

private:
    ContentSamples samples;
};

void bench_content_importers::import_one_file_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");

    QTest::newRow("JPEG with camera and GPS tags") << "photo.jpg" << "public.jpeg";
    QTest::newRow("PNG") << "alpha.png" << "public.png";
    QTest::newRow("PDF, two pages") << "written.pdf" << "com.adobe.pdf";
    QTest::newRow("MP3, 2 s") << "song.mp3" << "public.mp3";
    QTest::newRow("M4A, 2 s") << "song.m4a" << "com.apple.m4a-audio";
    QTest::newRow("WAV, 2 s") << "song.wav" << "com.microsoft.waveform-audio";
    QTest::newRow("MP4, 1 s") << "clip.mp4" << "public.mpeg-4";
    QTest::newRow("MOV, 1 s") << "clip.mov" << "com.apple.quicktime-movie";
    QTest::newRow("Word document") << "report.docx" << "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("OpenDocument text") << "minutes.odt" << "org.oasis-open.opendocument.text";
    QTest::newRow("zip bomb") << "bomb.docx" << "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("PDF nested 200000 deep") << "nested.pdf" << "com.adobe.pdf";
    QTest::newRow("2 GB of holes as a movie") << "sparse.mov" << "com.apple.quicktime-movie";
    QTest::newRow("2 GB of holes as a song") << "sparse.mov" << "public.mp3";
    QTest::newRow("movie padded to 2 GB") << "padded.mp4" << "public.mpeg-4";
}

void bench_content_importers::import_one_file()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);

    if (const auto reason = samples.missing.find(file); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QBENCHMARK {
        import_file(samples.path(file), content_type);
    }
}

QTEST_GUILESS_MAIN(bench_content_importers)
#include "bench_content_importers.moc"
