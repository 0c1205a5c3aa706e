#ifndef FILE_METADATA_STORE_H
#define FILE_METADATA_STORE_H

#include "metadata_store.h"

class TypeIdentity;

// The metadata that the files of a mounted macOS volume carry themselves,
// for machines without Spotlight. A key's value comes from the file's
// "com.apple.metadata:" extended attribute of that name where it has one,
// else, for the keys that describe the file itself (name, path, size,
// dates, owner, tags, download origin), from the file system, and what the
// file is (type, kind, bundle and Finder facts) from its type identity.
// Symbolic links are looked at, never followed.
class FileMetadataStore : public MetadataStore
{
public:
    // Files are looked up as given; what a file is (type, kind, Finder
    // information) is read beneath volume_root.
    explicit FileMetadataStore(const QString &volume_root = QString());
    ~FileMetadataStore() override;

    // The supplier of type and Finder facts, for wiring its kind texts.
    TypeIdentity &type_identity() { return *type_identity_; }

    // The item of an object that exists at path; nullptr for a missing or
    // empty path or an object that cannot be looked up.
    std::unique_ptr<MetadataItem> create_item(const QString &path) override;

private:
    std::unique_ptr<TypeIdentity> type_identity_;
};

#endif // FILE_METADATA_STORE_H
