#include "importer_reading.h"

namespace {

struct ReadType
{
    const char *importer;
    const char *content_type;
    const char *listed_as; // the name README lists the type by
};

// One line per content type an importer reads. A type belongs here only
// when the type table gives files that type and the importer's library
// finds values in a file of it.
const ReadType read_types[] = {
    // Photos as cameras and phones save them (exiv2).
    {"image", "public.jpeg", "JPEG"},
    // Screenshots and images with transparency.
    {"image", "public.png", "PNG"},
    // Scans and print images.
    {"image", "public.tiff", "TIFF"},
    // Photos of recent iPhones; sizes from libheif.
    {"image", "public.heic", "HEIC"},
    // The same container under its general name.
    {"image", "public.heif", "HEIF"},
    // Animations and small web images: their pixel size.
    {"image", "com.compuserve.gif", "GIF"},
    // Web images, with their EXIF where they carry one.
    {"image", "org.webmproject.webp", "WebP"},
    // Digital Negative raw photos: a TIFF structure.
    {"image", "com.adobe.raw-image", "DNG"},
    // Canon raw photos of the CR2 generation: a TIFF structure.
    {"image", "com.canon.cr2-raw-image", "CR2"},
    // Nikon raw photos: a TIFF structure.
    {"image", "com.nikon.raw-image", "NEF"},
    // Sony raw photos: a TIFF structure.
    {"image", "com.sony.arw-raw-image", "ARW"},
    // Canon raw photos of the CR3 generation: ISO media with Canon's boxes.
    {"image", "com.canon.cr3-raw-image", "CR3"},
    // Fujifilm raw photos: EXIF in their embedded JPEG.
    {"image", "com.fuji.raw-image", "RAF"},
    // Olympus raw photos: a TIFF structure of their own magic number.
    {"image", "com.olympus.raw-image", "ORF"},
    // Panasonic raw photos: likewise, the sensor's size in their own tags.
    {"image", "com.panasonic.rw2-raw-image", "RW2"},
    // PDF documents (poppler).
    {"pdf", "com.adobe.pdf", "PDF"},
    // Songs in MPEG audio (TagLib).
    {"audio", "public.mp3", "MP3"},
    // Songs in MPEG-4 audio, as music applications save them.
    {"audio", "com.apple.m4a-audio", "M4A"},
    // Songs bought with copy protection: the tags are not protected.
    {"audio", "com.apple.protected-mpeg-4-audio", "M4P"},
    // Audio books in MPEG-4 audio.
    {"audio", "com.apple.m4b-audio", "M4B"},
    // Uncompressed sound of Windows origin.
    {"audio", "com.microsoft.waveform-audio", "WAV"},
    // Uncompressed sound of Mac origin.
    {"audio", "public.aiff-audio", "AIFF"},
    // Its compressed variant.
    {"audio", "public.aifc-audio", "AIFF-C"},
    // Lossless compressed sound.
    {"audio", "org.xiph.flac", "FLAC"},
    // Ogg files, of Vorbis sound.
    {"audio", "org.xiph.ogg-audio", "Ogg Vorbis"},
    // Films of Mac origin (libavformat).
    {"video", "com.apple.quicktime-movie", "QuickTime"},
    // Films of phones and cameras.
    {"video", "public.mpeg-4", "MPEG-4"},
    // Films of Apple's stores and applications.
    {"video", "com.apple.m4v-video", "M4V"},
    // Films of older phones.
    {"video", "public.3gpp", "3GPP"},
    // Films of Windows origin.
    {"video", "public.avi", "AVI"},
    // MPEG program streams.
    {"video", "public.mpeg", "MPEG"},
    // Web films.
    {"video", "org.webmproject.webm", "WebM"},
    // Word documents (libzip, QXmlStreamReader).
    {"office", "org.openxmlformats.wordprocessingml.document", "docx"},
    // Excel workbooks.
    {"office", "org.openxmlformats.spreadsheetml.sheet", "xlsx"},
    // PowerPoint presentations.
    {"office", "org.openxmlformats.presentationml.presentation", "pptx"},
    // OpenDocument texts.
    {"office", "org.oasis-open.opendocument.text", "odt"},
    // OpenDocument spreadsheets.
    {"office", "org.oasis-open.opendocument.spreadsheet", "ods"},
    // OpenDocument presentations.
    {"office", "org.oasis-open.opendocument.presentation", "odp"},
};

struct GivenKey
{
    const char *importer;
    const char *key;
};

// One line per key an importer can give.
const GivenKey given_keys[] = {
    // Picture width in pixels, as shown.
    {"image", "kMDItemPixelWidth"},
    // Picture height in pixels, as shown.
    {"image", "kMDItemPixelHeight"},
    // 0 landscape, 1 portrait, as shown.
    {"image", "kMDItemOrientation"},
    // Width times height.
    {"image", "kMDItemPixelCount"},
    // The pixels' colour model.
    {"image", "kMDItemColorSpace"},
    // Bits a pixel: 32 for RGB, as the Mac counts them.
    {"image", "kMDItemBitsPerSample"},
    // Whether pixels carry transparency.
    {"image", "kMDItemHasAlphaChannel"},
    // The ICC profile's own name.
    {"image", "kMDItemProfileName"},
    // Dots per inch across, centimetres converted.
    {"image", "kMDItemResolutionWidthDPI"},
    // Dots per inch down.
    {"image", "kMDItemResolutionHeightDPI"},
    // The camera's maker.
    {"image", "kMDItemAcquisitionMake"},
    // The camera's model.
    {"image", "kMDItemAcquisitionModel"},
    // The camera's software, a phone's system version.
    {"image", "kMDItemCreator"},
    // The lens.
    {"image", "kMDItemLensModel"},
    // Exposure time in seconds.
    {"image", "kMDItemExposureTimeSeconds"},
    // Aperture as an f-number.
    {"image", "kMDItemFNumber"},
    // Aperture as the stored APEX value.
    {"image", "kMDItemAperture"},
    // The camera's exposure programme.
    {"image", "kMDItemExposureProgram"},
    // Automatic, manual or bracketed exposure.
    {"image", "kMDItemExposureMode"},
    // Sensitivity.
    {"image", "kMDItemISOSpeed"},
    // Focal length in millimetres.
    {"image", "kMDItemFocalLength"},
    // Whether the flash fired.
    {"image", "kMDItemFlashOnOff"},
    // Whether red-eye reduction ran.
    {"image", "kMDItemRedEyeOnOff"},
    // 0 automatic, 1 manual white balance.
    {"image", "kMDItemWhiteBalance"},
    // The EXIF version as text, "2.2.1".
    {"image", "kMDItemEXIFVersion"},
    // Where the satellites placed the camera: north positive.
    {"image", "kMDItemLatitude"},
    // East positive.
    {"image", "kMDItemLongitude"},
    // Metres above sea level, below it negative.
    {"image", "kMDItemAltitude"},
    // Where the camera looked, in degrees.
    {"image", "kMDItemImageDirection"},
    // The bearing to the destination.
    {"image", "kMDItemGPSDestBearing"},
    // The speed the receiver recorded, in its own unit.
    {"image", "kMDItemSpeed"},
    // The day the satellites fixed that place, as written.
    {"image", "kMDItemGPSDateStamp"},
    // The time of that fix, as written.
    {"image", "kMDItemTimestamp"},
    // XMP creators, else the EXIF artist.
    {"image", "kMDItemAuthors"},
    // The EXIF user comment.
    {"image", "kMDItemComment"},
    // When the photo was taken.
    {"image", "kMDItemContentCreationDate"},
    // The same capture time, as a Mac gives it.
    {"image", "kMDItemContentModificationDate"},
    // The document's own title.
    {"pdf", "kMDItemTitle"},
    // Its author, as a list.
    {"pdf", "kMDItemAuthors"},
    // The application that wrote the content.
    {"pdf", "kMDItemCreator"},
    // The application that made the PDF.
    {"pdf", "kMDItemEncodingApplications"},
    // Its pages.
    {"pdf", "kMDItemNumberOfPages"},
    // The first page's width in points.
    {"pdf", "kMDItemPageWidth"},
    // The first page's height in points.
    {"pdf", "kMDItemPageHeight"},
    // The PDF version of its header.
    {"pdf", "kMDItemVersion"},
    // Whether it is encrypted.
    {"pdf", "kMDItemSecurityMethod"},
    // How long the sound runs.
    {"audio", "kMDItemDurationSeconds"},
    // Kilobits per second; an MP3's from its frames.
    {"audio", "kMDItemAudioBitRate"},
    // Samples per second.
    {"audio", "kMDItemAudioSampleRate"},
    // Channels.
    {"audio", "kMDItemAudioChannelCount"},
    // The song's title.
    {"audio", "kMDItemTitle"},
    // Every performing artist.
    {"audio", "kMDItemAuthors"},
    // The album.
    {"audio", "kMDItemAlbum"},
    // Who wrote the music.
    {"audio", "kMDItemComposer"},
    // The genre as written.
    {"audio", "kMDItemMusicalGenre"},
    // The year recorded.
    {"audio", "kMDItemRecordingYear"},
    // The track's number, without the total.
    {"audio", "kMDItemAudioTrackNumber"},
    // How long the film runs.
    {"video", "kMDItemDurationSeconds"},
    // Picture width in pixels.
    {"video", "kMDItemPixelWidth"},
    // Picture height in pixels.
    {"video", "kMDItemPixelHeight"},
    // Its codecs, picture first.
    {"video", "kMDItemCodecs"},
    // The picture's bits per second.
    {"video", "kMDItemVideoBitRate"},
    // All streams' bits per second.
    {"video", "kMDItemTotalBitRate"},
    // The sound's whole kilobits per second.
    {"video", "kMDItemAudioBitRate"},
    // The recording phone's or camera's maker.
    {"video", "kMDItemAcquisitionMake"},
    // Its model.
    {"video", "kMDItemAcquisitionModel"},
    // Where it was recorded: north positive.
    {"video", "kMDItemLatitude"},
    // East positive.
    {"video", "kMDItemLongitude"},
    // Metres above sea level.
    {"video", "kMDItemAltitude"},
    // When it was recorded: a phone's own date, else the header's.
    {"video", "kMDItemContentCreationDate"},
    // The document's own title.
    {"office", "kMDItemTitle"},
    // Its author, as a list.
    {"office", "kMDItemAuthors"},
    // The last person to save it.
    {"office", "kMDItemEditors"},
    // Pages (a presentation's slides) as last laid out.
    {"office", "kMDItemNumberOfPages"},
    // The application that saved it.
    {"office", "kMDItemCreator"},
};

} // namespace

QStringList reading_importer_names()
{
    QStringList names;
    for (const ReadType &type : read_types) {
        if (!names.contains(QLatin1String(type.importer)))
            names.append(QLatin1String(type.importer));
    }
    return names;
}

QStringList reading_content_types(const QString &importer)
{
    QStringList types;
    for (const ReadType &type : read_types) {
        if (importer == QLatin1String(type.importer))
            types.append(QLatin1String(type.content_type));
    }
    return types;
}

QStringList reading_keys(const QString &importer)
{
    QStringList keys;
    for (const GivenKey &given : given_keys) {
        if (importer == QLatin1String(given.importer))
            keys.append(QLatin1String(given.key));
    }
    return keys;
}

QString reading_importer_of(const QString &content_type)
{
    for (const ReadType &type : read_types) {
        if (content_type == QLatin1String(type.content_type))
            return QLatin1String(type.importer);
    }
    return QString();
}

QString reading_type_names(const QString &importer)
{
    QStringList names;
    for (const ReadType &type : read_types) {
        if (importer == QLatin1String(type.importer) && !names.contains(QLatin1String(type.listed_as)))
            names.append(QLatin1String(type.listed_as));
    }
    return names.join(QLatin1String(", "));
}
