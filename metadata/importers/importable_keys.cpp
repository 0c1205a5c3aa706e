#include "importable_keys.h"

#include <QHash>
#include <QStringList>

namespace {

// One family of content types and the keys its importer can give. The
// importer process's own importers must keep within this table: a key left
// out here is never asked of them.
struct Family
{
    QStringList content_types;
    QStringList keys;
};

const QList<Family> &families()
{
    static const QList<Family> table = {
        // Photos and other images: camera, capture, geometry and place.
        {{"public.jpeg", "public.png", "public.tiff", "public.heic", "public.heif", "com.compuserve.gif",
          "org.webmproject.webp", "com.adobe.raw-image", "com.canon.cr2-raw-image", "com.nikon.raw-image"},
         {"kMDItemPixelWidth", "kMDItemPixelHeight", "kMDItemOrientation", "kMDItemColorSpace",
          "kMDItemBitsPerSample", "kMDItemHasAlphaChannel", "kMDItemProfileName",
          "kMDItemResolutionWidthDPI", "kMDItemResolutionHeightDPI", "kMDItemAcquisitionMake",
          "kMDItemAcquisitionModel", "kMDItemLensModel", "kMDItemExposureTimeSeconds", "kMDItemFNumber",
          "kMDItemFocalLength", "kMDItemISOSpeed", "kMDItemFlashOnOff", "kMDItemWhiteBalance",
          "kMDItemEXIFVersion", "kMDItemLatitude", "kMDItemLongitude", "kMDItemAltitude",
          "kMDItemGPSDateStamp", "kMDItemContentCreationDate", "kMDItemCreator", "kMDItemDescription",
          "kMDItemCopyright", "kMDItemKeywords"}},
        // Songs and other sound: tags and stream facts.
        {{"public.mp3", "com.apple.m4a-audio", "public.mpeg-4-audio", "public.aac-audio",
          "public.aiff-audio", "com.microsoft.waveform-audio", "org.xiph.flac", "org.xiph.ogg-audio"},
         {"kMDItemTitle", "kMDItemAuthors", "kMDItemAlbum", "kMDItemComposer", "kMDItemMusicalGenre",
          "kMDItemRecordingYear", "kMDItemAudioTrackNumber", "kMDItemDurationSeconds",
          "kMDItemAudioBitRate", "kMDItemAudioSampleRate", "kMDItemAudioChannelCount",
          "kMDItemTotalBitRate", "kMDItemCodecs", "kMDItemComment", "kMDItemCopyright"}},
        // Films: streams, recording device, time and place.
        {{"public.mpeg-4", "com.apple.m4v-video", "com.apple.quicktime-movie", "public.avi",
          "public.mpeg", "public.3gpp", "org.matroska.mkv", "org.webmproject.webm"},
         {"kMDItemDurationSeconds", "kMDItemPixelWidth", "kMDItemPixelHeight", "kMDItemCodecs",
          "kMDItemMediaTypes", "kMDItemVideoBitRate", "kMDItemAudioBitRate", "kMDItemTotalBitRate",
          "kMDItemAudioSampleRate", "kMDItemAudioChannelCount", "kMDItemTitle", "kMDItemAuthors",
          "kMDItemAcquisitionMake", "kMDItemAcquisitionModel", "kMDItemLatitude", "kMDItemLongitude",
          "kMDItemContentCreationDate"}},
        // PDF documents: the document information and the pages.
        {{"com.adobe.pdf"},
         {"kMDItemTitle", "kMDItemAuthors", "kMDItemDescription", "kMDItemKeywords", "kMDItemCreator",
          "kMDItemEncodingApplications", "kMDItemNumberOfPages", "kMDItemPageWidth", "kMDItemPageHeight",
          "kMDItemVersion", "kMDItemSecurityMethod", "kMDItemContentCreationDate",
          "kMDItemContentModificationDate"}},
        // Office documents: their core properties.
        {{"org.openxmlformats.wordprocessingml.document", "org.openxmlformats.spreadsheetml.sheet",
          "org.openxmlformats.presentationml.presentation", "org.oasis-open.opendocument.text",
          "org.oasis-open.opendocument.spreadsheet", "org.oasis-open.opendocument.presentation"},
         {"kMDItemTitle", "kMDItemAuthors", "kMDItemDescription", "kMDItemKeywords", "kMDItemComment",
          "kMDItemCreator", "kMDItemNumberOfPages", "kMDItemLanguages",
          "kMDItemContentCreationDate", "kMDItemContentModificationDate"}},
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
