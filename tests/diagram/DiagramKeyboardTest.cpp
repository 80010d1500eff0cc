// Keyboard use: Tab between boxes, arrows between columns and boxes, Enter to choose.

#include "DiagramFixture.h"

#include <QLayout>
#include <QLineEdit>
#include <QVBoxLayout>
#include <utility>
#include <vector>

namespace marovin::testing {
namespace {

class DiagramKeyboard : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        placeSample();
        diagram->setFocus();
    }
};

TEST_F(DiagramKeyboard, TabAndTheSideArrowsWalkThroughTheBoxesInTheOrderTheyWereAdded) {
    struct Step {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        const char* selected;
    };
    const std::vector<Step> walks[] = {
        // Tab forwards, Backtab and Shift+Tab back.
        {{Qt::Key_Tab, {}, "Customers"},
         {Qt::Key_Tab, {}, "Orders"},
         {Qt::Key_Tab, {}, "Employees"},
         {Qt::Key_Backtab, {}, "Orders"},
         {Qt::Key_Tab, Qt::ShiftModifier, "Customers"}},
        // Right and Left move to the neighbouring box; Right stays on the last one.
        {{Qt::Key_Right, {}, "Customers"},
         {Qt::Key_Right, {}, "Orders"},
         {Qt::Key_Right, {}, "Employees"},
         {Qt::Key_Right, {}, "Employees"},
         {Qt::Key_Left, {}, "Orders"}},
    };
    for (const std::vector<Step>& walk : walks) {
        diagram->clearSelection();
        EXPECT_TRUE(diagram->selectedTable().isEmpty());
        for (const Step& step : walk) {
            key(step.key, step.modifiers);
            EXPECT_EQ(diagram->selectedTable(), step.selected)
                << "after " << QKeySequence(step.key | step.modifiers).toString().toStdString();
        }
    }
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
    keys({Qt::Key_Tab, Qt::Key_Tab});
    EXPECT_EQ(diagram->currentColumn(), "*");
    key(Qt::Key_Return);
    expectLastSignal(all, 1, {"Orders"});

    keys({Qt::Key_Down, Qt::Key_Down});
    EXPECT_EQ(diagram->currentColumn(), "CustomerID");
    key(Qt::Key_Enter);
    expectLastSignal(chosen, 1, {"Orders", "CustomerID"});

    // Down stays on the last column, Up on the "*" row.
    for (const auto& [k, column] :
         std::initializer_list<std::pair<Qt::Key, const char*>>{{Qt::Key_Up, "OrderID"},
                                                                {Qt::Key_End, "ShipCity"},
                                                                {Qt::Key_Down, "ShipCity"},
                                                                {Qt::Key_Home, "*"},
                                                                {Qt::Key_Up, "*"}}) {
        key(k);
        EXPECT_EQ(diagram->currentColumn(), column) << QKeySequence(k).toString().toStdString();
    }
}

TEST_F(DiagramKeyboard, EachBoxKeepsItsOwnColumnPosition) {
    keys({Qt::Key_Tab, Qt::Key_End});
    EXPECT_EQ(diagram->currentColumn(), "City");
    keys({Qt::Key_Tab, Qt::Key_Down});
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
        keys({Qt::Key_Tab, Qt::Key_Home, Qt::Key_Down, Qt::Key_Down}); // Orders.CustomerID
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
    keys({Qt::Key_J, Qt::Key_Left, Qt::Key_Home, Qt::Key_Down, Qt::Key_Down,
          Qt::Key_Down}); // Orders.EmployeeID
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
    keys({Qt::Key_Up, Qt::Key_Return});                // still the same box: nothing yet
    keys({Qt::Key_Home, Qt::Key_Tab, Qt::Key_Return}); // the "*" row: nothing yet
    EXPECT_EQ(requests.size() + chosen.size(), 0);
    key(Qt::Key_Escape);
    EXPECT_EQ(diagram->view()->scene()->items().size(), items);
    EXPECT_EQ(diagram->selectedTable(), "Orders"); // Escape ended the join only
    keys({Qt::Key_End, Qt::Key_Return});           // chooses the column again
    EXPECT_EQ(requests.size(), 0);
    ASSERT_EQ(chosen.size(), 1);
    EXPECT_EQ(chosen[0][1].toString(), "ShipCity");
    // J on the "*" row starts nothing.
    keys({Qt::Key_Home, Qt::Key_J});
    EXPECT_EQ(diagram->view()->scene()->items().size(), items);
}

TEST_F(DiagramKeyboardJoins, LSelectsTheJoinsOfTheBoxAndKeysChangeOrRemoveThem) {
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    ASSERT_TRUE(diagram->AddJoin("Orders", "EmployeeID", "Employees", "EmployeeID", "Inner Join"));
    ASSERT_TRUE(diagram->AddJoin("Customers", "City", "Employees", "LastName", "Inner Join"));
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);
    QSignalSpy removals(diagram, &dvTablesAndJoins::tableRemovalRequest);
    keys({Qt::Key_Tab, Qt::Key_Tab}); // Orders
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
    keys({Qt::Key_Backtab, Qt::Key_L, Qt::Key_Delete});
    expectLastSignal(removed, 1, {joinText("Orders", "CustomerID", "Customers", "CustomerID")});
    EXPECT_EQ(removals.size(), 0);
    EXPECT_EQ(diagram->joinCount(), 2);
}

TEST_F(DiagramKeyboardJoins, CtrlArrowsMoveAndResizeTheBoxOneReportPerStroke) {
    QSignalSpy moved(diagram, &dvTablesAndJoins::tablesMoved);
    key(Qt::Key_Tab);
    const QRectF before = diagram->tableSceneRect("Customers");
    keys({Qt::Key_Right, Qt::Key_Down, Qt::Key_Down}, Qt::ControlModifier);
    EXPECT_EQ(diagram->tableSceneRect("Customers").topLeft(), before.topLeft() + QPointF(10, 20));
    keys({Qt::Key_Right, Qt::Key_Down}, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(diagram->tableSceneRect("Customers").size(), before.size() + QSizeF(10, 10));
    EXPECT_EQ(moved.size(), 5);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    EXPECT_EQ(diagram->currentColumn(), "*"); // the keyboard row stayed
}

} // namespace
} // namespace marovin::testing
