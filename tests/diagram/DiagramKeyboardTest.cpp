// Keyboard use: Tab between boxes, arrows between columns and boxes, Enter to choose.

#include "DiagramFixture.h"

#include <QLayout>
#include <QLineEdit>
#include <QVBoxLayout>

namespace marovin::testing {
namespace {

class DiagramKeyboard : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Customers", {"CustomerID", "CompanyName", "City"});
        place("Orders", {"OrderID", "CustomerID", "EmployeeID", "ShipCity"});
        place("Employees", {"EmployeeID", "LastName"});
        diagram->setFocus();
    }
};

TEST_F(DiagramKeyboard, TabWalksThroughTheBoxesInTheOrderTheyWereAdded) {
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
    key(Qt::Key_Tab);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    key(Qt::Key_Tab);
    EXPECT_EQ(diagram->selectedTable(), "Orders");
    key(Qt::Key_Tab);
    EXPECT_EQ(diagram->selectedTable(), "Employees");
    key(Qt::Key_Backtab);
    EXPECT_EQ(diagram->selectedTable(), "Orders");
    key(Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
}

TEST_F(DiagramKeyboard, TabPastTheLastBoxLeavesTheDiagram) {
    auto* next = new QLineEdit(window.get());
    window->layout()->addWidget(next);
    next->show();
    diagram->selectTable("Employees");
    diagram->view()->setFocus();
    ASSERT_TRUE(diagram->view()->hasFocus());
    key(Qt::Key_Tab);
    EXPECT_TRUE(next->hasFocus());
    EXPECT_EQ(diagram->selectedTable(), "Employees");
}

TEST_F(DiagramKeyboard, TabbingIntoTheDiagramPicksTheFirstBox) {
    auto* before = new QLineEdit(window.get());
    static_cast<QVBoxLayout*>(window->layout())->insertWidget(0, before);
    before->show();
    QWidget::setTabOrder(before, diagram);
    before->setFocus();
    ASSERT_TRUE(before->hasFocus());
    QTest::keyClick(before, Qt::Key_Tab);
    EXPECT_TRUE(diagram->view()->hasFocus());
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    key(Qt::Key_Down);
    EXPECT_EQ(diagram->currentColumn(), "CustomerID");
}

TEST_F(DiagramKeyboard, ArrowsMoveBetweenColumnsAndEnterChoosesOne) {
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    key(Qt::Key_Tab);
    key(Qt::Key_Tab);
    EXPECT_EQ(diagram->currentColumn(), "*");
    key(Qt::Key_Return);
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all[0][0].toString(), "Orders");

    key(Qt::Key_Down);
    key(Qt::Key_Down);
    EXPECT_EQ(diagram->currentColumn(), "CustomerID");
    key(Qt::Key_Enter);
    ASSERT_EQ(chosen.size(), 1);
    EXPECT_EQ(chosen[0][0].toString(), "Orders");
    EXPECT_EQ(chosen[0][1].toString(), "CustomerID");

    key(Qt::Key_Up);
    EXPECT_EQ(diagram->currentColumn(), "OrderID");
    key(Qt::Key_End);
    EXPECT_EQ(diagram->currentColumn(), "ShipCity");
    key(Qt::Key_Down); // stays on the last column
    EXPECT_EQ(diagram->currentColumn(), "ShipCity");
    key(Qt::Key_Home);
    EXPECT_EQ(diagram->currentColumn(), "*");
    key(Qt::Key_Up); // stays on the "*" row
    EXPECT_EQ(diagram->currentColumn(), "*");
}

TEST_F(DiagramKeyboard, LeftAndRightMoveToTheNeighbouringBox) {
    key(Qt::Key_Right);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    key(Qt::Key_Right);
    EXPECT_EQ(diagram->selectedTable(), "Orders");
    key(Qt::Key_Right);
    EXPECT_EQ(diagram->selectedTable(), "Employees");
    key(Qt::Key_Right);
    EXPECT_EQ(diagram->selectedTable(), "Employees");
    key(Qt::Key_Left);
    EXPECT_EQ(diagram->selectedTable(), "Orders");
}

TEST_F(DiagramKeyboard, EachBoxKeepsItsOwnColumnPosition) {
    key(Qt::Key_Tab);
    key(Qt::Key_End);
    EXPECT_EQ(diagram->currentColumn(), "City");
    key(Qt::Key_Tab);
    key(Qt::Key_Down);
    EXPECT_EQ(diagram->currentColumn(), "OrderID");
    key(Qt::Key_Backtab);
    EXPECT_EQ(diagram->currentColumn(), "City");
}

TEST_F(DiagramKeyboard, EscapeClearsTheSelectionAndEnterThenDoesNothing) {
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    key(Qt::Key_Tab);
    key(Qt::Key_Escape);
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
    EXPECT_TRUE(diagram->currentColumn().isEmpty());
    key(Qt::Key_Return);
    EXPECT_EQ(chosen.size() + all.size(), 0);
}

} // namespace
} // namespace marovin::testing

namespace marovin::testing {
namespace {

// Joins made, selected, changed and removed with the keyboard alone.
class DiagramKeyboardJoins : public DiagramKeyboard {
protected:
    // Tab to the box (counting from no selection), then down to the column.
    void goTo(int boxNumber, int columnRow) {
        diagram->clearSelection();
        for (int i = 0; i < boxNumber; ++i)
            key(Qt::Key_Tab);
        key(Qt::Key_Home);
        for (int i = 0; i < columnRow; ++i)
            key(Qt::Key_Down);
    }
};

TEST_F(DiagramKeyboardJoins, JThenEnterOnAnotherBoxAsksForTheJoinWithTheTypeOfTheKeysHeld) {
    const struct {
        Qt::KeyboardModifiers modifiers;
        const char* type;
    } cases[] = {{Qt::NoModifier, "Inner Join"},
                 {Qt::ShiftModifier, "Left Join"},
                 {Qt::ControlModifier, "Right Join"},
                 {Qt::ControlModifier | Qt::ShiftModifier, "Full Join"}};
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    for (const auto& c : cases) {
        QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
        const qsizetype items = diagram->view()->scene()->items().size();
        goTo(1, 1); // Customers.CustomerID
        key(Qt::Key_J);
        EXPECT_EQ(diagram->view()->scene()->items().size(), items + 1) << "the line to the target";
        key(Qt::Key_Tab);
        key(Qt::Key_Home);
        key(Qt::Key_Down);
        key(Qt::Key_Down); // Orders.CustomerID
        key(Qt::Key_Return, c.modifiers);
        const QString text = joinText("Customers", "CustomerID", "Orders", "CustomerID", c.type);
        ASSERT_EQ(requests.size(), 1) << c.type;
        EXPECT_EQ(requests[0][0].toString().toStdString(), text.toStdString());
        EXPECT_EQ(diagram->JoinsList().toStdString(), ("1\n" + text).toStdString());
        EXPECT_EQ(diagram->selectedJoin(), 1);
        ASSERT_TRUE(diagram->removeJoin(1));
    }
    EXPECT_EQ(chosen.size(), 0);

    // The orientation rules of a drop apply: from a new table onto a joined one, Shift keeps the
    // rows of the new table, recorded from the joined table as a Right Join.
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    goTo(3, 1); // Employees.EmployeeID
    key(Qt::Key_J);
    key(Qt::Key_Left);
    key(Qt::Key_Home);
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Down); // Orders.EmployeeID
    key(Qt::Key_Enter, Qt::ShiftModifier);
    EXPECT_EQ(diagram->joins().last().joinText(),
              joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join"));
}

TEST_F(DiagramKeyboardJoins, EscapeCancelsAndEnterWaitsForAnotherBox) {
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    const qsizetype items = diagram->view()->scene()->items().size();
    goTo(1, 3); // Customers.City
    key(Qt::Key_J);
    key(Qt::Key_Up);
    key(Qt::Key_Return); // still the same box: nothing yet
    key(Qt::Key_Home);
    key(Qt::Key_Tab);
    key(Qt::Key_Return); // the "*" row: nothing yet
    EXPECT_EQ(requests.size() + chosen.size(), 0);
    key(Qt::Key_Escape);
    EXPECT_EQ(diagram->view()->scene()->items().size(), items);
    EXPECT_EQ(diagram->selectedTable(), "Orders"); // Escape ended the join only
    key(Qt::Key_End);
    key(Qt::Key_Return); // chooses the column again
    EXPECT_EQ(requests.size(), 0);
    ASSERT_EQ(chosen.size(), 1);
    EXPECT_EQ(chosen[0][1].toString(), "ShipCity");
    // J on the "*" row starts nothing.
    key(Qt::Key_Home);
    key(Qt::Key_J);
    EXPECT_EQ(diagram->view()->scene()->items().size(), items);
}

TEST_F(DiagramKeyboardJoins, LSelectsTheJoinsOfTheBoxAndKeysChangeOrRemoveThem) {
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    ASSERT_TRUE(diagram->AddJoin("Orders", "EmployeeID", "Employees", "EmployeeID", "Inner Join"));
    ASSERT_TRUE(diagram->AddJoin("Customers", "City", "Employees", "LastName", "Inner Join"));
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);
    QSignalSpy removals(diagram, &dvTablesAndJoins::tableRemovalRequest);
    key(Qt::Key_Tab);
    key(Qt::Key_Tab); // Orders
    key(Qt::Key_L);
    EXPECT_EQ(diagram->selectedJoin(), 1);
    key(Qt::Key_L);
    EXPECT_EQ(diagram->selectedJoin(), 2);
    key(Qt::Key_L); // only the joins of Orders, round again
    EXPECT_EQ(diagram->selectedJoin(), 1);
    key(Qt::Key_L, Qt::ShiftModifier);
    EXPECT_EQ(diagram->selectedJoin(), 2);

    key(Qt::Key_2);
    ASSERT_EQ(changed.size(), 1);
    EXPECT_EQ(diagram->joins()[1].type, JoinType::Left);
    chooseFromMenu([this] { key(Qt::Key_F10, Qt::ShiftModifier); }, "Full Join");
    EXPECT_EQ(diagram->joins()[1].type, JoinType::Full);
    key(Qt::Key_1);
    EXPECT_EQ(diagram->joins()[1].type, JoinType::Inner);
    EXPECT_EQ(changed.size(), 3);

    key(Qt::Key_Escape); // back to the box the joins were reached from
    EXPECT_EQ(diagram->selectedTable(), "Orders");
    key(Qt::Key_L);
    key(Qt::Key_Tab); // from a join, Tab goes on after its box
    EXPECT_EQ(diagram->selectedTable(), "Employees");
    key(Qt::Key_Backtab);
    key(Qt::Key_L);
    key(Qt::Key_Delete);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][0].toString(),
              joinText("Orders", "CustomerID", "Customers", "CustomerID"));
    EXPECT_EQ(removals.size(), 0);
    EXPECT_EQ(diagram->joinCount(), 2);
}

TEST_F(DiagramKeyboardJoins, CtrlArrowsMoveAndResizeTheBoxOneReportPerStroke) {
    QSignalSpy moved(diagram, &dvTablesAndJoins::tablesMoved);
    key(Qt::Key_Tab);
    const QRectF before = diagram->tableSceneRect("Customers");
    key(Qt::Key_Right, Qt::ControlModifier);
    key(Qt::Key_Down, Qt::ControlModifier);
    key(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(diagram->tableSceneRect("Customers").topLeft(), before.topLeft() + QPointF(10, 20));
    key(Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
    key(Qt::Key_Down, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(diagram->tableSceneRect("Customers").size(), before.size() + QSizeF(10, 10));
    EXPECT_EQ(moved.size(), 5);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    EXPECT_EQ(diagram->currentColumn(), "*"); // the keyboard row stayed
}

} // namespace
} // namespace marovin::testing
