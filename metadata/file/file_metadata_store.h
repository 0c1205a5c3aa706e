#ifndef FILE_METADATA_STORE_H
#define FILE_METADATA_STORE_H

#include "evidence/evidence_volume.h"
#include "content/file_content.h"
#include "metadata_store.h"

class PropertyListMemo;
class TypeIdentity;

// The metadata that the files of a mounted macOS volume carry themselves,
// for machines without Spotlight. A key's value comes from the file's
// "com.apple.metadata:" extended attribute of that name where it has one,
// else, for the keys that describe the file itself (name, path, size,
// dates, owner, tags, download origin), from the file system, and what the
// file is (type, kind, bundle and Finder facts) from its type identity.
// Every file is reached beneath the volume root; the last component of a
// path is looked at, never followed.
//
// Where a content source is given, what a regular file's content says
// stands between the two: below the file's own attribute, above what the
// file system says (a photo's capture time over its birth time).
class FileMetadataStore : public MetadataStore
{
public:
    // The files beneath volume_root ("" is the machine's own root), their
    // content read through content where one is given.
    explicit FileMetadataStore(const QString &volume_root = QString(),
                               std::unique_ptr<FileContentSource> content = nullptr);
    // The files of volume, shared with the run's other suppliers.
    explicit FileMetadataStore(std::shared_ptr<const EvidenceVolume> volume,
                               std::unique_ptr<FileContentSource> content = nullptr);
    ~FileMetadataStore() override;

    // The supplier of type and Finder facts, for wiring its kind texts.
    TypeIdentity &type_identity() { return *type_identity_; }

    // The item of an object that exists at path beneath the root; nullptr
    // for a missing or empty path, a path outside the root or an object
    // that cannot be looked up.
    std::unique_ptr<MetadataItem> create_item(const QString &path) override;

private:
    std::shared_ptr<const EvidenceVolume> volume_;
    std::unique_ptr<FileContentSource> content_;
    std::unique_ptr<TypeIdentity> type_identity_;
    std::unique_ptr<PropertyListMemo> property_lists_;
};

#endif // FILE_METADATA_STORE_H
