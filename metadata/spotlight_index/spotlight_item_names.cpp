#include "spotlight_item_names.h"

#include <QHashFunctions>

#include <cstring>

namespace {

// Whether name is well-formed UTF-8 of characters below U+0300 only: the
// letters of Western names, ASCII or accented. None of those composes with
// anything, so such a name is its own composed form.
bool composes_to_itself(QByteArrayView name)
{
    if (spotlight_is_ascii(name))
        return true;
    const qsizetype size = name.size();
    for (qsizetype i = 0; i < size; ++i) {
        const quint8 byte = quint8(name[i]);
        if (byte < 0x80)
            continue;
        // Two-byte sequences lead with 0xc2 to 0xcb up to U+02FF.
        if (byte < 0xc2 || byte > 0xcb || i + 1 >= size || (quint8(name[i + 1]) & 0xc0) != 0x80)
            return false;
        ++i;
    }
    return true;
}

} // namespace

quint64 spotlight_mixed(quint64 value)
{
    value ^= value >> 33;
    value *= 0xff51afd7ed558ccdull;
    value ^= value >> 33;
    value *= 0xc4ceb9fe1a85ec53ull;
    value ^= value >> 33;
    return value;
}

bool spotlight_is_ascii(QByteArrayView name)
{
    // Eight bytes at a time: every item's name passes through here.
    constexpr quint64 high_bits = 0x8080808080808080ull;
    const char *bytes = name.data();
    qsizetype left = name.size();
    quint64 high = 0;
    for (; left >= 8; bytes += 8, left -= 8) {
        quint64 word;
        std::memcpy(&word, bytes, 8);
        high |= word;
    }
    for (; left > 0; ++bytes, --left)
        high |= quint8(*bytes);
    return !(high & high_bits);
}

QByteArray spotlight_composed_name(const QString &name)
{
    // Text without combining marks is its own composed form.
    for (QChar c : name) {
        if (c.unicode() >= 0x300)
            return name.normalized(QString::NormalizationForm_C).toUtf8();
    }
    return name.toUtf8();
}

QByteArrayView spotlight_composed_name(QByteArrayView name, QByteArray &spelt)
{
    if (composes_to_itself(name))
        return name;
    spelt = spotlight_composed_name(QString::fromUtf8(name));
    return spelt;
}

quint64 spotlight_name_key(quint64 seed, quint64 folder, QByteArrayView composed_name)
{
    if (composed_name.isEmpty())
        return 0;
    // For one name, folder to key is a bijection: names only meet by their hash.
    const quint64 name_hash = quint64(qHashBits(composed_name.data(), size_t(composed_name.size()), size_t(seed)));
    const quint64 key = spotlight_mixed(name_hash + folder * 0x9e3779b97f4a7c15ull);
    return key ? key : 1;
}
