#pragma once

#include <array>
#include <string>
#include <unordered_map>
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
    void Clear();

    // How many rows have this alias; how many select this field ("table alias.field"). Kept
    // up to date with every change, so that adding a row need not read all the others: loading
    // a query of thousands of rows asked both questions for every row.
    int CountWithAlias(const std::string& alias) const;
    int CountWithField(const std::string& qualifiedField) const;

private:
    static std::string fieldKey(const Row& row);
    static void change(std::unordered_map<std::string, int>& counts, const std::string& key,
                       int delta);
    void count(const Row& row, int delta);
    bool valid(int row, int column) const {
        return row >= 1 && row <= SelectedItemsCount() && column >= 1 && column <= kColumnCount;
    }
    std::vector<Row> m_rows;
    std::unordered_map<std::string, int> m_aliasCounts;
    std::unordered_map<std::string, int> m_fieldCounts;
};

} // namespace marovin
