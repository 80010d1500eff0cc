// The table list and the tables-and-joins diagram: filling the list, placing tables with unique
// aliases, the join rule, and the removal of a table with what depends on it.

#include "SelectedItemsModel.h"
#include "TableCatalogue.h"
#include "TableListModel.h"
#include "marovin/DbForeignKey.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/cTables.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/frmSubQuery.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/uscMarovin.h"

#include <QCheckBox>
#include <QCursor>
#include <QDataStream>
#include <QDropEvent>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QLocale>
#include <QMimeData>
#include <QProgressBar>
#include <QTableView>
#include <QToolButton>
#include <QTreeWidget>
#include <unordered_map>

namespace marovin {

namespace {

constexpr const char* kSubQueryPrefix = "Sub query: ";
// The mime type QListWidget uses for the entries it drags.
constexpr const char* kListMimeType = "application/x-qabstractitemmodeldatalist";

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

// "alias.column" as the grid's field parser reads it back: a part holding a dot or a bracket is
// protected by brackets, every other part stays as the user sees it.
std::string fieldReference(const std::string& alias, const std::string& column) {
    auto part = [](const std::string& name) {
        return name.find_first_of(".[]") == std::string::npos
                   ? name
                   : "[" + ReplaceAll(name, "]", "]]") + "]";
    };
    return part(alias) + "." + part(column);
}

bool hasItems(const cSQLQuery& query) {
    return query.CalculatedItems()->Count() + query.SelectedItems()->Count() > 0;
}

} // namespace

void uscMarovin::FillTableList() {
    QStringList entries;
    std::vector<QString> folded;
    if (m_currentSubQuery && !Trim(m_currentSubQuery->strName()).empty() &&
        hasItems(*m_currentSubQuery)) {
        entries << qs(kSubQueryPrefix + m_currentSubQuery->strName());
        folded.push_back(entries.back().toCaseFolded());
    }
    if (m_db) {
        m_db->setBlnIncludeViews(m_chkAlsoListViews->isChecked());
        if (m_chkAlsoListSystemTables->isChecked()) {
            m_db->setBlnExcludeSystemTables(false);
            m_db->setBlnExcludeSystemViews(!m_db->blnIncludeViews());
        } else {
            m_db->setBlnExcludeSystemTables(true);
            m_db->setBlnExcludeSystemViews(true);
        }
        // The entries and their folded forms were made on the worker; they are shared, not
        // copied, here.
        const std::vector<DbSession::TableRow>& rows = m_catalogue->rows();
        const QStringList& catalogueEntries = m_catalogue->entries();
        const std::vector<QString>& catalogueFolded = m_catalogue->foldedEntries();
        entries.reserve(entries.size() + static_cast<qsizetype>(rows.size()));
        folded.reserve(folded.size() + rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (m_db->blnListsTableRow(rows[i])) {
                entries << catalogueEntries[static_cast<qsizetype>(i)];
                folded.push_back(catalogueFolded[i]);
            }
        }
    }
    // The entry the user was on stays current when the list is filled again.
    const QString current = m_tableModel->shownEntry(currentListRow());
    m_tableModel->setEntries(std::move(entries), std::move(folded));
    if (!current.isEmpty()) {
        if (const int row = m_tableModel->rowOf(current); row >= 0)
            m_lstTables->setCurrentIndex(m_tableModel->index(row));
    }
    updateTableCount();
}

void uscMarovin::onCatalogueRowsAppended(int first) {
    if (!m_db)
        return;
    const std::vector<DbSession::TableRow>& rows = m_catalogue->rows();
    QStringList entries;
    std::vector<QString> folded;
    for (std::size_t i = static_cast<std::size_t>(first); i < rows.size(); ++i) {
        if (m_db->blnListsTableRow(rows[i])) {
            entries << m_catalogue->entries()[static_cast<qsizetype>(i)];
            folded.push_back(m_catalogue->foldedEntries()[i]);
        }
    }
    m_tableModel->appendEntries(entries, folded);
    updateTableCount();
}

void uscMarovin::onCatalogueStateChanged() {
    const bool reading = m_catalogue->blnReading();
    m_prgTables->setVisible(reading);
    m_cmdCancelTables->setVisible(reading);
    m_cmdRefreshTables->setVisible(!reading);
    updateTableCount();
    if (m_catalogue->state() == TableCatalogue::State::Unchecked &&
        !m_catalogue->strError().isEmpty())
        emit statusMessage(tr("The table list could not be read: %1").arg(m_catalogue->strError()));
}

void uscMarovin::openCatalogue(bool blnForce) {
    if (m_db)
        m_catalogue->open(*m_db, blnForce);
    else
        m_catalogue->close();
}

bool uscMarovin::waitForCatalogue() {
    return m_catalogue->waitUntilCurrent(this, tr("Reading the table list of the database...")) !=
           TableCatalogue::Outcome::Cancelled;
}

void uscMarovin::setCatalogueCache(std::shared_ptr<CatalogueCache> cache) {
    m_catalogue->setCache(std::move(cache));
}

void uscMarovin::RefreshTableList() {
    guarded(tr("Tables"), [this] { openCatalogue(true); });
}

void uscMarovin::CancelTableList() {
    guarded(tr("Tables"), [this] { m_catalogue->cancel(); });
}

bool uscMarovin::blnReadingTableList() const {
    return m_catalogue->blnReading();
}

void uscMarovin::applyTableFilter() {
    const QString current = m_tableModel->shownEntry(currentListRow());
    m_tableModel->setFilter(m_txtTableFilter->text().trimmed());
    // The entry the user was on stays current while the search shows it; a hidden entry is not
    // selected, since "Add table" places the selected entry.
    if (const int row = m_tableModel->rowOf(current); row >= 0 && !current.isEmpty())
        m_lstTables->setCurrentIndex(m_tableModel->index(row));
    updateTableCount();
}

void uscMarovin::updateTableCount() {
    const int total = m_tableModel->entryCount();
    const QLocale locale;
    QString text;
    if (!m_tableModel->filter().isEmpty())
        text =
            tr("%1 of %2").arg(locale.toString(m_tableModel->shownCount()), locale.toString(total));
    else
        text = total == 1 ? tr("1 table") : tr("%1 tables").arg(locale.toString(total));
    // While the list is read, the progress bar beside the count shows it; the words would not
    // fit beside it in a narrow pane, so they are in the accessible name and the tooltip only.
    QString fullText = text;
    if (m_catalogue->blnReading())
        fullText = tr("%1, reading...").arg(text);
    else if (m_catalogue->state() == TableCatalogue::State::Cancelled)
        text = fullText = tr("%1, stopped").arg(text);
    m_lblTableCount->setText(text);
    m_lblTableCount->setAccessibleName(fullText);
    m_lblTableCount->setToolTip(fullText);
    // What the empty list says depends on why it is empty.
    QString hint;
    if (m_catalogue->blnReading())
        hint = tr("Reading the tables of the database...");
    else if (!m_tableModel->filter().isEmpty() && total > 0)
        hint = tr("No table name contains \"%1\"").arg(m_tableModel->filter());
    else if (m_catalogue->state() == TableCatalogue::State::Cancelled)
        hint = tr("The reading was stopped; Ctrl+R reads the list again");
    else if (m_catalogue->state() == TableCatalogue::State::Unchecked)
        hint = tr("The tables could not be read; Ctrl+R tries again");
    else if (m_db)
        hint = tr("The database has no tables to list");
    else
        hint = tr("Connect to a database to list its tables");
    m_lblTablesHint->setText(hint);
}

int uscMarovin::currentListRow() const {
    const QModelIndex current = m_lstTables->currentIndex();
    return current.isValid() ? current.row() : -1;
}

bool uscMarovin::handleTableFilterKey(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Down:
        if (m_tableModel->shownCount() > 0)
            m_lstTables->setCurrentIndex(m_tableModel->index(0));
        m_lstTables->setFocus(Qt::TabFocusReason);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        placeListEntry(m_tableModel->shownCount() > 0 ? 0 : -1);
        return true;
    case Qt::Key_Escape:
        if (m_txtTableFilter->text().isEmpty())
            return false;
        m_txtTableFilter->clear();
        return true;
    default:
        return false;
    }
}

void uscMarovin::SelectTable() {
    guarded(tr("Add table"), [this] {
        const QModelIndexList selected = m_lstTables->selectionModel()->selectedIndexes();
        if (selected.isEmpty())
            return;
        AddTableToDiagram(m_tableModel->shownEntry(selected.first().row()).toStdString(),
                          {TablePlacement::InView, {}});
        EnableButtons();
    });
}

void uscMarovin::placeListEntry(int row) {
    if (row < 0 || row >= m_tableModel->shownCount())
        return;
    m_lstTables->setCurrentIndex(m_tableModel->index(row));
    SelectTable();
}

bool uscMarovin::IsInTableList(const QString& strText) const {
    return m_tableModel->contains(strText);
}

QString uscMarovin::tableListEntry(const std::string& strName) const {
    const QString exact = qs(strName);
    if (IsInTableList(exact))
        return exact;
    // A document may name the table with brackets ("dbo.[Order]") or without them.
    const std::string wanted = UnbracketQualifiedName(strName);
    if (IsInTableList(qs(wanted)))
        return qs(wanted);
    for (const QString& entry : m_tableModel->entries()) {
        if (UnbracketQualifiedName(entry.toStdString()) == wanted)
            return entry;
    }
    return QString();
}

std::string uscMarovin::AddTableToCollection(const std::string& strTable, bool blnIsSubQuery) {
    std::string base = LastNamePart(strTable);
    if (Trim(base).empty()) {
        // A name that ends in a dot ("dbo.x.") or is empty would give an empty alias, which can
        // neither key the table nor name it in the statement: take the last part that is not
        // blank, else a generic name.
        for (const std::string& part : Split(strTable, ".")) {
            if (!Trim(part).empty())
                base = Trim(part);
        }
        if (Trim(base).empty())
            base = blnIsSubQuery ? "VirtualTable" : "Table";
    }
    // Every placed table is keyed by its alias, which is set here and never changed, so testing
    // the key tests the aliases as well. The keys ignore letter case: a candidate that only
    // differs in case from an alias is skipped too, so the key stays unique.
    std::string candidate = base;
    for (int k = 1; m_tables->HasKey(candidate); ++k)
        candidate = base + std::to_string(k);
    auto table = m_tables->Add(candidate);
    table->setBlnIsSubQuery(blnIsSubQuery);
    if (blnIsSubQuery)
        table->setSubQuery(m_currentSubQuery);
    table->setStrName(strTable);
    table->setStrAlias(candidate);
    return candidate;
}

void uscMarovin::AddTableToDiagram(const std::string& strTable, TablePlacement placement) {
    std::string columns;
    std::string name;
    bool isSubQuery = false;
    const auto at = strTable.find(kSubQueryPrefix);
    if (at != std::string::npos) {
        if (m_currentSubQuery)
            columns = ListOutputNames(*m_currentSubQuery);
        name = strTable.substr(at + std::string_view(kSubQueryPrefix).size());
        isSubQuery = true;
    } else {
        if (m_db)
            columns = m_catalogue->columns(this, *m_db, strTable);
        name = strTable;
    }
    const std::vector<std::string> parts = Split(columns, ",");
    const std::string alias = AddTableToCollection(name, isSubQuery);

    // Alias, an empty line, a blank, the column count, then five lines per column.
    QString definition = qs(alias) + "\n\n \n" + QString::number(parts.size());
    for (const std::string& column : parts)
        definition += "\n" + qs(column) + "\n" + qs(column) + "\n\n\n3 4 0 0";
    const int n = static_cast<int>(parts.size());
    const int left = m_intPlacementCounter * 160 + 50;
    // The alias's length in characters (UTF-16 units), not in UTF-8 bytes.
    const int width = static_cast<int>(qs(alias).size()) * 5 + 120;
    int height = 10 * (n - 1) + 100;
    if (height > 300)
        height = 300;
    QString error;
    bool placed = false;
    try {
        switch (placement.kind) {
        case TablePlacement::NextSlot:
            placed = m_dvTablesAndJoins->AddTable(definition, left, 20, width, height, &error);
            break;
        case TablePlacement::InView:
            placed = m_dvTablesAndJoins->AddTable(definition, -1, -1, width, height, &error);
            break;
        case TablePlacement::AtPoint:
            placed = m_dvTablesAndJoins->AddTableAt(definition, placement.viewportPos, width,
                                                    height, &error);
            break;
        }
    } catch (...) {
        m_tables->Remove(m_tables->Count());
        throw;
    }
    if (!placed) {
        // The new table is the last of the collection; it goes by position, which every table
        // has, rather than by a key.
        m_tables->Remove(m_tables->Count());
        m_services.messageBox->Show(tr("Add table"),
                                    tr("The table %1 cannot be placed: %2").arg(qs(name), error),
                                    MessageIcon::Exclamation, MessageButtons::Ok);
        return;
    }
    ++m_intPlacementCounter;
    if (placement.kind != TablePlacement::NextSlot) {
        // The user placed it: it is shown, and joined along its declared keys.
        m_dvTablesAndJoins->revealTable(qs(alias));
        if (!isSubQuery && m_chkAutoJoin->isChecked())
            joinAlongForeignKeys(alias, name);
    }
    NotifyQueryChanged();
}

bool uscMarovin::joinClosesLoop(const QString& a, const QString& b) const {
    const QStringList joins = m_dvTablesAndJoins->JoinsList().split(QLatin1Char('\n'));
    const int count = joins.value(0).toInt();
    bool seenA = false;
    bool seenB = false;
    for (int i = 1; i <= count; ++i) {
        const QString first = joins.value(5 * (i - 1) + 1);
        const QString second = joins.value(5 * (i - 1) + 3);
        const bool touchesA = (a == first || a == second);
        const bool touchesB = (b == first || b == second);
        if (touchesA)
            seenA = true;
        if (touchesB)
            seenB = true;
        if (touchesA && touchesB) {
            seenA = false;
            seenB = false;
        }
    }
    return seenA && seenB;
}

void uscMarovin::joinAlongForeignKeys(const std::string& strAlias, const std::string& strName) {
    if (!m_db)
        return;
    const std::string newName = UnbracketQualifiedName(strName);
    // The first placement of a table, other than the new box.
    auto placedAlias = [&](const std::string& table) -> std::string {
        const std::string wanted = UnbracketQualifiedName(table);
        for (const auto& placed : *m_tables) {
            if (placed->strAlias() != strAlias && !placed->blnIsSubQuery() &&
                UnbracketQualifiedName(placed->strName()) == wanted)
                return placed->strAlias();
        }
        return std::string();
    };
    // Only keys to tables already placed can be drawn, so only their keys are asked for.
    std::vector<std::string> placedNames;
    for (const auto& placed : *m_tables) {
        if (placed->strAlias() != strAlias && !placed->blnIsSubQuery())
            placedNames.push_back(placed->strName());
    }
    if (placedNames.empty())
        return;
    QStringList joined;
    QStringList linkedAliases;
    const bool wasLoading = m_blnLoading;
    // The joins are one edit with the placing: the diagram's join signals publish nothing.
    m_blnLoading = true;
    try {
        for (const DbForeignKey& key :
             m_catalogue->foreignKeys(this, *m_db, strName, placedNames)) {
            const bool referencing = UnbracketQualifiedName(key.strTable) == newName;
            const bool referenced = UnbracketQualifiedName(key.strReferencedTable) == newName;
            if (referencing && referenced)
                continue; // a key of the table on itself needs a second placement
            const std::string other =
                placedAlias(referencing ? key.strReferencedTable : key.strTable);
            if (other.empty() || linkedAliases.contains(qs(other)) ||
                key.colColumns.size() != key.colReferencedColumns.size() ||
                joinClosesLoop(qs(other), qs(strAlias)))
                continue;
            // Drawn from the table already there onto the new one, one line per column pair;
            // the statement joins the pairs with "and".
            for (size_t i = 0; i < key.colColumns.size(); ++i) {
                const std::string& otherColumn =
                    referencing ? key.colReferencedColumns[i] : key.colColumns[i];
                const std::string& newColumn =
                    referencing ? key.colColumns[i] : key.colReferencedColumns[i];
                m_dvTablesAndJoins->AddJoin(qs(other), qs(otherColumn), qs(strAlias), qs(newColumn),
                                            QStringLiteral("Inner Join"));
            }
            linkedAliases << qs(other);
            joined << tr("%1 to %2").arg(qs(strAlias), qs(other));
        }
    } catch (...) {
        m_blnLoading = wasLoading;
        throw;
    }
    m_blnLoading = wasLoading;
    if (!joined.isEmpty())
        emit statusMessage(
            tr("Joined along foreign keys: %1").arg(joined.join(QStringLiteral(", "))));
}

void uscMarovin::onJoinRequest(const QString& joinText, int* accept) {
    const QStringList join = joinText.split(QLatin1Char('\n'));
    if (joinClosesLoop(join.value(0), join.value(2))) {
        if (accept != nullptr)
            *accept = 0;
        m_services.messageBox->Show(tr("Add join"), tr("Loops not allowed in join-schema."),
                                    MessageIcon::Exclamation, MessageButtons::Ok);
    }
}

void uscMarovin::onTableRemovalRequest(const QString& alias, bool* allow) {
    QString message;
    if (IsInTableList(kSubQueryPrefix + alias)) {
        message = QStringLiteral(
            "This table is a sub-query. After removal, this sub-query will be deleted "
            "from \r\nthe FROM clause of the main SQL-query which may become invalid. "
            "Fields, expressions \r\nand conditions based on this table must be removed "
            "manually.\r\nDo you want to continue?");
    } else {
        message = QStringLiteral("Do you really want to remove table ") + alias +
                  QStringLiteral("?\r\nRemoving a table may have implications for selected "
                                 "fields and expressions");
    }
    const MessageAnswer answer = m_services.messageBox->Show(
        QStringLiteral("Remove a Table"), message, MessageIcon::Exclamation, MessageButtons::YesNo);
    if (allow != nullptr)
        *allow = (answer == MessageAnswer::Yes);
}

void uscMarovin::onTableRemoved(const QString& alias) {
    const std::string strAlias = alias.toStdString();
    for (long i = m_tables->Count(); i >= 1; --i) {
        if (m_tables->Item(i)->strAlias() == strAlias) {
            m_tables->Remove(i);
            --m_intPlacementCounter;
        }
    }
    if (!IsInTableList(kSubQueryPrefix + alias))
        removeTableDependants(strAlias);
    NotifyQueryChanged();
    EnableButtons();
}

void uscMarovin::removeTableDependants(const std::string& strAlias) {
    const SelectedItemsTable& rows = m_selectedItems->table();
    if (m_intPlacementCounter > 0) {
        for (int r = 1; r <= rows.SelectedItemsCount();) {
            if (Trim(rows.Value(r, SelectedItemsTable::kTableAlias)) == Trim(strAlias)) {
                setCurrentGridRow(r);
                RemoveSelectItem(false);
            } else {
                ++r;
            }
        }
    } else {
        const int count = rows.SelectedItemsCount();
        for (int i = 0; i < count; ++i) {
            setCurrentGridRow(1);
            RemoveSelectItem(false);
        }
    }

    const QString needle = qs(strAlias);
    auto removeFirstContaining = [&needle](QTreeWidget* list, int column) {
        for (int i = 0; i < list->topLevelItemCount(); ++i) {
            if (list->topLevelItem(i)->text(column).contains(needle, Qt::CaseSensitive)) {
                delete list->takeTopLevelItem(i);
                return true;
            }
        }
        return false;
    };
    while (removeFirstContaining(m_lvExpressions, 2)) {
    }
    while (removeFirstContaining(m_lvConditions, 0)) {
    }
}

void uscMarovin::onColumnChosen(const QString& alias, const QString& column) {
    AddSelectItem(fieldReference(alias.toStdString(), column.toStdString()), column.toStdString(),
                  std::string(), true);
    NotifyQueryChanged();
}

void uscMarovin::ArrangeTables() {
    guarded(tr("Arrange tables"), [this] {
        m_strLayoutCaption = tr("Arrange tables");
        m_dvTablesAndJoins->Arrange();
        m_strLayoutCaption.clear();
    });
}

void uscMarovin::refreshTicks() {
    // The rows' fields by table alias, gathered in one pass over the rows.
    const SelectedItemsTable& rows = m_selectedItems->table();
    std::unordered_map<std::string, QStringList> fieldsByAlias;
    for (int r = 1; r <= rows.SelectedItemsCount(); ++r) {
        fieldsByAlias[Trim(rows.Value(r, SelectedItemsTable::kTableAlias))]
            << qs(rows.Value(r, SelectedItemsTable::kSelectedField));
    }
    for (const QString& alias : m_dvTablesAndJoins->tableAliases()) {
        const auto found = fieldsByAlias.find(alias.toStdString());
        m_dvTablesAndJoins->setAllTicks(alias, found == fieldsByAlias.end() ? QStringList()
                                                                            : found->second);
    }
}

void uscMarovin::onColumnTickRequested(const QString& alias, const QString& column, bool ticked) {
    if (ticked) {
        onColumnChosen(alias, column);
        return;
    }
    // Unticking is deliberate: every row of the column goes, without a question.
    const std::string strAlias = alias.toStdString();
    const std::string strColumn = column.toStdString();
    bool removed = false;
    for (int r = m_selectedItems->table().SelectedItemsCount(); r >= 1; --r) {
        const SelectedItemsTable& rows = m_selectedItems->table();
        if (Trim(rows.Value(r, SelectedItemsTable::kTableAlias)) == strAlias &&
            rows.Value(r, SelectedItemsTable::kSelectedField) == strColumn) {
            removeSortEntry(gridOutputName(r));
            m_selectedItems->removeRow1(r);
            removed = true;
        }
    }
    if (!removed)
        return;
    refreshSortViews();
    EnableButtons();
    NotifyQueryChanged();
}

void uscMarovin::onAllColumns(const QString& alias) {
    {
        BusyPointerScope busy(m_services.busyPointer.get());
        const std::string strAlias = alias.toStdString();
        std::string columns;
        if (m_currentSubQuery && m_currentSubQuery->strName() == strAlias)
            columns = ListOutputNames(*m_currentSubQuery);
        else if (m_db) {
            // The box is named by its alias; the catalogue knows the table by its name.
            const auto table = FindTableByAlias(*m_tables, strAlias);
            columns = m_catalogue->columns(this, *m_db, table ? table->strName() : strAlias);
        }
        for (const std::string& column : Split(columns, ","))
            AddSelectItem(fieldReference(strAlias, column), column, std::string(), false);
    }
    NotifyQueryChanged();
}

bool uscMarovin::handleDiagramDrop(QObject* watched, QEvent* event) {
    auto* drop = static_cast<QDropEvent*>(event);
    if (!drop->mimeData()->hasFormat(kListMimeType))
        return false;
    // The entry dragged from the table list: the display text of the first encoded item.
    QByteArray encoded = drop->mimeData()->data(kListMimeType);
    QDataStream stream(&encoded, QIODevice::ReadOnly);
    QString entry;
    while (!stream.atEnd() && entry.isEmpty()) {
        int row = 0;
        int column = 0;
        QMap<int, QVariant> roles;
        stream >> row >> column >> roles;
        entry = roles.value(Qt::DisplayRole).toString();
    }
    // Only entries of this control's table list are placed.
    if (entry.isEmpty() || !IsInTableList(entry))
        return false;
    drop->setDropAction(Qt::CopyAction);
    drop->accept();
    if (event->type() == QEvent::Drop) {
        // The box's corner goes where the entry was let go.
        auto* target = qobject_cast<QWidget*>(watched);
        const QPoint global =
            target != nullptr ? target->mapToGlobal(drop->position().toPoint()) : QCursor::pos();
        AddTableToDiagram(entry.toStdString(),
                          {TablePlacement::AtPoint,
                           m_dvTablesAndJoins->view()->viewport()->mapFromGlobal(global)});
        EnableButtons();
    }
    return true;
}

void uscMarovin::EditSubQuery() {
    guarded(tr("Edit Sub-Query"), [this] {
        if (m_currentSubQuery) {
            frmSubQuery dialog(m_services, this);
            // The nested editor shares this control's services; the dialog takes it as a child.
            auto* nested = new uscMarovin(nullptr, m_services);
            nested->setObjectName(QStringLiteral("uscMarovin1"));
            SubQueryEditor editor;
            editor.widget = nested;
            editor.setDatabaseObject = [nested](std::shared_ptr<cDbConnection> connection) {
                nested->setDatabaseObject(std::move(connection));
            };
            editor.setSQLQueryObject = [nested](std::shared_ptr<cSQLQuery> query) {
                nested->setSQLQueryObject(std::move(query));
            };
            editor.setBlnBuildSubQuery = [nested](bool value) {
                nested->setBlnBuildSubQuery(value);
            };
            editor.SQLQueryObject = [nested] {
                return nested->SQLQueryObject();
            };
            dialog.setEditor(std::move(editor));
            connect(nested, &uscMarovin::Changed, &dialog, &frmSubQuery::editorChanged);
            dialog.setObjConnection(m_db);
            dialog.setObjSubQuery(m_currentSubQuery);
            if (m_colParameters)
                nested->setColParameters(m_colParameters);
            m_currentSubQuery->setBlnIsSubQuery(true);
            dialog.exec();
            if (std::shared_ptr<cSQLQuery> edited = dialog.objSubQuery()) {
                // Boxes already placed for the sub-query show the edited one from now on, as
                // they would after the query was stored and loaded again.
                for (const auto& table : *m_tables) {
                    if (table->blnIsSubQuery() && table->SubQuery() == m_currentSubQuery)
                        table->setSubQuery(edited);
                }
                m_currentSubQuery = std::move(edited);
                m_currentSubQuery->setBlnIsSubQuery(true);
            }
        }
        NotifyQueryChanged();
        FillTableList();
    });
}

} // namespace marovin
