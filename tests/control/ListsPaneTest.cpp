#include "ControlHarness.h"

#include <QAction>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

const char* const kQuery = R"(<SQLQuery>
  <TABLES_USED><TABLE><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE></TABLES_USED>
  <ITEMS_SELECTED><ITEM><NAME>Orders.Freight</NAME><ALIAS>Freight</ALIAS></ITEM></ITEMS_SELECTED>
  <CALCULATED_ITEMS>
    <ITEM><ITEM_NAME>Heavy</ITEM_NAME><COMPUTATION>CASE WHEN Orders.Freight &gt; 100{newline}THEN 1 ELSE 0 END</COMPUTATION></ITEM>
    <ITEM><ITEM_NAME>Twice</ITEM_NAME><COMPUTATION>Orders.Freight * 2</COMPUTATION></ITEM>
  </CALCULATED_ITEMS>
  <FIXED_FILTERS>
    <FILTER isactive="True">Orders.ShipCountry = 'Germany'{newline}OR Orders.ShipCountry = 'France'</FILTER>
    <FILTER isactive="False">Orders.Freight &gt; 10</FILTER>
  </FIXED_FILTERS>
</SQLQuery>)";

void select(QTreeWidget* list, int index) {
    list->setFocus();
    QTreeWidgetItem* item = list->topLevelItem(index);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

} // namespace

TEST(ListsPaneTest, ShowsConditionsAndCalculatedItemsOnOneLineWithTheirStoredText) {
    ControlHarness h;
    h.load(kQuery);
    QTreeWidget* expressions = h.expressions();
    ASSERT_EQ(expressions->columnCount(), 3);
    EXPECT_EQ(expressions->headerItem()->text(0), "Variable");
    EXPECT_EQ(expressions->headerItem()->text(1), "");
    EXPECT_EQ(expressions->headerItem()->text(2), "Expression");
    ASSERT_EQ(expressions->topLevelItemCount(), 2);
    QTreeWidgetItem* heavy = expressions->topLevelItem(0);
    EXPECT_EQ(heavy->text(0), "Heavy");
    EXPECT_EQ(heavy->text(1), "=");
    EXPECT_EQ(heavy->text(2), "CASE WHEN Orders.Freight > 100 THEN 1 ELSE 0 END");
    EXPECT_EQ(heavy->data(0, Qt::UserRole).toString(),
              "CASE WHEN Orders.Freight > 100{newline}THEN 1 ELSE 0 END");

    QTreeWidget* conditions = h.conditions();
    ASSERT_EQ(conditions->columnCount(), 1);
    ASSERT_EQ(conditions->topLevelItemCount(), 2);
    QTreeWidgetItem* first = conditions->topLevelItem(0);
    EXPECT_EQ(first->text(0), "Orders.ShipCountry = 'Germany' OR Orders.ShipCountry = 'France'");
    EXPECT_EQ(first->data(0, Qt::UserRole).toString(),
              "Orders.ShipCountry = 'Germany'{newline}OR Orders.ShipCountry = 'France'");
    // A loaded condition's tool tip is its shown text.
    EXPECT_EQ(first->toolTip(0), first->text(0));
    EXPECT_EQ(first->checkState(0), Qt::Checked);
    QTreeWidgetItem* second = conditions->topLevelItem(1);
    EXPECT_EQ(second->checkState(0), Qt::Unchecked);
    EXPECT_NE(second->foreground(0).color(), first->foreground(0).color()); // greyed

    // The inactive condition stays in the query but not in WHERE.
    ASSERT_EQ(h.query->Filters()->Count(), 2);
    EXPECT_FALSE(h.query->Filters()->Item(2)->blnIsActive());
    EXPECT_EQ(h.control().strSQL().find("(Orders.Freight > 10)"), std::string::npos);
    EXPECT_NE(h.control().strSQL().find("'Germany' OR Orders.ShipCountry"), std::string::npos)
        << h.control().strSQL();
}

TEST(ListsPaneTest, RemovingAConditionAsksFirst) {
    ControlHarness h;
    h.load(kQuery);
    // Without a selection only the buttons are updated.
    h.clickButton("cmdRemoveCondition");
    EXPECT_TRUE(h.box->shown().empty());

    select(h.conditions(), 1);
    h.box->QueueAnswer(MessageAnswer::No);
    h.changed = 0;
    h.clickButton("cmdRemoveCondition");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(h.box->shown()[0].strCaption, "Remove Condition");
    EXPECT_EQ(h.box->shown()[0].strText,
              "Do you really want to remove Condition\r\n\r\nOrders.Freight > 10");
    EXPECT_EQ(h.box->shown()[0].buttons, MessageButtons::YesNo);
    EXPECT_EQ(h.box->shown()[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 2);
    EXPECT_EQ(h.changed, 0);

    h.box->QueueAnswer(MessageAnswer::Yes);
    h.control().RemoveCondition();
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.query->Filters()->Count(), 1);
}

TEST(ListsPaneTest, RemovingACalculatedItemAsksFirst) {
    ControlHarness h;
    h.load(kQuery);
    select(h.expressions(), 1);
    h.box->QueueAnswer(MessageAnswer::Yes);
    h.clickButton("cmdRemoveExpression");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(h.box->shown()[0].strCaption, "Remove Expression");
    EXPECT_EQ(h.box->shown()[0].strText,
              "Do you really want to remove the expression for variable Twice?");
    ASSERT_EQ(h.expressions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.query->CalculatedItems()->Count(), 1);
    EXPECT_EQ(h.control().strSQL().find("Twice"), std::string::npos);
}

TEST(ListsPaneTest, CtrlQSwitchesAConditionOnlyWhileParametersAreSet) {
    ControlHarness h;
    h.load(kQuery);
    select(h.conditions(), 1);
    h.changed = 0;
    QTest::keyClick(h.conditions(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(h.conditions()->topLevelItem(1)->checkState(0), Qt::Unchecked);
    EXPECT_EQ(h.changed, 0);

    h.control().setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"Country"}));
    QTest::keyClick(h.conditions(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(h.conditions()->topLevelItem(1)->checkState(0), Qt::Checked);
    EXPECT_EQ(h.changed, 1);
    EXPECT_TRUE(h.query->Filters()->Item(2)->blnIsActive());
    EXPECT_NE(h.control().strSQL().find("(Orders.Freight > 10)"), std::string::npos);

    // With nothing selected the change is still published.
    h.conditions()->clearSelection();
    QTest::keyClick(h.conditions(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(h.changed, 2);
    EXPECT_EQ(h.conditions()->topLevelItem(1)->checkState(0), Qt::Checked);

    // A click on the check box does not switch it: only Ctrl+Q does.
    QTreeWidgetItem* item = h.conditions()->topLevelItem(0);
    const QRect rect = h.conditions()->visualItemRect(item);
    QTest::mouseClick(h.conditions()->viewport(), Qt::LeftButton, {},
                      QPoint(rect.left() + 8, rect.center().y()));
    EXPECT_EQ(item->checkState(0), Qt::Checked);
}

TEST(ListsPaneTest, CtrlQInTheConditionsListNeverReachesTheHostsShortcuts) {
    ControlHarness h;
    h.load(kQuery);
    // A host window with Ctrl+Q as a shortcut of its own (Quit, say).
    int quits = 0;
    QAction quit(&h.control());
    quit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit.setShortcutContext(Qt::WindowShortcut);
    h.control().addAction(&quit);
    QObject::connect(&quit, &QAction::triggered, [&quits] { ++quits; });
    select(h.conditions(), 0);

    // Without parameters the key switches nothing, and still does not quit the host.
    QTest::keyClick(h.conditions(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(quits, 0);
    EXPECT_EQ(h.conditions()->topLevelItem(0)->checkState(0), Qt::Checked);

    // With parameters the key switches the condition and the host's shortcut does not fire.
    h.control().setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"Country"}));
    h.changed = 0;
    QTest::keyClick(h.conditions(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(quits, 0);
    EXPECT_EQ(h.conditions()->topLevelItem(0)->checkState(0), Qt::Unchecked);
    EXPECT_EQ(h.changed, 1);
    EXPECT_FALSE(h.query->Filters()->Item(1)->blnIsActive());
}
