#include <gtest/gtest.h>
#include <marovin/ModelError.h>
#include <marovin/Utilities.h>
#include <marovin/cSQLQuery.h>

using namespace marovin;

TEST(AppendWithSeparator, EmptyPiecesStillAddTheSeparatorAfterText) {
    std::string text;
    AppendWithSeparator(text, "", ",");
    EXPECT_EQ(text, "");
    AppendWithSeparator(text, "x", ",");
    EXPECT_EQ(text, "x");
    AppendWithSeparator(text, "", ",");
    EXPECT_EQ(text, "x,");
}

TEST(IndentLines, PadsEveryLineIncludingEmptyOnes) {
    EXPECT_EQ(IndentLines("(\r\nSELECT", 8), "        (\r\n        SELECT");
    EXPECT_EQ(IndentLines("a\r\n\r\nb", 2), "  a\r\n  \r\n  b");
    EXPECT_EQ(IndentLines("   ", 8), "");
    EXPECT_EQ(IndentLines("a", -3), "a");
}

TEST(CollapseRepeatedSeparator, RunsBecomeOne) {
    EXPECT_EQ(CollapseRepeatedSeparator("a\r\n\r\n\r\n\r\nb", "\r\n"), "a\r\nb");
    EXPECT_EQ(CollapseRepeatedSeparator("\r\r\n\n", "\r\n"), "\r\r\n\n");
    EXPECT_THROW(CollapseRepeatedSeparator("x", ""), ModelError);
}

TEST(ContainsAggregateFunction, SubstringTestAfterRemovingBlanks) {
    EXPECT_TRUE(ContainsAggregateFunction("count ( x )"));
    EXPECT_TRUE(ContainsAggregateFunction("1 + Sum(a)"));
    EXPECT_TRUE(ContainsAggregateFunction("dbo.MYMAX(a)"));
    EXPECT_FALSE(ContainsAggregateFunction("COUNTRY = 'x'"));
    EXPECT_FALSE(ContainsAggregateFunction("SUM\t(a)")) << "only blanks are removed";
    EXPECT_FALSE(ContainsAggregateFunction(""));
}

TEST(QuoteIdentifier, BracketsPiecesWithBlanks) {
    EXPECT_EQ(QuoteIdentifier(" dbo.Order Details "), "dbo.[Order Details]");
    EXPECT_EQ(QuoteIdentifier("[Order Details].Price"), "[Order Details].Price");
    EXPECT_EQ(QuoteIdentifier("x.y"), "x.y");
    EXPECT_EQ(QuoteIdentifier("[a.b c]"), "[a.[b c]]");
    EXPECT_EQ(QuoteIdentifier("   "), "");
    EXPECT_EQ(QuoteIdentifier("a..b c"), "a..[b c]");
}

TEST(NameHelpers, LastNamePartAndStripBrackets) {
    EXPECT_EQ(LastNamePart("Sales.dbo.Orders"), "Orders");
    EXPECT_EQ(LastNamePart("a.b."), "");
    EXPECT_EQ(LastNamePart(""), "");
    EXPECT_EQ(LastNamePart(" x "), " x ");
    EXPECT_EQ(StripBrackets("[Order Details].[x]"), "Order Details.x");
}

TEST(Split, EmptyTextHasNoParts) {
    EXPECT_TRUE(Split("", ",").empty());
    EXPECT_EQ(Split(",", ","), (std::vector<std::string>{"", ""}));
    EXPECT_EQ(Split("a,b", ","), (std::vector<std::string>{"a", "b"}));
}

TEST(FindTableByAlias, FirstExactMatchOfTheAliasAsRead) {
    cTables tables;
    tables.Add()->setStrName("dbo.Orders");
    auto second = tables.Add();
    second->setStrName("dbo.Customers");
    second->setStrAlias("C");
    EXPECT_EQ(FindTableByAlias(tables, "Orders"), tables.Item(1));
    EXPECT_EQ(FindTableByAlias(tables, "C"), second);
    EXPECT_EQ(FindTableByAlias(tables, "orders"), nullptr) << "case-sensitive";
    EXPECT_EQ(FindTableByAlias(tables, "Customers"), nullptr);
}

TEST(ListOutputNames, AliasesThenCalculatedNames) {
    cSQLQuery query;
    query.SelectedItems()->Add()->setStrName("O.Freight");
    auto aliased = query.SelectedItems()->Add();
    aliased->setStrName("O.ShipCity");
    aliased->setStrAlias("City");
    query.CalculatedItems()->Add()->setStrName("");
    query.CalculatedItems()->Add()->setStrName("Total");
    EXPECT_EQ(ListOutputNames(query), "Freight,City,,Total");
}

TEST(IsInCollection, NeverThrows) {
    cTables tables;
    tables.Add("Orders");
    EXPECT_TRUE(IsInCollection(tables, "orders"));
    EXPECT_FALSE(IsInCollection(tables, "Customers"));
}

TEST(ParseDecimal, AcceptsPointAndCommaWhateverTheSeparator) {
    for (const char* separator : {".", ","}) {
        SetDecimalSeparator(separator);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string("0,5"), 9), 0.5);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string("0.5"), 9), 0.5);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string(" .375"), 9), 0.375);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::nullopt, 9), 9);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string("abc"), 9), 0) << "text gives 0, not the default";
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string(""), 9), 0);
        EXPECT_DOUBLE_EQ(ParseDecimal(std::string("-1.25"), 9), -1.25);
    }
    SetDecimalSeparator(".");
}

TEST(MaxOf, LargerOfTwo) {
    EXPECT_EQ(MaxOf(3, -4), 3);
    EXPECT_EQ(MaxOf(-4, 3), 3);
}

TEST(Booleans, TextForms) {
    EXPECT_EQ(BoolToText(true), "True");
    EXPECT_EQ(BoolToText(false), "False");
    EXPECT_TRUE(TextToBool("TRUE"));
    EXPECT_TRUE(TextToBool(" true "));
    EXPECT_FALSE(TextToBool("fAlSe"));
    EXPECT_TRUE(TextToBool("-1"));
    EXPECT_TRUE(TextToBool("2.5"));
    EXPECT_FALSE(TextToBool("0"));
    EXPECT_THROW(TextToBool("yes"), ModelError);
    EXPECT_THROW(TextToBool(""), ModelError);
}
