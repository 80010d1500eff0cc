// Where new boxes go (at a drop point, in view when the diagram chooses, never taller than the
// view), revealing a box, and the layout a host stores for its undo with the signal that tells
// it the user changed the layout.

#include "DiagramFixture.h"

#include <QScrollBar>

namespace marovin::testing {
namespace {

class DiagramPlacement : public DiagramFixture {
protected:
    QRectF visible() const {
        return diagram->view()->mapToScene(viewport()->rect()).boundingRect();
    }
    bool addAuto(const QString& alias, const QStringList& columns, int height = 100) {
        QString error;
        const bool ok = diagram->AddTable(TableDefinition::build(alias, columns), -1, -1,
                                          static_cast<int>(alias.size()) * 5 + 120, height, &error);
        EXPECT_TRUE(ok) << error.toStdString();
        return ok;
    }
};

TEST_F(DiagramPlacement, AddTableAtPutsTheBoxWhereTheDropHappened) {
    place("Customers", {"CustomerID", "City"});
    // Scrolled, so viewport and scene coordinates differ.
    diagram->restoreTableLayout("Customers\t1800\t900\t200\t150");
    diagram->view()->horizontalScrollBar()->setValue(300);
    diagram->view()->verticalScrollBar()->setValue(100);
    const QPoint drop(250, 140);
    const QPointF expected = diagram->view()->mapToScene(drop);
    ASSERT_TRUE(diagram->AddTableAt(TableDefinition::build("Orders", {"OrderID"}), drop, 150, 100));
    EXPECT_EQ(diagram->tableSceneRect("Orders").topLeft(),
              QPointF(std::round(expected.x()), std::round(expected.y())));

    // Dropped onto a box: it goes below that box, at the drop's left.
    const QPoint onOrders = diagram->titlePoint("Orders");
    const QPointF onOrdersScene = diagram->view()->mapToScene(onOrders);
    ASSERT_TRUE(
        diagram->AddTableAt(TableDefinition::build("Shippers", {"ShipperID"}), onOrders, 150, 100));
    EXPECT_DOUBLE_EQ(diagram->tableSceneRect("Shippers").left(), std::round(onOrdersScene.x()));
    EXPECT_GT(diagram->tableSceneRect("Shippers").top(),
              diagram->tableSceneRect("Orders").bottom());

    QString error;
    EXPECT_FALSE(
        diagram->AddTableAt(TableDefinition::build("Orders", {"x"}), drop, 150, 100, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(diagram->AddTableAt("garbage", drop, 150, 100, &error));
    EXPECT_EQ(diagram->tableAliases(), (QStringList{"Customers", "Orders", "Shippers"}));
}

TEST_F(DiagramPlacement, TablesPlacedByTheDiagramLandInViewBesideEachOther) {
    ASSERT_TRUE(addAuto("First", {"a", "b"}));
    const QRectF first = diagram->tableSceneRect("First");
    EXPECT_TRUE(visible().contains(first));
    ASSERT_TRUE(addAuto("Second", {"a", "b"}));
    const QRectF second = diagram->tableSceneRect("Second");
    EXPECT_DOUBLE_EQ(second.top(), first.top());
    EXPECT_GT(second.left(), first.right());

    // Far to the right of the boxes and scrolled there: the next one lands in view, not beside
    // the others out of sight.
    diagram->restoreTableLayout("Second\t2600\t40\t200\t120");
    diagram->view()->horizontalScrollBar()->setValue(
        diagram->view()->horizontalScrollBar()->maximum());
    const QRectF view = visible();
    ASSERT_FALSE(view.intersects(first));
    ASSERT_TRUE(addAuto("Third", {"a"}));
    EXPECT_TRUE(view.contains(diagram->tableSceneRect("Third")));

    // Filling the view row by row: every box in view as long as there is room, none overlaps.
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(addAuto(QStringLiteral("More%1").arg(i), {"a", "b", "c"}));
    EXPECT_TRUE(view.contains(diagram->tableSceneRect("More0")));
    expectNoOverlaps();
}

TEST_F(DiagramPlacement, RevealTableSelectsTheBoxAndScrollsToIt) {
    place("Near", {"a"});
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("Far", {"a", "b"}), 2000, 900, 150, 100));
    diagram->view()->horizontalScrollBar()->setValue(0);
    diagram->view()->verticalScrollBar()->setValue(0);
    ASSERT_FALSE(visible().intersects(diagram->tableSceneRect("Far")));
    diagram->revealTable("Far");
    EXPECT_EQ(diagram->selectedTable(), "Far");
    EXPECT_TRUE(visible().contains(diagram->tableSceneRect("Far")));
    diagram->revealTable("Nobody");
    EXPECT_EQ(diagram->selectedTable(), "Far");
}

TEST_F(DiagramPlacement, ABoxNeverStartsTallerThanTheView) {
    window->resize(700, 300);
    QApplication::processEvents();
    place("Wide", numberedColumns(40));
    ASSERT_TRUE(addAuto("Auto", numberedColumns(40), 300));
    for (const QString& alias : {QStringLiteral("Wide"), QStringLiteral("Auto")}) {
        const QRectF box = diagram->tableSceneRect(alias);
        EXPECT_LE(box.bottom(), visible().bottom()) << alias.toStdString();
        EXPECT_GT(box.height(), 150) << alias.toStdString();
    }
    // The list scrolls: the last column can still be chosen.
    EXPECT_EQ(columnChosenBy(diagram->columnPoint("Wide", "Column40")), "Column40");

    // In a tall view the box gets the height asked for.
    window->resize(1200, 900);
    QApplication::processEvents();
    place("Tall", numberedColumns(40));
    EXPECT_DOUBLE_EQ(diagram->tableSceneRect("Tall").height(), 300 * dvTablesAndJoins::kSizeScale);

    // Boxes added before the diagram is shown are fitted when it is.
    dvTablesAndJoins hidden;
    ASSERT_TRUE(
        hidden.AddTable(TableDefinition::build("Early", numberedColumns(40)), 50, 20, 150, 300));
    EXPECT_DOUBLE_EQ(hidden.tableSceneRect("Early").height(), 300 * dvTablesAndJoins::kSizeScale);
    hidden.resize(500, 250);
    hidden.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&hidden));
    EXPECT_LE(hidden.tableSceneRect("Early").bottom(), hidden.view()->viewport()->height());
}

TEST_F(DiagramPlacement, TheLayoutRoundTripsAndRestoresOnlyWhatItCan) {
    place("Customers", {"CustomerID", "City"});
    place("Orders", {"OrderID", "CustomerID"});
    place("Employees", {"EmployeeID"});
    const QString before = diagram->tableLayout();
    const QStringList lines = before.split(u'\n');
    ASSERT_EQ(lines.size(), 3);
    const QRectF orders = diagram->tableSceneRect("Orders");
    EXPECT_EQ(lines[1], QStringLiteral("Orders\t%1\t%2\t%3\t%4")
                            .arg(orders.left())
                            .arg(orders.top())
                            .arg(orders.width())
                            .arg(orders.height()));

    drag(diagram->titlePoint("Orders"), diagram->titlePoint("Orders") + QPoint(40, 90));
    const QPoint grip = diagram->resizeGripPoint("Customers");
    drag(grip, grip + QPoint(30, 20));
    ASSERT_NE(diagram->tableLayout(), before);
    diagram->restoreTableLayout(before);
    EXPECT_EQ(diagram->tableLayout(), before);

    // Unknown aliases and malformed lines are skipped; boxes not listed stay.
    const QRectF employees = diagram->tableSceneRect("Employees");
    diagram->restoreTableLayout("Nobody\t1\t2\t300\t300\n"
                                "Orders\t10\t20\n"
                                "Orders\tx\t20\t200\t100\n"
                                "Orders\t10\t20\t-5\t100\n"
                                "Orders\t10\t20\t200\tnan\n"
                                "Orders\t1e300\t20\t200\t100\n"
                                "\n"
                                "Customers\t700.5\t400\t210\t160");
    EXPECT_EQ(diagram->tableSceneRect("Customers"), QRectF(700.5, 400, 210, 160));
    EXPECT_EQ(diagram->tableSceneRect("Orders"), orders);
    EXPECT_EQ(diagram->tableSceneRect("Employees"), employees);
    // A size below the box's minimum is raised to it.
    diagram->restoreTableLayout("Orders\t10\t20\t1\t1");
    EXPECT_EQ(diagram->tableSceneRect("Orders").topLeft(), QPointF(10, 20));
    EXPECT_GT(diagram->tableSceneRect("Orders").width(), 50);
}

TEST_F(DiagramPlacement, TablesMovedFollowsTheUsersMovesOnly) {
    QSignalSpy moved(diagram, &dvTablesAndJoins::tablesMoved);
    place("Customers", {"CustomerID", "City"});
    place("Orders", {"OrderID", "CustomerID"});
    ASSERT_TRUE(addAuto("Auto", {"a"}));
    ASSERT_TRUE(
        diagram->AddTableAt(TableDefinition::build("Dropped", {"a"}), QPoint(40, 400), 150, 100));
    diagram->restoreTableLayout("Orders\t500\t300\t200\t150");
    EXPECT_EQ(moved.size(), 0);

    click(diagram->titlePoint("Orders")); // a click on the title moves nothing
    EXPECT_EQ(moved.size(), 0);
    drag(diagram->titlePoint("Orders"), diagram->titlePoint("Orders") + QPoint(30, 30));
    EXPECT_EQ(moved.size(), 1);
    const QPoint grip = diagram->resizeGripPoint("Customers");
    drag(grip, grip + QPoint(25, 25));
    EXPECT_EQ(moved.size(), 2);
}

} // namespace
} // namespace marovin::testing
