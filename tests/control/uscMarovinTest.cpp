#include "ControlHarness.h"

#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

TEST(uscMarovinTest, BuildSubQueryHidesTheSubQueryButtonForGood) {
    ControlHarness h;
    QPushButton* button = h.button("cmdSubQueries");
    h.control().setBlnBuildSubQuery(false);
    EXPECT_TRUE(button->isVisible());
    EXPECT_TRUE(button->isEnabled());
    h.control().setBlnBuildSubQuery(true);
    EXPECT_FALSE(button->isVisible());
    EXPECT_FALSE(button->isEnabled());
    EXPECT_EQ(button->height(), 0);
    h.control().setBlnBuildSubQuery(false);
    EXPECT_FALSE(button->isVisible());
}

TEST(uscMarovinTest, PropertiesStoreTheHostsObjects) {
    ControlHarness h;
    ScratchDatabase db("CREATE TABLE Only (x INTEGER);");
    const auto other = db.connection();
    const QStringList sampleEntries = h.tableEntries();
    ASSERT_GT(sampleEntries.size(), 10);
    h.control().setDatabaseObject(other);
    EXPECT_EQ(h.control().DatabaseObject(), other);
    // Setting the connection alone does not refill the list; Refresh does.
    EXPECT_EQ(h.tableEntries(), sampleEntries);
    h.control().Refresh();
    EXPECT_EQ(h.tableEntries(), QStringList{"dbo.Only"});
}

TEST(uscMarovinTest, RefreshRebuildsThePanesFromTheQuery) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    h.changed = 0;
    h.control().Refresh();
    EXPECT_EQ(h.changed, 0);
    // The query was assembled from the panes, so Refresh finds the same state in it.
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
    ASSERT_EQ(h.rows(), 1);
    EXPECT_EQ(h.row(1), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));
    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("Orders.Freight AS Freight"), std::string::npos) << sql;
    EXPECT_NE(sql.find("dbo.Orders AS Orders"), std::string::npos) << sql;
}
