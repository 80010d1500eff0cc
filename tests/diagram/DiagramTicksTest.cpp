// Output ticks: the check box of each column row shows what the host set; clicks and Space only
// ask for a change.

#include "DiagramFixture.h"

namespace marovin::testing {
namespace {

class DiagramTicks : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Customers", {"CustomerID", "CompanyName", "City"});
        place("Orders", {"OrderID", "CustomerID", "ShipCity"});
    }

    // Pixels around a point that have the palette's highlight colour: a ticked box is filled
    // with it.
    int highlightAround(const QPoint& at) {
        QApplication::processEvents();
        const QImage image = viewport()->grab().toImage();
        const QColor accent = diagram->palette().color(QPalette::Highlight);
        const qreal dpr = image.devicePixelRatio();
        int count = 0;
        for (int dy = -4; dy <= 4; ++dy) {
            for (int dx = -4; dx <= 4; ++dx) {
                const QColor c = image.pixelColor((at + QPoint(dx, dy)) * dpr);
                if (std::abs(c.red() - accent.red()) + std::abs(c.green() - accent.green()) +
                        std::abs(c.blue() - accent.blue()) <
                    40)
                    ++count;
            }
        }
        return count;
    }
};

TEST_F(DiagramTicks, AClickOrSpaceAsksForTheOtherStateAndChangesNothing) {
    QSignalSpy requests(diagram, &dvTablesAndJoins::columnTickRequested);
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    click(diagram->checkBoxPoint("Orders", "ShipCity"));
    expectLastSignal(requests, 1, {"Orders", "ShipCity", true});
    EXPECT_FALSE(diagram->isColumnTicked("Orders", "ShipCity"));
    EXPECT_EQ(diagram->currentColumn(), "ShipCity");

    // Once the host has ticked it, the click asks for the tick to go; setting raises nothing.
    diagram->setColumnTicked("Orders", "ShipCity", true);
    EXPECT_EQ(requests.size(), 1);
    EXPECT_TRUE(diagram->isColumnTicked("Orders", "ShipCity"));
    click(diagram->checkBoxPoint("Orders", "ShipCity"));
    expectLastSignal(requests, 2, {"Orders", "ShipCity", false});
    EXPECT_TRUE(diagram->isColumnTicked("Orders", "ShipCity"));
    EXPECT_EQ(chosen.size(), 0);

    // The "*" row's box asks for all columns.
    click(diagram->checkBoxPoint("Customers", "*"));
    expectLastSignal(all, 1, {"Customers"});
    EXPECT_EQ(requests.size(), 2);

    // Space on the keyboard row asks the same, on the "*" row and on a ticked column.
    diagram->clearSelection();
    keys({Qt::Key_Tab, Qt::Key_Space});
    expectLastSignal(all, 2, {"Customers"});
    keys({Qt::Key_Down, Qt::Key_Down});
    diagram->setColumnTicked("Customers", "CompanyName", true);
    key(Qt::Key_Space);
    expectLastSignal(requests, 3, {"Customers", "CompanyName", false});
    EXPECT_TRUE(diagram->isColumnTicked("Customers", "CompanyName"));
}

TEST_F(DiagramTicks, TheHostSetsTicksOneByOneOrAllAtOnce) {
    diagram->setAllTicks("Orders", {"OrderID", "ShipCity", "Unknown"});
    EXPECT_TRUE(diagram->isColumnTicked("Orders", "OrderID"));
    EXPECT_FALSE(diagram->isColumnTicked("Orders", "CustomerID"));
    EXPECT_TRUE(diagram->isColumnTicked("Orders", "ShipCity"));
    diagram->setAllTicks("Orders", {"CustomerID"});
    EXPECT_FALSE(diagram->isColumnTicked("Orders", "OrderID"));
    EXPECT_TRUE(diagram->isColumnTicked("Orders", "CustomerID"));
    // Unknown names are ignored.
    diagram->setColumnTicked("Nobody", "OrderID", true);
    diagram->setColumnTicked("Orders", "Nothing", true);
    EXPECT_FALSE(diagram->isColumnTicked("Nobody", "OrderID"));
    EXPECT_FALSE(diagram->isColumnTicked("Orders", "Nothing"));
    EXPECT_FALSE(diagram->isColumnTicked("Orders", "*"));
}

TEST_F(DiagramTicks, ATickShowsAndAJoinDoesNotLookLikeOne) {
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    diagram->clearSelection();
    const QPoint city = diagram->checkBoxPoint("Customers", "City");
    const QPoint joined = diagram->checkBoxPoint("Customers", "CustomerID");
    const QPoint all = diagram->checkBoxPoint("Customers", "*");
    EXPECT_LT(highlightAround(city), 5);
    EXPECT_LT(highlightAround(joined), 5);
    EXPECT_LT(highlightAround(all), 5);

    diagram->setColumnTicked("Customers", "City", true);
    EXPECT_GT(highlightAround(city), 30);
    EXPECT_LT(highlightAround(joined), 5);
    EXPECT_GT(highlightAround(all), 20); // a dash: some columns are ticked

    diagram->setAllTicks("Customers", diagram->tableColumns("Customers"));
    EXPECT_GT(highlightAround(joined), 30);
    diagram->setColumnTicked("Customers", "City", false);
    EXPECT_LT(highlightAround(city), 5);
}

} // namespace
} // namespace marovin::testing
