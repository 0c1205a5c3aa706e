#include "file_metadata_store.h"

#include "extended_attributes.h"
#include "file_facts.h"
#include "evidence/host_folder_volume.h"
#include "property_list_memo.h"
#include "content/file_content.h"
#include "type_identity/type_identity.h"
#include "spotlight_keys.h"

#include <QVarLengthArray>
#include <QtEndian>

#include <cstdint>
#include <cstring>
#include <iterator>

namespace {

// Copies of a volume's files keep their macOS attributes under one of these
// prefixes, depending on the tool that copied them and the file system.
constexpr const char *macos_attribute_prefixes[] = {"user.", "osx.", ""};

// The name a path gives its object: its last component, "/" for the root.
QString last_component(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == QLatin1Char('/'))
        --end;
    if (end == 1 && path.at(0) == QLatin1Char('/'))
        return QStringLiteral("/");
    const qsizetype start = path.lastIndexOf(QLatin1Char('/'), end - 1) + 1;
    return start == 0 && end == path.size() ? path : path.mid(start, end - start);
}

class FileMetadataItem : public MetadataItem
{
public:
    FileMetadataItem(const TypeIdentity &type_identity, PropertyListMemo &property_lists, QString path,
                     std::unique_ptr<EvidenceObject> object, std::unique_ptr<FileContent> content)
        : property_lists(property_lists), path(std::move(path)), object(std::move(object)),
          facts(this->object->facts()), attributes(this->object.get()), content(std::move(content)),
          name_(last_component(this->path)),
          identity(type_identity, this->path, name_, this->facts,
                   [this](QByteArrayView name) { return read_macos_attribute(name); })
    {
    }

    MetadataValue copy_attribute(const QString &key) override { return copy_attribute(MetadataKey(key)); }
    MetadataValue copy_attribute(const MetadataKey &key) override;

private:
    std::optional<QByteArray> read_macos_attribute(QByteArrayView name) const;
    // The item's value from the file system for a key it answers.
    MetadataValue derived_value(const MetadataKey &key) const;

    MetadataValue name() const;
    MetadataValue full_path() const;
    MetadataValue size() const;
    MetadataValue creation_date() const;
    MetadataValue modification_date() const;
    MetadataValue owner_user_id() const;
    MetadataValue owner_group_id() const;
    MetadataValue last_used_date() const;
    MetadataValue user_tags() const;
    MetadataValue where_froms() const;

    PropertyListMemo &property_lists;
    const QString path;
    // The object looked at; the attributes and content read through it.
    const std::unique_ptr<EvidenceObject> object;
    const FileFacts &facts;
    const ExtendedAttributes attributes;
    const std::unique_ptr<FileContent> content;
    const QString name_;
    // What the file is: type, kind, Finder information.
    const TypeIdentityItem identity;
};

MetadataValue FileMetadataItem::copy_attribute(const MetadataKey &key)
{
    if (const std::optional<QByteArray> stored = read_macos_attribute(key.attribute_name()))
        return property_lists.value(*stored);
    if (content && key.importable()) {
        MetadataValue imported = content->value(key.name());
        if (imported.kind != MetadataValue::Kind::Null)
            return imported;
    }
    return derived_value(key);
}

std::optional<QByteArray> FileMetadataItem::read_macos_attribute(QByteArrayView name) const
{
    // Most keys of most files have no attribute: one look at the listed
    // names settles that without spelling out each prefix.
    if (!attributes.any_name_ends_with(name))
        return std::nullopt;
    // Each prefixed spelling on the stack: a few are tried for every file.
    QVarLengthArray<char, 128> full_name;
    for (const char *prefix : macos_attribute_prefixes) {
        full_name.clear();
        full_name.append(prefix, qsizetype(std::strlen(prefix)));
        full_name.append(name.data(), name.size());
        if (std::optional<QByteArray> content = attributes.read(QByteArrayView(full_name.data(), full_name.size())))
            return content;
    }
    return std::nullopt;
}

MetadataValue FileMetadataItem::derived_value(const MetadataKey &key) const
{
    if (key.known() == KnownKey::Other)
        return MetadataValue::null_value();
    if (std::optional<MetadataValue> identified = identity.value(key.known()))
        return *identified;
    switch (key.known()) {
    case KnownKey::FsName:
    case KnownKey::DisplayName:
        return name();
    case KnownKey::Path:
        return full_path();
    case KnownKey::FsSize:
        return size();
    case KnownKey::FsCreationDate:
    case KnownKey::ContentCreationDate:
        return creation_date();
    case KnownKey::FsContentChangeDate:
    case KnownKey::ContentModificationDate:
        return modification_date();
    case KnownKey::FsOwnerUserId:
        return owner_user_id();
    case KnownKey::FsOwnerGroupId:
        return owner_group_id();
    case KnownKey::LastUsedDate:
        return last_used_date();
    case KnownKey::UserTags:
        return user_tags();
    case KnownKey::WhereFroms:
        return where_froms();
    default:
        return MetadataValue::null_value();
    }
}

MetadataValue FileMetadataItem::name() const
{
    return MetadataValue::from_text(name_);
}

MetadataValue FileMetadataItem::full_path() const
{
    return MetadataValue::from_text(path);
}

MetadataValue FileMetadataItem::size() const
{
    // Folders, links and devices have no content size.
    if (!facts.is_regular_file || !facts.size)
        return MetadataValue::null_value();
    return MetadataValue::from_number(double(*facts.size));
}

MetadataValue FileMetadataItem::creation_date() const
{
    return facts.birth_time ? MetadataValue::from_date(*facts.birth_time)
                            : MetadataValue::null_value();
}

MetadataValue FileMetadataItem::modification_date() const
{
    return facts.modification_time ? MetadataValue::from_date(*facts.modification_time)
                                   : MetadataValue::null_value();
}

MetadataValue FileMetadataItem::owner_user_id() const
{
    return facts.owner_user_id ? MetadataValue::from_number(*facts.owner_user_id)
                               : MetadataValue::null_value();
}

MetadataValue FileMetadataItem::owner_group_id() const
{
    return facts.owner_group_id ? MetadataValue::from_number(*facts.owner_group_id)
                                : MetadataValue::null_value();
}

MetadataValue FileMetadataItem::last_used_date() const
{
    // macOS records the last opening as two 64-bit numbers: whole
    // seconds, then nanoseconds, both little-endian.
    const std::optional<QByteArray> stored = read_macos_attribute("com.apple.lastuseddate#PS");
    if (!stored)
        return MetadataValue::null_value();
    if (stored->size() != 16)
        return MetadataValue::other();
    const double seconds = double(qFromLittleEndian<qint64>(stored->constData()));
    const double nanoseconds = double(qFromLittleEndian<qint64>(stored->constData() + 8));
    return MetadataValue::from_date(seconds + nanoseconds / 1e9);
}

MetadataValue FileMetadataItem::user_tags() const
{
    // The Finder keeps each tag as its name, a line break and its colour's
    // number; the colour is no part of the tag an examiner sees.
    const auto without_colour = [](MetadataValue value) {
        QString &text = value.text;
        if (value.kind == MetadataValue::Kind::Text && text.size() >= 2
            && text.at(text.size() - 2) == QLatin1Char('\n')
            && text.back() >= QLatin1Char('0') && text.back() <= QLatin1Char('9'))
            text.chop(2);
        return value;
    };
    static const QByteArray finder_name =
        QByteArray(spotlight_keys::attribute_prefix) + spotlight_keys::internal_user_tags;
    if (const std::optional<QByteArray> stored = read_macos_attribute(finder_name)) {
        MetadataValue tags = without_colour(property_lists.value(*stored));
        for (MetadataValue &tag : tags.items)
            tag = without_colour(std::move(tag));
        return tags;
    }
    // Desktops that follow the freedesktop conventions keep a comma list.
    const std::optional<QByteArray> listed = attributes.read("user.xdg.tags");
    if (!listed)
        return MetadataValue::null_value();
    std::vector<MetadataValue> tags;
    const QStringList names = QString::fromUtf8(*listed).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &tag : names)
        tags.push_back(MetadataValue::from_text(tag));
    return MetadataValue::from_array(std::move(tags));
}

MetadataValue FileMetadataItem::where_froms() const
{
    // Browsers on freedesktop systems record where a download came from.
    std::vector<MetadataValue> origins;
    for (const char *name : {"user.xdg.origin.url", "user.xdg.referrer.url"}) {
        if (const std::optional<QByteArray> url = attributes.read(name))
            origins.push_back(MetadataValue::from_text(QString::fromUtf8(*url)));
    }
    if (origins.empty())
        return MetadataValue::null_value();
    return MetadataValue::from_array(std::move(origins));
}

} // namespace

FileMetadataStore::FileMetadataStore(const QString &volume_root, std::unique_ptr<FileContentSource> content)
    : FileMetadataStore(std::make_shared<HostFolderVolume>(volume_root), std::move(content))
{
}

FileMetadataStore::FileMetadataStore(std::shared_ptr<const EvidenceVolume> volume,
                                     std::unique_ptr<FileContentSource> content)
    : volume_(std::move(volume)), content_(std::move(content)), type_identity_(std::make_unique<TypeIdentity>(*volume_)),
      property_lists_(std::make_unique<PropertyListMemo>())
{
}

FileMetadataStore::~FileMetadataStore() = default;

std::unique_ptr<MetadataItem> FileMetadataStore::create_item(const QString &path)
{
    // A path with a zero byte would be read only up to it: a different file.
    const std::optional<QByteArray> relative = volume_->relative_path(path);
    if (path.isEmpty() || !relative)
        return nullptr;
    // Attributes are read from regular files and folders only; a link's row
    // describes the link, and pipes, sockets and devices are never opened.
    std::unique_ptr<EvidenceObject> object = volume_->open(*relative);
    if (!object)
        return nullptr;
    // Name and path (and so the type) are those of the object looked at, so
    // that a row never joins one object's name to another's facts.
    const std::optional<QByteArray> lies_at = object->location();
    const QString looked_path =
        !lies_at || volume_->is_full_path_of(path, *lies_at) ? path : volume_->full_path(*lies_at);
    // Content is read only where reading moves no access time.
    const int content_descriptor = object->content_descriptor();
    std::unique_ptr<FileContent> content =
        content_ && content_descriptor >= 0 ? content_->content_of(looked_path, content_descriptor) : nullptr;
    return std::make_unique<FileMetadataItem>(*type_identity_, *property_lists_, looked_path, std::move(object),
                                              std::move(content));
}
