#include "importer_reading.h"

#include "spotlight_keys.h"

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
    {"image", spotlight_keys::pixel_width},
    // Picture height in pixels, as shown.
    {"image", spotlight_keys::pixel_height},
    // 0 landscape, 1 portrait, as shown.
    {"image", spotlight_keys::orientation},
    // Width times height.
    {"image", spotlight_keys::pixel_count},
    // The pixels' colour model.
    {"image", spotlight_keys::color_space},
    // Bits a pixel: 32 for RGB, as the Mac counts them.
    {"image", spotlight_keys::bits_per_sample},
    // Whether pixels carry transparency.
    {"image", spotlight_keys::has_alpha_channel},
    // The ICC profile's own name.
    {"image", spotlight_keys::profile_name},
    // Dots per inch across, centimetres converted.
    {"image", spotlight_keys::resolution_width_dpi},
    // Dots per inch down.
    {"image", spotlight_keys::resolution_height_dpi},
    // The camera's maker.
    {"image", spotlight_keys::acquisition_make},
    // The camera's model.
    {"image", spotlight_keys::acquisition_model},
    // The camera's software, a phone's system version.
    {"image", spotlight_keys::creator},
    // The lens.
    {"image", spotlight_keys::lens_model},
    // Exposure time in seconds.
    {"image", spotlight_keys::exposure_time_seconds},
    // Aperture as an f-number.
    {"image", spotlight_keys::f_number},
    // Aperture as the stored APEX value.
    {"image", spotlight_keys::aperture},
    // The camera's exposure programme.
    {"image", spotlight_keys::exposure_program},
    // Automatic, manual or bracketed exposure.
    {"image", spotlight_keys::exposure_mode},
    // Sensitivity.
    {"image", spotlight_keys::iso_speed},
    // Focal length in millimetres.
    {"image", spotlight_keys::focal_length},
    // Whether the flash fired.
    {"image", spotlight_keys::flash_on_off},
    // Whether red-eye reduction ran.
    {"image", spotlight_keys::red_eye_on_off},
    // 0 automatic, 1 manual white balance.
    {"image", spotlight_keys::white_balance},
    // The EXIF version as text, "2.2.1".
    {"image", spotlight_keys::exif_version},
    // Where the satellites placed the camera: north positive.
    {"image", spotlight_keys::latitude},
    // East positive.
    {"image", spotlight_keys::longitude},
    // Metres above sea level, below it negative.
    {"image", spotlight_keys::altitude},
    // Where the camera looked, in degrees.
    {"image", spotlight_keys::image_direction},
    // The bearing to the destination.
    {"image", spotlight_keys::gps_dest_bearing},
    // The speed the receiver recorded, in its own unit.
    {"image", spotlight_keys::speed},
    // The day the satellites fixed that place, as written.
    {"image", spotlight_keys::gps_date_stamp},
    // The time of that fix, as written.
    {"image", spotlight_keys::timestamp},
    // XMP creators, else the EXIF artist.
    {"image", spotlight_keys::authors},
    // The EXIF user comment.
    {"image", spotlight_keys::comment},
    // When the photo was taken.
    {"image", spotlight_keys::content_creation_date},
    // The same capture time, as a Mac gives it.
    {"image", spotlight_keys::content_modification_date},
    // The document's own title.
    {"pdf", spotlight_keys::title},
    // Its author, as a list.
    {"pdf", spotlight_keys::authors},
    // The application that wrote the content.
    {"pdf", spotlight_keys::creator},
    // The application that made the PDF.
    {"pdf", spotlight_keys::encoding_applications},
    // Its pages.
    {"pdf", spotlight_keys::number_of_pages},
    // The first page's width in points.
    {"pdf", spotlight_keys::page_width},
    // The first page's height in points.
    {"pdf", spotlight_keys::page_height},
    // The PDF version of its header.
    {"pdf", spotlight_keys::version},
    // Whether it is encrypted.
    {"pdf", spotlight_keys::security_method},
    // How long the sound runs.
    {"audio", spotlight_keys::duration_seconds},
    // Kilobits per second; an MP3's from its frames.
    {"audio", spotlight_keys::audio_bit_rate},
    // Samples per second.
    {"audio", spotlight_keys::audio_sample_rate},
    // Channels.
    {"audio", spotlight_keys::audio_channel_count},
    // The song's title.
    {"audio", spotlight_keys::title},
    // Every performing artist.
    {"audio", spotlight_keys::authors},
    // The album.
    {"audio", spotlight_keys::album},
    // Who wrote the music.
    {"audio", spotlight_keys::composer},
    // The genre as written.
    {"audio", spotlight_keys::musical_genre},
    // The year recorded.
    {"audio", spotlight_keys::recording_year},
    // The track's number, without the total.
    {"audio", spotlight_keys::audio_track_number},
    // How long the film runs.
    {"video", spotlight_keys::duration_seconds},
    // Picture width in pixels.
    {"video", spotlight_keys::pixel_width},
    // Picture height in pixels.
    {"video", spotlight_keys::pixel_height},
    // Its codecs, picture first.
    {"video", spotlight_keys::codecs},
    // The picture's bits per second.
    {"video", spotlight_keys::video_bit_rate},
    // All streams' bits per second.
    {"video", spotlight_keys::total_bit_rate},
    // The sound's whole kilobits per second.
    {"video", spotlight_keys::audio_bit_rate},
    // The recording phone's or camera's maker.
    {"video", spotlight_keys::acquisition_make},
    // Its model.
    {"video", spotlight_keys::acquisition_model},
    // Where it was recorded: north positive.
    {"video", spotlight_keys::latitude},
    // East positive.
    {"video", spotlight_keys::longitude},
    // Metres above sea level.
    {"video", spotlight_keys::altitude},
    // When it was recorded: a phone's own date, else the header's.
    {"video", spotlight_keys::content_creation_date},
    // The document's own title.
    {"office", spotlight_keys::title},
    // Its author, as a list.
    {"office", spotlight_keys::authors},
    // The last person to save it.
    {"office", spotlight_keys::editors},
    // Pages (a presentation's slides) as last laid out.
    {"office", spotlight_keys::number_of_pages},
    // The application that saved it.
    {"office", spotlight_keys::creator},
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
