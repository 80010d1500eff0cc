#pragma once

#include "SampleDatabase.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/platform/CountingBusyPointer.h"
#include "marovin/platform/MemoryClipboard.h"
#include "marovin/platform/MemorySettingsStore.h"
#include "marovin/platform/ScriptedMessageBox.h"
#include "marovin/platform/SqlTextView.h"
#include "marovin/uscMarovin.h"

#include <QCheckBox>
#include <QDialog>
#include <QListView>
#include <QPushButton>
#include <QStringList>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// Readable QString values in test failure messages.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace marovin::test {

// Writes a new SQLite file from SQL statements (an existing file is replaced).
void WriteSqliteFile(const std::string& path, const std::string& statements);

// A new SQLite file made from SQL statements in a folder of its own, removed with the object.
struct ScratchDatabase {
    explicit ScratchDatabase(const std::string& statements) { WriteSqliteFile(path, statements); }
    std::shared_ptr<cDbConnection> connection() const { return SqliteConnection(path); }
    QTemporaryDir dir;
    std::string path = dir.filePath("scratch.sqlite").toStdString();
};

// Waits until the control has read its table list (at most ten seconds).
void WaitForTableList(uscMarovin& control);
// The entries the control's table list shows once it is read, in list order.
QStringList TableEntries(uscMarovin& control);
// The list's index of an entry it shows; invalid when it shows no such entry.
QModelIndex TableEntryIndex(uscMarovin& control, const QString& entry);
// Selects an entry of the control's table list with a click and clicks "Add table".
void PlaceTable(uscMarovin& control, const QString& entry);
// Double-clicks a column row of a box in the control's diagram.
void ChooseColumn(uscMarovin& control, const QString& alias, const QString& column);

// A scripted message box that also notes whether the busy pointer was on while each box was
// shown (the depth of the pointer at that moment).
class BusyAwareMessageBox : public ScriptedMessageBox {
public:
    explicit BusyAwareMessageBox(std::shared_ptr<CountingBusyPointer> busy)
        : m_busy(std::move(busy)) {}
    MessageAnswer Show(const QString& strCaption, const QString& strText, MessageIcon icon,
                       MessageButtons buttons) override {
        busyDepths.push_back(m_busy->lngDepth());
        return ScriptedMessageBox::Show(strCaption, strText, icon, buttons);
    }
    std::vector<int> busyDepths;

private:
    std::shared_ptr<CountingBusyPointer> m_busy;
};

// Acts on the next modal dialogs once each is up, from a timer, while the dialog's own loop
// runs: the first action on the first dialog, the second on the next one, and so on. A dialog
// an action leaves open, or any dialog beyond the actions, is rejected, so that a failing test
// cannot hang. Create it just before the call that opens the dialogs.
class ModalDriver {
public:
    explicit ModalDriver(std::function<void(QDialog&)> action)
        : ModalDriver(std::vector<std::function<void(QDialog&)>>{std::move(action)}) {}
    explicit ModalDriver(std::vector<std::function<void(QDialog&)>> actions);
    // Whether a dialog came up and the first action ran on it.
    bool ran() const { return !m_dialogClasses.isEmpty(); }
    // The class name of the dialog the first action ran on.
    QString dialogClass() const { return m_dialogClasses.value(0); }
    // The class names of every dialog that came up, in order (rejected ones too).
    const QStringList& dialogClasses() const { return m_dialogClasses; }

private:
    void tick();

    std::vector<std::function<void(QDialog&)>> m_actions;
    QTimer m_timer;
    int m_ticks = 0;
    QStringList m_dialogClasses;
    QDialog* m_current = nullptr; // Not owned: the dialog the last action ran on.
};

// A shown message box's caption, text, icon and buttons, compared in one expectation.
struct Box {
    QString caption;
    QString text;
    MessageIcon icon;
    MessageButtons buttons;
    bool operator==(const Box&) const = default;
};
inline Box BoxOf(const ScriptedMessageBox::Shown& shown) {
    return {shown.strCaption, shown.strText, shown.icon, shown.buttons};
}
inline void PrintTo(const Box& box, std::ostream* out) {
    *out << '{' << box.caption.toStdString() << " | " << box.text.toStdString() << " | icon "
         << static_cast<int>(box.icon) << " | buttons " << static_cast<int>(box.buttons) << '}';
}

// The texts of the message boxes shown so far, in order.
QStringList ShownTexts(const ScriptedMessageBox& box);

// Calls `open` with a ModalDriver serving the dialogs it opens (the first action on the first
// dialog, and so on) and returns the class names of every dialog that came up.
QStringList RunDialogs(std::vector<std::function<void(QDialog&)>> actions,
                       const std::function<void()>& open);
inline QStringList RunDialog(std::function<void(QDialog&)> action,
                             const std::function<void()>& open) {
    return RunDialogs({std::move(action)}, open);
}
// A dialog action that clicks the dialog's push button of that name (OKButton, CancelButton).
std::function<void(QDialog&)> PressButton(const char* name);

// A query document built from its parts, in the form the control's host stores: tables,
// selected items, calculated items, joins, conditions and sort entries, and a sub-query.
class QueryDocument {
public:
    // A table under an alias (by default the part after the name's last dot).
    QueryDocument& table(const std::string& name, const std::string& alias = {});
    // The sub-query placed as a table (its name is its alias).
    QueryDocument& subQueryTable(const std::string& name);
    QueryDocument& item(const std::string& name, const std::string& alias,
                        const std::string& aggregation = {});
    QueryDocument& calculated(const std::string& name, const std::string& computation);
    // A join on a condition; the flags keep every row of the left or the right table.
    QueryDocument& join(const std::string& left, const std::string& right,
                        const std::string& condition, bool allLeft = false, bool allRight = false);
    QueryDocument& filter(const std::string& condition, bool active = true);
    QueryDocument& orderBy(const std::string& alias, const std::string& order);
    QueryDocument& uniqueRecordsOnly() {
        m_unique = true;
        return *this;
    }
    // The query's sub-query, stored under a name.
    QueryDocument& subQuery(const std::string& name, const QueryDocument& sub);
    std::string xml(bool isSubQuery = false) const;
    operator std::string() const { return xml(); }

private:
    std::string m_tables, m_items, m_calculated, m_joins, m_filters, m_orderBy, m_subQuery;
    std::string m_name;
    bool m_unique = false;
};

// The texts of a list's entries in one column, in list order.
QStringList ItemTexts(const QTreeWidget* list, int column = 0);
// The texts of every column of a list's entry (or of its header).
QStringList ItemRow(const QTreeWidgetItem* item);

// One control on the sample database with scripted message boxes and in-memory settings,
// shown offscreen so that real mouse and key events reach it.
class ControlHarness {
public:
    explicit ControlHarness(std::shared_ptr<MemorySettingsStore> settings = nullptr,
                            std::shared_ptr<cDbConnection> connection = nullptr);
    ~ControlHarness();

    uscMarovin& control() { return *m_control; }
    void destroyControl();

    QListView* tableList() const;
    QStringList tableEntries() const { return TableEntries(*m_control); }
    dvTablesAndJoins* diagram() const;
    QTableView* grid() const;
    QTreeWidget* conditions() const;
    QTreeWidget* expressions() const;
    SqlTextView* sqlView() const;
    QCheckBox* checkBox(const char* name) const;
    QPushButton* button(const char* name) const;

    // Loads a query document into a new query given to the control.
    void load(const std::string& xml);
    // Selects the entry in the table list and clicks "Add table" with the mouse; then chooses
    // the columns, in order, in the box just placed.
    void placeTable(const QString& entry, const QStringList& columns = {});
    // Double-clicks a column row of a box in the diagram (each of the columns in order).
    void chooseColumn(const QString& alias, const QString& column);
    void chooseColumns(const QString& alias, const QStringList& columns);
    // Drags from one column row onto a column row of another box with the mouse.
    // Keys held at the drop choose the join's type (Shift keeps the rows of the table dragged
    // from, Ctrl those of the table dropped onto).
    void dragJoin(const QString& fromAlias, const QString& fromColumn, const QString& toAlias,
                  const QString& toColumn, Qt::KeyboardModifiers keys = Qt::NoModifier);

    // Opens the editor of a grid cell (row and column from 1) with F2, as a user would, and
    // returns it.
    QWidget* startEdit(int row, int column);
    // Opens the drop-down of a grid cell with F2, types the keys (which find the entry they
    // begin) and commits with Enter.
    void chooseInCell(int row, int column, const QString& keys);
    // Replaces the alias of a row by typing: the old text is erased with backspace, then the keys
    // are typed one by one and Enter commits.
    void typeAlias(int row, const QString& keys);

    // The grid's cell (row and column from 1) and row count.
    QString cell(int row, int column) const;
    // A grid row's first five cells (field, alias, aggregation, table, table alias), from 1.
    QStringList row(int row) const;
    // A grid column's cells from the first row to the last (column from 1).
    QStringList column(int column) const;
    int rows() const;
    // The diagram's joins, each as its text (aliases, columns and type on lines of their own).
    QStringList joinTexts() const;
    void clickButton(const char* name);

    std::shared_ptr<CountingBusyPointer> busy = std::make_shared<CountingBusyPointer>();
    std::shared_ptr<BusyAwareMessageBox> box = std::make_shared<BusyAwareMessageBox>(busy);
    std::shared_ptr<MemorySettingsStore> settings;
    std::shared_ptr<cDbConnection> db;
    std::shared_ptr<cSQLQuery> query = std::make_shared<cSQLQuery>();
    int changed = 0;

private:
    std::unique_ptr<uscMarovin> m_control;
};

} // namespace marovin::test
