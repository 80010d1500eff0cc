// The orientation a drawn join is recorded in: a host chains the joins in list order, so the
// list must grow from tables already joined. Joins are drawn with real drags; the keys held at
// the drop choose the type.

#include "DiagramFixture.h"

#include <QSet>

namespace marovin::testing {
namespace {

class DiagramJoinOrientation : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Customers", {"CustomerID", "CompanyName", "City", "Country"});
        place("Orders",
              {"OrderID", "CustomerID", "EmployeeID", "ShipVia", "ShipCity", "ShipCountry"});
        place("Employees", {"EmployeeID", "LastName", "City"});
        place("Shippers", {"ShipperID", "CompanyName", "City"});
    }

    // True when every join after the first starts from a table that an earlier join holds, or
    // joins two tables that are both new (a new group): what a FROM chain built in list order
    // needs to read from left to right.
    static bool growsFromJoinedTables(const QList<DiagramJoin>& joins) {
        QSet<QString> seen;
        for (const DiagramJoin& join : joins) {
            if (!seen.isEmpty() && !seen.contains(join.strLeftAlias) &&
                seen.contains(join.strRightAlias))
                return false;
            seen << join.strLeftAlias << join.strRightAlias;
        }
        return true;
    }
};

TEST_F(DiagramJoinOrientation, ANewTableDrawnOntoAJoinedTableIsRecordedFromTheJoinedTable) {
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");

    // Employees is new, Orders is the left table of the join.
    dragColumn("Employees", "EmployeeID", "Orders", "EmployeeID");
    const QString employees = joinText("Orders", "EmployeeID", "Employees", "EmployeeID");
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[1][0].toString(), employees);
    ASSERT_EQ(added.size(), 2);
    EXPECT_EQ(added[1][0].toString(), employees);
    EXPECT_EQ(added[1][1].toInt(), 2);

    // Shippers is new, Customers is the right table of the first join.
    dragColumn("Shippers", "CompanyName", "Customers", "CompanyName");
    const QString shippers = joinText("Customers", "CompanyName", "Shippers", "CompanyName");
    ASSERT_EQ(requests.size(), 3);
    EXPECT_EQ(requests[2][0].toString(), shippers);

    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" +
                  employees + "\n" + shippers);
    EXPECT_TRUE(growsFromJoinedTables(diagram->joins()));
    // The new line is selected, whichever way it is recorded.
    EXPECT_EQ(diagram->selectedJoin(), 3);
}

TEST_F(DiagramJoinOrientation, AnOuterJoinDrawnFromTheNewTableKeepsTheRowsOfTheNewTable) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);

    // Shift keeps all rows of the table dragged from: a Left Join from Employees, recorded as a
    // Right Join from Orders.
    dragColumn("Employees", "EmployeeID", "Orders", "EmployeeID", Qt::ShiftModifier);
    const QString right = joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join");
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0][0].toString(), right);

    // Ctrl keeps all rows of the table dropped onto: a Right Join from Shippers, recorded as a
    // Left Join from Orders.
    dragColumn("Shippers", "ShipperID", "Orders", "ShipVia", Qt::ControlModifier);
    const QString left = joinText("Orders", "ShipVia", "Shippers", "ShipperID", "Left Join");
    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" + right +
                  "\n" + left);
    EXPECT_EQ(diagram->joins()[1].type, JoinType::Right);
    EXPECT_EQ(diagram->joins()[2].type, JoinType::Left);
}

TEST_F(DiagramJoinOrientation, InnerAndFullJoinsDrawnFromTheNewTableKeepTheirType) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    dragColumn("Employees", "City", "Customers", "City", Qt::ShiftModifier | Qt::ControlModifier);
    dragColumn("Shippers", "ShipperID", "Orders", "ShipVia");
    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" +
                  joinText("Customers", "City", "Employees", "City", "Full Join") + "\n" +
                  joinText("Orders", "ShipVia", "Shippers", "ShipperID"));
}

TEST_F(DiagramJoinOrientation, TheKeysAtTheDropChooseTheTypeOfAJoinRecordedAsDrawn) {
    // Two new tables, then a joined table onto a new one: both recorded as drawn.
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID", Qt::ShiftModifier);
    dragColumn("Orders", "EmployeeID", "Employees", "EmployeeID", Qt::ControlModifier);
    dragColumn("Orders", "ShipVia", "Shippers", "ShipperID",
               Qt::ShiftModifier | Qt::ControlModifier);
    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join") +
                  "\n" + joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join") +
                  "\n" + joinText("Orders", "ShipVia", "Shippers", "ShipperID", "Full Join"));
}

TEST_F(DiagramJoinOrientation, TwoNewTablesBesideAnExistingJoinAreRecordedAsDrawn) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    dragColumn("Shippers", "City", "Employees", "City");
    EXPECT_EQ(diagram->JoinsList(),
              "2\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" +
                  joinText("Shippers", "City", "Employees", "City"));
}

TEST_F(DiagramJoinOrientation, AFurtherPairOfJoinedTablesFollowsTheirFirstJoin) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);

    dragColumn("Customers", "City", "Orders", "ShipCity");
    // Shift keeps the rows of Customers, the table dragged from: recorded from Orders, that is
    // a Right Join.
    dragColumn("Customers", "Country", "Orders", "ShipCountry", Qt::ShiftModifier);

    const QString city = joinText("Orders", "ShipCity", "Customers", "City");
    const QString country = joinText("Orders", "ShipCountry", "Customers", "Country", "Right Join");
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0][0].toString(), city);
    EXPECT_EQ(requests[1][0].toString(), country);
    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" + city +
                  "\n" + country);
}

TEST_F(DiagramJoinOrientation, AFurtherPairFollowsARestoredJoinTheOtherWayRound) {
    // A loaded document may hold the first join from Customers to Orders; a pair drawn from
    // Orders then reads the same way round.
    ASSERT_TRUE(diagram->AddJoin("Customers", "CustomerID", "Orders", "CustomerID", "Left Join"));
    dragColumn("Orders", "ShipCity", "Customers", "City", Qt::ShiftModifier);
    EXPECT_EQ(diagram->JoinsList(),
              "2\n" + joinText("Customers", "CustomerID", "Orders", "CustomerID", "Left Join") +
                  "\n" + joinText("Customers", "City", "Orders", "ShipCity", "Right Join"));
}

TEST_F(DiagramJoinOrientation, RestoredJoinsKeepTheOrientationTheyAreGiven) {
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    ASSERT_TRUE(diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
    // From a new table onto a joined one, and a second pair the other way round: as given.
    ASSERT_TRUE(diagram->AddJoin("Employees", "EmployeeID", "Orders", "EmployeeID", "Left Join"));
    ASSERT_TRUE(diagram->AddJoin("Customers", "City", "Orders", "ShipCity", "Right Join"));
    const QString employees =
        joinText("Employees", "EmployeeID", "Orders", "EmployeeID", "Left Join");
    const QString city = joinText("Customers", "City", "Orders", "ShipCity", "Right Join");
    ASSERT_EQ(added.size(), 3);
    EXPECT_EQ(added[1][0].toString(), employees);
    EXPECT_EQ(added[2][0].toString(), city);
    EXPECT_EQ(diagram->JoinsList(),
              "3\n" + joinText("Orders", "CustomerID", "Customers", "CustomerID") + "\n" +
                  employees + "\n" + city);
}

TEST_F(DiagramJoinOrientation, ARefusedReversedJoinLeavesNothing) {
    dragColumn("Orders", "CustomerID", "Customers", "CustomerID");
    QString asked;
    QObject::connect(diagram, &dvTablesAndJoins::joinRequest, [&](const QString& text, int* ok) {
        asked = text;
        *ok = 0;
    });
    QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
    dragColumn("Employees", "EmployeeID", "Orders", "EmployeeID", Qt::ShiftModifier);
    EXPECT_EQ(asked, joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join"));
    EXPECT_EQ(added.size(), 0);
    EXPECT_EQ(diagram->joinCount(), 1);
}

} // namespace
} // namespace marovin::testing
