// Nothing the user built is lost and nothing unwinds into Qt's event loop: placements that
// cannot succeed leave no trace, and a query that cannot be shown leaves the previous one.

#include "ControlHarness.h"

#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(NoLossTest, ATableWhoseNameEndsInADotGetsAUsableAlias) {
    ScratchDatabase db("CREATE TABLE \"x.\" (a INTEGER); INSERT INTO \"x.\" VALUES (7);");
    ControlHarness h(nullptr, db.connection());
    h.placeTable("dbo.x.");
    h.placeTable("dbo.x.");
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"x", "x1"}));
    ASSERT_EQ(h.query->Tables()->Count(), 2);
    EXPECT_EQ(h.query->Tables()->Item(1)->strName(), "dbo.[x.]");

    // Removing one leaves the other, keyed and named as before.
    h.box->QueueAnswer(MessageAnswer::Yes);
    ASSERT_TRUE(h.diagram()->requestTableRemoval("x"));
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"x1"});
    EXPECT_EQ(h.query->Tables()->Count(), 1);
}

TEST(NoLossTest, AStoredSubQueryTableWithoutANameLoads) {
    ControlHarness h;
    h.load(QueryDocument()
               .subQueryTable("")
               .item("VirtualTable.CompanyName", "CompanyName")
               .subQuery("", QueryDocument()
                                 .table("dbo.Customers")
                                 .item("Customers.CompanyName", "CompanyName")));
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"VirtualTable"});
    EXPECT_NE(h.control().strSQL().find(") AS VirtualTable"), std::string::npos)
        << h.control().strSQL();
}

TEST(NoLossTest, APlacementTheDiagramRefusesLeavesNoHalfMadeTable) {
    // A column name with a line feed cannot be written into the box's definition text.
    ScratchDatabase db("CREATE TABLE Good (a INTEGER); CREATE TABLE Bad (\"x\ny\" INTEGER);");
    ControlHarness h(nullptr, db.connection());
    h.placeTable("dbo.Good", {"a"});
    const std::string before = h.query->ToXmlText();
    h.changed = 0;

    h.placeTable("dbo.Bad");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_TRUE(h.box->shown()[0].strText.contains("dbo.Bad"));
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Good"});
    EXPECT_EQ(h.changed, 0);
    EXPECT_EQ(h.query->ToXmlText(), before);

    // The next placement of a good table gets the next slot and a clean alias.
    h.placeTable("dbo.Good");
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Good", "Good1"}));
    EXPECT_EQ(h.query->Tables()->Count(), 2);
}

TEST(NoLossTest, AQueryThatCannotBeShownLeavesThePreviousOneAndBothObjectsUntouched) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .table("dbo.Customers")
               .item("Orders.Freight", "Freight")
               .join("Orders", "Customers", "(Orders.CustomerID = Customers.CustomerID)")
               .filter("Orders.Freight > 1"));
    const auto current = h.query;
    const std::string currentDocument = current->ToXmlText();
    const std::string currentSql = h.control().strSQL();

    // A sub-query whose own statement cannot be rendered: its only join has the same table on
    // both sides.
    auto other = std::make_shared<cSQLQuery>();
    other->LoadXmlText(
        QueryDocument()
            .subQueryTable("S")
            .item("S.Freight", "Freight")
            .subQuery("S", QueryDocument()
                               .table("dbo.Orders")
                               .table("dbo.Customers")
                               .item("Orders.Freight", "Freight")
                               .join("Orders", "Orders", "(Orders.OrderID = Orders.OrderID)"))
            .xml());
    const std::string otherDocument = other->ToXmlText();
    h.box->clear();
    h.changed = 0;
    h.control().setSQLQueryObject(other);

    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(h.box->shown()[0].strCaption, "Load query");
    EXPECT_EQ(h.control().SQLQueryObject(), current);
    EXPECT_EQ(current->ToXmlText(), currentDocument);
    EXPECT_EQ(other->ToXmlText(), otherDocument);
    EXPECT_EQ(h.control().strSQL(), currentSql);
    EXPECT_EQ(h.diagram()->tableAliases(), (QStringList{"Orders", "Customers"}));
    EXPECT_EQ(h.rows(), 1);
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.changed, 0);
}
