// The sample database generator: the Northwind shape, keys that hold, views that run, the same
// rows every time, and the scale options.

#include "DbTestSupport.h"

#include <gtest/gtest.h>
#include <marovin/cDbConnection.h>

namespace marovin {
namespace {

using test::querySqlite;

std::string generate(const test::TempDir& dir, const std::string& name,
                     const SampleDatabaseGenerator::Options& options) {
    return test::writeSample(dir.file(name), options);
}

// Every row of every table and view, in a fixed order, as one text.
std::string contents(const std::string& path) {
    const cDbConnection db = test::sqliteConnection(path);
    std::string all;
    for (const std::string& table : test::splitCommas(db.GetListOfTables())) {
        std::string error;
        auto rs = db.FireQuery("SELECT * FROM " + table.substr(0, 4) + "\"" + table.substr(4) +
                                   "\" ORDER BY 1, 2",
                               error, 0);
        EXPECT_NE(rs, nullptr) << table << ": " << error;
        all += table + "\n";
        for (std::int32_t r = 0; rs && r < rs->RecordCount(); ++r) {
            for (std::int32_t c = 0; c < rs->FieldCount(); ++c)
                all += rs->value(r, c).ToString() + (rs->value(r, c).IsNull() ? "<null>|" : "|");
            all += "\n";
        }
    }
    return all;
}

// The Northwind shape; keys that hold and every order with lines.
TEST(SampleDatabase, HasTheNorthwindShapeAndKeysThatHold) {
    test::TempDir dir;
    std::string path = generate(dir, "n.sqlite", SampleDatabaseGenerator::Small());
    const std::pair<const char*, const char*> cases[] = {
        {"SELECT count(*) FROM \"Order Details\"", "2155"},
        {"SELECT count(*) FROM Customers", "91"},
        {"SELECT count(*) FROM Products", "77"},
        {"SELECT count(*) FROM Categories", "8"},
        {"SELECT count(*) FROM Shippers", "3"},
        {"SELECT count(*) FROM Employees", "9"},
        {"SELECT count(*) FROM sqlite_schema WHERE type = 'view'", "5"},
        {"SELECT min(OrderID) FROM Orders", "10248"},
        {"SELECT min(OrderDate) FROM Orders", "1996-07-04 00:00:00.000"},
        // Primary keys, including the two-column key of "Order Details".
        {"SELECT group_concat(name) FROM pragma_table_info('Order Details') WHERE pk > 0",
         "OrderID,ProductID"},
        {"SELECT count(*) FROM pragma_foreign_key_list('Orders')", "3"},
        {"SELECT count(*) FROM pragma_foreign_key_check", "0"},
        {"SELECT count(*) FROM Orders WHERE OrderID NOT IN (SELECT OrderID FROM \"Order Details\")",
         "0"},
        {"SELECT count(*) FROM \"Order Details Extended\"", "2155"},
        // Some orders are not shipped yet, some customers have an empty fax, others none.
        {"SELECT count(*) > 0 FROM Orders WHERE ShippedDate IS NULL", "1"},
        {"SELECT count(*) FROM Customers WHERE Fax = ''", "30"},
        {"SELECT count(*) FROM Customers WHERE Fax IS NULL", "30"},
    };
    for (const auto& [sql, expected] : cases)
        EXPECT_EQ(querySqlite(path, sql), expected) << sql;
}

TEST(SampleDatabase, TheSameOptionsGiveTheSameRows) {
    test::TempDir dir;
    std::string a = generate(dir, "a.sqlite", SampleDatabaseGenerator::Small());
    std::string b = generate(dir, "b.sqlite", SampleDatabaseGenerator::Small());
    std::string first = contents(a);
    EXPECT_GT(first.size(), 100000u);
    EXPECT_EQ(first, contents(b));
}

TEST(SampleDatabase, ScaleOptions) {
    test::TempDir dir;
    SampleDatabaseGenerator::Options options;
    options.orderLines = 10;
    options.customers = 2;
    options.products = 3;
    options.extraTables = 4;
    options.wideColumns = 20;
    options.extraViews = 3;
    std::string path = generate(dir, "s.sqlite", options);
    EXPECT_EQ(querySqlite(path, "SELECT count(*) FROM \"Order Details\""), "10");
    EXPECT_EQ(querySqlite(path, "SELECT count(DISTINCT CustomerID) <= 2 FROM Orders"), "1");
    EXPECT_EQ(querySqlite(path, "SELECT max(ProductID) <= 3 FROM \"Order Details\""), "1");
    EXPECT_EQ(
        querySqlite(
            path, "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name LIKE 'Extra%'"),
        "4");
    EXPECT_EQ(querySqlite(path, "SELECT count(*) FROM pragma_table_info('WideTable')"), "21");
    EXPECT_EQ(querySqlite(path, "SELECT count(*) FROM pragma_foreign_key_check"), "0");
    EXPECT_EQ(querySqlite(path, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(querySqlite(path, "SELECT Id FROM ExtraView000003"), "1");
    EXPECT_TRUE(test::sqliteConnection(path).GetListOfTables().ends_with(
        ",dbo.ExtraView000001,dbo.ExtraView000002,dbo.ExtraView000003,dbo.Order Details Extended,"
        "dbo.Order Subtotals,dbo.Products Above Average Price"));
}

TEST(SampleDatabase, BadOptionsAndPlacesFailWithAMessage) {
    test::TempDir dir;
    SampleDatabaseGenerator::Options options;
    options.customers = 0;
    std::string error;
    EXPECT_FALSE(SampleDatabaseGenerator(options).Write(dir.file("x.sqlite"), error));
    EXPECT_EQ(error, "customers and products must be at least 1, order lines at least 0");
    error.clear();
    EXPECT_FALSE(SampleDatabaseGenerator(SampleDatabaseGenerator::Small())
                     .Write(dir.file("no/such/dir/x.sqlite"), error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(std::filesystem::exists(dir.file("x.sqlite")));
}

TEST(SampleDatabase, AnExistingFileIsReplaced) {
    test::TempDir dir;
    std::string path = dir.file("r.sqlite");
    test::writeSqlite(path, "CREATE TABLE Old (x integer);");
    generate(dir, "r.sqlite", SampleDatabaseGenerator::Small());
    EXPECT_EQ(querySqlite(path, "SELECT count(*) FROM sqlite_schema WHERE name = 'Old'"), "0");
    EXPECT_EQ(querySqlite(path, "SELECT count(*) FROM Shippers"), "3");
}

} // namespace
} // namespace marovin
