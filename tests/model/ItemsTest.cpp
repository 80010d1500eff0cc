#include <gtest/gtest.h>
#include <marovin/ModelError.h>
#include <marovin/cSQLQuery.h>

using namespace marovin;

TEST(Items, Defaults) {
    EXPECT_TRUE(cFilter().blnIsActive());
    EXPECT_FALSE(cTable().blnIsSubQuery());
    cJoinCondition join;
    EXPECT_FALSE(join.blnIncludeAllRowsOfLeftTable());
    EXPECT_FALSE(join.blnIncludeAllRowsOfRightTable());
    EXPECT_EQ(join.LeftTable(), nullptr);
    EXPECT_EQ(cOrderByItem().strSortOrder(), "");
}

TEST(SelectedItem, DefaultAliasIsTheLastNamePart) {
    cSelectedItem item;
    item.setStrName("dbo.Orders.Amount");
    EXPECT_EQ(item.strAlias(), "Amount");
    EXPECT_EQ(item.strFullFieldName(), "dbo.Orders.Amount AS Amount");
    item.setStrAggregationFunction("SUM");
    EXPECT_EQ(item.strFullFieldName(), "SUM(dbo.Orders.Amount) AS Amount");
}

TEST(SelectedItem, StoredAliasSurvivesLaterNames) {
    cSelectedItem item;
    item.setStrAlias("Total");
    item.setStrName("Orders.Amount");
    EXPECT_EQ(item.strAlias(), "Total");
    item.setStrName("Orders.Freight");
    EXPECT_EQ(item.strAlias(), "Total");
    EXPECT_EQ(item.strFullFieldName(), "Orders.Freight AS Total");
}

TEST(SelectedItem, BlankAliasReadsAsDefaultAndWritesNoAs) {
    cSelectedItem item;
    item.setStrName("Orders.Amount");
    item.setStrAlias("   ");
    EXPECT_EQ(item.strAlias(), "Amount");
    EXPECT_EQ(item.strFullFieldName(), "Orders.Amount");
}

TEST(SelectedItem, AliasEqualToTheFieldTextGetsNoAs) {
    cSelectedItem item;
    item.setStrName("Amount");
    EXPECT_EQ(item.strFullFieldName(), "Amount");
    item.setStrName("Order Details.Unit Price");
    item.setStrAlias("Order Details.Unit Price");
    EXPECT_EQ(item.strFullFieldName(), "[Order Details].[Unit Price]");
}

TEST(SelectedItem, AggregationIsTrimmedForTheTestButWrittenAsStored) {
    cSelectedItem item;
    item.setStrName("O.x");
    item.setStrAggregationFunction(" ");
    EXPECT_EQ(item.strFullFieldName(), "O.x AS x");
    item.setStrAggregationFunction(" max");
    EXPECT_EQ(item.strFullFieldName(), " max(O.x) AS x");
}

TEST(Table, FullTableName) {
    cTable table;
    table.setStrName("dbo.Orders");
    EXPECT_EQ(table.strAlias(), "Orders");
    EXPECT_EQ(table.strFullTableName(), "dbo.Orders AS Orders");
    cTable plain;
    plain.setStrName("Orders");
    EXPECT_EQ(plain.strFullTableName(), "Orders");
    cTable spaced;
    spaced.setStrName(" dbo.Order Details ");
    EXPECT_EQ(spaced.strFullTableName(), "dbo.[Order Details] AS [Order Details]");
}

TEST(Table, EmptyNameGivesEmptyAlias) {
    cTable table;
    table.setStrName("");
    EXPECT_EQ(table.strAlias(), "");
    EXPECT_EQ(table.strFullTableName(), "");
}

TEST(Table, SubQueryTableIsIndentedWithItsAlias) {
    auto sub = std::make_shared<cSQLQuery>();
    sub->SelectedItems()->Add()->setStrName("a");
    cTable table;
    table.setBlnIsSubQuery(true);
    table.setStrName("S");
    table.setSubQuery(sub);
    EXPECT_EQ(table.strFullTableName(),
              "        (\r\n        SELECT\r\n             a\r\n        ) AS S");
    table.setStrAlias("My Sub");
    EXPECT_EQ(table.strFullTableName(),
              "        (\r\n        SELECT\r\n             a\r\n        ) AS My Sub")
        << "the alias of a sub-query is neither quoted nor trimmed";
}

TEST(Table, SubQueryTableWithoutQueryFails) {
    cTable table;
    table.setBlnIsSubQuery(true);
    table.setStrName("S");
    EXPECT_THROW(table.strFullTableName(), ModelError);
}

TEST(CalculatedItem, FullName) {
    cCalculatedItem item;
    item.setStrComputation("a + b");
    EXPECT_EQ(item.strFullName(), "a + b");
    item.setStrName("  ");
    EXPECT_EQ(item.strFullName(), "a + b");
    item.setStrName("My Sum");
    EXPECT_EQ(item.strFullName(), "a + b AS My Sum") << "the name is not bracketed";
}
