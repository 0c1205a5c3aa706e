#include "spotlight_tables.h"

#include "spotlight_bytes.h"
#include "spotlight_keys.h"

bool SpotlightTables::add_property(quint32 number, SpotlightByteReader &entry)
{
    SpotlightProperty property;
    QByteArray name;
    if (!entry.read_u8(property.type) || !entry.read_u8(property.flags) || !entry.read_cstring(name))
        return false;
    property.name = QString::fromUtf8(name);
    property.is_file_name = name == spotlight_keys::internal_file_name;
    ++property_count_;
    if (number >= dense_limit) {
        sparse_properties_.insert(number, property);
        return true;
    }
    if (number >= dense_properties_.size()) {
        dense_properties_.resize(number + 1);
        dense_present_.resize(number + 1);
    }
    dense_properties_[number] = std::move(property);
    dense_present_[number] = 1;
    return true;
}

bool SpotlightTables::add_category(quint32 number, SpotlightByteReader &entry)
{
    QByteArray text;
    if (!entry.read_cstring(text))
        return false;
    categories_.insert(number, QString::fromUtf8(text));
    return true;
}

bool SpotlightTables::add_list(ListTable table, quint32 number, SpotlightByteReader &entry)
{
    quint64 size = 0;
    if (!entry.read_varint(size) || size > quint64(entry.remaining()))
        return false;
    // Lists of localized kinds carry one more byte before their numbers;
    // whatever does not make up a whole number leads the list and is passed over.
    if (!entry.skip(size % 4))
        return false;
    std::vector<quint32> numbers;
    numbers.reserve(size_t(size / 4));
    for (quint64 i = 0; i < size / 4; ++i) {
        quint32 category = 0;
        if (!entry.read_u32(category))
            return false;
        numbers.push_back(category);
    }
    lists_[index(table)].insert(number, std::move(numbers));
    return true;
}

const SpotlightProperty *SpotlightTables::sparse_property(quint32 number) const
{
    const auto found = sparse_properties_.constFind(number);
    return found == sparse_properties_.constEnd() ? nullptr : &found.value();
}

const QString *SpotlightTables::category(quint32 number) const
{
    const auto found = categories_.constFind(number);
    return found == categories_.constEnd() ? nullptr : &found.value();
}

const std::vector<quint32> *SpotlightTables::list(ListTable table, quint32 number) const
{
    const auto &lists = lists_[index(table)];
    const auto found = lists.constFind(number);
    return found == lists.constEnd() ? nullptr : &found.value();
}
