#pragma once

#include "marovin/MarovinExport.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace marovin::detail {

// Room for the items of one collection, one size of slot, handed out from blocks that grow with
// the collection. The items of a collection then lie next to each other in the order they were
// added, whatever else the host allocates in between, so that walking a large query reads memory
// in order instead of from all over the heap. A freed slot is reused by a later item; the blocks
// are given back when the collection and every item that came from it are gone.
//
// Slots are handed out only by the collection's Add, which like every change of a collection is
// never run by two threads at once. An item may be freed on any thread at any time: its slot goes
// onto a list of its own without a lock, and Add takes that list over when it runs out of slots.
// The pool counts its users (the collection and every slot in use) and deletes itself after the
// last one.
class MAROVIN_EXPORT ItemPool {
public:
    static ItemPool* Create() { return new ItemPool(); }
    ItemPool(const ItemPool&) = delete;
    ItemPool& operator=(const ItemPool&) = delete;

    void RemoveUser() noexcept {
        if (m_users.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

    // A slot of `size` bytes aligned to `align` (at most the alignment the global allocator
    // gives). The pool's slots take the size and alignment of its first request; a request of
    // another shape is passed to the global allocator.
    void* Allocate(size_t size, size_t align);
    // Gives back what Allocate(size, align) returned; any thread.
    void Deallocate(void* slot, size_t size, size_t align) noexcept;

private:
    ItemPool() = default;
    ~ItemPool() = default;

    struct FreeSlot {
        FreeSlot* next;
    };

    static constexpr size_t kFirstBlockSlots = 4;
    static constexpr size_t kMostBlockBytes = 64 * 1024;

    std::atomic<size_t> m_users{1};
    std::atomic<FreeSlot*> m_freed{nullptr}; // Slots freed since Add last took them over.
    // Touched by Allocate only.
    size_t m_requestSize = 0; // Of the first request, which sets the slots' shape.
    size_t m_requestAlign = 0;
    size_t m_slotSize = 0;
    FreeSlot* m_free = nullptr; // Freed slots taken over from m_freed.
    std::byte* m_next = nullptr;
    size_t m_slotsLeft = 0; // In the newest block, from m_next.
    size_t m_nextBlockSlots = kFirstBlockSlots;
    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
};

// Hands std::allocate_shared the slots of a pool. The pool lives as long as its collection or
// any of its slots, so a copy of the allocator needs no count of its own.
template <class T> class PoolAllocator {
public:
    using value_type = T;

    explicit PoolAllocator(ItemPool* pool) noexcept : m_pool(pool) {}
    template <class U>
    PoolAllocator(const PoolAllocator<U>& other) noexcept : m_pool(other.pool()) {}

    T* allocate(size_t n) {
        if (n != 1 || alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__)
            return std::allocator<T>().allocate(n);
        return static_cast<T*>(m_pool->Allocate(sizeof(T), alignof(T)));
    }
    void deallocate(T* p, size_t n) noexcept {
        if (n != 1 || alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__)
            return std::allocator<T>().deallocate(p, n);
        m_pool->Deallocate(p, sizeof(T), alignof(T));
    }

    ItemPool* pool() const noexcept { return m_pool; }
    template <class U> bool operator==(const PoolAllocator<U>& other) const noexcept {
        return m_pool == other.pool();
    }

private:
    ItemPool* m_pool;
};

// The collection's share of a pool: made with the collection, dropped with it.
class PoolHandle {
public:
    PoolHandle() : m_pool(ItemPool::Create()) {}
    PoolHandle(const PoolHandle&) : PoolHandle() {}
    PoolHandle& operator=(const PoolHandle&) noexcept { return *this; }
    ~PoolHandle() { m_pool->RemoveUser(); }

    ItemPool* get() const noexcept { return m_pool; }

private:
    ItemPool* m_pool;
};

} // namespace marovin::detail
