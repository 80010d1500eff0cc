// Reading T-SQL SELECT statements into queries: every statement the model writes reads back to a
// query that writes it again byte for byte (the corpus and 10,000 random documents); statements
// as users write them (from the sample database) become the queries the editor shows; what the
// model cannot hold is a finding at its place, and the statement is refused when the query would
// mean something else.

#include "QueryGenerator.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <marovin/SqlParser.h>
#include <marovin/cSQLQuery.h>
#include <random>
#include <sstream>

using namespace marovin;
namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string describe(const ParseResult& result) {
    std::string text;
    for (const ParseFinding& finding : result.findings)
        text += std::to_string(finding.lngLine) + ":" + std::to_string(finding.lngColumn) + " " +
                finding.strMessage + (finding.blnRefuses ? " (refuses)\n" : "\n");
    return text;
}

// Reads a statement that must not be refused.
std::shared_ptr<cSQLQuery> read(const std::string& sql) {
    const ParseResult result = ParseSelectStatement(sql);
    EXPECT_FALSE(result.blnRefused) << sql << "\n" << describe(result);
    EXPECT_TRUE(result.query) << sql;
    return result.query ? result.query : std::make_shared<cSQLQuery>();
}

// The one finding of a statement.
ParseFinding onlyFinding(const std::string& sql) {
    const ParseResult result = ParseSelectStatement(sql);
    EXPECT_EQ(result.findings.size(), 1u) << sql << "\n" << describe(result);
    return result.findings.empty() ? ParseFinding{} : result.findings.front();
}

void expectRoundTrip(const std::string& sql, const std::string& what) {
    const ParseResult result = ParseSelectStatement(sql);
    ASSERT_FALSE(result.blnRefused) << what << "\n" << sql << "\n" << describe(result);
    ASSERT_TRUE(result.query) << what;
    EXPECT_EQ(result.query->strSQL(), sql) << what;
}

} // namespace

TEST(SqlRoundTrip, EveryCorpusStatementReadsBackToTheSameText) {
    const fs::path corpus = fs::path(MAROVIN_SOURCE_DIR) / "tests" / "corpus";
    int cases = 0;
    for (const auto& entry : fs::directory_iterator(corpus)) {
        if (entry.path().extension() != ".xml")
            continue;
        cSQLQuery query;
        query.LoadXmlText(readFile(entry.path()));
        expectRoundTrip(query.strSQL(), entry.path().filename().string());
        ++cases;
    }
    EXPECT_GE(cases, 10);
}

TEST(SqlRoundTrip, TenThousandRandomDocumentsReadBackToTheSameText) {
    for (unsigned seed = 1; seed <= 10000; ++seed) {
        std::mt19937 engine(seed);
        QueryGenerator generator([&engine](size_t bound) {
            return std::uniform_int_distribution<size_t>(0, bound - 1)(engine);
        });
        const std::string sql = generator.Generate()->strSQL();
        expectRoundTrip(sql, "seed " + std::to_string(seed));
        if (HasFatalFailure() || HasNonfatalFailure())
            return;
    }
}

TEST(SqlRoundTrip, QueriesBuiltFromUserTextWriteTextThatReadsBackUnchanged) {
    const char* const statements[] = {
        "select o.OrderID, c.CompanyName Company from Orders o left join Customers c on "
        "c.CustomerID = o.CustomerID where o.Freight > 10 order by Company desc",
        "SELECT ProductID, ProductName FROM Products WHERE Discontinued = 0",
        "SELECT a.x, COUNT(*) AS n FROM A a, B b WHERE a.id = b.id GROUP BY a.x HAVING COUNT(*) > "
        "1 AND a.x <> 2 ORDER BY 2",
    };
    for (const char* statement : statements) {
        const std::string first = read(statement)->strSQL();
        expectRoundTrip(first, statement);
    }
}

TEST(SqlReading, ViewsOfTheSampleDatabaseBecomeQueries) {
    auto subtotals = read("SELECT OrderID, SUM(UnitPrice * Quantity * (1 - Discount)) AS Subtotal\n"
                          "    FROM \"Order Details\" GROUP BY OrderID;");
    EXPECT_EQ(subtotals->Tables()->Item(1)->strName(), "[Order Details]");
    EXPECT_EQ(subtotals->SelectedItems()->Item(1)->strName(), "OrderID");
    EXPECT_EQ(subtotals->CalculatedItems()->Item(1)->strName(), "Subtotal");
    EXPECT_EQ(subtotals->strGroupBy(), "GROUP BY\r\n     OrderID");

    auto extended = read("SELECT \"Order Details\".OrderID, Products.ProductName,\n"
                         "       ROUND(\"Order Details\".UnitPrice * \"Order Details\".Quantity\n"
                         "             * (1 - \"Order Details\".Discount), 2) AS ExtendedPrice\n"
                         "FROM Products INNER JOIN \"Order Details\" ON Products.ProductID = "
                         "\"Order Details\".ProductID;");
    ASSERT_EQ(extended->JoinConditions()->Count(), 1);
    const auto join = extended->JoinConditions()->Item(1);
    EXPECT_EQ(join->LeftTable()->strName(), "Products");
    EXPECT_EQ(join->RightTable()->strName(), "[Order Details]");
    EXPECT_EQ(join->strCondition(), "Products.ProductID = \"Order Details\".ProductID");
    EXPECT_EQ(extended->CalculatedItems()->Item(3)->strComputation(),
              "ROUND(\"Order Details\".UnitPrice * \"Order Details\".Quantity\n"
              "             * (1 - \"Order Details\".Discount), 2)");

    // A sub-query with AVG( in WHERE would go to HAVING; a UNION is a second query.
    EXPECT_TRUE(ParseSelectStatement("SELECT ProductName, UnitPrice FROM Products\n"
                                     "    WHERE UnitPrice > (SELECT AVG(UnitPrice) FROM Products)")
                    .blnRefused);
    EXPECT_TRUE(ParseSelectStatement("SELECT City FROM Customers UNION SELECT City FROM Suppliers")
                    .blnRefused);
}

TEST(SqlReading, ColumnsBecomeSelectedItemsAndOtherExpressionsCalculatedItems) {
    auto query = read("SELECT DISTINCT o.OrderID, [Order Details].[Unit Price] AS Price, "
                      "o.Freight Cost, Total = o.Freight, o.Freight * 2 AS Twice, o.ShipCity "
                      "FROM dbo.Orders AS o, [Order Details]");
    EXPECT_TRUE(query->blnUniqueRecordsOnly());
    ASSERT_EQ(query->SelectedItems()->Count(), 4);
    EXPECT_EQ(query->SelectedItems()->Item(1)->strFullFieldName(), "o.OrderID");
    EXPECT_EQ(query->SelectedItems()->Item(2)->strName(), "[Order Details].[Unit Price]");
    EXPECT_EQ(query->SelectedItems()->Item(2)->strAlias(), "Price");
    EXPECT_EQ(query->SelectedItems()->Item(3)->strFullFieldName(), "o.Freight AS Cost");
    EXPECT_EQ(query->SelectedItems()->Item(4)->strFullFieldName(), "o.Freight AS Total");
    // The model writes selected items first, so a column after an expression stays in its place
    // as a calculated item.
    ASSERT_EQ(query->CalculatedItems()->Count(), 2);
    EXPECT_EQ(query->CalculatedItems()->Item(1)->strFullName(), "o.Freight * 2 AS Twice");
    EXPECT_EQ(query->CalculatedItems()->Item(2)->strFullName(), "o.ShipCity");
    EXPECT_EQ(query->Tables()->Item(1)->strAlias(), "o");
    EXPECT_EQ(query->Tables()->Item(2)->strFullTableName(), "[Order Details]");

    auto counted = read("SELECT COUNT(*) AS n, MAX(o.Freight), count(o.OrderID) FROM Orders o");
    ASSERT_EQ(counted->SelectedItems()->Count(), 3);
    EXPECT_EQ(counted->SelectedItems()->Item(1)->strName(), "*");
    EXPECT_EQ(counted->SelectedItems()->Item(1)->strAggregationFunction(), "COUNT");
    EXPECT_EQ(counted->SelectedItems()->Item(2)->strFullFieldName(), "MAX(o.Freight)");
    EXPECT_EQ(counted->SelectedItems()->Item(3)->strAggregationFunction(), "count");
}

TEST(SqlReading, ConditionsSplitAtTheirTopLevelAnd) {
    auto query = read("SELECT o.OrderID FROM Orders o\n"
                      "WHERE (o.Freight > 10) AND o.OrderDate BETWEEN <[From]> AND <[To]>\n"
                      "  AND (o.ShipCountry = N'Österreich' OR o.ShipCountry = 'Germany')\n"
                      "  AND NOT o.ShipCity LIKE 'A%'");
    ASSERT_EQ(query->Filters()->Count(), 4);
    EXPECT_EQ(query->Filters()->Item(1)->strCondition(), "o.Freight > 10");
    EXPECT_EQ(query->Filters()->Item(2)->strCondition(), "o.OrderDate BETWEEN <[From]> AND <[To]>");
    EXPECT_EQ(query->Filters()->Item(3)->strCondition(),
              "o.ShipCountry = N'Österreich' OR o.ShipCountry = 'Germany'");
    EXPECT_EQ(query->Filters()->Item(4)->strCondition(), "NOT o.ShipCity LIKE 'A%'");

    auto grouped = read("SELECT o.CustomerID, COUNT(*) AS n FROM Orders o GROUP BY o.CustomerID "
                        "HAVING COUNT(*) > 2 OR MAX(o.Freight) > 100");
    ASSERT_EQ(grouped->Filters()->Count(), 1);
    EXPECT_EQ(grouped->strHaving(), "HAVING\r\n      (COUNT(*) > 2 OR MAX(o.Freight) > 100)");
}

TEST(SqlReading, JoinsWrittenLeftDeepOrNestedKeepTheirTablesAndConditions) {
    // Left-deep, the way the editor writes it; the join's left table is the one its condition
    // names.
    auto leftDeep = read("SELECT o.OrderID FROM Orders o\n"
                         "  INNER JOIN Customers c ON o.CustomerID = c.CustomerID\n"
                         "  LEFT JOIN Shippers s ON o.ShipVia = s.ShipperID\n"
                         "  CROSS JOIN Region");
    ASSERT_EQ(leftDeep->JoinConditions()->Count(), 2);
    const auto second = leftDeep->JoinConditions()->Item(2);
    EXPECT_EQ(second->LeftTable()->strAlias(), "o");
    EXPECT_EQ(second->RightTable()->strAlias(), "s");
    EXPECT_TRUE(second->blnIncludeAllRowsOfLeftTable());
    EXPECT_FALSE(second->blnIncludeAllRowsOfRightTable());
    EXPECT_EQ(leftDeep->Tables()->Count(), 4);
    EXPECT_NE(leftDeep->strFrom().find("CROSS JOIN Region"), std::string::npos);

    // Parentheses on either side give the same joins; the model writes the right-hand group
    // without them, which means the same.
    auto nested = read("SELECT e.LastName FROM Employees e RIGHT OUTER JOIN\n"
                       "  (EmployeeTerritories et INNER JOIN Territories t\n"
                       "     ON et.TerritoryID = t.TerritoryID)\n"
                       "  ON e.EmployeeID = et.EmployeeID");
    EXPECT_EQ(nested->strFrom(),
              "FROM\r\n     Employees AS e \r\n     RIGHT OUTER JOIN "
              "EmployeeTerritories AS et \r\n     INNER JOIN Territories AS t\r\n"
              "     ON et.TerritoryID = t.TerritoryID\r\n"
              "     ON e.EmployeeID = et.EmployeeID");
    EXPECT_EQ(nested->JoinConditions()->Item(2)->RightTable()->strAlias(), "et");
    auto grouped = read("SELECT a.x FROM ((A a JOIN B b ON a.id = b.id) FULL JOIN C c ON b.id = "
                        "c.id)");
    EXPECT_TRUE(grouped->JoinConditions()->Item(2)->blnIncludeAllRowsOfLeftTable());
    EXPECT_TRUE(grouped->JoinConditions()->Item(2)->blnIncludeAllRowsOfRightTable());
    EXPECT_EQ(grouped->JoinConditions()->Item(2)->LeftTable()->strAlias(), "b");
}

TEST(SqlReading, CommentsInsideTextsStayAndOthersAreReported) {
    const std::string sql = "/* Top orders */\n"
                            "SELECT o.OrderID, -- the key\n"
                            "       o.Freight /* in EUR */ * 2 AS Twice\n"
                            "FROM Orders o";
    const ParseResult result = ParseSelectStatement(sql);
    EXPECT_FALSE(result.blnRefused);
    ASSERT_EQ(result.findings.size(), 2u) << describe(result);
    EXPECT_EQ(result.findings[0].strMessage, "The comment \"/* Top orders */\" is not kept");
    EXPECT_EQ(result.findings[1].lngLine, 2);
    EXPECT_EQ(result.findings[1].lngColumn, 19);
    EXPECT_EQ(result.query->CalculatedItems()->Item(1)->strComputation(),
              "o.Freight /* in EUR */ * 2");
}

TEST(SqlReading, TheEditorsLineBreakTokenReadsAsABlank) {
    auto query = read("SELECT a.x FROM A a WHERE a.x = 1{newline}AND a.y = 2");
    EXPECT_EQ(query->Filters()->Count(), 2);
}

TEST(SqlReading, SortEntriesNameOutputsAndAreKeptLastToFirst) {
    auto query = read("SELECT o.OrderID, o.Freight AS Cost, UPPER(o.ShipCity) AS City "
                      "FROM Orders o ORDER BY 3 DESC, cost, o.OrderID ASC, UPPER(o.ShipCity)");
    EXPECT_EQ(query->strOrderBy(), "ORDER BY\r\n     City DESC,\r\n     Cost ,\r\n"
                                   "     o.OrderID ASC,\r\n     City ");
    EXPECT_EQ(query->OrderByItems()->Item(1)->strItem(), "City");
    EXPECT_EQ(query->OrderByItems()->Item(1)->strSortOrder(), "");
}

TEST(SqlReading, ADerivedTableBecomesTheSubQuery) {
    auto query = read("SELECT s.CustomerID, s.n FROM (\n"
                      "        SELECT o.CustomerID, COUNT(*) AS n\n"
                      "        FROM Orders o\n"
                      "        GROUP BY o.CustomerID) AS s\n"
                      "WHERE s.n > 5");
    ASSERT_EQ(query->Tables()->Count(), 1);
    const auto table = query->Tables()->Item(1);
    EXPECT_TRUE(table->blnIsSubQuery());
    EXPECT_EQ(table->strName(), "s");
    EXPECT_EQ(query->SubQuery(), table->SubQuery());
    EXPECT_EQ(table->SubQuery()->strName(), "s");
    EXPECT_EQ(table->SubQuery()->strGroupBy(), "GROUP BY\r\n     o.CustomerID");
    // The document keeps it along with the outer query.
    cSQLQuery loaded;
    loaded.LoadXmlText(query->ToXmlText());
    ASSERT_TRUE(loaded.Tables()->Item(1)->SubQuery());
    EXPECT_EQ(loaded.Tables()->Item(1)->SubQuery()->strGroupBy(), "GROUP BY\r\n     o.CustomerID");
}

TEST(SqlReading, GroupByThatIsNotDerivedIsKeptWhereItCan) {
    auto distinct = read("SELECT c.Country, c.City FROM Customers c GROUP BY c.City, c.Country");
    EXPECT_TRUE(distinct->blnUniqueRecordsOnly());
    EXPECT_EQ(distinct->strGroupBy(), "");
    // A column left out of GROUP BY is kept out (SQL Server says what it thinks of it).
    const ParseFinding ungrouped =
        onlyFinding("SELECT c.Country, c.City, COUNT(*) AS n FROM Customers c GROUP BY c.Country");
    EXPECT_EQ(ungrouped.strMessage,
              "\"c.City\" is not in GROUP BY; the query keeps it out of the grouping");
    EXPECT_FALSE(ungrouped.blnRefuses);
}

TEST(SqlFindings, WhatTheEditorCannotShowIsNamedWhereItStands) {
    struct Case {
        const char* sql;
        int line;
        int column;
        const char* message;
        bool refuses;
    };
    const Case cases[] = {
        {"SELECT TOP 10 o.OrderID FROM Orders o", 1, 8, "TOP 10 is not shown in the editor", false},
        {"SELECT a FROM A\nUNION ALL SELECT a FROM B", 2, 1,
         "UNION joins a second query; the editor shows one query only", true},
        {"WITH t AS (SELECT 1 AS x) SELECT x FROM t", 1, 1,
         "A common table expression (WITH) cannot be shown in the editor", true},
        {"SELECT a.x,\n  SUM(a.y) OVER (PARTITION BY a.x) AS s FROM A a", 2, 3,
         "The window function \"SUM(a.y)\" counts as an aggregate in the editor, which would "
         "group the query",
         true},
        {"SELECT a.x INTO Copy FROM A a", 1, 12,
         "INTO Copy makes the statement create a table; the editor only builds queries", true},
        {"SELECT a.x FROM A a, (SELECT 1 AS y) p, (SELECT 2 AS z) q", 1, 41,
         "A second derived table cannot be shown; the editor keeps one sub-query", true},
        {"SELECT a.x, COUNT(*) AS n FROM A a GROUP BY a.x, a.y", 1, 36,
         "GROUP BY differs from the grouping the editor derives from the selected items", true},
        {"SELECT a.x FROM A a GROUP BY a.x HAVING COUNT(*) > 1", 1, 21,
         "GROUP BY differs from the grouping the editor derives from the selected items", true},
        {"SELECT a.x FROM A a WHERE a.x = 1 OR a.y > (SELECT MAX(y) FROM B)", 1, 27,
         "The condition \"a.x = 1 OR a.y > (SELECT MAX(y) FROM B)\" joins with OR a part the "
         "editor takes for an aggregate; it cannot be split, and the editor would move it to "
         "HAVING",
         true},
        {"SELECT a.x FROM A a HAVING a.x > 1", 1, 28,
         "The condition \"a.x > 1\" holds no aggregate and the query has no GROUP BY; under "
         "WHERE it would mean something else",
         true},
        {"SELECT a.x FROM A a JOIN B b ON a.id = b.id JOIN (C c JOIN D d ON c.id = d.id) ON "
         "b.id = c.id",
         1, 45, "This nesting of joins cannot be shown in the editor", true},
        {"SELECT a.x FROM A a JOIN B b ON a.id = b.id, C c JOIN D d ON c.id = d.id", 1, 46,
         "A second group of joins cannot be shown; the editor keeps one chain of joins", true},
        {"SELECT a.x FROM A a CROSS APPLY dbo.f(a.x) f", 1, 21,
         "CROSS APPLY cannot be shown in the editor", true},
        {"SELECT a.x FROM A a WITH (NOLOCK)", 1, 21,
         "The table hint WITH (NOLOCK) is not shown in the editor", false},
        {"SELECT a.x FROM A a ORDER BY a.y", 1, 30,
         "The sort on \"a.y\" is not shown in the editor, which sorts on output columns only",
         false},
        {"SELECT a.x FROM A a OPTION (RECOMPILE)", 1, 21,
         "OPTION (RECOMPILE) is not shown in the editor", false},
        {"SELECT a.x FROM A a CROSS JOIN B b JOIN C c ON b.id = c.id", 1, 21,
         "CROSS JOIN within the joins is shown as INNER JOIN ... ON 1 = 1", false},
        {"SELECT a.x FROM A a JOIN A a ON a.id = a.id", 1, 26,
         "\"A AS a\" stands twice in FROM; the editor needs a name of its own for each table",
         true},
        {"SELECT a.x FROM A a WHERE a.t = 'x{newline}y'", 1, 33,
         "The editor would change the line breaks in \"'x{newline}y'\"", true},
        {"SELECT @n = COUNT(*) FROM A", 1, 8,
         "SELECT @n = ... assigns a variable; the editor only builds queries", true},
    };
    for (const Case& c : cases) {
        const ParseResult result = ParseSelectStatement(c.sql);
        ASSERT_FALSE(result.findings.empty()) << c.sql;
        const ParseFinding& finding = result.findings.front();
        EXPECT_EQ(finding.strMessage, c.message) << c.sql << "\n" << describe(result);
        EXPECT_EQ(finding.lngLine, c.line) << c.sql;
        EXPECT_EQ(finding.lngColumn, c.column) << c.sql;
        EXPECT_EQ(finding.blnRefuses, c.refuses) << c.sql;
        EXPECT_EQ(result.blnRefused, c.refuses) << c.sql << "\n" << describe(result);
        EXPECT_TRUE(result.query) << "the query it could build comes along: " << c.sql;
    }
}

TEST(SqlFindings, ErrorsNameLineAndColumn) {
    struct Case {
        const char* sql;
        int line;
        int column;
        const char* message;
    };
    const Case cases[] = {
        {"SELECT a FROM t WHERE x = 1 AND", 1, 32,
         "Expected an expression at the end of the statement"},
        {"SELECT a,, b FROM t", 1, 10, "Expected an expression, not \",\""},
        {"SELECT a\r\nFROM t\r\nWHERE x = 'abc", 3, 11, "The string is not closed"},
        {"SELECT Größe, [x FROM t", 1, 15, "The bracketed name is not closed"},
        {"SELECT a /* note", 1, 10, "The comment is not closed"},
        {"SELECT a FROM t1 JOIN t2\n  WHERE t1.x = 1", 2, 3, "Expected ON, not \"WHERE\""},
        {"SELECT * FROM (SELECT a FROM t)", 1, 15, "A derived table needs an alias"},
        {"SELECT a FROM t; SELECT b FROM t", 1, 18,
         "A second statement follows; the editor shows one statement"},
        {"SELECT a FROM t ` x", 1, 17, "Unexpected character \"`\""},
        {"UPDATE t SET a = 1", 1, 1, "Expected SELECT, not \"UPDATE\""},
    };
    for (const Case& c : cases) {
        const ParseFinding finding = onlyFinding(c.sql);
        EXPECT_EQ(finding.strMessage, c.message) << c.sql;
        EXPECT_EQ(finding.lngLine, c.line) << c.sql;
        EXPECT_EQ(finding.lngColumn, c.column) << c.sql;
        EXPECT_TRUE(finding.blnRefuses) << c.sql;
    }
}

TEST(SqlRenaming, NewAliasesReachEveryNameTheyQualify) {
    auto query = read("SELECT o.OrderID, O.Freight * 2 AS Twice, d.[Unit Price] FROM Orders o\n"
                      "  JOIN [Order Details] d ON o.OrderID = [d].OrderID\n"
                      "WHERE o.ShipCity <> /* o.y */ 'o.x' AND od.x = 1 ORDER BY o.OrderID");
    RenameTableAliases(*query, {{"o", "Orders"}, {"d", "Order Details"}});
    EXPECT_EQ(query->strSQL(),
              "SELECT\r\n     Orders.OrderID, \r\n     Orders.Freight * 2 AS Twice, "
              "\r\n     [Order Details].[Unit Price]\r\n"
              "FROM\r\n     Orders \r\n     INNER JOIN [Order Details]\r\n"
              "     ON Orders.OrderID = [Order Details].OrderID\r\n"
              "WHERE\r\n      (Orders.ShipCity <> /* o.y */ 'o.x')\r\n"
              "  AND (od.x = 1)\r\nORDER BY\r\n     Orders.OrderID ");
}
