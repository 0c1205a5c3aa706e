#include "video_importer.h"

#include "content_dates.h"
#include "content_importer_keys.h"
#include "importer_reading.h"
#include "descriptor_bytes.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <QElapsedTimer>

#include <algorithm>
#include <cerrno>
#include <mutex>

namespace {

// How much of the file the demuxer may look at to learn its streams, and
// for how long in total; movie headers tell all within far less.
constexpr qint64 probe_bytes = 8LL * 1024 * 1024;
constexpr qint64 analyze_microseconds = 5LL * AV_TIME_BASE;
constexpr qint64 time_limit_milliseconds = 10000;
constexpr int io_buffer_size = 64 * 1024;


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
    // Text tracks of timed metadata, captions and chapters are no codecs
    // a viewer names; they are skipped below by their media type.
};

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

bool VideoImporter::reads(const QString &content_type) const
{
    return reading_importer_of(content_type) == name();
}

QStringList VideoImporter::keys() const
{
    return video_importer_keys();
}

ImportedValues VideoImporter::import(int fd, const QString &) const
{
    ImportedValues values;
    DescriptorSource source{ fd, descriptor_size(fd), 0 };
    if (source.size <= 0)
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
    // On failure the library frees the context itself.
    if (avformat_open_input(&opened, nullptr, nullptr, nullptr) < 0)
        return values;
    const std::unique_ptr<AVFormatContext, FormatContextClose> format(opened);
    // Decoding a few packets completes what the header leaves open (the
    // overall bit rate); when it fails, the header's facts still stand.
    avformat_find_stream_info(format.get(), nullptr);

    if (format->duration > 0)
        values.emplace_back(QStringLiteral("kMDItemDurationSeconds"),
                            MetadataValue::from_number(double(format->duration) / AV_TIME_BASE));

    std::vector<MetadataValue> codecs;
    const AVCodecParameters *picture = nullptr;
    for (unsigned int i = 0; i < format->nb_streams; ++i) {
        const AVStream *stream = format->streams[i];
        const AVCodecParameters *parameters = stream->codecpar;
        const bool is_video = parameters->codec_type == AVMEDIA_TYPE_VIDEO
                              && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
        if (is_video && !picture)
            picture = parameters;
        if (!is_video && parameters->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        const QString name = codec_name(parameters->codec_id);
        const MetadataValue item = MetadataValue::from_text(name);
        if (!name.isEmpty() && std::find(codecs.begin(), codecs.end(), item) == codecs.end())
            codecs.push_back(item);
    }
    if (picture && picture->width > 0 && picture->height > 0) {
        values.emplace_back(QStringLiteral("kMDItemPixelWidth"), MetadataValue::from_number(picture->width));
        values.emplace_back(QStringLiteral("kMDItemPixelHeight"), MetadataValue::from_number(picture->height));
    }
    if (!codecs.empty())
        values.emplace_back(QStringLiteral("kMDItemCodecs"), MetadataValue::from_array(std::move(codecs)));
    // Bits per second, as the container's sample tables add them up.
    if (picture && picture->bit_rate > 0)
        values.emplace_back(QStringLiteral("kMDItemVideoBitRate"), MetadataValue::from_number(double(picture->bit_rate)));
    if (format->bit_rate > 0)
        values.emplace_back(QStringLiteral("kMDItemTotalBitRate"), MetadataValue::from_number(double(format->bit_rate)));

    // The movie header's creation time, which the library gives as UTC.
    if (const AVDictionaryEntry *created = av_dict_get(format->metadata, "creation_time", nullptr, 0)) {
        if (const std::optional<double> seconds = iso_time_seconds(QString::fromUtf8(created->value)))
            values.emplace_back(QStringLiteral("kMDItemContentCreationDate"), MetadataValue::from_date(*seconds));
    }
    return values;
}
