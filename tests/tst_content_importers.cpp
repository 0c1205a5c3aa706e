// What the content importers read from files made at test time by the
// tools that write such files, and how they bear hostile ones.

#include "content_dates.h"
#include "content_importers.h"
#include "content_samples.h"
#include "content/importable_keys.h"
#include "importer_reading.h"
#include "metadata_value_text.h"

#include <QtTest>


namespace {

// Stands for no value in the tables.
const QString null = QStringLiteral("<null>");

// What the named importer gave that the reading table does not list for it.
QStringList undeclared_keys(const ImportedValues &values, const QString &importer)
{
    QStringList undeclared;
    for (const auto &[key, value] : values) {
        if (!reading_keys(importer).contains(key))
            undeclared.append(key);
    }
    return undeclared;
}

} // namespace

class tst_content_importers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void imported_values_data();
    void imported_values();
    void hostile_file_data();
    void hostile_file();
    void content_date_data();
    void content_date();
    void camera_time_in_zone_data();
    void camera_time_in_zone();

private:
    ContentSamples samples;
};

void tst_content_importers::initTestCase()
{
    // The examiner's zone, for capture times recorded without one: London,
    // an hour ahead of UTC in summer time.
    qputenv("TZ", "Europe/London");
    samples.make_all();
}

void tst_content_importers::imported_values_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");
    // "key=text" as rendered; "key=~N" a number within a twentieth of N; "key=<null>" no value.
    QTest::addColumn<QStringList>("expected");

    const QString jpeg = "public.jpeg", pdf = "com.adobe.pdf", docx = "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("photo: size and pixel count, landscape, colour space, 32 bits a pixel, no alpha") << "photo.jpg"
        << jpeg << QStringList{ "kMDItemPixelWidth=64", "kMDItemPixelHeight=48", "kMDItemPixelCount=3072",
        "kMDItemOrientation=0", "kMDItemColorSpace=RGB", "kMDItemBitsPerSample=32", "kMDItemHasAlphaChannel=0" };
    QTest::newRow("photo: camera, lens, exposure as seconds, flash that fired is on, manual white balance")
        << "photo.jpg" << jpeg << QStringList{ "kMDItemAcquisitionMake=Canon",
        "kMDItemAcquisitionModel=Canon EOS 5D Mark IV", "kMDItemLensModel=EF24-70mm f/2.8L II USM",
        "kMDItemExposureTimeSeconds=0.004", "kMDItemFNumber=2.8", "kMDItemISOSpeed=400", "kMDItemFocalLength=50",
        "kMDItemFlashOnOff=1", "kMDItemWhiteBalance=1" };
    QTest::newRow("photo: south, west and below sea level are negative, fix date and time as written, capture time in its zone")
        << "photo.jpg" << jpeg << QStringList{ "kMDItemLatitude=-22.9083", "kMDItemLongitude=-43.1964",
        "kMDItemAltitude=-12", "kMDItemGPSDateStamp=2021:06:15", "kMDItemTimestamp=10:20:31",
        "kMDItemContentCreationDate=1623752430" };
    QTest::newRow("quarter-turned photo: portrait, flash off, capture time without a zone in the examiner's, no GPS or camera")
        << "turned.jpg" << jpeg << QStringList{ "kMDItemOrientation=1", "kMDItemFlashOnOff=0",
        "kMDItemContentCreationDate=1623756030", "kMDItemLatitude=<null>", "kMDItemAcquisitionMake=<null>" };
    QTest::newRow("camera JPEG: content dates from DateTimeOriginal in the examiner's zone, not from the later edit")
        << "camera.jpg" << jpeg << QStringList{ "kMDItemContentCreationDate=1224689900",
        "kMDItemContentModificationDate=1224689900" };
    QTest::newRow("camera JPEG: EXIF 2.30 as 2.3, the artist as author, dots per centimetre as per inch, ASCII profile name")
        << "camera.jpg" << jpeg << QStringList{ "kMDItemEXIFVersion=2.3", "kMDItemAuthors=Jo Camera",
        "kMDItemResolutionWidthDPI=299.72", "kMDItemProfileName=Camera RGB", "kMDItemRedEyeOnOff=<null>" };
    QTest::newRow("phone JPEG: content dates in the recorded offset, system version as creator, exposure, APEX aperture")
        << "phone.jpg" << jpeg << QStringList{ "kMDItemContentCreationDate=1466046857",
        "kMDItemContentModificationDate=1466046857", "kMDItemCreator=9.3.2", "kMDItemExposureProgram=2",
        "kMDItemExposureMode=0", "kMDItemAperture=~2.275", "kMDItemFNumber=2.2", "kMDItemEXIFVersion=2.2.1" };
    QTest::newRow("phone JPEG: red-eye flash, 72 dpi, profile by name, XMP author, comment without its character set")
        << "phone.jpg" << jpeg << QStringList{ "kMDItemFlashOnOff=1", "kMDItemRedEyeOnOff=1",
        "kMDItemResolutionWidthDPI=72", "kMDItemResolutionHeightDPI=72", "kMDItemProfileName=sRGB IEC61966-2.1",
        "kMDItemAuthors=Alex Example", "kMDItemComment=Birthday at the lake" };
    QTest::newRow("phone JPEG: GPS date and time as written, direction, bearing and speed") << "phone.jpg" << jpeg
        << QStringList{ "kMDItemGPSDateStamp=2016:06:16", "kMDItemTimestamp=03:14:17", "kMDItemImageDirection=83.51",
        "kMDItemGPSDestBearing=83.51", "kMDItemSpeed=0" };
    QTest::newRow("PNG: width, alpha, no capture time") << "alpha.png" << "public.png" << QStringList{
        "kMDItemPixelWidth=30", "kMDItemHasAlphaChannel=1", "kMDItemContentCreationDate=<null>" };
    QTest::newRow("HEIC: size as shown, not as coded") << "small.heic" << "public.heic" << QStringList{
        "kMDItemPixelWidth=40", "kMDItemPixelHeight=30", "kMDItemOrientation=0", "kMDItemBitsPerSample=32",
        "kMDItemHasAlphaChannel=0" };
    QTest::newRow("PDF: title, application, pages, A4 in points, unencrypted, no author") << "written.pdf" << pdf
        << QStringList{ "kMDItemTitle=Quarterly report", "kMDItemCreator=Report Builder 2", "kMDItemNumberOfPages=2",
        "kMDItemPageWidth=595", "kMDItemPageHeight=842", "kMDItemSecurityMethod=None", "kMDItemAuthors=<null>" };
    QTest::newRow("PDF: author list, producer, header version, letter width, no content dates over the file's")
        << "described.pdf" << pdf << QStringList{ "kMDItemAuthors=Alex Example",
        "kMDItemEncodingApplications=PDF Maker 1.2", "kMDItemVersion=1.4", "kMDItemContentCreationDate=<null>",
        "kMDItemContentModificationDate=<null>", "kMDItemPageWidth=612" };
    QTest::newRow("PDF anyone may open is still encrypted and gives its pages") << "open-encrypted.pdf" << pdf
        << QStringList{ "kMDItemSecurityMethod=Password Encrypted", "kMDItemNumberOfPages=1" };
    QTest::newRow("PDF behind a user password is encrypted and hides its version") << "locked.pdf" << pdf
        << QStringList{ "kMDItemSecurityMethod=Password Encrypted", "kMDItemVersion=<null>" };
    const QStringList song = { "kMDItemAudioSampleRate=44100", "kMDItemAudioChannelCount=2", "kMDItemTitle=Night Train",
                               "kMDItemAuthors=The Examples", "kMDItemAlbum=Sample Album", "kMDItemMusicalGenre=Jazz",
                               "kMDItemRecordingYear=2019" };
    QTest::newRow("MP3: song tags, the stream's bit rate in kilobits a second, track number without the total")
        << "song.mp3" << "public.mp3" << song + QStringList{ "kMDItemDurationSeconds=~2", "kMDItemAudioBitRate=128",
        "kMDItemComposer=A. Writer", "kMDItemAudioTrackNumber=3" };
    QTest::newRow("M4A: song tags, composer, track number") << "song.m4a" << "com.apple.m4a-audio"
        << song + QStringList{ "kMDItemDurationSeconds=~2", "kMDItemComposer=A. Writer", "kMDItemAudioTrackNumber=3" };
    QTest::newRow("WAV: song tags, duration to the sample, kilobit rate of 16-bit stereo") << "song.wav"
        << "com.microsoft.waveform-audio" << song + QStringList{ "kMDItemDurationSeconds=2", "kMDItemAudioBitRate=1411" };
    QTest::newRow("movie: duration, picture size, codecs picture first, creation time from its header") << "clip.mp4"
        << "public.mpeg-4" << QStringList{ "kMDItemDurationSeconds=~1", "kMDItemPixelWidth=320",
        "kMDItemPixelHeight=240", "kMDItemCodecs=H.264;AAC", "kMDItemContentCreationDate=1623752430" };
    QTest::newRow("phone movie: codecs picture, sound, then timed metadata, whatever the track order; sound in kilobits")
        << "phone.mov" << "com.apple.quicktime-movie" << QStringList{ "kMDItemCodecs=H.264;AAC;Timed Metadata",
        "kMDItemAudioBitRate=~64" };
    QTest::newRow("phone movie: make, model, place and capture time from the phone's keys, not the header's time")
        << "phone.mov" << "com.apple.quicktime-movie" << QStringList{ "kMDItemAcquisitionMake=Apple",
        "kMDItemAcquisitionModel=iPhone 7", "kMDItemLatitude=37.3317", "kMDItemLongitude=-122.031",
        "kMDItemAltitude=10", "kMDItemContentCreationDate=1466046857" };
    QTest::newRow("camera movie: make, model and a place in degrees and minutes from user data, its header's time")
        << "camera.mov" << "com.apple.quicktime-movie" << QStringList{ "kMDItemAcquisitionMake=Canon",
        "kMDItemAcquisitionModel=PowerShot S95", "kMDItemLatitude=37.3317", "kMDItemLongitude=-122.031",
        "kMDItemAltitude=<null>", "kMDItemContentCreationDate=1623752430" };
    QTest::newRow("silent movie has one codec") << "clip.mov" << "com.apple.quicktime-movie"
                                                 << QStringList{ "kMDItemCodecs=MPEG-4 Video" };
    QTest::newRow("Word: title, author list, last editor, application, pages, no content dates over the file's")
        << "report.docx" << docx << QStringList{ "kMDItemTitle=Budget 2024", "kMDItemAuthors=Alex Example",
        "kMDItemEditors=Sam Editor", "kMDItemCreator=Microsoft Office Word", "kMDItemNumberOfPages=7",
        "kMDItemContentCreationDate=<null>", "kMDItemContentModificationDate=<null>" };
    QTest::newRow("PowerPoint: its slides are its pages") << "deck.pptx"
        << "org.openxmlformats.presentationml.presentation"
        << QStringList{ "kMDItemNumberOfPages=12", "kMDItemCreator=Microsoft Office PowerPoint" };
    QTest::newRow("OpenDocument: initial creator is the author, creator the last editor, no content dates over the file's")
        << "minutes.odt" << "org.oasis-open.opendocument.text" << QStringList{ "kMDItemTitle=Board minutes",
        "kMDItemAuthors=Alex Example", "kMDItemEditors=Sam Editor", "kMDItemCreator=LibreOffice/7.4.7.2$Linux_X86_64",
        "kMDItemNumberOfPages=3", "kMDItemContentCreationDate=<null>", "kMDItemContentModificationDate=<null>" };
    QTest::newRow("zip bomb gives no title") << "bomb.docx" << docx << QStringList{ "kMDItemTitle=<null>" };
}

void tst_content_importers::imported_values()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);
    QFETCH(QStringList, expected);
    if (const auto reason = samples.missing.find(file); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QString importer;
    const ImportedValues values = import_file(samples.path(file), content_type, &importer);
    QCOMPARE(undeclared_keys(values, importer), QStringList());
    QStringList actual;
    for (const QString &entry : expected) {
        const QString key = entry.section('=', 0, 0), nominal = entry.section('=', 1);
        const auto found = std::find_if(values.begin(), values.end(), [&](const auto &value) { return value.first == key; });
        QString text = found == values.end() ? QString() : metadata_value_text(found->second);
        // Encoders pad and average: near enough stands as the nominal value.
        bool number = false;
        const double distance = qAbs(text.toDouble(&number) - nominal.mid(1).toDouble());
        if (nominal.startsWith('~') && number && distance <= nominal.mid(1).toDouble() / 20)
            text = nominal;
        actual << key + '=' + (text.isNull() ? null : text);
    }
    QCOMPARE(actual, expected);
}

void tst_content_importers::hostile_file_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<QString>("importer"); // every importer that reads the type

    const char *docx = "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("JPEG cut off in its first segments") << "truncated.jpg" << "public.jpeg" << "image";
    QTest::newRow("PNG cut off in its header") << "truncated.png" << "public.png" << "image";
    QTest::newRow("2 GB of holes as a movie") << "sparse.mov" << "com.apple.quicktime-movie" << "video";
    QTest::newRow("movie padded with holes to 2 GB") << "padded.mp4" << "public.mpeg-4" << "video";
    QTest::newRow("2 GB of holes as a photo") << "sparse.mov" << "public.jpeg" << "image";
    QTest::newRow("2 GB of holes as a song") << "sparse.mov" << "public.mp3" << "audio";
    QTest::newRow("zip bomb as a Word document") << "bomb.docx" << docx << "office";
    QTest::newRow("PDF with objects nested 200000 deep") << "nested.pdf" << "com.adobe.pdf" << "pdf";
    QTest::newRow("plain text has no importer") << "noise.bin" << "public.plain-text" << "";
    QTest::newRow("a type's parent is not enough") << "noise.bin" << "public.image" << "";
    QTest::newRow("data of no known kind has no importer") << "noise.bin" << "public.data" << "";
    const std::pair<const char *, QStringList> families[] = {
        { "image", { "public.jpeg", "public.png", "public.tiff", "public.heic", "com.canon.cr2-raw-image", "com.nikon.raw-image" } },
        { "pdf", { "com.adobe.pdf" } }, { "video", { "public.mpeg-4", "com.apple.quicktime-movie" } },
        { "audio", { "public.mp3", "com.apple.m4a-audio", "com.microsoft.waveform-audio", "public.aiff-audio", "org.xiph.flac" } },
        { "office", { docx, "org.oasis-open.opendocument.spreadsheet", "org.oasis-open.opendocument.presentation" } },
    };
    for (const auto &[importer, types] : families) {
        for (const QString &type : types) {
            QTest::addRow("noise as %s", qPrintable(type)) << "noise.bin" << type << importer;
            QTest::addRow("empty file as %s", qPrintable(type)) << "empty.bin" << type << importer;
        }
    }
    // A genuine file ending at every sixteenth of its length: each structure the parser trusts is cut somewhere.
    const char *genuine[][3] = { { "photo.jpg", "public.jpeg", "image" }, { "alpha.png", "public.png", "image" },
        { "small.heic", "public.heic", "image" }, { "written.pdf", "com.adobe.pdf", "pdf" },
        { "song.mp3", "public.mp3", "audio" }, { "song.m4a", "com.apple.m4a-audio", "audio" },
        { "song.wav", "com.microsoft.waveform-audio", "audio" }, { "clip.mp4", "public.mpeg-4", "video" },
        { "report.docx", docx, "office" }, { "minutes.odt", "org.oasis-open.opendocument.text", "office" } };
    for (const auto &[file, type, importer] : genuine) {
        const QByteArray whole = samples.read(file);
        for (int sixteenths = 1; sixteenths < 16; ++sixteenths) {
            const QString cut = QString("%1.cut%2").arg(file).arg(sixteenths);
            QVERIFY(samples.write(cut, whole.left(whole.size() * sixteenths / 16)));
            QTest::addRow("%s cut at %d/16", file, sixteenths) << cut << type << importer;
        }
    }
}

void tst_content_importers::hostile_file()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);
    QFETCH(QString, importer);
    if (const auto reason = samples.missing.find(file.section(".cut", 0, 0)); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QStringList readers;
    for (const std::unique_ptr<ContentImporter> &candidate : all_content_importers()) {
        if (candidate->reads(content_type))
            readers.append(candidate->name());
    }
    QCOMPARE(readers.join(','), importer);
    // The worker's own table must hand the type's files to that importer.
    QCOMPARE(!importable_keys(content_type).isEmpty(), !importer.isEmpty());
    // Whatever survives is still declared.
    QCOMPARE(undeclared_keys(import_file(samples.path(file), content_type), importer), QStringList());
}

void tst_content_importers::content_date_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("offset");
    QTest::addColumn<QString>("expected"); // seconds since 1970 as rendered

    QTest::newRow("camera time east of UTC") << "camera" << "2021:06:15 12:20:30" << "+02:00" << "1623752430";
    QTest::newRow("camera time at a half-hour offset west") << "camera" << "2021:06:15 04:50:30" << "-05:30" << "1623752430";
    QTest::newRow("camera time without offset is in the examiner's zone") << "camera" << "2021:06:15 11:20:30" << "" << "1623752430";
    QTest::newRow("camera time left blank") << "camera" << "    :  :     :  :  " << "" << null;
    QTest::newRow("camera time zeroed") << "camera" << "0000:00:00 00:00:00" << "" << null;
    QTest::newRow("camera date that does not exist") << "camera" << "2021:02:30 10:00:00" << "" << null;
    QTest::newRow("camera offset that is no offset") << "camera" << "2021:06:15 10:20:30" << "CEST" << null;
    QTest::newRow("ISO date and time in UTC") << "iso" << "2021-06-15T10:20:30Z" << "" << "1623752430";
    QTest::newRow("ISO offset without colon") << "iso" << "2021-06-15T12:20:30+0200" << "" << "1623752430";
    QTest::newRow("ISO nanoseconds stay within their second") << "iso" << "2021-06-15T10:20:30.987654321" << "" << "1623752430";
    QTest::newRow("ISO date alone is midnight UTC") << "iso" << "2021-06-15" << "" << "1623715200";
    QTest::newRow("ISO before 1970") << "iso" << "1969-12-31T23:59:00Z" << "" << "-60";
    QTest::newRow("ISO hour 25") << "iso" << "2021-06-15T25:00:00Z" << "" << null;
    QTest::newRow("ISO with trailing words") << "iso" << "2021-06-15T10:20:30Z today" << "" << null;
}

void tst_content_importers::content_date()
{
    QFETCH(QString, format);
    QFETCH(QString, text);
    QFETCH(QString, offset);
    QFETCH(QString, expected);
    const std::optional<double> seconds =
        format == QLatin1String("camera") ? camera_time_seconds(text, offset) : iso_time_seconds(text);
    QCOMPARE(seconds ? metadata_value_text(MetadataValue::from_date(*seconds)) : null, expected);
}

void tst_content_importers::camera_time_in_zone_data()
{
    QTest::addColumn<QByteArray>("zone"); // the examiner's TZ
    QTest::addColumn<QString>("offset");  // as the camera recorded it
    QTest::addColumn<QString>("expected");

    // The capture of 2008:10:22 16:38:20, as each examiner reads it.
    QTest::newRow("London in summer time is an hour ahead of UTC") << QByteArray("Europe/London") << "" << "1224689900";
    QTest::newRow("New York in summer time is four hours behind") << QByteArray("America/New_York") << "" << "1224707900";
    QTest::newRow("an offset the camera recorded outweighs the examiner's zone")
        << QByteArray("America/New_York") << "+01:00" << "1224689900";
    QTest::newRow("a zone the system does not know counts as UTC") << QByteArray("Nowhere/Else") << "" << "1224693500";
}

void tst_content_importers::camera_time_in_zone()
{
    QFETCH(QByteArray, zone);
    QFETCH(QString, offset);
    QFETCH(QString, expected);
    const QByteArray examiner = qgetenv("TZ");
    qputenv("TZ", zone);
    const std::optional<double> seconds = camera_time_seconds("2008:10:22 16:38:20", offset);
    qputenv("TZ", examiner);
    QCOMPARE(seconds ? metadata_value_text(MetadataValue::from_date(*seconds)) : null, expected);
}

QTEST_GUILESS_MAIN(tst_content_importers)
#include "tst_content_importers.moc"
