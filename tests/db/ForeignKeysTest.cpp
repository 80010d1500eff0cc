// cDbConnection::GetForeignKeys on the embedded SQLite provider, on real files: the keys the
// sample database declares, keys of several columns, keys written without the referenced
// columns, tables that reference themselves, odd names, the forms a table name may take, and
// databases that cannot be reached. Also the grouping of ODBC catalogue rows into keys in the
// order SQL Server's catalogue gives them, which no driver at hand here gives.

#include "DbTestSupport.h"
#include "ForeignKeyRows.h"

#include <gtest/gtest.h>
#include <marovin/DbSession.h>
#include <marovin/cDbConnection.h>

namespace marovin {
namespace {

using test::keyTexts;
using Keys = std::vector<std::string>;

using test::sqliteConnection;

// The small sample database, written once for the suite.
class SampleDatabaseForeignKeys : public test::SampleDatabaseSuite {
protected:
    Keys keys(const std::string& table) const { return keyTexts(db.GetForeignKeys(table)); }
};

// The key of Employees on itself comes once, among its own keys.
TEST_F(SampleDatabaseForeignKeys, EveryTableGivesItsOwnKeysThenTheKeysReferencingIt) {
    const std::string orders = "dbo.Order Details(OrderID) -> dbo.Orders(OrderID)",
                      products = "dbo.Order Details(ProductID) -> dbo.Products(ProductID)",
                      customer = "dbo.Orders(CustomerID) -> dbo.Customers(CustomerID)",
                      employee = "dbo.Orders(EmployeeID) -> dbo.Employees(EmployeeID)",
                      shipper = "dbo.Orders(ShipVia) -> dbo.Shippers(ShipperID)",
                      category = "dbo.Products(CategoryID) -> dbo.Categories(CategoryID)",
                      supplier = "dbo.Products(SupplierID) -> dbo.Suppliers(SupplierID)",
                      region = "dbo.Territories(RegionID) -> dbo.Region(RegionID)",
                      etEmployee =
                          "dbo.EmployeeTerritories(EmployeeID) -> dbo.Employees(EmployeeID)",
                      etTerritory =
                          "dbo.EmployeeTerritories(TerritoryID) -> dbo.Territories(TerritoryID)";
    const std::pair<const char*, Keys> cases[] = {
        {"dbo.Orders", {customer, employee, shipper, orders}},
        {"dbo.Order Details", {orders, products}},
        {"dbo.Products", {category, supplier, products}},
        {"dbo.Customers", {customer}},
        {"dbo.Shippers", {shipper}},
        {"dbo.Suppliers", {supplier}},
        {"dbo.Categories", {category}},
        {"dbo.Region", {region}},
        {"dbo.Territories", {region, etTerritory}},
        {"dbo.EmployeeTerritories", {etEmployee, etTerritory}},
        {"dbo.Employees",
         {"dbo.Employees(ReportsTo) -> dbo.Employees(EmployeeID)", etEmployee, employee}},
    };
    for (const auto& [table, expected] : cases)
        EXPECT_EQ(keys(table), expected) << table;
}

TEST_F(SampleDatabaseForeignKeys, TheTableNameMayTakeTheFormsOfAQuery) {
    const auto expected = db.GetForeignKeys("dbo.Order Details");
    ASSERT_EQ(expected.size(), 2u);
    for (const char* name :
         {"dbo.[Order Details]", "[dbo].[Order Details]", "\"dbo\".\"Order Details\"",
          "Order Details", "[Order Details]", " dbo . Order Details ", "DBO.order details"})
        EXPECT_EQ(db.GetForeignKeys(name), expected) << name;
}

TEST_F(SampleDatabaseForeignKeys, ViewsUnknownTablesAndOtherSchemasHaveNone) {
    for (const char* table : {"dbo.Order Subtotals", "dbo.Nope", "sales.Orders",
                              "dbo.sqlite_schema", "", "dbo.", "dbo.[]"})
        EXPECT_EQ(keys(table), Keys{}) << table;
}

TEST_F(SampleDatabaseForeignKeys, TheSessionGivesTheSameKeysWithOrWithoutItsSchema) {
    auto session = test::sessionOf(db);
    const auto expected = db.GetForeignKeys("dbo.Orders");
    ASSERT_EQ(expected.size(), 4u);
    EXPECT_EQ(session->ForeignKeys("dbo", "Orders"), expected);
    EXPECT_EQ(session->ForeignKeys("", "Orders"), expected);
    EXPECT_EQ(session->ForeignKeys("DBO", "orders"), expected);
    EXPECT_EQ(session->ForeignKeys("dbo", ""), std::vector<DbForeignKey>{});
}

// Keys of several columns in an order of their own, keys without a referenced column list (to a
// table with a primary key, to one without), keys of a table on itself, a key to a table that
// does not exist, and names with blanks, keywords, dots and brackets.
const char* const kKeysScript = R"sql(
CREATE TABLE Parent (A integer NOT NULL, B text NOT NULL, C integer, PRIMARY KEY (B, A));
CREATE TABLE Child (Id integer PRIMARY KEY, PA integer, PB text,
    FOREIGN KEY (PB, PA) REFERENCES Parent (b, a));
CREATE TABLE Implicit (Id integer PRIMARY KEY, X text, Y integer,
    FOREIGN KEY (X, Y) REFERENCES parent);
CREATE TABLE Node (Id integer PRIMARY KEY, ParentId integer REFERENCES Node (Id),
    SiblingId integer REFERENCES node);
CREATE TABLE Heap (V integer);
CREATE TABLE Dangling (Id integer PRIMARY KEY, H integer REFERENCES Heap,
    M integer REFERENCES Missing (Mid));
CREATE TABLE "Select" ("Key" integer PRIMARY KEY, "Group" text);
CREATE TABLE "v1.2" ("ab]c" integer PRIMARY KEY);
CREATE TABLE "Order Details" ("Order" integer REFERENCES "Select",
    "From" integer REFERENCES "Select" ("Key"), "x]y" integer REFERENCES "v1.2");
CREATE TABLE "a]b" (Id integer REFERENCES "V1.2" ("AB]C"));
CREATE VIEW ChildView AS SELECT * FROM Child;
)sql";

class SqliteForeignKeys : public test::SqliteFileTest {
protected:
    void SetUp() override { create(kKeysScript); }
    Keys keys(const std::string& table) const { return keyTexts(db.GetForeignKeys(table)); }
};

TEST_F(SqliteForeignKeys, SeveralColumnsKeysOnItselfAndKeysWithoutReferencedColumns) {
    const std::string child = "dbo.Child(PB, PA) -> dbo.Parent(B, A)",
                      implicit = "dbo.Implicit(X, Y) -> dbo.Parent(B, A)";
    const std::pair<const char*, Keys> cases[] = {
        // Keys of several columns pair their columns in key order.
        {"dbo.Child", {child}},
        // "REFERENCES parent" names the primary key, (B, A) in its own order; the referenced
        // table and columns come as declared whatever case the key writes them in.
        {"dbo.Implicit", {implicit}},
        {"dbo.Parent", {child, implicit}},
        // Keys of a table on itself come once each.
        {"dbo.Node", {"dbo.Node(ParentId) -> dbo.Node(Id)", "dbo.Node(SiblingId) -> dbo.Node(Id)"}},
        // "REFERENCES Heap" names no columns and Heap has no primary key, so the key pairs
        // nothing (SQLite reports it as a mismatch when it checks it); the key to a missing table
        // keeps the columns it names.
        {"dbo.Dangling", {"dbo.Dangling(M) -> dbo.Missing(Mid)"}},
        {"dbo.Heap", {}},
    };
    for (const auto& [table, expected] : cases)
        EXPECT_EQ(keys(table), expected) << table;
}

TEST_F(SqliteForeignKeys, NamesWithBlanksKeywordsDotsAndBrackets) {
    const std::string from = "dbo.Order Details(From) -> dbo.Select(Key)",
                      order = "dbo.Order Details(Order) -> dbo.Select(Key)",
                      xy = "dbo.Order Details(x]y) -> dbo.v1.2(ab]c)",
                      ab = "dbo.a]b(Id) -> dbo.v1.2(ab]c)";
    const std::pair<const char*, Keys> cases[] = {
        {"dbo.Order Details", {from, order, xy}},
        {"[dbo].[Order Details]", {from, order, xy}},
        {"dbo.Select", {from, order}},
        // Names compare byte by byte: "O" before "a".
        {"dbo.v1.2", {xy, ab}},
        {"dbo.[v1.2]", {xy, ab}},
        {"[v1.2]", {xy, ab}},
        {"\"v1.2\"", {xy, ab}},
        // Unquoted, the first dot ends the schema.
        {"v1.2", {}},
        {"dbo.[a]]b]", {ab}},
        {"dbo.a]b", {ab}},
        // A bracket that does not close the part is part of the name.
        {"dbo.[a]]b", {}},
        {"dbo.ChildView", {}},
    };
    for (const auto& [table, expected] : cases)
        EXPECT_EQ(keys(table), expected) << table;
}

// Keys sought only among some tables: the table's own keys always, the referencing keys of the
// listed tables exactly as the whole search gives them, none of the tables left out.
TEST_F(SampleDatabaseForeignKeys, KeysAmongListedTablesAreTheWholeAnswerLimitedToThem) {
    auto session = test::sessionOf(db);
    const auto among = [&](const std::string& table, const std::vector<std::string>& listed) {
        return keyTexts(cDbConnection::GetForeignKeys(*session, table, listed));
    };
    EXPECT_EQ(among("dbo.Orders", {}), (Keys{
                                           "dbo.Orders(CustomerID) -> dbo.Customers(CustomerID)",
                                           "dbo.Orders(EmployeeID) -> dbo.Employees(EmployeeID)",
                                           "dbo.Orders(ShipVia) -> dbo.Shippers(ShipperID)",
                                       }));
    // Listed in the forms a table may take, twice, and with tables that are no tables.
    EXPECT_EQ(among("dbo.Orders", {"dbo.Customers", "[dbo].[Order Details]", "Order Details",
                                   "dbo.Order Subtotals", "dbo.Nope", "sales.Products"}),
              keys("dbo.Orders"));
    EXPECT_EQ(among("dbo.Employees", {"dbo.Orders", "dbo.Employees"}),
              (Keys{
                  "dbo.Employees(ReportsTo) -> dbo.Employees(EmployeeID)",
                  "dbo.Orders(EmployeeID) -> dbo.Employees(EmployeeID)",
              }));
    // Every table listed: the whole answer, for every table.
    const std::vector<std::string> all = test::splitCommas(db.GetListOfTables());
    ASSERT_GT(all.size(), 10u);
    for (const std::string& table : all)
        EXPECT_EQ(among(table, all), keys(table)) << table;
    EXPECT_EQ(among("dbo.Nope", all), Keys{});
}

TEST_F(SqliteForeignKeys, KeysAmongListedTablesWithOddNames) {
    auto session = test::sessionOf(db);
    EXPECT_EQ(keyTexts(cDbConnection::GetForeignKeys(*session, "dbo.[v1.2]",
                                                     {"dbo.[a]]b]", "dbo.Order Details"})),
              keys("dbo.v1.2"));
    EXPECT_EQ(keyTexts(cDbConnection::GetForeignKeys(*session, "dbo.[v1.2]", {"dbo.[a]]b]"})),
              (Keys{"dbo.a]b(Id) -> dbo.v1.2(ab]c)"}));
    EXPECT_EQ(keyTexts(cDbConnection::GetForeignKeys(*session, "dbo.Parent", {"dbo.Implicit"})),
              (Keys{"dbo.Implicit(X, Y) -> dbo.Parent(B, A)"}));
}

TEST_F(SqliteForeignKeys, TheFileIsLeftAsItWas) {
    const std::string before = test::fileBytes(path);
    EXPECT_EQ(db.GetForeignKeys("dbo.Parent").size(), 2u);
    EXPECT_EQ(test::fileBytes(path), before);
}

ForeignKeyRow row(const std::string& fkTable, const std::string& fkColumn,
                  const std::string& pkTable, const std::string& pkColumn, std::int64_t seq,
                  const std::string& name) {
    return {"dbo", pkTable, pkColumn, "dbo", fkTable, fkColumn, name, seq};
}

std::vector<std::string> grouped(const std::vector<ForeignKeyRow>& rows) {
    std::vector<DbForeignKey> keys;
    for (const GroupedKey& key : groupForeignKeyRows(rows))
        keys.push_back(key.key);
    return keyTexts(keys);
}

TEST(ForeignKeyRows, NamedKeysBetweenTheSameTablesInterleavedByKeySeqComeApart) {
    // SQL Server lists the rows by table and then KEY_SEQ, so two keys between the same tables
    // take turns.
    EXPECT_EQ(grouped({
                  row("Routes", "FromCountry", "Cities", "Country", 1, "FK_From"),
                  row("Routes", "ToCountry", "Cities", "Country", 1, "FK_To"),
                  row("Routes", "FromCity", "Cities", "City", 2, "FK_From"),
                  row("Routes", "ToCity", "Cities", "City", 2, "FK_To"),
              }),
              (Keys{
                  "FK_From: dbo.Routes(FromCountry, FromCity) -> dbo.Cities(Country, City)",
                  "FK_To: dbo.Routes(ToCountry, ToCity) -> dbo.Cities(Country, City)",
              }));
    // The pairs of a key in KEY_SEQ order whatever the order of the rows.
    EXPECT_EQ(grouped({
                  row("Routes", "FromCity", "Cities", "City", 2, "FK_From"),
                  row("Routes", "FromCountry", "Cities", "Country", 1, "FK_From"),
              }),
              (Keys{"FK_From: dbo.Routes(FromCountry, FromCity) -> dbo.Cities(Country, City)"}));
}

TEST(ForeignKeyRows, UnnamedKeysStartWhereKeySeqStartsAgain) {
    EXPECT_EQ(grouped({
                  row("Routes", "FromCountry", "Cities", "Country", 1, ""),
                  row("Routes", "FromCity", "Cities", "City", 2, ""),
                  row("Routes", "ToCountry", "Cities", "Country", 1, ""),
                  row("Routes", "ToCity", "Cities", "City", 2, ""),
                  row("Routes", "Parent", "Routes", "Id", 1, ""),
                  row("Stops", "Route", "Routes", "Id", 1, ""),
              }),
              (Keys{
                  "dbo.Routes(FromCountry, FromCity) -> dbo.Cities(Country, City)",
                  "dbo.Routes(ToCountry, ToCity) -> dbo.Cities(Country, City)",
                  "dbo.Routes(Parent) -> dbo.Routes(Id)",
                  "dbo.Stops(Route) -> dbo.Routes(Id)",
              }));
}

TEST(ForeignKeyRows, TheOwnKeysComeFirstAndAKeyOnBothSidesOnce) {
    DbForeignKey parent{"FK_Parent", "dbo.Routes", {"Parent"}, "dbo.Routes", {"Id"}};
    DbForeignKey from{"FK_From", "dbo.Routes", {"From"}, "dbo.Cities", {"Id"}};
    DbForeignKey stops{"FK_Route", "dbo.Stops", {"Route"}, "dbo.Routes", {"Id"}};
    DbForeignKey legs{"FK_Route", "dbo.Legs", {"Route"}, "dbo.Routes", {"Id"}};
    EXPECT_EQ(keyTexts(orderForeignKeys({parent, from, from}, {stops, parent, legs})),
              (Keys{
                  "FK_From: dbo.Routes(From) -> dbo.Cities(Id)",
                  "FK_Parent: dbo.Routes(Parent) -> dbo.Routes(Id)",
                  "FK_Route: dbo.Legs(Route) -> dbo.Routes(Id)",
                  "FK_Route: dbo.Stops(Route) -> dbo.Routes(Id)",
              }));
}

// A connection without a file name, and one with an unknown provider. (A missing file and one that
// is no database answer every service empty, the keys too, in SqliteFailures.)
TEST(ForeignKeysWithoutADatabase, EveryFailureGivesAnEmptyList) {
    test::TempDir dir;
    test::writeSqlite(dir.file("ok.sqlite"), kKeysScript);
    std::vector<DbForeignKey> keys{DbForeignKey{}};
    EXPECT_NO_THROW(keys = sqliteConnection("").GetForeignKeys("dbo.Child"));
    EXPECT_TRUE(keys.empty());
    cDbConnection unknown = sqliteConnection(dir.file("ok.sqlite"));
    ASSERT_EQ(unknown.GetForeignKeys("dbo.Child").size(), 1u);
    unknown.setStrProvider("NoSuchProvider");
    EXPECT_TRUE(unknown.GetForeignKeys("dbo.Child").empty());
}

} // namespace
} // namespace marovin
