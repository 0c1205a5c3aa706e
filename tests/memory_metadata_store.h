#ifndef MEMORY_METADATA_STORE_H
#define MEMORY_METADATA_STORE_H

#include "metadata_store.h"

#include <QHash>
#include <QString>

// A metadata store that serves values a test recorded: a path has an item
// when the test gave it attributes (even none), and a key it did not give
// has no value. It counts the items made and the values copied.
class MemoryMetadataStore : public MetadataStore
{
public:
    using Attributes = QHash<QString, MetadataValue>;
    struct Counts
    {
        int items_made = 0;
        int values_copied = 0;
    };

    MemoryMetadataStore(QHash<QString, Attributes> files, Counts *counts = nullptr)
        : files(std::move(files)), counts(counts ? counts : &own_counts) {}

    std::unique_ptr<MetadataItem> create_item(const QString &path) override
    {
        const auto file = files.constFind(path);
        if (file == files.constEnd())
            return nullptr;
        ++counts->items_made;
        return std::make_unique<Item>(*file, counts);
    }

private:
    struct Item : MetadataItem
    {
        Item(Attributes attributes, Counts *counts) : attributes(std::move(attributes)), counts(counts) {}
        MetadataValue copy_attribute(const QString &key) override
        {
            ++counts->values_copied;
            return attributes.value(key);
        }

        const Attributes attributes;
        Counts *const counts;
    };

    const QHash<QString, Attributes> files;
    Counts own_counts;
    Counts *const counts;
};

#endif // MEMORY_METADATA_STORE_H
