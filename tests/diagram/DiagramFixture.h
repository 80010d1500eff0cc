#pragma once

// Shared set-up of the diagram's GUI tests: a shown diagram, tables placed the way the query
// builder places them, and real mouse gestures on the view's viewport.

#include <QContextMenuEvent>
#include <QGraphicsView>
#include <QSignalSpy>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <marovin/TableDefinition.h>
#include <marovin/dvTablesAndJoins.h>
#include <memory>

namespace marovin::testing {

class DiagramFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Places a table as the query builder does: the n-th table goes to left = 160 n + 50,
    // top = 20, width = 5 * alias length + 120, height = 10 (N - 1) + 100 but at most 300.
    bool place(const QString& alias, const QStringList& columns);
    // Customers, Orders and Employees, placed in that order: the tables most tests join.
    void placeSample();
    // No two boxes overlap.
    void expectNoOverlaps();

    QWidget* viewport() const { return diagram->view()->viewport(); }
    // Press at from, move there in steps, release at to, all with the left button; the
    // modifiers are those held at the release.
    void drag(const QPoint& from, const QPoint& to,
              Qt::KeyboardModifiers atRelease = Qt::NoModifier);
    // The first half of a drag: press at from and move to to in steps, the button still held.
    void pressAndMove(const QPoint& from, const QPoint& to);
    void dragColumn(const QString& fromAlias, const QString& fromColumn, const QString& toAlias,
                    const QString& toColumn, Qt::KeyboardModifiers atDrop = Qt::NoModifier);
    void click(const QPoint& at, Qt::MouseButton button = Qt::LeftButton);
    // The pointer resting at a point with no button pressed.
    void hover(const QPoint& at);
    void doubleClick(const QPoint& at);
    // Double-clicks at a point and gives the column the one columnChosen signal named.
    QString columnChosenBy(const QPoint& at);
    // Opens the context menu at a point and triggers the action with that object name.
    // With the keyboard reason the point is ignored and the menu is that of the selection.
    void chooseFromContextMenu(const QPoint& at, const QString& actionName,
                               QContextMenuEvent::Reason reason = QContextMenuEvent::Mouse);
    // Runs open, which must show a popup menu, and triggers the action with that object name.
    void chooseFromMenu(const std::function<void()>& open, const QString& actionName);
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // The keys one after another, each with the same modifiers.
    void keys(std::initializer_list<Qt::Key> keys,
              Qt::KeyboardModifiers modifiers = Qt::NoModifier);

    std::unique_ptr<QWidget> window;
    dvTablesAndJoins* diagram = nullptr; // Owned by window.
    int placed = 0;
};

// The join text the diagram reports: five lines separated by line feeds.
QString joinText(const QString& leftAlias, const QString& leftColumn, const QString& rightAlias,
                 const QString& rightColumn, const QString& type = QStringLiteral("Inner Join"));
// The joins list the diagram reports for these join texts: their count, then each on its lines.
QString joinsList(const QStringList& joins);
// Checks that the spy caught count signals, the last of them with these leading arguments.
void expectLastSignal(const QSignalSpy& spy, qsizetype count, const QVariantList& arguments);
// Column1, Column2, ... ColumnN: a table too long for its box.
QStringList numberedColumns(int count);

} // namespace marovin::testing
