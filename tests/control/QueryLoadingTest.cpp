#include "ControlHarness.h"

#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(QueryLoadingTest, ALoadedQueryFillsEveryPaneAndRaisesNoChanged) {
    ControlHarness h;
    h.changed = 0;
    h.load(QueryDocument()
               .uniqueRecordsOnly()
               .table("dbo.Orders")
               .table("dbo.Order Details")
               .table("dbo.Products")
               .item("Orders.OrderID", "OrderID")
               .item("Products.ProductName", "Product")
               .item("Order Details.Quantity", "Qty", "sum")
               .join("Orders", "Order Details", "(Orders.OrderID = [Order Details].OrderID)", true)
               .join("Order Details", "Products",
                     "([Order Details].ProductID = Products.ProductID and [Order "
                     "Details].UnitPrice = Products.UnitPrice)"));
    EXPECT_EQ(h.changed, 0);
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Orders", "Order Details", "Products"}));

    // One diagram join per column pair, with the type from the two flags.
    EXPECT_EQ(h.joinTexts(),
              (QStringList{"Orders\nOrderID\nOrder Details\nOrderID\nLeft Join",
                           "Order Details\nProductID\nProducts\nProductID\nInner Join",
                           "Order Details\nUnitPrice\nProducts\nUnitPrice\nInner Join"}));

    ASSERT_EQ(h.rows(), 3);
    EXPECT_EQ(h.row(3),
              (QStringList{"Quantity", "Qty", "SUM", "dbo.Order Details", "Order Details"}));
    EXPECT_TRUE(h.checkBox("chkUniqueRecords")->isChecked());

    // Merged back by the assembly: the same joins as the document.
    ASSERT_EQ(h.query->JoinConditions()->Count(), 2);
    EXPECT_EQ(h.query->JoinConditions()->Item(1)->strCondition(),
              "(Orders.OrderID = [Order Details].OrderID)");
    EXPECT_EQ(h.query->JoinConditions()->Item(2)->strCondition(),
              "([Order Details].ProductID = Products.ProductID and [Order Details].UnitPrice = "
              "Products.UnitPrice)");
    EXPECT_TRUE(h.query->JoinConditions()->Item(1)->blnIncludeAllRowsOfLeftTable());
    EXPECT_EQ(h.control().strSQL(), h.query->strSQL());
    EXPECT_EQ(h.sqlView()->strText(), h.control().strSQL());
    EXPECT_NE(h.control().strSQL().find("SELECT DISTINCT"), std::string::npos);
    EXPECT_NE(h.control().strSQL().find("SUM([Order Details].Quantity) AS Qty"), std::string::npos)
        << h.control().strSQL();
    EXPECT_EQ(h.busy->lngDepth(), 0);

    // Loading the assembled query again gives the same SQL: the round trip is stable.
    const std::string first = h.control().strSQL();
    h.load(h.query->ToXmlText());
    EXPECT_EQ(h.control().strSQL(), first);
    EXPECT_EQ(h.changed, 0);
}

TEST(QueryLoadingTest, MissingTablesAreReportedOnceAndTheirDependantsDropped) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .table("dbo.Invoices")
               .table("dbo.Payments")
               .item("Orders.Freight", "Freight")
               .item("Invoices.Amount", "Amount")
               .calculated("Paid", "Payments.Total")
               .calculated("Cost", "Orders.Freight * 2")
               .join("Orders", "Invoices", "(Orders.OrderID = Invoices.OrderID)")
               .filter("Invoices.Amount > 0")
               .filter("Orders.Freight > 1"));
    ASSERT_EQ(h.box->shown().size(), 1u);
    // An embedded database file has no server to name; the missing names come as details.
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"SQL Server connection",
                   QString::fromStdString("One or more tables used in the original SQL query are "
                                          "not in database " +
                                          SampleDatabasePath() + "."),
                   MessageIcon::Critical, MessageButtons::Ok}));
    EXPECT_EQ(h.box->shown()[0].strDetails, "Tables left out:\ndbo.Invoices\ndbo.Payments");
    EXPECT_EQ(h.control().missingTables(), (QStringList{"dbo.Invoices", "dbo.Payments"}));
    // The report comes before the busy pointer is restored, and the pointer is restored after.
    EXPECT_EQ(h.box->busyDepths, std::vector<int>{1});
    EXPECT_EQ(h.busy->lngDepth(), 0);
    EXPECT_EQ(h.changed, 0);

    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
    EXPECT_EQ(h.diagram()->joinCount(), 0);
    EXPECT_EQ(h.row(1), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));
    EXPECT_EQ(ItemTexts(h.expressions()), QStringList{"Cost"});
    EXPECT_EQ(ItemTexts(h.conditions()), QStringList{"Orders.Freight > 1"});
    // The query object itself no longer holds the missing tables.
    ASSERT_EQ(h.query->Tables()->Count(), 1);
    EXPECT_EQ(h.query->JoinConditions()->Count(), 0);
    EXPECT_EQ(h.control().strSQL().find("Invoices"), std::string::npos);
}

TEST(QueryLoadingTest, RefreshWithoutAQueryOrAConnectionLeavesEmptyPanes) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    h.control().setDatabaseObject(nullptr);
    h.changed = 0;
    h.control().setSQLQueryObject(nullptr);
    EXPECT_EQ(h.tableEntries().size(), 0);
    EXPECT_EQ(h.diagram()->tableAliases().size(), 0);
    EXPECT_EQ(h.control().strSQL(), "");
    EXPECT_EQ(h.changed, 0);
    EXPECT_EQ(h.control().SQLQueryObject(), nullptr);
}

TEST(QueryLoadingTest, ASubQueryWithItemsIsOfferedAndPlacedAsATable) {
    ControlHarness h;
    h.load(
        QueryDocument()
            .subQueryTable("Big")
            .item("Big.Total", "Total")
            .subQuery("Big", QueryDocument().table("dbo.Orders").item("Orders.Freight", "Total")));
    ASSERT_NE(h.query->SubQuery(), nullptr);
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.tableEntries().value(0), "Sub query: Big");
    EXPECT_EQ(h.diagram()->tableColumns("Big"), QStringList{"Total"});
    ASSERT_EQ(h.query->Tables()->Count(), 1);
    EXPECT_TRUE(h.query->Tables()->Item(1)->blnIsSubQuery());
    EXPECT_EQ(h.query->Tables()->Item(1)->SubQuery(), h.query->SubQuery());
    EXPECT_NE(h.control().strSQL().find("AS Big"), std::string::npos) << h.control().strSQL();

    // Removing the sub-query's box warns that its dependants stay, and leaves them.
    h.box->QueueAnswer(MessageAnswer::Yes);
    ASSERT_TRUE(h.diagram()->requestTableRemoval("Big"));
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"Remove a Table",
                   "This table is a sub-query. After removal, this sub-query will be deleted from "
                   "\r\nthe FROM clause of the main SQL-query which may become invalid. Fields, "
                   "expressions \r\nand conditions based on this table must be removed "
                   "manually.\r\nDo you want to continue?",
                   MessageIcon::Exclamation, MessageButtons::YesNo}));
    EXPECT_EQ(h.rows(), 1);
    EXPECT_EQ(h.query->Tables()->Count(), 0);
}

TEST(QueryLoadingTest, WithoutAQueryTheLastQuerysSubQueryIsNeitherOfferedNorEdited) {
    ControlHarness h;
    h.load(
        QueryDocument()
            .table("dbo.Orders")
            .subQuery("Big", QueryDocument().table("dbo.Orders").item("Orders.Freight", "Total")));
    ASSERT_EQ(h.tableEntries().value(0), "Sub query: Big");
    h.control().setSQLQueryObject(nullptr);
    ASSERT_GT(h.tableEntries().size(), 0) << "the connection still lists its tables";
    EXPECT_TRUE(h.tableEntries().filter(QRegularExpression("^Sub query: ")).isEmpty());
    auto* button = h.control().findChild<QPushButton*>("cmdSubQueries");
    EXPECT_TRUE(
        RunDialog([](QDialog&) {}, [&] { QTest::mouseClick(button, Qt::LeftButton); }).isEmpty());
}

TEST(QueryLoadingTest, ASubQueryWithoutItemsIsNotOffered) {
    ControlHarness h;
    h.load(
        QueryDocument().table("dbo.Orders").subQuery("Empty", QueryDocument().table("dbo.Orders")));
    ASSERT_GT(h.tableEntries().size(), 0);
    EXPECT_TRUE(h.tableEntries().filter(QRegularExpression("^Sub query: ")).isEmpty());
    EXPECT_EQ(h.tableEntries().value(0).left(4), "dbo.");
}
