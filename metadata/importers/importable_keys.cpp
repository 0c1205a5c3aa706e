#include "importable_keys.h"

#include "content_importer_keys.h"

#include <QHash>
#include <QStringList>

namespace {

// One family of content types and the keys its importer can give. The keys
// are the importers' own lists; the content types each importer reads must
// stay within these families, or its files are never handed to it.
struct Family
{
    QStringList content_types;
    QStringList keys;
};

const QList<Family> &families()
{
    static const QList<Family> table = {
        // Photos and other images, camera raw included.
        {{"public.jpeg", "public.png", "public.tiff", "public.heic", "public.heif", "com.compuserve.gif",
          "org.webmproject.webp", "com.adobe.raw-image", "com.canon.cr2-raw-image",
          "com.canon.cr3-raw-image", "com.canon.crw-raw-image", "com.nikon.raw-image",
          "com.nikon.nrw-raw-image", "com.sony.arw-raw-image", "com.sony.sr2-raw-image",
          "com.fuji.raw-image", "com.olympus.raw-image", "com.olympus.or-raw-image",
          "com.panasonic.raw-image", "com.panasonic.rw2-raw-image", "com.pentax.raw-image",
          "com.samsung.raw-image"},
         image_importer_keys()},
        // Songs and other sound.
        {{"public.mp3", "com.apple.m4a-audio", "com.apple.protected-mpeg-4-audio", "public.mpeg-4-audio",
          "public.aac-audio", "public.aiff-audio", "public.aifc-audio", "com.microsoft.waveform-audio",
          "org.xiph.flac", "org.xiph.ogg-audio"},
         audio_importer_keys()},
        // Films.
        {{"public.mpeg-4", "com.apple.m4v-video", "com.apple.quicktime-movie", "public.avi",
          "public.mpeg", "public.3gpp", "public.3gpp2", "org.matroska.mkv", "org.webmproject.webm"},
         video_importer_keys()},
        // PDF documents.
        {{"com.adobe.pdf"}, pdf_importer_keys()},
        // Office documents.
        {{"org.openxmlformats.wordprocessingml.document", "org.openxmlformats.spreadsheetml.sheet",
          "org.openxmlformats.presentationml.presentation", "org.oasis-open.opendocument.text",
          "org.oasis-open.opendocument.spreadsheet", "org.oasis-open.opendocument.presentation"},
         office_importer_keys()},
    };
    return table;
}

} // namespace

namespace {

const QHash<QString, QSet<QString>> &keys_by_type()
{
    static const QHash<QString, QSet<QString>> by_type_table = [] {
        QHash<QString, QSet<QString>> by_type;
        for (const Family &family : families()) {
            for (const QString &type : family.content_types)
                by_type[type] += QSet<QString>(family.keys.begin(), family.keys.end());
        }
        return by_type;
    }();
    return by_type_table;
}

} // namespace

const QSet<QString> &importable_keys(const QString &content_type)
{
    static const QSet<QString> none;
    const auto found = keys_by_type().constFind(content_type);
    return found == keys_by_type().constEnd() ? none : *found;
}

QStringList importable_content_types()
{
    return keys_by_type().keys();
}
