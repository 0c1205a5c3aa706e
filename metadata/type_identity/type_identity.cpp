#include "type_identity.h"

#include "executable_architectures.h"
#include "kind_names.h"
#include "spotlight_keys.h"

#include <QFile>

#include <sys/stat.h>

namespace {

// A folder with more entries than this is left without a count rather
// than listed on and on (a damaged or hostile file system).
constexpr qint64 max_listed_entries = qint64(1) << 22;

struct InfoPlistPlace
{
    const char *info_plist;
    const char *executables; // the folder of the main executable, beside it
};

// Where a bundle keeps its Info.plist and its main executable.
const InfoPlistPlace info_plist_places[] = {
    // Applications and most bundles: both in Contents/.
    {"Contents/Info.plist", "Contents/MacOS/"},
    // Frameworks: the list in Resources/, the executable at the top.
    {"Resources/Info.plist", ""},
    // Flat bundles (iPhone and iPad applications): both at the top.
    {"Info.plist", ""},
};

// Platforms declared by an Info.plist key, named as the Mac lists them.
const char iphone_os_platform[] = "LSRequiresIPhoneOS";

MetadataValue yes_no(bool value)
{
    return MetadataValue::from_number(value ? 1 : 0);
}

MetadataValue text_or_null(const QString &text)
{
    return text.isNull() ? MetadataValue::null_value() : MetadataValue::from_text(text);
}

} // namespace

TypeIdentity::TypeIdentity(const EvidenceVolume &volume)
    : volume_(volume)
{
}

const ContentType *TypeIdentity::type_of(const TypedObject &object) const
{
    // Names sharing an extension share a type, unless the Finder calls one
    // an alias or it has no extension at all.
    constexpr std::size_t max_kept = 256;
    const qsizetype dot = object.name.lastIndexOf(QLatin1Char('.'));
    const bool by_extension = !object.finder_alias && dot > 0 && dot < object.name.size() - 1
        && (object.form == TypedObject::Form::RegularFile || object.form == TypedObject::Form::Folder);
    if (!by_extension)
        return content_type_of(object);
    const QStringView extension = QStringView(object.name).sliced(dot + 1);
    for (const KnownExtension &known : known_extensions_) {
        if (known.form == object.form && known.extension == extension)
            return known.type;
    }
    const ContentType *type = content_type_of(object);
    if (known_extensions_.size() < max_kept)
        known_extensions_.push_back({extension.toString(), object.form, type});
    return type;
}

QString TypeIdentity::kind_of(const ContentType &type) const
{
    if (kind_names_) {
        const QString indexed = kind_names_->kind_of(type.identifier);
        if (!indexed.isEmpty())
            return indexed;
    }
    return type.kind;
}

TypeIdentityItem::TypeIdentityItem(const TypeIdentity &identity, const QString &path, QString name,
                                   const FileFacts &facts, AttributeReader read_macos_attribute)
    : identity_(identity), path_(path), name_(std::move(name)), facts_(facts),
      read_macos_attribute_(std::move(read_macos_attribute))
{
}

bool TypeIdentityItem::is_folder() const
{
    return facts_.mode && S_ISDIR(*facts_.mode);
}

const ContentType *TypeIdentityItem::content_type() const
{
    if (typed_)
        return type_;
    typed_ = true;
    if (!facts_.mode)
        return type_;
    TypedObject object;
    object.name = name_;
    const std::uint32_t mode = *facts_.mode;
    object.form = S_ISREG(mode)   ? TypedObject::Form::RegularFile
                  : S_ISDIR(mode) ? TypedObject::Form::Folder
                  : S_ISLNK(mode) ? TypedObject::Form::SymbolicLink
                                  : TypedObject::Form::Other;
    object.executable = mode & (S_IXUSR | S_IXGRP | S_IXOTH);
    object.finder_alias = finder_state() == FinderState::Present && finder_info_.is_alias();
    type_ = identity_.type_of(object);
    return type_;
}

TypeIdentityItem::FinderState TypeIdentityItem::finder_state() const
{
    if (finder_state_)
        return *finder_state_;
    const std::optional<QByteArray> bytes = read_macos_attribute_("com.apple.FinderInfo");
    if (!bytes) {
        finder_state_ = FinderState::Absent;
    } else if (const std::optional<FinderInfo> parsed = parse_finder_info(*bytes, is_folder())) {
        finder_info_ = *parsed;
        finder_state_ = FinderState::Present;
    } else {
        finder_state_ = FinderState::Malformed;
    }
    return *finder_state_;
}

const std::optional<BundleInfo> &TypeIdentityItem::bundle_info() const
{
    if (bundle_)
        return *bundle_;
    bundle_.emplace();
    const ContentType *type = content_type();
    if (!type || !is_folder() || !type->tree.contains(QLatin1String("com.apple.bundle")))
        return *bundle_;
    const std::optional<QByteArray> relative = identity_.volume().relative_path(path_);
    if (!relative)
        return *bundle_;
    QByteArray bundle = *relative;
    while (bundle.endsWith('/'))
        bundle.chop(1);
    const QByteArray prefix = bundle.isEmpty() ? QByteArray() : bundle + '/';
    for (const InfoPlistPlace &place : info_plist_places) {
        // Never through a link: a bundle's parts can point anywhere.
        const std::optional<QByteArray> bytes = identity_.volume().read_small_file(
            prefix + place.info_plist, BundleInfo::max_size, EvidenceVolume::Links::Refused);
        if (!bytes)
            continue;
        *bundle_ = parse_bundle_info(*bytes);
        const QString &executable = *bundle_ ? (*bundle_)->executable : QString();
        // The executable is a name beside the list, never a path elsewhere.
        if (!executable.isEmpty() && !executable.contains(QLatin1Char('/')) && executable != QLatin1String(".")
            && executable != QLatin1String(".."))
            executable_path_ = prefix + place.executables + QFile::encodeName(executable);
        break;
    }
    return *bundle_;
}

MetadataValue TypeIdentityItem::executable_architectures() const
{
    if (!bundle_info() || executable_path_.isEmpty())
        return MetadataValue::null_value();
    // Only the first bytes: the headers, never the code.
    const std::unique_ptr<EvidenceObject> executable =
        identity_.volume().open_regular_file(executable_path_, EvidenceVolume::Links::Refused);
    const QStringList names = executable
        ? ExecutableArchitectures::of(executable->read_at(0, ExecutableArchitectures::header_size))
        : QStringList();
    if (names.isEmpty())
        return MetadataValue::null_value();
    std::vector<MetadataValue> items;
    for (const QString &name : names)
        items.push_back(MetadataValue::from_text(name));
    return MetadataValue::from_array(std::move(items));
}

std::optional<MetadataValue> TypeIdentityItem::value(KnownKey key) const
{
    const bool regular = facts_.mode && S_ISREG(*facts_.mode);
    switch (key) {
    case KnownKey::ContentType: {
        const ContentType *type = content_type();
        return type ? MetadataValue::from_text(type->identifier) : MetadataValue::null_value();
    }
    case KnownKey::ContentTypeTree: {
        const ContentType *type = content_type();
        if (!type)
            return MetadataValue::null_value();
        std::vector<MetadataValue> tree;
        for (const QString &identifier : type->tree)
            tree.push_back(MetadataValue::from_text(identifier));
        return MetadataValue::from_array(std::move(tree));
    }
    case KnownKey::Kind: {
        const ContentType *type = content_type();
        return type ? MetadataValue::from_text(identity_.kind_of(*type)) : MetadataValue::null_value();
    }
    case KnownKey::DisplayName:
        return display_name();
    case KnownKey::CfBundleIdentifier:
        return bundle_info() ? text_or_null(bundle_info()->identifier) : MetadataValue::null_value();
    case KnownKey::Version:
        return bundle_info() ? text_or_null(bundle_info()->short_version) : MetadataValue::null_value();
    case KnownKey::Copyright:
        return bundle_info() ? text_or_null(bundle_info()->copyright) : MetadataValue::null_value();
    case KnownKey::ExecutablePlatform:
        return bundle_info() && bundle_info()->requires_iphone_os ? MetadataValue::from_text(QLatin1String(iphone_os_platform))
                                                                  : MetadataValue::null_value();
    case KnownKey::ExecutableArchitectures:
        return executable_architectures();
    case KnownKey::FsTypeCode:
    case KnownKey::FsCreatorCode: {
        const bool type_code = key == KnownKey::FsTypeCode;
        return finder_fact(MetadataValue::from_text(QStringLiteral("")), [type_code](const FinderInfo &info) {
            return MetadataValue::from_text(type_code ? info.type_code : info.creator_code);
        });
    }
    case KnownKey::FsFinderFlags:
        return finder_fact(MetadataValue::from_number(0),
                           [](const FinderInfo &info) { return MetadataValue::from_number(info.flags); });
    case KnownKey::FsLabel:
        return finder_fact(MetadataValue::from_number(0),
                           [](const FinderInfo &info) { return MetadataValue::from_number(info.label()); });
    case KnownKey::FsInvisible:
        // A name starting with a dot hides a file whatever the Finder says.
        if (name_.startsWith(QLatin1Char('.')))
            return yes_no(true);
        return finder_flag(&FinderInfo::is_invisible);
    case KnownKey::FsIsExtensionHidden:
        return finder_flag(&FinderInfo::is_extension_hidden);
    // Shown only when set: a clear flag is no value at all, as mdls lists it.
    case KnownKey::FsHasCustomIcon:
        return set_finder_flag(&FinderInfo::has_custom_icon);
    case KnownKey::FsIsStationery:
        return set_finder_flag(&FinderInfo::is_stationery);
    case KnownKey::DateAdded:
        // A volume read from its image records it beside the object itself.
        if (facts_.added_time)
            return MetadataValue::from_date(*facts_.added_time);
        if (finder_state() != FinderState::Present || finder_info_.date_added == 0)
            return MetadataValue::null_value();
        return MetadataValue::from_date(double(finder_info_.date_added));
    case KnownKey::FsNodeCount:
        return node_count();
    // The identifier the Mac gives a document that an application asked to
    // track across saves; a mounted volume shows none, which the Mac lists
    // as 0 for a file.
    case KnownKey::DocumentIdentifier:
        return regular ? MetadataValue::from_number(0) : MetadataValue::null_value();
    case KnownKey::LogicalSize:
        return regular && facts_.size ? MetadataValue::from_number(double(*facts_.size))
                                      : MetadataValue::null_value();
    case KnownKey::PhysicalSize:
        return regular && facts_.allocated_blocks ? MetadataValue::from_number(double(*facts_.allocated_blocks) * 512)
                                                  : MetadataValue::null_value();
    // Access as the file's owner has it, which is how the examined Mac's
    // user saw their own files.
    case KnownKey::FsIsReadable:
        return facts_.mode ? yes_no(*facts_.mode & S_IRUSR) : MetadataValue::null_value();
    case KnownKey::FsIsWriteable:
        return facts_.mode ? yes_no(*facts_.mode & S_IWUSR) : MetadataValue::null_value();
    default:
        return std::nullopt;
    }
}

std::optional<MetadataValue> TypeIdentityItem::display_name() const
{
    const ContentType *type = content_type();
    if (type && type->identifier == QLatin1String("com.apple.application-bundle")) {
        // Applications show their own name, never their extension.
        if (const std::optional<BundleInfo> &bundle = bundle_info()) {
            if (!bundle->display_name.isEmpty())
                return MetadataValue::from_text(bundle->display_name);
            if (!bundle->name.isEmpty())
                return MetadataValue::from_text(bundle->name);
        }
        return MetadataValue::from_text(name_.left(name_.size() - 4));
    }
    // The name without its extension, where it has one ("a.txt", not ".profile" or "a.").
    const qsizetype dot = name_.lastIndexOf(QLatin1Char('.'));
    if (dot > 0 && dot < name_.size() - 1 && finder_state() == FinderState::Present
        && finder_info_.is_extension_hidden())
        return MetadataValue::from_text(name_.left(dot));
    return std::nullopt;
}

MetadataValue TypeIdentityItem::finder_fact(MetadataValue plain_file,
                                            const std::function<MetadataValue(const FinderInfo &)> &read) const
{
    switch (finder_state()) {
    case FinderState::Absent:
        return plain_file;
    case FinderState::Malformed:
        return MetadataValue::null_value();
    case FinderState::Present:
        break;
    }
    return read(finder_info_);
}

MetadataValue TypeIdentityItem::finder_flag(bool (FinderInfo::*flag)() const) const
{
    return finder_fact(yes_no(false), [flag](const FinderInfo &info) { return yes_no((info.*flag)()); });
}

MetadataValue TypeIdentityItem::set_finder_flag(bool (FinderInfo::*flag)() const) const
{
    return finder_fact(MetadataValue::null_value(), [flag](const FinderInfo &info) {
        return (info.*flag)() ? yes_no(true) : MetadataValue::null_value();
    });
}

MetadataValue TypeIdentityItem::node_count() const
{
    if (!is_folder())
        return MetadataValue::null_value();
    const std::optional<QByteArray> relative = identity_.volume().relative_path(path_);
    if (!relative)
        return MetadataValue::null_value();
    const std::unique_ptr<EvidenceObject> folder = identity_.volume().open_directory(*relative);
    const std::optional<qint64> entries = folder ? folder->entry_count(max_listed_entries) : std::nullopt;
    if (!entries)
        return MetadataValue::null_value();
    return MetadataValue::from_number(double(*entries));
}
