#pragma once

#include "marovin/ItemPool.h"
#include "marovin/MarovinExport.h"
#include "marovin/ModelError.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace marovin {

/// Folds a key for comparison without regard to letter case (ASCII, Latin-1, Latin Extended-A,
/// Greek and Cyrillic letters of UTF-8 text).
MAROVIN_EXPORT std::string FoldKey(const std::string& key);
/// Appends FoldKey(key) to out. The folded key has as many bytes as the key.
MAROVIN_EXPORT void AppendFoldedKey(std::string& out, std::string_view key);

/// An insertion-ordered list of shared items in which any entry may carry a unique key; keys are
/// compared without regard to letter case. Positions count from 1. The six collections of the
/// query model derive from it and hold only items of their own kind.
template <class T> class cKeyedCollection {
public:
    using ItemPtr = std::shared_ptr<T>;
    using const_iterator = typename std::vector<ItemPtr>::const_iterator;

    /// Creates a new item, appends it, and stores it under sKey when sKey is not empty.
    /// Throws ModelError when the key is already present (nothing is added then).
    ItemPtr Add(const std::string& sKey = {}) {
        auto item = std::allocate_shared<T>(detail::PoolAllocator<T>(m_pool.get()));
        if (!sKey.empty()) {
            auto folded = FoldKey(sKey);
            if (m_byKey.count(folded) != 0)
                throw ModelError("Duplicate key \"" + sKey + "\": the key is already in use");
            m_byKey.emplace(std::move(folded), item);
        }
        m_items.push_back(item);
        m_keys.push_back(sKey);
        return item;
    }

    /// The item at a position (from 1). Throws ModelError when the position is out of range.
    ItemPtr Item(long index) const { return m_items[checkedPosition(index)]; }
    /// The item stored under a key. Throws ModelError when no entry has the key.
    ItemPtr Item(const std::string& key) const {
        auto it = m_byKey.find(FoldKey(key));
        if (it == m_byKey.end())
            throw ModelError("No item with the key \"" + key + "\"");
        return it->second;
    }
    long Count() const { return static_cast<long>(m_items.size()); }

    /// Removes an entry; later entries move up one position. Throws ModelError when missing.
    void Remove(long index) { erase(checkedPosition(index)); }
    void Remove(const std::string& key) {
        auto it = m_byKey.find(FoldKey(key));
        if (it == m_byKey.end())
            throw ModelError("No item with the key \"" + key + "\"");
        for (size_t i = 0; i < m_items.size(); ++i) {
            if (m_items[i] == it->second) {
                erase(i);
                return;
            }
        }
    }

    /// Removes every entry for which remove(item) is true, in one pass; the others keep their
    /// order. The predicate sees every entry before any is dropped.
    template <class Predicate> void RemoveIf(Predicate remove) {
        std::vector<char> drop(m_items.size());
        for (size_t i = 0; i < m_items.size(); ++i)
            drop[i] = remove(static_cast<const ItemPtr&>(m_items[i])) ? 1 : 0;
        size_t kept = 0;
        for (size_t i = 0; i < m_items.size(); ++i) {
            if (drop[i]) {
                if (!m_keys[i].empty())
                    m_byKey.erase(FoldKey(m_keys[i]));
                continue;
            }
            if (kept != i) {
                m_items[kept] = std::move(m_items[i]);
                m_keys[kept] = std::move(m_keys[i]);
            }
            ++kept;
        }
        m_items.resize(kept);
        m_keys.resize(kept);
    }

    /// The items in insertion order (a snapshot).
    std::vector<ItemPtr> NewEnum() const { return m_items; }
    /// Drops every entry.
    void Clear() {
        m_items.clear();
        m_keys.clear();
        m_byKey.clear();
    }

    bool HasKey(const std::string& key) const { return m_byKey.count(FoldKey(key)) != 0; }
    /// The key an entry was stored under (empty when it has none).
    const std::string& KeyAt(long index) const { return m_keys[checkedPosition(index)]; }

    const_iterator begin() const { return m_items.begin(); }
    const_iterator end() const { return m_items.end(); }

private:
    size_t checkedPosition(long index) const {
        if (index < 1 || index > Count())
            throw ModelError("Invalid position " + std::to_string(index) + ": the collection has " +
                             std::to_string(Count()) + " item(s)");
        return static_cast<size_t>(index - 1);
    }
    void erase(size_t pos) {
        if (!m_keys[pos].empty())
            m_byKey.erase(FoldKey(m_keys[pos]));
        m_items.erase(m_items.begin() + static_cast<long>(pos));
        m_keys.erase(m_keys.begin() + static_cast<long>(pos));
    }

    // The collection's items lie together in memory (a copy of a collection gets a pool of its
    // own for the items it adds).
    detail::PoolHandle m_pool;
    std::vector<ItemPtr> m_items;
    std::vector<std::string> m_keys;
    std::unordered_map<std::string, ItemPtr> m_byKey;
};

} // namespace marovin
