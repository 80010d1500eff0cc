// The text rules the two builders share, checked on their own.

#include "marovin/BuilderText.h"

#include <gtest/gtest.h>

namespace marovin {
namespace {

TEST(BuilderText, LineBreaksAndNewlineTokensRoundTrip) {
    // CR LF, a lone LF and a lone CR each become one token; the way back gives CR LF unless
    // another line break is asked for.
    EXPECT_EQ(lineBreaksToNewlineTokens("a = 1\r\nOR b = 2\nOR c = 3\rOR d"),
              "a = 1{newline}OR b = 2{newline}OR c = 3{newline}OR d");
    EXPECT_EQ(newlineTokensToLineBreaks("a{newline}{newline}b"), "a\r\n\r\nb");
    EXPECT_EQ(newlineTokensToLineBreaks("a{newline}b", "\n"), "a\nb");
    const std::string stored = "SUM(Orders.Freight){newline}/ COUNT(*)";
    EXPECT_EQ(lineBreaksToNewlineTokens(newlineTokensToLineBreaks(stored)), stored);
    // A text without breaks passes unchanged, braces of other kinds included.
    EXPECT_EQ(lineBreaksToNewlineTokens("{x} = 1"), "{x} = 1");
}

TEST(BuilderText, BlankTextIsBlanksTabsAndLineBreaksOnly) {
    EXPECT_TRUE(isBlankText(""));
    EXPECT_TRUE(isBlankText("  \t\r\n "));
    EXPECT_FALSE(isBlankText("  x "));
}

TEST(BuilderText, FragmentsJoinWithBlanksAndAppendAfterOr) {
    EXPECT_EQ(conditionOperators(),
              (std::vector<std::string>{"=", "<", ">", "<=", ">=", "<>", "LIKE", "NOT LIKE"}));
    EXPECT_EQ(conditionFragment("Customers.Country", "=", "'Germany'"),
              "Customers.Country = 'Germany'");
    // Pieces missing at the start do not leave a leading blank.
    EXPECT_EQ(conditionFragment("", "=", "1"), "= 1");
    EXPECT_EQ(appendToCondition("", "A = 1"), "A = 1");
    EXPECT_EQ(appendToCondition("   ", "A = 1"), "   A = 1");
    EXPECT_EQ(appendToCondition("B = 2", "A = 1"), "B = 2 OR A = 1");
}

TEST(BuilderText, FieldCandidatesFollowTheAggregateOfTheCondition) {
    EXPECT_TRUE(splitCalculatedOrAggregatedItems("  ").empty());
    const std::vector<std::string> candidates = {"SUM(Orders.Freight)", "Customers.Country",
                                                 "COUNT (Orders.OrderID)", "Orders.Freight * 2"};
    EXPECT_EQ(filterFieldCandidates(candidates, " "), candidates);
    EXPECT_EQ(filterFieldCandidates(candidates, "sum(Orders.Freight) > 100"),
              (std::vector<std::string>{"SUM(Orders.Freight)", "COUNT (Orders.OrderID)"}));
    EXPECT_EQ(filterFieldCandidates(candidates, "Customers.Country = 'Germany'"),
              (std::vector<std::string>{"Customers.Country", "Orders.Freight * 2"}));
}

// The groups and the String group's functions are checked as the expression builder lists them.
TEST(BuilderText, CatalogueGroupsHoldTheirFunctions) {
    EXPECT_EQ(functionsOfGroup("Date and Time"),
              (std::vector<std::string>{"DATEADD", "DATEDIFF", "DATENAME", "DATEPART", "DAY",
                                        "GETDATE", "GETUTCDATE", "MONTH", "YEAR"}));
    EXPECT_EQ(functionsOfGroup("Mathematical").size(), 23u);
    EXPECT_EQ(functionsOfGroup("Mathematical").front(), "ABS");
    EXPECT_EQ(functionsOfGroup("Mathematical").back(), "TAN");
    EXPECT_TRUE(functionsOfGroup("Aggregate").empty());
    EXPECT_EQ(allCatalogueFunctions().size(), 40u);
}

// DATEADD, GETDATE, LEFT, ROUND and STR are checked as the expression builder inserts them.
TEST(BuilderText, FunctionTemplatesPlaceTheCaret) {
    struct Case {
        const char* function;
        const char* text;
        int left;
    };
    const Case cases[] = {
        {"DATEDIFF", "DATEDIFF(,,)", 0}, {"DATENAME", "DATENAME(,)", 0},
        {"DATEPART", "DATEPART(,)", 0},  {"RAND", "RAND()", 0},
        {"RIGHT", "RIGHT(,)", 2},        {"POWER", "POWER(,)", 2},
        {"UPPER", "UPPER()", 1},         {"GETUTCDATE", "GETUTCDATE()", 1},
        {"YEAR", "YEAR()", 1},
    };
    for (const Case& c : cases) {
        const FunctionTemplate entry = functionTemplate(c.function);
        EXPECT_EQ(entry.strText, c.text) << c.function;
        EXPECT_EQ(entry.lngCaretLeft, c.left) << c.function;
    }
}

TEST(BuilderText, FieldOperandBracketsWhatNeedsItAndWrapsTheAggregation) {
    EXPECT_EQ(fieldOperand("Orders", "Freight", "<none>"), "Orders.Freight");
    EXPECT_EQ(fieldOperand("Order Details", "Unit Price", "SUM"),
              "SUM([Order Details].[Unit Price])");
    EXPECT_EQ(fieldOperand("Orders", "Freight", ""), "Orders.Freight");
    // Keywords and other characters need brackets too; a "]" is doubled.
    EXPECT_EQ(fieldOperand("Order", "Group", "<none>"), "[Order].[Group]");
    EXPECT_EQ(fieldOperand("Order-Lines", "a]b", "MAX"), "MAX([Order-Lines].[a]]b])");
}

TEST(BuilderText, VariableNameCharacters) {
    EXPECT_TRUE(acceptsVariableNameCharacter(U'a', 0, ""));
    EXPECT_TRUE(acceptsVariableNameCharacter(U'Z', 3, "Abc"));
    EXPECT_TRUE(acceptsVariableNameCharacter(U'\b', 0, ""));
    EXPECT_FALSE(acceptsVariableNameCharacter(U'1', 0, "Abc"));
    EXPECT_TRUE(acceptsVariableNameCharacter(U'1', 1, "A"));
    EXPECT_FALSE(acceptsVariableNameCharacter(U'_', 0, ""));
    EXPECT_FALSE(acceptsVariableNameCharacter(U'_', 1, " "));
    EXPECT_TRUE(acceptsVariableNameCharacter(U'_', 0, "Total"));
    for (char32_t refused : {U' ', U'-', U'.', U'[', U'\u00e4', U'\u00df'})
        EXPECT_FALSE(acceptsVariableNameCharacter(refused, 2, "ab")) << int(refused);
}

} // namespace
} // namespace marovin
