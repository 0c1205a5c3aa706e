#ifndef SPOTLIGHT_ITEM_NAMES_H
#define SPOTLIGHT_ITEM_NAMES_H

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QtGlobal>

// How items are placed by name: names on HFS+ are decomposed, copies of a
// volume often composed, so both sides are compared in the composed form,
// as UTF-8. Safe on any thread.

// Whether name holds ASCII only, and so is its own composed form.
bool spotlight_is_ascii(QByteArrayView name);

// A path component as the look-ups compare it.
QByteArray spotlight_composed_name(const QString &name);
// An item's stored name (UTF-8) as the look-ups compare it: most names are
// their own composed form, and then name itself is handed back and spelt
// left alone; others are spelt composed into spelt.
QByteArrayView spotlight_composed_name(QByteArrayView name, QByteArray &spelt);

// A bijection of 64-bit numbers that spreads every input bit over the
// output, for placing numbers in tables.
quint64 spotlight_mixed(quint64 value);

// What a folder's table of names holds for the name (composed) of an item
// in folder: 0 for no name. One seed for a whole index, drawn at random so
// that no store can be crafted to make two names meet. The same name in
// two folders never meets; two names of one folder meet once in 2^64.
quint64 spotlight_name_key(quint64 seed, quint64 folder, QByteArrayView composed_name);

#endif // SPOTLIGHT_ITEM_NAMES_H
