#include "ControlHarness.h"

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <cmath>
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

    settings->SaveSetting("RelSizesDVPanes", "Positions", "0.3$%&0.5$%&0.8$%&0.15$%&0.45");
    { ControlHarness h(settings); }
    EXPECT_EQ(settings->GetSetting("RelSizesDVPanes", "Positions", ""), " .3, .5, .8, .15, .45");
    // What was written is not accepted on the next read: the proportions fall back to their
    // defaults, not to the values just written.
    {
        ControlHarness h(settings);
        EXPECT_EQ(h.control().paneProportions(), kDefaults);
    }
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

namespace {

int twips(const QWidget& widget, int value) {
    return static_cast<int>(std::lround(value * widget.logicalDpiY() / 1440.0));
}

// The control with its bars and drag indicator, driven by real mouse events.
struct Splitters {
    explicit Splitters(std::shared_ptr<MemorySettingsStore> settings = nullptr)
        : h(std::move(settings)) {
        h.control().resize(1000, 900);
        QApplication::processEvents();
    }

    QWidget* bar(int index) {
        return h.control().findChild<QWidget*>(QStringLiteral("imgSplit%1").arg(index));
    }
    QWidget* indicator() { return h.control().findChild<QWidget*>("picSplit"); }
    // A bar's position: its top for bars 0 to 2, its left edge for bars 3 and 4.
    int position(int index) {
        const QRect place = bar(index)->geometry();
        return index < 3 ? place.top() : place.left();
    }
    int proportional(int index) {
        const QSize size = h.control().size();
        return static_cast<int>(
            std::lround((index < 3 ? size.height() : size.width()) *
                        h.control().paneProportions()[static_cast<size_t>(index)]));
    }

    // Presses on the bar's middle, moves the pointer by the distance and lets go, checking the
    // indicator on the way; returns where the indicator stood before the button went up.
    int drag(int index, int distance) {
        QWidget* b = bar(index);
        const QPoint start = b->rect().center();
        const QPoint end = start + (index < 3 ? QPoint(0, distance) : QPoint(distance, 0));
        QTest::mousePress(b, Qt::LeftButton, Qt::NoModifier, start);
        EXPECT_TRUE(indicator()->isVisible());
        EXPECT_EQ(indicator()->geometry(), b->geometry());
        QTest::mouseMove(b, start + (end - start) / 2);
        QTest::mouseMove(b, end);
        EXPECT_TRUE(indicator()->isVisible());
        // The bar waits for the button to come up; only the indicator follows the pointer.
        EXPECT_EQ(position(index), positionBefore(index));
        const int shown = index < 3 ? indicator()->y() : indicator()->x();
        QTest::mouseRelease(b, Qt::LeftButton, Qt::NoModifier, end);
        EXPECT_FALSE(indicator()->isVisible());
        return shown;
    }
    // Drags the bar by the distance (as drag does) and returns where the bar landed.
    int moved(int index, int distance) {
        remember();
        drag(index, distance);
        return position(index);
    }
    int positionBefore(int index) const { return m_before[static_cast<size_t>(index)]; }
    void remember() {
        for (int i = 0; i < 5; ++i)
            m_before[static_cast<size_t>(i)] = position(i);
    }

    ControlHarness h;

private:
    std::array<int, 5> m_before{};
};

} // namespace

TEST(SplitterTest, BarsStartAtTheProportionsAndStayWithinTheirLimits) {
    Splitters s;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(s.position(i), s.proportional(i)) << "bar " << i;
    const QWidget& c = s.h.control();

    // Bar 0 dragged to the very top stops 1000 twips below it.
    s.remember();
    EXPECT_EQ(s.drag(0, -2000), twips(c, 1000));
    EXPECT_EQ(s.position(0), twips(c, 1000));
    // Bar 1 dragged onto bar 2 stops 500 twips above it, and bar 2 the same distance above the
    // bottom edge.
    EXPECT_EQ(s.moved(1, s.position(2) - s.position(1) + 40), s.position(2) - twips(c, 500));
    EXPECT_EQ(s.moved(2, 2000), c.height() - twips(c, 500));
    // Bar 1 dragged back up stops 500 twips below bar 0.
    EXPECT_EQ(s.moved(1, -2000), s.position(0) + twips(c, 500));

    // The upright bars keep 2000 twips from either edge.
    EXPECT_EQ(s.moved(3, 3000), c.width() - twips(c, 2000));
    EXPECT_EQ(s.moved(4, -3000), twips(c, 2000));
    // A drag within the limits lands where the pointer let go.
    EXPECT_EQ(s.moved(4, 100), twips(c, 2000) + 100);
}

TEST(SplitterTest, TheUpperLimitWinsWhenTheLimitsCross) {
    auto settings = std::make_shared<MemorySettingsStore>();
    // Bar 1 so close to the top that "500 above bar 1" lies above the lowest place of bar 0.
    settings->SaveSetting("RelSizesDVPanes", "Positions", "0.105$%&0.11$%&0.825$%&0.2$%&0.5");
    Splitters s(settings);
    const QWidget& c = s.h.control();
    ASSERT_LT(s.position(1) - twips(c, 500), twips(c, 1000));
    EXPECT_EQ(s.moved(0, 300), s.position(1) - twips(c, 500));
}

TEST(SplitterTest, PanesFollowADragAndAResizeRestoresTheProportions) {
    auto settings = std::make_shared<MemorySettingsStore>();
    Splitters s(settings);
    const QWidget* grid = s.h.grid();
    const int gridTop = grid->mapTo(&s.h.control(), QPoint(0, 0)).y();
    s.moved(0, -120);
    // The grid's pane grows upwards with the bar; the diagram ends at the bar.
    EXPECT_EQ(grid->mapTo(&s.h.control(), QPoint(0, 0)).y(), gridTop - 120);
    EXPECT_EQ(s.h.diagram()->geometry().bottom() + 1, s.position(0));
    s.moved(3, 150);
    EXPECT_EQ(s.h.diagram()->x(), s.position(3) + s.bar(3)->width());

    // The drag moved the bars, not the proportions: the next resize puts them back.
    s.h.control().resize(1100, 950);
    QApplication::processEvents();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(s.position(i), s.proportional(i)) << "bar " << i;
    s.h.destroyControl();
    EXPECT_EQ(settings->GetSetting("RelSizesDVPanes", "Positions", ""), " .375, .6, .825, .2, .5");
}

TEST(SplitterTest, OnlyTheLeftButtonDragsABar) {
    Splitters s;
    QWidget* bar = s.bar(2);
    const int before = s.position(2);
    QTest::mousePress(bar, Qt::RightButton, Qt::NoModifier, bar->rect().center());
    QTest::mouseMove(bar, bar->rect().center() + QPoint(0, -80));
    QTest::mouseRelease(bar, Qt::RightButton, Qt::NoModifier,
                        bar->rect().center() + QPoint(0, -80));
    EXPECT_FALSE(s.indicator()->isVisible());
    EXPECT_EQ(s.position(2), before);
}

TEST(SplitterTest, TheControlKeepsItsMinimumSize) {
    ControlHarness h;
    const int side = twips(h.control(), 8000);
    EXPECT_EQ(h.control().minimumSizeHint(), QSize(side, side));
    h.control().resize(200, 300);
    QApplication::processEvents();
    EXPECT_EQ(h.control().size(), QSize(side, side));
    h.control().resize(side + 10, 100);
    QApplication::processEvents();
    EXPECT_EQ(h.control().size(), QSize(side + 10, side));
}

TEST(SplitterTest, BarsAndEmptyPanesSayWhatTheyAre) {
    ControlHarness h;
    for (int i = 0; i < 5; ++i) {
        const auto* bar = h.control().findChild<QWidget*>(QStringLiteral("imgSplit%1").arg(i));
        ASSERT_NE(bar, nullptr);
        EXPECT_TRUE(bar->accessibleName().startsWith("Splitter")) << i;
        EXPECT_EQ(bar->cursor().shape(), i < 3 ? Qt::SplitVCursor : Qt::SplitHCursor);
    }
    // An empty grid says how to fill it; the hint goes once a column is selected.
    auto* hint = h.grid()->viewport()->findChild<QLabel*>("jgSelectedFieldsHint");
    ASSERT_NE(hint, nullptr);
    EXPECT_TRUE(hint->isVisible());
    EXPECT_EQ(hint->text(), "Double-click a column in a table to select it");
    h.placeTable("dbo.Orders", {"OrderID"});
    EXPECT_FALSE(hint->isVisible());
    EXPECT_FALSE(h.sqlView()->placeholderText().isEmpty());
    // Every button has a picture and a tip.
    for (const char* name :
         {"cmdAddTableToJoiner", "cmdSubQueries", "cmdMoveUp", "cmdMoveDown", "cmdRemoveSelectItem",
          "cmdAddCondition", "cmdEditCondition", "cmdRemoveCondition", "cmdAddExpression",
          "cmdEditExpression", "cmdRemoveExpression", "cmdCheckSQLSyntax", "cmdFireQuery"}) {
        EXPECT_FALSE(h.button(name)->icon().isNull()) << name;
        EXPECT_FALSE(h.button(name)->toolTip().isEmpty()) << name;
    }
}

TEST(SplitterTest, TabVisitsThePanesInReadingOrder) {
    ControlHarness h;
    h.load(R"(<?xml version="1.0"?><SQLQuery/>)");
    h.tableList()->setFocus();
    QApplication::processEvents();
    QStringList visited;
    for (int i = 0; i < 40; ++i) {
        QWidget* focus = QApplication::focusWidget();
        ASSERT_NE(focus, nullptr);
        // The diagram counts as one stop whatever its inner view is called.
        QWidget* named = h.diagram()->isAncestorOf(focus) ? h.diagram() : focus;
        while (named != nullptr && named->objectName().isEmpty())
            named = named->parentWidget();
        if (!visited.isEmpty() && named->objectName() == visited.front())
            break;
        if (visited.isEmpty() || visited.back() != named->objectName())
            visited << named->objectName();
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    // Buttons without anything to act on are disabled and skipped.
    EXPECT_EQ(visited.join(','), "lstTables,chkAlsoListViews,chkAlsoListSystemTables,"
                                 "chkAutoJoin,cmdAddTableToJoiner,cmdSubQueries,dvTablesAndJoins,"
                                 "jgSelectedFields,lvConditions,cmdAddCondition,lvExpressions,"
                                 "cmdAddExpression,cmdCheckSQLSyntax,cmdFireQuery,txtSQLQuery,"
                                 "txtTableFilter");
}
