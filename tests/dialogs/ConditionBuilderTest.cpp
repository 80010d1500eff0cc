// The condition builder on the sample database: the field list and its filter, the enabling
// rule, inserting and appending fragments, parameters and the marker check, the line-break
// round trip, the close-with-changes question, the remembered size and the keyboard, driven by
// real key and mouse events.

#include "DialogHarness.h"
#include "marovin/frmConditionBuilder.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace marovin::test {
namespace {

class ConditionBuilderTest : public DialogTest {
protected:
    std::unique_ptr<frmConditionBuilder> open(const std::string& condition = {},
                                              Names parameters = nullptr,
                                              const std::string& items = {}, bool active = true) {
        auto dialog = std::make_unique<frmConditionBuilder>(services());
        dialog->setDbMetaData(SampleConnection());
        dialog->setStrCalculatedOrAggregatedItems(items);
        dialog->setObjTables(SampleTables());
        dialog->setStrCondition(condition);
        dialog->setBlnIsActive(active);
        if (parameters)
            dialog->setColParameters(parameters);
        show(*dialog);
        return dialog;
    }
    static QPlainTextEdit* editor(const QDialog& dialog) {
        return child<QPlainTextEdit>(dialog, "txtCondition");
    }
    // Chooses field and operator and types the free value.
    static void pick(const QDialog& dialog, const QString& field, const QString& op,
                     const QString& value) {
        choose(child<QComboBox>(dialog, "cboFields"), field);
        choose(child<QComboBox>(dialog, "cboOperators"), op);
        retype(child<QLineEdit>(dialog, "txtValue"), value);
    }
    // The enabled state of Add, Append, Clear and OK.
    static std::vector<bool> enabled(const QDialog& dialog) {
        return {button(dialog, "cmdAddToCondition")->isEnabled(),
                button(dialog, "cmdAppendToCondition")->isEnabled(),
                button(dialog, "cmdClearCondition")->isEnabled(),
                button(dialog, "OKButton")->isEnabled()};
    }
};

TEST_F(ConditionBuilderTest, ControlsHaveNamesAccessibleNamesKeysAndReadingOrder) {
    auto dialog = open("Customers.Country = 'Germany'");
    EXPECT_EQ(dialog->windowTitle(), "Condition Builder");
    const std::pair<const char*, const char*> controls[] = {
        {"cboFields", "Field"},
        {"cboOperators", "Operator"},
        {"txtValue", "Value"},
        {"cboValue", "Value, Expression, Parameter"},
        {"txtCondition", "Condition"},
        {"chkIsActive", "Active"},
        {"cmdAddToCondition", "Add at Caret"},
        {"cmdAppendToCondition", "Append with OR"},
        {"cmdBuildExpression", "Build Expression"},
        {"cmdClearCondition", "Clear"},
        {"OKButton", "OK"},
        {"CancelButton", "Cancel"}};
    for (const auto& [name, accessible] : controls)
        EXPECT_EQ(child<QWidget>(*dialog, name)->accessibleName(), accessible) << name;
    EXPECT_EQ(child<QLabel>(*dialog, "lblField")->buddy(), child<QWidget>(*dialog, "cboFields"));
    EXPECT_EQ(child<QLabel>(*dialog, "lblValue")->buddy(), child<QWidget>(*dialog, "txtValue"));
    EXPECT_TRUE(everyButtonHasAKey(*dialog));

    // With every button enabled, Tab walks the controls in reading order.
    pick(*dialog, "Orders.Freight", ">", "100");
    EXPECT_EQ(tabWalk(child<QComboBox>(*dialog, "cboFields"), 10),
              (QStringList{"cboFields", "cboOperators", "txtValue", "cmdBuildExpression",
                           "cmdAddToCondition", "cmdAppendToCondition", "txtCondition",
                           "chkIsActive", "cmdClearCondition", "OKButton", "CancelButton"}));

    // A mnemonic reaches its control: Alt+D puts the caret into the condition.
    press(QApplication::focusWidget(), Qt::Key_D, Qt::AltModifier);
    EXPECT_EQ(focusedName(), "txtCondition");
}

TEST_F(ConditionBuilderTest, FieldListOffersItemsAndColumnsFilteredByTheCondition) {
    auto dialog = open({}, nullptr, "SUM(Orders.Freight)##Orders.Freight * 2");
    auto* fields = child<QComboBox>(*dialog, "cboFields");
    const QStringList all = openedEntries(fields);
    // The further candidates first, then every column of every table by alias; names holding
    // a blank in square brackets; a sub-query table's columns are its output names.
    ASSERT_GE(all.size(), 4);
    EXPECT_EQ(all.mid(0, 4), (QStringList{"SUM(Orders.Freight)", "Orders.Freight * 2",
                                          "Customers.CustomerID", "Customers.CompanyName"}));
    EXPECT_TRUE(all.contains("Customers.Country"));
    EXPECT_TRUE(all.contains("Orders.Freight"));
    EXPECT_TRUE(all.contains("[Order Details].UnitPrice"));
    EXPECT_EQ(all.mid(all.size() - 2), (QStringList{"Totals.CustomerID", "Totals.TotalFreight"}));
    EXPECT_EQ(all.size(), 2 + 11 + 14 + 5 + 2);
    // The database was asked under the busy pointer, which is off again.
    EXPECT_GT(busy->lngShown(), 0);
    EXPECT_EQ(busy->lngDepth(), 0);

    // An aggregated condition offers only aggregated candidates, a plain one only plain ones.
    type(editor(*dialog), "SUM(Orders.Freight) > 100");
    EXPECT_EQ(openedEntries(fields), QStringList{"SUM(Orders.Freight)"});
    retype(editor(*dialog), "Customers.Country = 'Germany'");
    const QStringList plain = openedEntries(fields);
    EXPECT_EQ(plain.size(), all.size() - 1);
    EXPECT_FALSE(plain.contains("SUM(Orders.Freight)"));
    EXPECT_TRUE(plain.contains("Orders.Freight * 2"));
}

TEST_F(ConditionBuilderTest, EnablingFollowsFieldValueAndCondition) {
    auto dialog = open();
    // Add, Append, Clear, OK.
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{false, false, false, false}));
    EXPECT_EQ(child<QComboBox>(*dialog, "cboOperators")->currentText(), "=");
    choose(child<QComboBox>(*dialog, "cboFields"), "Customers.Country");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{false, false, false, false}));
    auto* value = child<QLineEdit>(*dialog, "txtValue");
    type(value, "  ");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{false, false, false, false}));
    type(value, "'Germany'");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{true, false, false, false}));
    // A condition of blanks and empty lines counts as empty.
    type(editor(*dialog), "  ");
    press(editor(*dialog), Qt::Key_Return);
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{true, false, false, false}));
    type(editor(*dialog), "x");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{true, true, true, true}));
    // A field typed by hand counts as well; a blank one does not.
    auto* fieldEdit = child<QComboBox>(*dialog, "cboFields")->lineEdit();
    retype(fieldEdit, " ");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{false, false, true, true}));
    type(fieldEdit, "Orders.ShipCountry");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{true, true, true, true}));
    click(button(*dialog, "cmdClearCondition"));
    EXPECT_EQ(text(editor(*dialog)), "");
    EXPECT_EQ(enabled(*dialog), (std::vector<bool>{true, false, false, false}));
}

TEST_F(ConditionBuilderTest, AddInsertsAtTheCaretAndAppendAddsAtTheEndAfterOr) {
    auto dialog = open();
    auto* condition = editor(*dialog);
    // The user types brackets first and puts the caret between them.
    type(condition, "()");
    press(condition, Qt::Key_Left);
    pick(*dialog, "Customers.Country", "=", "'Germany'");
    click(button(*dialog, "cmdAddToCondition"));
    EXPECT_EQ(text(condition), "(Customers.Country = 'Germany')");
    EXPECT_EQ(caret(condition), 1 + QString("Customers.Country = 'Germany'").size());
    EXPECT_EQ(focusedName(), "txtCondition");
    EXPECT_EQ(child<QLineEdit>(*dialog, "txtValue")->text(), "");

    // Append goes to the end wherever the caret is.
    placeCaret(condition, 0);
    pick(*dialog, "Orders.Freight", ">=", "100");
    click(button(*dialog, "cmdAppendToCondition"));
    EXPECT_EQ(text(condition), "(Customers.Country = 'Germany') OR Orders.Freight >= 100");
    EXPECT_EQ(child<QLineEdit>(*dialog, "txtValue")->text(), "");

    // The keyboard does the same: Alt+A adds at the caret.
    placeCaret(condition, 0);
    pick(*dialog, "Customers.City", "LIKE", "'B%'");
    pressMnemonic(child<QLineEdit>(*dialog, "txtValue"), Qt::Key_A,
                  button(*dialog, "cmdAddToCondition"));
    type(condition, " AND ");
    EXPECT_EQ(text(condition),
              "Customers.City LIKE 'B%' AND (Customers.Country = 'Germany') OR Orders.Freight "
              ">= 100");

    click(button(*dialog, "OKButton"));
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(dialog->strCondition(), "Customers.City LIKE 'B%' AND (Customers.Country = "
                                      "'Germany') OR Orders.Freight >= 100");
    EXPECT_TRUE(dialog->blnIsActive());
}

TEST_F(ConditionBuilderTest, ParametersAreOfferedAsMarkersAndOkRefusesUnknownOnes) {
    auto dialog = open({}, nameList({"Country", "Year"}));
    auto* txtValue = child<QLineEdit>(*dialog, "txtValue");
    auto* cboValue = child<QComboBox>(*dialog, "cboValue");
    EXPECT_FALSE(txtValue->isVisible());
    EXPECT_FALSE(txtValue->isEnabled());
    EXPECT_TRUE(cboValue->isVisible());
    EXPECT_TRUE(cboValue->isEnabled());
    auto* label = child<QLabel>(*dialog, "lblValue");
    EXPECT_EQ(label->text().remove('&'), "Value, Expression, Parameter");
    EXPECT_EQ(label->buddy(), cboValue);
    EXPECT_EQ(entries(cboValue), (QStringList{"<[Country]>", "<[Year]>"}));

    choose(child<QComboBox>(*dialog, "cboFields"), "Customers.Country");
    choose(cboValue, "<[Country]>");
    click(button(*dialog, "cmdAddToCondition"));
    auto* condition = editor(*dialog);
    EXPECT_EQ(text(condition), "Customers.Country = <[Country]>");

    // A marker naming no parameter keeps the dialog open with a message.
    type(condition, " AND YEAR(Orders.OrderDate) = <[Yaer]> OR <[year]> = 1");
    click(button(*dialog, "OKButton"));
    expectMessages(1, "Parameters", "Parameter 'Yaer' does not exist. Please modify condition",
                   MessageIcon::Exclamation, MessageButtons::Ok);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(focusedName(), "txtCondition");
    EXPECT_EQ(dialog->strCondition(), "");

    // Markers are compared exactly: <[year]> is unknown too.
    retype(condition, "Customers.Country = <[Country]> OR YEAR(Orders.OrderDate) = <[year]>");
    click(button(*dialog, "OKButton"));
    expectMessages(2, "Parameters", "Parameter 'year' does not exist. Please modify condition");

    retype(condition, "Customers.Country = <[Country]> AND YEAR(Orders.OrderDate) = <[Year]>");
    click(button(*dialog, "OKButton"));
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(dialog->strCondition(),
              "Customers.Country = <[Country]> AND YEAR(Orders.OrderDate) = <[Year]>");
    EXPECT_EQ(box->shown().size(), 2u);
}

TEST_F(ConditionBuilderTest, WithoutParameterNamesMarkersPassUnchecked) {
    for (const Names& parameters : {Names(), nameList({})}) {
        auto dialog = open("Customers.Country = <[Land]>", parameters);
        EXPECT_EQ(child<QLineEdit>(*dialog, "txtValue")->isVisible(), parameters == nullptr);
        click(button(*dialog, "OKButton"));
        EXPECT_EQ(dialog->result(), QDialog::Accepted);
        EXPECT_EQ(dialog->strCondition(), "Customers.Country = <[Land]>");
    }
    EXPECT_TRUE(box->shown().empty());
}

TEST_F(ConditionBuilderTest, LineBreaksShowAsLinesAndComeBackAsTokens) {
    auto dialog =
        open("Customers.Country = 'Germany'{newline}AND Orders.Freight > 100", nullptr, {}, false);
    auto* condition = editor(*dialog);
    EXPECT_EQ(condition->document()->blockCount(), 2);
    EXPECT_EQ(text(condition), "Customers.Country = 'Germany'\nAND Orders.Freight > 100");
    EXPECT_FALSE(child<QCheckBox>(*dialog, "chkIsActive")->isChecked());
    condition->moveCursor(QTextCursor::End);
    press(condition, Qt::Key_Return);
    type(condition, "OR Customers.City = 'Berlin'");
    click(child<QCheckBox>(*dialog, "chkIsActive"));
    click(button(*dialog, "OKButton"));
    EXPECT_EQ(dialog->strCondition(), "Customers.Country = 'Germany'{newline}AND Orders.Freight > "
                                      "100{newline}OR Customers.City = 'Berlin'");
    EXPECT_TRUE(dialog->blnIsActive());
}

TEST_F(ConditionBuilderTest, ClosingWithChangesAsksWhetherToSaveThem) {
    const std::string original = "Customers.Country = 'Germany'";
    const std::string edit = " OR Customers.Country = 'Austria'";
    // Opens the dialog on the original condition and adds to it and clears the check box.
    const auto openEdited = [&] {
        auto dialog = open(original);
        type(editor(*dialog), QString::fromStdString(edit));
        click(child<QCheckBox>(*dialog, "chkIsActive"));
        return dialog;
    };
    // No edit: Escape closes without a question.
    {
        auto dialog = open(original);
        press(editor(*dialog), Qt::Key_Escape);
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_TRUE(box->shown().empty());
    }
    // An edit: Cancel keeps the dialog open, No closes and keeps the old values.
    {
        auto dialog = openEdited();
        box->QueueAnswer(MessageAnswer::Cancel);
        press(editor(*dialog), Qt::Key_Escape);
        expectMessages(1, "Exit Condition Builder", "Do you want to save the changes?",
                       MessageIcon::Exclamation, MessageButtons::YesNoCancel);
        EXPECT_TRUE(dialog->isVisible());
        box->QueueAnswer(MessageAnswer::No);
        dialog->close();
        EXPECT_EQ(box->shown().size(), 2u);
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_EQ(dialog->result(), QDialog::Rejected);
        EXPECT_EQ(dialog->strCondition(), original);
        EXPECT_TRUE(dialog->blnIsActive());
    }
    // Yes runs OK: the edited condition and the check box are taken over.
    {
        box->clear();
        auto dialog = openEdited();
        box->QueueAnswer(MessageAnswer::Yes);
        dialog->close();
        EXPECT_EQ(box->shown().size(), 1u);
        EXPECT_EQ(dialog->result(), QDialog::Accepted);
        EXPECT_EQ(dialog->strCondition(), original + edit);
        EXPECT_FALSE(dialog->blnIsActive());
    }
    // Yes with an unknown marker: OK's message, and the dialog stays open. Its size, changed
    // here, is what the next dialog starts with.
    QSize chosen;
    {
        box->clear();
        auto dialog = open(original, nameList({"Country"}));
        dialog->resize(dialog->width() - 60, dialog->height() + 50);
        chosen = dialog->size();
        type(editor(*dialog), " OR Customers.Country = <[Land]>");
        box->QueueAnswer(MessageAnswer::Yes);
        press(editor(*dialog), Qt::Key_Escape);
        expectMessages(2, "Parameters", "Parameter 'Land' does not exist. Please modify condition");
        EXPECT_TRUE(dialog->isVisible());
        // The Cancel button closes without asking.
        click(button(*dialog, "CancelButton"));
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_EQ(box->shown().size(), 2u);
        EXPECT_EQ(dialog->strCondition(), original);
    }
    // An edit that leaves the condition blank is not worth a question.
    {
        box->clear();
        auto dialog = open(original);
        EXPECT_TRUE(settings->Contains("DialogSizes", "ConditionBuilder"));
        EXPECT_EQ(dialog->size(), chosen);
        click(button(*dialog, "cmdClearCondition"));
        press(editor(*dialog), Qt::Key_Escape);
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_TRUE(box->shown().empty());
        EXPECT_EQ(dialog->strCondition(), original);
    }
}

TEST_F(ConditionBuilderTest, BuildExpressionComposesTheValue) {
    auto dialog = open();
    type(child<QLineEdit>(*dialog, "txtValue"), "10");
    QString title;
    bool nameShown = true;
    QString given;
    onNextModal([&](QDialog& builder) {
        title = builder.windowTitle();
        nameShown = child<QWidget>(builder, "txtVariable")->isVisible();
        auto* expression = child<QPlainTextEdit>(builder, "txtExpression");
        given = expression->toPlainText();
        QTest::keyClicks(expression, " * 2");
        // Without a name OK is accepted in this use.
        click(child<QPushButton>(builder, "OKButton"));
    });
    click(button(*dialog, "cmdBuildExpression"));
    EXPECT_EQ(title, "Value Expression Builder");
    EXPECT_FALSE(nameShown);
    EXPECT_EQ(given, "10");
    EXPECT_EQ(child<QLineEdit>(*dialog, "txtValue")->text(), "10 * 2");
    EXPECT_TRUE(box->shown().empty());

    // Cancelled, the value stays as it was.
    onNextModal([](QDialog& builder) { click(child<QPushButton>(builder, "CancelButton")); });
    click(button(*dialog, "cmdBuildExpression"));
    EXPECT_EQ(child<QLineEdit>(*dialog, "txtValue")->text(), "10 * 2");

    // With parameters the value goes into the value list's text.
    auto withParameters = open({}, nameList({"Year"}));
    onNextModal([](QDialog& builder) {
        click(child<QPushButton>(builder, "cmdInsertParameter"));
        click(child<QPushButton>(builder, "OKButton"));
    });
    click(button(*withParameters, "cmdBuildExpression"));
    EXPECT_EQ(child<QComboBox>(*withParameters, "cboValue")->currentText(), "<[Year]>");
}

TEST_F(ConditionBuilderTest, CompletionOffersFieldsMarkersAndFunctions) {
    auto dialog = open({}, nameList({"Country"}));
    auto* condition = editor(*dialog);
    condition->setFocus();
    EXPECT_EQ(completionList(), nullptr);
    press(condition, Qt::Key_Space, Qt::ControlModifier);
    QAbstractItemView* list = completionList();
    ASSERT_NE(list, nullptr);
    const QStringList offered = rows(list);
    EXPECT_TRUE(offered.contains("Customers.Country"));
    EXPECT_TRUE(offered.contains("<[Country]>"));
    EXPECT_TRUE(offered.contains("DATEADD"));
    press(list, Qt::Key_Escape);
    EXPECT_EQ(completionList(), nullptr);
    EXPECT_TRUE(dialog->isVisible());

    // After a "." the columns of that table are offered; Enter takes the chosen one.
    type(condition, "Customers.");
    list = completionList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(rows(list).first(), "Customers.CustomerID");
    press(list, Qt::Key_Down);
    press(list, Qt::Key_Return);
    EXPECT_EQ(text(condition), "Customers.CustomerID");
    EXPECT_EQ(completionList(), nullptr);

    // Typing on narrows the list; a marker is completed from "<[".
    type(condition, " = <[Co");
    list = completionList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(rows(list), QStringList{"<[Country]>"});
    press(list, Qt::Key_Down);
    press(list, Qt::Key_Return);
    EXPECT_EQ(text(condition), "Customers.CustomerID = <[Country]>");
}

} // namespace
} // namespace marovin::test
