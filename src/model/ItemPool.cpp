#include "marovin/ItemPool.h"

#include <algorithm>
#include <new>

namespace marovin::detail {

void* ItemPool::Allocate(size_t size, size_t align) {
    if (m_requestSize == 0) {
        m_requestSize = size;
        m_requestAlign = align;
        // A free slot holds the address of the next one.
        const size_t unit = std::max(align, alignof(FreeSlot));
        m_slotSize = (std::max(size, sizeof(FreeSlot)) + unit - 1) / unit * unit;
    }
    void* slot = nullptr;
    if (size != m_requestSize || align != m_requestAlign) {
        slot = ::operator new(size);
    } else {
        if (!m_free)
            m_free = m_freed.exchange(nullptr, std::memory_order_acquire);
        if (m_free) {
            slot = m_free;
            m_free = m_free->next;
        } else {
            if (m_slotsLeft == 0) {
                // Blocks double up to a limit, so that a small collection takes little room and
                // a large one few blocks.
                m_blocks.push_back(
                    std::make_unique_for_overwrite<std::byte[]>(m_nextBlockSlots * m_slotSize));
                m_next = m_blocks.back().get();
                m_slotsLeft = m_nextBlockSlots;
                if (2 * m_nextBlockSlots * m_slotSize <= kMostBlockBytes)
                    m_nextBlockSlots *= 2;
            }
            slot = m_next;
            m_next += m_slotSize;
            --m_slotsLeft;
        }
    }
    // Every slot in use keeps the pool, which its deallocation reaches, alive.
    m_users.fetch_add(1, std::memory_order_relaxed);
    return slot;
}

void ItemPool::Deallocate(void* slot, size_t size, size_t align) noexcept {
    if (size != m_requestSize || align != m_requestAlign) {
        ::operator delete(slot);
    } else {
        auto* freed = static_cast<FreeSlot*>(slot);
        freed->next = m_freed.load(std::memory_order_relaxed);
        while (!m_freed.compare_exchange_weak(freed->next, freed, std::memory_order_release,
                                              std::memory_order_relaxed)) {
        }
    }
    RemoveUser();
}

} // namespace marovin::detail
