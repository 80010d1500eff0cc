#include "SelectedItemsModel.h"

namespace marovin {

namespace {

const char* const kCaptions[SelectedItemsModel::kColumnCount] = {
    "Selected Field", "Alias",     "Aggregation", "From Table",
    "Table Alias",    "Sort Type", "Sort Order"};

} // namespace

int SelectedItemsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_table.SelectedItemsCount();
}

int SelectedItemsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant SelectedItemsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const int column = index.column() + 1;
    if (column >= kSortType) {
        if (role != Qt::DisplayRole && role != Qt::EditRole)
            return {};
        const auto [type, position] =
            m_sortSource ? m_sortSource(index.row() + 1) : std::pair<QString, int>();
        if (column == kSortType)
            return type;
        return position > 0 ? QVariant(position) : QVariant(QString());
    }
    if (role == Qt::DisplayRole || role == Qt::EditRole || role == Qt::ToolTipRole)
        return QString::fromStdString(m_table.Value(index.row() + 1, column));
    return {};
}

QVariant SelectedItemsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Horizontal && section >= 0 && section < kColumnCount)
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
    if (column == SelectedItemsTable::kAlias || column == SelectedItemsTable::kAggregation ||
        column == kSortType)
        result |= Qt::ItemIsEditable;
    // A position is only given to a sorted row.
    if (column == kSortOrder && m_sortSource && m_sortSource(index.row() + 1).second > 0)
        result |= Qt::ItemIsEditable;
    return result;
}

bool SelectedItemsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    // An editor closed without a change commits nothing: the row is not written again and the
    // control is not told.
    if (value.toString() == data(index, Qt::EditRole).toString())
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
    emit dataChanged(index(first, 0), index(last, kColumnCount - 1));
}

void SelectedItemsModel::sortChanged() {
    if (m_table.SelectedItemsCount() == 0)
        return;
    emit dataChanged(index(0, kSortType - 1),
                     index(m_table.SelectedItemsCount() - 1, kColumnCount - 1));
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
