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
