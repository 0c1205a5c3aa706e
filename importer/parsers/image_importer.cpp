#include "image_importer.h"

#include "content_dates.h"
#include "descriptor_bytes.h"
#include "heif_image_facts.h"
#include "spotlight_keys.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>

// The library's factory still hands images out in a deprecated smart
// pointer; ownership moves into a std::unique_ptr at once.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include <cmath>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {

// Raw camera files run to tens of megabytes; anything far beyond is not a
// photo worth holding in memory inside the importer.
constexpr qint64 image_size_limit = 256LL * 1024 * 1024;

enum class FieldKind {
    Text,       // an ASCII tag, trimmed of the padding cameras leave
    Number,     // the first component as a number (rationals divided out)
    FlashFired, // the flash tag's lowest bit: whether the flash fired
    RedEye,     // the flash tag's bit 6: whether red-eye reduction was on
    Version,    // four version digits ("0221") as dotted text ("2.2.1")
    ClockTime,  // hours, minutes and seconds as "HH:MM:SS" text
};

struct ExifField
{
    const char *exif_key;
    const char *spotlight_key;
    FieldKind kind;
};

const ExifField exif_fields[] = {
    // Maker of the camera or scanner.
    { "Exif.Image.Make", spotlight_keys::acquisition_make, FieldKind::Text },
    // Model name of the camera or scanner.
    { "Exif.Image.Model", spotlight_keys::acquisition_model, FieldKind::Text },
    // Lens as the camera names it.
    { "Exif.Photo.LensModel", spotlight_keys::lens_model, FieldKind::Text },
    // Shutter time in seconds (1/250 is 0.004).
    { "Exif.Photo.ExposureTime", spotlight_keys::exposure_time_seconds, FieldKind::Number },
    // Aperture as an f-number.
    { "Exif.Photo.FNumber", spotlight_keys::f_number, FieldKind::Number },
    // Sensitivity the camera used (the first of its ratings).
    { "Exif.Photo.ISOSpeedRatings", spotlight_keys::iso_speed, FieldKind::Number },
    // Actual focal length in millimetres, not the 35 mm equivalent.
    { "Exif.Photo.FocalLength", spotlight_keys::focal_length, FieldKind::Number },
    // Flash state bits; only whether it fired is kept.
    { "Exif.Photo.Flash", spotlight_keys::flash_on_off, FieldKind::FlashFired },
    // 0 automatic, 1 manual white balance.
    { "Exif.Photo.WhiteBalance", spotlight_keys::white_balance, FieldKind::Number },
    // The camera's software; on a phone, its system's version ("9.3.2").
    { "Exif.Image.Software", spotlight_keys::creator, FieldKind::Text },
    // 1 manual, 2 normal program, 3 aperture priority, 4 shutter priority...
    { "Exif.Photo.ExposureProgram", spotlight_keys::exposure_program, FieldKind::Number },
    // 0 automatic exposure, 1 manual, 2 automatic bracket.
    { "Exif.Photo.ExposureMode", spotlight_keys::exposure_mode, FieldKind::Number },
    // Aperture in APEX units as the camera recorded it (f/2.2 is about 2.275).
    { "Exif.Photo.ApertureValue", spotlight_keys::aperture, FieldKind::Number },
    // The EXIF version the camera wrote, as text.
    { "Exif.Photo.ExifVersion", spotlight_keys::exif_version, FieldKind::Version },
    // Whether the flash's red-eye reduction was on.
    { "Exif.Photo.Flash", spotlight_keys::red_eye_on_off, FieldKind::RedEye },
    // Direction the camera faced, in degrees.
    { "Exif.GPSInfo.GPSImgDirection", spotlight_keys::image_direction, FieldKind::Number },
    // Bearing to the subject, in degrees.
    { "Exif.GPSInfo.GPSDestBearing", spotlight_keys::gps_dest_bearing, FieldKind::Number },
    // Speed of the receiver, in the unit the camera recorded.
    { "Exif.GPSInfo.GPSSpeed", spotlight_keys::speed, FieldKind::Number },
    // The satellite clock's date (UTC) as written ("2016:06:16").
    { "Exif.GPSInfo.GPSDateStamp", spotlight_keys::gps_date_stamp, FieldKind::Text },
    // The satellite clock's time (UTC) as written ("03:14:17").
    { "Exif.GPSInfo.GPSTimeStamp", spotlight_keys::timestamp, FieldKind::ClockTime },
};

// Mutes the library's warnings about damaged files (hostile input makes
// many) and lets it read ISO base media files such as HEIC, once.
void prepare_library()
{
    static std::once_flag prepared;
    std::call_once(prepared, [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
#ifdef EXV_ENABLE_BMFF
        Exiv2::enableBMFF(true);
#endif
    });
}

// An image's EXIF tags by key, indexed once: the library's own look-up
// builds a key and copies every tag's key each time, which the dozens of
// tags asked of each photo would pay over and over.
class ExifTags
{
public:
    explicit ExifTags(const Exiv2::ExifData &exif)
    {
        for (const Exiv2::Exifdatum &datum : exif)
            by_key.emplace(datum.key(), &datum);
    }
    // The first tag of that key that holds a value; nullptr when none does.
    const Exiv2::Exifdatum *find(const char *key) const
    {
        const auto found = by_key.find(key);
        return found == by_key.end() || found->second->count() == 0 ? nullptr : found->second;
    }

private:
    std::unordered_map<std::string, const Exiv2::Exifdatum *> by_key;
};

const Exiv2::Exifdatum *find_datum(const ExifTags &exif, const char *key)
{
    return exif.find(key);
}

QString datum_text(const Exiv2::Exifdatum &datum)
{
    // ASCII tags come padded with NULs or blanks to a fixed length.
    const std::string raw = datum.toString();
    return QString::fromUtf8(raw.c_str()).trimmed();
}

// The nth component as a number; nothing for a rational with a zero
// denominator or a value that is not finite.
std::optional<double> datum_number(const Exiv2::Exifdatum &datum, long n = 0)
{
    if (n >= datum.count())
        return std::nullopt;
    const Exiv2::TypeId type = datum.typeId();
    if (type == Exiv2::unsignedRational || type == Exiv2::signedRational) {
        const Exiv2::Rational ratio = datum.toRational(n);
        if (ratio.second == 0)
            return std::nullopt;
        return double(ratio.first) / double(ratio.second);
    }
    const float number = datum.toFloat(n);
    if (!std::isfinite(number))
        return std::nullopt;
    return double(number);
}

// Degrees, minutes and seconds as three rationals, signed by the
// reference letter that names the negative hemisphere.
std::optional<double> gps_coordinate(const ExifTags &exif, const char *value_key,
                                     const char *reference_key, char negative_reference)
{
    const Exiv2::Exifdatum *value = find_datum(exif, value_key);
    if (!value || value->count() < 3)
        return std::nullopt;
    const std::optional<double> degrees = datum_number(*value, 0);
    const std::optional<double> minutes = datum_number(*value, 1);
    const std::optional<double> seconds = datum_number(*value, 2);
    if (!degrees || !minutes || !seconds)
        return std::nullopt;
    double coordinate = *degrees + *minutes / 60.0 + *seconds / 3600.0;
    if (const Exiv2::Exifdatum *reference = find_datum(exif, reference_key)) {
        const QString letter = datum_text(*reference);
        if (letter.startsWith(QLatin1Char(negative_reference), Qt::CaseInsensitive))
            coordinate = -coordinate;
    }
    return coordinate;
}

// Metres above sea level; reference 1 means below it.
std::optional<double> gps_altitude(const ExifTags &exif)
{
    const Exiv2::Exifdatum *value = find_datum(exif, "Exif.GPSInfo.GPSAltitude");
    if (!value)
        return std::nullopt;
    std::optional<double> altitude = datum_number(*value);
    if (!altitude)
        return std::nullopt;
    if (const Exiv2::Exifdatum *reference = find_datum(exif, "Exif.GPSInfo.GPSAltitudeRef")) {
        if (reference->toLong() == 1)
            *altitude = -*altitude;
    }
    return altitude;
}

// Version digits as EXIF stores them ("0221", four bytes) in dotted form:
// "2.2.1", and "2.3" for "0230".
QString version_text(const Exiv2::Exifdatum &datum)
{
    if (datum.count() != 4)
        return QString();
    int digits[4];
    for (long i = 0; i < 4; ++i) {
        const long byte = datum.toLong(i);
        if (byte < '0' || byte > '9')
            return QString();
        digits[i] = int(byte - '0');
    }
    QString text = QStringLiteral("%1.%2").arg(digits[0] * 10 + digits[1]).arg(digits[2]);
    if (digits[3] != 0)
        text += QStringLiteral(".%1").arg(digits[3]);
    return text;
}

// Three rationals of hours, minutes and seconds as "HH:MM:SS", the
// seconds' fraction dropped; nothing for a time no clock shows.
QString clock_text(const Exiv2::Exifdatum &datum)
{
    const std::optional<double> h = datum_number(datum, 0);
    const std::optional<double> m = datum_number(datum, 1);
    const std::optional<double> s = datum_number(datum, 2);
    if (!h || !m || !s || *h < 0 || *h >= 24 || *m < 0 || *m >= 60 || *s < 0 || *s >= 61)
        return QString();
    return QStringLiteral("%1:%2:%3")
        .arg(int(*h), 2, 10, QLatin1Char('0'))
        .arg(int(*m), 2, 10, QLatin1Char('0'))
        .arg(int(*s), 2, 10, QLatin1Char('0'));
}

// Dots per inch along one axis; the resolution unit 3 means centimetres.
std::optional<double> dots_per_inch(const ExifTags &exif, const char *resolution_key)
{
    const Exiv2::Exifdatum *resolution = find_datum(exif, resolution_key);
    if (!resolution)
        return std::nullopt;
    const std::optional<double> dots = datum_number(*resolution);
    if (!dots || *dots <= 0)
        return std::nullopt;
    const Exiv2::Exifdatum *unit = find_datum(exif, "Exif.Image.ResolutionUnit");
    return unit && unit->toLong() == 3 ? *dots * 2.54 : *dots;
}

// The people who made the picture: XMP's creators in their order, else
// the EXIF artist.
std::vector<MetadataValue> picture_authors(const Exiv2::XmpData &xmp, const ExifTags &exif)
{
    std::vector<MetadataValue> authors;
    const auto creators = xmp.empty() ? xmp.end() : xmp.findKey(Exiv2::XmpKey("Xmp.dc.creator"));
    if (creators != xmp.end()) {
        for (long i = 0; i < creators->count(); ++i) {
            const QString name = QString::fromStdString(creators->toString(i)).trimmed();
            if (!name.isEmpty())
                authors.push_back(MetadataValue::from_text(name));
        }
    }
    if (authors.empty()) {
        if (const Exiv2::Exifdatum *artist = find_datum(exif, "Exif.Image.Artist")) {
            const QString name = datum_text(*artist);
            if (!name.isEmpty())
                authors.push_back(MetadataValue::from_text(name));
        }
    }
    return authors;
}

// The photographer's comment: EXIF's user comment without its character
// set label, else XMP's copy of it.
QString picture_comment(const Exiv2::XmpData &xmp, const ExifTags &exif)
{
    if (const Exiv2::Exifdatum *comment = find_datum(exif, "Exif.Photo.UserComment")) {
        if (const auto *value = dynamic_cast<const Exiv2::CommentValue *>(&comment->value())) {
            // Cameras fill an unused comment with NULs or blanks.
            const QString text = QString::fromStdString(value->comment()).remove(QChar(0)).trimmed();
            if (!text.isEmpty())
                return text;
        }
    }
    const auto copy = xmp.empty() ? xmp.end() : xmp.findKey(Exiv2::XmpKey("Xmp.exif.UserComment"));
    if (copy == xmp.end())
        return QString();
    // A language alternative's first text, without its "lang=" label.
    QString text = QString::fromStdString(copy->toString(0)).trimmed();
    if (text.startsWith(QLatin1String("lang=")))
        text = text.section(QLatin1Char(' '), 1);
    return text.trimmed();
}

quint32 big_endian_32(const QByteArray &bytes, qint64 at)
{
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.constData()) + at;
    return quint32(data[0]) << 24 | quint32(data[1]) << 16 | quint32(data[2]) << 8 | quint32(data[3]);
}

// The description an ICC colour profile gives itself ("sRGB IEC61966-2.1"):
// version 2 profiles keep it as ASCII, version 4 as UTF-16 by language,
// of which the English one is taken, else the first.
QString profile_name(const QByteArray &profile)
{
    constexpr qint64 header_size = 128;
    const qint64 size = profile.size();
    if (size < header_size + 4)
        return QString();
    const quint32 tags = big_endian_32(profile, header_size);
    for (quint32 i = 0; i < tags && header_size + 4 + 12 * (qint64(i) + 1) <= size; ++i) {
        const qint64 entry = header_size + 4 + 12 * qint64(i);
        if (profile.mid(entry, 4) != "desc")
            continue;
        const qint64 at = big_endian_32(profile, entry + 4);
        const qint64 length = big_endian_32(profile, entry + 8);
        if (at + length > size || length < 12)
            return QString();
        const QByteArray tag = profile.mid(at, length);
        if (tag.startsWith("desc")) {
            const qint64 count = big_endian_32(tag, 8);
            if (count <= 0 || 12 + count > tag.size())
                return QString();
            // The count includes the closing NUL.
            return QString::fromLatin1(tag.mid(12, count)).remove(QChar(0)).trimmed();
        }
        if (tag.startsWith("mluc") && tag.size() >= 16) {
            const qint64 records = big_endian_32(tag, 8);
            const qint64 record_size = big_endian_32(tag, 12);
            qint64 chosen = -1;
            for (qint64 r = 0; r < records && record_size >= 12 && 16 + record_size * (r + 1) <= tag.size(); ++r) {
                const qint64 record = 16 + record_size * r;
                if (chosen < 0 || tag.mid(record, 2) == "en")
                    chosen = record;
                if (tag.mid(record, 2) == "en")
                    break;
            }
            if (chosen < 0)
                return QString();
            const qint64 text_length = big_endian_32(tag, chosen + 4);
            const qint64 text_at = big_endian_32(tag, chosen + 8);
            if (text_at + text_length > tag.size())
                return QString();
            const QByteArray utf16 = tag.mid(text_at, text_length);
            QString text;
            for (qint64 c = 0; c + 1 < utf16.size(); c += 2)
                text += QChar(ushort(uchar(utf16[c]) << 8 | uchar(utf16[c + 1])));
            return text.remove(QChar(0)).trimmed();
        }
        return QString();
    }
    return QString();
}

// When the shutter was released: the original capture time, in the zone
// the camera recorded beside it. EXIF times carry no zone of their own;
// without the offset tag it is read in the examiner's zone, as a Mac does.
std::optional<double> capture_time(const ExifTags &exif)
{
    const Exiv2::Exifdatum *original = find_datum(exif, "Exif.Photo.DateTimeOriginal");
    if (!original)
        return std::nullopt;
    QString offset;
    if (const Exiv2::Exifdatum *zone = find_datum(exif, "Exif.Photo.OffsetTimeOriginal"))
        offset = datum_text(*zone);
    return camera_time_seconds(datum_text(*original), offset);
}

struct PixelLayout
{
    QString color_space;
    int bits_per_pixel = 0;
    bool has_alpha = false;
};

const QStringList heif_types = { QStringLiteral("public.heic"), QStringLiteral("public.heif") };

// Types whose header Qt's image reader describes as the image itself; in
// camera raw files it would describe the embedded preview instead.
bool layout_readable(const QString &content_type)
{
    return content_type == QLatin1String("public.jpeg") || content_type == QLatin1String("public.png")
           || content_type == QLatin1String("public.tiff");
}

// How the pixels are stored, from the image header alone (nothing is
// decoded); nothing for layouts that say no more than "a palette".
std::optional<PixelLayout> pixel_layout(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    // Bits per pixel, as a Mac counts them: colour pixels are four
    // samples wide whether the fourth holds alpha or padding.
    switch (reader.imageFormat()) {
    case QImage::Format_Grayscale8:
        return PixelLayout{ QStringLiteral("Gray"), 8, false };
    case QImage::Format_Grayscale16:
        return PixelLayout{ QStringLiteral("Gray"), 16, false };
    case QImage::Format_RGB32:
    case QImage::Format_RGB888:
    case QImage::Format_RGBX8888:
        return PixelLayout{ QStringLiteral("RGB"), 32, false };
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
    case QImage::Format_RGBA8888:
    case QImage::Format_RGBA8888_Premultiplied:
        return PixelLayout{ QStringLiteral("RGB"), 32, true };
    case QImage::Format_RGBX64:
        return PixelLayout{ QStringLiteral("RGB"), 64, false };
    case QImage::Format_RGBA64:
    case QImage::Format_RGBA64_Premultiplied:
        return PixelLayout{ QStringLiteral("RGB"), 64, true };
    default:
        return std::nullopt;
    }
}

// EXIF orientations 5 to 8 turn the stored pixels by a quarter turn.
bool turned_quarter(const ExifTags &exif)
{
    const Exiv2::Exifdatum *orientation = find_datum(exif, "Exif.Image.Orientation");
    if (!orientation)
        return false;
    const long value = orientation->toLong();
    return value >= 5 && value <= 8;
}

} // namespace

ImageImporter::ImageImporter()
{
    prepare_library();
}

QString ImageImporter::name() const
{
    return QStringLiteral("image");
}

ImportedValues ImageImporter::import(int fd, const QString &content_type) const
{
    ImportedValues values;
    const std::optional<QByteArray> bytes = read_whole_descriptor(fd, image_size_limit);
    if (!bytes || bytes->isEmpty())
        return values;

    // What the file's header and EXIF give.
    Exiv2::ExifData exif_data;
    Exiv2::XmpData xmp;
    QByteArray icc_profile;
    int stored_width = 0;
    int stored_height = 0;
    bool read_whole = false;
    try {
        std::unique_ptr<Exiv2::Image> image(
            Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte *>(bytes->constData()),
                                      long(bytes->size()))
                .release());
        if (image) {
            try {
                image->readMetadata();
                read_whole = true;
            } catch (const std::exception &) {
                // What was read before the damage stays.
            }
            exif_data = image->exifData();
            xmp = image->xmpData();
            if (image->iccProfileDefined())
                icc_profile = QByteArray(reinterpret_cast<const char *>(image->iccProfile()->pData_),
                                         int(image->iccProfile()->size_));
            stored_width = image->pixelWidth();
            stored_height = image->pixelHeight();
        }
    } catch (const std::exception &) {
        // No type the library knows.
    }

    try {
        const ExifTags exif(exif_data);
        // HEIF containers crop and turn the coded image; their own library
        // knows the size shown, where EXIF's orientation no longer applies.
        const std::optional<HeifImageFacts> heif =
            heif_types.contains(content_type) ? heif_image_facts(*bytes) : std::nullopt;
        const int width = heif ? heif->width : stored_width;
        const int height = heif ? heif->height : stored_height;
        if (width > 0 && height > 0) {
            values.emplace_back(QLatin1String(spotlight_keys::pixel_width), MetadataValue::from_number(width));
            values.emplace_back(QLatin1String(spotlight_keys::pixel_height), MetadataValue::from_number(height));
            values.emplace_back(QLatin1String(spotlight_keys::pixel_count), MetadataValue::from_number(double(width) * height));
            // 0 landscape, 1 portrait, as the image is shown, not stored.
            const bool turned = !heif && turned_quarter(exif);
            const int shown_width = turned ? height : width;
            const int shown_height = turned ? width : height;
            values.emplace_back(QLatin1String(spotlight_keys::orientation),
                                MetadataValue::from_number(shown_height > shown_width ? 1 : 0));
        }
        // A damaged header is left to the library that said it was damaged.
        const std::optional<PixelLayout> layout =
            read_whole && layout_readable(content_type) ? pixel_layout(*bytes) : std::nullopt;
        if (layout) {
            values.emplace_back(QLatin1String(spotlight_keys::color_space), MetadataValue::from_text(layout->color_space));
            values.emplace_back(QLatin1String(spotlight_keys::bits_per_sample), MetadataValue::from_number(layout->bits_per_pixel));
            values.emplace_back(QLatin1String(spotlight_keys::has_alpha_channel), MetadataValue::from_number(layout->has_alpha ? 1 : 0));
        } else if (heif) {
            // Four samples a pixel, as for any colour image.
            if (heif->bits_per_sample > 0)
                values.emplace_back(QLatin1String(spotlight_keys::bits_per_sample), MetadataValue::from_number(4 * heif->bits_per_sample));
            values.emplace_back(QLatin1String(spotlight_keys::has_alpha_channel), MetadataValue::from_number(heif->has_alpha ? 1 : 0));
        }

        for (const ExifField &field : exif_fields) {
            const Exiv2::Exifdatum *datum = find_datum(exif, field.exif_key);
            if (!datum)
                continue;
            const QString key = QString::fromLatin1(field.spotlight_key);
            switch (field.kind) {
            case FieldKind::Text: {
                const QString text = datum_text(*datum);
                if (!text.isEmpty())
                    values.emplace_back(key, MetadataValue::from_text(text));
                break;
            }
            case FieldKind::Number:
                if (const std::optional<double> number = datum_number(*datum))
                    values.emplace_back(key, MetadataValue::from_number(*number));
                break;
            case FieldKind::FlashFired:
                values.emplace_back(key, MetadataValue::from_number(datum->toLong() & 1));
                break;
            case FieldKind::RedEye:
                values.emplace_back(key, MetadataValue::from_number((datum->toLong() >> 6) & 1));
                break;
            case FieldKind::Version:
            case FieldKind::ClockTime: {
                const QString text = field.kind == FieldKind::Version ? version_text(*datum) : clock_text(*datum);
                if (!text.isEmpty())
                    values.emplace_back(key, MetadataValue::from_text(text));
                break;
            }
            }
        }

        if (const std::optional<double> latitude = gps_coordinate(exif, "Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef", 'S'))
            values.emplace_back(QLatin1String(spotlight_keys::latitude), MetadataValue::from_number(*latitude));
        if (const std::optional<double> longitude = gps_coordinate(exif, "Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef", 'W'))
            values.emplace_back(QLatin1String(spotlight_keys::longitude), MetadataValue::from_number(*longitude));
        if (const std::optional<double> altitude = gps_altitude(exif))
            values.emplace_back(QLatin1String(spotlight_keys::altitude), MetadataValue::from_number(*altitude));
        // A photo's content was made, and last changed, when it was taken:
        // later edits rewrite the file, not the picture's date.
        if (const std::optional<double> captured = capture_time(exif)) {
            values.emplace_back(QLatin1String(spotlight_keys::content_creation_date), MetadataValue::from_date(*captured));
            values.emplace_back(QLatin1String(spotlight_keys::content_modification_date), MetadataValue::from_date(*captured));
        }
        if (const std::optional<double> across = dots_per_inch(exif, "Exif.Image.XResolution"))
            values.emplace_back(QLatin1String(spotlight_keys::resolution_width_dpi), MetadataValue::from_number(*across));
        if (const std::optional<double> down = dots_per_inch(exif, "Exif.Image.YResolution"))
            values.emplace_back(QLatin1String(spotlight_keys::resolution_height_dpi), MetadataValue::from_number(*down));
        if (const QString name = profile_name(icc_profile); !name.isEmpty())
            values.emplace_back(QLatin1String(spotlight_keys::profile_name), MetadataValue::from_text(name));
        if (std::vector<MetadataValue> authors = picture_authors(xmp, exif); !authors.empty())
            values.emplace_back(QLatin1String(spotlight_keys::authors), MetadataValue::from_array(std::move(authors)));
        if (const QString comment = picture_comment(xmp, exif); !comment.isEmpty())
            values.emplace_back(QLatin1String(spotlight_keys::comment), MetadataValue::from_text(comment));
    } catch (const std::exception &) {
        // A tag of an unexpected type: the values read so far stand.
    }
    return values;
}
