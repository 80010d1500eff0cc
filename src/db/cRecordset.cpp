#include "marovin/cRecordset.h"

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
const DbValue kNullValue;

} // namespace

cRecordset::cRecordset(std::vector<Column> columns, std::vector<DbValue> cells)
    : m_columns(std::move(columns)), m_cells(std::move(cells)) {
    if (m_columns.empty())
        m_cells.clear();
    else
        m_cells.resize(m_cells.size() - m_cells.size() % m_columns.size());
    m_rowCount =
        m_columns.empty() ? 0 : static_cast<std::int32_t>(m_cells.size() / m_columns.size());
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
    return m_cells[static_cast<std::size_t>(row) * m_columns.size() +
                   static_cast<std::size_t>(col)];
}

std::size_t cRecordset::MemoryUsage() const {
    std::size_t bytes = sizeof(*this) + m_columns.capacity() * sizeof(Column) +
                        m_cells.capacity() * sizeof(DbValue);
    auto heapOf = [](const std::string& s) {
        // Short strings live inside the object itself.
        return s.capacity() > std::string().capacity() ? s.capacity() + 1 : 0;
    };
    for (const Column& c : m_columns)
        bytes += heapOf(c.strName) + heapOf(c.strTypeName);
    for (const DbValue& v : m_cells) {
        if (v.Kind() == DbValueKind::Text)
            bytes += heapOf(v.AsText());
        else if (v.Kind() == DbValueKind::Blob)
            bytes += v.AsBlob().capacity();
    }
    return bytes;
}

} // namespace marovin
