#pragma once

#include "marovin/cRecordset.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace marovin {

// Collects the values of a result row by row into the blocks of a cRecordset. Every block after
// the first is reserved whole, so its values are never moved once stored; the first block grows
// from a few rows to its full size, so that a short result of a wide table does not reserve room
// for a full block of rows it never has.
class RecordsetBuilder {
public:
    explicit RecordsetBuilder(std::vector<cRecordset::Column> columns)
        : m_columns(std::move(columns)),
          m_blockCells(static_cast<std::size_t>(cRecordset::kRowsPerBlock) * m_columns.size()) {}

    // Appends one value of the current row; call it FieldCount times per row.
    template <typename... Args> void Add(Args&&... args) {
        if (m_current.size() == m_blockCells) {
            m_blocks.push_back(std::move(m_current));
            m_current = {};
            m_current.reserve(m_blockCells);
        } else if (m_current.size() == m_current.capacity()) {
            const std::size_t firstCells = kFirstRows * m_columns.size();
            m_current.reserve(std::min(m_blockCells, std::max(firstCells, 2 * m_current.size())));
        }
        m_current.emplace_back(std::forward<Args>(args)...);
    }

    std::shared_ptr<cRecordset> Finish() {
        if (!m_current.empty())
            m_blocks.push_back(std::move(m_current));
        return std::make_shared<cRecordset>(std::move(m_columns), std::move(m_blocks));
    }

private:
    // Rows the first block has room for before it grows.
    static constexpr std::size_t kFirstRows = 16;

    std::vector<cRecordset::Column> m_columns;
    std::size_t m_blockCells;
    std::vector<std::vector<DbValue>> m_blocks;
    std::vector<DbValue> m_current;
};

} // namespace marovin
