// The sort order: the "Sort Type" and "Sort Order" columns of the selected-items grid and of the
// calculated-items list, a view of the query's sort entries.
//
// The query writes its sort entries into ORDER BY from the last to the first, so the control
// keeps them in the reverse of the user's order: the entry the user gives Sort Order 1 is the
// last of the collection. An entry names an output: a row's alias (its field when it has none)
// or a calculated item's name, bracketed where the statement needs it.

#include "SelectedItemsModel.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cOrderByItems.h"
#include "marovin/cSQLQuery.h"
#include "marovin/uscMarovin.h"

#include <QAction>
#include <QMenu>
#include <QTableView>
#include <QTreeWidget>

namespace marovin {

namespace {

constexpr int kExpressionSortType = 3;
constexpr int kExpressionSortOrder = 4;

bool isDescending(const std::string& strSortOrder) {
    return ToUpperAscii(Trim(strSortOrder)) == "DESC";
}

bool sameName(const std::string& a, const std::string& b) {
    return UnbracketQualifiedName(Trim(a)) == UnbracketQualifiedName(Trim(b));
}

} // namespace

std::string uscMarovin::sortName(const std::string& strOutputName) {
    const std::string trimmed = Trim(strOutputName);
    return NeedsBrackets(trimmed) ? BracketIdentifier(UnbracketIdentifier(trimmed)) : trimmed;
}

std::vector<uscMarovin::SortEntry> uscMarovin::sortEntries() const {
    std::vector<SortEntry> entries;
    if (!m_query)
        return entries;
    const auto& items = *m_query->OrderByItems();
    for (long pos = items.Count(); pos >= 1; --pos) {
        const auto item = items.Item(pos);
        entries.push_back({item->strItem(), item->strSortOrder()});
    }
    return entries;
}

void uscMarovin::writeSortEntries(const std::vector<SortEntry>& entries) {
    if (!m_query)
        return;
    auto& items = *m_query->OrderByItems();
    items.Clear();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        auto item = items.Add();
        item->setStrItem(entry->strItem);
        item->setStrSortOrder(entry->strSortOrder);
    }
}

int uscMarovin::sortPosition(const std::vector<SortEntry>& entries,
                             const std::string& strOutputName, const std::string& strOtherName) {
    for (size_t i = 0; i < entries.size(); ++i) {
        if (sameName(entries[i].strItem, strOutputName) ||
            (!strOtherName.empty() && sameName(entries[i].strItem, strOtherName)))
            return static_cast<int>(i) + 1;
    }
    return 0;
}

std::pair<QString, int> uscMarovin::sortOf(const std::string& strOutputName,
                                           const std::string& strOtherName) const {
    const std::vector<SortEntry> entries = sortEntries();
    const int position = sortPosition(entries, strOutputName, strOtherName);
    if (position == 0)
        return {QString(), 0};
    const bool descending = isDescending(entries[static_cast<size_t>(position - 1)].strSortOrder);
    return {descending ? QStringLiteral("Descending") : QStringLiteral("Ascending"), position};
}

std::string uscMarovin::gridOutputName(int intRow) const {
    const SelectedItemsTable& rows = m_selectedItems->table();
    const std::string& alias = rows.Value(intRow, SelectedItemsTable::kAlias);
    return Trim(alias).empty() ? rows.Value(intRow, SelectedItemsTable::kSelectedField) : alias;
}

std::string uscMarovin::gridColumnName(int intRow) const {
    const SelectedItemsTable& rows = m_selectedItems->table();
    const std::string tableAlias = Trim(rows.Value(intRow, SelectedItemsTable::kTableAlias));
    const std::string& field = rows.Value(intRow, SelectedItemsTable::kSelectedField);
    return tableAlias.empty() ? field : tableAlias + "." + field;
}

void uscMarovin::setSort(const std::string& strOutputName, const std::string& strOtherName,
                         const QString& strType, int intPosition) {
    std::vector<SortEntry> entries = sortEntries();
    const int current = sortPosition(entries, strOutputName, strOtherName);
    if (strType.isEmpty()) {
        if (current == 0)
            return;
        entries.erase(entries.begin() + (current - 1));
    } else {
        const std::string order = strType == QLatin1String("Descending") ? "DESC" : "ASC";
        SortEntry entry{sortName(strOutputName), order};
        if (current > 0) {
            entry = entries[static_cast<size_t>(current - 1)];
            entry.strSortOrder = order;
            entries.erase(entries.begin() + (current - 1));
        }
        // A new entry goes last unless a position is asked for; a position past the end is the
        // end.
        int position = intPosition > 0 ? intPosition : (current > 0 ? current : 0);
        if (position <= 0 || position > static_cast<int>(entries.size()) + 1)
            position = static_cast<int>(entries.size()) + 1;
        entries.insert(entries.begin() + (position - 1), entry);
    }
    writeSortEntries(entries);
}

void uscMarovin::renameSortEntry(const std::string& strOldName, const std::string& strNewName) {
    if (sameName(strOldName, strNewName))
        return;
    std::vector<SortEntry> entries = sortEntries();
    bool renamed = false;
    for (SortEntry& entry : entries) {
        if (sameName(entry.strItem, strOldName)) {
            entry.strItem = sortName(strNewName);
            renamed = true;
        }
    }
    if (renamed)
        writeSortEntries(entries);
}

void uscMarovin::removeSortEntry(const std::string& strOutputName) {
    std::vector<SortEntry> entries = sortEntries();
    const auto before = entries.size();
    std::erase_if(entries,
                  [&](const SortEntry& entry) { return sameName(entry.strItem, strOutputName); });
    if (entries.size() != before)
        writeSortEntries(entries);
}

void uscMarovin::refreshSortViews() {
    m_selectedItems->sortChanged();
    for (int i = 0; i < m_lvExpressions->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = m_lvExpressions->topLevelItem(i);
        const auto [type, position] = sortOf(item->text(0).toStdString(), std::string());
        item->setText(kExpressionSortType, type);
        item->setText(kExpressionSortOrder, position > 0 ? QString::number(position) : QString());
    }
}

void uscMarovin::onGridSortEdit(int intRow, int intColumn, const QString& strValue) {
    const std::string output = gridOutputName(intRow);
    const std::string column = gridColumnName(intRow);
    if (intColumn == SelectedItemsModel::kSortType) {
        setSort(output, column, strValue, 0);
    } else {
        const auto [type, position] = sortOf(output, column);
        if (position == 0)
            return;
        setSort(output, column, type, strValue.toInt());
    }
    refreshSortViews();
    NotifyQueryChanged();
}

void uscMarovin::showSortMenu(const QString& strCaption, const std::string& strOutputName,
                              const std::string& strOtherName, const QPoint& globalPos) {
    const auto [type, position] = sortOf(strOutputName, strOtherName);
    const int count = static_cast<int>(sortEntries().size());
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("menuSort"));
    menu.setTitle(strCaption);
    QAction* ascending = menu.addAction(tr("Sort &Ascending"));
    QAction* descending = menu.addAction(tr("Sort &Descending"));
    QAction* unsorted = menu.addAction(tr("&Not Sorted"));
    for (QAction* action : {ascending, descending, unsorted})
        action->setCheckable(true);
    ascending->setChecked(type == QLatin1String("Ascending"));
    descending->setChecked(type == QLatin1String("Descending"));
    unsorted->setChecked(type.isEmpty());
    menu.addSeparator();
    QAction* earlier = menu.addAction(tr("Sort &Earlier"));
    QAction* later = menu.addAction(tr("Sort &Later"));
    earlier->setEnabled(position > 1);
    later->setEnabled(position > 0 && position < count);
    QAction* chosen = menu.exec(globalPos);
    if (chosen == nullptr)
        return;
    if (chosen == ascending)
        setSort(strOutputName, strOtherName, QStringLiteral("Ascending"), 0);
    else if (chosen == descending)
        setSort(strOutputName, strOtherName, QStringLiteral("Descending"), 0);
    else if (chosen == unsorted)
        setSort(strOutputName, strOtherName, QString(), 0);
    else if (chosen == earlier)
        setSort(strOutputName, strOtherName, type, position - 1);
    else if (chosen == later)
        setSort(strOutputName, strOtherName, type, position + 1);
    refreshSortViews();
    NotifyQueryChanged();
}

void uscMarovin::onGridContextMenu(const QPoint& pos) {
    QModelIndex index = m_jgSelectedFields->indexAt(pos);
    if (!index.isValid())
        index = m_jgSelectedFields->currentIndex();
    if (!index.isValid())
        return;
    const int row = index.row() + 1;
    const QRect cell = m_jgSelectedFields->visualRect(index);
    const QPoint at = m_jgSelectedFields->viewport()->rect().contains(pos) &&
                              m_jgSelectedFields->indexAt(pos).isValid()
                          ? pos
                          : cell.bottomLeft();
    showSortMenu(tr("Sort"), gridOutputName(row), gridColumnName(row),
                 m_jgSelectedFields->viewport()->mapToGlobal(at));
}

void uscMarovin::onExpressionContextMenu(const QPoint& pos) {
    QTreeWidgetItem* item = m_lvExpressions->itemAt(pos);
    QPoint at = pos;
    if (item == nullptr) {
        item = m_lvExpressions->currentItem();
        if (item == nullptr)
            return;
        at = m_lvExpressions->visualItemRect(item).bottomLeft();
    }
    m_lvExpressions->setCurrentItem(item);
    showSortMenu(tr("Sort"), item->text(0).toStdString(), std::string(),
                 m_lvExpressions->viewport()->mapToGlobal(at));
}

} // namespace marovin
