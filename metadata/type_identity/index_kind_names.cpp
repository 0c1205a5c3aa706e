#include "index_kind_names.h"

#include "spotlight_index/spotlight_volume_index.h"

IndexKindNames::IndexKindNames(SpotlightVolumeIndex &index, qsizetype max_items)
    : index_(index), max_items_(max_items)
{
}

QString IndexKindNames::kind_of(const QString &content_type)
{
    const auto known = kinds_.constFind(content_type);
    if (known != kinds_.constEnd())
        return *known;
    if (position_ >= max_items_ || position_ >= index_.item_count())
        return QString();

    bool found = false;
    qsizetype read = position_;
    position_ = index_.visit_items(position_, [&](const std::vector<SpotlightAttribute> &attributes) {
        QString type, kind;
        for (const SpotlightAttribute &attribute : attributes) {
            if (attribute.value.kind != MetadataValue::Kind::Text)
                continue;
            if (type.isNull() && attribute.name == QLatin1String("kMDItemContentType"))
                type = attribute.value.text;
            else if (kind.isNull() && attribute.name == QLatin1String("kMDItemKind"))
                kind = attribute.value.text;
        }
        // The first item of a type sets its kind: items of one type share it.
        if (!type.isEmpty() && !kind.isEmpty() && !kinds_.contains(type)) {
            kinds_.insert(type, kind);
            found = type == content_type;
        }
        return !found && ++read < max_items_;
    });
    return kinds_.value(content_type);
}
