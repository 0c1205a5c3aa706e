#include "content_importer_keys.h"

QStringList image_importer_keys()
{
    return {
        QStringLiteral("kMDItemPixelWidth"),
        QStringLiteral("kMDItemPixelHeight"),
        QStringLiteral("kMDItemOrientation"),
        QStringLiteral("kMDItemColorSpace"),
        QStringLiteral("kMDItemBitsPerSample"),
        QStringLiteral("kMDItemHasAlphaChannel"),
        QStringLiteral("kMDItemAcquisitionMake"),
        QStringLiteral("kMDItemAcquisitionModel"),
        QStringLiteral("kMDItemLensModel"),
        QStringLiteral("kMDItemExposureTimeSeconds"),
        QStringLiteral("kMDItemFNumber"),
        QStringLiteral("kMDItemISOSpeed"),
        QStringLiteral("kMDItemFocalLength"),
        QStringLiteral("kMDItemFlashOnOff"),
        QStringLiteral("kMDItemWhiteBalance"),
        QStringLiteral("kMDItemLatitude"),
        QStringLiteral("kMDItemLongitude"),
        QStringLiteral("kMDItemAltitude"),
        QStringLiteral("kMDItemGPSDateStamp"),
        QStringLiteral("kMDItemContentCreationDate"),
        QStringLiteral("kMDItemContentModificationDate"),
        QStringLiteral("kMDItemPixelCount"),
        QStringLiteral("kMDItemCreator"),
        QStringLiteral("kMDItemExposureProgram"),
        QStringLiteral("kMDItemExposureMode"),
        QStringLiteral("kMDItemAperture"),
        QStringLiteral("kMDItemEXIFVersion"),
        QStringLiteral("kMDItemRedEyeOnOff"),
        QStringLiteral("kMDItemImageDirection"),
        QStringLiteral("kMDItemGPSDestBearing"),
        QStringLiteral("kMDItemSpeed"),
        QStringLiteral("kMDItemTimestamp"),
        QStringLiteral("kMDItemResolutionWidthDPI"),
        QStringLiteral("kMDItemResolutionHeightDPI"),
        QStringLiteral("kMDItemProfileName"),
        QStringLiteral("kMDItemAuthors"),
        QStringLiteral("kMDItemComment"),
    };
}

QStringList audio_importer_keys()
{
    return {
        QStringLiteral("kMDItemDurationSeconds"),
        QStringLiteral("kMDItemAudioBitRate"),
        QStringLiteral("kMDItemAudioSampleRate"),
        QStringLiteral("kMDItemAudioChannelCount"),
        QStringLiteral("kMDItemTitle"),
        QStringLiteral("kMDItemAuthors"),
        QStringLiteral("kMDItemAlbum"),
        QStringLiteral("kMDItemComposer"),
        QStringLiteral("kMDItemMusicalGenre"),
        QStringLiteral("kMDItemRecordingYear"),
        QStringLiteral("kMDItemAudioTrackNumber"),
    };
}

QStringList video_importer_keys()
{
    return {
        QStringLiteral("kMDItemDurationSeconds"),
        QStringLiteral("kMDItemPixelWidth"),
        QStringLiteral("kMDItemPixelHeight"),
        QStringLiteral("kMDItemCodecs"),
        QStringLiteral("kMDItemVideoBitRate"),
        QStringLiteral("kMDItemTotalBitRate"),
        QStringLiteral("kMDItemAudioBitRate"),
        QStringLiteral("kMDItemContentCreationDate"),
        QStringLiteral("kMDItemAcquisitionMake"),
        QStringLiteral("kMDItemAcquisitionModel"),
        QStringLiteral("kMDItemLatitude"),
        QStringLiteral("kMDItemLongitude"),
        QStringLiteral("kMDItemAltitude"),
    };
}

QStringList pdf_importer_keys()
{
    return {
        QStringLiteral("kMDItemTitle"),
        QStringLiteral("kMDItemAuthors"),
        QStringLiteral("kMDItemCreator"),
        QStringLiteral("kMDItemEncodingApplications"),
        QStringLiteral("kMDItemNumberOfPages"),
        QStringLiteral("kMDItemPageWidth"),
        QStringLiteral("kMDItemPageHeight"),
        QStringLiteral("kMDItemVersion"),
        QStringLiteral("kMDItemSecurityMethod"),
    };
}

QStringList office_importer_keys()
{
    return {
        QStringLiteral("kMDItemTitle"),
        QStringLiteral("kMDItemAuthors"),
        QStringLiteral("kMDItemEditors"),
        QStringLiteral("kMDItemNumberOfPages"),
        QStringLiteral("kMDItemCreator"),
    };
}
