#include "marovin/cRecordset.h"

#include "RecordsetBuilder.h"

#include <algorithm>
#include <cctype>

namespace marovin {

namespace {

bool equalsNoCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

const std::string kNoText;

} // namespace

cRecordset::cRecordset(std::vector<Column> columns, std::vector<DbValue> cells) {
    const std::size_t width = columns.size();
    RecordsetBuilder builder(std::move(columns));
    const std::size_t rows = width == 0 ? 0 : cells.size() / width;
    for (std::size_t r = 0; r < rows; ++r) {
        builder.BeginRow();
        for (std::size_t c = 0; c < width; ++c)
            builder.Add(cells[r * width + c]);
    }
    builder.FinishInto(*this);
}

cRecordset::cRecordset(std::vector<Column> columns, std::vector<std::vector<DbValue>> blocks) {
    const std::size_t width = columns.size();
    RecordsetBuilder builder(std::move(columns));
    const auto perBlock = static_cast<std::size_t>(kRowsPerBlock);
    for (std::size_t b = 0; width > 0 && b < blocks.size(); ++b) {
        const std::vector<DbValue>& block = blocks[b];
        const std::size_t rows = std::min(block.size() / width, perBlock);
        for (std::size_t r = 0; r < rows; ++r) {
            builder.BeginRow();
            for (std::size_t c = 0; c < width; ++c)
                builder.Add(block[r * width + c]);
        }
        // Every block but the last is full; a short block ends the set.
        if (rows < perBlock)
            break;
    }
    builder.FinishInto(*this);
}

const std::string& cRecordset::FieldName(std::int32_t col) const {
    if (col < 0 || col >= FieldCount())
        return kNoText;
    return m_columns[static_cast<std::size_t>(col)].strName;
}

const std::string& cRecordset::FieldTypeName(std::int32_t col) const {
    if (col < 0 || col >= FieldCount())
        return kNoText;
    return m_columns[static_cast<std::size_t>(col)].strTypeName;
}

std::int32_t cRecordset::FieldIndex(const std::string& name) const {
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        if (equalsNoCase(m_columns[i].strName, name))
            return static_cast<std::int32_t>(i);
    }
    return -1;
}

DbValue cRecordset::value(std::int32_t row, std::int32_t col) const {
    if (row < 0 || row >= m_rowCount || col < 0 || col >= FieldCount())
        return DbValue();
    const auto r = static_cast<std::size_t>(row);
    const Block& block = m_blocks[r / kRowsPerBlock];
    // The cells of a row are walked from its start: rows are short, and the offsets of single
    // cells would cost more memory than the cells themselves.
    const unsigned char* p = block.bytes + block.rowStart(r % kRowsPerBlock);
    for (std::int32_t c = 0; c < col; ++c)
        p = packed::skip(p);
    return packed::read(p);
}

std::size_t cRecordset::MemoryUsage() const {
    std::size_t bytes = sizeof(*this) + m_columns.capacity() * sizeof(Column) +
                        m_chunks.capacity() * sizeof(Chunk) + m_blocks.capacity() * sizeof(Block);
    auto heapOf = [](const std::string& s) {
        // Short strings live inside the object itself.
        return s.capacity() > std::string().capacity() ? s.capacity() + 1 : 0;
    };
    for (const Column& c : m_columns)
        bytes += heapOf(c.strName) + heapOf(c.strTypeName);
    for (const Chunk& chunk : m_chunks)
        bytes += chunk.capacity;
    for (const Block& block : m_blocks) {
        bytes += block.rowStarts.capacity() * sizeof(std::uint32_t) +
                 block.wideRowStarts.capacity() * sizeof(std::uint64_t);
    }
    return bytes;
}

} // namespace marovin
