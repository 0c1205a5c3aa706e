#ifndef METADATA_STORE_H
#define METADATA_STORE_H

#include "metadata_key.h"
#include "metadata_value.h"

#include <QString>

#include <memory>

// The metadata of one file, alive while its attributes are read.
class MetadataItem
{
public:
    virtual ~MetadataItem() = default;

    // The item's value for one attribute key; a Null value when it has none.
    virtual MetadataValue copy_attribute(const QString &key) = 0;
    // The same for a key worked out once for a whole run, which a store
    // may answer without spelling the key out again for every file.
    virtual MetadataValue copy_attribute(const MetadataKey &key) { return copy_attribute(key.name()); }
};

// Where file metadata comes from: Spotlight on macOS, the files themselves
// (and the volume's own index) elsewhere.
class MetadataStore
{
public:
    virtual ~MetadataStore() = default;

    // The metadata item of a path, or nullptr when none can be made for it.
    virtual std::unique_ptr<MetadataItem> create_item(const QString &path) = 0;
};

// The store this platform's build uses for the files under volume_root.
std::unique_ptr<MetadataStore> create_platform_metadata_store(const QString &volume_root);

#endif // METADATA_STORE_H
