// Parameter markers, the numeric test and quoting of values, and the substitution a preview
// runs (with the value dialog driven by real key and mouse events).

#include "marovin/QueryParameters.h"

#include "DialogHarness.h"
#include "marovin/frmParameterValues.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QTest>

namespace marovin::test {
namespace {

// Sets the default locale for one test and puts the previous one back.
class LocaleScope {
public:
    explicit LocaleScope(const QLocale& locale) { QLocale::setDefault(locale); }
    ~LocaleScope() { QLocale::setDefault(m_previous); }

private:
    QLocale m_previous;
};

TEST(QueryParameters, MarkersAreFoundCaseSensitivelyAndTheFirstUnknownIsReported) {
    const std::vector<std::string> parameters = {"Year", "Country", "Region"};
    EXPECT_EQ(parameterMarker("Year"), "<[Year]>");
    EXPECT_EQ(
        usedParameters("Orders.Year = <[Year]> AND c = <[Country]> OR y = <[Year]>", parameters),
        (std::vector<std::string>{"Year", "Country"}));
    EXPECT_TRUE(usedParameters("Orders.Year = <[year]>", parameters).empty());
    EXPECT_EQ(markersAsStringLiterals("a = <[Year]> AND b = <[Country]>"),
              "a = 'Year' AND b = 'Country'");

    // The first marker naming no parameter is reported, compared exactly.
    EXPECT_FALSE(firstUnknownParameter("a = <[Year]> AND b = <[Country]>", parameters));
    EXPECT_EQ(firstUnknownParameter("a = <[Year]> AND b = <[Land]> AND c = <[Zone]>", parameters),
              "Land");
    EXPECT_EQ(firstUnknownParameter("a = <[year]>", parameters), "year");
    // An unclosed marker names the rest of the text.
    EXPECT_FALSE(firstUnknownParameter("a = <[Year", parameters));
    EXPECT_EQ(firstUnknownParameter("a = <[Year ", parameters), "Year ");
    // Without parameters nothing is checked.
    EXPECT_FALSE(firstUnknownParameter("a = <[Anything]>", {}));
}

TEST(QueryParameters, NumericTextFollowsTheDecimalSeparatorAndOnlyOtherTextIsQuoted) {
    for (const char* number : {"42", " 42 ", "-4.2", "+.5", "4.", "1e5", "2.5E-3", "007"})
        EXPECT_TRUE(isNumericText(number, ".")) << number;
    for (const char* text :
         {"", " ", "abc", "4,2", "4.2.1", "1e", "e5", "--1", "1 2", "0x10", "12abc", "."})
        EXPECT_FALSE(isNumericText(text, ".")) << text;
    EXPECT_TRUE(isNumericText("4,2", ","));
    EXPECT_FALSE(isNumericText("4.2", ","));

    // Values are quoted unless they are numeric in the locale's decimal separator.
    {
        const LocaleScope english(QLocale(QLocale::English, QLocale::UnitedStates));
        EXPECT_EQ(quoteParameterValue("42"), "42");
        EXPECT_EQ(quoteParameterValue("4.2"), "4.2");
        EXPECT_EQ(quoteParameterValue("4,2"), "'4,2'");
        EXPECT_EQ(quoteParameterValue("abc"), "'abc'");
        EXPECT_EQ(quoteParameterValue("'x'"), "'x'");
        EXPECT_EQ(quoteParameterValue("O'Brien"), "'OBrien'");
        EXPECT_EQ(quoteParameterValue("'42'"), "42");
    }
    {
        const LocaleScope german(QLocale(QLocale::German, QLocale::Germany));
        EXPECT_EQ(localeDecimalSeparator(), ",");
        EXPECT_EQ(quoteParameterValue("4,2"), "4,2");
        EXPECT_EQ(quoteParameterValue("42"), "42");
        EXPECT_EQ(quoteParameterValue("4.2"), "'4.2'");
    }
}

TEST(QueryParameters, RememberedValuesJoinAndSplitBySeparator) {
    EXPECT_EQ(joinRememberedValues({"1997", "Germany", "O'Brien"}),
              "1997%[--]&Germany%[--]&O'Brien");
    EXPECT_EQ(splitRememberedValues("1997%[--]&Germany"),
              (std::vector<std::string>{"1997", "Germany"}));
    EXPECT_TRUE(splitRememberedValues("").empty());
}

class SubstituteParametersTest : public DialogTest {
protected:
    std::shared_ptr<std::vector<std::string>> names(int count) {
        auto result = std::make_shared<std::vector<std::string>>();
        for (int i = 1; i <= count; ++i)
            result->push_back("P" + std::to_string(i));
        return result;
    }
    static std::string statementUsing(int count) {
        std::string sql = "SELECT * FROM dbo.Orders WHERE 1 = 1";
        for (int i = 1; i <= count; ++i)
            sql += " AND x" + std::to_string(i) + " = <[P" + std::to_string(i) + "]>";
        return sql;
    }
};

TEST_F(SubstituteParametersTest, MoreThanTenUsedParametersAreRefusedWithAMessage) {
    bool dialogOpened = false;
    noteModal(dialogOpened);
    EXPECT_EQ(SubstituteParameters(statementUsing(11), names(12), services()), "");
    QApplication::processEvents();
    EXPECT_FALSE(dialogOpened);
    expectMessages(1, "Preview Query Results",
                   "Preview Query Results not possible with more than 10 parameters.\r\n"
                   "Executing the Model is still possible.",
                   MessageIcon::Exclamation, MessageButtons::Ok);
}

TEST_F(SubstituteParametersTest, TenUsedParametersAreAskedForAndReplaced) {
    // Twelve names, ten of them used: only the used ones are asked for, in list order.
    onNextModal([](QDialog& dialog) {
        const auto fields = dialog.findChildren<QLineEdit*>(QStringLiteral("txtValue"));
        for (int row = 0; row < 10; ++row) {
            EXPECT_TRUE(fields[row]->isEnabled()) << row;
            QTest::keyClicks(fields[row], QString::number(row + 1));
        }
        QTest::keyClicks(fields[0], QStringLiteral("x"));
        auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("OKButton"));
        QTest::mouseClick(ok, Qt::LeftButton);
    });
    const std::string result = SubstituteParameters(statementUsing(10), names(12), services());
    EXPECT_EQ(result, "SELECT * FROM dbo.Orders WHERE 1 = 1 AND x1 = '1x' AND x2 = 2 AND x3 = 3 "
                      "AND x4 = 4 AND x5 = 5 AND x6 = 6 AND x7 = 7 AND x8 = 8 AND x9 = 9 AND "
                      "x10 = 10");
    EXPECT_TRUE(box->shown().empty());
}

TEST_F(SubstituteParametersTest, ParameterUsedTwiceIsAskedOnceAndUnknownMarkersStay) {
    auto parameters = nameList({"Country", "Year"});
    QStringList captions;
    onNextModal([&](QDialog& dialog) {
        for (auto* label : dialog.findChildren<QLabel*>(QStringLiteral("lblParameter")))
            if (label->isEnabled())
                captions.append(label->text());
        auto* field = dialog.findChild<QLineEdit*>(QStringLiteral("txtValue"));
        QTest::keyClicks(field, QStringLiteral("Germany"));
        QTest::keyClick(field, Qt::Key_Return);
    });
    const std::string sql = "SELECT * FROM dbo.Customers WHERE Country = <[Country]> OR "
                            "ShipCountry = <[Country]> OR Region = <[Region]> OR c = <[country]>";
    EXPECT_EQ(SubstituteParameters(sql, parameters, services()),
              "SELECT * FROM dbo.Customers WHERE Country = 'Germany' OR ShipCountry = 'Germany' "
              "OR Region = <[Region]> OR c = <[country]>");
    EXPECT_EQ(captions, QStringList{"Country"});
}

TEST_F(SubstituteParametersTest, CancelGivesNothingAndNoMarkersOpenAnEmptyDialog) {
    auto parameters = nameList({"Year"});
    onNextModal([](QDialog& dialog) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
        EXPECT_FALSE(dialog.isVisible());
    });
    EXPECT_EQ(SubstituteParameters("SELECT <[Year]>", parameters, services()), "");

    // No name matches: the dialog still opens, with OK enabled at once.
    bool okEnabled = false;
    onNextModal([&](QDialog& dialog) {
        auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("OKButton"));
        okEnabled = ok->isEnabled();
        QTest::mouseClick(ok, Qt::LeftButton);
    });
    EXPECT_EQ(SubstituteParameters("SELECT <[year]>", parameters, services()), "SELECT <[year]>");
    EXPECT_TRUE(okEnabled);

    // Without a parameter list the statement is left alone and nothing is asked.
    EXPECT_EQ(SubstituteParameters("SELECT <[Year]>", nullptr, services()), "SELECT <[Year]>");
}

} // namespace
} // namespace marovin::test
