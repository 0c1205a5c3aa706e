#include "metadata_key.h"

#include "spotlight_keys.h"

#if !defined(__APPLE__)
#include "content/importable_keys.h"
#endif

#include <QHash>

namespace {

const QHash<QString, KnownKey> &known_keys()
{
    using namespace spotlight_keys;
    static const QHash<QString, KnownKey> keys = {
        {QLatin1String(fs_name), KnownKey::FsName},
        {QLatin1String(display_name), KnownKey::DisplayName},
        {QLatin1String(path), KnownKey::Path},
        {QLatin1String(fs_size), KnownKey::FsSize},
        {QLatin1String(fs_creation_date), KnownKey::FsCreationDate},
        {QLatin1String(content_creation_date), KnownKey::ContentCreationDate},
        {QLatin1String(fs_content_change_date), KnownKey::FsContentChangeDate},
        {QLatin1String(content_modification_date), KnownKey::ContentModificationDate},
        {QLatin1String(fs_owner_user_id), KnownKey::FsOwnerUserId},
        {QLatin1String(fs_owner_group_id), KnownKey::FsOwnerGroupId},
        {QLatin1String(last_used_date), KnownKey::LastUsedDate},
        {QLatin1String(user_tags), KnownKey::UserTags},
        {QLatin1String(where_froms), KnownKey::WhereFroms},
        {QLatin1String(content_type), KnownKey::ContentType},
        {QLatin1String(content_type_tree), KnownKey::ContentTypeTree},
        {QLatin1String(kind), KnownKey::Kind},
        {QLatin1String(cf_bundle_identifier), KnownKey::CfBundleIdentifier},
        {QLatin1String(version), KnownKey::Version},
        {QLatin1String(copyright), KnownKey::Copyright},
        {QLatin1String(executable_platform), KnownKey::ExecutablePlatform},
        {QLatin1String(executable_architectures), KnownKey::ExecutableArchitectures},
        {QLatin1String(fs_type_code), KnownKey::FsTypeCode},
        {QLatin1String(fs_creator_code), KnownKey::FsCreatorCode},
        {QLatin1String(fs_finder_flags), KnownKey::FsFinderFlags},
        {QLatin1String(fs_label), KnownKey::FsLabel},
        {QLatin1String(fs_invisible), KnownKey::FsInvisible},
        {QLatin1String(fs_is_extension_hidden), KnownKey::FsIsExtensionHidden},
        {QLatin1String(fs_has_custom_icon), KnownKey::FsHasCustomIcon},
        {QLatin1String(fs_is_stationery), KnownKey::FsIsStationery},
        {QLatin1String(date_added), KnownKey::DateAdded},
        {QLatin1String(fs_node_count), KnownKey::FsNodeCount},
        {QLatin1String(document_identifier), KnownKey::DocumentIdentifier},
        {QLatin1String(logical_size), KnownKey::LogicalSize},
        {QLatin1String(physical_size), KnownKey::PhysicalSize},
        {QLatin1String(fs_is_readable), KnownKey::FsIsReadable},
        {QLatin1String(fs_is_writeable), KnownKey::FsIsWriteable},
    };
    return keys;
}

} // namespace

MetadataKey::MetadataKey(const QString &name)
    : name_(name), attribute_name_(QByteArray(spotlight_keys::attribute_prefix) + name.toUtf8()),
      known_(known_keys().value(name, KnownKey::Other))
{
#if !defined(__APPLE__)
    importable_ = any_importer_gives(name);
#endif
}
