#include "TableListModel.h"

#include <algorithm>
#include <utility>

namespace marovin {

TableListModel::TableListModel(QObject* parent) : QAbstractListModel(parent) {}

void TableListModel::setEntries(QStringList entries) {
    beginResetModel();
    m_entries = std::move(entries);
    m_folded.clear();
    m_index.clear();
    m_shown.clear();
    m_rowOfEntry.clear();
    indexFrom(0);
    endResetModel();
}

void TableListModel::appendEntries(const QStringList& entries) {
    if (entries.isEmpty())
        return;
    const int first = entryCount();
    m_entries.append(entries);
    // The rows of the new entries the search shows come after every row shown so far.
    int newRows = 0;
    for (int i = first; i < entryCount(); ++i) {
        m_folded.push_back(m_entries.at(i).toCaseFolded());
        newRows += matches(i) ? 1 : 0;
    }
    m_index.reserve(entryCount());
    m_rowOfEntry.resize(m_entries.size(), -1);
    if (newRows > 0)
        beginInsertRows(QModelIndex(), shownCount(), shownCount() + newRows - 1);
    for (int i = first; i < entryCount(); ++i) {
        addToIndex(i);
        if (matches(i)) {
            m_rowOfEntry[static_cast<std::size_t>(i)] = shownCount();
            m_shown.push_back(i);
        }
    }
    if (newRows > 0)
        endInsertRows();
}

void TableListModel::indexFrom(int firstEntry) {
    m_folded.reserve(m_entries.size());
    m_index.reserve(entryCount());
    m_rowOfEntry.assign(m_entries.size(), -1);
    m_shown.reserve(m_entries.size());
    for (int i = firstEntry; i < entryCount(); ++i) {
        m_folded.push_back(m_entries.at(i).toCaseFolded());
        addToIndex(i);
        if (matches(i)) {
            m_rowOfEntry[static_cast<std::size_t>(i)] = shownCount();
            m_shown.push_back(i);
        }
    }
}

void TableListModel::addToIndex(int entryIndex) {
    // A name listed twice is found at its first place.
    if (!m_index.contains(m_entries.at(entryIndex)))
        m_index.insert(m_entries.at(entryIndex), entryIndex);
}

bool TableListModel::matches(int entryIndex) const {
    return m_foldedFilter.isEmpty() ||
           m_folded[static_cast<std::size_t>(entryIndex)].contains(m_foldedFilter);
}

void TableListModel::setFilter(const QString& strText) {
    const QString folded = strText.toCaseFolded();
    if (folded == m_foldedFilter) {
        m_filter = strText;
        return;
    }
    // A search that contains the last one can only show entries the last one showed.
    const bool narrowing = !m_foldedFilter.isEmpty() && folded.contains(m_foldedFilter);
    m_filter = strText;
    m_foldedFilter = folded;
    beginResetModel();
    std::vector<int> shown;
    if (narrowing) {
        shown.reserve(m_shown.size());
        for (int i : m_shown) {
            if (matches(i))
                shown.push_back(i);
        }
        for (int i : m_shown)
            m_rowOfEntry[static_cast<std::size_t>(i)] = -1;
    } else {
        shown.reserve(m_entries.size());
        for (int i = 0; i < entryCount(); ++i) {
            if (matches(i))
                shown.push_back(i);
        }
        std::fill(m_rowOfEntry.begin(), m_rowOfEntry.end(), -1);
    }
    m_shown = std::move(shown);
    for (int row = 0; row < shownCount(); ++row)
        m_rowOfEntry[static_cast<std::size_t>(m_shown[static_cast<std::size_t>(row)])] = row;
    endResetModel();
}

QString TableListModel::shownEntry(int row) const {
    if (row < 0 || row >= shownCount())
        return QString();
    return m_entries.at(m_shown[static_cast<std::size_t>(row)]);
}

int TableListModel::rowOf(const QString& strEntry) const {
    const auto it = m_index.constFind(strEntry);
    if (it == m_index.cend())
        return -1;
    return m_rowOfEntry[static_cast<std::size_t>(it.value())];
}

int TableListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shownCount();
}

QVariant TableListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= shownCount())
        return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole || role == Qt::AccessibleTextRole)
        return shownEntry(index.row());
    return {};
}

Qt::ItemFlags TableListModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled |
           Qt::ItemNeverHasChildren;
}

} // namespace marovin
