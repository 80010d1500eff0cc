#include "ControlHarness.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

const std::string kQuery =
    QueryDocument()
        .table("dbo.Orders")
        .item("Orders.Freight", "Freight")
        .calculated("Heavy", "CASE WHEN Orders.Freight > 100{newline}THEN 1 ELSE 0 END")
        .calculated("Twice", "Orders.Freight * 2")
        .filter("Orders.ShipCountry = 'Germany'{newline}OR Orders.ShipCountry = 'France'")
        .filter("Orders.Freight > 10", false);

QPoint centre(QTreeWidget* list, int index) {
    return list->visualItemRect(list->topLevelItem(index)).center();
}

void select(QTreeWidget* list, int index) {
    list->setFocus();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centre(list, index));
}

// The centre of an item's check box.
QPoint checkBoxPoint(QTreeWidget* list, int index) {
    QStyleOptionViewItem option;
    option.initFrom(list->viewport());
    option.rect = list->visualItemRect(list->topLevelItem(index));
    option.features |= QStyleOptionViewItem::HasCheckIndicator;
    return list->style()
        ->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, list)
        .center();
}

void doubleClick(QTreeWidget* list, const QPoint& at) {
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
}

QPoint below(QTreeWidget* list) {
    return QPoint(list->viewport()->width() / 2, list->viewport()->height() - 4);
}

// Types a text into a builder's editor: line breaks as the Return key.
void typeLines(QWidget* editor, const QString& text) {
    editor->setFocus();
    const QStringList lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (i > 0)
            QTest::keyClick(editor, Qt::Key_Return);
        QTest::keyClicks(editor, lines[i]);
    }
}

using Action = std::function<void(QDialog&)>;
const QStringList kConditionBuilder{"marovin::frmConditionBuilder"};
const QStringList kExpressionBuilder{"marovin::frmExpressionBuilder"};

// Writes the condition in the condition builder and confirms it with OK.
Action writeCondition(const QString& text) {
    return [text](QDialog& dialog) {
        auto* editor = dialog.findChild<QPlainTextEdit*>("txtCondition");
        ASSERT_TRUE(editor);
        editor->clear();
        typeLines(editor, text);
        QTest::mouseClick(dialog.findChild<QPushButton*>("OKButton"), Qt::LeftButton);
    };
}

Action writeExpression(const QString& name, const QString& expression) {
    return [name, expression](QDialog& dialog) {
        auto* variable = dialog.findChild<QLineEdit*>("txtVariable");
        auto* editor = dialog.findChild<QPlainTextEdit*>("txtExpression");
        ASSERT_TRUE(variable && editor);
        variable->selectAll();
        QTest::keyClicks(variable, name);
        editor->clear();
        typeLines(editor, expression);
        QTest::mouseClick(dialog.findChild<QPushButton*>("OKButton"), Qt::LeftButton);
    };
}

// Runs the statement on the sample database; fails the test with the database's reason.
void expectRuns(const ControlHarness& h, const std::string& sql) {
    std::string error;
    const auto rows = h.db->FireQuery(sql, error, 100);
    EXPECT_TRUE(error.empty()) << error << "\n" << sql;
    EXPECT_TRUE(rows != nullptr);
}

} // namespace

TEST(ListsPaneTest, ShowsConditionsAndCalculatedItemsOnOneLineWithTheirStoredText) {
    ControlHarness h;
    h.load(kQuery);
    QTreeWidget* expressions = h.expressions();
    EXPECT_EQ(ItemRow(expressions->headerItem()),
              (QStringList{"Variable", "", "Expression", "Sort Type", "Sort Order"}));
    ASSERT_EQ(expressions->topLevelItemCount(), 2);
    QTreeWidgetItem* heavy = expressions->topLevelItem(0);
    EXPECT_EQ(
        ItemRow(heavy),
        (QStringList{"Heavy", "=", "CASE WHEN Orders.Freight > 100 THEN 1 ELSE 0 END", "", ""}));
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
    EXPECT_FALSE(h.button("cmdRemoveCondition")->isEnabled());
    h.control().RemoveCondition();
    EXPECT_TRUE(h.box->shown().empty());

    select(h.conditions(), 1);
    h.box->QueueAnswer(MessageAnswer::No);
    h.changed = 0;
    h.clickButton("cmdRemoveCondition");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"Remove Condition",
                   "Do you really want to remove Condition\r\n\r\nOrders.Freight > 10",
                   MessageIcon::Exclamation, MessageButtons::YesNo}));
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 2);
    EXPECT_EQ(h.changed, 0);

    h.box->QueueAnswer(MessageAnswer::Yes);
    h.control().RemoveCondition();
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.query->Filters()->Count(), 1);
}

TEST(ListsPaneTest, RemovingACalculatedItemAsksFirstFromTheButtonOrTheDeleteKey) {
    ControlHarness h;
    h.load(kQuery);
    select(h.expressions(), 1);
    h.box->QueueAnswer(MessageAnswer::Yes);
    h.clickButton("cmdRemoveExpression");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(
        BoxOf(h.box->shown()[0]),
        (Box{"Remove Expression", "Do you really want to remove the expression for variable Twice?",
             MessageIcon::Exclamation, MessageButtons::YesNo}));
    EXPECT_EQ(ItemTexts(h.expressions()), QStringList{"Heavy"});
    EXPECT_EQ(h.query->CalculatedItems()->Count(), 1);
    EXPECT_EQ(h.control().strSQL().find("Twice"), std::string::npos);

    // Delete in the list removes the selected one after the same question.
    select(h.expressions(), 0);
    h.box->QueueAnswer(MessageAnswer::Yes);
    QTest::keyClick(h.expressions(), Qt::Key_Delete);
    ASSERT_EQ(h.box->shown().size(), 2u);
    EXPECT_EQ(h.box->shown()[1].strCaption, "Remove Expression");
    EXPECT_EQ(h.expressions()->topLevelItemCount(), 0);
}

// Ctrl+Q switches a condition only while parameters are set, and never reaches a shortcut of
// the host's window (Quit, say) bound to the same key.
TEST(ListsPaneTest, CtrlQSwitchesAConditionOnlyWhileParametersAreSetAndNeverQuitsTheHost) {
    ControlHarness h;
    h.load(kQuery);
    int quits = 0;
    QAction quit(&h.control());
    quit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit.setShortcutContext(Qt::WindowShortcut);
    h.control().addAction(&quit);
    QObject::connect(&quit, &QAction::triggered, [&quits] { ++quits; });
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
    EXPECT_EQ(quits, 0);
}

TEST(ListsPaneTest, ClickingAConditionsCheckBoxSwitchesIt) {
    ControlHarness h;
    h.load(kQuery);
    h.changed = 0;
    // Without parameters too: the check box is the visible switch.
    QTest::mouseClick(h.conditions()->viewport(), Qt::LeftButton, {},
                      checkBoxPoint(h.conditions(), 1));
    EXPECT_EQ(h.conditions()->topLevelItem(1)->checkState(0), Qt::Checked);
    EXPECT_EQ(h.changed, 1);
    EXPECT_TRUE(h.query->Filters()->Item(2)->blnIsActive());
    EXPECT_NE(h.control().strSQL().find("(Orders.Freight > 10)"), std::string::npos);
    EXPECT_EQ(h.conditions()->topLevelItem(1)->foreground(0).color(),
              h.conditions()->topLevelItem(0)->foreground(0).color());

    QTest::mouseClick(h.conditions()->viewport(), Qt::LeftButton, {},
                      checkBoxPoint(h.conditions(), 0));
    EXPECT_EQ(h.conditions()->topLevelItem(0)->checkState(0), Qt::Unchecked);
    EXPECT_EQ(h.changed, 2);
    EXPECT_FALSE(h.query->Filters()->Item(1)->blnIsActive());
    EXPECT_EQ(h.control().strSQL().find("'Germany'"), std::string::npos);

    // A click on the text only selects.
    const QRect text = h.conditions()->visualItemRect(h.conditions()->topLevelItem(1));
    QTest::mouseClick(h.conditions()->viewport(), Qt::LeftButton, {},
                      QPoint(text.right() - 10, text.center().y()));
    EXPECT_EQ(h.conditions()->topLevelItem(1)->checkState(0), Qt::Checked);
    EXPECT_EQ(h.changed, 2);
}

TEST(ListsPaneTest, ConditionsAreWrittenInTheBuilderAndRouted) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("Orders.ShipCountry", "ShipCountry")
               .item("Orders.Freight", "Freight", "SUM"));
    EXPECT_TRUE(h.button("cmdAddCondition")->isEnabled());
    EXPECT_FALSE(h.button("cmdEditCondition")->isEnabled());
    h.changed = 0;

    ASSERT_EQ(RunDialog(writeCondition("Orders.ShipCountry = 'Germany'\nOR Orders.ShipCountry = "
                                       "'France'"),
                        [&] { h.clickButton("cmdAddCondition"); }),
              kConditionBuilder);
    EXPECT_EQ(ItemTexts(h.conditions()),
              QStringList{"Orders.ShipCountry = 'Germany' OR Orders.ShipCountry = 'France'"});
    QTreeWidgetItem* item = h.conditions()->topLevelItem(0);
    EXPECT_EQ(item->data(0, Qt::UserRole).toString(),
              "Orders.ShipCountry = 'Germany'{newline}OR Orders.ShipCountry = 'France'");
    EXPECT_EQ(item->toolTip(0), item->data(0, Qt::UserRole).toString());
    EXPECT_EQ(item->checkState(0), Qt::Checked);
    EXPECT_EQ(h.changed, 1);
    std::string sql = h.control().strSQL();
    EXPECT_NE(sql.find("WHERE\r\n      (Orders.ShipCountry = 'Germany' OR"), std::string::npos)
        << sql;
    expectRuns(h, sql);

    // A condition on an aggregate goes to HAVING, after the grouping; the statement runs. Insert
    // in the list opens the builder too.
    h.conditions()->setFocus();
    ASSERT_EQ(RunDialog(writeCondition("SUM(Orders.Freight) > 10"),
                        [&] { QTest::keyClick(h.conditions(), Qt::Key_Insert); }),
              kConditionBuilder);
    ASSERT_EQ(h.conditions()->topLevelItemCount(), 2);
    EXPECT_EQ(h.changed, 2);
    sql = h.control().strSQL();
    const auto groupBy = sql.find("GROUP BY");
    const auto having = sql.find("HAVING\r\n      (SUM(Orders.Freight) > 10)");
    EXPECT_NE(groupBy, std::string::npos) << sql;
    EXPECT_NE(having, std::string::npos) << sql;
    EXPECT_LT(groupBy, having);
    expectRuns(h, sql);

    // Cancelled or blank: nothing is added, nothing published.
    for (const Action& action : {PressButton("CancelButton"), writeCondition("   \n  ")})
        ASSERT_EQ(RunDialog(action, [&] { h.clickButton("cmdAddCondition"); }), kConditionBuilder);
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 2);
    EXPECT_EQ(h.changed, 2);
}

TEST(ListsPaneTest, EditingAConditionPublishesOnlyARealChange) {
    ControlHarness h;
    h.load(kQuery);
    h.changed = 0;
    // Without a selection there is nothing to edit.
    EXPECT_TRUE(
        RunDialog(PressButton("OKButton"), [&] { h.control().EditCurrentCondition(); }).isEmpty());

    select(h.conditions(), 0);
    EXPECT_TRUE(h.button("cmdEditCondition")->isEnabled());
    EXPECT_TRUE(h.button("cmdRemoveCondition")->isEnabled());
    ASSERT_EQ(RunDialog(
                  [](QDialog& dialog) {
                      // The builder shows the stored line break as a real one.
                      EXPECT_EQ(dialog.findChild<QPlainTextEdit*>("txtCondition")->toPlainText(),
                                "Orders.ShipCountry = 'Germany'\nOR Orders.ShipCountry = 'France'");
                      PressButton("OKButton")(dialog);
                  },
                  [&] { h.clickButton("cmdEditCondition"); }),
              kConditionBuilder);
    EXPECT_EQ(h.changed, 0);

    // Switched off in the builder: published, greyed. Enter in the list edits the selected
    // condition.
    ASSERT_EQ(RunDialog(
                  [](QDialog& dialog) {
                      QTest::mouseClick(dialog.findChild<QCheckBox*>("chkIsActive"),
                                        Qt::LeftButton);
                      PressButton("OKButton")(dialog);
                  },
                  [&] { QTest::keyClick(h.conditions(), Qt::Key_Return); }),
              kConditionBuilder);
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.conditions()->topLevelItem(0)->checkState(0), Qt::Unchecked);
    EXPECT_FALSE(h.query->Filters()->Item(1)->blnIsActive());

    // A new text, by a double-click on the item.
    ASSERT_EQ(RunDialog(writeCondition("Orders.Freight < 500"),
                        [&] { doubleClick(h.conditions(), centre(h.conditions(), 0)); }),
              kConditionBuilder);
    EXPECT_EQ(h.changed, 2);
    EXPECT_EQ(ItemTexts(h.conditions()),
              (QStringList{"Orders.Freight < 500", "Orders.Freight > 10"}));
    EXPECT_EQ(h.query->Filters()->Item(1)->strCondition(), "Orders.Freight < 500");

    // A double-click below the entries adds one when none is selected.
    h.conditions()->clearSelection();
    EXPECT_FALSE(h.button("cmdEditCondition")->isEnabled());
    EXPECT_FALSE(h.button("cmdRemoveCondition")->isEnabled());
    ASSERT_EQ(RunDialog(writeCondition("Orders.OrderID > 0"),
                        [&] { doubleClick(h.conditions(), below(h.conditions())); }),
              kConditionBuilder);
    EXPECT_EQ(h.conditions()->topLevelItemCount(), 3);
    EXPECT_EQ(h.changed, 3);
}

TEST(ListsPaneTest, TheConditionBuilderIsOfferedTheAggregatesAndCalculatedItems) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Order Details")
               .item("[Order Details].OrderID", "OrderID")
               .item("[Order Details].[Unit Price]", "Total", "SUM")
               .calculated("Twice", "[Order Details].Quantity{newline}* 2"));
    ASSERT_EQ(RunDialog(
                  [](QDialog& dialog) {
                      auto* box = dialog.findChild<QComboBox*>("cboFields");
                      ASSERT_GE(box->count(), 2);
                      EXPECT_EQ(box->itemText(0), "SUM([Order Details].[Unit Price])");
                      EXPECT_EQ(box->itemText(1), "[Order Details].Quantity * 2");
                      EXPECT_GE(box->findText("[Order Details].OrderID"), 0);
                  },
                  [&] { h.control().AddCondition(); }),
              kConditionBuilder);
}

TEST(ListsPaneTest, CalculatedItemsAreWrittenInTheBuilderWithUniqueNames) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    h.changed = 0;

    // Named like an output column: a "_" in front. The arrow inside the expression is
    // shortened so that the first arrow always ends the name.
    ASSERT_EQ(
        RunDialog(writeExpression("Freight", "CASE WHEN Orders.Freight > 1\nTHEN 'a <-- b' END"),
                  [&] { h.clickButton("cmdAddExpression"); }),
        kExpressionBuilder);
    ASSERT_EQ(h.expressions()->topLevelItemCount(), 1);
    QTreeWidgetItem* item = h.expressions()->topLevelItem(0);
    EXPECT_EQ(ItemRow(item),
              (QStringList{"_Freight", "=", "CASE WHEN Orders.Freight > 1 THEN 'a <- b' END"}));
    EXPECT_EQ(item->data(0, Qt::UserRole).toString(),
              "CASE WHEN Orders.Freight > 1{newline}THEN 'a <- b' END");
    EXPECT_EQ(item->toolTip(0),
              "Freight <-- CASE WHEN Orders.Freight > 1{newline}THEN 'a <- b' END");
    EXPECT_EQ(h.changed, 1);
    expectRuns(h, h.control().strSQL());

    // Clashing with the output column and the first item: two of them.
    ASSERT_EQ(RunDialog(writeExpression("Freight", "Orders.Freight * 2"),
                        [&] { h.control().AddExpression(); }),
              kExpressionBuilder);
    EXPECT_EQ(ItemTexts(h.expressions()), (QStringList{"_Freight", "__Freight"}));
    EXPECT_EQ(h.query->CalculatedItems()->Count(), 2);
    expectRuns(h, h.control().strSQL());

    // Editing keeps a clashing name as it is typed, and publishes only a change.
    h.expressions()->clearSelection();
    EXPECT_FALSE(h.button("cmdEditExpression")->isEnabled());
    EXPECT_FALSE(h.button("cmdRemoveExpression")->isEnabled());
    select(h.expressions(), 1);
    EXPECT_TRUE(h.button("cmdEditExpression")->isEnabled());
    ASSERT_EQ(RunDialog(PressButton("OKButton"),
                        [&] { QTest::keyClick(h.expressions(), Qt::Key_Return); }),
              kExpressionBuilder);
    EXPECT_EQ(h.changed, 2);
    ASSERT_EQ(RunDialog(writeExpression("_Freight", "Orders.Freight * 3"),
                        [&] { doubleClick(h.expressions(), centre(h.expressions(), 1)); }),
              kExpressionBuilder);
    EXPECT_EQ(h.changed, 3);
    EXPECT_EQ(ItemRow(h.expressions()->topLevelItem(1)),
              (QStringList{"_Freight", "=", "Orders.Freight * 3", "", ""}));

    // Cancelled: nothing added.
    h.expressions()->clearSelection();
    ASSERT_EQ(RunDialog(PressButton("CancelButton"),
                        [&] { doubleClick(h.expressions(), below(h.expressions())); }),
              kExpressionBuilder);
    EXPECT_EQ(h.expressions()->topLevelItemCount(), 2);
    EXPECT_EQ(h.changed, 3);
}

TEST(ListsPaneTest, ParametersReachTheBuildersAndUnknownMarkersAreRefused) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    h.control().setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"Country"}));
    ASSERT_EQ(RunDialog(
                  [](QDialog& dialog) {
                      auto* values = dialog.findChild<QComboBox*>("cboValue");
                      ASSERT_TRUE(values && values->count() == 1);
                      EXPECT_EQ(values->itemText(0), "<[Country]>");
                      // Refused: the dialog stays; the right name is accepted.
                      writeCondition("Orders.ShipCountry = <[Land]>")(dialog);
                      writeCondition("Orders.ShipCountry = <[Country]>")(dialog);
                  },
                  [&] { h.control().AddCondition(); }),
              kConditionBuilder);
    EXPECT_EQ(ShownTexts(*h.box),
              QStringList{"Parameter 'Land' does not exist. Please modify condition"});
    ASSERT_EQ(h.conditions()->topLevelItemCount(), 1);
    EXPECT_EQ(h.query->Filters()->Item(1)->strCondition(), "Orders.ShipCountry = <[Country]>");
}
