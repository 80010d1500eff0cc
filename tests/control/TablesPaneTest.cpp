#include "ControlHarness.h"

#include <QApplication>
#include <QCheckBox>
#include <QDropEvent>
#include <QGraphicsView>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QScrollBar>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(TablesPaneTest, ChoosingAColumnAddsARowRaisesChangedThenShowsTheNewSql) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    ASSERT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
    const std::string before = h.control().strSQL();
    h.changed = 0;

    // The host reads the query and the SQL inside its Changed handler: both are still as they
    // were before the edit.
    std::string sqlSeenByHost;
    long itemsSeenByHost = -1;
    std::string viewSeenByHost;
    auto connection = QObject::connect(&h.control(), &uscMarovin::Changed, [&] {
        sqlSeenByHost = h.control().SQLQueryObject()->strSQL();
        itemsSeenByHost = h.control().SQLQueryObject()->SelectedItems()->Count();
        viewSeenByHost = h.sqlView()->strText();
    });
    h.chooseColumn("Orders", "Freight");
    QObject::disconnect(connection);

    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(itemsSeenByHost, 0);
    EXPECT_EQ(sqlSeenByHost, before);
    EXPECT_EQ(viewSeenByHost, before);

    ASSERT_EQ(h.rows(), 1);
    EXPECT_EQ(h.row(1), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));

    const std::string sql = h.control().strSQL();
    EXPECT_EQ(sql.rfind("SELECT\r\n     Orders.Freight AS Freight\r\nFROM", 0), 0u) << sql;
    EXPECT_NE(sql.find("dbo.Orders AS Orders"), std::string::npos) << sql;
    EXPECT_EQ(sql, h.query->strSQL());
    EXPECT_EQ(h.sqlView()->strText(), sql);
    EXPECT_EQ(h.control().SQLQueryObject(), h.query); // rebuilt in place, same object
    EXPECT_EQ(h.query->SelectedItems()->Count(), 1);
    EXPECT_EQ(h.busy->lngDepth(), 0);
}

TEST(TablesPaneTest, RepeatedTablesGetNumberedAliasesAndBoxesSideBySide) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    h.placeTable("dbo.Orders");
    h.placeTable("dbo.Orders");
    h.placeTable("dbo.Order Details");
    EXPECT_EQ(h.diagram()->tableAliases(),
              (QStringList{"Orders", "Orders1", "Orders2", "Order Details"}));
    EXPECT_EQ(h.diagram()->tableColumns("Orders1").size(), 14);
    EXPECT_EQ(h.diagram()->tableColumns("Order Details"),
              (QStringList{"OrderID", "ProductID", "UnitPrice", "Quantity", "Discount"}));
    // Each box starts further right than the one placed before it.
    EXPECT_LT(h.diagram()->tableSceneRect("Orders").left(),
              h.diagram()->tableSceneRect("Orders1").left());
    EXPECT_LT(h.diagram()->tableSceneRect("Orders1").left(),
              h.diagram()->tableSceneRect("Orders2").left());
    EXPECT_EQ(h.changed, 4);
    h.chooseColumn("Order Details", "Quantity");

    ASSERT_EQ(h.query->Tables()->Count(), 4);
    EXPECT_EQ(h.query->Tables()->Item(3)->strName(), "dbo.Orders");
    EXPECT_EQ(h.query->Tables()->Item(3)->strAlias(), "Orders2");
    EXPECT_NE(h.control().strSQL().find("dbo.[Order Details] AS [Order Details]"),
              std::string::npos);
}

TEST(TablesPaneTest, TablesArePlacedByEnterDoubleClickAndDragFromTheList) {
    ControlHarness h;
    QListView* list = h.tableList();
    const QModelIndex customers = TableEntryIndex(h.control(), "dbo.Customers");
    ASSERT_TRUE(customers.isValid());
    list->setFocus();
    list->setCurrentIndex(customers);
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Customers"});

    const QModelIndex shippers = TableEntryIndex(h.control(), "dbo.Shippers");
    ASSERT_TRUE(shippers.isValid());
    list->scrollTo(shippers);
    const QPoint onShippers = list->visualRect(shippers).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, onShippers);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, onShippers);
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Customers", "Shippers"}));

    // Dropping a dragged list entry onto the diagram places that entry, whichever is selected.
    const QModelIndex employees = TableEntryIndex(h.control(), "dbo.Employees");
    ASSERT_TRUE(employees.isValid());
    list->setCurrentIndex(customers);
    std::unique_ptr<QMimeData> mime(list->model()->mimeData({employees}));
    QWidget* target = h.diagram()->view()->viewport();
    const QPoint at(target->width() / 2, target->height() / 2);
    QDragEnterEvent enter(at, Qt::CopyAction, mime.get(), Qt::LeftButton, {});
    QApplication::sendEvent(target, &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_EQ(h.diagram()->tableAliases().size(), 2); // entering places nothing
    QDropEvent drop(QPointF(at), Qt::CopyAction, mime.get(), Qt::LeftButton, {});
    QApplication::sendEvent(target, &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Customers", "Shippers", "Employees"}));

    // Text that is not an entry of the list is not placed.
    QMimeData foreign;
    foreign.setText("dbo.Orders");
    QDropEvent other(QPointF(at), Qt::CopyAction, &foreign, Qt::LeftButton, {});
    QApplication::sendEvent(target, &other);
    EXPECT_EQ(h.diagram()->tableAliases().size(), 3);
}

TEST(TablesPaneTest, ViewsAreListedOnlyWhileTheBoxIsTicked) {
    ControlHarness h;
    // Views listed, system tables not: system tables and system views are both left out.
    EXPECT_TRUE(h.control().DatabaseObject()->blnIncludeViews());
    EXPECT_TRUE(h.control().DatabaseObject()->blnExcludeSystemTables());
    EXPECT_TRUE(h.control().DatabaseObject()->blnExcludeSystemViews());
    EXPECT_TRUE(h.tableEntries().contains("dbo.Current Product List"));
    EXPECT_TRUE(h.tableEntries().contains("dbo.Orders"));
    QCheckBox* views = h.checkBox("chkAlsoListViews");
    QTest::mouseClick(views, Qt::LeftButton, {}, QPoint(5, views->height() / 2));
    EXPECT_FALSE(views->isChecked());
    EXPECT_FALSE(h.tableEntries().contains("dbo.Current Product List"));
    EXPECT_TRUE(h.tableEntries().contains("dbo.Orders"));
    EXPECT_FALSE(h.control().DatabaseObject()->blnIncludeViews());
    EXPECT_TRUE(h.control().DatabaseObject()->blnExcludeSystemViews());

    QCheckBox* system = h.checkBox("chkAlsoListSystemTables");
    QTest::mouseClick(system, Qt::LeftButton, {}, QPoint(5, system->height() / 2));
    EXPECT_FALSE(h.control().DatabaseObject()->blnExcludeSystemTables());
    // System views stay excluded while views are not listed at all.
    EXPECT_TRUE(h.control().DatabaseObject()->blnExcludeSystemViews());
    // Both boxes ticked: system views are listed too.
    QTest::mouseClick(views, Qt::LeftButton, {}, QPoint(5, views->height() / 2));
    EXPECT_TRUE(h.control().DatabaseObject()->blnIncludeViews());
    EXPECT_FALSE(h.control().DatabaseObject()->blnExcludeSystemTables());
    EXPECT_FALSE(h.control().DatabaseObject()->blnExcludeSystemViews());
    EXPECT_EQ(h.changed, 0); // the list options do not change the query
}

namespace {

const Box kLoopRefused{"Add join", "Loops not allowed in join-schema.", MessageIcon::Exclamation,
                       MessageButtons::Ok};

void placeFour(ControlHarness& h) {
    for (const char* table : {"dbo.Orders", "dbo.Customers", "dbo.Employees", "dbo.Shippers"})
        h.placeTable(table);
}

} // namespace

TEST(TablesPaneTest, JoinsAreAcceptedUnlessBothTablesAreJoinedAlready) {
    ControlHarness h;
    placeFour(h);
    h.chooseColumn("Customers", "CompanyName");
    h.changed = 0;

    h.dragJoin("Orders", "CustomerID", "Customers", "CustomerID");
    ASSERT_EQ(h.diagram()->joinCount(), 1);
    EXPECT_EQ(h.changed, 1);
    EXPECT_NE(h.control().strSQL().find(
                  "INNER JOIN dbo.Customers AS Customers\r\n     ON (Orders.CustomerID = "
                  "Customers.CustomerID)"),
              std::string::npos)
        << h.control().strSQL();

    // A second join between the same two tables is accepted and merged into the one join.
    h.dragJoin("Orders", "ShipCity", "Customers", "City");
    ASSERT_EQ(h.diagram()->joinCount(), 2);
    ASSERT_EQ(h.query->JoinConditions()->Count(), 1);
    EXPECT_EQ(h.query->JoinConditions()->Item(1)->strCondition(),
              "(Orders.CustomerID = Customers.CustomerID and Orders.ShipCity = Customers.City)");

    // Employees is new: accepted. Shippers then joins the chain through a new table too.
    h.dragJoin("Employees", "EmployeeID", "Orders", "EmployeeID");
    EXPECT_EQ(h.diagram()->joinCount(), 3);
    EXPECT_TRUE(h.box->shown().empty());
}

// A join dragged between two tables that both take part in joins already would close a loop
// and is refused with the message; the diagram and the query keep their joins.
TEST(TablesPaneTest, AJoinThatWouldCloseALoopIsRefused) {
    struct Case {
        const char* what;
        std::vector<QStringList> drawn; // from, column, to, column, type
        int removed;                    // a drawn join taken out again (from 1), 0 for none
        QStringList dragged;            // from, column, to, column
        bool refused;
    };
    const QStringList oc{"Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"};
    const QStringList city{"Orders", "ShipCity", "Customers", "City", "Inner Join"};
    const QStringList oe{"Orders", "EmployeeID", "Employees", "EmployeeID", "Inner Join"};
    const QStringList eo{"Employees", "EmployeeID", "Orders", "EmployeeID", "Inner Join"};
    const QStringList es{"Employees", "Title", "Shippers", "CompanyName", "Left Join"};
    const QStringList cs{"Customers", "CompanyName", "Shippers", "CompanyName", "Left Join"};
    const std::vector<Case> cases = {
        {"both joined", {oc, city, eo}, 0, {"Customers", "City", "Employees", "City"}, true},
        {"two pairs", {oc, es}, 0, {"Customers", "CompanyName", "Employees", "LastName"}, true},
        // After Orders-Customers only Orders took part in another join.
        {"repeated pair", {oc, oe}, 0, {"Orders", "ShipCity", "Customers", "City"}, false},
        // Customers was joined to another table after the last Orders-Customers pair too (the
        // repeated pair drawn in between is taken out again): refused, although the two tables
        // are joined already.
        {"again", {oc, oe, city, cs}, 3, {"Orders", "ShipCountry", "Customers", "Country"}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ControlHarness h;
        placeFour(h);
        for (const QStringList& j : c.drawn)
            ASSERT_TRUE(h.diagram()->AddJoin(j[0], j[1], j[2], j[3], j[4]));
        if (c.removed > 0) {
            ASSERT_TRUE(h.diagram()->removeJoin(c.removed));
        }
        const int joins = h.diagram()->joinCount();
        const long conditions = h.query->JoinConditions()->Count();
        h.dragJoin(c.dragged[0], c.dragged[1], c.dragged[2], c.dragged[3]);
        EXPECT_EQ(h.diagram()->joinCount(), c.refused ? joins : joins + 1);
        if (!c.refused) {
            EXPECT_TRUE(h.box->shown().empty());
            continue;
        }
        EXPECT_EQ(h.query->JoinConditions()->Count(), conditions);
        ASSERT_EQ(h.box->shown().size(), 1u);
        EXPECT_EQ(BoxOf(h.box->shown()[0]), kLoopRefused);
    }
}

TEST(TablesPaneTest, JoinsOfOtherTypeOrDirectionStaySeparate) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    h.placeTable("dbo.Customers");
    ASSERT_TRUE(
        h.diagram()->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Left Join"));
    ASSERT_TRUE(h.diagram()->AddJoin("Orders", "ShipCity", "Customers", "City", "Inner Join"));
    ASSERT_TRUE(h.diagram()->AddJoin("Customers", "Country", "Orders", "ShipCountry", "Left Join"));
    const auto joins = h.query->JoinConditions();
    ASSERT_EQ(joins->Count(), 3);
    EXPECT_EQ(joins->Item(1)->strCondition(), "(Orders.CustomerID = Customers.CustomerID)");
    EXPECT_TRUE(joins->Item(1)->blnIncludeAllRowsOfLeftTable());
    EXPECT_FALSE(joins->Item(1)->blnIncludeAllRowsOfRightTable());
    EXPECT_FALSE(joins->Item(2)->blnIncludeAllRowsOfLeftTable());
    EXPECT_EQ(joins->Item(3)->LeftTable()->strAlias(), "Customers");
    EXPECT_EQ(joins->Item(3)->RightTable()->strAlias(), "Orders");

    ASSERT_TRUE(h.diagram()->setJoinType(2, "Full Join"));
    EXPECT_TRUE(h.query->JoinConditions()->Item(2)->blnIncludeAllRowsOfLeftTable());
    EXPECT_TRUE(h.query->JoinConditions()->Item(2)->blnIncludeAllRowsOfRightTable());
}

TEST(TablesPaneTest, RemovingATableAsksAndTakesItsRowsItemsAndConditionsAlong) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .table("dbo.Customers")
               .item("Orders.Freight", "Freight")
               .item("Customers.CompanyName", "CompanyName")
               .item("Orders.OrderID", "OrderID")
               .calculated("Total", "SUM(Orders.Freight)")
               .calculated("Who", "Customers.ContactName")
               .join("Orders", "Customers", "(Orders.CustomerID = Customers.CustomerID)")
               .filter("Customers.Country = 'Germany'")
               .filter("Orders.Freight > 10"));
    ASSERT_EQ(h.rows(), 3);
    ASSERT_EQ(h.diagram()->joinCount(), 1);

    // Answering No keeps everything.
    auto clickClose = [&h] {
        QTest::mouseClick(h.diagram()->view()->viewport(), Qt::LeftButton, {},
                          h.diagram()->closeButtonPoint("Customers"));
    };
    h.box->QueueAnswer(MessageAnswer::No);
    clickClose();
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"Remove a Table",
                   "Do you really want to remove table Customers?\r\nRemoving a table may have "
                   "implications for selected fields and expressions",
                   MessageIcon::Exclamation, MessageButtons::YesNo}));
    EXPECT_TRUE(h.diagram()->hasTable("Customers"));
    EXPECT_EQ(h.rows(), 3);

    h.box->QueueAnswer(MessageAnswer::Yes);
    clickClose();
    EXPECT_FALSE(h.diagram()->hasTable("Customers"));
    EXPECT_EQ(h.diagram()->joinCount(), 0);
    EXPECT_EQ(h.column(2), (QStringList{"Freight", "OrderID"}));
    EXPECT_EQ(ItemTexts(h.expressions()), QStringList{"Total"});
    EXPECT_EQ(ItemTexts(h.conditions()), QStringList{"Orders.Freight > 10"});
    EXPECT_EQ(h.control().strSQL().find("Customers"), std::string::npos) << h.control().strSQL();
    EXPECT_EQ(h.query->Tables()->Count(), 1);

    // The last table takes every row with it, whatever table the row names.
    h.box->QueueAnswer(MessageAnswer::Yes);
    ASSERT_TRUE(h.diagram()->requestTableRemoval("Orders"));
    EXPECT_EQ(h.rows(), 0);
    EXPECT_FALSE(h.button("cmdRemoveSelectItem")->isEnabled());
    EXPECT_EQ(h.expressions()->topLevelItemCount(), 0);
}

TEST(TablesPaneTest, TheAliasIsRemovedAsASubstringOfExpressionsAndConditions) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Region")
               .table("dbo.Orders")
               .calculated("A", "Orders.ShipRegion")
               .calculated("B", "Orders.Freight"));
    h.box->QueueAnswer(MessageAnswer::Yes);
    ASSERT_TRUE(h.diagram()->requestTableRemoval("Region"));
    // "ShipRegion" contains "Region": that item goes too.
    EXPECT_EQ(ItemTexts(h.expressions()), QStringList{"B"});
}

TEST(TablesPaneTest, AllColumnsAddsEveryColumnWithoutDuplicates) {
    ControlHarness h;
    h.placeTable("dbo.Shippers", {"Phone"});
    h.changed = 0;
    QTest::mouseDClick(h.diagram()->view()->viewport(), Qt::LeftButton, {},
                       h.diagram()->allColumnsPoint("Shippers"));
    EXPECT_EQ(h.column(1), (QStringList{"Phone", "ShipperID", "CompanyName"}));
    EXPECT_TRUE(h.box->shown().empty()); // the duplicate is skipped silently here
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.busy->lngDepth(), 0);
    EXPECT_GT(h.busy->lngShown(), 0);
}

TEST(TablesPaneTest, LoadedBoxesGoSideBySideAndPlacedOnesWhereTheUserSeesThem) {
    ControlHarness h;
    h.load(QueryDocument().table("dbo.Shippers").table("dbo.WideTable"));
    ASSERT_GT(h.diagram()->tableColumns("WideTable").size(), 20);
    const double position = dvTablesAndJoins::kPositionScale;
    const double size = dvTablesAndJoins::kSizeScale;
    // A loaded query's boxes, in the diagram's units rounded to whole pixels: left = 160 n + 50,
    // top = 20, width = 5 per alias character + 120, height = 10 per column beyond the first +
    // 100, at most 300 and no taller than the view shows.
    const QRectF shippers = h.diagram()->tableSceneRect("Shippers");
    EXPECT_NEAR(shippers.left(), 50 * position, 1);
    EXPECT_NEAR(shippers.top(), 20 * position, 1);
    EXPECT_NEAR(shippers.width(), (5 * 8 + 120) * size, 1);
    EXPECT_NEAR(shippers.height(), (10 * 2 + 100) * size, 1);
    const QRectF wide = h.diagram()->tableSceneRect("WideTable");
    EXPECT_NEAR(wide.left(), 210 * position, 1);
    EXPECT_NEAR(wide.width(), (5 * 9 + 120) * size, 1);
    EXPECT_LE(wide.height(), 300 * size + 1);
    EXPECT_LE(wide.height(), h.diagram()->view()->viewport()->height());

    // Tables the user places land in view, beside each other, and the last one is selected.
    h.diagram()->view()->horizontalScrollBar()->setValue(
        h.diagram()->view()->horizontalScrollBar()->maximum());
    h.placeTable("dbo.Region");
    h.placeTable("dbo.Categories");
    const QRectF visible =
        h.diagram()->view()->mapToScene(h.diagram()->view()->viewport()->rect()).boundingRect();
    for (const QString alias : {"Region", "Categories"}) {
        const QRectF box = h.diagram()->tableSceneRect(alias);
        EXPECT_TRUE(visible.intersects(box)) << alias.toStdString();
        EXPECT_FALSE(box.intersects(shippers) || box.intersects(wide)) << alias.toStdString();
    }
    EXPECT_FALSE(h.diagram()->tableSceneRect("Region").intersects(
        h.diagram()->tableSceneRect("Categories")));
    EXPECT_EQ(h.diagram()->selectedTable(), "Categories");
}

TEST(TablesPaneTest, TheBoxWidthCountsTheAliasInCharacters) {
    // "Straße" and "Größen" are six characters each, seven and eight bytes in UTF-8.
    ScratchDatabase db("CREATE TABLE \"Straße\" (Name TEXT, PLZ TEXT);"
                       "CREATE TABLE \"Größen\" (Wert REAL);");
    ControlHarness h(nullptr, db.connection());
    h.placeTable("dbo.Straße");
    h.placeTable("dbo.Größen");
    ASSERT_EQ(h.diagram()->tableAliases(), (QStringList{"Straße", "Größen"}));
    const double size = dvTablesAndJoins::kSizeScale;
    EXPECT_NEAR(h.diagram()->tableSceneRect("Straße").width(), (5 * 6 + 120) * size, 1);
    EXPECT_NEAR(h.diagram()->tableSceneRect("Größen").width(), (5 * 6 + 120) * size, 1);
    EXPECT_NEAR(h.diagram()->tableSceneRect("Größen").height(), 100 * size, 1);
}

TEST(TablesPaneTest, ANameWithTwoDotsGetsItsLastPartAsAlias) {
    // Listed as dbo.sales.Orders: the alias is the part after the last dot; the statement names
    // the table in brackets, since its name holds a dot.
    ScratchDatabase db("CREATE TABLE \"sales.Orders\" (Amount REAL);");
    ControlHarness h(nullptr, db.connection());
    h.placeTable("dbo.sales.Orders");
    h.placeTable("dbo.sales.Orders");
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Orders", "Orders1"}));
    ASSERT_EQ(h.query->Tables()->Count(), 2);
    EXPECT_EQ(h.query->Tables()->Item(2)->strName(), "dbo.[sales.Orders]");
    EXPECT_EQ(h.query->Tables()->Item(2)->strAlias(), "Orders1");
}

TEST(TablesPaneTest, JoinsDrawnFromANewTableOntoAJoinedOneGiveAStatementSQLiteRuns) {
    ControlHarness h;
    placeFour(h);
    h.chooseColumn("Customers", "CompanyName");
    h.chooseColumn("Employees", "LastName");
    h.chooseColumn("Shippers", "CompanyName");
    h.dragJoin("Orders", "CustomerID", "Customers", "CustomerID");
    // Dragged from the new table onto the joined one, keeping all rows of the new table (Shift),
    // and an inner join the same way round.
    h.dragJoin("Employees", "EmployeeID", "Orders", "EmployeeID", Qt::ShiftModifier);
    h.dragJoin("Shippers", "ShipperID", "Orders", "ShipVia");
    ASSERT_TRUE(h.box->shown().empty());

    // The chain grows from the joined tables; the outer side moves with the swap.
    const auto joins = h.query->JoinConditions();
    ASSERT_EQ(joins->Count(), 3);
    EXPECT_EQ(joins->Item(2)->LeftTable()->strAlias(), "Orders");
    EXPECT_EQ(joins->Item(2)->RightTable()->strAlias(), "Employees");
    EXPECT_FALSE(joins->Item(2)->blnIncludeAllRowsOfLeftTable());
    EXPECT_TRUE(joins->Item(2)->blnIncludeAllRowsOfRightTable());
    EXPECT_EQ(joins->Item(3)->LeftTable()->strAlias(), "Orders");
    EXPECT_EQ(joins->Item(3)->strCondition(), "(Orders.ShipVia = Shippers.ShipperID)");

    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("RIGHT OUTER JOIN dbo.Employees AS Employees\r\n     ON (Orders.EmployeeID "
                       "= Employees.EmployeeID)"),
              std::string::npos)
        << sql;
    std::string error;
    const auto rows = h.db->FireQuery(sql, error, 1000);
    ASSERT_TRUE(error.empty()) << error << "\n" << sql;
    ASSERT_TRUE(rows);
    EXPECT_GT(rows->RecordCount(), 0);
}

TEST(TablesPaneTest, TheSearchFieldFiltersTheListAndPlacesWhatItShows) {
    ControlHarness h;
    auto* search = h.control().findChild<QLineEdit*>("txtTableFilter");
    auto* count = h.control().findChild<QLabel*>("lblTableCount");
    ASSERT_NE(search, nullptr);
    ASSERT_NE(count, nullptr);
    const int total = static_cast<int>(h.tableEntries().size());
    EXPECT_EQ(count->text(), QString("%1 tables").arg(total));

    // Ctrl+F reaches the field from anywhere in the control; typing filters, ignoring case.
    h.grid()->setFocus();
    QTest::keyClick(h.grid(), Qt::Key_F, Qt::ControlModifier);
    ASSERT_EQ(QApplication::focusWidget(), search);
    QTest::keyClicks(search, "TERRIT");
    EXPECT_EQ(h.tableEntries(), (QStringList{"dbo.EmployeeTerritories", "dbo.Territories"}));
    EXPECT_EQ(count->text(), QString("2 of %1").arg(total));

    // Enter places the first entry shown; Down moves into the list, where Enter places too.
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_TRUE(h.diagram()->hasTable("EmployeeTerritories"));
    QTest::keyClick(search, Qt::Key_Down);
    ASSERT_EQ(QApplication::focusWidget(), h.tableList());
    QTest::keyClick(h.tableList(), Qt::Key_Down);
    QTest::keyClick(h.tableList(), Qt::Key_Return);
    EXPECT_TRUE(h.diagram()->hasTable("Territories"));

    // A selection the filter hides is not placed by the button.
    h.tableList()->setCurrentIndex(TableEntryIndex(h.control(), "dbo.Territories"));
    search->setFocus();
    QTest::keyClicks(search, "x");
    const int placed = h.diagram()->tableAliases().size();
    h.clickButton("cmdAddTableToJoiner");
    EXPECT_EQ(h.diagram()->tableAliases().size(), placed);
    // Escape clears the search and shows everything again.
    QTest::keyClick(search, Qt::Key_Escape);
    EXPECT_EQ(h.tableEntries().size(), total);
}

TEST(TablesPaneTest, PlacedTablesJoinAlongTheirForeignKeysUnlessSwitchedOff) {
    auto settings = std::make_shared<MemorySettingsStore>();
    settings->SaveSetting("QueryBuilder", "AutoJoin", "True");
    ControlHarness h(settings);
    QStringList notes;
    QObject::connect(&h.control(), &uscMarovin::statusMessage,
                     [&notes](const QString& text) { notes << text; });
    h.placeTable("dbo.Orders");
    h.changed = 0;
    h.placeTable("dbo.Customers");
    EXPECT_EQ(h.joinTexts(), QStringList{"Orders\nCustomerID\nCustomers\nCustomerID\nInner Join"});
    EXPECT_EQ(h.changed, 1); // placing and joining are one edit
    EXPECT_EQ(notes, QStringList{"Joined along foreign keys: Customers to Orders"});
    ASSERT_EQ(h.query->JoinConditions()->Count(), 1);
    EXPECT_EQ(h.query->JoinConditions()->Item(1)->strCondition(),
              "(Orders.CustomerID = Customers.CustomerID)");

    // The key is followed from either end, to the first placement of a table only, and a
    // table that would close a loop is left unjoined.
    h.placeTable("dbo.Orders"); // Orders1: linked to Customers, which is joined already
    h.placeTable("dbo.Order Details");
    EXPECT_EQ(h.diagram()->joinCount(), 3);
    EXPECT_EQ(h.diagram()->joins().at(2).strLeftAlias, "Orders");

    // Switched off, placing draws nothing, and the choice is kept.
    QCheckBox* option = h.checkBox("chkAutoJoin");
    QTest::mouseClick(option, Qt::LeftButton, {}, QPoint(5, option->height() / 2));
    EXPECT_FALSE(h.control().blnAutoJoin());
    EXPECT_EQ(settings->GetSetting("QueryBuilder", "AutoJoin", ""), "False");
    h.placeTable("dbo.Shippers");
    EXPECT_EQ(h.diagram()->joinCount(), 3);
}

TEST(TablesPaneTest, TheBoxesCheckBoxesShowAndChangeTheSelectedColumns) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    EXPECT_TRUE(h.diagram()->isColumnTicked("Orders", "Freight"));
    EXPECT_FALSE(h.diagram()->isColumnTicked("Orders", "OrderID"));

    // A click on an empty box adds the column, on a ticked one removes every row of it.
    auto click = [&h](const QString& column) {
        QTest::mouseClick(h.diagram()->view()->viewport(), Qt::LeftButton, {},
                          h.diagram()->checkBoxPoint("Orders", column));
    };
    click("OrderID");
    EXPECT_EQ(h.rows(), 2);
    EXPECT_TRUE(h.diagram()->isColumnTicked("Orders", "OrderID"));
    h.box->clear();
    click("Freight");
    EXPECT_EQ(h.column(1), QStringList{"OrderID"});
    EXPECT_FALSE(h.diagram()->isColumnTicked("Orders", "Freight"));
    EXPECT_TRUE(h.box->shown().empty()); // no question for a deliberate untick

    // Rows removed in the grid untick their columns; a loaded query shows its ticks.
    h.grid()->setFocus();
    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
    QTest::keyClick(h.grid(), Qt::Key_Delete);
    EXPECT_EQ(h.rows(), 0);
    EXPECT_FALSE(h.diagram()->isColumnTicked("Orders", "OrderID"));
    // A loaded query shows its ticks.
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("Orders.Freight", "Freight")
               .item("Orders.ShipCity", "City"));
    EXPECT_TRUE(h.diagram()->isColumnTicked("Orders", "ShipCity"));
    ASSERT_EQ(h.rows(), 2);
    click("Freight");
    EXPECT_EQ(h.column(2), QStringList{"City"});
}
