// Arranging the boxes along their joins, from the background menu and the keyboard, and undoing
// it with the stored layout.

#include "DiagramFixture.h"

namespace marovin::testing {
namespace {

class DiagramArrange : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Customers", {"CustomerID", "City"});
        place("Orders", {"OrderID", "CustomerID", "EmployeeID", "ShipVia"});
        place("Shippers", {"ShipperID"});
        place("Details", {"OrderID", "ProductID"});
        place("Employees", {"EmployeeID"});
        place("Notes", {"Text"});
        ASSERT_TRUE(
            diagram->AddJoin("Customers", "CustomerID", "Orders", "CustomerID", "Inner Join"));
        ASSERT_TRUE(diagram->AddJoin("Orders", "OrderID", "Details", "OrderID", "Left Join"));
        ASSERT_TRUE(
            diagram->AddJoin("Orders", "EmployeeID", "Employees", "EmployeeID", "Inner Join"));
        // Piled up on one another, the chain read right to left.
        diagram->restoreTableLayout("Customers\t400\t60\t200\t150\n"
                                    "Orders\t300\t80\t200\t180\n"
                                    "Shippers\t250\t100\t200\t120\n"
                                    "Details\t200\t40\t200\t150\n"
                                    "Employees\t150\t90\t200\t120\n"
                                    "Notes\t320\t70\t200\t120");
    }
    QRectF rect(const char* alias) const { return diagram->tableSceneRect(alias); }
    // b is right of a in the same row, or in a row below.
    static bool readsAfter(const QRectF& a, const QRectF& b) {
        return b.top() > a.bottom() || (b.left() > a.right() && b.top() < a.bottom());
    }

    void expectArranged() {
        expectNoOverlaps();
        // Every join runs from left to right, the tables of one join in neighbouring columns.
        for (const DiagramJoin& join : diagram->joins()) {
            EXPECT_LT(diagram->tableSceneRect(join.strLeftAlias).right(),
                      diagram->tableSceneRect(join.strRightAlias).left())
                << join.joinText().toStdString();
        }
        EXPECT_DOUBLE_EQ(rect("Details").left(), rect("Employees").left());
        // Tables in no join come after the joined ones, in reading order (the rows are as wide
        // as the view).
        const QRectF joined =
            rect("Customers") | rect("Orders") | rect("Details") | rect("Employees");
        EXPECT_TRUE(readsAfter(joined, rect("Shippers")));
        EXPECT_TRUE(readsAfter(rect("Shippers"), rect("Notes")));
    }
};

TEST_F(DiagramArrange, CtrlShiftAAndTheBackgroundMenuLayTheBoxesOutAlongTheJoins) {
    QSignalSpy moved(diagram, &dvTablesAndJoins::tablesMoved);
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);
    const QString joins = diagram->JoinsList();
    const QString before = diagram->tableLayout();
    const QRectF orders = rect("Orders");

    key(Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
    expectArranged();
    EXPECT_EQ(rect("Orders").size(), orders.size()); // sizes stay
    EXPECT_EQ(moved.size(), 1);
    EXPECT_EQ(requests.size() + added.size() + changed.size() + removed.size(), 0);
    EXPECT_EQ(diagram->JoinsList(), joins);

    // The host's undo.
    diagram->restoreTableLayout(before);
    EXPECT_EQ(diagram->tableLayout(), before);
    EXPECT_EQ(moved.size(), 1);

    // The background menu arranges too, by mouse and, with nothing selected, by the menu key.
    const QPoint empty(viewport()->width() - 30, viewport()->height() - 30);
    chooseFromContextMenu(empty, "Arrange Tables");
    expectArranged();
    EXPECT_EQ(moved.size(), 2);
    EXPECT_TRUE(diagram->selectedTable().isEmpty());
    chooseFromMenu([this] { key(Qt::Key_F10, Qt::ShiftModifier); }, "Arrange Tables");
    EXPECT_EQ(moved.size(), 3);
}

} // namespace
} // namespace marovin::testing
