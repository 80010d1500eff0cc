#include "ControlHarness.h"

#include <QRegularExpression>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(QueryLoadingTest, ALoadedQueryFillsEveryPaneAndRaisesNoChanged) {
    ControlHarness h;
    h.changed = 0;
    h.load(R"(<SQLQuery>
  <UNIQUE_RECORDS_ONLY>True</UNIQUE_RECORDS_ONLY>
  <TABLES_USED>
    <TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE>
    <TABLE><NAME>dbo.Order Details</NAME><ALIAS>Order Details</ALIAS></TABLE>
    <TABLE><NAME>dbo.Products</NAME><ALIAS>Products</ALIAS></TABLE>
  </TABLES_USED>
  <ITEMS_SELECTED>
    <ITEM><NAME>Orders.OrderID</NAME><ALIAS>OrderID</ALIAS></ITEM>
    <ITEM><NAME>Products.ProductName</NAME><ALIAS>Product</ALIAS></ITEM>
    <ITEM><NAME>Order Details.Quantity</NAME><ALIAS>Qty</ALIAS><AGGREGATION>sum</AGGREGATION></ITEM>
  </ITEMS_SELECTED>
  <JOINS>
    <JOIN><LEFT_TABLE allrows="True">Orders</LEFT_TABLE><RIGHT_TABLE allrows="False">Order Details</RIGHT_TABLE>
      <CONDITION>(Orders.OrderID = [Order Details].OrderID)</CONDITION></JOIN>
    <JOIN><LEFT_TABLE allrows="False">Order Details</LEFT_TABLE><RIGHT_TABLE allrows="False">Products</RIGHT_TABLE>
      <CONDITION>([Order Details].ProductID = Products.ProductID and [Order Details].UnitPrice = Products.UnitPrice)</CONDITION></JOIN>
  </JOINS>
</SQLQuery>)");
    EXPECT_EQ(h.changed, 0);
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Orders", "Order Details", "Products"}));

    // One diagram join per column pair, with the type from the two flags.
    const QList<DiagramJoin> joins = h.diagram()->joins();
    ASSERT_EQ(joins.size(), 3);
    EXPECT_EQ(joins[0].joinText(), "Orders\nOrderID\nOrder Details\nOrderID\nLeft Join");
    EXPECT_EQ(joins[1].joinText(), "Order Details\nProductID\nProducts\nProductID\nInner Join");
    EXPECT_EQ(joins[2].joinText(), "Order Details\nUnitPrice\nProducts\nUnitPrice\nInner Join");

    ASSERT_EQ(h.rows(), 3);
    EXPECT_EQ(h.cell(3, 1), "Quantity");
    EXPECT_EQ(h.cell(3, 2), "Qty");
    EXPECT_EQ(h.cell(3, 3), "SUM");
    EXPECT_EQ(h.cell(3, 4), "dbo.Order Details");
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
    h.load(R"(<SQLQuery>
  <TABLES_USED>
    <TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE>
    <TABLE><NAME>dbo.Invoices</NAME><ALIAS>Invoices</ALIAS></TABLE>
    <TABLE><NAME>dbo.Payments</NAME><ALIAS>Payments</ALIAS></TABLE>
  </TABLES_USED>
  <ITEMS_SELECTED>
    <ITEM><NAME>Orders.Freight</NAME><ALIAS>Freight</ALIAS></ITEM>
    <ITEM><NAME>Invoices.Amount</NAME><ALIAS>Amount</ALIAS></ITEM>
  </ITEMS_SELECTED>
  <CALCULATED_ITEMS>
    <ITEM><ITEM_NAME>Paid</ITEM_NAME><COMPUTATION>Payments.Total</COMPUTATION></ITEM>
    <ITEM><ITEM_NAME>Cost</ITEM_NAME><COMPUTATION>Orders.Freight * 2</COMPUTATION></ITEM>
  </CALCULATED_ITEMS>
  <JOINS><JOIN><LEFT_TABLE allrows="False">Orders</LEFT_TABLE><RIGHT_TABLE allrows="False">Invoices</RIGHT_TABLE>
      <CONDITION>(Orders.OrderID = Invoices.OrderID)</CONDITION></JOIN></JOINS>
  <FIXED_FILTERS>
    <FILTER isactive="True">Invoices.Amount &gt; 0</FILTER>
    <FILTER isactive="True">Orders.Freight &gt; 1</FILTER>
  </FIXED_FILTERS>
</SQLQuery>)");
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
    ASSERT_EQ(h.rows(), 1);
    EXPECT_EQ(h.cell(1, 2), "Freight");
    ASSERT_EQ(h.expressions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.expressions()->topLevelItem(0)->text(0), "Cost");
    ASSERT_EQ(h.conditions()->topLevelItemCount(), 1);
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
    h.load(R"(<SQLQuery>
  <TABLES_USED><TABLE issubquery="True"><NAME>Big</NAME><ALIAS>Big</ALIAS></TABLE></TABLES_USED>
  <ITEMS_SELECTED><ITEM><NAME>Big.Total</NAME><ALIAS>Total</ALIAS></ITEM></ITEMS_SELECTED>
  <SUB_QUERY>
    <SQLQuery issubquery="True">
      <NAME>Big</NAME>
      <TABLES_USED><TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE></TABLES_USED>
      <ITEMS_SELECTED><ITEM><NAME>Orders.Freight</NAME><ALIAS>Total</ALIAS></ITEM></ITEMS_SELECTED>
    </SQLQuery>
  </SUB_QUERY>
</SQLQuery>)");
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
    EXPECT_EQ(h.box->shown()[0].strCaption, "Remove a Table");
    EXPECT_EQ(h.box->shown()[0].strText,
              "This table is a sub-query. After removal, this sub-query will be deleted from "
              "\r\nthe FROM clause of the main SQL-query which may become invalid. Fields, "
              "expressions \r\nand conditions based on this table must be removed "
              "manually.\r\nDo you want to continue?");
    EXPECT_EQ(h.rows(), 1);
    EXPECT_EQ(h.query->Tables()->Count(), 0);
}

TEST(QueryLoadingTest, ASubQueryWithoutItemsIsNotOffered) {
    ControlHarness h;
    h.load(R"(<SQLQuery>
  <TABLES_USED><TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE></TABLES_USED>
  <SUB_QUERY>
    <SQLQuery issubquery="True">
      <NAME>Empty</NAME>
      <TABLES_USED><TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE></TABLES_USED>
    </SQLQuery>
  </SUB_QUERY>
</SQLQuery>)");
    ASSERT_GT(h.tableEntries().size(), 0);
    EXPECT_TRUE(h.tableEntries().filter(QRegularExpression("^Sub query: ")).isEmpty());
    EXPECT_EQ(h.tableEntries().value(0).left(4), "dbo.");
}
