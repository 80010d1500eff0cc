#pragma once

#include "marovin/DbValue.h"

#include <cstdint>
#include <string>
#include <vector>

namespace marovin {

// The rows a statement returned, detached from any connection and read-only: column names and
// types, the rows as typed values (NULL distinct from ""), a record count and a forward cursor.
// Rows and columns are also reachable by position (from 0) for grid models.
class cRecordset {
public:
    struct Column {
        std::string strName;
        std::string strTypeName; // the type as the source declares it; may be empty
    };

    // Rows are kept in blocks of this many, so that reading a large result never moves the rows
    // already read.
    static constexpr std::int32_t kRowsPerBlock = 1024;

    // Built by the database layer: the columns, then the cells row by row (cells.size() must be
    // a multiple of columns.size(); with no columns there are no rows).
    cRecordset(std::vector<Column> columns, std::vector<DbValue> cells);
    // The same with the cells in blocks of kRowsPerBlock rows each (the last may hold fewer).
    cRecordset(std::vector<Column> columns, std::vector<std::vector<DbValue>> blocks);

    std::int32_t FieldCount() const { return static_cast<std::int32_t>(m_columns.size()); }
    // Column name and declared type by position; "" when out of range.
    const std::string& FieldName(std::int32_t col) const;
    const std::string& FieldTypeName(std::int32_t col) const;
    // Position of the first column of that name (case-insensitive, ASCII), or -1.
    std::int32_t FieldIndex(const std::string& name) const;
    const std::vector<Column>& Columns() const { return m_columns; }

    std::int32_t RecordCount() const { return m_rowCount; }

    // Random access; a NULL value when row or column is out of range.
    const DbValue& value(std::int32_t row, std::int32_t col) const;

    // Forward cursor, on the first row after construction. BOF and EOF are both true when the
    // set is empty. (EOF is a C library macro, hence IsEOF/IsBOF.)
    bool IsBOF() const { return m_rowCount == 0; }
    bool IsEOF() const { return m_current >= m_rowCount; }
    void MoveFirst() { m_current = 0; }
    void MoveNext() {
        if (m_current < m_rowCount)
            ++m_current;
    }
    std::int32_t AbsolutePosition() const { return m_current; }
    // Values of the current row; a NULL value at EOF or for an unknown column.
    const DbValue& Fields(std::int32_t col) const { return value(m_current, col); }
    const DbValue& Fields(const std::string& name) const {
        return value(m_current, FieldIndex(name));
    }

    // Bytes held by the cells and column descriptions (for memory measurements).
    std::size_t MemoryUsage() const;

private:
    std::vector<Column> m_columns;
    std::vector<std::vector<DbValue>> m_blocks;
    std::int32_t m_rowCount = 0;
    std::int32_t m_current = 0;
};

} // namespace marovin
