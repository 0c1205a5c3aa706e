#ifndef SPOTLIGHT_ITEM_NAMES_H
#define SPOTLIGHT_ITEM_NAMES_H

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QtEndian>
#include <QtGlobal>

// How items are placed by name: names on HFS+ are decomposed, copies of a
// volume often composed, so both sides are compared in the composed form,
// as UTF-8. Safe on any thread.

// Whether name holds ASCII only, and so is its own composed form.
bool spotlight_is_ascii(QByteArrayView name);

// What one look at a stored name tells: whether it holds the marker of a
// localized text (0x16), and whether it holds ASCII only. Every item's name passes
// here, so eight bytes are looked at a time, the last word overlapping the
// one before it.
struct SpotlightNameLook
{
    bool localized = false;
    bool ascii = false;
};

Q_ALWAYS_INLINE SpotlightNameLook spotlight_look_at_name(QByteArrayView name)
{
    const char *bytes = name.data();
    const qsizetype size = name.size();
    constexpr quint64 ones = 0x0101010101010101ull;
    constexpr quint64 high_bits = ones * 0x80;
    constexpr quint64 marker = ones * 0x16;
    quint64 high = 0, marked = 0;
    // Bytes beyond the name are taken as zeros: neither marker nor high.
    const auto take = [&high, &marked](quint64 word) {
        high |= word;
        const quint64 unmarked = word ^ marker; // a zero byte where the marker is
        marked |= (unmarked - ones) & ~unmarked & high_bits;
    };
    if (size >= 8) {
        // Most names take 8 to 32 bytes: four words cover them, in place of
        // a loop whose count changes from name to name.
        qsizetype at = 0;
        for (; size - at > 32; at += 8)
            take(qFromLittleEndian<quint64>(bytes + at));
        const qsizetype last = size - 8;
        take(qFromLittleEndian<quint64>(bytes + at));
        take(qFromLittleEndian<quint64>(bytes + qMin(at + 8, last)));
        take(qFromLittleEndian<quint64>(bytes + qMin(at + 16, last)));
        take(qFromLittleEndian<quint64>(bytes + last));
    } else if (size >= 4) {
        take(qFromLittleEndian<quint32>(bytes));
        take(qFromLittleEndian<quint32>(bytes + size - 4));
    } else {
        for (qsizetype at = 0; at < size; ++at)
            take(quint8(bytes[at]));
    }
    return {marked != 0, !(high & high_bits)};
}

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
