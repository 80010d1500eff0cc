// Loading SQL text into the control: a statement as users write it (aliases of their own,
// schemas or none, joins in either direction) fills the panes; what the editor cannot show is
// listed and asked about first; a statement the editor would change is refused and nothing moves.

#include "ControlHarness.h"

#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(SqlLoading, AStatementWithItsOwnAliasesFillsThePanes) {
    ControlHarness h;
    const auto before = h.control().SQLQueryObject();
    EXPECT_TRUE(
        h.control().LoadSQLText("select o.OrderID, c.CompanyName as Company, count(*) as Lines\n"
                                "from Orders o\n"
                                "  left join Customers c on c.CustomerID = o.CustomerID\n"
                                "  inner join [Order Details] od on od.OrderID = o.OrderID\n"
                                "where o.Freight > 10 and c.Country in (N'Österreich', 'Germany')\n"
                                "group by o.OrderID, c.CompanyName\n"
                                "order by Company desc"));
    EXPECT_TRUE(h.box->shown().empty()) << "nothing to ask about";
    EXPECT_NE(h.control().SQLQueryObject(), before);
    EXPECT_EQ(h.changed, 0);

    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Orders", "Customers", "Order Details"}));
    // The diagram's join keeps the rows of Orders however the condition was written.
    EXPECT_EQ(h.joinTexts(), (QStringList{"Orders\nCustomerID\nCustomers\nCustomerID\nLeft Join",
                                          "Orders\nOrderID\nOrder Details\nOrderID\nInner Join"}));
    ASSERT_EQ(h.rows(), 2);
    EXPECT_EQ(h.row(1), (QStringList{"OrderID", "OrderID", "<none>", "dbo.Orders", "Orders"}));
    EXPECT_EQ(h.row(2),
              (QStringList{"CompanyName", "Company", "<none>", "dbo.Customers", "Customers"}));
    EXPECT_EQ(ItemTexts(h.expressions(), 2), QStringList{"count(*)"});
    EXPECT_EQ(
        ItemTexts(h.conditions()),
        (QStringList{"Orders.Freight > 10", "Customers.Country in (N'Österreich', 'Germany')"}));
    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("GROUP BY\r\n     Orders.OrderID,\r\n     Customers.CompanyName"),
              std::string::npos)
        << sql;
    EXPECT_NE(sql.find("ORDER BY\r\n     Company desc"), std::string::npos) << sql;
}

TEST(SqlLoading, WhatTheEditorLeavesOutIsAskedAboutFirst) {
    // The query Management Studio writes for "Select Top 1000 Rows".
    const std::string statement = "/****** Script for SelectTopNRows command from SSMS  ******/\n"
                                  "SELECT TOP (1000) [OrderID]\n"
                                  "      ,[CustomerID]\n"
                                  "  FROM [Northwind].[dbo].[Orders]";
    ControlHarness h;
    const auto before = h.control().SQLQueryObject();
    const std::string sqlBefore = h.control().strSQL();
    h.box->QueueAnswer(MessageAnswer::No);
    EXPECT_FALSE(h.control().LoadSQLText(statement));
    ASSERT_EQ(h.box->shown().size(), 1u);
    const auto& question = h.box->shown().front();
    EXPECT_EQ(question.buttons, MessageButtons::YesNo);
    EXPECT_EQ(question.icon, MessageIcon::Exclamation);
    EXPECT_TRUE(
        question.strText.contains("Line 2, column 8: TOP (1000) is not shown in the editor"))
        << question.strText.toStdString();
    EXPECT_TRUE(question.strDetails.contains("Line 1, column 1: The comment"));
    EXPECT_EQ(h.control().SQLQueryObject(), before);
    EXPECT_EQ(h.control().strSQL(), sqlBefore);

    h.box->QueueAnswer(MessageAnswer::Yes);
    EXPECT_TRUE(h.control().LoadSQLText(statement));
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
    ASSERT_EQ(h.rows(), 2);
    EXPECT_EQ(h.row(2),
              (QStringList{"CustomerID", "CustomerID", "<none>", "dbo.Orders", "Orders"}));
    EXPECT_EQ(h.control().SQLQueryObject()->Tables()->Item(1)->strName(), "dbo.Orders");
}

TEST(SqlLoading, AStatementTheEditorWouldChangeIsRefusedAndNothingMoves) {
    ControlHarness h;
    ASSERT_TRUE(h.control().LoadSQLText("SELECT p.ProductName FROM Products p"));
    const auto before = h.control().SQLQueryObject();
    const std::string sqlBefore = h.control().strSQL();
    const std::pair<const char*, const char*> refused[] = {
        {"SELECT City FROM Customers UNION SELECT City FROM Suppliers", "UNION joins"},
        // The diagram draws joins on equal columns only; the join would be lost.
        {"SELECT o.OrderID FROM Orders o JOIN Employees e ON o.OrderDate > e.HireDate",
         "cannot be drawn in the diagram"},
        {"SELECT o.OrderID FROM Orders o WHERE", "Expected an expression"},
        // The sub-query's MAX would make the editor group by the other column.
        {"SELECT o.OrderID, (SELECT MAX(d.Quantity) FROM [Order Details] d) AS Most "
         "FROM Orders o",
         "The editor would group by \"Orders.OrderID\""},
    };
    for (const auto& [statement, reason] : refused) {
        h.box->clear();
        EXPECT_FALSE(h.control().LoadSQLText(statement)) << statement;
        ASSERT_EQ(h.box->shown().size(), 1u) << statement;
        const auto& shown = h.box->shown().front();
        EXPECT_EQ(shown.icon, MessageIcon::Critical);
        EXPECT_EQ(shown.buttons, MessageButtons::Ok);
        EXPECT_TRUE(shown.strText.startsWith(
            "The editor cannot show this statement without changing what it means."));
        EXPECT_TRUE(shown.strText.contains(reason)) << shown.strText.toStdString();
        EXPECT_EQ(h.control().SQLQueryObject(), before);
        EXPECT_EQ(h.control().strSQL(), sqlBefore);
    }
    h.box->clear();
    EXPECT_FALSE(h.control().LoadSQLText("  \n"));
    EXPECT_EQ(ShownTexts(*h.box), QStringList{"There is no statement to load."});
}

TEST(SqlLoading, ColumnsWithoutTableAndViewsInDoubleQuotesFindTheirTables) {
    ControlHarness h;
    // One table: its columns need not name it.
    ASSERT_TRUE(h.control().LoadSQLText("SELECT OrderID, Freight AS Cost FROM Orders"));
    ASSERT_EQ(h.rows(), 2);
    EXPECT_EQ(h.row(2), (QStringList{"Freight", "Cost", "<none>", "dbo.Orders", "Orders"}));

    // The view "Order Details Extended" of the sample database, as it is written there.
    h.box->clear();
    ASSERT_TRUE(h.control().LoadSQLText(
        "SELECT \"Order Details\".OrderID, \"Order Details\".ProductID, Products.ProductName,\n"
        "       ROUND(\"Order Details\".UnitPrice * \"Order Details\".Quantity\n"
        "             * (1 - \"Order Details\".Discount), 2) AS ExtendedPrice\n"
        "FROM Products INNER JOIN \"Order Details\" ON Products.ProductID = "
        "\"Order Details\".ProductID;"));
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.joinTexts(),
              QStringList{"Products\nProductID\nOrder Details\nProductID\nInner Join"});
    EXPECT_EQ(h.column(1), (QStringList{"OrderID", "ProductID", "ProductName"}));
    EXPECT_EQ(h.column(4), (QStringList{"dbo.Order Details", "dbo.Order Details", "dbo.Products"}));
    EXPECT_EQ(ItemTexts(h.expressions()), QStringList{"ExtendedPrice"});
    // The statement's line breaks are kept as the editor keeps typed ones.
    EXPECT_EQ(h.control().SQLQueryObject()->CalculatedItems()->Item(1)->strComputation(),
              "ROUND([Order Details].UnitPrice * [Order Details].Quantity{newline}             * "
              "(1 - [Order Details].Discount), 2)");

    // Several tables: a column without its table, and "*", stay calculated items, in their place.
    h.box->clear();
    ASSERT_TRUE(
        h.control().LoadSQLText("SELECT o.OrderID, ShipCity, c.* FROM Orders o, Customers c"));
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.rows(), 1);
    EXPECT_EQ(ItemTexts(h.expressions(), 2), (QStringList{"ShipCity", "Customers.*"}));
}

TEST(SqlLoading, JoinsNestedOnTheRightAreTurnedToContinueOnTheLeft) {
    ControlHarness h;
    ASSERT_TRUE(h.control().LoadSQLText(
        "SELECT e.LastName, t.TerritoryDescription FROM Employees e RIGHT OUTER JOIN\n"
        "  (EmployeeTerritories et INNER JOIN Territories t ON et.TerritoryID = t.TerritoryID)\n"
        "  ON e.EmployeeID = et.EmployeeID"));
    EXPECT_EQ(h.joinTexts(), (QStringList{"EmployeeTerritories\nTerritoryID\nTerritories\n"
                                          "TerritoryID\nInner Join",
                                          "EmployeeTerritories\nEmployeeID\nEmployees\n"
                                          "EmployeeID\nLeft Join"}));
    EXPECT_NE(h.control().strSQL().find("\r\n     LEFT OUTER JOIN dbo.Employees AS Employees\r\n"
                                        "     ON (EmployeeTerritories.EmployeeID = "
                                        "Employees.EmployeeID)"),
              std::string::npos)
        << h.control().strSQL();
}

TEST(SqlLoading, TablesTheDatabaseLacksAreReportedAsForAnyQuery) {
    ControlHarness h;
    EXPECT_TRUE(h.control().LoadSQLText(
        "SELECT o.OrderID, x.Amount FROM Orders o JOIN Invoices x ON x.OrderID = o.OrderID"));
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_TRUE(h.box->shown().front().strText.startsWith(
        "One or more tables used in the original SQL query are not in database"));
    EXPECT_EQ(h.control().missingTables(), QStringList{"Invoices"});
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
}
