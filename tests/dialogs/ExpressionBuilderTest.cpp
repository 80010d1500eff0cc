// The expression builder on the sample database: tables and fields, the function catalogue and
// its templates, parameters and the keypad, the variable-name key filter, OK's checks, the
// line-break round trip, the close-with-changes question and the remembered size, driven by
// real key and mouse events.

#include "DialogHarness.h"
#include "marovin/frmExpressionBuilder.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace marovin::test {
namespace {

class ExpressionBuilderTest : public DialogTest {
protected:
    std::unique_ptr<frmExpressionBuilder> open(const std::string& name = {},
                                               const std::string& expression = {},
                                               Names parameters = nullptr) {
        auto dialog = std::make_unique<frmExpressionBuilder>(services());
        dialog->setDbMetaData(SampleConnection());
        dialog->setObjTables(SampleTables());
        dialog->setStrVariableName(name);
        dialog->setStrExpression(expression);
        if (parameters)
            dialog->setColParameters(parameters);
        show(*dialog);
        return dialog;
    }
    static QPlainTextEdit* editor(const QDialog& dialog) {
        return child<QPlainTextEdit>(dialog, "txtExpression");
    }
    static QLineEdit* variable(const QDialog& dialog) {
        return child<QLineEdit>(dialog, "txtVariable");
    }
    static QPushButton* digit(const QDialog& dialog, int value) {
        return dialog.findChildren<QPushButton*>(QStringLiteral("cmdDigit")).at(value);
    }
    // Inserts a function of the catalogue with the mouse.
    static void addFunction(const QDialog& dialog, const QString& group, const QString& function) {
        choose(child<QComboBox>(dialog, "cboFunctionGroups"), group);
        choose(child<QComboBox>(dialog, "cboFunctions"), function);
        click(button(dialog, "cmdAddFunction"));
    }
};

TEST_F(ExpressionBuilderTest, ControlsHaveNamesAccessibleNamesKeysAndReadingOrder) {
    auto dialog = open("Total", "1", nameList({"Year"}));
    EXPECT_EQ(dialog->windowTitle(), "Expression Builder");
    const std::pair<const char*, const char*> controls[] = {
        {"txtVariable", "Variable name"},
        {"txtExpression", "Expression"},
        {"cboTables", "Table"},
        {"cboFields", "Field"},
        {"cboAggregations", "Aggregation"},
        {"cmdAddField", "Add Field"},
        {"cboFunctionGroups", "Function group"},
        {"cboFunctions", "Function"},
        {"cmdAddFunction", "Add Function"},
        {"cboParameters", "Parameter"},
        {"cmdInsertParameter", "Insert Parameter"},
        {"cmdBrackets", "Brackets"},
        {"cmdLeft", "Caret left"},
        {"cmdRight", "Caret right"},
        {"cmdNewLine", "New Line"},
        {"cmdClear", "Clear"},
        {"OKButton", "OK"},
        {"CancelButton", "Cancel"}};
    for (const auto& [name, accessible] : controls)
        EXPECT_EQ(child<QWidget>(*dialog, name)->accessibleName(), accessible) << name;
    const auto digits = dialog->findChildren<QPushButton*>(QStringLiteral("cmdDigit"));
    ASSERT_EQ(digits.size(), 10);
    for (int d = 0; d < 10; ++d) {
        EXPECT_EQ(digits[d]->text().remove('&'), QString::number(d));
        EXPECT_EQ(digits[d]->accessibleName(), QStringLiteral("Digit %1").arg(d));
    }
    EXPECT_TRUE(everyButtonHasAKey(*dialog));

    // The ten digits share one name.
    EXPECT_EQ(tabWalk(variable(*dialog), 27),
              (QStringList{"txtVariable", "txtExpression"} + QStringList(10, "cmdDigit") +
               QStringList{"cmdBrackets", "cmdLeft", "cmdRight", "cmdNewLine", "cmdClear",
                           "cboTables", "cboFields", "cboAggregations", "cmdAddField",
                           "cboFunctionGroups", "cboFunctions", "cmdAddFunction", "cboParameters",
                           "cmdInsertParameter", "OKButton", "CancelButton"}));
}

TEST_F(ExpressionBuilderTest, FieldsOfTheChosenTableAreAddedAtTheCaret) {
    auto dialog = open("FreightShare", "/ 100");
    auto* tables = child<QComboBox>(*dialog, "cboTables");
    auto* fields = child<QComboBox>(*dialog, "cboFields");
    EXPECT_EQ(entries(tables), (QStringList{"Customers", "Orders", "Order Details", "Totals"}));
    EXPECT_EQ(entries(fields).first(), "CustomerID");
    EXPECT_TRUE(entries(fields).contains("Country"));
    choose(tables, "Totals");
    EXPECT_EQ(entries(fields), (QStringList{"CustomerID", "TotalFreight"}));
    choose(tables, "Order Details");
    EXPECT_EQ(entries(fields),
              (QStringList{"OrderID", "ProductID", "UnitPrice", "Quantity", "Discount"}));
    EXPECT_EQ(entries(child<QComboBox>(*dialog, "cboAggregations")),
              (QStringList{"<none>", "AVG", "COUNT", "MAX", "MIN", "STDEV", "STDEVP", "SUM", "VAR",
                           "VARP"}));

    auto* expression = editor(*dialog);
    placeCaret(expression, 0);
    choose(fields, "UnitPrice");
    choose(child<QComboBox>(*dialog, "cboAggregations"), "SUM");
    click(button(*dialog, "cmdAddField"));
    EXPECT_EQ(text(expression), "SUM([Order Details].UnitPrice)/ 100");
    EXPECT_EQ(caret(expression), QString("SUM([Order Details].UnitPrice)").size());
    EXPECT_EQ(focusedName(), "txtExpression");

    choose(child<QComboBox>(*dialog, "cboAggregations"), "<none>");
    choose(tables, "Orders");
    choose(fields, "Freight");
    // Alt+A is Add Field's mnemonic.
    pressMnemonic(expression, Qt::Key_A, button(*dialog, "cmdAddField"));
    EXPECT_EQ(text(expression), "SUM([Order Details].UnitPrice)Orders.Freight/ 100");
}

TEST_F(ExpressionBuilderTest, FunctionsComeFromTheChosenGroupWithTheirTemplates) {
    auto dialog = open("Value");
    auto* groups = child<QComboBox>(*dialog, "cboFunctionGroups");
    auto* functions = child<QComboBox>(*dialog, "cboFunctions");
    EXPECT_EQ(entries(groups), (QStringList{"Date and Time", "Mathematical", "String"}));
    choose(groups, "String");
    EXPECT_EQ(openedEntries(functions),
              (QStringList{"LEFT", "LOWER", "LTRIM", "REVERSE", "RIGHT", "RTRIM", "STR", "UPPER"}));

    auto* expression = editor(*dialog);
    // STR at an empty expression: the caret directly after the opening bracket.
    addFunction(*dialog, "String", "STR");
    EXPECT_EQ(text(expression), "STR(,10,2)");
    EXPECT_EQ(caret(expression), 4);
    // Typed at the caret, the argument lands inside.
    type(expression, "Orders.Freight");
    EXPECT_EQ(text(expression), "STR(Orders.Freight,10,2)");

    struct Case {
        const char* group;
        const char* function;
        const char* text;
        int caretFromStart;
    };
    // One function of each group through the dialog; the other templates' text and caret are
    // the builder texts' own test.
    const Case cases[] = {
        {"String", "LEFT", "LEFT(,)", 5},
        {"Mathematical", "ROUND", "ROUND(,)", 6},
        {"Date and Time", "DATEADD", "DATEADD(,,)", 11},
        {"Date and Time", "GETDATE", "GETDATE()", 9},
    };
    for (const Case& c : cases) {
        click(button(*dialog, "cmdClear"));
        EXPECT_EQ(text(expression), "");
        addFunction(*dialog, c.group, c.function);
        EXPECT_EQ(text(expression), c.text) << c.function;
        EXPECT_EQ(caret(expression), c.caretFromStart) << c.function;
    }
    // Inserted in the middle of a text, the template goes in at the caret.
    click(button(*dialog, "cmdClear"));
    type(expression, "1 + ");
    type(expression, " * 2");
    placeCaret(expression, 4);
    addFunction(*dialog, "Mathematical", "ABS");
    EXPECT_EQ(text(expression), "1 + ABS() * 2");
    EXPECT_EQ(caret(expression), 8);
}

TEST_F(ExpressionBuilderTest, KeypadParametersAndCaretButtons) {
    auto dialog = open("Value", {}, nameList({"Year", "Country"}));
    auto* expression = editor(*dialog);
    EXPECT_EQ(entries(child<QComboBox>(*dialog, "cboParameters")),
              (QStringList{"Year", "Country"}));
    for (int d : {1, 9, 9, 7})
        click(digit(*dialog, d));
    click(button(*dialog, "cmdLeft"));
    click(button(*dialog, "cmdLeft"));
    click(button(*dialog, "cmdRight"));
    click(button(*dialog, "cmdBrackets"));
    EXPECT_EQ(text(expression), "199()7");
    EXPECT_EQ(caret(expression), 4);
    choose(child<QComboBox>(*dialog, "cboParameters"), "Country");
    click(button(*dialog, "cmdInsertParameter"));
    EXPECT_EQ(text(expression), "199(<[Country]>)7");
    click(button(*dialog, "cmdNewLine"));
    EXPECT_EQ(expression->document()->blockCount(), 2);
    // Mnemonics: Alt+0 types a zero, Alt+S inserts the parameter.
    pressMnemonic(expression, Qt::Key_0, digit(*dialog, 0));
    pressMnemonic(expression, Qt::Key_S, button(*dialog, "cmdInsertParameter"));
    // Alt+B is the brackets' shortcut.
    pressMnemonic(expression, Qt::Key_B, button(*dialog, "cmdBrackets"));
    EXPECT_EQ(text(expression), "199(<[Country]>\n0<[Country]>())7");
    // The caret buttons stop at either end.
    placeCaret(expression, 0);
    click(button(*dialog, "cmdLeft"));
    EXPECT_EQ(caret(expression), 0);
    expression->moveCursor(QTextCursor::End);
    click(button(*dialog, "cmdRight"));
    EXPECT_EQ(caret(expression), text(expression).size());
    click(button(*dialog, "OKButton"));
    EXPECT_EQ(dialog->strExpression(), "199(<[Country]>{newline}0<[Country]>())7");

    // Without parameters the parameter controls are off.
    auto plain = open("Value");
    EXPECT_FALSE(child<QComboBox>(*plain, "cboParameters")->isEnabled());
    EXPECT_FALSE(button(*plain, "cmdInsertParameter")->isEnabled());
}

TEST_F(ExpressionBuilderTest, VariableNameTakesOnlyLettersDigitsAfterTheFirstAndUnderscores) {
    auto dialog = open();
    auto* name = variable(*dialog);
    EXPECT_EQ(focusedName(), "txtVariable");
    // A digit as the first character, "_" into an empty name, blanks and other signs do nothing.
    type(name, "1_ -.Total 1997_x\u00e4");
    EXPECT_EQ(name->text(), "Total1997_x");
    // A digit typed at the start of an existing name is refused as well.
    press(name, Qt::Key_Home);
    type(name, "2");
    EXPECT_EQ(name->text(), "Total1997_x");
    // "_" once the name has begun, even at its start; backspace and the caret keys work.
    type(name, "_");
    EXPECT_EQ(name->text(), "_Total1997_x");
    press(name, Qt::Key_End);
    press(name, Qt::Key_Backspace);
    press(name, Qt::Key_Backspace);
    EXPECT_EQ(name->text(), "_Total1997");
    // Selecting the first letters and typing a digit over them is refused: it would start the
    // name.
    name->selectAll();
    type(name, "9");
    EXPECT_EQ(name->text(), "_Total1997");
    type(name, "Freight");
    EXPECT_EQ(name->text(), "Freight");
}

TEST_F(ExpressionBuilderTest, OkNeedsANameAndAnExpressionAndGivesLineBreaksAsTokens) {
    auto dialog = open();
    click(button(*dialog, "OKButton"));
    expectMessages(1, "Build Expression", "Enter (valid) variable name", MessageIcon::Exclamation,
                   MessageButtons::Ok);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(focusedName(), "txtVariable");

    type(variable(*dialog), "TotalFreight");
    type(editor(*dialog), "  ");
    press(editor(*dialog), Qt::Key_Return);
    click(button(*dialog, "OKButton"));
    expectMessages(2, "Build Expression", "Enter expression");
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(focusedName(), "txtExpression");

    click(button(*dialog, "cmdClear"));
    type(editor(*dialog), "SUM(Orders.Freight)");
    press(editor(*dialog), Qt::Key_Return);
    type(editor(*dialog), "/ 100");
    // Enter in the name field confirms (OK is the default button).
    press(variable(*dialog), Qt::Key_Return);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(dialog->strVariableName(), "TotalFreight");
    EXPECT_EQ(dialog->strExpression(), "SUM(Orders.Freight){newline}/ 100");

    // Building a value, an empty name is accepted.
    frmExpressionBuilder value(services());
    value.setBlnUseForSpecifyingConditionValue(true);
    value.setStrExpression("42");
    show(value);
    click(button(value, "OKButton"));
    EXPECT_EQ(value.result(), QDialog::Accepted);
    EXPECT_EQ(value.strExpression(), "42");
    EXPECT_EQ(value.strVariableName(), "");
    EXPECT_EQ(box->shown().size(), 2u);

    // Stored line breaks show as lines and come back as tokens.
    auto stored = open("Net", "Orders.Freight{newline}- 10");
    EXPECT_EQ(editor(*stored)->document()->blockCount(), 2);
    EXPECT_EQ(text(editor(*stored)), "Orders.Freight\n- 10");
    click(button(*stored, "OKButton"));
    EXPECT_EQ(stored->strExpression(), "Orders.Freight{newline}- 10");
    EXPECT_EQ(stored->strVariableName(), "Net");
}

TEST_F(ExpressionBuilderTest, ClosingWithChangesAsksUnderItsOwnCaption) {
    // No edit: no question; Cancel gives the texts back unchanged. The size, changed here, is
    // what the next dialog starts with.
    QSize chosen;
    {
        auto dialog = open("Net", "Orders.Freight");
        dialog->resize(dialog->width() - 40, dialog->height() + 30);
        chosen = dialog->size();
        press(editor(*dialog), Qt::Key_Escape);
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_TRUE(box->shown().empty());
    }
    // An edited name alone is a change too; Cancel stays, No closes without the texts.
    {
        auto dialog = open("Net", "Orders.Freight");
        EXPECT_TRUE(settings->Contains("DialogSizes", "ExpressionBuilder"));
        EXPECT_EQ(dialog->size(), chosen);
        type(variable(*dialog), "Freight");
        box->QueueAnswer(MessageAnswer::Cancel);
        press(variable(*dialog), Qt::Key_Escape);
        expectMessages(1, "Exit Condition Builder", "Do you want to save the changes?",
                       MessageIcon::Exclamation, MessageButtons::YesNoCancel);
        EXPECT_TRUE(dialog->isVisible());
        box->QueueAnswer(MessageAnswer::No);
        dialog->close();
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_EQ(dialog->strVariableName(), "Net");
        EXPECT_EQ(dialog->strExpression(), "Orders.Freight");
    }
    // Yes runs OK, which may refuse: an emptied expression keeps the dialog open.
    {
        box->clear();
        auto dialog = open("Net", "Orders.Freight");
        click(button(*dialog, "cmdClear"));
        box->QueueAnswer(MessageAnswer::Yes);
        press(editor(*dialog), Qt::Key_Escape);
        expectMessages(2, "Build Expression", "Enter expression");
        EXPECT_TRUE(dialog->isVisible());
        type(editor(*dialog), "Orders.Freight * 2");
        box->QueueAnswer(MessageAnswer::Yes);
        dialog->close();
        EXPECT_EQ(dialog->result(), QDialog::Accepted);
        EXPECT_EQ(dialog->strExpression(), "Orders.Freight * 2");
    }
    // The Cancel button never asks.
    {
        box->clear();
        auto dialog = open("Net", "Orders.Freight");
        type(editor(*dialog), " + 1");
        click(button(*dialog, "CancelButton"));
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_TRUE(box->shown().empty());
        EXPECT_EQ(dialog->strExpression(), "Orders.Freight");
    }
}

TEST_F(ExpressionBuilderTest, CompletionOffersColumnsFunctionsAndMarkers) {
    auto dialog = open("Net", {}, nameList({"Year"}));
    auto* expression = editor(*dialog);
    expression->setFocus();
    press(expression, Qt::Key_Space, Qt::ControlModifier);
    QAbstractItemView* list = completionList();
    ASSERT_NE(list, nullptr);
    const QStringList offered = rows(list);
    EXPECT_TRUE(offered.contains("[Order Details].UnitPrice"));
    EXPECT_TRUE(offered.contains("Totals.TotalFreight"));
    EXPECT_TRUE(offered.contains("GETUTCDATE"));
    EXPECT_TRUE(offered.contains("STDEVP"));
    EXPECT_TRUE(offered.contains("<[Year]>"));
    press(list, Qt::Key_Escape);
    EXPECT_TRUE(dialog->isVisible());

    // A name in square brackets is completed as a whole.
    type(expression, "[Order Details].Uni");
    list = completionList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(rows(list), QStringList{"[Order Details].UnitPrice"});
    press(list, Qt::Key_Down);
    press(list, Qt::Key_Tab);
    EXPECT_EQ(text(expression), "[Order Details].UnitPrice");
}

} // namespace
} // namespace marovin::test
