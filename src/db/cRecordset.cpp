#include "marovin/cRecordset.h"

#include <algorithm>
#include <cctype>
#include <iterator>

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
const DbValue kNullValue;

} // namespace

cRecordset::cRecordset(std::vector<Column> columns, std::vector<DbValue> cells)
    : m_columns(std::move(columns)) {
    if (m_columns.empty())
        return;
    const std::size_t width = m_columns.size();
    const std::size_t rows = cells.size() / width;
    const std::size_t perBlock = static_cast<std::size_t>(kRowsPerBlock) * width;
    for (std::size_t start = 0; start < rows * width; start += perBlock) {
        std::size_t end = std::min(start + perBlock, rows * width);
        m_blocks.emplace_back(
            std::make_move_iterator(cells.begin() + static_cast<std::ptrdiff_t>(start)),
            std::make_move_iterator(cells.begin() + static_cast<std::ptrdiff_t>(end)));
    }
    m_rowCount = static_cast<std::int32_t>(rows);
}

cRecordset::cRecordset(std::vector<Column> columns, std::vector<std::vector<DbValue>> blocks)
    : m_columns(std::move(columns)), m_blocks(std::move(blocks)) {
    const std::size_t width = m_columns.size();
    const std::size_t perBlock = static_cast<std::size_t>(kRowsPerBlock) * width;
    std::size_t rows = 0;
    for (std::size_t b = 0; width > 0 && b < m_blocks.size(); ++b) {
        std::vector<DbValue>& block = m_blocks[b];
        // Every block but the last is full; a short block ends the set.
        block.resize(std::min(block.size() - block.size() % width, perBlock));
        rows += block.size() / width;
        if (block.size() < perBlock) {
            m_blocks.resize(b + 1);
            break;
        }
    }
    if (width == 0)
        m_blocks.clear();
    m_rowCount = static_cast<std::int32_t>(rows);
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

const DbValue& cRecordset::value(std::int32_t row, std::int32_t col) const {
    if (row < 0 || row >= m_rowCount || col < 0 || col >= FieldCount())
        return kNullValue;
    const auto r = static_cast<std::size_t>(row);
    return m_blocks[r / kRowsPerBlock]
                   [(r % kRowsPerBlock) * m_columns.size() + static_cast<std::size_t>(col)];
}

std::size_t cRecordset::MemoryUsage() const {
    std::size_t bytes = sizeof(*this) + m_columns.capacity() * sizeof(Column) +
                        m_blocks.capacity() * sizeof(std::vector<DbValue>);
    auto heapOf = [](const std::string& s) {
        // Short strings live inside the object itself.
        return s.capacity() > std::string().capacity() ? s.capacity() + 1 : 0;
    };
    for (const Column& c : m_columns)
        bytes += heapOf(c.strName) + heapOf(c.strTypeName);
    for (const auto& block : m_blocks) {
        bytes += block.capacity() * sizeof(DbValue);
        for (const DbValue& v : block)
            bytes += v.HeapBytes();
    }
    return bytes;
}

} // namespace marovin
