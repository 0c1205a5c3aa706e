#include "extended_attributes.h"

#include <cstring>

ExtendedAttributes::ExtendedAttributes(const EvidenceObject *object)
    : object_(object)
{
    if (!object_)
        return;
    const std::optional<QByteArray> listed = object_->attribute_names();
    if (!listed)
        return;
    names = *listed;
    for (qsizetype at = 0; at < names.size();) {
        qsizetype end = names.indexOf('\0', at);
        if (end < 0)
            end = names.size();
        if (end > at)
            name_spans.emplace_back(at, end - at);
        at = end + 1;
    }
}

bool ExtendedAttributes::contains(QByteArrayView name) const
{
    if (name.isEmpty() || name.contains('\0'))
        return false;
    for (std::size_t i = 0; i < name_spans.size(); ++i) {
        if (name_at(i) == name)
            return true;
    }
    return false;
}

bool ExtendedAttributes::any_name_ends_with(QByteArrayView text) const
{
    // Asked for every key of every file: most names are settled by their
    // length or their last byte.
    if (text.isEmpty())
        return !name_spans.isEmpty();
    const char last = text.back();
    for (const auto &[start, size] : name_spans) {
        const char *end = names.constData() + start + size;
        if (size >= text.size() && end[-1] == last
            && std::memcmp(end - text.size(), text.data(), size_t(text.size())) == 0)
            return true;
    }
    return false;
}

std::optional<QByteArray> ExtendedAttributes::read(QByteArrayView name) const
{
    if (!contains(name))
        return std::nullopt;
    return object_->attribute(name);
}
