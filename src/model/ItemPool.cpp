#include "marovin/ItemPool.h"

#include <algorithm>
#include <new>

namespace marovin::detail {

void* ItemPool::Allocate(size_t size, size_t align) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_requestSize == 0) {
            m_requestSize = size;
            m_requestAlign = align;
            // A free slot holds the address of the next one.
            const size_t unit = std::max(align, alignof(void*));
            m_slotSize = (std::max(size, sizeof(void*)) + unit - 1) / unit * unit;
        }
        if (size == m_requestSize && align == m_requestAlign) {
            if (m_free) {
                void* slot = m_free;
                m_free = *static_cast<void**>(slot);
                return slot;
            }
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
            void* slot = m_next;
            m_next += m_slotSize;
            --m_slotsLeft;
            return slot;
        }
    }
    return ::operator new(size);
}

void ItemPool::Deallocate(void* slot, size_t size, size_t align) noexcept {
    const std::lock_guard lock(m_mutex);
    if (size != m_requestSize || align != m_requestAlign) {
        ::operator delete(slot);
        return;
    }
    *static_cast<void**>(slot) = m_free;
    m_free = slot;
}

} // namespace marovin::detail
