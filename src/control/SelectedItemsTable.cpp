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
    if (valid(row, column))
        m_rows[static_cast<size_t>(row - 1)][static_cast<size_t>(column - 1)] = value;
}

int SelectedItemsTable::AppendRow() {
    m_rows.emplace_back();
    return SelectedItemsCount();
}

void SelectedItemsTable::RemoveRow(int row) {
    if (row >= 1 && row <= SelectedItemsCount())
        m_rows.erase(m_rows.begin() + (row - 1));
    if (m_rows.empty())
        m_rows = {};
}

void SelectedItemsTable::SwapRows(int a, int b) {
    if (a >= 1 && a <= SelectedItemsCount() && b >= 1 && b <= SelectedItemsCount())
        std::swap(m_rows[static_cast<size_t>(a - 1)], m_rows[static_cast<size_t>(b - 1)]);
}

} // namespace marovin
