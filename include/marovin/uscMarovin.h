#pragma once

#include "marovin/DbSession.h"
#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QPoint>
#include <QStringList>
#include <QWidget>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class QAction;
class QCheckBox;
class QUndoStack;
class QKeyEvent;
class QLabel;
class QLineEdit;
class QListView;
class QProgressBar;
class QToolButton;
class QPushButton;
class QTableView;
class QTreeWidget;
class QTreeWidgetItem;

namespace marovin {

class CatalogueCache;
class cDbConnection;
class DbCancellation;
class cSQLQuery;
class cTables;
class dvTablesAndJoins;
class SelectedItemsModel;
class SplitterBar;
class SqlTextView;
class TableCatalogue;
class TableListModel;

/// The embeddable query builder: a host gives it a database connection and a query, the user
/// places tables in the diagram, joins them, picks the output columns, and the control keeps the
/// query and its SQL text up to date. Every edit raises Changed before the query is rebuilt, so a
/// host reading the query inside its Changed handler sees the state before the edit.
///
/// Child views carry object names a host or a test can find them by: "lstTables",
/// "dvTablesAndJoins", "jgSelectedFields", "lvConditions", "lvExpressions", "txtSQLQuery",
/// "txtTableFilter", "lblTableCount", "prgTables", "cmdRefreshTables", "cmdCancelTables",
/// "chkAlsoListSystemTables", "chkAlsoListViews",
/// "chkUniqueRecords", "cmdAddTableToJoiner", "cmdSubQueries", "cmdMoveUp", "cmdMoveDown",
/// "cmdRemoveSelectItem", "cmdAddCondition", "cmdEditCondition", "cmdRemoveCondition",
/// "cmdAddExpression", "cmdEditExpression", "cmdRemoveExpression", "cmdCheckSQLSyntax",
/// "cmdFireQuery"; the splitter bars "imgSplit0" to "imgSplit4" and the drag indicator "picSplit".
class MAROVIN_EXPORT uscMarovin : public QWidget {
    Q_OBJECT
    /// Set on a form in Qt Designer; the property reads back whether sub-queries are switched off.
    Q_PROPERTY(bool blnBuildSubQuery READ subQueriesSwitchedOff WRITE setBlnBuildSubQuery)
    /// The user's own choice, kept in the settings, so not something a form fixes.
    Q_PROPERTY(bool blnAutoJoin READ blnAutoJoin WRITE setBlnAutoJoin DESIGNABLE false)
public:
    /// Services left empty take their Qt defaults (message boxes modal to this control, the
    /// application's settings store, the system clipboard, the wait cursor).
    explicit uscMarovin(QWidget* parent = nullptr, PlatformServices services = {});
    ~uscMarovin() override;

    /// Write-only. True hides and disables the sub-query button for good (a control editing a
    /// sub-query offers no further sub-queries); false does nothing.
    void setBlnBuildSubQuery(bool value);
    /// Write-only. The host's query parameter names; the reference is kept as given.
    void setColParameters(std::shared_ptr<std::vector<std::string>> parameters);
    /// Stores the query (the same object, not a copy) and rebuilds every pane from it. A query
    /// that cannot be loaded is refused with a message: the control keeps its previous query, and
    /// both objects are left as they were, so SQLQueryObject() tells the caller which one is in
    /// place.
    void setSQLQueryObject(std::shared_ptr<cSQLQuery> query);
    std::shared_ptr<cSQLQuery> SQLQueryObject() const { return m_query; }
    /// Stores the connection; the table list is filled by the next Refresh.
    void setDatabaseObject(std::shared_ptr<cDbConnection> connection);
    std::shared_ptr<cDbConnection> DatabaseObject() const { return m_db; }

    /// The table list is read on a worker thread: the list shows the entries as they arrive (at
    /// once from the catalogue cache when the database has not changed since), the window goes
    /// on answering, and the user may stop the reading. Loading a query that names tables waits
    /// for the list, with a busy indicator and Cancel (a cancelled load keeps the query before).
    /// Where catalogues are kept between sessions (by default the user's cache folder, see
    /// CatalogueCache); nullptr keeps none. Takes effect at the next Refresh.
    void setCatalogueCache(std::shared_ptr<CatalogueCache> cache);
    /// Reads the table list from the database again, whatever the cache says (Ctrl+R in the
    /// list).
    void RefreshTableList();
    /// Stops reading the table list; the entries that arrived stay.
    void CancelTableList();
    /// Whether the table list is being read.
    bool blnReadingTableList() const;

    /// Rebuilds every pane from the current query.
    void Refresh();
    /// Reads a T-SQL SELECT statement (as SQL Server Management Studio writes one, say) and loads
    /// the query it describes as a new query object, through the same loading as
    /// setSQLQueryObject: tables the database lacks are reported and left out. The tables get
    /// the aliases the diagram gives them, and every name in the statement follows. What the
    /// editor cannot show (TOP, comments, a join condition the diagram cannot draw, ...) is listed
    /// first and the user is asked whether to go on without it; a statement the editor would
    /// show with another meaning is refused with the list. Returns true when the statement was
    /// loaded; otherwise the control and its query stay as they were.
    bool LoadSQLText(const std::string& strSQL);
    /// The names of the tables the last load left out because the database lacks them (with
    /// everything that depended on them); empty when nothing was dropped.
    const QStringList& missingTables() const { return m_missingTables; }
    /// Places the table selected in the table list in the diagram.
    void SelectTable();
    /// A new condition written in the condition builder; a blank one is dropped.
    void AddCondition();
    /// The selected condition opened in the condition builder; nothing happens without one, and
    /// a condition confirmed unchanged raises no Changed.
    void EditCurrentCondition();
    /// A new calculated item written in the expression builder; a blank name or expression is
    /// dropped, and a name already used by an output column or a calculated item gets "_" in
    /// front of it until it is unique.
    void AddExpression();
    /// The selected calculated item opened in the expression builder; nothing happens without
    /// one. An edited name is not made unique.
    void EditSelectedExpression();
    /// Checks the statement on the server (parameter markers as string literals) and shows the
    /// server's answer. The check runs on a worker thread; the user may cancel it.
    void CheckSQLSyntax();
    /// Runs the statement (after asking for parameter values) and shows its first rows in the
    /// results viewer; the number of rows fetched comes from the setting "QueryPreview" /
    /// "NrRecords" (50 when absent or 0). The query runs on a worker thread; the user may cancel
    /// it, and a cancelled preview shows nothing.
    void FireQuery();
    /// Lays the diagram's boxes out along their joins (a step of the edit history).
    void ArrangeTables();
    /// Remove the selected condition or calculated item after asking the user.
    void RemoveCondition();
    void RemoveExpression();
    /// Removes the current row of the selected-items grid. No confirmation is asked whatever the
    /// argument says.
    void RemoveSelectItem(bool blnAskForConfirmation);

    /// The SQL text the last assembly produced, as shown in the SQL view (CR LF line breaks).
    const std::string& strSQL() const { return m_strSQL; }
    /// The five pane proportions read from the settings when the control was created.
    const std::array<float, 5>& paneProportions() const { return m_sngPaneProportions; }
    const PlatformServices& services() const { return m_services; }

    /// 8000 by 8000 twips at the screen's logical resolution; the control is never made smaller.
    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

    /// The edit history: every edit of the control is a step that Undo takes back, leaving the
    /// query exactly as it was before the edit and raising Changed once; moving boxes is a step
    /// that changes no query and raises nothing. Loading a query starts a new history. The
    /// actions carry Ctrl+Z and Ctrl+Shift+Z (and the platform's redo key) while the focus is
    /// inside the control; a host may also put them into its Edit menu.
    QUndoStack* undoStack() const { return m_undoStack; }
    QAction* undoAction() const { return m_undoAction; }
    QAction* redoAction() const { return m_redoAction; }
    void Undo();
    void Redo();
    /// One state of the history: the query's document and the places of the boxes.
    struct Snapshot {
        std::string strDocument;
        QString strLayout;
    };

    /// Whether placing a table joins it along its declared foreign keys to the tables already in
    /// the diagram (the "Join along foreign keys" check box; on unless the settings say
    /// otherwise, and kept in them).
    bool blnAutoJoin() const;
    void setBlnAutoJoin(bool value);

signals:
    void Changed();
    /// A short note for the host's status line, such as the joins drawn along foreign keys.
    void statusMessage(const QString& text);

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Core (uscMarovin.cpp).
    /// Whether setBlnBuildSubQuery(true) has switched the sub-query button off.
    bool subQueriesSwitchedOff() const;
    /// Runs an action coming from Qt (a slot, an event, a public method). A failure is shown
    /// under the caption instead of unwinding into the event loop; returns false then.
    bool guarded(const QString& strCaption, const std::function<void()>& action);
    /// Loads the query into the panes; on failure restores the previous query and its panes,
    /// leaves both objects as they were, and says why.
    bool replaceQuery(std::shared_ptr<cSQLQuery> query);
    void refreshPanes();
    void setupViews();

    /// Layout and splitters (PaneLayout.cpp).
    void readPaneProportions();
    void writePaneProportions() const;
    void setupSplitters();
    int twipsToPixels(int twips) const;
    /// Puts the bars where the proportions say, as parts of the control's height and width.
    void placeBarsFromProportions();
    /// The proposed position of a bar within its limits.
    int clampBarPosition(int index, int proposed) const;
    void onBarDragStarted(int index);
    void onBarDragMoved(int index, int offset);
    void onBarDragFinished(int index);
    /// Moves and sizes every pane between the bars, and the bars across the room they divide.
    void layoutPanes();
    void NotifyQueryChanged();
    void raiseChanged();
    void EnableButtons();
    bool showAssemblyResult();

    /// Table list and diagram (TablesPane.cpp).
    void FillTableList();
    /// Starts reading the connection's catalogue (checking the rows in hand against the database
    /// when they are of the same database).
    void openCatalogue(bool blnForce);
    /// Before a query with tables is loaded: waits for the catalogue. False when the user
    /// cancelled.
    bool waitForCatalogue();
    void onCatalogueRowsAppended(int first);
    void onCatalogueStateChanged();
    void updateTableCount();
    /// Where a new table's box goes: the next slot of a loaded query (left = 160 n + 50), a free
    /// place in view (a table the user placed from the list), or where a dragged entry was let go.
    struct TablePlacement {
        enum Kind { NextSlot, InView, AtPoint } kind = NextSlot;
        QPoint viewportPos;
    };
    /// A table the user places (not NextSlot) is selected, scrolled into view and joined along
    /// its declared foreign keys when that is switched on.
    void AddTableToDiagram(const std::string& strTable, TablePlacement placement);
    void AddTableToDiagram(const std::string& strTable) {
        AddTableToDiagram(strTable, TablePlacement{TablePlacement::NextSlot, QPoint()});
    }
    /// Whether a join between the two boxes would close a loop in the joins (both are joined
    /// already, and not to each other).
    bool joinClosesLoop(const QString& a, const QString& b) const;
    /// Joins a new box to the first placement of every table a declared foreign key links it to,
    /// in either direction; one key per table, none that would close a loop. Announced through
    /// statusMessage.
    void joinAlongForeignKeys(const std::string& strAlias, const std::string& strName);
    std::string AddTableToCollection(const std::string& strTable, bool blnIsSubQuery);
    bool IsInTableList(const QString& strText) const;
    /// The table-list entry naming this table, brackets ignored ("dbo.[Order]" finds
    /// "dbo.Order"); empty when there is none.
    QString tableListEntry(const std::string& strName) const;
    /// Places the entry shown in a row of the list (nothing for -1).
    void placeListEntry(int row);
    int currentListRow() const;
    /// Shows only the entries containing the search text (ignoring letter case) and the count.
    void applyTableFilter();
    /// Down moves from the search field into the list, Enter places the first entry shown.
    bool handleTableFilterKey(QKeyEvent* event);
    void removeTableDependants(const std::string& strAlias);
    bool handleDiagramDrop(QObject* watched, QEvent* event);
    void onJoinRequest(const QString& joinText, int* accept);
    void onTableRemovalRequest(const QString& alias, bool* allow);
    void onTableRemoved(const QString& alias);
    void onColumnChosen(const QString& alias, const QString& column);
    void onAllColumns(const QString& alias);
    /// The boxes' check boxes show the grid's rows; a tick asks for the column, an untick
    /// removes every row of it.
    void refreshTicks();
    void onColumnTickRequested(const QString& alias, const QString& column, bool ticked);
    /// The click of "cmdSubQueries": the sub-query edited in the sub-query dialog on a nested
    /// control; the table list then offers it by its name.
    void EditSubQuery();

    /// Selected-items grid (SelectedItemsGrid.cpp).
    void AddSelectItem(const std::string& strFullFieldName, const std::string& strAlias,
                       const std::string& strAggregation, bool blnShowMessage);
    void addSelectRow(const std::string& strTablePart, const std::string& strField,
                      const std::string& strAlias, const std::string& strAggregation);
    std::string GetUniqueAlias(const std::string& strProposed, const std::string& strBase,
                               int intRow) const;
    bool IsAliasInUse(const std::string& strAlias, int intRow) const;
    int currentGridRow() const;
    void setCurrentGridRow(int row);
    void onGridEditCommitted(int row, int column, const QString& value);
    void MoveSelectItemUp();
    void MoveSelectItemDown();

    /// Conditions and calculated-items lists (ListsPane.cpp).
    QTreeWidgetItem* addConditionItem(const std::string& strCondition, bool blnIsActive);
    QTreeWidgetItem* addExpressionItem(const std::string& strName, const std::string& strExpression,
                                       const std::string& strToolTip);
    static void setConditionActive(QTreeWidgetItem* item, bool blnIsActive);
    static bool conditionIsActive(const QTreeWidgetItem* item);
    bool handleListKey(QTreeWidget* list, QEvent* event);
    bool handleListDoubleClick(QTreeWidget* list, QEvent* event);
    void onConditionItemChanged(QTreeWidgetItem* item, int column);
    /// The condition builder over this control; returns the condition as the user left it and
    /// updates blnIsActive.
    std::string RunConditionBuilder(bool& blnIsActive, const std::string& strCondition);
    /// The expression builder over this control; returns name " <-- " expression.
    std::string RunExpressionBuilder(const std::string& strVariableName,
                                     const std::string& strExpression);
    /// The further field candidates of the condition builder, joined by "##": the aggregated
    /// output columns, then the shown calculated items.
    std::string calculatedOrAggregatedItems() const;
    void setConditionItem(QTreeWidgetItem* item, const std::string& strCondition, bool blnIsActive);
    void setExpressionItem(QTreeWidgetItem* item, const std::string& strName,
                           const std::string& strExpression, const std::string& strToolTip);

    /// Sort order of the grid's rows and the calculated items (SortOrder.cpp).
    struct SortEntry {
        std::string strItem;
        std::string strSortOrder;
    };
    /// An output name as a sort entry names it: bracketed where the statement needs it.
    static std::string sortName(const std::string& strOutputName);
    /// The query's sort entries in the user's order (Sort Order 1 first).
    std::vector<SortEntry> sortEntries() const;
    void writeSortEntries(const std::vector<SortEntry>& entries);
    /// The 1-based sort position of an output (brackets ignored; strOtherName, when given, is a
    /// second name the entry may use, a grid row's "alias.column"); 0 when it is not sorted.
    static int sortPosition(const std::vector<SortEntry>& entries, const std::string& strOutputName,
                            const std::string& strOtherName);
    /// "Ascending" / "Descending" / "" and the position.
    std::pair<QString, int> sortOf(const std::string& strOutputName,
                                   const std::string& strOtherName) const;
    /// Sorts an output (an empty type removes it from the sort) at a position (0 keeps its place,
    /// or puts a new entry last).
    void setSort(const std::string& strOutputName, const std::string& strOtherName,
                 const QString& strType, int intPosition);
    void renameSortEntry(const std::string& strOldName, const std::string& strNewName);
    void removeSortEntry(const std::string& strOutputName);
    /// A grid row's output name (its alias, else its field) and its "alias.column".
    std::string gridOutputName(int intRow) const;
    std::string gridColumnName(int intRow) const;
    void refreshSortViews();
    void onGridSortEdit(int intRow, int intColumn, const QString& strValue);
    void showSortMenu(const QString& strCaption, const std::string& strOutputName,
                      const std::string& strOtherName, const QPoint& globalPos);
    void onGridContextMenu(const QPoint& pos);
    void onExpressionContextMenu(const QPoint& pos);

    /// Edit history (EditHistory.cpp).
    void setupHistory();
    Snapshot currentSnapshot() const;
    void resetHistory();
    /// Called after every edit: a step when the query's document changed.
    void recordEdit();
    /// Called when the user moved boxes: a step of places only.
    void recordLayoutChange();
    void pushStep(Snapshot after, bool blnLayoutOnly);
    void applySnapshot(const Snapshot& snapshot, bool blnLayoutOnly);

    /// Syntax check and preview (SqlPane.cpp).
    std::int32_t previewRowLimit() const;
    /// Runs work on a worker thread with a copy of the connection and a cancellation the busy
    /// indicator's Cancel triggers; false when the user cancelled.
    bool runOnServer(const QString& strText,
                     const std::function<void(const cDbConnection&, DbCancellation*)>& work);

    /// Assembly and loading (QueryAssembly.cpp, QueryLoading.cpp).
    std::string AssembleQuery();
    void LoadQuery();
    void loadJoins(const std::vector<std::string>& missingTables);

    PlatformServices m_services;

    /// Editor state.
    std::shared_ptr<cDbConnection> m_db;
    std::shared_ptr<cSQLQuery> m_query;
    std::string m_strSQL;
    std::shared_ptr<cTables> m_tables;
    std::array<float, 5> m_sngPaneProportions{};
    std::shared_ptr<std::vector<std::string>> m_colParameters;
    std::shared_ptr<cSQLQuery> m_currentSubQuery;
    bool m_blnLoading = false;
    /// Set while the control itself sets a condition's check box, so that only the user's clicks
    /// count as switching it.
    bool m_blnSettingCheck = false;
    int m_intPlacementCounter = 0;
    QStringList m_missingTables;
    QUndoStack* m_undoStack = nullptr; // Owned through its Qt parent.
    QAction* m_undoAction = nullptr;   // Owned through its Qt parent.
    QAction* m_redoAction = nullptr;   // Owned through its Qt parent.
    Snapshot m_lastSnapshot;
    bool m_blnRestoring = false;
    /// What the edit under way is called in the history (the caption of the action).
    QString m_strEditCaption;
    /// What a change of the boxes' places under way is called, when it is not a move.
    QString m_strLayoutCaption;

    /// Child views, owned through their Qt parents.
    QListView* m_lstTables = nullptr;
    TableListModel* m_tableModel = nullptr;
    TableCatalogue* m_catalogue = nullptr;
    QProgressBar* m_prgTables = nullptr;
    QLabel* m_lblTablesHint = nullptr; // Owned by the list's viewport.
    QToolButton* m_cmdRefreshTables = nullptr;
    QToolButton* m_cmdCancelTables = nullptr;
    QLineEdit* m_txtTableFilter = nullptr;
    QLabel* m_lblTableCount = nullptr;
    dvTablesAndJoins* m_dvTablesAndJoins = nullptr;
    QTableView* m_jgSelectedFields = nullptr;
    SelectedItemsModel* m_selectedItems = nullptr;
    QTreeWidget* m_lvConditions = nullptr;
    QTreeWidget* m_lvExpressions = nullptr;
    SqlTextView* m_txtSQLQuery = nullptr;
    QCheckBox* m_chkAlsoListSystemTables = nullptr;
    QCheckBox* m_chkAlsoListViews = nullptr;
    QCheckBox* m_chkUniqueRecords = nullptr;
    QCheckBox* m_chkAutoJoin = nullptr;
    QPushButton* m_cmdAddTableToJoiner = nullptr;
    QPushButton* m_cmdSubQueries = nullptr;
    QPushButton* m_cmdMoveUp = nullptr;
    QPushButton* m_cmdMoveDown = nullptr;
    QPushButton* m_cmdRemoveSelectItem = nullptr;
    QPushButton* m_cmdCheckSQLSyntax = nullptr;
    QPushButton* m_cmdFireQuery = nullptr;
    QPushButton* m_cmdAddCondition = nullptr;
    QPushButton* m_cmdEditCondition = nullptr;
    QPushButton* m_cmdRemoveCondition = nullptr;
    QPushButton* m_cmdAddExpression = nullptr;
    QPushButton* m_cmdEditExpression = nullptr;
    QPushButton* m_cmdRemoveExpression = nullptr;
    QWidget* m_pnlTables = nullptr;
    QWidget* m_pnlGrid = nullptr;
    QWidget* m_pnlConditions = nullptr;
    QWidget* m_pnlExpressions = nullptr;
    QWidget* m_pnlSql = nullptr;
    /// Bars 0 to 2 lie horizontally (their position is their top), bars 3 and 4 stand upright
    /// (their position is their left edge).
    std::array<SplitterBar*, 5> m_imgSplit{};
    std::array<int, 5> m_barPositions{};
    QWidget* m_picSplit = nullptr;
    bool m_blnDragging = false;
};

} // namespace marovin
