#include "video_importer.h"

#include "content_dates.h"
#include "content_signature.h"
#include "descriptor_bytes.h"
#include "spotlight_keys.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <QElapsedTimer>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <iterator>
#include <mutex>

namespace {

// How much of the file the demuxer may look at to learn its streams, and
// for how long in total; movie headers tell all within far less.
constexpr qint64 probe_bytes = 8LL * 1024 * 1024;
constexpr qint64 analyze_microseconds = 5LL * AV_TIME_BASE;
constexpr qint64 time_limit_milliseconds = 10000;
constexpr int io_buffer_size = 64 * 1024;


// The only demuxers the library may use: containers that hold their
// streams themselves. Playlists, manifests, concatenation lists and session
// descriptions, which name other files and addresses, are not among them.
constexpr char demuxer_whitelist[] = "mov,mpeg,mpegvideo,mpegts,matroska,avi,flv,ogg";

// The demuxer for the container the file's leading bytes show, chosen here
// rather than by the library's probe of every demuxer it has.
const char *demuxer_for(FilmContainer container)
{
    switch (container) {
    case FilmContainer::IsoMedia:
        return "mov";
    case FilmContainer::MpegProgram:
        return "mpeg";
    case FilmContainer::MpegVideo:
        return "mpegvideo";
    case FilmContainer::MpegTransport:
        return "mpegts";
    case FilmContainer::Matroska:
        return "matroska";
    case FilmContainer::Avi:
        return "avi";
    case FilmContainer::Flv:
        return "flv";
    case FilmContainer::Ogg:
        return "ogg";
    case FilmContainer::None:
        break;
    }
    return nullptr;
}

struct CodecName
{
    AVCodecID codec;
    const char *name;
};

// Codec names as a viewer of the movie would read them; codecs not listed
// keep the library's short name.
const CodecName codec_names[] = {
    // Advanced Video Coding, most cameras and phones until about 2017.
    { AV_CODEC_ID_H264, "H.264" },
    // High Efficiency Video Coding, newer phones.
    { AV_CODEC_ID_HEVC, "HEVC" },
    // MPEG-4 Part 2 video.
    { AV_CODEC_ID_MPEG4, "MPEG-4 Video" },
    // Editing codec of professional cameras.
    { AV_CODEC_ID_PRORES, "Apple ProRes" },
    // Still-frame JPEG video of older cameras.
    { AV_CODEC_ID_MJPEG, "Photo - JPEG" },
    // Advanced Audio Coding.
    { AV_CODEC_ID_AAC, "AAC" },
    // MPEG audio layer 3.
    { AV_CODEC_ID_MP3, "MPEG Layer 3" },
    // Lossless audio of the same vendor as the container.
    { AV_CODEC_ID_ALAC, "Apple Lossless" },
    // Uncompressed sound, little- and big-endian.
    { AV_CODEC_ID_PCM_S16LE, "Linear PCM" },
    { AV_CODEC_ID_PCM_S16BE, "Linear PCM" },
    { AV_CODEC_ID_PCM_S24LE, "Linear PCM" },
    { AV_CODEC_ID_PCM_S24BE, "Linear PCM" },
    // Captions and chapters are no codecs a viewer names; they are skipped
    // below by their media type. Timed metadata tracks are named below.
};

// Where a QuickTime movie keeps what a phone recorded of its capture, as
// the library names those entries: first the keys of the movie's metadata
// (newer phones), then the older user-data atoms.
struct CaptureEntry
{
    const char *spotlight_key;
    const char *names[2];
};

const CaptureEntry capture_entries[] = {
    // Maker of the camera or phone.
    { spotlight_keys::acquisition_make, { "com.apple.quicktime.make", "make" } },
    // Its model name.
    { spotlight_keys::acquisition_model, { "com.apple.quicktime.model", "model" } },
};

// The place of capture as ISO 6709 text.
const char *const location_names[] = { "com.apple.quicktime.location.ISO6709", "location" };

// The moment of capture with the zone of the phone ("2016-06-15T20:14:17-0700");
// an edit rewrites the movie header's creation time, never this.
const char *const capture_time_name = "com.apple.quicktime.creationdate";

// A sample description of timed metadata ('mebx'), which a viewer lists as
// "Timed Metadata" after the picture and sound.
constexpr uint32_t timed_metadata_tag = MKTAG('m', 'e', 'b', 'x');

const AVDictionaryEntry *first_entry(const AVDictionary *metadata, const char *const *names, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        if (const AVDictionaryEntry *entry = av_dict_get(metadata, names[i], nullptr, 0))
            return entry;
    }
    return nullptr;
}

// One ISO 6709 component ("+37.3317", "-12218.42", "+371954"): degrees,
// degrees and minutes, or degrees, minutes and seconds by the number of
// whole digits, which is 2, 4 or 6 for a latitude (one more for a longitude).
std::optional<double> iso6709_angle(const QString &text, int degree_digits)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    const int whole_digits = int(text.mid(1).section(QLatin1Char('.'), 0, 0).size());
    const double magnitude = std::fabs(value);
    // Fewer whole digits are degrees too: some writers drop leading zeros.
    double degrees = magnitude;
    if (whole_digits == degree_digits + 2) {
        degrees = std::floor(magnitude / 100) + std::fmod(magnitude, 100) / 60;
    } else if (whole_digits == degree_digits + 4) {
        degrees = std::floor(magnitude / 10000) + std::floor(std::fmod(magnitude, 10000) / 100) / 60
                  + std::fmod(magnitude, 100) / 3600;
    } else if (whole_digits > degree_digits) {
        return std::nullopt;
    }
    return value < 0 ? -degrees : degrees;
}

struct Place
{
    double latitude = 0;
    double longitude = 0;
    std::optional<double> altitude;
};

// "+37.3317-122.0307+010.000/" and its relatives, the reference system
// ("CRSWGS_84") ignored; nothing for text of any other shape.
std::optional<Place> iso6709_place(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^([+-]\\d+(?:\\.\\d+)?)([+-]\\d+(?:\\.\\d+)?)([+-]\\d+(?:\\.\\d+)?)?(?:CRS[^/]*)?/?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    const std::optional<double> latitude = iso6709_angle(match.captured(1), 2);
    const std::optional<double> longitude = iso6709_angle(match.captured(2), 3);
    if (!latitude || !longitude || std::fabs(*latitude) > 90 || std::fabs(*longitude) > 180)
        return std::nullopt;
    Place place{ *latitude, *longitude, std::nullopt };
    if (match.hasCaptured(3))
        place.altitude = match.captured(3).toDouble();
    return place;
}

QString codec_name(AVCodecID codec)
{
    for (const CodecName &entry : codec_names) {
        if (entry.codec == codec)
            return QString::fromLatin1(entry.name);
    }
    const char *library_name = avcodec_get_name(codec);
    return library_name ? QString::fromLatin1(library_name) : QString();
}

// The demuxer reads the evidence through these, by position on the
// descriptor; it never learns the file's name.
struct DescriptorSource
{
    int fd = -1;
    qint64 size = 0;
    qint64 position = 0;
};

int read_packet(void *opaque, uint8_t *buffer, int length)
{
    auto *source = static_cast<DescriptorSource *>(opaque);
    const qint64 got = read_descriptor_at(source->fd, source->position, reinterpret_cast<char *>(buffer), length);
    if (got < 0)
        return AVERROR(EIO);
    if (got == 0)
        return AVERROR_EOF;
    source->position += got;
    return int(got);
}

int64_t seek_source(void *opaque, int64_t offset, int whence)
{
    auto *source = static_cast<DescriptorSource *>(opaque);
    if (whence & AVSEEK_SIZE)
        return source->size;
    qint64 target = 0;
    switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET:
        target = offset;
        break;
    case SEEK_CUR:
        target = source->position + offset;
        break;
    case SEEK_END:
        target = source->size + offset;
        break;
    default:
        return AVERROR(EINVAL);
    }
    if (target < 0)
        return AVERROR(EINVAL);
    source->position = target;
    return target;
}

// Stops the demuxer once the time allowed for one file has passed.
int past_deadline(void *opaque)
{
    return static_cast<QElapsedTimer *>(opaque)->hasExpired(time_limit_milliseconds) ? 1 : 0;
}

// Every file or address a demuxer would open beside the one it was handed
// (a film's data reference, a nested list's entry) is refused: a reference
// inside evidence is at most a value, never read.
int refuse_nested_open(AVFormatContext *, AVIOContext **, const char *, int, AVDictionary **)
{
    return AVERROR(EPERM);
}

// Nothing is ever opened through refuse_nested_open; a stream the library
// hands back is closed as its own default would.
int close_nested(AVFormatContext *, AVIOContext *stream)
{
    return avio_close(stream);
}

struct IoContextFree
{
    void operator()(AVIOContext *context) const
    {
        // The buffer may have been replaced by the library; free the one held.
        av_freep(&context->buffer);
        avio_context_free(&context);
    }
};

struct FormatContextClose
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

struct DictionaryFree
{
    void operator()(AVDictionary *dictionary) const { av_dict_free(&dictionary); }
};

} // namespace

VideoImporter::VideoImporter()
{
    static std::once_flag quietened;
    std::call_once(quietened, [] { av_log_set_level(AV_LOG_QUIET); });
}

QString VideoImporter::name() const
{
    return QStringLiteral("video");
}

ImportedValues VideoImporter::import(int fd, const QString &content_type) const
{
    ImportedValues values;
    DescriptorSource source{ fd, descriptor_size(fd), 0 };
    if (source.size <= 0)
        return values;
    // The worker checked the leading bytes; a file that is not one of the
    // containers read is refused again here, whatever it was named.
    char head[content_signature_bytes];
    const qint64 head_size = read_descriptor_at(fd, 0, head, sizeof head);
    const QByteArrayView leading(head, head_size > 0 ? qsizetype(head_size) : 0);
    const char *const demuxer_name = demuxer_for(film_container(leading));
    const AVInputFormat *const demuxer = demuxer_name ? av_find_input_format(demuxer_name) : nullptr;
    if (!demuxer || !content_may_match(content_type, leading))
        return values;

    auto *buffer = static_cast<unsigned char *>(av_malloc(io_buffer_size));
    if (!buffer)
        return values;
    std::unique_ptr<AVIOContext, IoContextFree> io(
        avio_alloc_context(buffer, io_buffer_size, 0, &source, read_packet, nullptr, seek_source));
    if (!io) {
        av_free(buffer);
        return values;
    }

    AVFormatContext *opened = avformat_alloc_context();
    if (!opened)
        return values;
    QElapsedTimer clock;
    clock.start();
    opened->pb = io.get();
    opened->flags |= AVFMT_FLAG_CUSTOM_IO;
    opened->probesize = probe_bytes;
    opened->max_analyze_duration = analyze_microseconds;
    opened->interrupt_callback = { past_deadline, &clock };
    // Only the whitelisted demuxers, no protocol at all (the file comes
    // through the descriptor, not a name), and no nested open.
    opened->format_whitelist = av_strdup(demuxer_whitelist);
    opened->protocol_whitelist = av_strdup("");
    opened->io_open = refuse_nested_open;
    opened->io_close2 = close_nested;
    if (!opened->format_whitelist || !opened->protocol_whitelist) {
        avformat_free_context(opened);
        return values;
    }
    // A QuickTime film's data references name other files; they stay unread
    // even should the library's default change.
    AVDictionary *options = nullptr;
    av_dict_set(&options, "enable_drefs", "0", 0);
    // On failure the library frees the context itself.
    const int opened_result = avformat_open_input(&opened, nullptr, demuxer, &options);
    // What the demuxer did not take comes back.
    const std::unique_ptr<AVDictionary, DictionaryFree> left_over(options);
    if (opened_result < 0)
        return values;
    const std::unique_ptr<AVFormatContext, FormatContextClose> format(opened);
    // Decoding a few packets completes what the header leaves open (the
    // overall bit rate); when it fails, the header's facts still stand.
    avformat_find_stream_info(format.get(), nullptr);

    if (format->duration > 0)
        values.emplace_back(QLatin1String(spotlight_keys::duration_seconds),
                            MetadataValue::from_number(double(format->duration) / AV_TIME_BASE));

    // A viewer names the picture's codecs first, then the sound's, then
    // timed metadata, whatever the order of the tracks in the file.
    std::vector<MetadataValue> codecs[3];
    const AVCodecParameters *picture = nullptr;
    const AVCodecParameters *sound = nullptr;
    for (unsigned int i = 0; i < format->nb_streams; ++i) {
        const AVStream *stream = format->streams[i];
        const AVCodecParameters *parameters = stream->codecpar;
        const bool is_video = parameters->codec_type == AVMEDIA_TYPE_VIDEO
                              && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
        const bool is_audio = parameters->codec_type == AVMEDIA_TYPE_AUDIO;
        const bool is_timed_metadata = parameters->codec_type == AVMEDIA_TYPE_DATA
                                       && parameters->codec_tag == timed_metadata_tag;
        if (is_video && !picture)
            picture = parameters;
        if (is_audio && !sound)
            sound = parameters;
        if (!is_video && !is_audio && !is_timed_metadata)
            continue;
        const QString name = is_timed_metadata ? QStringLiteral("Timed Metadata") : codec_name(parameters->codec_id);
        std::vector<MetadataValue> &group = codecs[is_video ? 0 : is_audio ? 1 : 2];
        const MetadataValue item = MetadataValue::from_text(name);
        if (!name.isEmpty() && std::find(group.begin(), group.end(), item) == group.end())
            group.push_back(item);
    }
    if (picture && picture->width > 0 && picture->height > 0) {
        values.emplace_back(QLatin1String(spotlight_keys::pixel_width), MetadataValue::from_number(picture->width));
        values.emplace_back(QLatin1String(spotlight_keys::pixel_height), MetadataValue::from_number(picture->height));
    }
    std::vector<MetadataValue> named = std::move(codecs[0]);
    named.insert(named.end(), codecs[1].begin(), codecs[1].end());
    named.insert(named.end(), codecs[2].begin(), codecs[2].end());
    if (!named.empty())
        values.emplace_back(QLatin1String(spotlight_keys::codecs), MetadataValue::from_array(std::move(named)));
    // Bits per second, as the container's sample tables add them up.
    if (picture && picture->bit_rate > 0)
        values.emplace_back(QLatin1String(spotlight_keys::video_bit_rate), MetadataValue::from_number(double(picture->bit_rate)));
    if (format->bit_rate > 0)
        values.emplace_back(QLatin1String(spotlight_keys::total_bit_rate), MetadataValue::from_number(double(format->bit_rate)));
    // The sound in whole kilobits per second, as a Mac gives it (a track of
    // 64.6 kbit/s is 64).
    if (sound && sound->bit_rate >= 1000)
        values.emplace_back(QLatin1String(spotlight_keys::audio_bit_rate),
                            MetadataValue::from_number(double(sound->bit_rate / 1000)));

    for (const CaptureEntry &entry : capture_entries) {
        if (const AVDictionaryEntry *found = first_entry(format->metadata, entry.names, std::size(entry.names))) {
            const QString text = QString::fromUtf8(found->value).trimmed();
            if (!text.isEmpty())
                values.emplace_back(QString::fromLatin1(entry.spotlight_key), MetadataValue::from_text(text));
        }
    }
    if (const AVDictionaryEntry *found = first_entry(format->metadata, location_names, std::size(location_names))) {
        if (const std::optional<Place> place = iso6709_place(QString::fromUtf8(found->value))) {
            values.emplace_back(QLatin1String(spotlight_keys::latitude), MetadataValue::from_number(place->latitude));
            values.emplace_back(QLatin1String(spotlight_keys::longitude), MetadataValue::from_number(place->longitude));
            if (place->altitude)
                values.emplace_back(QLatin1String(spotlight_keys::altitude), MetadataValue::from_number(*place->altitude));
        }
    }
    // The phone's moment of capture, else the movie header's creation time,
    // which the library gives as UTC.
    std::optional<double> created;
    if (const AVDictionaryEntry *captured = av_dict_get(format->metadata, capture_time_name, nullptr, 0))
        created = iso_time_seconds(QString::fromUtf8(captured->value));
    if (const AVDictionaryEntry *header = av_dict_get(format->metadata, "creation_time", nullptr, 0); !created && header)
        created = iso_time_seconds(QString::fromUtf8(header->value));
    if (created)
        values.emplace_back(QLatin1String(spotlight_keys::content_creation_date), MetadataValue::from_date(*created));
    return values;
}
