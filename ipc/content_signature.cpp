#include "content_signature.h"

#include <QHash>

#include <array>

namespace {

enum class Signature {
    Any, // no fixed signature the readers insist on (MPEG audio, camera raw)
    Jpeg,
    Png,
    Gif,
    Tiff,
    WebP,
    IsoMedia, // ISO base media and QuickTime: HEIF, MPEG-4, 3GPP, films
    Pdf,
    Zip, // office documents are ZIP packages
    Aiff,
    Wave,
    Flac,
    Ogg,
    Avi,
    Matroska,
    MpegFilm, // .mpg files: a program stream, a bare video stream, or a transport stream
};

const QHash<QString, Signature> &signatures()
{
    static const QHash<QString, Signature> table = {
        {"public.jpeg", Signature::Jpeg},
        {"public.png", Signature::Png},
        {"com.compuserve.gif", Signature::Gif},
        {"public.tiff", Signature::Tiff},
        {"org.webmproject.webp", Signature::WebP},
        {"public.heic", Signature::IsoMedia},
        {"public.heif", Signature::IsoMedia},
        {"com.canon.cr3-raw-image", Signature::IsoMedia},
        {"com.apple.m4a-audio", Signature::IsoMedia},
        {"com.apple.protected-mpeg-4-audio", Signature::IsoMedia},
        {"public.mpeg-4-audio", Signature::IsoMedia},
        {"public.mpeg-4", Signature::IsoMedia},
        {"com.apple.m4v-video", Signature::IsoMedia},
        {"com.apple.quicktime-movie", Signature::IsoMedia},
        {"public.3gpp", Signature::IsoMedia},
        {"public.3gpp2", Signature::IsoMedia},
        {"com.adobe.pdf", Signature::Pdf},
        {"org.openxmlformats.wordprocessingml.document", Signature::Zip},
        {"org.openxmlformats.spreadsheetml.sheet", Signature::Zip},
        {"org.openxmlformats.presentationml.presentation", Signature::Zip},
        {"org.oasis-open.opendocument.text", Signature::Zip},
        {"org.oasis-open.opendocument.spreadsheet", Signature::Zip},
        {"org.oasis-open.opendocument.presentation", Signature::Zip},
        {"public.aiff-audio", Signature::Aiff},
        {"public.aifc-audio", Signature::Aiff},
        {"com.microsoft.waveform-audio", Signature::Wave},
        {"org.xiph.flac", Signature::Flac},
        {"org.xiph.ogg-audio", Signature::Ogg},
        {"public.avi", Signature::Avi},
        {"org.matroska.mkv", Signature::Matroska},
        {"org.webmproject.webm", Signature::Matroska},
        {"public.mpeg", Signature::MpegFilm},
    };
    return table;
}

bool at(QByteArrayView head, qsizetype offset, QByteArrayView expected)
{
    return head.size() >= offset + expected.size() && head.sliced(offset, expected.size()) == expected;
}

// The box types a QuickTime or ISO media file is seen to begin with; older
// films start with their movie or data box rather than a file type box.
bool iso_media(QByteArrayView head)
{
    static constexpr std::array<const char *, 9> first_boxes = {"ftyp", "moov", "mdat", "free", "skip",
                                                                "wide", "pnot", "uuid", "styp"};
    for (const char *box : first_boxes) {
        if (at(head, 4, box))
            return true;
    }
    return false;
}

// A sync byte at the start of every packet of packet_size bytes that head
// reaches, each after prefix bytes of time code: at least two packets, or a
// file of exactly one.
bool transport_packets(QByteArrayView head, qsizetype prefix, qsizetype packet_size)
{
    if (!at(head, prefix, "\x47"))
        return false;
    if (head.size() <= prefix + packet_size)
        return head.size() == packet_size;
    for (qsizetype offset = prefix + packet_size; offset < head.size(); offset += packet_size) {
        if (head.at(offset) != '\x47')
            return false;
    }
    return true;
}

} // namespace

FilmContainer film_container(QByteArrayView head)
{
    if (iso_media(head))
        return FilmContainer::IsoMedia;
    if (at(head, 0, QByteArrayView("\0\0\x01\xBA", 4)))
        return FilmContainer::MpegProgram;
    if (at(head, 0, QByteArrayView("\0\0\x01\xB3", 4)))
        return FilmContainer::MpegVideo;
    if (transport_packets(head, 0, 188) || transport_packets(head, 4, 192))
        return FilmContainer::MpegTransport;
    if (at(head, 0, "\x1A\x45\xDF\xA3"))
        return FilmContainer::Matroska;
    if (at(head, 0, "RIFF") && at(head, 8, "AVI "))
        return FilmContainer::Avi;
    // The version byte follows the three letters.
    if (at(head, 0, "FLV\x01"))
        return FilmContainer::Flv;
    if (at(head, 0, "OggS"))
        return FilmContainer::Ogg;
    return FilmContainer::None;
}

bool content_may_match(const QString &content_type, QByteArrayView head)
{
    if (head.isEmpty())
        return false;
    switch (signatures().value(content_type, Signature::Any)) {
    case Signature::Any:
        return true;
    case Signature::Jpeg:
        return at(head, 0, "\xFF\xD8\xFF");
    case Signature::Png:
        return at(head, 0, "\x89PNG\r\n\x1A\n");
    case Signature::Gif:
        return at(head, 0, "GIF87a") || at(head, 0, "GIF89a");
    case Signature::Tiff:
        return at(head, 0, QByteArrayView("II*\0", 4)) || at(head, 0, QByteArrayView("MM\0*", 4))
            || at(head, 0, QByteArrayView("II+\0", 4)) || at(head, 0, QByteArrayView("MM\0+", 4));
    case Signature::WebP:
        return at(head, 0, "RIFF") && at(head, 8, "WEBP");
    case Signature::IsoMedia:
        return iso_media(head);
    case Signature::Pdf:
        // Readers accept a PDF whose header follows some leading bytes.
        return head.indexOf("%PDF-") >= 0;
    case Signature::Zip:
        return at(head, 0, "PK\x03\x04");
    case Signature::Aiff:
        return at(head, 0, "FORM") && (at(head, 8, "AIFF") || at(head, 8, "AIFC"));
    case Signature::Wave:
        return (at(head, 0, "RIFF") || at(head, 0, "RF64")) && at(head, 8, "WAVE");
    case Signature::Flac:
        // Tags written ahead of the stream are allowed.
        return at(head, 0, "fLaC") || at(head, 0, "ID3");
    case Signature::Ogg:
        return at(head, 0, "OggS");
    case Signature::Avi:
        return at(head, 0, "RIFF") && at(head, 8, "AVI ");
    case Signature::Matroska:
        return at(head, 0, "\x1A\x45\xDF\xA3");
    case Signature::MpegFilm: {
        const FilmContainer container = film_container(head);
        return container == FilmContainer::MpegProgram || container == FilmContainer::MpegVideo
            || container == FilmContainer::MpegTransport;
    }
    }
    return true;
}
