// Joins drawn with the mouse, restored with AddJoin, changed and removed through the context
// menu and the keyboard, and the joins list and events that report them.

#include "DiagramFixture.h"

namespace marovin::testing {
namespace {

class DiagramJoins : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        placeSample();
    }
};

TEST_F(DiagramJoins, ARefusedJoinLeavesNoTrace) {
    int accept = 0;
    QObject::connect(diagram, &dvTablesAndJoins::joinRequest,
                     [&](const QString&, int* flag) { *flag = accept; });
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    qsizetype itemsBefore = diagram->view()->scene()->items().size();

    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    EXPECT_EQ(requests.size(), 1);
    EXPECT_EQ(added.size(), 0);
    EXPECT_EQ(diagram->JoinsList(), "0");
    EXPECT_EQ(diagram->joins().size(), 0);
    // Neither a join line nor the line that followed the pointer is left in the scene.
    EXPECT_EQ(diagram->view()->scene()->items().size(), itemsBefore);

    // From a new table onto a joined one the request names the join reversed; refused, only
    // the join there was stays.
    accept = 1;
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    accept = 0;
    itemsBefore = diagram->view()->scene()->items().size();
    dragColumn("Employees", "EmployeeID", "Orders", "EmployeeID", Qt::ShiftModifier);
    expectLastSignal(requests, 3,
                     {joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join")});
    EXPECT_EQ(added.size(), 1);
    EXPECT_EQ(diagram->joinCount(), 1);
    EXPECT_EQ(diagram->view()->scene()->items().size(), itemsBefore);
}

TEST_F(DiagramJoins, DropsThatCannotMakeAJoinAndACancelledDragAskForNothing) {
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    const qsizetype itemsBefore = diagram->view()->scene()->items().size();
    // Onto a column of the same box.
    dragColumn("Orders", "OrderID", "Orders", "ShipCity");
    // Onto the "*" row of another box.
    drag(diagram->columnPoint("Orders", "OrderID"), diagram->allColumnsPoint("Customers"));
    // From the "*" row.
    drag(diagram->allColumnsPoint("Orders"), diagram->columnPoint("Customers", "City"));
    // Onto the empty canvas below the boxes.
    const QPoint from = diagram->columnPoint("Orders", "OrderID");
    drag(from, QPoint(from.x(), diagram->view()->viewport()->height() - 10));
    // Escape during a drag cancels it.
    const QPoint to = diagram->columnPoint("Customers", "CustomerID");
    pressAndMove(diagram->columnPoint("Orders", "CustomerID"), to);
    EXPECT_EQ(diagram->view()->scene()->items().size(), itemsBefore + 1); // the rubber line
    EXPECT_EQ(viewport()->cursor().shape(), Qt::DragLinkCursor); // over a column that can join
    key(Qt::Key_Escape);
    QTest::mouseRelease(viewport(), Qt::LeftButton, Qt::NoModifier, to);
    EXPECT_EQ(requests.size(), 0);
    EXPECT_EQ(diagram->JoinsList(), "0");
    EXPECT_EQ(diagram->view()->scene()->items().size(), itemsBefore);
}

TEST_F(DiagramJoins, JoiningColumnsThatAreAlreadyJoinedSelectsTheExistingJoin) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    diagram->clearSelection();
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    dragColumn("Customers", "CustomerID", "Orders", "CustomerID");
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    EXPECT_EQ(requests.size(), 0);
    EXPECT_EQ(diagram->joinCount(), 1);
    EXPECT_EQ(diagram->selectedJoin(), 1);
    // Another column pair between the same two tables is a join of its own.
    dragColumn("Orders", "ShipCity", "Customers", "City");
    EXPECT_EQ(requests.size(), 1);
    EXPECT_EQ(diagram->joinCount(), 2);
}

TEST_F(DiagramJoins, AddJoinDrawsWithoutAskingAndChecksItsArguments) {
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);

    EXPECT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"));
    EXPECT_TRUE(diagram->AddJoin("Orders", "EmployeeID", "Employees", "EmployeeID", "Full Join"));
    EXPECT_EQ(requests.size(), 0);
    ASSERT_EQ(added.size(), 2);
    EXPECT_EQ(added[0][0].toString(),
              joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"));
    EXPECT_EQ(added[1][1].toInt(), 2);

    EXPECT_FALSE(diagram->AddJoin("Nobody", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "Missing", "Customers", "CustomerID", "Inner Join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "CustomerID", "Customers", "customerid", "Inner Join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "inner join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Cross Join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "OrderID", "Orders", "CustomerID", "Inner Join"));
    EXPECT_FALSE(diagram->AddJoin("Orders", "*", "Customers", "CustomerID", "Inner Join"));
    EXPECT_EQ(added.size(), 2);

    EXPECT_EQ(
        diagram->JoinsList(),
        joinsList({joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"),
                   joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Full Join")}));
}

TEST_F(DiagramJoins, TheContextMenuChangesTheTypeAndRemovesTheJoin) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    dragColumn("Orders", "EmployeeID", "Employees", "EmployeeID");
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);

    chooseFromContextMenu(diagram->joinPoint(1), "Left Join");
    expectLastSignal(changed, 1,
                     {joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"), 1});
    EXPECT_EQ(diagram->joins()[0].type, JoinType::Left);

    // Choosing the type it already has changes nothing.
    chooseFromContextMenu(diagram->joinPoint(1), "Left Join");
    EXPECT_EQ(changed.size(), 1);

    chooseFromContextMenu(diagram->joinPoint(2), "Full Join");
    ASSERT_EQ(changed.size(), 2);
    EXPECT_EQ(changed[1][1].toInt(), 2);

    chooseFromContextMenu(diagram->joinPoint(1), "Remove Join");
    expectLastSignal(removed, 1,
                     {joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"), 1});
    EXPECT_EQ(diagram->JoinsList(), joinsList({joinText("Orders", "EmployeeID", "Employees",
                                                        "EmployeeID", "Full Join")}));

    // The menu key opens the menu of the selected join.
    diagram->selectJoin(1);
    ASSERT_EQ(diagram->selectedJoin(), 1);
    chooseFromContextMenu(QPoint(5, 5), "Right Join", QContextMenuEvent::Keyboard);
    ASSERT_EQ(changed.size(), 3);
    EXPECT_EQ(diagram->joins()[0].type, JoinType::Right);
}

TEST_F(DiagramJoins, ClickingAJoinSelectsItAndDeleteRemovesIt) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    dragColumn("Orders", "EmployeeID", "Employees", "EmployeeID");
    diagram->clearSelection();
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);
    QSignalSpy removalRequests(diagram, &dvTablesAndJoins::tableRemovalRequest);

    click(diagram->joinPoint(2));
    EXPECT_EQ(diagram->selectedJoin(), 2);
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
    key(Qt::Key_Delete);

    expectLastSignal(removed, 1, {joinText("Orders", "EmployeeID", "Employees", "EmployeeID"), 2});
    EXPECT_EQ(removalRequests.size(), 0);
    EXPECT_EQ(diagram->joinCount(), 1);
    EXPECT_EQ(diagram->selectedJoin(), 0);
    // Nothing selected any more: Delete does nothing.
    key(Qt::Key_Delete);
    EXPECT_EQ(removed.size(), 1);
}

TEST_F(DiagramJoins, SetJoinTypeAndRemoveJoinCheckTheirArguments) {
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);
    EXPECT_FALSE(diagram->setJoinType(0, "Left Join"));
    EXPECT_FALSE(diagram->setJoinType(2, "Left Join"));
    EXPECT_FALSE(diagram->setJoinType(1, "Outer Join"));
    EXPECT_FALSE(diagram->removeJoin(2));
    EXPECT_EQ(changed.size(), 0);
    EXPECT_TRUE(diagram->setJoinType(1, "Right Join"));
    expectLastSignal(changed, 1,
                     {joinText("Orders", "CustomerID", "Customers", "CustomerID", "Right Join")});
}

TEST_F(DiagramJoins, AJoinLineFollowsItsBoxesAndItsBadgeStaysInSightUnderABox) {
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    const QPoint before = diagram->joinPoint(1);
    const QRectF boxBefore = diagram->tableSceneRect("Customers");
    const QPoint title = diagram->titlePoint("Customers");
    drag(title, title + QPoint(0, 120));
    const QRectF boxAfter = diagram->tableSceneRect("Customers");
    EXPECT_DOUBLE_EQ(boxAfter.top() - boxBefore.top(), 120);
    EXPECT_DOUBLE_EQ(boxAfter.left(), boxBefore.left());
    const QPoint after = diagram->joinPoint(1);
    EXPECT_GT(after.y(), before.y() + 30);
    // The join is still there, unchanged, and still reacts at its new place.
    EXPECT_EQ(diagram->joinCount(), 1);
    click(after);
    EXPECT_EQ(diagram->selectedJoin(), 1);

    // A box moved over the badge: the badge stays in sight and clickable.
    const QPoint titleOfEmployees = diagram->titlePoint("Employees");
    const QPoint middle =
        diagram->view()->mapFromScene(diagram->tableSceneRect("Employees").center());
    drag(titleOfEmployees, titleOfEmployees + (after - middle));
    const QPoint covered = diagram->joinPoint(1);
    ASSERT_TRUE(
        diagram->tableSceneRect("Employees").contains(diagram->view()->mapToScene(covered)));
    diagram->clearSelection();
    click(covered);
    EXPECT_EQ(diagram->selectedJoin(), 1);
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
}

TEST_F(DiagramJoins, JoinsCanBeDrawnWhenZoomed) {
    keys({Qt::Key_Plus, Qt::Key_Plus}, Qt::ControlModifier);
    EXPECT_GT(diagram->view()->transform().m11(), 1.3);
    dragColumn("Orders", "EmployeeID", "Employees", "EmployeeID");
    key(Qt::Key_0, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(diagram->view()->transform().m11(), 1.0);
    key(Qt::Key_Minus, Qt::ControlModifier);
    dragColumn("Customers", "City", "Employees", "City");
    EXPECT_EQ(diagram->JoinsList(),
              joinsList({joinText("Orders", "EmployeeID", "Employees", "EmployeeID"),
                         joinText("Employees", "City", "Customers", "City")}));
}

TEST_F(DiagramJoins, TheJoinsListRestoresThroughAddJoin) {
    // What a host does when it stores a query and loads it again: read the list, clear,
    // place the tables, then draw every listed join with AddJoin.
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    dragColumn("Employees", "EmployeeID", "Orders", "EmployeeID");
    dragColumn("Orders", "ShipCity", "Customers", "City");
    ASSERT_TRUE(diagram->setJoinType(2, "Right Join"));
    ASSERT_TRUE(diagram->setJoinType(3, "Full Join"));
    const QString stored = diagram->JoinsList();

    diagram->Clear();
    placed = 0;
    placeSample();
    const QStringList lines = stored.split(u'\n');
    const int count = lines[0].toInt();
    ASSERT_EQ(lines.size(), 1 + 5 * count);
    for (int i = 0; i < count; ++i) {
        const int at = 1 + 5 * i;
        ASSERT_TRUE(diagram->AddJoin(lines[at], lines[at + 1], lines[at + 2], lines[at + 3],
                                     lines[at + 4]));
    }
    EXPECT_EQ(diagram->JoinsList(), stored);
}

TEST_F(DiagramJoins, AHandlerThatClearsTheDiagramDuringARequestIsSafe) {
    QObject::connect(diagram, &dvTablesAndJoins::joinRequest,
                     [this](const QString&, int*) { diagram->Clear(); });
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    EXPECT_EQ(added.size(), 0);
    EXPECT_EQ(diagram->JoinsList(), "0");
    EXPECT_TRUE(diagram->tableAliases().isEmpty());
}

} // namespace
} // namespace marovin::testing
