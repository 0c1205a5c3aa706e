#ifndef TYPE_IDENTITY_H
#define TYPE_IDENTITY_H

#include "content_type.h"
#include "evidence/evidence_volume.h"
#include "file_facts.h"
#include "finder_info.h"
#include "bundle_info.h"
#include "metadata_key.h"
#include "metadata_value.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class KindNames;

// What a file is, for files the volume's index does not describe: its
// content type, kind and conformance from its name, a bundle's identity
// from its Info.plist, the Finder's information from com.apple.FinderInfo
// and the file-system facts a Mac reports (node count, sizes, access).
// One per store; the volume's files are reached only through it.
class TypeIdentity
{
public:
    // volume must outlive this object.
    explicit TypeIdentity(const EvidenceVolume &volume);

    // Where kind texts come from before the type table; none by default.
    void set_kind_names(std::shared_ptr<KindNames> kind_names) { kind_names_ = std::move(kind_names); }

    const EvidenceVolume &volume() const { return volume_; }
    // The English kind of a content type: the volume's own text where it
    // has one, else the table's.
    QString kind_of(const ContentType &type) const;

    // The type of a file or folder that is no alias, by what its name says;
    // the answer for each extension a run meets is kept.
    const ContentType *type_of(const TypedObject &object) const;

private:
    struct KnownExtension
    {
        QString extension; // as the name spells it
        TypedObject::Form form;
        const ContentType *type;
    };

    const EvidenceVolume &volume_;
    std::shared_ptr<KindNames> kind_names_;
    mutable std::vector<KnownExtension> known_extensions_;
};

// The type and Finder facts of one file, each worked out once, when first
// asked for.
class TypeIdentityItem
{
public:
    using AttributeReader = std::function<std::optional<QByteArray>(QByteArrayView name)>;

    // path as given to the store, name its last component; facts and
    // read_macos_attribute (an attribute under any of its prefixes) belong
    // to the same object and must outlive this item.
    TypeIdentityItem(const TypeIdentity &identity, const QString &path, QString name, const FileFacts &facts,
                     AttributeReader read_macos_attribute);

    // The value of a key this supplier answers; nullopt for any other key
    // and for a display name the file's own name gives.
    std::optional<MetadataValue> value(KnownKey key) const;

private:
    enum class FinderState { Absent, Present, Malformed };

    bool is_folder() const;
    const ContentType *content_type() const;
    FinderState finder_state() const;
    const std::optional<BundleInfo> &bundle_info() const;

    std::optional<MetadataValue> display_name() const;
    // A Finder fact: what a plain file without Finder information shows,
    // no value for malformed information, else what read finds in it.
    MetadataValue finder_fact(MetadataValue plain_file,
                              const std::function<MetadataValue(const FinderInfo &)> &read) const;
    MetadataValue finder_flag(bool (FinderInfo::*flag)() const) const;
    // A Finder flag the Mac shows only when it is set: 1, else no value.
    MetadataValue set_finder_flag(bool (FinderInfo::*flag)() const) const;
    MetadataValue node_count() const;
    // The architectures named by the headers of a bundle's main executable.
    MetadataValue executable_architectures() const;

    const TypeIdentity &identity_;
    const QString path_;
    const QString name_;
    const FileFacts &facts_;
    const AttributeReader read_macos_attribute_;

    mutable bool typed_ = false;
    mutable const ContentType *type_ = nullptr;
    mutable std::optional<FinderState> finder_state_;
    mutable FinderInfo finder_info_;
    mutable std::optional<std::optional<BundleInfo>> bundle_;
    // The bundle's main executable beneath the root, once its Info.plist is read.
    mutable QByteArray executable_path_;
};

#endif // TYPE_IDENTITY_H
