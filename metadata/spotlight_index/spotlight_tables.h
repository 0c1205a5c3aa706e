#ifndef SPOTLIGHT_TABLES_H
#define SPOTLIGHT_TABLES_H

#include <QHash>
#include <QString>

#include <vector>

class SpotlightByteReader;

// How the index stores an attribute's values.
namespace spotlight_type {
enum : quint8 {
    Bool = 0x00,
    // 0x01 to 0x08: integers of growing width, all stored as the index's
    // variable-length integers; 0x08 is the only unsigned 64-bit one.
    UInt64 = 0x08,
    Float32 = 0x09,
    Float64 = 0x0a,
    String = 0x0b,
    Date = 0x0c, // a double, seconds since 2001-01-01 UTC
    Binary = 0x0e,
    Category = 0x0f, // the number of a text in the category table
};
}

namespace spotlight_flag {
enum : quint8 {
    // The attribute holds several values: numbers and dates as a byte count
    // and the values, strings separated by NULs, categories as the number
    // of a list of category numbers.
    Multiple = 0x02,
    // Category lists of these attributes are kept in the second list table:
    // the one of localized texts (kinds in every language).
    Localized = 0x01,
    LocalizedAlso = 0x80,
};
}

// One attribute name of the index and how its values are stored.
struct SpotlightProperty
{
    QString name;
    quint8 type = 0;
    quint8 flags = 0;
    bool is_file_name = false; // the item's name in its folder (_kMDItemFileName)
};

// The tables the item records of one store refer to by number: attribute
// names, category texts (content types, kinds) and the lists of category
// numbers that multi-valued category attributes point to. The store's own
// table pages and the external string maps hold the same entries; only the
// way an entry is numbered differs, so both hand each entry's bytes here.
class SpotlightTables
{
public:
    enum class ListTable { Plain, Localized };

    // An attribute entry: type byte, flags byte, NUL-terminated name.
    bool add_property(quint32 number, SpotlightByteReader &entry);
    // A category entry: NUL-terminated text.
    bool add_category(quint32 number, SpotlightByteReader &entry);
    // A list entry: the list's size in bytes, then 32-bit category numbers.
    bool add_list(ListTable table, quint32 number, SpotlightByteReader &entry);

    // Looked up for every attribute of every record, so kept inline.
    const SpotlightProperty *property(quint32 number) const
    {
        if (number < dense_present_.size())
            return dense_present_[number] ? &dense_properties_[number] : nullptr;
        return number < dense_limit ? nullptr : sparse_property(number);
    }
    const QString *category(quint32 number) const;
    const std::vector<quint32> *list(ListTable table, quint32 number) const;

    bool has_properties() const { return property_count_ > 0; }
    bool has_categories() const { return !categories_.isEmpty(); }
    bool has_lists(ListTable table) const { return !lists_[index(table)].isEmpty(); }

private:
    const SpotlightProperty *sparse_property(quint32 number) const;
    static int index(ListTable table) { return table == ListTable::Plain ? 0 : 1; }

    // Attribute numbers are small and looked up for every attribute of
    // every record: those below dense_limit are kept by position.
    static constexpr quint32 dense_limit = 1 << 16;
    std::vector<SpotlightProperty> dense_properties_;
    std::vector<quint8> dense_present_; // 1 where dense_properties_ holds one
    QHash<quint32, SpotlightProperty> sparse_properties_;
    qsizetype property_count_ = 0;
    QHash<quint32, QString> categories_;
    QHash<quint32, std::vector<quint32>> lists_[2];
};

#endif // SPOTLIGHT_TABLES_H
