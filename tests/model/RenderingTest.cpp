// Rendering cases that need a query built in code: failures, and the clean-up of sort entries.
// The laid-out statements themselves are checked by the document corpus.

#include <gtest/gtest.h>
#include <marovin/ModelError.h>
#include <marovin/cSQLQuery.h>

using namespace marovin;

namespace {

std::shared_ptr<cTable> addTable(cSQLQuery& query, const std::string& name) {
    auto table = query.Tables()->Add();
    table->setStrName(name);
    return table;
}

std::shared_ptr<cJoinCondition> addJoin(cSQLQuery& query, std::shared_ptr<cTable> left,
                                        std::shared_ptr<cTable> right, const std::string& on) {
    auto join = query.JoinConditions()->Add();
    join->setLeftTable(std::move(left));
    join->setRightTable(std::move(right));
    join->setStrCondition(on);
    return join;
}

} // namespace

TEST(From, SingleTableIgnoresJoins) {
    cSQLQuery query;
    addTable(query, "dbo.Orders");
    addJoin(query, nullptr, nullptr, "x = y");
    query.SelectedItems()->Add()->setStrName("Orders.OrderID");
    EXPECT_EQ(query.strFrom(), "FROM \r\n     dbo.Orders AS Orders");
}

TEST(From, JoinWithoutTableFails) {
    cSQLQuery query;
    auto a = addTable(query, "A");
    addTable(query, "B");
    addJoin(query, a, nullptr, "A.x = B.x");
    query.SelectedItems()->Add()->setStrName("A.x");
    EXPECT_THROW(query.strFrom(), ModelError);
    EXPECT_THROW(query.strSQL(), ModelError);
}

TEST(From, FirstJoinWithTheSameTableOnBothSidesFails) {
    cSQLQuery query;
    auto a = addTable(query, "dbo.A");
    auto again = addTable(query, "DBO.a");
    again->setStrAlias("A");
    addJoin(query, a, again, "A.x = A.y");
    query.SelectedItems()->Add()->setStrName("A.x");
    EXPECT_THROW(query.strFrom(), ModelError) << "names are compared without regard to case";
}

TEST(From, LaterJoinWithTheSameTableOnBothSidesRepeatsTheChain) {
    cSQLQuery query;
    auto a = addTable(query, "A");
    auto b = addTable(query, "B");
    auto c = addTable(query, "C");
    addJoin(query, a, b, "j1");
    addJoin(query, c, c, "j2");
    query.SelectedItems()->Add()->setStrName("A.x");
    EXPECT_EQ(query.strFrom(), "FROM\r\n     C \r\n     INNER JOIN A \r\n     INNER JOIN B\r\n"
                               "     ON j1\r\n     ON j2");
}

// Every join that meets the chain on both sides repeats the chain: a few dozen of them would
// make a text of terabytes. Up to the size a server takes in one statement the chain is written;
// beyond it the rendering fails with a clear message instead of running out of memory.
TEST(From, JoinsThatDoubleTheChainTooOftenFailWithAClearMessage) {
    const auto query = [](int repeats) {
        auto q = std::make_shared<cSQLQuery>();
        auto a = addTable(*q, "A");
        auto b = addTable(*q, "B");
        addJoin(*q, a, b, "c0");
        for (int i = 1; i <= repeats; ++i)
            addJoin(*q, a, b, "c" + std::to_string(i));
        q->SelectedItems()->Add()->setStrName("A.x");
        return q;
    };
    const std::string from = query(10)->strFrom();
    size_t count = 0;
    for (size_t at = from.find("ON c0"); at != std::string::npos; at = from.find("ON c0", at + 1))
        ++count;
    EXPECT_EQ(count, 1024u);

    try {
        query(60)->strSQL();
        FAIL() << "a chain of 2^60 copies was written";
    } catch (const ModelError& error) {
        EXPECT_STREQ(error.what(), "The joins repeat the chain of joins so often that FROM would "
                                   "be longer than 256 MB");
    }
}

TEST(From, ManyJoinsStayLinearAndKeepEveryJoin) {
    cSQLQuery query;
    auto previous = addTable(query, "T0");
    for (int i = 1; i < 200; ++i) {
        auto next = addTable(query, "T" + std::to_string(i));
        addJoin(query, previous, next, "c" + std::to_string(i));
        previous = next;
    }
    query.SelectedItems()->Add()->setStrName("T0.x");
    const std::string from = query.strFrom();
    EXPECT_EQ(from.rfind("ON c199"), from.size() - 7);
    EXPECT_EQ(from.find("CROSS JOIN"), std::string::npos);
    EXPECT_NE(from.find("     INNER JOIN T1\r\n     ON c1 \r\n     INNER JOIN T2\r\n"),
              std::string::npos);
}

TEST(OrderBy, StaleEntriesAreRemovedWhenRead) {
    cSQLQuery query;
    auto item = query.SelectedItems()->Add();
    item->setStrName("O.Freight");
    auto keep = query.OrderByItems()->Add();
    keep->setStrItem("Freight");
    query.OrderByItems()->Add()->setStrItem("Gone");
    query.OrderByItems()->Add()->setStrItem("O.Freight");
    ASSERT_EQ(query.strOrderBy(), "ORDER BY\r\n     O.Freight ,\r\n     Freight ")
        << "an empty sort order leaves a blank after the name";
    EXPECT_EQ(query.OrderByItems()->Count(), 2);
    EXPECT_EQ(query.OrderByItems()->Item(1), keep);

    query.SelectedItems()->Remove(1);
    EXPECT_EQ(query.strSQL(), "");
    EXPECT_EQ(query.OrderByItems()->Count(), 0) << "the statement read cleans the query";
}

TEST(OrderBy, MatchesCalculatedItemsByName) {
    cSQLQuery query;
    auto calc = query.CalculatedItems()->Add();
    calc->setStrName("Total");
    calc->setStrComputation("1");
    auto entry = query.OrderByItems()->Add();
    entry->setStrItem("Total");
    entry->setStrSortOrder("DESC");
    EXPECT_EQ(query.strOrderBy(), "ORDER BY\r\n     Total DESC");
}

TEST(Having, AggregatedFiltersGoToHavingOnly) {
    cSQLQuery query;
    auto f1 = query.Filters()->Add();
    f1->setStrCondition("sum (x) > 1");
    auto f2 = query.Filters()->Add();
    f2->setStrCondition("y = 2");
    EXPECT_EQ(query.strWhere(), "WHERE\r\n      (y = 2)");
    EXPECT_EQ(query.strHaving(), "HAVING\r\n      (sum (x) > 1)");
    f1->setBlnIsActive(false);
    f2->setBlnIsActive(false);
    EXPECT_EQ(query.strWhere(), "");
    EXPECT_EQ(query.strHaving(), "");
}

TEST(GroupBy, NotNeededWithoutAggregates) {
    cSQLQuery query;
    query.SelectedItems()->Add()->setStrName("O.x");
    auto calc = query.CalculatedItems()->Add();
    calc->setStrComputation("O.y + 1");
    EXPECT_EQ(query.strGroupBy(), "");
    calc->setStrComputation("MIN(O.y)");
    EXPECT_EQ(query.strGroupBy(), "GROUP BY\r\n     O.x");
}

TEST(Statement, OnlyCalculatedItemsEndWithOneLineBreak) {
    cSQLQuery query;
    auto calc = query.CalculatedItems()->Add();
    calc->setStrComputation("1{newline}+ 1");
    calc->setStrName("Two");
    EXPECT_EQ(query.strSQL(), "SELECT\r\n     1 + 1 AS Two\r\n");
    EXPECT_EQ(query.strSelect(), "SELECT\r\n     1{newline}+ 1 AS Two")
        << "the token is replaced only in the whole statement";
}

TEST(Statement, BlankLinesInsideConditionsAreCollapsed) {
    cSQLQuery query;
    query.SelectedItems()->Add()->setStrName("O.x");
    query.Filters()->Add()->setStrCondition("a = 1\r\n\r\n\r\nAND b = 2");
    EXPECT_EQ(query.strSQL(), "SELECT\r\n     O.x AS x\r\nWHERE\r\n      (a = 1\r\nAND b = 2)\r\n");
}
