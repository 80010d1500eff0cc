// The orientation a drawn join is recorded in: a host chains the joins in list order, so the
// list must grow from tables already joined. Joins are drawn with real drags; the keys held at
// the drop choose the type.

#include "DiagramFixture.h"

#include <QSet>
#include <vector>

namespace marovin::testing {
namespace {

class DiagramJoinOrientation : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        placeTables();
    }
    void placeTables() {
        placed = 0;
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

TEST_F(DiagramJoinOrientation, EachJoinIsRequestedAddedAndListedInTheOrientationItIsRecordedIn) {
    struct Drawn {
        const char* fromAlias;
        const char* fromColumn;
        const char* toAlias;
        const char* toColumn;
        Qt::KeyboardModifiers atDrop = Qt::NoModifier;
    };
    struct Case {
        const char* name;
        std::vector<Drawn> drawn;
        QStringList expected;                   // the joins list, the restored joins first
        std::vector<QStringList> restored = {}; // AddJoin's arguments, as a document gives them
    };
    // The first join, Orders onto Customers, both new.
    const Drawn drawFirst{"Orders", "CustomerID", "Customers", "CustomerID"};
    const QString first = joinText("Orders", "CustomerID", "Customers", "CustomerID");
    const Case cases[] = {
        // Employees is new, Orders is the left table of the join; Shippers is new, Customers
        // is the right table of the first join.
        {"a new table drawn onto a joined table is recorded from the joined table",
         {drawFirst,
          {"Employees", "EmployeeID", "Orders", "EmployeeID"},
          {"Shippers", "CompanyName", "Customers", "CompanyName"}},
         {first, joinText("Orders", "EmployeeID", "Employees", "EmployeeID"),
          joinText("Customers", "CompanyName", "Shippers", "CompanyName")}},
        // Shift keeps all rows of the table dragged from: a Left Join from Employees, recorded
        // as a Right Join from Orders. Ctrl keeps all rows of the table dropped onto: a Right
        // Join from Shippers, recorded as a Left Join from Orders.
        {"an outer join drawn from the new table keeps the rows of the new table",
         {drawFirst,
          {"Employees", "EmployeeID", "Orders", "EmployeeID", Qt::ShiftModifier},
          {"Shippers", "ShipperID", "Orders", "ShipVia", Qt::ControlModifier}},
         {first, joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join"),
          joinText("Orders", "ShipVia", "Shippers", "ShipperID", "Left Join")}},
        {"inner and full joins drawn from the new table keep their type",
         {drawFirst,
          {"Employees", "City", "Customers", "City", Qt::ShiftModifier | Qt::ControlModifier},
          {"Shippers", "ShipperID", "Orders", "ShipVia"}},
         {first, joinText("Customers", "City", "Employees", "City", "Full Join"),
          joinText("Orders", "ShipVia", "Shippers", "ShipperID")}},
        // Two new tables, then a joined table onto a new one: both recorded as drawn.
        {"the keys at the drop choose the type of a join recorded as drawn",
         {{"Orders", "CustomerID", "Customers", "CustomerID", Qt::ShiftModifier},
          {"Orders", "EmployeeID", "Employees", "EmployeeID", Qt::ControlModifier},
          {"Orders", "ShipVia", "Shippers", "ShipperID", Qt::ShiftModifier | Qt::ControlModifier}},
         {joinText("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"),
          joinText("Orders", "EmployeeID", "Employees", "EmployeeID", "Right Join"),
          joinText("Orders", "ShipVia", "Shippers", "ShipperID", "Full Join")}},
        {"two new tables beside an existing join are recorded as drawn",
         {drawFirst, {"Shippers", "City", "Employees", "City"}},
         {first, joinText("Shippers", "City", "Employees", "City")}},
        // Shift keeps the rows of Customers, the table dragged from: recorded from Orders, that
        // is a Right Join.
        {"a further pair of joined tables follows their first join",
         {drawFirst,
          {"Customers", "City", "Orders", "ShipCity"},
          {"Customers", "Country", "Orders", "ShipCountry", Qt::ShiftModifier}},
         {first, joinText("Orders", "ShipCity", "Customers", "City"),
          joinText("Orders", "ShipCountry", "Customers", "Country", "Right Join")}},
        // A loaded document may hold the first join from Customers to Orders; a pair drawn from
        // Orders then reads the same way round.
        {"a further pair follows a restored join the other way round",
         {{"Orders", "ShipCity", "Customers", "City", Qt::ShiftModifier}},
         {joinText("Customers", "CustomerID", "Orders", "CustomerID", "Left Join"),
          joinText("Customers", "City", "Orders", "ShipCity", "Right Join")},
         {{"Customers", "CustomerID", "Orders", "CustomerID", "Left Join"}}},
        // From a new table onto a joined one, and a second pair the other way round: as given.
        {"restored joins keep the orientation they are given",
         {},
         {first, joinText("Employees", "EmployeeID", "Orders", "EmployeeID", "Left Join"),
          joinText("Customers", "City", "Orders", "ShipCity", "Right Join")},
         {{"Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"},
          {"Employees", "EmployeeID", "Orders", "EmployeeID", "Left Join"},
          {"Customers", "City", "Orders", "ShipCity", "Right Join"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        diagram->Clear();
        placeTables();
        QSignalSpy requests(diagram, &dvTablesAndJoins::joinRequest);
        QSignalSpy added(diagram, &dvTablesAndJoins::joinAdded);
        // Every request comes with the accept flag preset to one.
        QObject scope;
        QList<int> presets;
        QObject::connect(diagram, &dvTablesAndJoins::joinRequest, &scope,
                         [&](const QString&, int* accept) { presets << *accept; });
        for (const QStringList& r : c.restored)
            ASSERT_TRUE(diagram->AddJoin(r[0], r[1], r[2], r[3], r[4]));
        const int restored = static_cast<int>(c.restored.size());
        for (int i = 0; i < static_cast<int>(c.drawn.size()); ++i) {
            const Drawn& d = c.drawn[static_cast<size_t>(i)];
            dragColumn(d.fromAlias, d.fromColumn, d.toAlias, d.toColumn, d.atDrop);
            // The request names the join as it will be recorded; the new line is selected,
            // whichever way it is recorded.
            ASSERT_EQ(requests.size(), i + 1);
            EXPECT_EQ(requests[i][0].toString(), c.expected[restored + i]);
            EXPECT_EQ(diagram->selectedJoin(), restored + i + 1);
        }
        EXPECT_EQ(presets, QList<int>(static_cast<qsizetype>(c.drawn.size()), 1));
        ASSERT_EQ(added.size(), c.expected.size());
        for (int i = 0; i < c.expected.size(); ++i) {
            EXPECT_EQ(added[i][0].toString(), c.expected[i]);
            EXPECT_EQ(added[i][1].toInt(), i + 1);
            EXPECT_EQ(diagram->joins()[i].joinText(), c.expected[i]);
        }
        EXPECT_EQ(diagram->JoinsList(), joinsList(c.expected));
        // Restored joins are taken as given, even when they do not grow from joined tables.
        if (!c.drawn.empty()) {
            EXPECT_TRUE(growsFromJoinedTables(diagram->joins()));
        }
    }
}

} // namespace
} // namespace marovin::testing
