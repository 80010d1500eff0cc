#pragma once

#include "marovin/MarovinExport.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace marovin {

class cSQLQuery;

namespace detail {

// A position a rendering notes on an object so that it finds the object's entry in its own list
// again without a search. It is only a hint: whoever reads it checks that the entry at that
// position is the object's, since another rendering may have noted a different position since.
// A copy starts without a hint.
class PositionHint {
public:
    static constexpr uint32_t kNone = UINT32_MAX;

    PositionHint() = default;
    PositionHint(const PositionHint&) noexcept {}
    PositionHint& operator=(const PositionHint&) noexcept { return *this; }

    uint32_t Get() const noexcept { return m_position.load(std::memory_order_relaxed); }
    void Set(uint32_t position) const noexcept {
        m_position.store(position, std::memory_order_relaxed);
    }

private:
    mutable std::atomic<uint32_t> m_position{kNone};
};

struct TableRendering;

} // namespace detail

/// A database table or view of the FROM clause, or a sub-query used as a table.
class MAROVIN_EXPORT cTable {
public:
    std::shared_ptr<cSQLQuery> SubQuery() const { return m_SubQuery; }
    void setSubQuery(std::shared_ptr<cSQLQuery> query) { m_SubQuery = std::move(query); }

    bool blnIsSubQuery() const { return m_blnIsSubQuery; }
    void setBlnIsSubQuery(bool value) { m_blnIsSubQuery = value; }

    /// The stored alias, or the default alias (last dot-separated part of the name) when the
    /// stored alias is empty or blank.
    std::string strAlias() const;
    void setStrAlias(const std::string& value) { m_strAlias = value; }

    const std::string& strName() const { return m_strName; }
    /// Stores the name; an alias that is exactly empty takes the default alias of the new name.
    void setStrName(const std::string& value);

    /// The table as written in FROM: the quoted name with " AS " and the quoted alias when they
    /// differ; for a sub-query the parenthesised, indented statement with its alias.
    /// Throws ModelError for a sub-query table whose SubQuery is not set.
    std::string strFullTableName() const;
    /// Appends strFullTableName() to out.
    void AppendFullTableName(std::string& out) const;

private:
    friend struct detail::TableRendering;

    std::shared_ptr<cSQLQuery> m_SubQuery; // Owned (shared) when this table is a sub-query.
    bool m_blnIsSubQuery = false;
    // Where the last rendering of FROM listed this table's names (it lies in the padding after
    // the flag, so the table is no larger for it).
    detail::PositionHint m_fromPosition;
    std::string m_strAlias;
    std::string m_strName;
};

} // namespace marovin
