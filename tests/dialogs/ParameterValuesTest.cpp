// The parameter values dialog: its rows, the enabling of OK, the values it hands back and the
// values it remembers, driven with real key and mouse events.

#include "DialogHarness.h"
#include "marovin/frmParameterValues.h"

#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QTest>

namespace marovin::test {
namespace {

class ParameterValuesTest : public DialogTest {
protected:
    std::unique_ptr<frmParameterValues> open(std::vector<std::string> names) {
        auto dialog = std::make_unique<frmParameterValues>(services());
        dialog->setColParameters(nameList(std::move(names)));
        show(*dialog);
        return dialog;
    }
    static QList<QLineEdit*> fields(const QDialog& dialog) {
        return dialog.findChildren<QLineEdit*>(QStringLiteral("txtValue"));
    }
    static QList<QLabel*> labels(const QDialog& dialog) {
        return dialog.findChildren<QLabel*>(QStringLiteral("lblParameter"));
    }
    QString remembered() const {
        return settings->GetSetting(QStringLiteral("InitValQueryParam"),
                                    QStringLiteral("ParamString"), QStringLiteral("<none>"));
    }
};

TEST_F(ParameterValuesTest, TenRowsOnlyTheParametersOnesActive) {
    auto dialog = open({"Year", "Country"});
    const auto rowFields = fields(*dialog);
    const auto rowLabels = labels(*dialog);
    ASSERT_EQ(rowFields.size(), 10);
    ASSERT_EQ(rowLabels.size(), 10);
    const QStringList names = {"Year", "Country"};
    for (int row = 0; row < 10; ++row) {
        EXPECT_EQ(rowFields[row]->isEnabled(), row < 2) << row;
        EXPECT_EQ(rowLabels[row]->isEnabled(), row < 2) << row;
        EXPECT_EQ(rowLabels[row]->text(), names.value(row)) << row;
        if (row < 2) {
            EXPECT_EQ(rowFields[row]->accessibleName(), names[row]);
        }
        // Rows without a parameter read as greyed out: the field has the button face colour.
        const QPalette colours = rowFields[row]->palette();
        EXPECT_EQ(colours.color(QPalette::Base) == colours.color(QPalette::Button), row >= 2)
            << row;
    }
    // The caret starts in the first row, Tab goes down the rows.
    EXPECT_EQ(QApplication::focusWidget(), rowFields[0]);
    press(rowFields[0], Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), rowFields[1]);
}

TEST_F(ParameterValuesTest, OkOnlyOnceEveryRowHoldsMoreThanBlanks) {
    auto dialog = open({"Year", "Country"});
    auto* ok = button(*dialog, "OKButton");
    const auto rowFields = fields(*dialog);
    EXPECT_FALSE(ok->isEnabled());
    type(rowFields[0], QStringLiteral("1997"));
    EXPECT_FALSE(ok->isEnabled());
    type(rowFields[1], QStringLiteral("   "));
    EXPECT_FALSE(ok->isEnabled());
    type(rowFields[1], QStringLiteral("x"));
    EXPECT_TRUE(ok->isEnabled());
    for (int i = 0; i < 4; ++i)
        press(rowFields[0], Qt::Key_Backspace);
    EXPECT_FALSE(ok->isEnabled());

    // No parameters at all: nothing to ask, OK at once. No list: nothing can be confirmed.
    auto empty = open({});
    EXPECT_TRUE(button(*empty, "OKButton")->isEnabled());
    frmParameterValues absent(services());
    absent.setColParameters(nullptr);
    EXPECT_FALSE(button(absent, "OKButton")->isEnabled());
    for (QLineEdit* field : fields(absent))
        EXPECT_FALSE(field->isEnabled());
}

TEST_F(ParameterValuesTest, OkHandsBackLiteralsAndRemembersTheTypedTexts) {
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    auto dialog = open({"A", "B", "C", "D", "E", "F"});
    const auto rowFields = fields(*dialog);
    const QStringList typed = {"42", "4,2", "abc", "'x'", "O'Brien", " -1,5e3 "};
    for (int row = 0; row < typed.size(); ++row)
        type(rowFields[row], typed[row]);
    click(button(*dialog, "OKButton"));
    QLocale::setDefault(previous);

    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    ASSERT_NE(dialog->colValues(), nullptr);
    EXPECT_EQ(*dialog->colValues(),
              (std::vector<std::string>{"42", "4,2", "'abc'", "'x'", "'OBrien'", " -1,5e3 "}));
    EXPECT_EQ(remembered(), "42%[--]&4,2%[--]&abc%[--]&'x'%[--]&O'Brien%[--]& -1,5e3 ");
}

TEST_F(ParameterValuesTest, RememberedValuesFillRowsByPosition) {
    settings->SaveSetting(QStringLiteral("InitValQueryParam"), QStringLiteral("ParamString"),
                          QStringLiteral("1997%[--]&Germany"));
    // Three parameters now, in another order: the values go by position, not by name.
    auto dialog = open({"Country", "Year", "City"});
    const auto rowFields = fields(*dialog);
    EXPECT_EQ(rowFields[0]->text(), "1997");
    EXPECT_EQ(rowFields[1]->text(), "Germany");
    EXPECT_EQ(rowFields[2]->text(), "");
    auto* ok = button(*dialog, "OKButton");
    EXPECT_FALSE(ok->isEnabled());
    type(rowFields[2], QStringLiteral("Berlin"));
    EXPECT_TRUE(ok->isEnabled());
    press(rowFields[2], Qt::Key_Return);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(*dialog->colValues(), (std::vector<std::string>{"1997", "'Germany'", "'Berlin'"}));
    EXPECT_EQ(remembered(), "1997%[--]&Germany%[--]&Berlin");

    // One parameter: only the first remembered value is used, and only it is remembered.
    auto single = open({"Year"});
    EXPECT_EQ(fields(*single)[0]->text(), "1997");
    EXPECT_EQ(fields(*single)[1]->text(), "");
    click(button(*single, "OKButton"));
    EXPECT_EQ(remembered(), "1997");
}

TEST_F(ParameterValuesTest, CancelAndEscapeGiveNoValuesAndKeepTheRememberedOnes) {
    settings->SaveSetting(QStringLiteral("InitValQueryParam"), QStringLiteral("ParamString"),
                          QStringLiteral("1997"));
    for (const bool escape : {false, true}) {
        SCOPED_TRACE(escape ? "Escape" : "Cancel");
        auto dialog = open({"Year"});
        QLineEdit* field = fields(*dialog)[0];
        EXPECT_EQ(field->text(), "1997");
        type(field, QStringLiteral("8"));
        if (escape)
            press(field, Qt::Key_Escape);
        else
            click(button(*dialog, "CancelButton"));
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_EQ(dialog->colValues(), nullptr);
        EXPECT_EQ(remembered(), "1997");
    }
    EXPECT_TRUE(box->shown().empty());
}

TEST_F(ParameterValuesTest, ButtonsHaveMnemonicsAndTheSizeIsRemembered) {
    auto dialog = open({"Year"});
    auto* ok = button(*dialog, "OKButton");
    auto* cancel = button(*dialog, "CancelButton");
    EXPECT_EQ(ok->accessibleName(), "OK");
    EXPECT_EQ(cancel->accessibleName(), "Cancel");
    type(fields(*dialog)[0], QStringLiteral("1998"));
    dialog->resize(dialog->width() + 60, dialog->height() + 40);
    const QSize chosen = dialog->size();
    // Alt+O is OK's mnemonic.
    pressMnemonic(fields(*dialog)[0], Qt::Key_O, ok);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    ASSERT_NE(dialog->colValues(), nullptr);
    EXPECT_EQ(*dialog->colValues(), std::vector<std::string>{"1998"});

    auto again = open({"Year"});
    EXPECT_EQ(again->size(), chosen);
    cancel = button(*again, "CancelButton");
    pressMnemonic(fields(*again)[0], Qt::Key_C, cancel);
    EXPECT_FALSE(again->isVisible());
    EXPECT_EQ(again->colValues(), nullptr);
}

} // namespace
} // namespace marovin::test
