#include "property_list_memo.h"

#include "property_list_value.h"

MetadataValue PropertyListMemo::value(QByteArrayView bytes)
{
    if (bytes.size() > max_kept_size)
        return property_list_value(bytes);
    // Looked up without copying the bytes: raw data wraps them in place.
    const QByteArray key = QByteArray::fromRawData(bytes.data(), bytes.size());
    const auto found = values_.constFind(key);
    if (found != values_.constEnd())
        return *found;
    MetadataValue value = property_list_value(bytes);
    const size_t hash = qHash(bytes);
    if (!met_once_.contains(hash)) {
        if (met_once_.size() >= max_entries)
            met_once_.clear();
        met_once_.insert(hash);
        return value;
    }
    if (values_.size() >= max_entries)
        values_.clear();
    values_.insert(bytes.toByteArray(), value);
    return value;
}
