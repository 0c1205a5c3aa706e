#include "image_importer.h"

#include "content_dates.h"
#include "content_importer_keys.h"
#include "importer_reading.h"
#include "descriptor_bytes.h"
#include "heif_image_facts.h"

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

namespace {

// Raw camera files run to tens of megabytes; anything far beyond is not a
// photo worth holding in memory inside the importer.
constexpr qint64 image_size_limit = 256LL * 1024 * 1024;

enum class FieldKind {
    Text,       // an ASCII tag, trimmed of the padding cameras leave
    Number,     // the first component as a number (rationals divided out)
    FlashFired, // the flash tag's lowest bit: whether the flash fired
};

struct ExifField
{
    const char *exif_key;
    const char *spotlight_key;
    FieldKind kind;
};

const ExifField exif_fields[] = {
    // Maker of the camera or scanner.
    { "Exif.Image.Make", "kMDItemAcquisitionMake", FieldKind::Text },
    // Model name of the camera or scanner.
    { "Exif.Image.Model", "kMDItemAcquisitionModel", FieldKind::Text },
    // Lens as the camera names it.
    { "Exif.Photo.LensModel", "kMDItemLensModel", FieldKind::Text },
    // Shutter time in seconds (1/250 is 0.004).
    { "Exif.Photo.ExposureTime", "kMDItemExposureTimeSeconds", FieldKind::Number },
    // Aperture as an f-number.
    { "Exif.Photo.FNumber", "kMDItemFNumber", FieldKind::Number },
    // Sensitivity the camera used (the first of its ratings).
    { "Exif.Photo.ISOSpeedRatings", "kMDItemISOSpeed", FieldKind::Number },
    // Actual focal length in millimetres, not the 35 mm equivalent.
    { "Exif.Photo.FocalLength", "kMDItemFocalLength", FieldKind::Number },
    // Flash state bits; only whether it fired is kept.
    { "Exif.Photo.Flash", "kMDItemFlashOnOff", FieldKind::FlashFired },
    // 0 automatic, 1 manual white balance.
    { "Exif.Photo.WhiteBalance", "kMDItemWhiteBalance", FieldKind::Number },
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

const Exiv2::Exifdatum *find_datum(const Exiv2::ExifData &exif, const char *key)
{
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->count() == 0)
        return nullptr;
    return &*found;
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
std::optional<double> gps_coordinate(const Exiv2::ExifData &exif, const char *value_key,
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
std::optional<double> gps_altitude(const Exiv2::ExifData &exif)
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

// The satellite clock's date and time of the fix, which is UTC.
std::optional<double> gps_time(const Exiv2::ExifData &exif)
{
    const Exiv2::Exifdatum *date = find_datum(exif, "Exif.GPSInfo.GPSDateStamp");
    if (!date)
        return std::nullopt;
    int hours = 0, minutes = 0;
    double seconds = 0.0;
    if (const Exiv2::Exifdatum *time = find_datum(exif, "Exif.GPSInfo.GPSTimeStamp")) {
        const std::optional<double> h = datum_number(*time, 0);
        const std::optional<double> m = datum_number(*time, 1);
        const std::optional<double> s = datum_number(*time, 2);
        if (!h || !m || !s || *h < 0 || *h >= 24 || *m < 0 || *m >= 60 || *s < 0 || *s >= 61)
            return std::nullopt;
        hours = int(*h);
        minutes = int(*m);
        seconds = *s;
    }
    const QString whole = QStringLiteral("%1 %2:%3:00")
                              .arg(datum_text(*date))
                              .arg(hours, 2, 10, QLatin1Char('0'))
                              .arg(minutes, 2, 10, QLatin1Char('0'));
    const std::optional<double> day = camera_time_seconds(whole, QStringLiteral("Z"));
    if (!day)
        return std::nullopt;
    return *day + seconds;
}

// When the shutter was released: the original capture time, in the zone
// the camera recorded beside it. EXIF times carry no zone of their own;
// without the offset tag the capture is taken to have been in UTC.
std::optional<double> capture_time(const Exiv2::ExifData &exif)
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
    int bits_per_sample = 0;
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
    switch (reader.imageFormat()) {
    case QImage::Format_Grayscale8:
        return PixelLayout{ QStringLiteral("Gray"), 8, false };
    case QImage::Format_Grayscale16:
        return PixelLayout{ QStringLiteral("Gray"), 16, false };
    case QImage::Format_RGB32:
    case QImage::Format_RGB888:
    case QImage::Format_RGBX8888:
        return PixelLayout{ QStringLiteral("RGB"), 8, false };
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
    case QImage::Format_RGBA8888:
    case QImage::Format_RGBA8888_Premultiplied:
        return PixelLayout{ QStringLiteral("RGB"), 8, true };
    case QImage::Format_RGBX64:
        return PixelLayout{ QStringLiteral("RGB"), 16, false };
    case QImage::Format_RGBA64:
    case QImage::Format_RGBA64_Premultiplied:
        return PixelLayout{ QStringLiteral("RGB"), 16, true };
    default:
        return std::nullopt;
    }
}

// EXIF orientations 5 to 8 turn the stored pixels by a quarter turn.
bool turned_quarter(const Exiv2::ExifData &exif)
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

bool ImageImporter::reads(const QString &content_type) const
{
    return reading_importer_of(content_type) == name();
}

QStringList ImageImporter::keys() const
{
    return image_importer_keys();
}

ImportedValues ImageImporter::import(int fd, const QString &content_type) const
{
    ImportedValues values;
    const std::optional<QByteArray> bytes = read_whole_descriptor(fd, image_size_limit);
    if (!bytes || bytes->isEmpty())
        return values;

    // What the file's header and EXIF give.
    Exiv2::ExifData exif;
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
            exif = image->exifData();
            stored_width = image->pixelWidth();
            stored_height = image->pixelHeight();
        }
    } catch (const std::exception &) {
        // No type the library knows.
    }

    try {
        // HEIF containers crop and turn the coded image; their own library
        // knows the size shown, where EXIF's orientation no longer applies.
        const std::optional<HeifImageFacts> heif =
            heif_types.contains(content_type) ? heif_image_facts(*bytes) : std::nullopt;
        const int width = heif ? heif->width : stored_width;
        const int height = heif ? heif->height : stored_height;
        if (width > 0 && height > 0) {
            values.emplace_back(QStringLiteral("kMDItemPixelWidth"), MetadataValue::from_number(width));
            values.emplace_back(QStringLiteral("kMDItemPixelHeight"), MetadataValue::from_number(height));
            // 0 landscape, 1 portrait, as the image is shown, not stored.
            const bool turned = !heif && turned_quarter(exif);
            const int shown_width = turned ? height : width;
            const int shown_height = turned ? width : height;
            values.emplace_back(QStringLiteral("kMDItemOrientation"),
                                MetadataValue::from_number(shown_height > shown_width ? 1 : 0));
        }
        // A damaged header is left to the library that said it was damaged.
        const std::optional<PixelLayout> layout =
            read_whole && layout_readable(content_type) ? pixel_layout(*bytes) : std::nullopt;
        if (layout) {
            values.emplace_back(QStringLiteral("kMDItemColorSpace"), MetadataValue::from_text(layout->color_space));
            values.emplace_back(QStringLiteral("kMDItemBitsPerSample"), MetadataValue::from_number(layout->bits_per_sample));
            values.emplace_back(QStringLiteral("kMDItemHasAlphaChannel"), MetadataValue::from_number(layout->has_alpha ? 1 : 0));
        } else if (heif) {
            if (heif->bits_per_sample > 0)
                values.emplace_back(QStringLiteral("kMDItemBitsPerSample"), MetadataValue::from_number(heif->bits_per_sample));
            values.emplace_back(QStringLiteral("kMDItemHasAlphaChannel"), MetadataValue::from_number(heif->has_alpha ? 1 : 0));
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
            }
        }

        if (const std::optional<double> latitude = gps_coordinate(exif, "Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef", 'S'))
            values.emplace_back(QStringLiteral("kMDItemLatitude"), MetadataValue::from_number(*latitude));
        if (const std::optional<double> longitude = gps_coordinate(exif, "Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef", 'W'))
            values.emplace_back(QStringLiteral("kMDItemLongitude"), MetadataValue::from_number(*longitude));
        if (const std::optional<double> altitude = gps_altitude(exif))
            values.emplace_back(QStringLiteral("kMDItemAltitude"), MetadataValue::from_number(*altitude));
        if (const std::optional<double> fix = gps_time(exif))
            values.emplace_back(QStringLiteral("kMDItemGPSDateStamp"), MetadataValue::from_date(*fix));
        if (const std::optional<double> captured = capture_time(exif))
            values.emplace_back(QStringLiteral("kMDItemContentCreationDate"), MetadataValue::from_date(*captured));
    } catch (const std::exception &) {
        // A tag of an unexpected type: the values read so far stand.
    }
    return values;
}
