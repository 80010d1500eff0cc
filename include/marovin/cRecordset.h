#pragma once

#include "marovin/DbValue.h"
#include "marovin/MarovinExport.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace marovin {

class RecordsetBuilder;

/// The rows a statement returned, detached from any connection and read-only: column names and
/// types, the rows as typed values (NULL distinct from ""), a record count and a forward cursor.
/// Rows and columns are also reachable by position (from 0) for grid models. The rows are kept
/// packed (a kind tag per cell and then only the bytes its value needs), so a row takes about the
/// room of its values written out; values are handed out as DbValue copies.
class MAROVIN_EXPORT cRecordset {
public:
    struct Column {
        std::string strName;
        std::string strTypeName; // the type as the source declares it; may be empty
    };

    /// Rows are kept in blocks of this many; a block's row offsets are found from the row number,
    /// and a large result is read without copying the blocks already filled.
    static constexpr std::int32_t kRowsPerBlock = 1024;

    /// Built by the database layer: the columns, then the cells row by row (cells.size() must be
    /// a multiple of columns.size(); with no columns there are no rows).
    cRecordset(std::vector<Column> columns, std::vector<DbValue> cells);
    /// The same with the cells in blocks of kRowsPerBlock rows each (the last may hold fewer).
    cRecordset(std::vector<Column> columns, std::vector<std::vector<DbValue>> blocks);

    std::int32_t FieldCount() const { return static_cast<std::int32_t>(m_columns.size()); }
    /// Column name and declared type by position; "" when out of range.
    const std::string& FieldName(std::int32_t col) const;
    const std::string& FieldTypeName(std::int32_t col) const;
    /// Position of the first column of that name (case-insensitive, ASCII), or -1.
    std::int32_t FieldIndex(const std::string& name) const;
    const std::vector<Column>& Columns() const { return m_columns; }

    std::int32_t RecordCount() const { return m_rowCount; }

    /// Random access; a NULL value when row or column is out of range.
    DbValue value(std::int32_t row, std::int32_t col) const;

    /// Forward cursor, on the first row after construction. BOF and EOF are both true when the
    /// set is empty. (EOF is a C library macro, hence IsEOF/IsBOF.)
    bool IsBOF() const { return m_rowCount == 0; }
    bool IsEOF() const { return m_current >= m_rowCount; }
    void MoveFirst() { m_current = 0; }
    void MoveNext() {
        if (m_current < m_rowCount)
            ++m_current;
    }
    std::int32_t AbsolutePosition() const { return m_current; }
    /// Values of the current row; a NULL value at EOF or for an unknown column.
    DbValue Fields(std::int32_t col) const { return value(m_current, col); }
    DbValue Fields(const std::string& name) const { return value(m_current, FieldIndex(name)); }

    /// Bytes held by the cells and column descriptions (for memory measurements).
    std::size_t MemoryUsage() const;

private:
    friend class RecordsetBuilder;

    struct FreeBytes {
        void operator()(unsigned char* p) const noexcept { std::free(p); }
    };

    /// Up to kRowsPerBlock rows packed one after the other, and where each row starts among
    /// them. Offsets are 32-bit; a block beyond 4 GiB keeps 64-bit offsets instead.
    struct Block {
        const unsigned char* bytes = nullptr; // inside one of the chunks
        std::size_t size = 0;
        std::vector<std::uint32_t> rowStarts;
        std::vector<std::uint64_t> wideRowStarts;

        std::size_t rowStart(std::size_t row) const {
            return wideRowStarts.empty() ? rowStarts[row]
                                         : static_cast<std::size_t>(wideRowStarts[row]);
        }
    };
    /// Memory the blocks are packed into, one block after the other; never moved once allocated.
    struct Chunk {
        std::unique_ptr<unsigned char, FreeBytes> bytes;
        std::size_t capacity = 0;
    };

    /// For the builder, which fills in the rows.
    cRecordset() = default;

    std::vector<Column> m_columns;
    std::vector<Chunk> m_chunks;
    std::vector<Block> m_blocks;
    std::int32_t m_rowCount = 0;
    std::int32_t m_current = 0;
};

} // namespace marovin
