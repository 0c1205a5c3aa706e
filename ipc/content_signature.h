#ifndef CONTENT_SIGNATURE_H
#define CONTENT_SIGNATURE_H

#include <QByteArrayView>
#include <QString>

// How many leading bytes of a file content_may_match looks at.
constexpr qsizetype content_signature_bytes = 1024;

// Whether a file beginning with head (its first content_signature_bytes
// bytes, or all of a shorter file) can be of the content type. False only
// where the format's own signature rules it out, so that a file no importer
// could read (empty, truncated, or misnamed) is never handed to one.
bool content_may_match(const QString &content_type, QByteArrayView head);

// The film containers the video importer reads. A playlist, a manifest, a
// concatenation list or a session description under a film's name is none
// of them: those name other files and addresses, which are never opened.
enum class FilmContainer {
    None,
    IsoMedia,       // QuickTime and ISO base media: MPEG-4, 3GPP
    MpegProgram,    // MPEG program stream, as DVD and camcorder .mpg files
    MpegVideo,      // a bare MPEG-1 or MPEG-2 video stream
    MpegTransport,  // MPEG transport stream, 188-byte packets or 192 with a time code
    Matroska,       // Matroska and WebM
    Avi,
    Flv,
    Ogg,
};

// The film container head (a file's first content_signature_bytes bytes)
// begins with; None when it begins with none of them.
FilmContainer film_container(QByteArrayView head);

#endif // CONTENT_SIGNATURE_H
