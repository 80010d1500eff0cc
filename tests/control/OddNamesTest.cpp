// Tables and columns named like keywords or holding characters a plain name cannot: the editor
// shows them plainly and hands the model names that make a statement SQLite runs.

#include "ControlHarness.h"
#include "marovin/SqlNames.h"

#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

// Keywords, a hyphen, a quote, a "]" and a blank.
constexpr const char* kOddSchema = R"(
CREATE TABLE "Order" ("Key" INTEGER PRIMARY KEY, "Group" TEXT, "Select" INTEGER);
CREATE TABLE "Order-Lines" ("Key" INTEGER, "it's" TEXT, "a]b" REAL, "Unit Price" REAL);
INSERT INTO "Order" VALUES (1, 'north', 10), (2, 'south', 20);
INSERT INTO "Order-Lines" VALUES (1, 'x', 1.5, 2.0), (1, 'y', 2.5, 3.0), (2, 'z', 3.5, 4.0);
)";

// Runs the statement on the database; fails the test with the server's text when it does not.
int rowsOf(const cDbConnection& db, const std::string& sql) {
    std::string error;
    const auto rows = db.FireQuery(sql, error, 100);
    EXPECT_TRUE(error.empty()) << error << "\n" << sql;
    return rows ? rows->RecordCount() : -1;
}

} // namespace

TEST(OddNamesTest, BracketsAreAddedOnlyWhereTheStatementNeedsThem) {
    // Keywords, names that start with a digit or hold a character a plain name cannot.
    for (const std::string name : {"Order", "group", "Order-Lines", "it's", "1st"})
        EXPECT_EQ(BracketIdentifier(name), "[" + name + "]");
    EXPECT_EQ(BracketIdentifier("a]b"), "[a]]b]");
    // Plain names, names in brackets already, "*" and nothing are left as they are.
    for (const std::string name : {"Orders", "Straße", "[Order]", "*", ""})
        EXPECT_EQ(BracketIdentifier(name), name);
    EXPECT_EQ(UnbracketIdentifier(" [a]]b] "), "a]b");
    EXPECT_EQ(SplitQualifiedName("dbo.[Order Details].[x.y]"),
              (std::vector<std::string>{"dbo", "Order Details", "x.y"}));
    EXPECT_EQ(SplitQualifiedName("[a]]].b"), (std::vector<std::string>{"a]", "b"}));
    EXPECT_EQ(UnbracketQualifiedName("dbo.[Order]"), "dbo.Order");
    EXPECT_EQ(BracketCatalogueName("dbo.x."), "dbo.[x.]");
    EXPECT_EQ(BracketCatalogueName("dbo.Order"), "dbo.[Order]");
    EXPECT_TRUE(IsReservedWord("select"));
    EXPECT_FALSE(IsReservedWord("Selection"));
}

TEST(OddNamesTest, KeywordNamesArePlacedSelectedPreviewedSavedAndReopened) {
    ScratchDatabase odd(kOddSchema);
    ControlHarness h(nullptr, odd.connection());
    h.placeTable("dbo.Order", {"Group", "Select"});
    ASSERT_TRUE(h.box->shown().empty());

    // The panes show the names as they are.
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Order"});
    EXPECT_EQ(h.row(1), (QStringList{"Group", "Group", "<none>", "dbo.Order", "Order"}));

    const std::string sql = h.control().strSQL();
    EXPECT_EQ(sql, "SELECT\r\n     [Order].[Group] AS [Group], \r\n     [Order].[Select] AS "
                   "[Select]\r\nFROM \r\n     dbo.[Order] AS [Order]\r\n");
    EXPECT_EQ(rowsOf(*h.db, sql), 2);

    // Saved and reopened, the query gives the same statement, with the names shown plainly.
    ControlHarness again(nullptr, odd.connection());
    again.load(h.query->ToXmlText());
    EXPECT_TRUE(again.box->shown().empty());
    EXPECT_EQ(again.control().strSQL(), sql);
    EXPECT_EQ(again.cell(2, 1), "Select");
    EXPECT_EQ(again.diagram()->tableAliases(), QStringList{"Order"});
}

TEST(OddNamesTest, NamesWithHyphensQuotesAndBracketsJoinAndRun) {
    ScratchDatabase odd(kOddSchema);
    ControlHarness h(nullptr, odd.connection());
    h.placeTable("dbo.Order");
    h.placeTable("dbo.Order-Lines");
    h.dragJoin("Order", "Key", "Order-Lines", "Key");
    h.chooseColumn("Order", "Group");
    h.chooseColumns("Order-Lines", {"it's", "a]b", "Unit Price"});
    ASSERT_TRUE(h.box->shown().empty());
    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("[Order-Lines].[a]]b] AS [a]]b]"), std::string::npos) << sql;
    EXPECT_NE(sql.find("ON ([Order].[Key] = [Order-Lines].[Key])"), std::string::npos) << sql;
    EXPECT_EQ(rowsOf(*h.db, sql), 3);

    // A second placement of a keyword table is numbered by its plain name.
    h.placeTable("dbo.Order");
    EXPECT_EQ(h.diagram()->tableAliases().last(), "Order1");

    ControlHarness again(nullptr, odd.connection());
    again.load(h.query->ToXmlText());
    EXPECT_TRUE(again.box->shown().empty());
    EXPECT_EQ(again.control().strSQL(), h.control().strSQL());
    EXPECT_EQ(again.diagram()->joinCount(), 1);
}

TEST(OddNamesTest, ADocumentThatNamesThemPlainlyLoadsIntoSqlThatRuns) {
    ScratchDatabase odd(kOddSchema);
    ControlHarness h(nullptr, odd.connection());
    // As a host writes it by hand: no brackets anywhere.
    h.load(QueryDocument()
               .table("dbo.Order")
               .item("Order.Group", "Group")
               .item("Order.Select", "Total", "SUM"));
    ASSERT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.row(1), (QStringList{"Group", "Group", "<none>", "dbo.Order", "Order"}));
    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("SUM([Order].[Select]) AS Total"), std::string::npos) << sql;
    EXPECT_NE(sql.find("GROUP BY\r\n     [Order].[Group]"), std::string::npos) << sql;
    EXPECT_EQ(rowsOf(*h.db, sql), 2);
}
