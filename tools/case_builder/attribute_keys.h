#ifndef ATTRIBUTE_KEYS_H
#define ATTRIBUTE_KEYS_H

#include <QString>
#include <QStringList>

// The Spotlight attribute keys an examiner asks for, and the result columns
// that receive them.
class AttributeKeys
{
public:
    // The keys an examiner most often wants from a macOS volume.
    static QStringList default_keys();

    // Keys from a comma-separated text; false with a reason in *error when
    // a key is empty, repeated, clashes with a host column or holds a
    // character that cannot stand in the worker's statements.
    static bool parse(const QString &comma_separated, AttributeKeys *keys, QString *error);

    explicit AttributeKeys(const QStringList &keys = default_keys());

    // The keys in the order asked for; also the order of the table's columns.
    QStringList keys() const { return key_list; }

    // The column names as the worker is given them: the keys themselves, in
    // their order unless a key is contained in another; then shortest first,
    // since the worker gives a key the first column that contains it.
    QStringList column_names() const;

private:
    QStringList key_list;
};

#endif // ATTRIBUTE_KEYS_H
