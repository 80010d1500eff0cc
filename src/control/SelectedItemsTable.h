#pragma once

#include <array>
#include <string>
#include <vector>

namespace marovin {

// The backing table of the selected-items grid: one row of five texts per selected item, in the
// order of the SELECT list. Rows and columns count from 1.
class SelectedItemsTable {
public:
    static constexpr int kSelectedField = 1;
    static constexpr int kAlias = 2;
    static constexpr int kAggregation = 3;
    static constexpr int kFromTable = 4;
    static constexpr int kTableAlias = 5;
    static constexpr int kColumnCount = 5;

    using Row = std::array<std::string, kColumnCount>;

    int SelectedItemsCount() const { return static_cast<int>(m_rows.size()); }
    // The value at row r, column c (both from 1). Out of range gives an empty text.
    const std::string& Value(int row, int column) const;
    void setValue(int row, int column, const std::string& value);

    // Grows the table by one empty row at the end; returns its number.
    int AppendRow();
    // Removes row r; later rows move up by one.
    void RemoveRow(int row);
    // Exchanges the contents of two rows.
    void SwapRows(int a, int b);
    void Clear() { m_rows.clear(); }

private:
    bool valid(int row, int column) const {
        return row >= 1 && row <= SelectedItemsCount() && column >= 1 && column <= kColumnCount;
    }
    std::vector<Row> m_rows;
};

} // namespace marovin
