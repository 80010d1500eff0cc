#include "TableListModel.h"

#include <algorithm>
#include <utility>

namespace marovin {

TableListModel::TableListModel(QObject* parent) : QAbstractListModel(parent) {}

void TableListModel::setEntries(QStringList entries, std::vector<QString> folded) {
    beginResetModel();
    m_entries = std::move(entries);
    m_folded = std::move(folded);
    if (m_folded.size() != static_cast<std::size_t>(m_entries.size())) {
        m_folded.clear();
        m_folded.reserve(static_cast<std::size_t>(m_entries.size()));
        for (const QString& entry : std::as_const(m_entries))
            m_folded.push_back(entry.toCaseFolded());
    }
    m_index.clear();
    m_blnIndexed = false;
    m_shown.clear();
    m_rowOfEntry.assign(m_folded.size(), -1);
    showFrom(0);
    endResetModel();
}

void TableListModel::appendEntries(const QStringList& entries, const std::vector<QString>& folded) {
    if (entries.isEmpty())
        return;
    const int first = entryCount();
    m_entries.append(entries);
    for (qsizetype i = 0; i < entries.size(); ++i)
        m_folded.push_back(folded.size() == static_cast<std::size_t>(entries.size())
                               ? folded[static_cast<std::size_t>(i)]
                               : entries[i].toCaseFolded());
    m_rowOfEntry.resize(m_folded.size(), -1);
    // The rows of the new entries the search shows come after every row shown so far.
    int newRows = 0;
    for (int i = first; i < entryCount(); ++i)
        newRows += matches(i) ? 1 : 0;
    if (newRows > 0)
        beginInsertRows(QModelIndex(), shownCount(), shownCount() + newRows - 1);
    showFrom(first);
    if (m_blnIndexed) {
        for (int i = first; i < entryCount(); ++i) {
            if (!m_index.contains(m_entries.at(i)))
                m_index.insert(m_entries.at(i), i);
        }
    }
    if (newRows > 0)
        endInsertRows();
}

void TableListModel::showFrom(int firstEntry) {
    for (int i = firstEntry; i < entryCount(); ++i) {
        if (matches(i)) {
            m_rowOfEntry[static_cast<std::size_t>(i)] = shownCount();
            m_shown.push_back(i);
        }
    }
}

void TableListModel::ensureIndex() const {
    if (m_blnIndexed)
        return;
    m_index.reserve(entryCount());
    // A name listed twice is found at its first place.
    for (int i = 0; i < entryCount(); ++i) {
        if (!m_index.contains(m_entries.at(i)))
            m_index.insert(m_entries.at(i), i);
    }
    m_blnIndexed = true;
}

bool TableListModel::contains(const QString& strEntry) const {
    ensureIndex();
    return m_index.contains(strEntry);
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
    ensureIndex();
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
