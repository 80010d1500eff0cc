#include "SelectedItemsTable.h"

#include <utility>

namespace marovin {

const std::string& SelectedItemsTable::Value(int row, int column) const {
    static const std::string empty;
    if (!valid(row, column))
        return empty;
    return m_rows[static_cast<size_t>(row - 1)][static_cast<size_t>(column - 1)];
}

void SelectedItemsTable::setValue(int row, int column, const std::string& value) {
    if (!valid(row, column))
        return;
    Row& values = m_rows[static_cast<size_t>(row - 1)];
    const bool alias = column == kAlias;
    const bool field = column == kTableAlias || column == kSelectedField;
    if (alias)
        change(m_aliasCounts, values[kAlias - 1], -1);
    if (field)
        change(m_fieldCounts, fieldKey(values), -1);
    values[static_cast<size_t>(column - 1)] = value;
    if (alias)
        change(m_aliasCounts, values[kAlias - 1], +1);
    if (field)
        change(m_fieldCounts, fieldKey(values), +1);
}

int SelectedItemsTable::AppendRow() {
    m_rows.emplace_back();
    count(m_rows.back(), +1);
    return SelectedItemsCount();
}

void SelectedItemsTable::RemoveRow(int row) {
    if (row >= 1 && row <= SelectedItemsCount()) {
        count(m_rows[static_cast<size_t>(row - 1)], -1);
        m_rows.erase(m_rows.begin() + (row - 1));
    }
    if (m_rows.empty())
        Clear();
}

void SelectedItemsTable::Clear() {
    m_rows = {};
    m_aliasCounts.clear();
    m_fieldCounts.clear();
}

int SelectedItemsTable::CountWithAlias(const std::string& alias) const {
    const auto found = m_aliasCounts.find(alias);
    return found == m_aliasCounts.end() ? 0 : found->second;
}

int SelectedItemsTable::CountWithField(const std::string& qualifiedField) const {
    const auto found = m_fieldCounts.find(qualifiedField);
    return found == m_fieldCounts.end() ? 0 : found->second;
}

std::string SelectedItemsTable::fieldKey(const Row& row) {
    return row[kTableAlias - 1] + "." + row[kSelectedField - 1];
}

void SelectedItemsTable::change(std::unordered_map<std::string, int>& counts,
                                const std::string& key, int delta) {
    const auto it = counts.try_emplace(key, 0).first;
    it->second += delta;
    if (it->second == 0)
        counts.erase(it);
}

void SelectedItemsTable::count(const Row& row, int delta) {
    change(m_aliasCounts, row[kAlias - 1], delta);
    change(m_fieldCounts, fieldKey(row), delta);
}

void SelectedItemsTable::SwapRows(int a, int b) {
    if (a >= 1 && a <= SelectedItemsCount() && b >= 1 && b <= SelectedItemsCount())
        std::swap(m_rows[static_cast<size_t>(a - 1)], m_rows[static_cast<size_t>(b - 1)]);
}

} // namespace marovin
