#include "marovin/uscMarovin.h"

#include "SelectedItemsDelegate.h"
#include "SelectedItemsModel.h"
#include "TableCatalogue.h"
#include "TableListModel.h"
#include "marovin/ModelError.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/cTables.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/platform/EmptyHint.h"
#include "marovin/platform/Icons.h"
#include "marovin/platform/QtMessageBox.h"
#include "marovin/platform/SqlTextView.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace marovin {

namespace {

// Where the control keeps its own options in the host's settings.
constexpr const char* kOptionsSection = "QueryBuilder";
constexpr const char* kAutoJoinKey = "AutoJoin";

QLabel* paneLabel(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    label->setBuddy(buddy);
    return label;
}

QWidget* panel(QLayout* layout, const QString& name, QWidget* parent) {
    auto* widget = new QWidget(parent);
    widget->setObjectName(name);
    layout->setContentsMargins(4, 4, 4, 4);
    widget->setLayout(layout);
    return widget;
}

} // namespace

uscMarovin::uscMarovin(QWidget* parent, PlatformServices services)
    : QWidget(parent), m_services(services.withDefaults(this)),
      m_tables(std::make_shared<cTables>()) {
    // The number reader of the stored proportions takes the locale's decimal mark.
    SetDecimalSeparator(QString(QLocale().decimalPoint()).toStdString());
    m_query = nullptr;
    m_db = nullptr;
    m_strSQL.clear();
    readPaneProportions();
    setupViews();
}

uscMarovin::~uscMarovin() {
    // A reading of the table list under way is stopped now rather than waited for at the end.
    m_catalogue->cancel();
    // The child views outlive this body; they must not call back into a half-destroyed control.
    m_selectedItems->setSortSource(nullptr);
    for (QObject* child : findChildren<QObject*>())
        QObject::disconnect(child, nullptr, this, nullptr);
    for (QWidget* child : findChildren<QWidget*>())
        child->removeEventFilter(this);
    m_db.reset();
    m_tables.reset();
    m_query.reset();
    writePaneProportions();
}

void uscMarovin::setupViews() {
    setObjectName(QStringLiteral("uscMarovin"));

    // Table list and its options.
    m_tableModel = new TableListModel(this);
    m_catalogue = new TableCatalogue(this);
    m_catalogue->setCache(std::make_shared<CatalogueCache>());
    m_lstTables = new QListView;
    m_lstTables->setObjectName(QStringLiteral("lstTables"));
    m_lstTables->setModel(m_tableModel);
    // One row height for all, so that 100,000 entries are laid out without measuring each.
    m_lstTables->setUniformItemSizes(true);
    m_lstTables->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lstTables->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lstTables->setDragEnabled(true);
    m_lstTables->setDragDropMode(QAbstractItemView::DragOnly);
    // A dragged entry is copied onto the diagram; it must never leave the list.
    m_lstTables->setDefaultDropAction(Qt::CopyAction);
    m_lstTables->installEventFilter(this);
    m_lstTables->setAccessibleName(tr("Tables"));
    m_lstTables->setToolTip(
        tr("Double-click a table, or drag it onto the diagram, to add it to the query"));
    m_lblTablesHint = installEmptyHint(m_lstTables, tr("Connect to a database to list its tables"));
    m_chkAlsoListViews = new QCheckBox(tr("Also list views"));
    m_chkAlsoListViews->setObjectName(QStringLiteral("chkAlsoListViews"));
    m_chkAlsoListViews->setChecked(true);
    m_chkAlsoListViews->setToolTip(tr("List the database's views with its tables"));
    m_chkAlsoListSystemTables = new QCheckBox(tr("Also list system tables"));
    m_chkAlsoListSystemTables->setObjectName(QStringLiteral("chkAlsoListSystemTables"));
    m_chkAlsoListSystemTables->setToolTip(tr("List the tables the database keeps for itself"));
    m_chkAutoJoin = new QCheckBox(tr("Join along foreign keys"));
    m_chkAutoJoin->setObjectName(QStringLiteral("chkAutoJoin"));
    m_chkAutoJoin->setToolTip(
        tr("A table you place is joined to the tables already there along its declared keys"));
    m_chkAutoJoin->setChecked(m_services.settings
                                  ->GetSetting(QString::fromLatin1(kOptionsSection),
                                               QString::fromLatin1(kAutoJoinKey),
                                               QStringLiteral("True"))
                                  .compare(QLatin1String("False"), Qt::CaseInsensitive) != 0);
    m_cmdAddTableToJoiner = new QPushButton(tr("Add table"));
    m_cmdAddTableToJoiner->setObjectName(QStringLiteral("cmdAddTableToJoiner"));
    m_cmdAddTableToJoiner->setIcon(makeIcon(IconKind::Table));
    m_cmdAddTableToJoiner->setToolTip(tr("Add the selected table to the diagram"));
    m_cmdSubQueries = new QPushButton(tr("Sub query..."));
    m_cmdSubQueries->setObjectName(QStringLiteral("cmdSubQueries"));
    m_cmdSubQueries->setIcon(makeIcon(IconKind::SubQuery));
    m_cmdSubQueries->setToolTip(tr("Define a query to use as a table of this one"));
    auto* tableButtons = new QHBoxLayout;
    tableButtons->addWidget(m_cmdAddTableToJoiner);
    tableButtons->addWidget(m_cmdSubQueries);
    auto* tablesLayout = new QVBoxLayout;
    // The search field above the list: typing filters the list (Ctrl+F comes here).
    m_txtTableFilter = new QLineEdit;
    m_txtTableFilter->setObjectName(QStringLiteral("txtTableFilter"));
    m_txtTableFilter->setAccessibleName(tr("Search tables"));
    m_txtTableFilter->setPlaceholderText(tr("Search tables (Ctrl+F)"));
    m_txtTableFilter->setToolTip(
        tr("Shows the tables whose names contain the text; Down moves into the list, Enter "
           "places the table shown first"));
    m_txtTableFilter->setClearButtonEnabled(true);
    m_txtTableFilter->installEventFilter(this);
    m_lblTableCount = new QLabel;
    m_lblTableCount->setObjectName(QStringLiteral("lblTableCount"));
    m_lblTableCount->setForegroundRole(QPalette::PlaceholderText);
    // While the list is read: a running bar and a button that stops the reading; otherwise a
    // button that reads the list again.
    m_prgTables = new QProgressBar;
    m_prgTables->setObjectName(QStringLiteral("prgTables"));
    m_prgTables->setAccessibleName(tr("Reading the table list"));
    m_prgTables->setRange(0, 0);
    m_prgTables->setTextVisible(false);
    m_prgTables->setMaximumWidth(60);
    m_prgTables->setMaximumHeight(m_lblTableCount->sizeHint().height());
    m_prgTables->setVisible(false);
    m_cmdCancelTables = new QToolButton;
    m_cmdCancelTables->setObjectName(QStringLiteral("cmdCancelTables"));
    m_cmdCancelTables->setIcon(makeIcon(IconKind::Remove));
    m_cmdCancelTables->setAccessibleName(tr("Stop reading the table list"));
    m_cmdCancelTables->setToolTip(
        tr("Stop reading the table list; the tables read so far stay (Escape in the list)"));
    m_cmdCancelTables->setAutoRaise(true);
    // Keys reach both from the list (Ctrl+R, Escape); Tab goes from the search to the list.
    m_cmdCancelTables->setFocusPolicy(Qt::NoFocus);
    m_cmdCancelTables->setVisible(false);
    m_cmdRefreshTables = new QToolButton;
    m_cmdRefreshTables->setObjectName(QStringLiteral("cmdRefreshTables"));
    m_cmdRefreshTables->setIcon(makeIcon(IconKind::Refresh));
    m_cmdRefreshTables->setAccessibleName(tr("Read the table list again"));
    m_cmdRefreshTables->setToolTip(
        tr("Read the table list from the database again (Ctrl+R in the list)"));
    m_cmdRefreshTables->setAutoRaise(true);
    m_cmdRefreshTables->setFocusPolicy(Qt::NoFocus);
    auto* tablesHeader = new QHBoxLayout;
    tablesHeader->addWidget(paneLabel(tr("&Tables"), m_lstTables));
    tablesHeader->addStretch(1);
    tablesHeader->addWidget(m_lblTableCount);
    tablesHeader->addWidget(m_prgTables);
    tablesHeader->addWidget(m_cmdCancelTables);
    tablesHeader->addWidget(m_cmdRefreshTables);
    tablesLayout->addLayout(tablesHeader);
    tablesLayout->addWidget(m_txtTableFilter);
    tablesLayout->addWidget(m_lstTables, 1);
    tablesLayout->addWidget(m_chkAlsoListViews);
    tablesLayout->addWidget(m_chkAlsoListSystemTables);
    tablesLayout->addWidget(m_chkAutoJoin);
    tablesLayout->addLayout(tableButtons);

    // Diagram.
    m_dvTablesAndJoins = new dvTablesAndJoins;
    m_dvTablesAndJoins->setObjectName(QStringLiteral("dvTablesAndJoins"));
    m_dvTablesAndJoins->setAcceptDrops(true);
    m_dvTablesAndJoins->installEventFilter(this);
    for (QWidget* inner : m_dvTablesAndJoins->findChildren<QWidget*>()) {
        inner->setAcceptDrops(true);
        inner->installEventFilter(this);
    }

    m_pnlTables = panel(tablesLayout, QStringLiteral("pnlTables"), this);
    m_dvTablesAndJoins->setParent(this);

    // Selected-items grid.
    m_selectedItems = new SelectedItemsModel(this);
    m_jgSelectedFields = new QTableView;
    m_jgSelectedFields->setObjectName(QStringLiteral("jgSelectedFields"));
    m_jgSelectedFields->setModel(m_selectedItems);
    m_selectedItems->setSortSource(
        [this](int row) { return sortOf(gridOutputName(row), gridColumnName(row)); });
    m_jgSelectedFields->setContextMenuPolicy(Qt::CustomContextMenu);
    QStringList aggregations{QStringLiteral("<none>")};
    for (const std::string& name : Split(kAggregationFunctions, ","))
        aggregations << QString::fromStdString(name);
    m_jgSelectedFields->setItemDelegate(
        new SelectedItemsDelegate(m_selectedItems, aggregations, m_jgSelectedFields));
    m_jgSelectedFields->setSelectionBehavior(QAbstractItemView::SelectItems);
    m_jgSelectedFields->setSelectionMode(QAbstractItemView::SingleSelection);
    m_jgSelectedFields->setEditTriggers(
        QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
        QAbstractItemView::SelectedClicked | QAbstractItemView::AnyKeyPressed);
    m_jgSelectedFields->setAlternatingRowColors(true);
    // Tab leaves the grid for the next pane; the arrows move between cells.
    m_jgSelectedFields->setTabKeyNavigation(false);
    m_jgSelectedFields->installEventFilter(this);
    m_jgSelectedFields->verticalHeader()->setDefaultSectionSize(
        m_jgSelectedFields->fontMetrics().height() + 8);
    m_jgSelectedFields->setAccessibleName(tr("Selected fields"));
    // The names take the room; the short columns are as wide as their contents.
    QHeaderView* gridHeader = m_jgSelectedFields->horizontalHeader();
    gridHeader->setMinimumSectionSize(60);
    for (int column = 0; column < m_selectedItems->columnCount(); ++column) {
        const bool wide = column == 0 || column == 1;
        gridHeader->setSectionResizeMode(column, wide ? QHeaderView::Stretch
                                                      : QHeaderView::ResizeToContents);
    }
    installEmptyHint(m_jgSelectedFields, tr("Double-click a column in a table to select it"));
    m_cmdMoveUp = new QPushButton(tr("Move up"));
    m_cmdMoveUp->setObjectName(QStringLiteral("cmdMoveUp"));
    m_cmdMoveUp->setIcon(makeIcon(IconKind::MoveUp));
    m_cmdMoveUp->setToolTip(tr("Move the selected field up"));
    m_cmdMoveDown = new QPushButton(tr("Move down"));
    m_cmdMoveDown->setObjectName(QStringLiteral("cmdMoveDown"));
    m_cmdMoveDown->setIcon(makeIcon(IconKind::MoveDown));
    m_cmdMoveDown->setToolTip(tr("Move the selected field down"));
    m_cmdRemoveSelectItem = new QPushButton(tr("Remove"));
    m_cmdRemoveSelectItem->setObjectName(QStringLiteral("cmdRemoveSelectItem"));
    m_cmdRemoveSelectItem->setIcon(makeIcon(IconKind::Remove));
    m_cmdRemoveSelectItem->setToolTip(tr("Remove the selected field from the output"));
    m_chkUniqueRecords = new QCheckBox(tr("Unique records only"));
    m_chkUniqueRecords->setObjectName(QStringLiteral("chkUniqueRecords"));
    m_chkUniqueRecords->setToolTip(tr("Leave out repeated rows (SELECT DISTINCT)"));
    auto* gridButtons = new QVBoxLayout;
    gridButtons->addWidget(m_cmdMoveUp);
    gridButtons->addWidget(m_cmdMoveDown);
    gridButtons->addWidget(m_cmdRemoveSelectItem);
    gridButtons->addStretch(1);
    gridButtons->addWidget(m_chkUniqueRecords);
    auto* gridRow = new QHBoxLayout;
    gridRow->addWidget(m_jgSelectedFields, 1);
    gridRow->addLayout(gridButtons);
    auto* gridLayout = new QVBoxLayout;
    gridLayout->addWidget(paneLabel(tr("Se&lected fields"), m_jgSelectedFields));
    gridLayout->addLayout(gridRow, 1);

    // Conditions and calculated items.
    m_lvConditions = new QTreeWidget;
    m_lvConditions->setObjectName(QStringLiteral("lvConditions"));
    m_lvConditions->setColumnCount(1);
    m_lvConditions->setHeaderLabels({QString()});
    // One column needs no heading: the pane's label says what the list holds.
    m_lvConditions->setHeaderHidden(true);
    m_lvConditions->setAccessibleName(tr("Conditions"));
    installEmptyHint(m_lvConditions, tr("No conditions: every row is shown. Click Add to filter."));
    m_lvConditions->setRootIsDecorated(false);
    m_lvConditions->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lvConditions->installEventFilter(this);
    m_lvConditions->viewport()->installEventFilter(this);
    m_cmdAddCondition = new QPushButton(tr("Add..."));
    m_cmdAddCondition->setObjectName(QStringLiteral("cmdAddCondition"));
    m_cmdAddCondition->setIcon(makeIcon(IconKind::Add));
    m_cmdAddCondition->setAccessibleName(tr("Add condition"));
    m_cmdAddCondition->setToolTip(tr("Add condition (Insert in the list)"));
    m_cmdEditCondition = new QPushButton(tr("Edit..."));
    m_cmdEditCondition->setObjectName(QStringLiteral("cmdEditCondition"));
    m_cmdEditCondition->setIcon(makeIcon(IconKind::Edit));
    m_cmdEditCondition->setAccessibleName(tr("Edit condition"));
    m_cmdEditCondition->setToolTip(tr("Edit condition"));
    m_cmdRemoveCondition = new QPushButton(tr("Remove"));
    m_cmdRemoveCondition->setObjectName(QStringLiteral("cmdRemoveCondition"));
    m_cmdRemoveCondition->setIcon(makeIcon(IconKind::Remove));
    m_cmdRemoveCondition->setAccessibleName(tr("Remove condition"));
    m_cmdRemoveCondition->setToolTip(tr("Remove condition (Delete in the list)"));
    // The buttons stand in a column beside the list, as in the grid's pane, so that the pane
    // stays narrow.
    auto* conditionButtons = new QVBoxLayout;
    conditionButtons->addWidget(m_cmdAddCondition);
    conditionButtons->addWidget(m_cmdEditCondition);
    conditionButtons->addWidget(m_cmdRemoveCondition);
    conditionButtons->addStretch(1);
    auto* conditionRow = new QHBoxLayout;
    conditionRow->addWidget(m_lvConditions, 1);
    conditionRow->addLayout(conditionButtons);
    auto* conditionsLayout = new QVBoxLayout;
    conditionsLayout->addWidget(paneLabel(tr("&Conditions"), m_lvConditions));
    conditionsLayout->addLayout(conditionRow, 1);

    m_lvExpressions = new QTreeWidget;
    m_lvExpressions->setObjectName(QStringLiteral("lvExpressions"));
    m_lvExpressions->setColumnCount(5);
    m_lvExpressions->setHeaderLabels(
        {tr("Variable"), QString(), tr("Expression"), tr("Sort Type"), tr("Sort Order")});
    m_lvExpressions->setContextMenuPolicy(Qt::CustomContextMenu);
    m_lvExpressions->setRootIsDecorated(false);
    m_lvExpressions->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lvExpressions->setAccessibleName(tr("Calculated items"));
    m_lvExpressions->header()->setStretchLastSection(false);
    m_lvExpressions->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_lvExpressions->header()->setSectionResizeMode(2, QHeaderView::Stretch);
    m_lvExpressions->header()->setSectionResizeMode(3, QHeaderView::ResizeToContents);
    m_lvExpressions->header()->setSectionResizeMode(4, QHeaderView::ResizeToContents);
    m_lvExpressions->header()->setSectionResizeMode(1, QHeaderView::Fixed);
    m_lvExpressions->header()->resizeSection(1, 24);
    installEmptyHint(m_lvExpressions, tr("No calculated items. Click Add to compute a column."));
    m_lvExpressions->installEventFilter(this);
    m_lvExpressions->viewport()->installEventFilter(this);
    m_cmdAddExpression = new QPushButton(tr("Add..."));
    m_cmdAddExpression->setObjectName(QStringLiteral("cmdAddExpression"));
    m_cmdAddExpression->setIcon(makeIcon(IconKind::Add));
    m_cmdAddExpression->setAccessibleName(tr("Add calculated item"));
    m_cmdAddExpression->setToolTip(tr("Add calculated item (Insert in the list)"));
    m_cmdEditExpression = new QPushButton(tr("Edit..."));
    m_cmdEditExpression->setObjectName(QStringLiteral("cmdEditExpression"));
    m_cmdEditExpression->setIcon(makeIcon(IconKind::Edit));
    m_cmdEditExpression->setAccessibleName(tr("Edit calculated item"));
    m_cmdEditExpression->setToolTip(tr("Edit calculated item"));
    m_cmdRemoveExpression = new QPushButton(tr("Remove"));
    m_cmdRemoveExpression->setObjectName(QStringLiteral("cmdRemoveExpression"));
    m_cmdRemoveExpression->setIcon(makeIcon(IconKind::Remove));
    m_cmdRemoveExpression->setAccessibleName(tr("Remove calculated item"));
    m_cmdRemoveExpression->setToolTip(tr("Remove calculated item (Delete in the list)"));
    // The buttons stand in a column beside the list, as in the grid's pane, so that the pane
    // stays narrow.
    auto* expressionButtons = new QVBoxLayout;
    expressionButtons->addWidget(m_cmdAddExpression);
    expressionButtons->addWidget(m_cmdEditExpression);
    expressionButtons->addWidget(m_cmdRemoveExpression);
    expressionButtons->addStretch(1);
    auto* expressionRow = new QHBoxLayout;
    expressionRow->addWidget(m_lvExpressions, 1);
    expressionRow->addLayout(expressionButtons);
    auto* expressionsLayout = new QVBoxLayout;
    expressionsLayout->addWidget(paneLabel(tr("Calculated &items"), m_lvExpressions));
    expressionsLayout->addLayout(expressionRow, 1);

    m_pnlConditions = panel(conditionsLayout, QStringLiteral("pnlConditions"), this);
    m_pnlExpressions = panel(expressionsLayout, QStringLiteral("pnlExpressions"), this);

    // SQL text.
    m_txtSQLQuery = new SqlTextView;
    m_txtSQLQuery->setObjectName(QStringLiteral("txtSQLQuery"));
    m_txtSQLQuery->setAccessibleName(tr("SQL"));
    m_txtSQLQuery->setPlaceholderText(
        tr("The SELECT statement appears here as you add tables and select their columns."));
    m_cmdCheckSQLSyntax = new QPushButton(tr("Check s&yntax"));
    m_cmdCheckSQLSyntax->setObjectName(QStringLiteral("cmdCheckSQLSyntax"));
    m_cmdCheckSQLSyntax->setIcon(makeIcon(IconKind::CheckSyntax));
    m_cmdCheckSQLSyntax->setAccessibleName(tr("Check syntax"));
    m_cmdCheckSQLSyntax->setToolTip(tr("Check the statement's syntax on the server"));
    m_cmdFireQuery = new QPushButton(tr("&Preview..."));
    m_cmdFireQuery->setObjectName(QStringLiteral("cmdFireQuery"));
    m_cmdFireQuery->setIcon(makeIcon(IconKind::Preview));
    m_cmdFireQuery->setAccessibleName(tr("Preview"));
    m_cmdFireQuery->setToolTip(tr("Run the statement and show its first rows"));
    auto* sqlHeader = new QHBoxLayout;
    sqlHeader->addWidget(paneLabel(tr("S&QL"), m_txtSQLQuery));
    sqlHeader->addStretch(1);
    sqlHeader->addWidget(m_cmdCheckSQLSyntax);
    sqlHeader->addWidget(m_cmdFireQuery);
    auto* sqlLayout = new QVBoxLayout;
    sqlLayout->addLayout(sqlHeader);
    sqlLayout->addWidget(m_txtSQLQuery, 1);

    m_pnlGrid = panel(gridLayout, QStringLiteral("pnlGrid"), this);
    m_pnlSql = panel(sqlLayout, QStringLiteral("pnlSql"), this);
    setupSplitters();
    setupHistory();

    // Tab follows the panes in reading order, whatever order the panes were built in.
    const QList<QWidget*> tabOrder = {
        m_txtTableFilter,      m_lstTables,           m_chkAlsoListViews, m_chkAlsoListSystemTables,
        m_chkAutoJoin,         m_cmdAddTableToJoiner, m_cmdSubQueries,    m_dvTablesAndJoins,
        m_jgSelectedFields,    m_cmdMoveUp,           m_cmdMoveDown,      m_cmdRemoveSelectItem,
        m_chkUniqueRecords,    m_lvConditions,        m_cmdAddCondition,  m_cmdEditCondition,
        m_cmdRemoveCondition,  m_lvExpressions,       m_cmdAddExpression, m_cmdEditExpression,
        m_cmdRemoveExpression, m_cmdCheckSQLSyntax,   m_cmdFireQuery,     m_txtSQLQuery};
    for (qsizetype i = 1; i < tabOrder.size(); ++i)
        QWidget::setTabOrder(tabOrder[i - 1], tabOrder[i]);

    // Handlers. Each runs behind the event-loop boundary: a failure is shown, never thrown.
    const QString editCaption = tr("Query builder");
    auto on = [this, editCaption](auto&& action) {
        return [this, editCaption, action](auto&&...) {
            guarded(editCaption, action);
        };
    };
    connect(m_chkAlsoListSystemTables, &QCheckBox::clicked, this, on([this] { FillTableList(); }));
    connect(m_chkAlsoListViews, &QCheckBox::clicked, this, on([this] { FillTableList(); }));
    connect(m_chkAutoJoin, &QCheckBox::toggled, this, [this](bool checked) {
        m_services.settings->SaveSetting(
            QString::fromLatin1(kOptionsSection), QString::fromLatin1(kAutoJoinKey),
            checked ? QStringLiteral("True") : QStringLiteral("False"));
    });
    connect(m_chkUniqueRecords, &QCheckBox::clicked, this, on([this] { NotifyQueryChanged(); }));
    connect(m_cmdAddTableToJoiner, &QPushButton::clicked, this, [this] { SelectTable(); });
    connect(m_cmdSubQueries, &QPushButton::clicked, this, [this] { EditSubQuery(); });
    connect(m_txtTableFilter, &QLineEdit::textChanged, this, on([this] { applyTableFilter(); }));
    auto* findTable = new QShortcut(QKeySequence::Find, this);
    findTable->setContext(Qt::WidgetWithChildrenShortcut);
    connect(findTable, &QShortcut::activated, this, [this] {
        m_txtTableFilter->setFocus(Qt::ShortcutFocusReason);
        m_txtTableFilter->selectAll();
    });
    connect(m_lstTables, &QListView::doubleClicked, this, [this](const QModelIndex& index) {
        guarded(tr("Add table"), [this, index] { placeListEntry(index.row()); });
    });
    connect(m_cmdRefreshTables, &QToolButton::clicked, this, [this] { RefreshTableList(); });
    connect(m_cmdCancelTables, &QToolButton::clicked, this, [this] { CancelTableList(); });
    connect(m_catalogue, &TableCatalogue::rowsReplaced, this, on([this] { FillTableList(); }));
    connect(m_catalogue, &TableCatalogue::rowsAppended, this,
            [this](int first) { guarded(tr("Tables"), [&] { onCatalogueRowsAppended(first); }); });
    connect(m_catalogue, &TableCatalogue::stateChanged, this,
            on([this] { onCatalogueStateChanged(); }));

    connect(m_dvTablesAndJoins, &dvTablesAndJoins::joinRequest, this,
            [this](const QString& joinText, int* accept) {
                if (!guarded(tr("Add join"), [&] { onJoinRequest(joinText, accept); }) &&
                    accept != nullptr)
                    *accept = 0;
            });
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::tableRemovalRequest, this,
            [this](const QString& alias, bool* allow) {
                if (!guarded(tr("Remove a Table"), [&] { onTableRemovalRequest(alias, allow); }) &&
                    allow != nullptr)
                    *allow = false;
            });
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::tableRemoved, this,
            [this](const QString& alias) {
                guarded(tr("Remove a Table"), [&] { onTableRemoved(alias); });
            });
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::joinAdded, this,
            on([this] { NotifyQueryChanged(); }));
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::joinChanged, this,
            on([this] { NotifyQueryChanged(); }));
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::joinRemoved, this,
            on([this] { NotifyQueryChanged(); }));
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::columnChosen, this,
            [this](const QString& alias, const QString& column) {
                guarded(tr("Select a Column"), [&] { onColumnChosen(alias, column); });
            });
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::columnTickRequested, this,
            [this](const QString& alias, const QString& column, bool ticked) {
                guarded(tr("Select a Column"),
                        [&] { onColumnTickRequested(alias, column, ticked); });
            });
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::tablesMoved, this,
            on([this] { recordLayoutChange(); }));
    connect(m_dvTablesAndJoins, &dvTablesAndJoins::allColumns, this, [this](const QString& alias) {
        guarded(tr("Select a Column"), [&] { onAllColumns(alias); });
    });

    connect(m_selectedItems, &SelectedItemsModel::editCommitted, this,
            [this](int row, int column, const QString& value) {
                guarded(tr("Selected fields"), [&] { onGridEditCommitted(row, column, value); });
            });
    connect(m_jgSelectedFields, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& pos) { guarded(tr("Sort"), [&] { onGridContextMenu(pos); }); });
    connect(m_lvExpressions, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        guarded(tr("Sort"), [&] { onExpressionContextMenu(pos); });
    });
    connect(m_cmdMoveUp, &QPushButton::clicked, this, on([this] { MoveSelectItemUp(); }));
    connect(m_cmdMoveDown, &QPushButton::clicked, this, on([this] { MoveSelectItemDown(); }));
    connect(m_cmdRemoveSelectItem, &QPushButton::clicked, this, [this] { RemoveSelectItem(true); });

    connect(m_cmdCheckSQLSyntax, &QPushButton::clicked, this, [this] { CheckSQLSyntax(); });
    connect(m_cmdFireQuery, &QPushButton::clicked, this, [this] { FireQuery(); });
    connect(m_cmdAddCondition, &QPushButton::clicked, this, [this] { AddCondition(); });
    connect(m_cmdEditCondition, &QPushButton::clicked, this, [this] { EditCurrentCondition(); });
    connect(m_cmdAddExpression, &QPushButton::clicked, this, [this] { AddExpression(); });
    connect(m_cmdEditExpression, &QPushButton::clicked, this, [this] { EditSelectedExpression(); });
    connect(m_lvConditions, &QTreeWidget::itemChanged, this,
            [this](QTreeWidgetItem* item, int column) {
                guarded(tr("Conditions"), [&] { onConditionItemChanged(item, column); });
            });
    connect(m_cmdRemoveCondition, &QPushButton::clicked, this, [this] { RemoveCondition(); });
    connect(m_cmdRemoveExpression, &QPushButton::clicked, this, [this] { RemoveExpression(); });
    connect(m_lvConditions, &QTreeWidget::itemClicked, this, on([this] { EnableButtons(); }));
    connect(m_lvExpressions, &QTreeWidget::itemClicked, this, on([this] { EnableButtons(); }));
    connect(m_lvConditions, &QTreeWidget::itemSelectionChanged, this,
            on([this] { EnableButtons(); }));
    connect(m_lvExpressions, &QTreeWidget::itemSelectionChanged, this,
            on([this] { EnableButtons(); }));

    EnableButtons();
}

void uscMarovin::setBlnBuildSubQuery(bool value) {
    if (!value)
        return;
    m_cmdSubQueries->setFixedHeight(0);
    m_cmdSubQueries->setVisible(false);
    m_cmdSubQueries->setEnabled(false);
}

bool uscMarovin::subQueriesSwitchedOff() const {
    return m_cmdSubQueries->isHidden() && !m_cmdSubQueries->isEnabled();
}

bool uscMarovin::blnAutoJoin() const {
    return m_chkAutoJoin->isChecked();
}

void uscMarovin::setBlnAutoJoin(bool value) {
    m_chkAutoJoin->setChecked(value);
}

void uscMarovin::setColParameters(std::shared_ptr<std::vector<std::string>> parameters) {
    m_colParameters = std::move(parameters);
}

void uscMarovin::setSQLQueryObject(std::shared_ptr<cSQLQuery> query) {
    replaceQuery(std::move(query));
}

void uscMarovin::setDatabaseObject(std::shared_ptr<cDbConnection> connection) {
    m_db = std::move(connection);
}

void uscMarovin::Refresh() {
    replaceQuery(m_query);
}

bool uscMarovin::guarded(const QString& strCaption, const std::function<void()>& action) {
    // The caption names the edit in the undo history.
    m_strEditCaption = strCaption;
    try {
        action();
        return true;
    } catch (const std::exception& error) {
        m_services.messageBox->Show(strCaption, QString::fromStdString(error.what()),
                                    MessageIcon::Critical, MessageButtons::Ok);
    } catch (...) {
        m_services.messageBox->Show(strCaption, tr("The action failed for an unknown reason."),
                                    MessageIcon::Critical, MessageButtons::Ok);
    }
    return false;
}

namespace {

// The document of a query, to put the object back as it was; empty when there is no query.
std::string documentOf(const std::shared_ptr<cSQLQuery>& query) {
    return query ? query->ToXmlText(false) : std::string();
}

void restoreDocument(const std::shared_ptr<cSQLQuery>& query, const std::string& document) {
    if (!query || document.empty())
        return;
    try {
        query->LoadXmlText(document);
    } catch (...) {
        // The document was written by the same object a moment ago; it reads back.
    }
}

} // namespace

namespace {

bool namesTables(const std::shared_ptr<cSQLQuery>& query) {
    if (!query)
        return false;
    for (const auto& table : *query->Tables()) {
        if (!table->blnIsSubQuery())
            return true;
    }
    return false;
}

} // namespace

bool uscMarovin::replaceQuery(std::shared_ptr<cSQLQuery> query) {
    // The tables of the query are looked up in the whole, current table list; a query without
    // tables is shown at once while the list fills.
    try {
        openCatalogue(false);
        if (namesTables(query) && !waitForCatalogue()) {
            emit statusMessage(tr("Loading the query was cancelled; the query before stays."));
            return false;
        }
    } catch (const std::exception& error) {
        m_services.messageBox->Show(tr("Load query"), QString::fromStdString(error.what()),
                                    MessageIcon::Critical, MessageButtons::Ok);
        return false;
    }
    std::shared_ptr<cSQLQuery> previous = m_query;
    std::string previousDocument;
    std::string newDocument;
    std::string failure;
    try {
        previousDocument = documentOf(previous);
        newDocument = query == previous ? previousDocument : documentOf(query);
        m_query = query;
        refreshPanes();
        resetHistory();
        return true;
    } catch (const std::exception& error) {
        failure = error.what();
    } catch (...) {
        failure = "unknown failure";
    }
    m_blnLoading = false;
    // Both objects go back to what they held, and the panes show the previous query again.
    restoreDocument(query, newDocument);
    if (query != previous)
        restoreDocument(previous, previousDocument);
    m_query = previous;
    try {
        refreshPanes();
    } catch (...) {
        m_blnLoading = false;
        m_query = previous;
    }
    m_services.messageBox->Show(
        tr("Load query"),
        tr("The query cannot be shown in the editor: %1").arg(QString::fromStdString(failure)),
        MessageIcon::Critical, MessageButtons::Ok);
    return false;
}

void uscMarovin::refreshPanes() {
    m_tables = std::make_shared<cTables>();
    m_dvTablesAndJoins->Clear();
    m_intPlacementCounter = 0;
    m_lvConditions->clear();
    m_lvExpressions->clear();
    m_selectedItems->clear();
    m_strSQL.clear();
    m_txtSQLQuery->setStrText(std::string());
    LoadQuery();
    refreshSortViews();
    refreshTicks();
}

void uscMarovin::NotifyQueryChanged() {
    if (m_blnLoading)
        return;
    emit Changed();
    showAssemblyResult();
    refreshTicks();
    recordEdit();
}

void uscMarovin::raiseChanged() {
    if (!m_blnLoading)
        emit Changed();
}

bool uscMarovin::showAssemblyResult() {
    bool ok = true;
    try {
        m_strSQL = AssembleQuery();
    } catch (const std::exception& error) {
        // A model error must not unwind through Qt's event handling; the user is told instead.
        m_strSQL.clear();
        ok = false;
        m_services.messageBox->Show(QCoreApplication::applicationName(),
                                    QString::fromStdString(error.what()), MessageIcon::Critical,
                                    MessageButtons::Ok);
    }
    m_txtSQLQuery->setStrText(m_strSQL);
    return ok;
}

void uscMarovin::EnableButtons() {
    const bool hasRows = m_selectedItems->table().SelectedItemsCount() > 0;
    m_cmdRemoveSelectItem->setEnabled(hasRows);
    m_cmdMoveDown->setEnabled(hasRows);
    m_cmdMoveUp->setEnabled(hasRows);
    m_chkUniqueRecords->setEnabled(hasRows);
    if (!hasRows)
        m_chkUniqueRecords->setChecked(false);
    const bool conditionSelected = !m_lvConditions->selectedItems().isEmpty();
    m_cmdEditCondition->setEnabled(conditionSelected);
    m_cmdRemoveCondition->setEnabled(conditionSelected);
    const bool expressionSelected = !m_lvExpressions->selectedItems().isEmpty();
    m_cmdEditExpression->setEnabled(expressionSelected);
    m_cmdRemoveExpression->setEnabled(expressionSelected);
}

bool uscMarovin::eventFilter(QObject* watched, QEvent* event) {
    // An open cell editor has the focus itself, so Delete reaches the grid only outside an edit.
    if (watched == m_jgSelectedFields && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        RemoveSelectItem(false); // guarded itself
        return true;
    }
    if (watched == m_txtTableFilter && event->type() == QEvent::KeyPress) {
        bool handled = false;
        guarded(tr("Add table"),
                [&] { handled = handleTableFilterKey(static_cast<QKeyEvent*>(event)); });
        if (handled)
            return true;
    }
    if (watched == m_lstTables && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            SelectTable(); // guarded itself
            return true;
        }
        if (key == Qt::Key_R &&
            static_cast<QKeyEvent*>(event)->modifiers() == Qt::ControlModifier) {
            RefreshTableList(); // guarded itself
            return true;
        }
        if (key == Qt::Key_Escape && blnReadingTableList()) {
            CancelTableList(); // guarded itself
            return true;
        }
    }
    bool handled = false;
    if (watched == m_lvConditions || watched == m_lvExpressions) {
        guarded(tr("Conditions"),
                [&] { handled = handleListKey(static_cast<QTreeWidget*>(watched), event); });
        if (handled)
            return true;
    }
    if (event->type() == QEvent::MouseButtonDblClick &&
        (watched == m_lvConditions->viewport() || watched == m_lvExpressions->viewport())) {
        QTreeWidget* list =
            watched == m_lvConditions->viewport() ? m_lvConditions : m_lvExpressions;
        guarded(tr("Conditions"), [&] { handled = handleListDoubleClick(list, event); });
        if (handled)
            return true;
    }
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove ||
        event->type() == QEvent::Drop) {
        guarded(tr("Add table"), [&] { handled = handleDiagramDrop(watched, event); });
        if (handled)
            return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace marovin
