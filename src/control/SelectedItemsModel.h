#pragma once

#include "SelectedItemsTable.h"

#include <QAbstractTableModel>
#include <functional>
#include <utility>

namespace marovin {

// The table model the selected-items grid shows: it reads the backing table by row and column,
// and after its five columns two more, "Sort Type" and "Sort Order", which show the query's sort
// entries through the sort source the control gives. "Alias", "Aggregation" and the two sort
// columns are editable; an edit is not written here but handed to the control through
// editCommitted, which applies the grid's editing rules and writes the table or the sort.
class SelectedItemsModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit SelectedItemsModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

    // Columns from 1, after the backing table's five.
    static constexpr int kSortType = SelectedItemsTable::kColumnCount + 1;
    static constexpr int kSortOrder = SelectedItemsTable::kColumnCount + 2;
    static constexpr int kColumnCount = kSortOrder;
    // The sort type ("", "Ascending", "Descending") and the 1-based sort position (0 when the
    // row is not sorted) of a row (from 1).
    using SortSource = std::function<std::pair<QString, int>(int row)>;
    void setSortSource(SortSource source) { m_sortSource = std::move(source); }
    // The sort columns of every row are read again.
    void sortChanged();

    SelectedItemsTable& table() { return m_table; }
    const SelectedItemsTable& table() const { return m_table; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

    // Changes of the backing table that keep the views in step (rows from 1).
    int appendRow(const SelectedItemsTable::Row& values);
    void removeRow1(int row);
    void swapRows(int a, int b);
    void setValue(int row, int column, const std::string& value);
    void clear();

signals:
    // The user finished editing a cell (row and column from 1).
    void editCommitted(int row, int column, const QString& value);

private:
    SelectedItemsTable m_table;
    SortSource m_sortSource;
};

} // namespace marovin
