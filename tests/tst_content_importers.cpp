// What the content importers read from files made at test time by the
// tools that write such files, and how they bear hostile ones.

#include "content_dates.h"
#include "content_importer_keys.h"
#include "content_importers.h"
#include "content_samples.h"
#include "metadata_value_text.h"

#include <QtTest>

namespace {

// Stands for null text in the tables: the key has no value.
const QString null = QStringLiteral("<null>");

QString shown(const QString &text)
{
    return text.isNull() ? null : '"' + text + '"';
}

QString value_text(const ImportedValues &values, const QString &key)
{
    for (const auto &[found_key, value] : values) {
        if (found_key == key)
            return metadata_value_text(value);
    }
    return QString();
}

// What the named importer gave that it does not declare.
QStringList undeclared_keys(const ImportedValues &values, const QString &importer)
{
    QStringList undeclared;
    for (const std::unique_ptr<ContentImporter> &candidate : all_content_importers()) {
        for (const auto &[key, value] : values) {
            if (candidate->name() == importer && !candidate->keys().contains(key))
                undeclared.append(key);
        }
    }
    return undeclared;
}

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
    void sample_cut_short_data();
    void sample_cut_short();
    void importer_for_type_data();
    void importer_for_type();
    void declared_keys_are_listed_once();
    void content_date_data();
    void content_date();

private:
    ContentSamples samples;
};

void tst_content_importers::initTestCase()
{
    samples.make_all();
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
    const QString heic = QStringLiteral("public.heic");
    QTest::newRow("HEIC width as shown, not as coded") << "small.heic" << heic << "kMDItemPixelWidth" << "40";
    QTest::newRow("HEIC height as shown, not as coded") << "small.heic" << heic << "kMDItemPixelHeight" << "30";
    QTest::newRow("HEIC landscape") << "small.heic" << heic << "kMDItemOrientation" << "0";
    QTest::newRow("HEIC bits per sample") << "small.heic" << heic << "kMDItemBitsPerSample" << "8";
    QTest::newRow("HEIC without alpha") << "small.heic" << heic << "kMDItemHasAlphaChannel" << "0";
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
    QTest::newRow("PDF anyone may open is still encrypted") << "open-encrypted.pdf" << pdf << "kMDItemSecurityMethod" << "Password Encrypted";
    QTest::newRow("encrypted PDF anyone may open gives its pages") << "open-encrypted.pdf" << pdf << "kMDItemNumberOfPages" << "1";
    QTest::newRow("PDF behind a user password is encrypted") << "locked.pdf" << pdf << "kMDItemSecurityMethod" << "Password Encrypted";
    QTest::newRow("PDF behind a user password hides its version") << "locked.pdf" << pdf << "kMDItemVersion" << null;
    QTest::newRow("PDF without an author") << "written.pdf" << pdf << "kMDItemAuthors" << null;
}

void tst_content_importers::imported_value()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    if (const auto reason = samples.missing.find(file); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QString importer;
    const ImportedValues values = import_file(samples.path(file), content_type, &importer);
    QCOMPARE(undeclared_keys(values, importer), QStringList());
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

    if (const auto reason = samples.missing.find(file); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QString importer;
    const ImportedValues values = import_file(samples.path(file), content_type, &importer);
    QVERIFY2(!importer.isEmpty(), "no importer reads the type");
    QCOMPARE(undeclared_keys(values, importer), QStringList()); // whatever survives is still declared
}

void tst_content_importers::sample_cut_short_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("content_type");

    QTest::newRow("photo") << "photo.jpg" << "public.jpeg";
    QTest::newRow("PNG") << "alpha.png" << "public.png";
    QTest::newRow("HEIC") << "small.heic" << "public.heic";
    QTest::newRow("PDF written by Qt") << "written.pdf" << "com.adobe.pdf";
    QTest::newRow("MP3") << "song.mp3" << "public.mp3";
    QTest::newRow("M4A") << "song.m4a" << "com.apple.m4a-audio";
    QTest::newRow("WAV") << "song.wav" << "com.microsoft.waveform-audio";
    QTest::newRow("MP4") << "clip.mp4" << "public.mpeg-4";
    QTest::newRow("Word document") << "report.docx" << "org.openxmlformats.wordprocessingml.document";
    QTest::newRow("OpenDocument text") << "minutes.odt" << "org.oasis-open.opendocument.text";
}

// A copy of a genuine file ends at every sixteenth of its length: each
// structure the parser trusts is cut somewhere.
void tst_content_importers::sample_cut_short()
{
    QFETCH(QString, file);
    QFETCH(QString, content_type);

    if (const auto reason = samples.missing.find(file); reason != samples.missing.end())
        QSKIP(qPrintable(reason->second));
    QFile genuine(samples.path(file));
    QVERIFY(genuine.open(QIODevice::ReadOnly));
    const QByteArray whole = genuine.readAll();
    const QString cut_path = samples.path("cut-" + file);
    for (int sixteenths = 1; sixteenths < 16; ++sixteenths) {
        QFile cut(cut_path);
        QVERIFY(cut.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QVERIFY(cut.write(whole.left(whole.size() * sixteenths / 16)) >= 0);
        cut.close();
        QString importer;
        import_file(cut_path, content_type, &importer);
        QVERIFY2(!importer.isEmpty(), "no importer reads the type");
    }
}

void tst_content_importers::importer_for_type_data()
{
    QTest::addColumn<QString>("content_type");
    QTest::addColumn<QString>("importer");

    QTest::newRow("JPEG photo") << "public.jpeg" << "image";
    QTest::newRow("camera raw") << "com.nikon.raw-image" << "image";
    QTest::newRow("PDF document") << "com.adobe.pdf" << "pdf";
    QTest::newRow("MP3 song") << "public.mp3" << "audio";
    QTest::newRow("QuickTime movie") << "com.apple.quicktime-movie" << "video";
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

void tst_content_importers::declared_keys_are_listed_once()
{
    QStringList all = content_importer_keys();
    QCOMPARE(all.removeDuplicates(), qsizetype(0));
    for (const std::unique_ptr<ContentImporter> &importer : all_content_importers()) {
        for (const QString &key : importer->keys())
            QVERIFY2(all.contains(key), qPrintable(importer->name() + ": " + key));
    }
}

void tst_content_importers::content_date_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("offset");
    // Seconds since 1970 as the renderer prints them, or null for no date.
    QTest::addColumn<QString>("expected");

    QTest::newRow("camera time east of UTC") << "camera" << "2021:06:15 12:20:30" << "+02:00" << "1623752430";
    QTest::newRow("camera time at a half-hour offset west") << "camera" << "2021:06:15 04:50:30" << "-05:30" << "1623752430";
    QTest::newRow("camera time without offset is UTC") << "camera" << "2021:06:15 10:20:30" << "" << "1623752430";
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
    const QString actual = seconds ? metadata_value_text(MetadataValue::from_date(*seconds)) : QString();
    QCOMPARE(shown(actual), expected == null ? null : shown(expected));
}

QTEST_GUILESS_MAIN(tst_content_importers)
#include "tst_content_importers.moc"
