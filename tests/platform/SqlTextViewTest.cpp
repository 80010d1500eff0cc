#include "marovin/platform/SqlTextView.h"

#include "marovin/platform/SqlHighlighter.h"

#include <QFontInfo>
#include <QFontMetricsF>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <gtest/gtest.h>

using namespace marovin;
using Kind = SqlHighlighter::Kind;

namespace {

// The kind of the first character of `needle` in the line.
Kind kindOf(const QString& line, const QString& needle) {
    const auto at = line.indexOf(needle);
    EXPECT_GE(at, 0) << needle.toStdString();
    return SqlHighlighter::KindAt(line, static_cast<int>(at));
}

} // namespace

TEST(SqlHighlighterTest, ColoursTheKindsOfTSqlText) {
    const QString line = "SELECT TOP 10 [Order Details].Quantity AS Qty, 'it''s' FROM dbo.Orders1 "
                         "where Freight > 12.5 -- cheap";
    EXPECT_EQ(kindOf(line, "SELECT"), Kind::Keyword);
    EXPECT_EQ(kindOf(line, "TOP"), Kind::Keyword);
    EXPECT_EQ(kindOf(line, "10"), Kind::Number);
    EXPECT_EQ(kindOf(line, "[Order Details]"), Kind::BracketedName);
    EXPECT_EQ(kindOf(line, "Details]"), Kind::BracketedName);
    EXPECT_EQ(kindOf(line, "Quantity"), Kind::Plain);
    EXPECT_EQ(kindOf(line, "AS Qty"), Kind::Keyword);
    EXPECT_EQ(kindOf(line, "s'"), Kind::String); // the doubled quote stays inside the literal
    EXPECT_EQ(kindOf(line, "FROM"), Kind::Keyword);
    EXPECT_EQ(kindOf(line, "1 "), Kind::Plain); // the digit ending Orders1 is part of the name
    EXPECT_EQ(kindOf(line, "where"), Kind::Keyword);
    EXPECT_EQ(kindOf(line, "12.5"), Kind::Number);
    EXPECT_EQ(kindOf(line, "cheap"), Kind::Comment);
}

TEST(SqlHighlighterTest, ParameterMarkersKeepTheirColourInsideLiterals) {
    const QString line = "WHERE Country = <[Country]> AND City LIKE '%<[City]>%'";
    EXPECT_EQ(kindOf(line, "<[Country]>"), Kind::Parameter);
    EXPECT_EQ(kindOf(line, "Country]>"), Kind::Parameter);
    EXPECT_EQ(kindOf(line, "<[City]>"), Kind::Parameter);
    EXPECT_EQ(kindOf(line, "%<"), Kind::String);
    EXPECT_EQ(kindOf(line, "%'"), Kind::String);
    // An unclosed marker is an ordinary bracketed name after the "<".
    EXPECT_EQ(kindOf("x < [a b", "[a"), Kind::BracketedName);
}

TEST(SqlTextViewTest, KeepsTheTextByteForByteAndShowsOneLinePerCrLf) {
    SqlTextView view;
    const std::string sql = "SELECT Orders.Freight\r\nFROM Orders\r\nWHERE Freight > 10";
    view.setStrText(sql);
    EXPECT_EQ(view.strText(), sql);
    EXPECT_TRUE(view.isReadOnly());
    EXPECT_EQ(view.document()->blockCount(), 3);
    EXPECT_EQ(view.document()->findBlockByNumber(1).text(), "FROM Orders");
    EXPECT_FALSE(view.toPlainText().contains(QChar('\r')));

    // Typing does not change a read-only view.
    view.show();
    QTest::keyClicks(&view, "DROP");
    EXPECT_EQ(view.strText(), sql);
    EXPECT_FALSE(view.toPlainText().contains("DROP"));
}

TEST(SqlTextViewTest, ShowsEveryCharacterOfAStatementAtTheSameWidth) {
    // What matters is what the user sees: columns of a statement line up. Whether fontconfig
    // calls the font monospaced varies with the fonts a machine has.
    SqlTextView view;
    const QFontMetricsF metrics(view.font());
    const qreal width = metrics.horizontalAdvance(QChar('M'));
    ASSERT_GT(width, 0);
    const QString statement = "SELECT iIlL1 mMwW 0123456789 ()[]{}<>=!+-*/%.,;:'\"_@#$ AS x";
    for (const QChar character : statement)
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(character), width)
            << "'" << QString(character).toStdString() << "' in "
            << QFontInfo(view.font()).family().toStdString();
    EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(statement), width * statement.size());
}

TEST(SqlTextViewTest, AppliesTheColoursToTheShownDocument) {
    SqlTextView view;
    view.setStrText("SELECT 'x'");
    const QTextBlock block = view.document()->firstBlock();
    const auto formats = block.layout()->formats();
    bool keyword = false;
    bool literal = false;
    for (const auto& range : formats) {
        if (range.start == 0 && range.length == 6)
            keyword =
                range.format.foreground() == view.highlighter()->format(Kind::Keyword).foreground();
        if (range.start == 7 && range.length == 3)
            literal =
                range.format.foreground() == view.highlighter()->format(Kind::String).foreground();
    }
    EXPECT_TRUE(keyword);
    EXPECT_TRUE(literal);
    EXPECT_NE(view.highlighter()->format(Kind::Keyword).foreground(),
              view.highlighter()->format(Kind::String).foreground());
}

// A new statement replaces only what differs from the shown one: the document must still hold
// exactly the new text, coloured, with the place the user scrolled to kept.
TEST(SqlTextViewTest, ShowsAChangedStatementWithoutLosingThePlaceOrTheColours) {
    SqlTextView view;
    view.resize(400, 200);
    view.show();
    const auto statement = [](const std::string& head, const std::string& last) {
        std::string sql = head + "\r\nFROM Orders";
        for (int i = 0; i < 300; ++i)
            sql += "\r\n     INNER JOIN T" + std::to_string(i) + " ON (T" + std::to_string(i) +
                   ".ID = Orders.ID)";
        return sql + "\r\n" + last;
    };
    const auto shown = [](const std::string& sql) {
        return QString::fromStdString(sql).replace("\r\n", "\n");
    };
    const std::string first = statement("SELECT Orders.Freight", "WHERE Freight > 10");
    view.setStrText(first);
    auto* bar = view.verticalScrollBar();
    bar->setValue(bar->maximum() / 2);
    const int place = bar->value();
    ASSERT_GT(place, 0);

    // A word added at the start, a line changed at the end, lines taken away, lines added.
    const std::vector<std::string> texts = {
        statement("SELECT DISTINCT Orders.Freight", "WHERE Freight > 10"),
        statement("SELECT DISTINCT Orders.Freight", "WHERE Freight > 12 AND Freight < 99"),
        "SELECT 1",
        statement("SELECT Orders.Freight", "WHERE Freight > 10"),
        statement("SELECT Orders.Freight", "WHERE Freight > 10"),
    };
    for (const std::string& text : texts) {
        view.setStrText(text);
        EXPECT_EQ(view.strText(), text);
        EXPECT_EQ(view.toPlainText(), shown(text));
    }
    view.setStrText(statement("SELECT DISTINCT Orders.Freight", "WHERE Freight > 10"));
    bar->setValue(place);
    view.setStrText(statement("SELECT Orders.Freight", "WHERE Freight > 11"));
    EXPECT_EQ(bar->value(), place);
    view.setStrText(statement("SELECT Orders.Freight", "WHERE Freight > 13"));
    EXPECT_EQ(bar->value(), place);
    // A selection away from the change stays selected: the rest of the document was left alone.
    QTextCursor selection(view.document());
    selection.setPosition(7);
    selection.setPosition(13, QTextCursor::KeepAnchor);
    view.setTextCursor(selection);
    view.setStrText(statement("SELECT Orders.Freight", "WHERE Freight > 14"));
    EXPECT_EQ(view.textCursor().selectedText(), "Orders");

    // The changed line is coloured again: DISTINCT now shows as a keyword.
    view.setStrText(statement("SELECT DISTINCT Orders.Freight", "WHERE Freight > 11"));
    const QString firstLine = view.document()->firstBlock().text();
    ASSERT_TRUE(firstLine.startsWith("SELECT DISTINCT"));
    bool distinct = false;
    for (const auto& range : view.document()->firstBlock().layout()->formats())
        distinct = distinct || (range.start == 7 && range.length == 8 &&
                                range.format.foreground() ==
                                    view.highlighter()->format(Kind::Keyword).foreground());
    EXPECT_TRUE(distinct);
}

TEST(SqlTextViewTest, ReplacesCharactersBeyondTheBasicPlaneCorrectly) {
    SqlTextView view;
    // The two emoji share their first UTF-16 unit and differ in the second.
    const std::string before = "SELECT '\xF0\x9F\x98\x80' AS Face FROM Faces";
    const std::string after = "SELECT '\xF0\x9F\x98\x81' AS Face FROM Faces";
    view.setStrText(before);
    view.setStrText(after);
    EXPECT_EQ(view.toPlainText(), QString::fromStdString(after));
    view.setStrText(before);
    EXPECT_EQ(view.toPlainText(), QString::fromStdString(before));
    // These share their second unit and differ in the first.
    const std::string other = "SELECT '\xF0\x9F\x88\x80' AS Face FROM Faces";
    view.setStrText(other);
    EXPECT_EQ(view.toPlainText(), QString::fromStdString(other));
}

TEST(SqlTextViewTest, ShowsTheStatementWholeAfterTheDocumentWasChangedElsewhere) {
    SqlTextView view;
    view.setStrText("SELECT a FROM t");
    view.setPlainText("something else entirely");
    view.setStrText("SELECT b FROM t");
    EXPECT_EQ(view.toPlainText(), "SELECT b FROM t");
    view.setPlainText("something else entirely");
    view.setStrText("SELECT b FROM t");
    EXPECT_EQ(view.toPlainText(), "SELECT b FROM t");
    // A change elsewhere that keeps the length, away from what the next statement changes.
    QTextCursor cursor(view.document());
    cursor.setPosition(14);
    cursor.setPosition(15, QTextCursor::KeepAnchor);
    cursor.insertText("u");
    ASSERT_EQ(view.toPlainText(), "SELECT b FROM u");
    view.setStrText("SELECT c FROM t");
    EXPECT_EQ(view.toPlainText(), "SELECT c FROM t");
}
