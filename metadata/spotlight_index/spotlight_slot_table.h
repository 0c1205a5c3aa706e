#ifndef SPOTLIGHT_SLOT_TABLE_H
#define SPOTLIGHT_SLOT_TABLE_H

#include <QtGlobal>

#include <cstddef>

// The slots of a large open-addressed table, all zero at first. Slots are
// visited at random, so the memory is asked for in huge pages where the
// system offers them: with small pages, nearly every visit of a table of
// a hundred megabytes also misses the address translation cache.
class SpotlightSlotTable
{
public:
    SpotlightSlotTable() = default;
    // count zeroed slots; count is a power of two.
    explicit SpotlightSlotTable(size_t count);
    ~SpotlightSlotTable();
    SpotlightSlotTable(SpotlightSlotTable &&other) noexcept;
    SpotlightSlotTable &operator=(SpotlightSlotTable &&other) noexcept;
    SpotlightSlotTable(const SpotlightSlotTable &) = delete;
    SpotlightSlotTable &operator=(const SpotlightSlotTable &) = delete;

    size_t size() const { return count_; }
    quint64 &operator[](size_t i) { return slots_[i]; }
    quint64 operator[](size_t i) const { return slots_[i]; }

private:
    void release();

    quint64 *slots_ = nullptr;
    size_t count_ = 0;
    size_t bytes_ = 0;
};

#endif // SPOTLIGHT_SLOT_TABLE_H
