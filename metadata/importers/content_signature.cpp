#include "content_signature.h"

#include <QHash>

#include <array>

namespace {

enum class Signature {
    Any, // no fixed signature the readers insist on (MPEG audio and video, camera raw)
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

} // namespace

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
    }
    return true;
}
