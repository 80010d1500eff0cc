#include "SelectedItemsModel.h"

namespace marovin {

namespace {

const char* const kCaptions[SelectedItemsTable::kColumnCount] = {
    "Selected Field", "Alias", "Aggregation", "From Table", "Table Alias"};

} // namespace

int SelectedItemsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_table.SelectedItemsCount();
}

int SelectedItemsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : SelectedItemsTable::kColumnCount;
}

QVariant SelectedItemsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole || role == Qt::ToolTipRole)
        return QString::fromStdString(m_table.Value(index.row() + 1, index.column() + 1));
    return {};
}

QVariant SelectedItemsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Horizontal && section >= 0 && section < SelectedItemsTable::kColumnCount)
        return QString::fromLatin1(kCaptions[section]);
    if (orientation == Qt::Vertical)
        return section + 1;
    return {};
}

Qt::ItemFlags SelectedItemsModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    const int column = index.column() + 1;
    if (column == SelectedItemsTable::kAlias || column == SelectedItemsTable::kAggregation)
        result |= Qt::ItemIsEditable;
    return result;
}

bool SelectedItemsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    // An editor closed without a change commits nothing: the row is not written again and the
    // control is not told.
    const std::string text = value.toString().toStdString();
    if (text == m_table.Value(index.row() + 1, index.column() + 1))
        return true;
    emit editCommitted(index.row() + 1, index.column() + 1, value.toString());
    return true;
}

int SelectedItemsModel::appendRow(const SelectedItemsTable::Row& values) {
    const int row = m_table.SelectedItemsCount();
    beginInsertRows(QModelIndex(), row, row);
    m_table.AppendRow();
    for (int c = 1; c <= SelectedItemsTable::kColumnCount; ++c)
        m_table.setValue(row + 1, c, values[static_cast<size_t>(c - 1)]);
    endInsertRows();
    return row + 1;
}

void SelectedItemsModel::removeRow1(int row) {
    if (row < 1 || row > m_table.SelectedItemsCount())
        return;
    beginRemoveRows(QModelIndex(), row - 1, row - 1);
    m_table.RemoveRow(row);
    endRemoveRows();
}

void SelectedItemsModel::swapRows(int a, int b) {
    m_table.SwapRows(a, b);
    const int first = std::min(a, b) - 1;
    const int last = std::max(a, b) - 1;
    emit dataChanged(index(first, 0), index(last, SelectedItemsTable::kColumnCount - 1));
}

void SelectedItemsModel::setValue(int row, int column, const std::string& value) {
    m_table.setValue(row, column, value);
    const QModelIndex changed = index(row - 1, column - 1);
    emit dataChanged(changed, changed);
}

void SelectedItemsModel::clear() {
    beginResetModel();
    m_table.Clear();
    endResetModel();
}

} // namespace marovin
