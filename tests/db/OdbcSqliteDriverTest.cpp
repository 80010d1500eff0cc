// cDbConnection's generic ODBC provider through the unixODBC driver manager and Debian's SQLite
// ODBC driver (in-process): catalogue, columns, foreign keys, row limits, the prepared syntax
// check and the driver's diagnostics.

#include "DbTestSupport.h"

#include <gtest/gtest.h>
#include <marovin/DbSession.h>
#include <marovin/cDbConnection.h>

namespace marovin {
namespace {

class OdbcSqliteDriver : public test::SqliteFileTest {
protected:
    void SetUp() override {
        create(R"sql(
            CREATE TABLE Zeta (Id integer PRIMARY KEY AUTOINCREMENT, Name text);
            CREATE TABLE "Order Details" (OrderID integer, "Unit Price" real, Quantity integer);
            CREATE VIEW "v One" AS SELECT Name FROM Zeta;
            CREATE TABLE a_b (p integer);
            CREATE TABLE axb (q integer);
            INSERT INTO Zeta (Name) VALUES ('x'), (''), (NULL);
            WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 250)
            INSERT INTO "Order Details" SELECT i, i * 1.5, i % 7 FROM n;
        )sql");
        db = test::odbcSqliteConnection(path);
    }
};

TEST_F(OdbcSqliteDriver, TheCatalogueComesInTheDriversOrderWithAnEmptySchema) {
    // The driver has no schemas: each name reads "." and the name.
    EXPECT_EQ(db.GetListOfTables(), ".Zeta,.sqlite_sequence,.Order Details,.v One,.a_b,.axb");
    db.setBlnIncludeViews(false);
    EXPECT_EQ(db.GetListOfTables(), ".Zeta,.sqlite_sequence,.Order Details,.a_b,.axb");
    db.setBlnIncludeUserTables(false);
    EXPECT_EQ(db.GetListOfTables(), "");
}

TEST_F(OdbcSqliteDriver, Columns) {
    EXPECT_EQ(db.GetListOfFields("Order Details", false), "OrderID,Unit Price,Quantity");
    // The names from the list (".Order Details") work as they are.
    EXPECT_EQ(db.GetListOfFields(".Order Details", true),
              ".Order Details.OrderID,.Order Details.Unit Price,.Order Details.Quantity");
    EXPECT_EQ(db.GetListOfFields("a_b", false), "p");
    EXPECT_EQ(db.GetListOfFields("nope", false), "");
    EXPECT_TRUE(db.IsTheFieldInTheTable("Quantity", ".Order Details"));
    EXPECT_FALSE(db.IsTheFieldInTheTable("quantity", ".Order Details"));
}

TEST_F(OdbcSqliteDriver, RowLimitsAndValues) {
    EXPECT_EQ(test::rowsOf(db, "SELECT * FROM \"Order Details\"")->RecordCount(), 250);
    auto limited = test::rowsOf(db, "SELECT * FROM \"Order Details\" ORDER BY OrderID", 100);
    EXPECT_EQ(limited->RecordCount(), 100);
    EXPECT_EQ(limited->value(99, 0).AsInteger(), 100);
    EXPECT_DOUBLE_EQ(limited->value(1, 1).AsReal(), 3.0);

    auto names = test::rowsOf(db, "SELECT Name FROM Zeta ORDER BY Id");
    ASSERT_EQ(names->RecordCount(), 3);
    EXPECT_EQ(names->value(0, 0).AsText(), "x");
    EXPECT_EQ(names->value(1, 0).Kind(), DbValueKind::Text);
    EXPECT_TRUE(names->value(2, 0).IsNull());
}

TEST_F(OdbcSqliteDriver, ColumnNamesOfAnyLengthComeWhole) {
    const std::string longName(600, 'n');
    auto rs = test::rowsOf(db, "SELECT 1 AS \"" + longName + "\", 2 AS \"\u00e4\u6771\", 3");
    ASSERT_EQ(rs->FieldCount(), 3);
    EXPECT_EQ(rs->FieldName(0).size(), 600u);
    EXPECT_EQ(rs->FieldName(0), longName);
    EXPECT_EQ(rs->FieldName(1), "\u00e4\u6771");
    EXPECT_EQ(rs->FieldName(2), "3");
    EXPECT_EQ(rs->value(0, 0).AsInteger(), 1);
}

TEST_F(OdbcSqliteDriver, AStatementThatChangesNoRowsGivesAnEmptyResult) {
    std::string error = "stale";
    auto rs = db.FireQuery("UPDATE Zeta SET Name = Name WHERE 0", error, 10);
    ASSERT_NE(rs, nullptr) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(rs->FieldCount(), 0);
    EXPECT_EQ(rs->RecordCount(), 0);
}

TEST_F(OdbcSqliteDriver, ErrorsCarryTheDriversDiagnostics) {
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT * FROM nope", error, 10), nullptr);
    EXPECT_EQ(error, "Error\r\n\r\n[SQLite]no such table: nope (1)");
    EXPECT_EQ(db.CheckSQLSyntax("SELECT * FORM Zeta"),
              "Syntax error:\r\n[SQLite]near \"FORM\": syntax error (1)");
    EXPECT_EQ(db.CheckSQLSyntax("SELECT Name FROM Zeta"), "Syntax SQL Query correct");
}

TEST_F(OdbcSqliteDriver, TheCheckPreparesWithoutRunning) {
    const std::string before = test::fileBytes(path);
    EXPECT_EQ(db.CheckSQLSyntax("DELETE FROM \"Order Details\""), "Syntax SQL Query correct");
    EXPECT_EQ(test::fileBytes(path), before);
    EXPECT_EQ(test::querySqlite(path, "SELECT count(*) FROM \"Order Details\""), "250");
}

TEST_F(OdbcSqliteDriver, TheSessionNamesItsDatabase) {
    auto session = test::sessionOf(db);
    EXPECT_EQ(session->strDbmsName(), "SQLite");
    EXPECT_FALSE(session->SupportsParseOnly());
}

TEST_F(OdbcSqliteDriver, AnUnknownDriverOrDsnGivesNoConnection) {
    db.setStrConnectionString("DRIVER={No Such Driver};Database=" + path);
    test::expectNoConnection(db);
    EXPECT_NE(cDbConnection::LastConnectionError().find("No Such Driver"), std::string::npos)
        << cDbConnection::LastConnectionError();
    db.setStrConnectionString("");
    db.setStrServer("NoSuchDsn");
    EXPECT_EQ(db.strOdbcConnectionString(), "DSN=NoSuchDsn;");
    EXPECT_FALSE(db.Check(true));
}

TEST_F(OdbcSqliteDriver, ANameTooLongForTheCatalogueFunctionsFindsNothing) {
    // 65536 more bytes would wrap round to the length of "Zeta" alone if passed unchecked.
    const std::string longName = "Zeta" + std::string(65536, 'x');
    // (Compared in part, to keep a failure's message short.)
    EXPECT_EQ(db.GetListOfFields(longName, false).substr(0, 40), "");
    EXPECT_EQ(db.GetListOfFields("dbo." + longName, true).substr(0, 40), "");
    EXPECT_FALSE(db.IsTheFieldInTheTable("Id", longName));
    // A long name that fits is looked up as it is.
    EXPECT_EQ(db.GetListOfFields("Zeta" + std::string(1000, 'x'), false), "");
    EXPECT_EQ(db.GetListOfFields("Zeta", false), "Id,Name");
}

TEST_F(OdbcSqliteDriver, AConnectionStringTooLongForOdbcIsRefusedNotCut) {
    const std::string base = db.strConnectionString() + ";";
    // A password that makes the whole string 65536 bytes longer than the part before it: cut to
    // that length, the string would still name the driver and the file and connect.
    const std::string key = "PWD=";
    db.setStrPassword(std::string(65536 - key.size() - 1, 'p'));
    ASSERT_EQ(db.strOdbcConnectionString().size(), base.size() + 65536);
    EXPECT_FALSE(db.Check(true));
    EXPECT_EQ(cDbConnection::LastConnectionError(),
              "The connection string is longer than 32767 bytes");
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT 1", error, 0), nullptr);
    EXPECT_EQ(error, "Problems connecting to database");
    // A long password that fits reaches the driver, which ignores it.
    db.setStrPassword(std::string(20000, 'p'));
    EXPECT_TRUE(db.Check(true)) << cDbConnection::LastConnectionError();
}

// The driver names no constraints and lists a key's pairs one after the other; where a key
// names no referenced columns it leaves them empty.
class OdbcSqliteDriverForeignKeys : public test::SqliteFileTest {
protected:
    void SetUp() override {
        create(R"sql(
            CREATE TABLE Parent (A integer NOT NULL, B text NOT NULL, PRIMARY KEY (B, A));
            CREATE TABLE Child (Id integer PRIMARY KEY, PA integer, PB text, QA integer, QB text,
                FOREIGN KEY (PB, PA) REFERENCES Parent (B, A),
                FOREIGN KEY (QB, QA) REFERENCES Parent (B, A));
            CREATE TABLE Node (Id integer PRIMARY KEY, ParentId integer REFERENCES Node (Id),
                SiblingId integer REFERENCES Node);
            CREATE TABLE "Order Details" ("Order" integer REFERENCES Node, "Select" text,
                "Group" integer, FOREIGN KEY ("Select", "Group") REFERENCES Parent (B, A));
        )sql");
        db = test::odbcSqliteConnection(path);
    }
    std::vector<std::string> keys(const std::string& table) const {
        return test::keyTexts(db.GetForeignKeys(table));
    }
};

TEST_F(OdbcSqliteDriverForeignKeys, UnnamedKeysBetweenTheSameTablesStayApart) {
    EXPECT_EQ(keys(".Child"), (std::vector<std::string>{
                                  ".Child(PB, PA) -> .Parent(B, A)",
                                  ".Child(QB, QA) -> .Parent(B, A)",
                              }));
    EXPECT_EQ(keys(".Parent"), (std::vector<std::string>{
                                   ".Child(PB, PA) -> .Parent(B, A)",
                                   ".Child(QB, QA) -> .Parent(B, A)",
                                   ".Order Details(Select, Group) -> .Parent(B, A)",
                               }));
}

TEST_F(OdbcSqliteDriverForeignKeys, AKeyWithoutReferencedColumnsGetsThePrimaryKey) {
    const std::vector<std::string> details{
        ".Order Details(Order) -> .Node(Id)",
        ".Order Details(Select, Group) -> .Parent(B, A)",
    };
    EXPECT_EQ(keys(".Order Details"), details);
    // As the list writes it, or without the dot, or bracketed.
    EXPECT_EQ(keys("Order Details"), details);
    EXPECT_EQ(keys("[Order Details]"), details);
    // Keys of the table on itself come once, before the key that references it.
    EXPECT_EQ(keys(".Node"), (std::vector<std::string>{
                                 ".Node(ParentId) -> .Node(Id)",
                                 ".Node(SiblingId) -> .Node(Id)",
                                 ".Order Details(Order) -> .Node(Id)",
                             }));
    EXPECT_EQ(keys(".Nope"), std::vector<std::string>{});
}

TEST(OdbcConnectionString, ValuesAreAddedAndBracedWhenTheyNeedIt) {
    cDbConnection db;
    db.setStrProvider("ODBC");
    db.setStrConnectionString("DRIVER={PostgreSQL ANSI};SERVER=h");
    db.setStrDatabase("shop");
    db.setStrUserName("u");
    db.setStrPassword("a;b}c");
    EXPECT_EQ(db.strOdbcConnectionString(),
              "DRIVER={PostgreSQL ANSI};SERVER=h;DATABASE=shop;UID=u;PWD={a;b}}c};");
    db.setBlnWindowsAuthentication(true);
    EXPECT_EQ(db.strOdbcConnectionString(),
              "DRIVER={PostgreSQL ANSI};SERVER=h;DATABASE=shop;Trusted_Connection=Yes;");
    db.setStrProvider("SQLite");
    EXPECT_EQ(db.strOdbcConnectionString(), "");
}

} // namespace
} // namespace marovin
