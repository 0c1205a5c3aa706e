#include "content_type_guess.h"

#include <QHash>

// The volume's type table, which knows every extension macOS does, takes
// this function's place; until then only the types an importer reads are
// told apart.
QString content_type_from_name(const QString &path)
{
    static const QHash<QString, QString> type_by_extension = {
        {"jpg", "public.jpeg"}, {"jpeg", "public.jpeg"}, {"png", "public.png"},
        {"tif", "public.tiff"}, {"tiff", "public.tiff"}, {"heic", "public.heic"},
        {"heif", "public.heif"}, {"gif", "com.compuserve.gif"}, {"webp", "org.webmproject.webp"},
        {"dng", "com.adobe.raw-image"}, {"cr2", "com.canon.cr2-raw-image"}, {"nef", "com.nikon.raw-image"},
        {"mp3", "public.mp3"}, {"m4a", "com.apple.m4a-audio"}, {"aac", "public.aac-audio"},
        {"aif", "public.aiff-audio"}, {"aiff", "public.aiff-audio"}, {"wav", "com.microsoft.waveform-audio"},
        {"flac", "org.xiph.flac"}, {"ogg", "org.xiph.ogg-audio"},
        {"mp4", "public.mpeg-4"}, {"m4v", "com.apple.m4v-video"}, {"mov", "com.apple.quicktime-movie"},
        {"avi", "public.avi"}, {"mpg", "public.mpeg"}, {"mpeg", "public.mpeg"}, {"3gp", "public.3gpp"},
        {"mkv", "org.matroska.mkv"}, {"webm", "org.webmproject.webm"},
        {"pdf", "com.adobe.pdf"},
        {"docx", "org.openxmlformats.wordprocessingml.document"},
        {"xlsx", "org.openxmlformats.spreadsheetml.sheet"},
        {"pptx", "org.openxmlformats.presentationml.presentation"},
        {"odt", "org.oasis-open.opendocument.text"},
        {"ods", "org.oasis-open.opendocument.spreadsheet"},
        {"odp", "org.oasis-open.opendocument.presentation"},
    };
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    // A leading dot starts a hidden name, not an extension.
    if (dot <= slash + 1)
        return QString();
    return type_by_extension.value(path.mid(dot + 1).toLower());
}
