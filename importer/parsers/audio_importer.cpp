#include "audio_importer.h"

#include "descriptor_stream.h"
#include "spotlight_keys.h"

#include <taglib/aifffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/mpegheader.h>
#include <taglib/mpegproperties.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>

#include <QRegularExpression>

#include <memory>
#include <optional>

namespace {

// A sound file's headers and tags are found within kilobytes of small
// reads; megabytes of them are a scan through damaged or empty data.
constexpr qint64 scan_budget = 4LL * 1024 * 1024;

enum class TagKind {
    Text,      // the first value of the tag
    TextArray, // every value of the tag, in order
};

struct TagField
{
    const char *property;
    const char *spotlight_key;
    TagKind kind;
};

// The library's unified tag names, the same whatever the container.
const TagField tag_fields[] = {
    // The track's title.
    { "TITLE", spotlight_keys::title, TagKind::Text },
    // Performing artists: every one the tag names.
    { "ARTIST", spotlight_keys::authors, TagKind::TextArray },
    // The album the track belongs to.
    { "ALBUM", spotlight_keys::album, TagKind::Text },
    // Who wrote the music.
    { "COMPOSER", spotlight_keys::composer, TagKind::Text },
    // The genre as written, never a number code.
    { "GENRE", spotlight_keys::musical_genre, TagKind::Text },
};

enum class Container { Mpeg, Mp4, Wave, Aiff, Flac, OggVorbis };

struct AudioType
{
    const char *content_type;
    Container container;
};

const AudioType audio_types[] = {
    { "public.mp3", Container::Mpeg },
    { "com.apple.m4a-audio", Container::Mp4 },
    { "com.apple.protected-mpeg-4-audio", Container::Mp4 },
    { "com.apple.m4b-audio", Container::Mp4 },
    { "com.microsoft.waveform-audio", Container::Wave },
    { "public.aiff-audio", Container::Aiff },
    { "public.aifc-audio", Container::Aiff },
    { "org.xiph.flac", Container::Flac },
    { "org.xiph.ogg-audio", Container::OggVorbis },
};

std::optional<Container> container_of(const QString &content_type)
{
    for (const AudioType &type : audio_types) {
        if (content_type == QLatin1String(type.content_type))
            return type.container;
    }
    return std::nullopt;
}

// The parser for the container the type names; the stream outlives it.
std::unique_ptr<TagLib::File> open_file(Container container, TagLib::IOStream *stream)
{
    switch (container) {
    case Container::Mpeg:
        return std::make_unique<TagLib::MPEG::File>(stream, TagLib::ID3v2::FrameFactory::instance());
    case Container::Mp4:
        return std::make_unique<TagLib::MP4::File>(stream);
    case Container::Wave:
        return std::make_unique<TagLib::RIFF::WAV::File>(stream);
    case Container::Aiff:
        return std::make_unique<TagLib::RIFF::AIFF::File>(stream);
    case Container::Flac:
        return std::make_unique<TagLib::FLAC::File>(stream, TagLib::ID3v2::FrameFactory::instance());
    case Container::OggVorbis:
        return std::make_unique<TagLib::Ogg::Vorbis::File>(stream);
    }
    return nullptr;
}

QString text_of(const TagLib::String &text)
{
    return QString::fromStdString(text.to8Bit(true)).trimmed();
}

// The tag's year; some containers keep their date as text the library does
// not turn into a year ("2019" padded with NULs, "2019-05-01"), whose
// leading year is then read.
std::optional<int> recording_year(const TagLib::Tag &tag, const TagLib::PropertyMap &properties)
{
    if (tag.year() > 0)
        return int(tag.year());
    const auto date = properties.find("DATE");
    if (date == properties.end() || date->second.isEmpty())
        return std::nullopt;
    static const QRegularExpression leading_year(QStringLiteral("^(\\d{4})(?:\\D|$)"));
    const QRegularExpressionMatch match = leading_year.match(text_of(date->second.front()));
    if (!match.hasMatch() || match.captured(1).toInt() == 0)
        return std::nullopt;
    return match.captured(1).toInt();
}

// Kilobits per second, as a Mac gives them. The library works out an MP3's
// rate from its size and length whenever the first frame carries a frame
// count, so tags and padding skew a constant rate (128 becomes 129); a
// first frame labelled "Info" marks a constant-rate stream, whose frames
// all state its rate. A variable rate keeps the library's average.
int kilobits_per_second(TagLib::File &file, Container container, const TagLib::AudioProperties &audio)
{
    if (container != Container::Mpeg)
        return audio.bitrate();
    auto &mpeg = static_cast<TagLib::MPEG::File &>(file);
    const auto *properties = static_cast<const TagLib::MPEG::Properties *>(&audio);
    if (!properties->xingHeader())
        return audio.bitrate();
    const long first = mpeg.firstFrameOffset();
    if (first < 0)
        return audio.bitrate();
    const TagLib::MPEG::Header header(&mpeg, first, false);
    if (!header.isValid() || header.bitrate() <= 0 || header.frameLength() <= 0)
        return audio.bitrate();
    mpeg.seek(first);
    const TagLib::ByteVector frame = mpeg.readBlock(static_cast<unsigned long>(header.frameLength()));
    return frame.find("Info") >= 0 ? header.bitrate() : audio.bitrate();
}

} // namespace

QString AudioImporter::name() const
{
    return QStringLiteral("audio");
}

ImportedValues AudioImporter::import(int fd, const QString &content_type) const
{
    ImportedValues values;
    const std::optional<Container> container = container_of(content_type);
    if (!container)
        return values;
    DescriptorStream stream(fd, scan_budget);
    if (stream.length() <= 0)
        return values;
    const std::unique_ptr<TagLib::File> file = open_file(*container, &stream);
    if (!file || !file->isValid())
        return values;

    if (const TagLib::AudioProperties *audio = file->audioProperties()) {
        if (audio->lengthInMilliseconds() > 0)
            values.emplace_back(QLatin1String(spotlight_keys::duration_seconds),
                                MetadataValue::from_number(audio->lengthInMilliseconds() / 1000.0));
        if (const int kilobits = kilobits_per_second(*file, *container, *audio); kilobits > 0)
            values.emplace_back(QLatin1String(spotlight_keys::audio_bit_rate), MetadataValue::from_number(kilobits));
        if (audio->sampleRate() > 0)
            values.emplace_back(QLatin1String(spotlight_keys::audio_sample_rate),
                                MetadataValue::from_number(audio->sampleRate()));
        if (audio->channels() > 0)
            values.emplace_back(QLatin1String(spotlight_keys::audio_channel_count),
                                MetadataValue::from_number(audio->channels()));
    }

    const TagLib::PropertyMap properties = file->properties();
    for (const TagField &field : tag_fields) {
        const auto found = properties.find(field.property);
        if (found == properties.end())
            continue;
        std::vector<MetadataValue> items;
        for (const TagLib::String &item : found->second) {
            const QString text = text_of(item);
            if (!text.isEmpty())
                items.push_back(MetadataValue::from_text(text));
        }
        if (items.empty())
            continue;
        const QString key = QString::fromLatin1(field.spotlight_key);
        if (field.kind == TagKind::Text)
            values.emplace_back(key, items.front());
        else
            values.emplace_back(key, MetadataValue::from_array(std::move(items)));
    }

    if (const TagLib::Tag *tag = file->tag()) {
        // The library reads the year and the track's number out of whatever
        // date or "n/total" text the container holds; 0 means none.
        if (const std::optional<int> year = recording_year(*tag, properties))
            values.emplace_back(QLatin1String(spotlight_keys::recording_year), MetadataValue::from_number(*year));
        if (tag->track() > 0)
            values.emplace_back(QLatin1String(spotlight_keys::audio_track_number), MetadataValue::from_number(tag->track()));
    }
    return values;
}
