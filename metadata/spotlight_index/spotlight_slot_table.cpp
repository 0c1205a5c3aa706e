#include "spotlight_slot_table.h"

#include <new>
#include <utility>

#include <sys/mman.h>

SpotlightSlotTable::SpotlightSlotTable(size_t count) : count_(count), bytes_(count * sizeof(quint64))
{
    if (!bytes_)
        return;
    // Anonymous memory comes zeroed, and goes back whole when released.
    void *memory = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    madvise(memory, bytes_, MADV_HUGEPAGE);
#endif
    slots_ = static_cast<quint64 *>(memory);
}

SpotlightSlotTable::~SpotlightSlotTable() { release(); }

SpotlightSlotTable::SpotlightSlotTable(SpotlightSlotTable &&other) noexcept
    : slots_(std::exchange(other.slots_, nullptr)), count_(std::exchange(other.count_, 0)),
      bytes_(std::exchange(other.bytes_, 0))
{
}

SpotlightSlotTable &SpotlightSlotTable::operator=(SpotlightSlotTable &&other) noexcept
{
    if (this != &other) {
        release();
        slots_ = std::exchange(other.slots_, nullptr);
        count_ = std::exchange(other.count_, 0);
        bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
}

void SpotlightSlotTable::release()
{
    if (slots_)
        munmap(slots_, bytes_);
    slots_ = nullptr;
    count_ = 0;
    bytes_ = 0;
}
