#ifndef SPOTLIGHT_NAME_SIEVE_H
#define SPOTLIGHT_NAME_SIEVE_H

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QtEndian>
#include <QtGlobal>

#include <array>

// A first, cheap test of every name a scan reads against the few a
// look-up wants: it turns down nearly every other name by its size and its
// first and last eight bytes, without comparing it to each wanted one.
// What it lets through still has to be compared. Safe on any thread.
class SpotlightNameSieve
{
public:
    // Sieves for these names, as they are compared (composed UTF-8).
    explicit SpotlightNameSieve(const QList<QByteArray> &names)
    {
        for (const QByteArray &name : names) {
            const quint32 bit = bit_of(name);
            bits_[bit >> 6] |= quint64(1) << (bit & 63);
        }
    }

    // False only when name is none of the names sieved for.
    bool may_hold(QByteArrayView name) const
    {
        const quint32 bit = bit_of(name);
        return (bits_[bit >> 6] >> (bit & 63)) & 1;
    }

private:
    static quint32 bit_of(QByteArrayView name)
    {
        const char *bytes = name.data();
        const qsizetype size = name.size();
        quint64 head = 0, tail = 0;
        if (size >= 8) {
            head = qFromLittleEndian<quint64>(bytes);
            tail = qFromLittleEndian<quint64>(bytes + size - 8);
        } else {
            for (qsizetype at = 0; at < size; ++at)
                head = head << 8 | quint8(bytes[at]);
        }
        quint64 mixed = (head + quint64(size)) * 0x9e3779b97f4a7c15ull;
        mixed = (mixed ^ tail ^ (mixed >> 29)) * 0xff51afd7ed558ccdull;
        return quint32(mixed >> (64 - bit_count_log2));
    }

    static constexpr int bit_count_log2 = 12;
    std::array<quint64, (1 << bit_count_log2) / 64> bits_{};
};

#endif // SPOTLIGHT_NAME_SIEVE_H
