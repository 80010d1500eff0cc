#pragma once

#include "marovin/cRecordset.h"

#include <memory>
#include <utility>
#include <vector>

namespace marovin {

// Collects the values of a result row by row into the blocks of a cRecordset, so that no value
// is moved once stored.
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
        }
        if (m_current.capacity() == 0)
            m_current.reserve(m_blockCells);
        m_current.emplace_back(std::forward<Args>(args)...);
    }

    std::shared_ptr<cRecordset> Finish() {
        if (!m_current.empty())
            m_blocks.push_back(std::move(m_current));
        return std::make_shared<cRecordset>(std::move(m_columns), std::move(m_blocks));
    }

private:
    std::vector<cRecordset::Column> m_columns;
    std::size_t m_blockCells;
    std::vector<std::vector<DbValue>> m_blocks;
    std::vector<DbValue> m_current;
};

} // namespace marovin
