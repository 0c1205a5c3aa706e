#ifndef SPOTLIGHT_KEYS_H
#define SPOTLIGHT_KEYS_H

// The Spotlight attribute names that the worker and its importers give
// values for, and those of the volume's own index that it reads, each
// spelt once: a misspelt name is a compile error, not a silent NULL column.
namespace spotlight_keys {

// What every public attribute name begins with.
inline constexpr char prefix[] = "kMDItem";
// What the extended attribute that keeps a key's value on a file begins
// with; the key's name follows.
inline constexpr char attribute_prefix[] = "com.apple.metadata:";

inline constexpr char acquisition_make[] = "kMDItemAcquisitionMake";
inline constexpr char acquisition_model[] = "kMDItemAcquisitionModel";
inline constexpr char album[] = "kMDItemAlbum";
inline constexpr char altitude[] = "kMDItemAltitude";
inline constexpr char aperture[] = "kMDItemAperture";
inline constexpr char audio_bit_rate[] = "kMDItemAudioBitRate";
inline constexpr char audio_channel_count[] = "kMDItemAudioChannelCount";
inline constexpr char audio_sample_rate[] = "kMDItemAudioSampleRate";
inline constexpr char audio_track_number[] = "kMDItemAudioTrackNumber";
inline constexpr char authors[] = "kMDItemAuthors";
inline constexpr char bits_per_sample[] = "kMDItemBitsPerSample";
inline constexpr char cf_bundle_identifier[] = "kMDItemCFBundleIdentifier";
inline constexpr char codecs[] = "kMDItemCodecs";
inline constexpr char color_space[] = "kMDItemColorSpace";
inline constexpr char comment[] = "kMDItemComment";
inline constexpr char composer[] = "kMDItemComposer";
inline constexpr char content_creation_date[] = "kMDItemContentCreationDate";
inline constexpr char content_modification_date[] = "kMDItemContentModificationDate";
inline constexpr char content_type[] = "kMDItemContentType";
inline constexpr char content_type_tree[] = "kMDItemContentTypeTree";
inline constexpr char copyright[] = "kMDItemCopyright";
inline constexpr char creator[] = "kMDItemCreator";
inline constexpr char date_added[] = "kMDItemDateAdded";
inline constexpr char display_name[] = "kMDItemDisplayName";
inline constexpr char document_identifier[] = "kMDItemDocumentIdentifier";
inline constexpr char duration_seconds[] = "kMDItemDurationSeconds";
inline constexpr char editors[] = "kMDItemEditors";
inline constexpr char encoding_applications[] = "kMDItemEncodingApplications";
inline constexpr char executable_architectures[] = "kMDItemExecutableArchitectures";
inline constexpr char executable_platform[] = "kMDItemExecutablePlatform";
inline constexpr char exif_version[] = "kMDItemEXIFVersion";
inline constexpr char exposure_mode[] = "kMDItemExposureMode";
inline constexpr char exposure_program[] = "kMDItemExposureProgram";
inline constexpr char exposure_time_seconds[] = "kMDItemExposureTimeSeconds";
inline constexpr char f_number[] = "kMDItemFNumber";
inline constexpr char flash_on_off[] = "kMDItemFlashOnOff";
inline constexpr char focal_length[] = "kMDItemFocalLength";
inline constexpr char fs_content_change_date[] = "kMDItemFSContentChangeDate";
inline constexpr char fs_creation_date[] = "kMDItemFSCreationDate";
inline constexpr char fs_creator_code[] = "kMDItemFSCreatorCode";
inline constexpr char fs_finder_flags[] = "kMDItemFSFinderFlags";
inline constexpr char fs_has_custom_icon[] = "kMDItemFSHasCustomIcon";
inline constexpr char fs_invisible[] = "kMDItemFSInvisible";
inline constexpr char fs_is_extension_hidden[] = "kMDItemFSIsExtensionHidden";
inline constexpr char fs_is_readable[] = "kMDItemFSIsReadable";
inline constexpr char fs_is_stationery[] = "kMDItemFSIsStationery";
inline constexpr char fs_is_writeable[] = "kMDItemFSIsWriteable";
inline constexpr char fs_label[] = "kMDItemFSLabel";
inline constexpr char fs_name[] = "kMDItemFSName";
inline constexpr char fs_node_count[] = "kMDItemFSNodeCount";
inline constexpr char fs_owner_group_id[] = "kMDItemFSOwnerGroupID";
inline constexpr char fs_owner_user_id[] = "kMDItemFSOwnerUserID";
inline constexpr char fs_size[] = "kMDItemFSSize";
inline constexpr char fs_type_code[] = "kMDItemFSTypeCode";
inline constexpr char gps_date_stamp[] = "kMDItemGPSDateStamp";
inline constexpr char gps_dest_bearing[] = "kMDItemGPSDestBearing";
inline constexpr char has_alpha_channel[] = "kMDItemHasAlphaChannel";
inline constexpr char image_direction[] = "kMDItemImageDirection";
inline constexpr char iso_speed[] = "kMDItemISOSpeed";
inline constexpr char kind[] = "kMDItemKind";
inline constexpr char last_used_date[] = "kMDItemLastUsedDate";
inline constexpr char latitude[] = "kMDItemLatitude";
inline constexpr char lens_model[] = "kMDItemLensModel";
inline constexpr char logical_size[] = "kMDItemLogicalSize";
inline constexpr char longitude[] = "kMDItemLongitude";
inline constexpr char musical_genre[] = "kMDItemMusicalGenre";
inline constexpr char number_of_pages[] = "kMDItemNumberOfPages";
inline constexpr char orientation[] = "kMDItemOrientation";
inline constexpr char page_height[] = "kMDItemPageHeight";
inline constexpr char page_width[] = "kMDItemPageWidth";
inline constexpr char path[] = "kMDItemPath";
inline constexpr char physical_size[] = "kMDItemPhysicalSize";
inline constexpr char pixel_count[] = "kMDItemPixelCount";
inline constexpr char pixel_height[] = "kMDItemPixelHeight";
inline constexpr char pixel_width[] = "kMDItemPixelWidth";
inline constexpr char profile_name[] = "kMDItemProfileName";
inline constexpr char recording_year[] = "kMDItemRecordingYear";
inline constexpr char red_eye_on_off[] = "kMDItemRedEyeOnOff";
inline constexpr char resolution_height_dpi[] = "kMDItemResolutionHeightDPI";
inline constexpr char resolution_width_dpi[] = "kMDItemResolutionWidthDPI";
inline constexpr char security_method[] = "kMDItemSecurityMethod";
inline constexpr char speed[] = "kMDItemSpeed";
inline constexpr char timestamp[] = "kMDItemTimestamp";
inline constexpr char title[] = "kMDItemTitle";
inline constexpr char total_bit_rate[] = "kMDItemTotalBitRate";
inline constexpr char use_count[] = "kMDItemUseCount";
inline constexpr char used_dates[] = "kMDItemUsedDates";
inline constexpr char user_tags[] = "kMDItemUserTags";
inline constexpr char version[] = "kMDItemVersion";
inline constexpr char video_bit_rate[] = "kMDItemVideoBitRate";
inline constexpr char where_froms[] = "kMDItemWhereFroms";
inline constexpr char white_balance[] = "kMDItemWhiteBalance";

// Names the volume's index keeps for itself, never asked for by the host.
inline constexpr char internal_content_digest[] = "_kMDItemContentDigest";
inline constexpr char internal_file_name[] = "_kMDItemFileName";
inline constexpr char internal_text_content_index_exists[] = "_kMDItemTextContentIndexExists";
inline constexpr char internal_user_tags[] = "_kMDItemUserTags";

} // namespace spotlight_keys

#endif // SPOTLIGHT_KEYS_H
