#include "ControlHarness.h"

#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

std::array<float, 5> proportionsFor(const QString& stored) {
    auto settings = std::make_shared<MemorySettingsStore>();
    settings->SaveSetting("RelSizesDVPanes", "Positions", stored);
    ControlHarness h(settings);
    return h.control().paneProportions();
}

constexpr std::array<float, 5> kDefaults = {0.375F, 0.6F, 0.825F, 0.2F, 0.5F};

} // namespace

TEST(PaneProportionsTest, StoredValuesAreReadOnlyInTheirOwnSeparatorForm) {
    EXPECT_EQ(proportionsFor(""), kDefaults);
    EXPECT_EQ(proportionsFor("0.3$%&0.5$%&0.8$%&0.15$%&0.4"),
              (std::array<float, 5>{0.3F, 0.5F, 0.8F, 0.15F, 0.4F}));
    // "," as the decimal mark is read too; blanks around the value are trimmed.
    EXPECT_EQ(proportionsFor("  0,3$%&0,5$%&0,8$%&0,15$%&0,4  "),
              (std::array<float, 5>{0.3F, 0.5F, 0.8F, 0.15F, 0.4F}));
    // Out of range (both bounds exclusive) or no number: that value takes its default.
    EXPECT_EQ(proportionsFor("0.05$%&0.5$%&0.8$%&0.15$%&0.4"),
              (std::array<float, 5>{0.375F, 0.5F, 0.8F, 0.15F, 0.4F}));
    EXPECT_EQ(proportionsFor("0.1$%&0.99$%&x$%&0.15$%&0.4"),
              (std::array<float, 5>{0.375F, 0.6F, 0.825F, 0.15F, 0.4F}));
    // Four parts, or the control's own output form: all defaults.
    EXPECT_EQ(proportionsFor("0.3$%&0.5$%&0.8$%&0.15"), kDefaults);
    EXPECT_EQ(proportionsFor(" .3, .5, .8, .15, .4"), kDefaults);
}

TEST(PaneProportionsTest, DestructionWritesTheValuesReadAtCreationJoinedWithCommas) {
    auto settings = std::make_shared<MemorySettingsStore>();
    {
        ControlHarness h(settings);
        EXPECT_FALSE(settings->Contains("RelSizesDVPanes", "Positions"));
    }
    EXPECT_EQ(settings->GetSetting("RelSizesDVPanes", "Positions", ""), " .375, .6, .825, .2, .5");
    // What was written is not accepted on the next read.
    {
        ControlHarness h(settings);
        EXPECT_EQ(h.control().paneProportions(), kDefaults);
    }

    settings->SaveSetting("RelSizesDVPanes", "Positions", "0.3$%&0.5$%&0.8$%&0.15$%&0.45");
    { ControlHarness h(settings); }
    EXPECT_EQ(settings->GetSetting("RelSizesDVPanes", "Positions", ""), " .3, .5, .8, .15, .45");
}

TEST(PaneProportionsTest, ThePanesAreLaidOutByTheProportions) {
    auto settings = std::make_shared<MemorySettingsStore>();
    settings->SaveSetting("RelSizesDVPanes", "Positions", "0.5$%&0.7$%&0.9$%&0.3$%&0.25");
    ControlHarness h(settings);
    h.control().resize(1000, 1000);
    QApplication::processEvents();
    auto at = [&h](const QWidget* widget) {
        return widget->mapTo(&h.control(), QPoint(0, 0));
    };
    // The top row (table list and diagram) takes half the height; the grid's pane starts there.
    EXPECT_NEAR(h.diagram()->height(), 500, 20);
    EXPECT_NEAR(at(h.grid()).y(), 500, 60);
    // The SQL text starts below nine tenths of the height.
    EXPECT_NEAR(at(h.sqlView()).y(), 900, 60);
    // The diagram starts at three tenths of the width, the calculated items at a quarter.
    EXPECT_NEAR(at(h.diagram()).x(), 300, 20);
    EXPECT_NEAR(at(h.expressions()).x(), 250, 30);
}

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
    EXPECT_EQ(h.control().DatabaseObject(), h.db);
    EXPECT_EQ(h.control().SQLQueryObject(), h.query);
    auto other = SampleConnection();
    h.control().setDatabaseObject(other);
    EXPECT_EQ(h.control().DatabaseObject(), other);
    // Setting the connection alone does not refill the list; Refresh does.
    h.tableList()->clear();
    h.control().setDatabaseObject(h.db);
    EXPECT_EQ(h.tableList()->count(), 0);
    h.control().Refresh();
    EXPECT_GT(h.tableList()->count(), 10);
}

TEST(uscMarovinTest, RefreshRebuildsThePanesFromTheQuery) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    h.chooseColumn("Orders", "Freight");
    h.changed = 0;
    h.control().Refresh();
    EXPECT_EQ(h.changed, 0);
    // The query was assembled from the panes, so Refresh finds the same state in it.
    EXPECT_EQ(h.diagram()->tableAliases(), QStringList{"Orders"});
    ASSERT_EQ(h.rows(), 1);
    EXPECT_EQ(h.cell(1, 2), "Freight");
    const std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("Orders.Freight AS Freight"), std::string::npos) << sql;
    EXPECT_NE(sql.find("dbo.Orders AS Orders"), std::string::npos) << sql;
}
