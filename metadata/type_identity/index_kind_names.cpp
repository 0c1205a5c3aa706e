#include "index_kind_names.h"

#include "spotlight_index/spotlight_volume_index.h"
#include "spotlight_keys.h"

IndexKindNames::IndexKindNames(SpotlightVolumeIndex &index, qsizetype max_items)
    : index_(index), max_items_(max_items)
{
}

QString IndexKindNames::kind_of(const QString &content_type)
{
    const auto known = kinds_.constFind(content_type);
    if (known != kinds_.constEnd())
        return *known;
    if (ended_ || position_ >= max_items_)
        return QString();

    bool found = false;
    bool stopped = false;
    qsizetype read = position_;
    position_ = index_.visit_items(position_, [&](const std::optional<SpotlightItemRecord> &record) {
        if (record) {
            const MetadataValue type = record->value(QLatin1String(spotlight_keys::content_type));
            // The first item of a type sets its kind: items of one type share it.
            if (type.kind == MetadataValue::Kind::Text && !type.text.isEmpty() && !kinds_.contains(type.text)) {
                const MetadataValue kind = record->value(QLatin1String(spotlight_keys::kind));
                if (kind.kind == MetadataValue::Kind::Text && !kind.text.isEmpty()) {
                    kinds_.insert(type.text, kind.text);
                    found = type.text == content_type;
                }
            }
        }
        stopped = found || ++read >= max_items_;
        return !stopped;
    });
    if (!stopped)
        ended_ = true;
    return kinds_.value(content_type);
}
