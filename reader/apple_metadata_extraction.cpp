#include "vantrel.h"

#include "metadata_store.h"
#include "metadata_value_text.h"

void vantrel::fill_apple_metadata_from_api(QString file_path, QList<QString> keys, QString caller)
{
    Q_UNUSED(caller);

    extracted_keys_list.clear();
    extracted_values_list.clear();

    // Made on first use, once per run: the volume's own index, where there
    // is one, is opened when the store is made.
    if (!metadata_store)
        metadata_store = create_platform_metadata_store(virtual_source_path);

    const std::unique_ptr<MetadataItem> item = metadata_store->create_item(file_path);
    if (!item) {
        set_blank_apple_metadata(keys);
        return;
    }

    // A run asks every file for the same keys.
    if (resolved_key_names != keys) {
        resolved_key_names = keys;
        resolved_keys.clear();
        for (const QString &key : qAsConst(keys))
            resolved_keys.emplace_back(key);
    }
    extracted_keys_list = keys;
    for (const MetadataKey &key : resolved_keys)
        extracted_values_list.append(metadata_value_text(item->copy_attribute(key)));
}

void vantrel::set_blank_apple_metadata(QList<QString> keys)
{
    extracted_keys_list.clear();
    extracted_values_list.clear();
    for (const QString &key : qAsConst(keys)) {
        extracted_keys_list.append(key);
        extracted_values_list.append(QLatin1String(""));
    }
}
