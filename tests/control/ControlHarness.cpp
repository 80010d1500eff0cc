#include "ControlHarness.h"

#include "SampleDatabaseGenerator.h"

#include <QApplication>
#include <QComboBox>
#include <QGraphicsView>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPointer>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>
#include <sqlite3.h>
#include <stdexcept>

namespace marovin::test {

void WriteSqliteFile(const std::string& path, const std::string& statements) {
    std::remove(path.c_str());
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) {
        const std::string error = sqlite3_errmsg(db);
        sqlite3_close(db);
        throw std::runtime_error("cannot create " + path + ": " + error);
    }
    char* message = nullptr;
    const int rc = sqlite3_exec(db, statements.c_str(), nullptr, nullptr, &message);
    const std::string error = message != nullptr ? message : "";
    sqlite3_free(message);
    sqlite3_close(db);
    if (rc != SQLITE_OK)
        throw std::runtime_error("cannot fill " + path + ": " + error);
}

void WaitForTableList(uscMarovin& control) {
    if (!QTest::qWaitFor([&control] { return !control.blnReadingTableList(); }, 10000))
        throw std::runtime_error("the table list was not read within ten seconds");
}

QStringList TableEntries(uscMarovin& control) {
    WaitForTableList(control);
    auto* list = control.findChild<QListView*>("lstTables");
    QStringList entries;
    for (int row = 0; row < list->model()->rowCount(); ++row)
        entries << list->model()->index(row, 0).data().toString();
    return entries;
}

QModelIndex TableEntryIndex(uscMarovin& control, const QString& entry) {
    auto* list = control.findChild<QListView*>("lstTables");
    const int row = static_cast<int>(TableEntries(control).indexOf(entry));
    return row < 0 ? QModelIndex() : list->model()->index(row, 0);
}

void PlaceTable(uscMarovin& control, const QString& entry) {
    auto* list = control.findChild<QListView*>("lstTables");
    const QModelIndex index = TableEntryIndex(control, entry);
    if (!index.isValid())
        throw std::runtime_error("no table list entry " + entry.toStdString());
    list->scrollTo(index);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(index).center());
    auto* button = control.findChild<QPushButton*>("cmdAddTableToJoiner");
    QTest::mouseClick(button, Qt::LeftButton, {}, button->rect().center());
}

ControlHarness::ControlHarness(std::shared_ptr<MemorySettingsStore> store,
                               std::shared_ptr<cDbConnection> connection)
    : settings(store ? std::move(store) : std::make_shared<MemorySettingsStore>()),
      db(connection ? std::move(connection) : SampleConnection()) {
    PlatformServices services;
    services.messageBox = box;
    // Joins along foreign keys are tested on their own; elsewhere a join is what the test draws.
    if (!settings->Contains("QueryBuilder", "AutoJoin"))
        settings->SaveSetting("QueryBuilder", "AutoJoin", "False");
    services.settings = settings;
    services.busyPointer = busy;
    services.clipboard = std::make_shared<MemoryClipboard>();
    m_control = std::make_unique<uscMarovin>(nullptr, services);
    QObject::connect(m_control.get(), &uscMarovin::Changed, [this] { ++changed; });
    m_control->resize(1280, 900);
    m_control->show();
    if (!QTest::qWaitForWindowExposed(m_control.get()))
        throw std::runtime_error("the control was not shown");
    m_control->setDatabaseObject(db);
    m_control->setSQLQueryObject(query);
    WaitForTableList(*m_control);
}

ControlHarness::~ControlHarness() = default;

void ControlHarness::destroyControl() {
    m_control.reset();
}

QListView* ControlHarness::tableList() const {
    return m_control->findChild<QListView*>("lstTables");
}
dvTablesAndJoins* ControlHarness::diagram() const {
    return m_control->findChild<dvTablesAndJoins*>("dvTablesAndJoins");
}
QTableView* ControlHarness::grid() const {
    return m_control->findChild<QTableView*>("jgSelectedFields");
}
QTreeWidget* ControlHarness::conditions() const {
    return m_control->findChild<QTreeWidget*>("lvConditions");
}
QTreeWidget* ControlHarness::expressions() const {
    return m_control->findChild<QTreeWidget*>("lvExpressions");
}
SqlTextView* ControlHarness::sqlView() const {
    return m_control->findChild<SqlTextView*>("txtSQLQuery");
}
QCheckBox* ControlHarness::checkBox(const char* name) const {
    return m_control->findChild<QCheckBox*>(name);
}
QPushButton* ControlHarness::button(const char* name) const {
    return m_control->findChild<QPushButton*>(name);
}

QWidget* ControlHarness::startEdit(int row, int column) {
    QTableView* view = grid();
    view->setFocus();
    view->setCurrentIndex(view->model()->index(row - 1, column - 1));
    QTest::keyClick(view, Qt::Key_F2);
    return view->indexWidget(view->currentIndex()) != nullptr
               ? view->indexWidget(view->currentIndex())
               : QApplication::focusWidget();
}

void ControlHarness::chooseInCell(int row, int column, const QString& keys) {
    auto* combo = qobject_cast<QComboBox*>(startEdit(row, column));
    if (combo == nullptr)
        throw std::runtime_error("the cell's drop-down did not open");
    QTest::keyClicks(combo, keys);
    QTest::keyClick(combo, Qt::Key_Return);
    QApplication::processEvents();
}

void ControlHarness::typeAlias(int row, const QString& keys) {
    auto* line = qobject_cast<QLineEdit*>(startEdit(row, 2));
    if (line == nullptr)
        throw std::runtime_error("the alias editor did not open");
    QTest::keyClick(line, Qt::Key_End);
    const int length = static_cast<int>(line->text().size());
    for (int i = 0; i < length; ++i)
        QTest::keyClick(line, Qt::Key_Backspace);
    QTest::keyClicks(line, keys);
    QTest::keyClick(line, Qt::Key_Return);
    // The view commits the edit from its event queue.
    QApplication::processEvents();
}

void ControlHarness::load(const std::string& xml) {
    query = std::make_shared<cSQLQuery>();
    query->LoadXmlText(xml);
    m_control->setSQLQueryObject(query);
    WaitForTableList(*m_control);
}

void ControlHarness::placeTable(const QString& entry, const QStringList& columns) {
    PlaceTable(*m_control, entry);
    if (!columns.isEmpty())
        chooseColumns(diagram()->tableAliases().last(), columns);
}

void ControlHarness::clickButton(const char* name) {
    QPushButton* b = button(name);
    QTest::mouseClick(b, Qt::LeftButton, {}, b->rect().center());
}

void ChooseColumn(uscMarovin& control, const QString& alias, const QString& column) {
    auto* diagram = control.findChild<dvTablesAndJoins*>("dvTablesAndJoins");
    const QPoint at = diagram->columnPoint(alias, column);
    if (at.x() < 0)
        throw std::runtime_error("no column " + column.toStdString());
    QTest::mouseDClick(diagram->view()->viewport(), Qt::LeftButton, {}, at);
}

void ControlHarness::chooseColumn(const QString& alias, const QString& column) {
    ChooseColumn(*m_control, alias, column);
}

void ControlHarness::chooseColumns(const QString& alias, const QStringList& columns) {
    for (const QString& column : columns)
        ChooseColumn(*m_control, alias, column);
}

void ControlHarness::dragJoin(const QString& fromAlias, const QString& fromColumn,
                              const QString& toAlias, const QString& toColumn,
                              Qt::KeyboardModifiers keys) {
    QWidget* viewport = diagram()->view()->viewport();
    const QPoint from = diagram()->columnPoint(fromAlias, fromColumn);
    QTest::mousePress(viewport, Qt::LeftButton, {}, from);
    const QPoint to = diagram()->columnPoint(toAlias, toColumn);
    for (int step = 1; step <= 8; ++step) {
        const QPoint p = from + (to - from) * step / 8;
        QMouseEvent move(QEvent::MouseMove, p, viewport->mapToGlobal(p), Qt::NoButton,
                         Qt::LeftButton, step == 8 ? keys : Qt::NoModifier);
        QApplication::sendEvent(viewport, &move);
    }
    QTest::mouseRelease(viewport, Qt::LeftButton, keys, to);
}

QStringList RunDialogs(std::vector<std::function<void(QDialog&)>> actions,
                       const std::function<void()>& open) {
    ModalDriver driver(std::move(actions));
    open();
    return driver.dialogClasses();
}

QStringList ShownTexts(const ScriptedMessageBox& box) {
    QStringList texts;
    for (const auto& shown : box.shown())
        texts << shown.strText;
    return texts;
}

std::function<void(QDialog&)> PressButton(const char* name) {
    return [name](QDialog& dialog) {
        QTest::mouseClick(dialog.findChild<QPushButton*>(name), Qt::LeftButton);
    };
}

ModalDriver::ModalDriver(std::vector<std::function<void(QDialog&)>> actions)
    : m_actions(std::move(actions)) {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
    m_timer.start(10);
}

void ModalDriver::tick() {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!dialog || dialog == m_current || !dialog->isVisible()) {
        // Five seconds without a new dialog: nothing more is coming.
        if (++m_ticks > 500)
            m_timer.stop();
        return;
    }
    m_ticks = 0;
    m_current = dialog;
    const std::size_t index = static_cast<std::size_t>(m_dialogClasses.size());
    m_dialogClasses << QString::fromLatin1(dialog->metaObject()->className());
    if (index >= m_actions.size()) {
        dialog->reject();
        return;
    }
    // The action runs from a timer of its own, so that this one stays free to serve whatever
    // the action opens; a dialog the action leaves open is closed.
    QPointer<QDialog> target(dialog);
    auto action = m_actions[index];
    QTimer::singleShot(0, dialog, [action, target] {
        action(*target);
        QTimer::singleShot(0, [target] {
            if (target && target->isVisible())
                target->reject();
        });
    });
}

QString ControlHarness::cell(int row, int column) const {
    return grid()->model()->index(row - 1, column - 1).data().toString();
}

QStringList ControlHarness::row(int row) const {
    QStringList cells;
    for (int column = 1; column <= 5; ++column)
        cells << cell(row, column);
    return cells;
}

QStringList ControlHarness::column(int column) const {
    QStringList cells;
    for (int row = 1; row <= rows(); ++row)
        cells << cell(row, column);
    return cells;
}

QStringList ItemTexts(const QTreeWidget* list, int column) {
    QStringList texts;
    for (int i = 0; i < list->topLevelItemCount(); ++i)
        texts << list->topLevelItem(i)->text(column);
    return texts;
}

QStringList ItemRow(const QTreeWidgetItem* item) {
    QStringList texts;
    for (int column = 0; column < item->columnCount(); ++column)
        texts << item->text(column);
    return texts;
}

namespace {

std::string escaped(const std::string& text) {
    return QString::fromStdString(text).toHtmlEscaped().toStdString();
}

std::string element(const char* tag, const std::string& text) {
    return std::string("<") + tag + ">" + escaped(text) + "</" + tag + ">";
}

const char* flag(bool on) {
    return on ? "True" : "False";
}

} // namespace

QueryDocument& QueryDocument::table(const std::string& name, const std::string& alias) {
    const std::string shown = alias.empty() ? name.substr(name.rfind('.') + 1) : alias;
    m_tables += "<TABLE>" + element("NAME", name) + element("ALIAS", shown) + "</TABLE>";
    return *this;
}

QueryDocument& QueryDocument::subQueryTable(const std::string& name) {
    m_tables +=
        "<TABLE issubquery=\"True\">" + element("NAME", name) + element("ALIAS", name) + "</TABLE>";
    return *this;
}

QueryDocument& QueryDocument::item(const std::string& name, const std::string& alias,
                                   const std::string& aggregation) {
    m_items += "<ITEM>" + element("NAME", name) + element("ALIAS", alias) +
               element("AGGREGATION", aggregation) + "</ITEM>";
    return *this;
}

QueryDocument& QueryDocument::calculated(const std::string& name, const std::string& computation) {
    m_calculated +=
        "<ITEM>" + element("ITEM_NAME", name) + element("COMPUTATION", computation) + "</ITEM>";
    return *this;
}

QueryDocument& QueryDocument::join(const std::string& left, const std::string& right,
                                   const std::string& condition, bool allLeft, bool allRight) {
    m_joins += std::string("<JOIN><LEFT_TABLE allrows=\"") + flag(allLeft) + "\">" + escaped(left) +
               "</LEFT_TABLE><RIGHT_TABLE allrows=\"" + flag(allRight) + "\">" + escaped(right) +
               "</RIGHT_TABLE>" + element("CONDITION", condition) + "</JOIN>";
    return *this;
}

QueryDocument& QueryDocument::filter(const std::string& condition, bool active) {
    m_filters += std::string("<FILTER isactive=\"") + flag(active) + "\">" + escaped(condition) +
                 "</FILTER>";
    return *this;
}

QueryDocument& QueryDocument::orderBy(const std::string& alias, const std::string& order) {
    m_orderBy += "<ITEM sortorder=\"" + escaped(order) + "\">" + escaped(alias) + "</ITEM>";
    return *this;
}

QueryDocument& QueryDocument::subQuery(const std::string& name, const QueryDocument& sub) {
    QueryDocument named = sub;
    named.m_name = name;
    m_subQuery = named.xml(true);
    return *this;
}

std::string QueryDocument::xml(bool isSubQuery) const {
    auto part = [](const char* tag, const std::string& content) {
        return content.empty() ? std::string()
                               : std::string("<") + tag + ">" + content + "</" + tag + ">";
    };
    return std::string("<SQLQuery issubquery=\"") + flag(isSubQuery) + "\">" +
           (isSubQuery ? element("NAME", m_name) : std::string()) +
           (m_unique ? "<UNIQUE_RECORDS_ONLY>True</UNIQUE_RECORDS_ONLY>" : "") +
           part("TABLES_USED", m_tables) + part("ITEMS_SELECTED", m_items) +
           part("CALCULATED_ITEMS", m_calculated) + part("JOINS", m_joins) +
           part("FIXED_FILTERS", m_filters) + part("ORDER_BY", m_orderBy) +
           part("SUB_QUERY", m_subQuery) + "</SQLQuery>";
}

QStringList ControlHarness::joinTexts() const {
    QStringList texts;
    for (const DiagramJoin& join : diagram()->joins())
        texts << join.joinText();
    return texts;
}

int ControlHarness::rows() const {
    return grid()->model()->rowCount();
}

} // namespace marovin::test
