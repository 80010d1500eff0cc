// Table boxes: removal through the request, Clear, choosing columns with the mouse, moving,
// resizing and scrolling.

#include "DiagramFixture.h"

#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>

namespace marovin::testing {
namespace {

class DiagramTables : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        placeSample();
        ASSERT_TRUE(
            diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
        ASSERT_TRUE(
            diagram->AddJoin("Orders", "EmployeeID", "Employees", "EmployeeID", "Left Join"));
        ASSERT_TRUE(diagram->AddJoin("Customers", "City", "Employees", "City", "Inner Join"));
    }
    void allowRemoval(bool allow) {
        QObject::connect(diagram, &dvTablesAndJoins::tableRemovalRequest,
                         [allow](const QString&, bool* flag) { *flag = allow; });
    }
};

TEST_F(DiagramTables, TheCloseButtonAndDeleteAskWithTheAllowFlagPresetToFalse) {
    bool seen = true;
    QObject::connect(diagram, &dvTablesAndJoins::tableRemovalRequest,
                     [&](const QString&, bool* allow) { seen = *allow; });
    QSignalSpy requests(diagram, &dvTablesAndJoins::tableRemovalRequest);
    QSignalSpy removed(diagram, &dvTablesAndJoins::tableRemoved);
    QSignalSpy joinsRemoved(diagram, &dvTablesAndJoins::joinRemoved);
    const QString joinsBefore = diagram->JoinsList();

    click(diagram->closeButtonPoint("Orders"));
    expectLastSignal(requests, 1, {"Orders"});
    EXPECT_FALSE(seen);
    // Delete on a selected box asks the same.
    seen = true;
    click(diagram->titlePoint("Employees"));
    EXPECT_EQ(diagram->selectedTable(), "Employees");
    key(Qt::Key_Delete);
    expectLastSignal(requests, 2, {"Employees"});
    EXPECT_FALSE(seen);

    // Refused, both boxes and their joins stay.
    EXPECT_EQ(removed.size(), 0);
    EXPECT_EQ(joinsRemoved.size(), 0);
    EXPECT_TRUE(diagram->hasTable("Orders"));
    EXPECT_TRUE(diagram->hasTable("Employees"));
    EXPECT_EQ(diagram->JoinsList(), joinsBefore);
}

TEST_F(DiagramTables, AnAllowedRemovalByButtonOrMenuTakesTheBoxAndItsJoins) {
    allowRemoval(true);
    QSignalSpy removed(diagram, &dvTablesAndJoins::tableRemoved);
    QSignalSpy joinsRemoved(diagram, &dvTablesAndJoins::joinRemoved);

    click(diagram->closeButtonPoint("Orders"));

    expectLastSignal(removed, 1, {"Orders"});
    // Both joins of Orders are reported, the later one first, each with its own index.
    ASSERT_EQ(joinsRemoved.size(), 2);
    EXPECT_EQ(joinsRemoved[0][0].toString(),
              joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Left Join"));
    EXPECT_EQ(joinsRemoved[0][1].toInt(), 2);
    EXPECT_EQ(joinsRemoved[1][0].toString(),
              joinText("Orders", "CustomerID", "Customers", "CustomerID"));
    EXPECT_EQ(joinsRemoved[1][1].toInt(), 1);
    EXPECT_EQ(diagram->tableAliases(), (QStringList{"Customers", "Employees"}));
    EXPECT_EQ(diagram->JoinsList(), "1\n" + joinText("Customers", "City", "Employees", "City"));

    // The box menu adds all columns and removes the table as well.
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    chooseFromContextMenu(diagram->columnPoint("Customers", "City"), "Add All Columns");
    expectLastSignal(all, 1, {"Customers"});
    chooseFromContextMenu(diagram->titlePoint("Customers"), "Remove Table");
    expectLastSignal(removed, 2, {"Customers"});
    EXPECT_FALSE(diagram->hasTable("Customers"));
}

TEST_F(DiagramTables, ClearRemovesEverythingSilently) {
    QSignalSpy removed(diagram, &dvTablesAndJoins::tableRemoved);
    QSignalSpy joinsRemoved(diagram, &dvTablesAndJoins::joinRemoved);
    QSignalSpy requests(diagram, &dvTablesAndJoins::tableRemovalRequest);
    diagram->selectTable("Orders");

    diagram->Clear();

    EXPECT_EQ(diagram->JoinsList(), "0");
    EXPECT_TRUE(diagram->tableAliases().isEmpty());
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
    EXPECT_EQ(diagram->view()->scene()->items().size(), 0);
    EXPECT_EQ(removed.size() + joinsRemoved.size() + requests.size(), 0);
    // The same aliases can be placed again.
    placed = 0;
    EXPECT_TRUE(place("Orders", {"OrderID"}));
    EXPECT_TRUE(place("Customers", {"CustomerID"}));
    EXPECT_TRUE(diagram->AddJoin("Orders", "OrderID", "Customers", "CustomerID", "Inner Join"));
}

TEST_F(DiagramTables, ARemovalHandlerThatClearsTheDiagramIsSafe) {
    QObject::connect(diagram, &dvTablesAndJoins::tableRemovalRequest,
                     [this](const QString&, bool* allow) {
                         diagram->Clear();
                         *allow = true;
                     });
    QSignalSpy removed(diagram, &dvTablesAndJoins::tableRemoved);
    click(diagram->closeButtonPoint("Orders"));
    EXPECT_EQ(removed.size(), 0);
    EXPECT_TRUE(diagram->tableAliases().isEmpty());
}

TEST_F(DiagramTables, DoubleClicksAndTheAddButtonChooseAColumnOrAllColumns) {
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);

    doubleClick(diagram->columnPoint("Orders", "ShipCity"));
    expectLastSignal(chosen, 1, {"Orders", "ShipCity", 0});
    EXPECT_EQ(all.size(), 0);
    doubleClick(diagram->allColumnsPoint("Employees"));
    expectLastSignal(all, 1, {"Employees"});
    EXPECT_EQ(chosen.size(), 1);

    // The add button chooses with one click. The pointer comes to the row first, as a real
    // mouse does, which shows the button.
    const QPoint button = diagram->addButtonPoint("Orders", "EmployeeID");
    QTest::mouseMove(viewport(), diagram->columnPoint("Orders", "EmployeeID"));
    click(button);
    expectLastSignal(chosen, 2, {"Orders", "EmployeeID"});
    click(diagram->addButtonPoint("Customers", "*"));
    expectLastSignal(all, 2, {"Customers"});
    // Pressing the button and sliding off it before releasing chooses nothing.
    const QPoint city = diagram->addButtonPoint("Employees", "City");
    QTest::mousePress(viewport(), Qt::LeftButton, Qt::NoModifier, city);
    QTest::mouseMove(viewport(), city - QPoint(60, 0));
    QTest::mouseRelease(viewport(), Qt::LeftButton, Qt::NoModifier, city - QPoint(60, 0));
    EXPECT_EQ(chosen.size(), 2);
    EXPECT_EQ(diagram->addButtonPoint("Orders", "Nope"), QPoint(-1, -1));

    // A single click only selects.
    click(diagram->columnPoint("Customers", "City"));
    EXPECT_EQ(chosen.size(), 2);
    EXPECT_EQ(diagram->selectedTable(), "Customers");
    EXPECT_EQ(diagram->currentColumn(), "City");
}

TEST_F(DiagramTables, DestroyingAFocusedTopLevelDiagramIsSafe) {
    auto own = std::make_unique<dvTablesAndJoins>();
    own->resize(800, 500);
    own->show();
    own->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(own.get()));
    own->setFocus();
    ASSERT_TRUE(own->AddTable(TableDefinition::build("A", {"x"}), 50, 20, 125, 100));
    own->selectTable("A");
    ASSERT_TRUE(own->view()->hasFocus());
    own.reset(); // sends the view a focus-out while the diagram is being destroyed
}

TEST_F(DiagramTables, ANewBoxNeverLandsOnAnotherOne) {
    // After a removal the host counts one table less and places the next one where the last
    // box still stands.
    const QRectF employees = diagram->tableSceneRect("Employees");
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("Shippers", {"ShipperID"}), 2 * 160 + 50,
                                  20, 8 * 5 + 120, 100));
    const QRectF shippers = diagram->tableSceneRect("Shippers");
    EXPECT_FALSE(shippers.intersects(employees));
    EXPECT_DOUBLE_EQ(shippers.left(), employees.left());
    EXPECT_GT(shippers.top(), employees.bottom());
    // Where nothing stands, the box goes exactly where it was asked to.
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("Regions", {"RegionID"}), 3 * 160 + 50, 20,
                                  7 * 5 + 120, 100));
    EXPECT_EQ(diagram->tableSceneRect("Regions").topLeft(),
              QPointF(std::round(530 * dvTablesAndJoins::kPositionScale),
                      std::round(20 * dvTablesAndJoins::kPositionScale)));
}

TEST_F(DiagramTables, ThePointerShowsWhatAPlaceOfTheBoxDoes) {
    auto cursorAt = [this](const QPoint& at) {
        hover(at);
        return viewport()->cursor().shape();
    };
    EXPECT_EQ(cursorAt(diagram->titlePoint("Orders")), Qt::SizeAllCursor);
    EXPECT_EQ(cursorAt(diagram->resizeGripPoint("Orders")), Qt::SizeFDiagCursor);
    EXPECT_EQ(cursorAt(diagram->closeButtonPoint("Orders")), Qt::PointingHandCursor);
    EXPECT_EQ(cursorAt(diagram->columnPoint("Orders", "OrderID")), Qt::ArrowCursor);
    EXPECT_EQ(cursorAt(diagram->joinPoint(1)), Qt::PointingHandCursor);
    const QRectF orders = diagram->tableSceneRect("Orders");
    const QPoint rightEdge = diagram->view()->mapFromScene(orders.right() - 2, orders.center().y());
    EXPECT_EQ(cursorAt(rightEdge), Qt::SizeHorCursor);
    const QPoint bottomEdge =
        diagram->view()->mapFromScene(orders.center().x(), orders.bottom() - 2);
    EXPECT_EQ(cursorAt(bottomEdge), Qt::SizeVerCursor);
    // The edges resize in one direction only.
    drag(rightEdge, rightEdge + QPoint(30, 30));
    const QRectF wider = diagram->tableSceneRect("Orders");
    EXPECT_DOUBLE_EQ(wider.width(), orders.width() + 30);
    EXPECT_DOUBLE_EQ(wider.height(), orders.height());
}

TEST_F(DiagramTables, MovingABoxFarOutGrowsTheScene) {
    // Several drags, each towards the view's bottom-right corner, which scrolls the view along.
    for (int i = 0; i < 4; ++i) {
        const QPoint start = diagram->titlePoint("Employees");
        const QPoint corner(diagram->view()->viewport()->width() - 5,
                            diagram->view()->viewport()->height() - 5);
        drag(start, corner);
    }
    const QRectF box = diagram->tableSceneRect("Employees");
    EXPECT_GT(box.left(), 1200);
    EXPECT_GT(box.top(), 700);
    EXPECT_TRUE(diagram->view()->sceneRect().contains(box));
    EXPECT_GT(diagram->view()->horizontalScrollBar()->maximum(), 0);
    // Boxes cannot be pushed past the top-left corner.
    drag(diagram->titlePoint("Customers"), QPoint(0, 0));
    EXPECT_GE(diagram->tableSceneRect("Customers").left(), 0);
    EXPECT_GE(diagram->tableSceneRect("Customers").top(), 0);
}

TEST_F(DiagramTables, TheGripResizesTheBoxDownToAMinimum) {
    const QRectF before = diagram->tableSceneRect("Orders");
    const QPoint grip = diagram->resizeGripPoint("Orders");
    drag(grip, grip + QPoint(60, 40));
    const QRectF bigger = diagram->tableSceneRect("Orders");
    EXPECT_DOUBLE_EQ(bigger.width(), before.width() + 60);
    EXPECT_DOUBLE_EQ(bigger.height(), before.height() + 40);
    EXPECT_EQ(bigger.topLeft(), before.topLeft());

    drag(diagram->resizeGripPoint("Orders"), diagram->titlePoint("Orders") - QPoint(300, 300));
    const QRectF smallest = diagram->tableSceneRect("Orders");
    EXPECT_GE(smallest.width(), 100);
    EXPECT_GE(smallest.height(), 60);
    EXPECT_LT(smallest.height(), before.height());
    // The list scrolls now; every column is still reachable.
    EXPECT_EQ(columnChosenBy(diagram->columnPoint("Orders", "ShipCity")), "ShipCity");
}

class DiagramLongTable : public DiagramFixture {};

TEST_F(DiagramLongTable, ColumnsThatDoNotFitScrollWithTheWheel) {
    place("Wide", numberedColumns(40));
    place("Other", {"Key"});

    // Column40 is far below the box's height; finding it scrolls the list, and a join can be
    // dropped on it.
    dragColumn("Other", "Key", "Wide", "Column40");
    EXPECT_EQ(diagram->JoinsList(), "1\n" + joinText("Other", "Key", "Wide", "Column40"));

    // Back to the top, then one wheel step down over the list moves other columns under the
    // pointer.
    const QPoint first = diagram->columnPoint("Wide", "Column1");
    QWheelEvent wheel(first, diagram->view()->viewport()->mapToGlobal(first), QPoint(),
                      QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(diagram->view()->viewport(), &wheel);
    const QString chosen = columnChosenBy(first);
    EXPECT_NE(chosen, "Column1");
    EXPECT_TRUE(chosen.startsWith("Column"));
}

TEST_F(DiagramLongTable, DraggingAJoinToTheListEdgeScrollsIt) {
    place("Other", {"Key"});
    place("Wide", numberedColumns(40));
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);

    const QRectF wide = diagram->tableSceneRect("Wide");
    const QPoint nearBottom =
        diagram->view()->mapFromScene(wide.left() + wide.width() * 0.35, wide.bottom() - 9);
    pressAndMove(diagram->columnPoint("Other", "Key"), nearBottom);
    // Each small move at the edge scrolls the list a little further.
    for (int i = 0; i < 30; ++i)
        QTest::mouseMove(viewport(), nearBottom + QPoint(i % 2, 0));
    QTest::mouseRelease(viewport(), Qt::LeftButton, Qt::NoModifier, nearBottom);

    ASSERT_EQ(requests.size(), 1);
    const QStringList lines = requests[0][0].toString().split(u'\n');
    ASSERT_EQ(lines.size(), 5);
    EXPECT_EQ(lines[0], "Other");
    EXPECT_EQ(lines[2], "Wide");
    // Without scrolling, the last row in sight is about the 17th column.
    EXPECT_GT(lines[3].mid(6).toInt(), 25) << lines[3].toStdString();
}

TEST_F(DiagramLongTable, TheScrollThumbDragsTheList) {
    place("Wide", numberedColumns(40));
    const QRectF wide = diagram->tableSceneRect("Wide");
    // The thumb sits at the top of the track along the right edge, below the title.
    const QPoint thumb = diagram->view()->mapFromScene(wide.right() - 10, wide.top() + 40);
    const QPoint firstRow = diagram->view()->mapFromScene(wide.left() + 60, wide.top() + 50);
    EXPECT_EQ(columnChosenBy(firstRow), "Column1");

    drag(thumb, thumb + QPoint(0, 400)); // to the end of the track and beyond
    // The list now ends with the last column: the first row in sight is far down the list.
    EXPECT_GT(columnChosenBy(firstRow).mid(6).toInt(), 20);
    // Every column stays reachable.
    EXPECT_EQ(columnChosenBy(diagram->columnPoint("Wide", "Column40")), "Column40");
}

class DiagramPlaceholder : public DiagramFixture {
protected:
    // Pixels in the middle of the view that differ from the canvas colour there.
    int inkInTheMiddle() {
        QApplication::processEvents();
        const QImage image = diagram->view()->viewport()->grab().toImage();
        const QRect middle(image.width() / 4, image.height() / 3, image.width() / 2,
                           image.height() / 3);
        const QRgb canvas = image.pixel(5, 5);
        int ink = 0;
        for (int y = middle.top(); y <= middle.bottom(); y += 2) {
            for (int x = middle.left(); x <= middle.right(); x += 2) {
                const QColor c = image.pixelColor(x, y);
                if (std::abs(c.lightness() - QColor(canvas).lightness()) > 60)
                    ++ink;
            }
        }
        return ink;
    }
};

TEST_F(DiagramPlaceholder, AnEmptyDiagramShowsAHintUntilATableIsAdded) {
    EXPECT_FALSE(diagram->placeholderText().isEmpty());
    EXPECT_GT(inkInTheMiddle(), 20);
    diagram->setPlaceholderText(QString());
    EXPECT_EQ(inkInTheMiddle(), 0);
    diagram->setPlaceholderText("Drop tables here");
    EXPECT_GT(inkInTheMiddle(), 5);
    // A table far away from the middle: the hint is gone.
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("T", {"a"}), 0, 0, 125, 100));
    EXPECT_EQ(inkInTheMiddle(), 0);
    diagram->Clear();
    EXPECT_GT(inkInTheMiddle(), 5);
}

} // namespace
} // namespace marovin::testing
