#include "file_metadata_store.h"

#include "extended_attributes.h"
#include "file_facts.h"
#include "evidence/host_folder_volume.h"
#include "property_list_value.h"
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

constexpr QByteArrayView metadata_prefix = "com.apple.metadata:";

class FileMetadataItem : public MetadataItem
{
public:
    FileMetadataItem(const TypeIdentity &type_identity, QString path, std::unique_ptr<EvidenceObject> object,
                     std::unique_ptr<FileContent> content)
        : path(std::move(path)), object(std::move(object)), facts(this->object->facts()), attributes(this->object.get()),
          content(std::move(content)),
          identity(type_identity, this->path, name().text, this->facts,
                   [this](QByteArrayView name) { return read_macos_attribute(name); })
    {
    }

    MetadataValue copy_attribute(const QString &key) override;

private:
    using Derivation = MetadataValue (FileMetadataItem::*)() const;
    struct DerivedKey
    {
        const char *key;
        Derivation derive;
    };
    static const DerivedKey derived_keys[];

    std::optional<QByteArray> read_macos_attribute(QByteArrayView name) const;
    // The item's value from the file system for one of derived_keys.
    MetadataValue derived_value(const QString &key) const;

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

    const QString path;
    // The object looked at; the attributes and content read through it.
    const std::unique_ptr<EvidenceObject> object;
    const FileFacts &facts;
    const ExtendedAttributes attributes;
    const std::unique_ptr<FileContent> content;
    // What the file is: type, kind, Finder information.
    const TypeIdentityItem identity;
};

const FileMetadataItem::DerivedKey FileMetadataItem::derived_keys[] = {
    {spotlight_keys::fs_name, &FileMetadataItem::name},
    {spotlight_keys::display_name, &FileMetadataItem::name},
    {spotlight_keys::path, &FileMetadataItem::full_path},
    {spotlight_keys::fs_size, &FileMetadataItem::size},
    {spotlight_keys::fs_creation_date, &FileMetadataItem::creation_date},
    {spotlight_keys::content_creation_date, &FileMetadataItem::creation_date},
    {spotlight_keys::fs_content_change_date, &FileMetadataItem::modification_date},
    {spotlight_keys::content_modification_date, &FileMetadataItem::modification_date},
    {spotlight_keys::fs_owner_user_id, &FileMetadataItem::owner_user_id},
    {spotlight_keys::fs_owner_group_id, &FileMetadataItem::owner_group_id},
    {spotlight_keys::last_used_date, &FileMetadataItem::last_used_date},
    {spotlight_keys::user_tags, &FileMetadataItem::user_tags},
    {spotlight_keys::where_froms, &FileMetadataItem::where_froms},
};

MetadataValue FileMetadataItem::copy_attribute(const QString &key)
{
    // Every key of every file comes through here: the name is spelt out on
    // the stack, not in fresh arrays.
    QVarLengthArray<char, 128> name(metadata_prefix.size() + key.size());
    std::memcpy(name.data(), metadata_prefix.data(), size_t(metadata_prefix.size()));
    char *spelt = name.data() + metadata_prefix.size();
    for (const QChar c : key) {
        if (c.unicode() >= 0x80) {
            const QByteArray encoded = key.toUtf8();
            name.resize(metadata_prefix.size());
            name.append(encoded.constData(), encoded.size());
            break;
        }
        *spelt++ = char(c.unicode());
    }
    if (const std::optional<QByteArray> stored = read_macos_attribute(QByteArrayView(name.constData(), name.size())))
        return property_list_value(*stored);
    if (content) {
        MetadataValue imported = content->value(key);
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
    for (const char *prefix : macos_attribute_prefixes) {
        QByteArray full_name(prefix);
        full_name += name;
        if (std::optional<QByteArray> content = attributes.read(full_name))
            return content;
    }
    return std::nullopt;
}

MetadataValue FileMetadataItem::derived_value(const QString &key) const
{
    if (std::optional<MetadataValue> identified = identity.value(key))
        return *identified;
    for (const DerivedKey &derived : derived_keys) {
        if (key == QLatin1String(derived.key))
            return (this->*derived.derive)();
    }
    return MetadataValue::null_value();
}

MetadataValue FileMetadataItem::name() const
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    if (trimmed == QLatin1String("/"))
        return MetadataValue::from_text(trimmed);
    return MetadataValue::from_text(trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1));
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
    QByteArray finder_name = metadata_prefix.toByteArray();
    finder_name += spotlight_keys::internal_user_tags;
    if (const std::optional<QByteArray> stored = read_macos_attribute(finder_name)) {
        MetadataValue tags = without_colour(property_list_value(*stored));
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
    : volume_(std::move(volume)), content_(std::move(content)), type_identity_(std::make_unique<TypeIdentity>(*volume_))
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
    const QString looked_path = lies_at ? volume_->full_path(*lies_at) : path;
    // Content is read only where reading moves no access time.
    const int content_descriptor = object->content_descriptor();
    std::unique_ptr<FileContent> content =
        content_ && content_descriptor >= 0 ? content_->content_of(looked_path, content_descriptor) : nullptr;
    return std::make_unique<FileMetadataItem>(*type_identity_, looked_path, std::move(object), std::move(content));
}
