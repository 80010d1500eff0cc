// cDbConnection on the embedded SQLite provider, on real files: the catalogue with every
// combination of the listing flags, columns, the field test, the syntax check, row limits,
// typed values, and the guarantee that nothing sent through it changes the file.

#include "DbTestSupport.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <marovin/DbSession.h>
#include <marovin/cDbConnection.h>
#include <tuple>

namespace marovin {
namespace {

using test::openDescriptorsOn;
using test::sqliteConnection;
using test::TempDir;

// Tables, views and (through AUTOINCREMENT) an SQLite system table, with blanks and mixed case.
const char* const kCatalogueScript = R"sql(
CREATE TABLE Zeta (Id integer PRIMARY KEY AUTOINCREMENT, Name text);
CREATE TABLE alpha (a integer);
CREATE TABLE "Order Details" (OrderID integer, "Unit Price" money, Quantity integer);
CREATE VIEW "v One" AS SELECT Name FROM Zeta;
CREATE VIEW Beta AS SELECT a FROM alpha;
INSERT INTO Zeta (Name) VALUES ('x');
)sql";

class SqliteCatalogue : public test::SqliteFileTest {
protected:
    void SetUp() override { create(kCatalogueScript); }
};

using SqliteFile = test::SqliteFileTest;

TEST(DbConnectionProperties, DefaultsAreThoseOfANewConnection) {
    cDbConnection db;
    EXPECT_TRUE(db.blnExcludeSystemTables());
    EXPECT_TRUE(db.blnExcludeSystemViews());
    EXPECT_TRUE(db.blnIncludeViews());
    EXPECT_FALSE(db.blnWindowsAuthentication());
    EXPECT_EQ(db.strServer(), "");
    EXPECT_EQ(db.strUserName(), "");
    EXPECT_EQ(db.strPassword(), "");
    EXPECT_EQ(db.strDatabase(), "");
    EXPECT_EQ(db.lngId(), 0);
    EXPECT_EQ(db.strProvider(), "SQLServer");
    EXPECT_EQ(db.lngLoginTimeout(), 15);
}

TEST_F(SqliteCatalogue, CopyToCopiesEverythingButIncludeUserTables) {
    cDbConnection& source = db;
    source.setBlnExcludeSystemTables(false);
    source.setBlnExcludeSystemViews(false);
    source.setBlnIncludeViews(false);
    source.setLngId(-7);
    source.setStrServer("srv");
    source.setBlnWindowsAuthentication(true);
    source.setStrUserName("u");
    source.setStrPassword("p");
    source.setLngLoginTimeout(3);
    source.setBlnIncludeUserTables(true);

    cDbConnection target;
    target.setBlnIncludeUserTables(false);
    source.CopyTo(target);
    EXPECT_FALSE(target.blnExcludeSystemTables());
    EXPECT_FALSE(target.blnExcludeSystemViews());
    EXPECT_FALSE(target.blnIncludeViews());
    EXPECT_EQ(target.lngId(), -7);
    EXPECT_EQ(target.strServer(), "srv");
    EXPECT_EQ(target.strDatabase(), path);
    EXPECT_TRUE(target.blnWindowsAuthentication());
    EXPECT_EQ(target.strUserName(), "u");
    EXPECT_EQ(target.strPassword(), "p");
    EXPECT_EQ(target.strProvider(), "SQLite");
    EXPECT_EQ(target.lngLoginTimeout(), 3);
    // The target kept blnIncludeUserTables False: its list holds no user tables.
    EXPECT_EQ(target.GetListOfTables(), "dbo.sqlite_schema,dbo.sqlite_sequence");
    target.setBlnIncludeUserTables(true);
    EXPECT_EQ(target.GetListOfTables(),
              "dbo.sqlite_schema,dbo.sqlite_sequence,dbo.alpha,dbo.Order Details,dbo.Zeta");
}

// The default list holds user tables and views in catalogue order; a setting changes the next.
TEST_F(SqliteCatalogue, SettingsTakeEffectAtTheNextCall) {
    EXPECT_EQ(db.GetListOfTables(), "dbo.alpha,dbo.Order Details,dbo.Zeta,dbo.Beta,dbo.v One");
    db.setBlnIncludeViews(false);
    EXPECT_EQ(db.GetListOfTables(), "dbo.alpha,dbo.Order Details,dbo.Zeta");
}

// (include user tables, include views, exclude system tables, exclude system views)
class SqliteListingFlags
    : public SqliteCatalogue,
      public ::testing::WithParamInterface<std::tuple<bool, bool, bool, bool>> {};

TEST_P(SqliteListingFlags, EachTypeIsTakenByItsOwnFlag) {
    auto [userTables, views, excludeSystemTables, excludeSystemViews] = GetParam();
    db.setBlnIncludeUserTables(userTables);
    db.setBlnIncludeViews(views);
    db.setBlnExcludeSystemTables(excludeSystemTables);
    db.setBlnExcludeSystemViews(excludeSystemViews);
    std::string expected;
    auto add = [&expected](const char* part) {
        expected = expected.empty() ? part : expected + "," + part;
    };
    if (!excludeSystemTables)
        add("dbo.sqlite_schema,dbo.sqlite_sequence");
    if (userTables)
        add("dbo.alpha,dbo.Order Details,dbo.Zeta");
    if (views)
        add("dbo.Beta,dbo.v One");
    // SQLite has no system views: that flag changes nothing.
    EXPECT_EQ(db.GetListOfTables(), expected);
}

INSTANTIATE_TEST_SUITE_P(AllCombinations, SqliteListingFlags,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool(), ::testing::Bool(),
                                            ::testing::Bool()));

// Field lists by table name: blanks, schema, surrounding space and a trailing part are read;
// SQLite, like SQL Server's default collation, does not tell table names apart by case; the
// prefix is the name exactly as given, untrimmed; another schema or a missing table gives none;
// an empty name lists the columns of every table.
TEST_F(SqliteCatalogue, FieldsOfATableByItsName) {
    const std::string all = "OrderID,Unit Price,Quantity";
    const struct {
        const char* table;
        bool prefix;
        std::string expected;
    } cases[] = {
        {"Order Details", false, all},
        {"dbo.Order Details", false, all},
        {" dbo . Order Details ", false, all},
        {"dbo.Order Details.ignored", false, all},
        {"order details", false, all},
        {"dbo.Order Details", true,
         "dbo.Order Details.OrderID,dbo.Order Details.Unit Price,dbo.Order Details.Quantity"},
        {"Zeta ", true, "Zeta .Id,Zeta .Name"},
        {"sales.Zeta", false, ""},
        {"dbo.Nope", false, ""},
        {"Nope", true, ""},
        {"dbo.v One", false, "Name"},
        {"dbo.sqlite_schema", false, "type,name,tbl_name,rootpage,sql"},
        {"", false,
         "type,name,tbl_name,rootpage,sql,name,seq,a,OrderID,Unit Price,Quantity,Id,Name,a,Name"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(db.GetListOfFields(c.table, c.prefix), c.expected)
            << "'" << c.table << "' prefix " << c.prefix;
}

TEST_F(SqliteCatalogue, FieldInTableComparesTheLastPartCaseSensitively) {
    const struct {
        const char* field;
        const char* table;
        bool in;
    } cases[] = {
        {"dbo.Zeta.Id", "dbo.Zeta", true},
        {"Id", "Zeta", true},
        {"[Order Details].Unit Price", "dbo.Order Details", true},
        {"id", "dbo.Zeta", false},
        {"dbo.Zeta.Quantity", "dbo.Zeta", false},
        {"", "dbo.Zeta", false},
        {"Id", "dbo.Nope", false},
        {"Id.", "dbo.Zeta", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(db.IsTheFieldInTheTable(c.field, c.table), c.in) << c.field << " in " << c.table;
}

TEST_F(SqliteCatalogue, GetConnectionGivesAnOpenSessionThatClosesWithItsOwner) {
    std::unique_ptr<DbSession> session = test::sessionOf(db);
    EXPECT_EQ(session->strDbmsName(), "SQLite");
    EXPECT_FALSE(session->SupportsParseOnly());
    EXPECT_EQ(session->Columns("", "alpha"), std::vector<std::string>{"a"});
    session->Close();
    EXPECT_THROW(session->Tables(), std::exception);
    EXPECT_TRUE(db.Check(false));
    EXPECT_TRUE(db.Check(true));
    // Provider names are read without regard to case.
    db.setStrProvider("sqlite");
    EXPECT_TRUE(db.Check(true));
}

// Names with quotes, brackets, blanks, commas and letters beyond ASCII reach the catalogue and
// the column list as they are, and are never pasted into SQL text unescaped.
TEST_F(SqliteFile, CatalogueAndColumnsTakeAnyName) {
    create(R"sql(
        CREATE TABLE "it's" (a integer, "b'c" text);
        CREATE TABLE "say ""hi""" (x integer);
        CREATE TABLE "[x]" ("[y]" integer);
        CREATE TABLE "Zürich 東京" ("Straße" text, "列" integer);
        CREATE TABLE "x'); DROP TABLE Keep; --" (z integer);
        CREATE TABLE Keep (k integer);
    )sql");
    const std::string before = test::fileBytes(path);
    EXPECT_EQ(db.GetListOfTables(), "dbo.[x],dbo.it's,dbo.Keep,dbo.say \"hi\","
                                    "dbo.x'); DROP TABLE Keep; --,dbo.Zürich 東京");
    EXPECT_EQ(db.GetListOfFields("it's", false), "a,b'c");
    EXPECT_EQ(db.GetListOfFields("dbo.say \"hi\"", true), "dbo.say \"hi\".x");
    EXPECT_EQ(db.GetListOfFields("[x]", false), "[y]");
    EXPECT_EQ(db.GetListOfFields(" dbo . Zürich 東京 ", false), "Straße,列");
    EXPECT_EQ(db.GetListOfFields("x'); DROP TABLE Keep; --", false), "z");
    EXPECT_TRUE(db.IsTheFieldInTheTable("dbo.Zürich 東京.列", "dbo.Zürich 東京"));
    EXPECT_TRUE(db.IsTheFieldInTheTable("[x].[y]", "[x]"));
    EXPECT_FALSE(db.IsTheFieldInTheTable("straße", "dbo.Zürich 東京"));
    EXPECT_EQ(db.GetListOfFields("Keep", false), "k");
    EXPECT_EQ(test::fileBytes(path), before);
}

TEST_F(SqliteFile, GeneratedColumnsAreColumnsTooButHiddenOnesAreNot) {
    create(R"sql(
        CREATE TABLE Lines (Quantity integer, Price real,
            Amount real GENERATED ALWAYS AS (Quantity * Price) VIRTUAL,
            Label text GENERATED ALWAYS AS ('x' || Quantity) STORED, Note text);
        INSERT INTO Lines (Quantity, Price, Note) VALUES (3, 2.5, 'n');
        CREATE VIRTUAL TABLE Notes USING fts5(Title, Body);
    )sql");
    // As a SELECT * shows them, in their order.
    EXPECT_EQ(db.GetListOfFields("dbo.Lines", false), "Quantity,Price,Amount,Label,Note");
    EXPECT_TRUE(db.IsTheFieldInTheTable("Lines.Amount", "Lines"));
    auto rs = test::rowsOf(db, "SELECT * FROM dbo.Lines");
    ASSERT_EQ(rs->FieldCount(), 5);
    EXPECT_EQ(rs->FieldName(2), "Amount");
    EXPECT_EQ(rs->value(0, 2).AsReal(), 7.5);
    // The hidden columns of a virtual table (fts5's own) are not listed.
    EXPECT_EQ(db.GetListOfFields("Notes", false), "Title,Body");
}

TEST_F(SqliteFile, HugeValuesNullsBlobsAndEmptyResults) {
    create(R"sql(
        CREATE TABLE v (id integer, t text, b blob);
        INSERT INTO v VALUES (1, NULL, NULL), (2, '', x''), (3, 'a' || char(0) || 'b', x'00'),
            (4, replace(hex(zeroblob(1500000)), '0', 'é'), randomblob(3000000)),
            (9223372036854775807, 'max', NULL), (-9223372036854775808, 'min', NULL);
    )sql");
    auto rs = test::rowsOf(db, "SELECT id, t, b, length(t) AS n FROM v ORDER BY rowid");
    ASSERT_EQ(rs->RecordCount(), 6);
    EXPECT_TRUE(rs->value(0, 1).IsNull());
    EXPECT_TRUE(rs->value(0, 2).IsNull());
    EXPECT_EQ(rs->value(1, 1).Kind(), DbValueKind::Text);
    EXPECT_EQ(rs->value(1, 2).Kind(), DbValueKind::Blob);
    EXPECT_EQ(rs->value(1, 2).ToString(), "0x");
    EXPECT_EQ(rs->value(2, 1).AsText(), std::string_view("a\0b", 3)); // a NUL inside stays
    EXPECT_EQ(rs->value(2, 2).ToString(), "0x00");
    EXPECT_EQ(rs->value(3, 1).AsText().size(), 6000000u); // 3,000,000 two-byte letters
    EXPECT_EQ(rs->value(3, 3).AsInteger(), 3000000);
    EXPECT_EQ(rs->value(3, 2).AsBlob().size(), 3000000u);
    EXPECT_EQ(rs->value(4, 0).ToString(), "9223372036854775807");
    EXPECT_EQ(rs->value(5, 0).ToString(), "-9223372036854775808");
    // A result without rows keeps its columns; a statement without columns gives an empty set.
    auto none = test::rowsOf(db, "SELECT id, t FROM v WHERE 0", 5);
    EXPECT_EQ(none->FieldCount(), 2);
    EXPECT_EQ(none->RecordCount(), 0);
    EXPECT_TRUE(none->IsBOF() && none->IsEOF());
    EXPECT_TRUE(none->Fields("id").IsNull());
    std::string error = "stale";
    auto blank = db.FireQuery("  -- nothing but a comment\r\n", error, 0);
    ASSERT_NE(blank, nullptr) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(blank->FieldCount(), 0);
    EXPECT_EQ(blank->RecordCount(), 0);
    // A statement of many megabytes is no problem either.
    std::string longSql = "SELECT '" + std::string(5000000, 'q') + "' AS q";
    auto big = test::rowsOf(db, longSql);
    EXPECT_EQ(big->value(0, 0).AsText().size(), 5000000u);
    EXPECT_EQ(db.CheckSQLSyntax(longSql), "Syntax SQL Query correct");
}

TEST_F(SqliteCatalogue, NoServiceKeepsTheFileOpen) {
    // The probe sees an open connection.
    ASSERT_GE(openDescriptorsOn(path, test::sessionOf(db)), 1);
    EXPECT_EQ(openDescriptorsOn(path), 0);
    EXPECT_NE(db.GetListOfTables(), "");
    EXPECT_EQ(openDescriptorsOn(path), 0);
    EXPECT_NE(db.GetListOfFields("Zeta", true), "");
    EXPECT_EQ(openDescriptorsOn(path), 0);
    EXPECT_TRUE(db.IsTheFieldInTheTable("Id", "Zeta"));
    EXPECT_EQ(openDescriptorsOn(path), 0);
    EXPECT_EQ(db.CheckSQLSyntax("SELECT * FROM Zeta"), "Syntax SQL Query correct");
    EXPECT_EQ(db.CheckSQLSyntax("SELECT * FORM Zeta").substr(0, 13), "Syntax error:");
    EXPECT_EQ(openDescriptorsOn(path), 0);
    EXPECT_TRUE(db.Check(true));
    EXPECT_EQ(openDescriptorsOn(path), 0);
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT * FROM Nope", error, 0), nullptr);
    EXPECT_EQ(openDescriptorsOn(path), 0);
    auto rs = test::rowsOf(db, "SELECT Id, Name FROM Zeta");
    EXPECT_EQ(openDescriptorsOn(path), 0);
    // The result set is detached: it reads the same with the file gone.
    std::filesystem::remove(path);
    EXPECT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(rs->Fields("Name").AsText(), "x");
    EXPECT_EQ(db.GetListOfTables(), "");
}

class SqliteFailures : public ::testing::Test {
protected:
    TempDir dir;
};

// A missing file (which is not created) and a file that is no database.
TEST_F(SqliteFailures, AMissingFileOrOneThatIsNotADatabaseIsAnError) {
    const std::string missing = dir.file("missing.sqlite"), text = dir.file("text.sqlite");
    std::ofstream(text) << "this is not a database, just some text that is long enough to fill a "
                           "header";
    for (const std::string& path : {missing, text}) {
        SCOPED_TRACE(path);
        test::expectNoConnection(sqliteConnection(path));
        // The reason names the file.
        EXPECT_NE(
            cDbConnection::LastConnectionError().find(path.substr(dir.path().string().size())),
            std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(SqliteFailures, FileNamesWithUriCharactersOpenTheRightFile) {
    for (const std::string name : {"odd ?#% name.sqlite", "caf\u00e9;x=1.sqlite"}) {
        std::string path = dir.file(name);
        test::writeSqlite(path, kCatalogueScript);
        cDbConnection db = sqliteConnection(path);
        EXPECT_EQ(db.GetListOfFields("alpha", false), "a") << name;
        // The same file reached through a path starting with "//".
        db.setStrDatabase("/" + path);
        EXPECT_EQ(db.GetListOfFields("alpha", false), "a") << name;
        // And through a relative path.
        std::string relative = std::filesystem::relative(path).string();
        db.setStrDatabase(relative);
        EXPECT_EQ(db.GetListOfFields("alpha", false), "a") << relative;
    }
    // A name that only differs by what a URI would cut off is another, missing file.
    cDbConnection cut = sqliteConnection(dir.file("odd "));
    EXPECT_FALSE(cut.Check(true));
}

TEST_F(SqliteFailures, NoFileNameAndAnUnknownProviderGiveNoConnection) {
    cDbConnection db;
    db.setStrProvider("SQLite");
    EXPECT_FALSE(db.Check(true));
    db.setStrProvider("Oracle");
    db.setStrDatabase(dir.file("x"));
    EXPECT_EQ(db.GetConnection(), nullptr);
    EXPECT_EQ(cDbConnection::LastConnectionError(), "Unknown provider: Oracle");
}

// The generated sample database, shared by the tests below.
class SqliteSample : public test::SampleDatabaseSuite {
protected:
    static std::int64_t count(const std::string& table) {
        return std::stoll(test::querySqlite(s_path, "SELECT count(*) FROM " + table));
    }
};

TEST_F(SqliteSample, SyntaxCheckAnswersInTheFixedTexts) {
    EXPECT_EQ(db.CheckSQLSyntax("SELECT OrderID FROM dbo.Orders"), "Syntax SQL Query correct");
    EXPECT_EQ(db.CheckSQLSyntax("SELECT * FORM dbo.Orders"),
              "Syntax error:\r\nnear \"FORM\": syntax error");
    EXPECT_EQ(db.CheckSQLSyntax("SELECT * FROM dbo.Nope"),
              "Syntax error:\r\nno such table: dbo.Nope");
    // A failing check leaves nothing behind: the next one runs normally.
    EXPECT_EQ(db.CheckSQLSyntax("SELECT 1"), "Syntax SQL Query correct");
}

// A limit of zero or below means all rows, a limit stops at that many rows, and a limit above
// the row count returns what there is.
TEST_F(SqliteSample, RowLimits) {
    ASSERT_EQ(count("\"Order Details\""), 2155);
    const struct {
        const char* sql;
        int limit;
        std::int32_t rows;
        std::int64_t first, last; // the first and last OrderID, when ordered by it
    } cases[] = {
        {"SELECT * FROM dbo.[Order Details]", 0, 2155, 0, 0},
        {"SELECT * FROM dbo.[Order Details]", -3, 2155, 0, 0},
        {"SELECT OrderID FROM dbo.Orders ORDER BY OrderID", 100, 100, 10248, 10347},
        {"SELECT OrderID FROM dbo.Orders", 1, 1, 0, 0},
        {"SELECT * FROM dbo.Shippers", 100, 3, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.sql) + " limit " + std::to_string(c.limit));
        std::string error = "stale text";
        auto rs = db.FireQuery(c.sql, error, c.limit);
        ASSERT_NE(rs, nullptr) << error;
        EXPECT_EQ(error, "");
        EXPECT_EQ(rs->RecordCount(), c.rows);
        if (c.first != 0) {
            EXPECT_EQ(rs->value(0, 0).AsInteger(), c.first);
            EXPECT_EQ(rs->value(c.rows - 1, 0).AsInteger(), c.last);
        }
    }
}

TEST_F(SqliteSample, ServerErrorsComeBackAsErrorText) {
    for (const auto& [sql, expected] :
         {std::pair{"SELECT * FROM dbo.Nope", "Error\r\n\r\nno such table: dbo.Nope"},
          std::pair{"SELECT FROM", "Error\r\n\r\nnear \"FROM\": syntax error"}}) {
        std::string error;
        EXPECT_EQ(db.FireQuery(sql, error, 10), nullptr) << sql;
        EXPECT_EQ(error, expected);
    }
}

TEST_F(SqliteSample, ValuesKeepTheirTypesAndColumnsTheirDeclaredTypes) {
    auto rs = test::rowsOf(db, "SELECT CategoryID, CategoryName, Picture, 1.5 AS Half, "
                               "NULL AS NoValue FROM dbo.Categories ORDER BY CategoryID");
    ASSERT_EQ(rs->FieldCount(), 5);
    EXPECT_EQ(rs->FieldName(1), "CategoryName");
    EXPECT_EQ(rs->FieldTypeName(1), "nvarchar(15)");
    EXPECT_EQ(rs->FieldTypeName(2), "image");
    EXPECT_EQ(rs->FieldTypeName(3), "");
    EXPECT_EQ(rs->value(0, 0).Kind(), DbValueKind::Integer);
    EXPECT_EQ(rs->value(0, 1).AsText(), "Beverages");
    EXPECT_EQ(rs->value(2, 2).Kind(), DbValueKind::Blob);
    EXPECT_EQ(rs->value(2, 2).ToString(), "0x424D02");
    EXPECT_EQ(rs->value(0, 3).Kind(), DbValueKind::Real);
    EXPECT_EQ(rs->value(0, 3).ToString(), "1.5");
    EXPECT_TRUE(rs->value(0, 4).IsNull());
    EXPECT_EQ(rs->value(0, 4).ToString(), "");
}

TEST_F(SqliteSample, TheCursorWalksForwardAndFindsFieldsByName) {
    auto rs =
        test::rowsOf(db, "SELECT ShipperID, CompanyName FROM dbo.Shippers ORDER BY ShipperID");
    std::vector<std::string> names;
    for (; !rs->IsEOF(); rs->MoveNext())
        names.emplace_back(rs->Fields("companyname").AsText());
    EXPECT_EQ(names,
              (std::vector<std::string>{"Speedy Express", "United Package", "Federal Shipping"}));
    EXPECT_TRUE(rs->IsEOF());
    EXPECT_FALSE(rs->IsBOF());
    EXPECT_TRUE(rs->Fields(0).IsNull()); // past the end
    rs->MoveNext();                      // stays at the end
    EXPECT_EQ(rs->AbsolutePosition(), 3);
    rs->MoveFirst();
    EXPECT_EQ(rs->Fields("ShipperID").AsInteger(), 1);
    EXPECT_TRUE(rs->Fields("NoSuchColumn").IsNull());
    EXPECT_EQ(rs->FieldIndex("NoSuchColumn"), -1);
    EXPECT_TRUE(rs->value(-1, 0).IsNull());
    EXPECT_TRUE(rs->value(0, 2).IsNull());
}

TEST_F(SqliteSample, GeneratedTransactSqlRunsUnchanged) {
    const std::string sql =
        "SELECT Customers.CompanyName, SUM(Orders.Freight) AS TotalFreight, "
        "LEFT(Customers.CompanyName, 3) AS Short, STDEV([Order Details].Quantity) AS Spread\r\n"
        "FROM (dbo.Orders INNER JOIN dbo.Customers ON Orders.CustomerID = Customers.CustomerID)"
        " INNER JOIN dbo.[Order Details] ON Orders.OrderID = [Order Details].OrderID\r\n"
        "WHERE Orders.ShipCountry = 'Germany' AND YEAR(Orders.OrderDate) >= 1996\r\n"
        "GROUP BY Customers.CompanyName\r\n"
        "HAVING SUM(Orders.Freight) > 100\r\n"
        "ORDER BY TotalFreight DESC";
    EXPECT_EQ(db.CheckSQLSyntax(sql), "Syntax SQL Query correct");
    auto rs = test::rowsOf(db, sql, 50);
    ASSERT_GT(rs->RecordCount(), 0);
    EXPECT_EQ(rs->FieldName(2), "Short");
    EXPECT_EQ(rs->value(0, 2).AsText(), rs->value(0, 0).AsText().substr(0, 3));
    for (std::int32_t r = 1; r < rs->RecordCount(); ++r)
        EXPECT_GE(rs->value(r - 1, 1).AsReal(), rs->value(r, 1).AsReal());
}

TEST_F(SqliteSample, ViewsAreListedAndRun) {
    std::string list = db.GetListOfTables();
    EXPECT_NE(list.find("dbo.Order Details Extended"), std::string::npos);
    auto rs = test::rowsOf(db, "SELECT * FROM dbo.[Order Details Extended]", 5);
    EXPECT_EQ(rs->RecordCount(), 5);
    EXPECT_EQ(rs->FieldName(6), "ExtendedPrice");
}

// Statements that would change the database: the preview refuses them and the file stays as
// it was, byte for byte.
class SqliteWrites : public SqliteSample, public ::testing::WithParamInterface<const char*> {};

TEST_P(SqliteWrites, APreviewCannotChangeTheFile) {
    const std::string before = test::fileBytes(s_path);
    const std::int64_t orders = count("Orders");
    std::string error;
    EXPECT_EQ(db.FireQuery(GetParam(), error, 10), nullptr);
    EXPECT_TRUE(error.starts_with("Error\r\n\r\n")) << error;
    EXPECT_EQ(test::fileBytes(s_path), before);
    EXPECT_EQ(count("Orders"), orders);
    EXPECT_FALSE(std::filesystem::exists(s_dir->file("other.sqlite")));
}

INSTANTIATE_TEST_SUITE_P(
    WritingStatements, SqliteWrites,
    ::testing::Values("DELETE FROM dbo.Orders", "DELETE FROM Orders WHERE 1 = 1",
                      "UPDATE dbo.Orders SET Freight = 0", "INSERT INTO Region VALUES (9, 'x')",
                      "DROP TABLE dbo.Customers", "CREATE TABLE dbo.t (x integer)",
                      "ALTER TABLE Orders ADD COLUMN x integer", "CREATE TEMP TABLE t (x)",
                      "PRAGMA query_only = 0; DELETE FROM dbo.Orders",
                      "PRAGMA dbo.journal_mode = WAL", "PRAGMA dbo.user_version = 5", "VACUUM",
                      "ATTACH DATABASE 'other.sqlite' AS other", "DETACH DATABASE dbo"));

TEST_F(SqliteSample, StatementsAfterTheFirstResultAreNotRun) {
    const std::string before = test::fileBytes(s_path);
    auto rs = test::rowsOf(db, "SELECT 1 AS One; DELETE FROM dbo.Orders", 10);
    EXPECT_EQ(rs->FieldName(0), "One");
    EXPECT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(test::fileBytes(s_path), before);
}

TEST_F(SqliteSample, ACheckOfAWritingStatementOnlyCompilesIt) {
    const std::string before = test::fileBytes(s_path);
    EXPECT_EQ(db.CheckSQLSyntax("DELETE FROM dbo.Orders"), "Syntax SQL Query correct");
    EXPECT_EQ(db.CheckSQLSyntax("UPDATE dbo.Orders SET Freight = 0; DROP TABLE dbo.Orders"),
              "Syntax SQL Query correct");
    EXPECT_EQ(db.CheckSQLSyntax("DELETE FROM dbo.Orders WHERE"),
              "Syntax error:\r\nincomplete input");
    EXPECT_EQ(test::fileBytes(s_path), before);
    EXPECT_EQ(count("Orders"), 806);
}

} // namespace
} // namespace marovin
