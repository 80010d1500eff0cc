#include <gtest/gtest.h>
#include <marovin/ModelError.h>
#include <marovin/cSQLQuery.h>
#include <string>
#include <tuple>

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

TEST(SelectedItem, AliasAndFullFieldNameFollowNameAliasAndAggregation) {
    struct Case {
        const char* name;
        const char* alias; // nullptr: none set
        const char* aggregation;
        const char* readAlias;
        const char* full;
    };
    const Case cases[] = {
        // The default alias is the last name part.
        {"dbo.Orders.Amount", nullptr, "", "Amount", "dbo.Orders.Amount AS Amount"},
        {"dbo.Orders.Amount", nullptr, "SUM", "Amount", "SUM(dbo.Orders.Amount) AS Amount"},
        // A blank alias reads as the default one and writes no AS.
        {"Orders.Amount", "   ", "", "Amount", "Orders.Amount"},
        // An alias equal to the field text gets no AS.
        {"Amount", nullptr, "", "Amount", "Amount"},
        {"Order Details.Unit Price", "Order Details.Unit Price", "", "Order Details.Unit Price",
         "[Order Details].[Unit Price]"},
        // The aggregation is trimmed for the test whether there is one, but written as stored.
        {"O.x", nullptr, " ", "x", "O.x AS x"},
        {"O.x", nullptr, " max", "x", " max(O.x) AS x"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " / " + c.aggregation);
        cSelectedItem item;
        item.setStrName(c.name);
        if (c.alias)
            item.setStrAlias(c.alias);
        item.setStrAggregationFunction(c.aggregation);
        EXPECT_EQ(item.strAlias(), c.readAlias);
        EXPECT_EQ(item.strFullFieldName(), c.full);
    }
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

TEST(Table, AliasAndFullTableName) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"dbo.Orders", "Orders", "dbo.Orders AS Orders"},
        {"Orders", "Orders", "Orders"},
        {" dbo.Order Details ", nullptr, "dbo.[Order Details] AS [Order Details]"},
        {"", "", ""},
    };
    for (const auto& [name, alias, full] : cases) {
        cTable table;
        table.setStrName(name);
        if (alias) { // nullptr: the alias is not the point of the case
            EXPECT_EQ(table.strAlias(), alias) << name;
        }
        EXPECT_EQ(table.strFullTableName(), full) << name;
    }
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
