#ifndef FILE_METADATA_STORE_H
#define FILE_METADATA_STORE_H

#include "importers/file_content.h"
#include "metadata_store.h"

// The metadata that the files of a mounted macOS volume carry themselves,
// for machines without Spotlight. A key's value comes from the file's
// "com.apple.metadata:" extended attribute of that name where it has one,
// else, for the keys that describe the file itself (name, path, size,
// dates, owner, tags, download origin), from the file system. Symbolic
// links are looked at, never followed.
//
// Where a content source is given, what a regular file's content says
// stands between the two: below the file's own attribute, above what the
// file system says (a photo's capture time over its birth time).
class FileMetadataStore : public MetadataStore
{
public:
    explicit FileMetadataStore(std::unique_ptr<FileContentSource> content = nullptr);
    ~FileMetadataStore() override;

    // The item of an object that exists at path; nullptr for a missing or
    // empty path or an object that cannot be looked up.
    std::unique_ptr<MetadataItem> create_item(const QString &path) override;

private:
    std::unique_ptr<FileContentSource> content_;
};

#endif // FILE_METADATA_STORE_H
