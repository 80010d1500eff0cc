// The Transact-SQL functions registered on the SQLite provider, run through real previews.

#include "DbTestSupport.h"

#include <cmath>
#include <gtest/gtest.h>
#include <marovin/cDbConnection.h>

namespace marovin {
namespace {

// SQL Server's message for a text that is no date.
const char* const kNoDate = "Error\r\n\r\nConversion failed when converting date and/or time "
                            "from character string.";

class SqliteFunctions : public test::SqliteFileTest {
protected:
    void SetUp() override {
        create("CREATE TABLE Numbers (x real, grp text);"
               "INSERT INTO Numbers VALUES (2,'a'),(4,'a'),(4,'a'),(4,'a'),"
               "(5,'a'),(5,'a'),(7,'a'),(9,'a'),(NULL,'a'),(3,'b');");
    }

    // The single value of a one-row, one-column query; fails the test on an error.
    DbValue scalar(const std::string& expression) {
        std::string error;
        auto rs = db.FireQuery("SELECT " + expression, error, 0);
        EXPECT_EQ(error, "") << expression;
        if (!rs || rs->RecordCount() != 1)
            return {};
        return rs->value(0, 0);
    }
    std::string text(const std::string& expression) { return scalar(expression).ToString(); }
    std::string failure(const std::string& expression) {
        std::string error;
        auto rs = db.FireQuery("SELECT " + expression, error, 0);
        EXPECT_EQ(rs, nullptr) << expression;
        return error;
    }
};

TEST_F(SqliteFunctions, StringFunctions) {
    EXPECT_EQ(text("LEFT('abcdef', 2)"), "ab");
    EXPECT_EQ(text("left ('abcdef', 10)"), "abcdef");
    EXPECT_EQ(text("RIGHT('abcdef', 2)"), "ef");
    EXPECT_EQ(text("RIGHT('abcdef', 0)"), "");
    EXPECT_EQ(text("LEFT('Zürich', 2)"), "Zü"); // characters, not bytes
    EXPECT_EQ(text("RIGHT('Zürich', 5)"), "ürich");
    EXPECT_EQ(text("REVERSE('Zürich')"), "hcirüZ");
    EXPECT_EQ(text("STR(123.456, 8, 2)"), "  123.46");
    EXPECT_EQ(text("STR(123.456)"), "       123");
    EXPECT_EQ(text("STR(123456, 3)"), "***");
    EXPECT_EQ(text("STR(-2.5, 6, 1)"), "  -2.5");
    EXPECT_EQ(text("UPPER(LTRIM(RTRIM('  ab  ')))"), "AB");
    EXPECT_TRUE(scalar("LEFT(NULL, 2)").IsNull());
    EXPECT_EQ(failure("LEFT('abc', -1)"),
              "Error\r\n\r\nInvalid length parameter passed to the LEFT function.");
}

TEST_F(SqliteFunctions, LeftAndRightStayJoinKeywordsWhereTheyAreJoins) {
    auto rs =
        test::rowsOf(db, "SELECT a.grp, LEFT(a.grp, 1) AS g FROM Numbers a LEFT JOIN Numbers b "
                         "ON a.x = b.x LEFT OUTER JOIN Numbers c ON 1 = 0 "
                         "WHERE 'LEFT(' <> \"a\".\"grp\" -- LEFT(\n"
                         "AND /* RIGHT( */ a.grp = 'b'");
    ASSERT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(rs->value(0, 1).AsText(), "b");
}

TEST_F(SqliteFunctions, BracketedNamesMayHoldAnEscapedClosingBracket) {
    test::writeSqlite(path, "CREATE TABLE \"a]b\" (\"x]]\" INTEGER, \"say \"\"hi\"\"]\" TEXT);"
                            "INSERT INTO \"a]b\" VALUES (1, 'one'), (2, '[x]]y]');");
    auto rs = test::rowsOf(db, "SELECT [a]]b].[x]]]]] AS [v]]], [say \"hi\"]]] FROM dbo.[a]]b] "
                               "WHERE [a]]b].[say \"hi\"]]] <> '[x]]y]' -- [c]]\n");
    ASSERT_EQ(rs->RecordCount(), 1);
    EXPECT_EQ(rs->FieldName(0), "v]");
    EXPECT_EQ(rs->value(0, 1).AsText(), "one");
    // A bracketed name that names nothing stays an error, escaped or not.
    EXPECT_NE(failure("[no]]such] FROM Numbers").find("no such column"), std::string::npos);
    EXPECT_NE(failure("[nothing] FROM Numbers").find("no such column"), std::string::npos);
}

TEST_F(SqliteFunctions, MathematicalFunctions) {
    EXPECT_EQ(text("SQUARE(3)"), "9");
    EXPECT_EQ(scalar("SQUARE(3)").Kind(), DbValueKind::Real);
    EXPECT_EQ(text("POWER(2, 10)"), "1024");
    EXPECT_EQ(scalar("POWER(2, 10)").Kind(), DbValueKind::Integer);
    EXPECT_EQ(text("POWER(2.0, -1)"), "0.5");
    EXPECT_EQ(text("SIGN(-3)"), "-1");
    EXPECT_EQ(text("SIGN(0.25)"), "1");
    EXPECT_EQ(text("CEILING(1.2)"), "2");
    EXPECT_EQ(scalar("CEILING(3)").Kind(), DbValueKind::Integer);
    EXPECT_EQ(text("FLOOR(-1.5)"), "-2");
    EXPECT_EQ(text("LOG10(1000)"), "3");
    EXPECT_NEAR(scalar("LOG(EXP(2))").AsReal(), 2.0, 1e-12); // natural, as in T-SQL
    EXPECT_NEAR(scalar("LOG(8, 2)").AsReal(), 3.0, 1e-12);
    EXPECT_NEAR(scalar("PI()").AsReal(), 3.14159265358979, 1e-12);
    EXPECT_NEAR(scalar("DEGREES(PI())").AsReal(), 180.0, 1e-9);
    EXPECT_NEAR(scalar("RADIANS(180)").AsReal(), 3.14159265358979, 1e-12);
    EXPECT_NEAR(scalar("ATN2(1, 1)").AsReal(), 0.785398163397448, 1e-12);
    EXPECT_NEAR(scalar("COT(1)").AsReal(), 1.0 / std::tan(1.0), 1e-12);
    EXPECT_NEAR(scalar("ACOS(0) + ASIN(1) + ATAN(1) + COS(0) + SIN(0) + TAN(0) + SQRT(4)").AsReal(),
                1.5707963267949 * 2 + 0.785398163397448 + 1 + 2, 1e-9);
    EXPECT_EQ(text("ABS(-4) + ROUND(2.567, 2)"), "6.57");
    EXPECT_EQ(failure("LOG(0)"), "Error\r\n\r\nAn invalid floating point operation occurred.");
    EXPECT_EQ(failure("SQRT(-1)"), "Error\r\n\r\nAn invalid floating point operation occurred.");
}

TEST_F(SqliteFunctions, RandIsInTheUnitIntervalAndRepeatsWithASeed) {
    double r = scalar("RAND()").AsReal();
    EXPECT_GE(r, 0.0);
    EXPECT_LT(r, 1.0);
    EXPECT_EQ(text("RAND(42)"), text("RAND(42)"));
}

TEST_F(SqliteFunctions, StatisticalAggregatesIgnoreNulls) {
    auto rs = test::rowsOf(db, "SELECT grp, STDEV(x), STDEVP(x), VAR(x), VARP(x), COUNT(x) "
                               "FROM Numbers GROUP BY grp ORDER BY grp");
    ASSERT_EQ(rs->RecordCount(), 2);
    // 2,4,4,4,5,5,7,9: mean 5, sum of squares 32.
    EXPECT_NEAR(rs->value(0, 1).AsReal(), std::sqrt(32.0 / 7.0), 1e-12);
    EXPECT_NEAR(rs->value(0, 2).AsReal(), 2.0, 1e-12);
    EXPECT_NEAR(rs->value(0, 3).AsReal(), 32.0 / 7.0, 1e-12);
    EXPECT_NEAR(rs->value(0, 4).AsReal(), 4.0, 1e-12);
    EXPECT_EQ(rs->value(0, 5).AsInteger(), 8);
    // One value: no sample deviation, a population deviation of 0.
    EXPECT_TRUE(rs->value(1, 1).IsNull());
    EXPECT_EQ(rs->value(1, 2).AsReal(), 0.0);
    EXPECT_TRUE(rs->value(1, 3).IsNull());
}

TEST_F(SqliteFunctions, DateParts) {
    const std::string d = "'1996-07-04 13:45:30.250'";
    EXPECT_EQ(text("YEAR(" + d + ")"), "1996");
    EXPECT_EQ(text("MONTH(" + d + ")"), "7");
    EXPECT_EQ(text("DAY('1996-07-04')"), "4");
    EXPECT_EQ(text("DATEPART('weekday', " + d + ")"), "5"); // a Thursday; Sunday is 1
    EXPECT_EQ(text("DATEPART('dw', '1996-07-07')"), "1");
    EXPECT_EQ(text("DATEPART('quarter', " + d + ")"), "3");
    EXPECT_EQ(text("DATEPART('dayofyear', " + d + ")"), "186");
    EXPECT_EQ(text("DATEPART('hh', " + d + ")"), "13");
    EXPECT_EQ(text("DATEPART('mi', " + d + ")"), "45");
    EXPECT_EQ(text("DATEPART('ss', " + d + ")"), "30");
    EXPECT_EQ(text("DATEPART('ms', " + d + ")"), "250");
    EXPECT_EQ(text("DATEPART('week', '1996-01-01')"), "1");
    EXPECT_EQ(text("DATEPART('wk', '1996-01-07')"), "2"); // weeks start on Sunday
    EXPECT_EQ(text("DATENAME('month', " + d + ")"), "July");
    EXPECT_EQ(text("DATENAME('weekday', " + d + ")"), "Thursday");
    EXPECT_EQ(text("DATENAME('year', " + d + ")"), "1996");
}

TEST_F(SqliteFunctions, DateArithmetic) {
    EXPECT_EQ(text("DATEADD('day', 1, '1996-07-04 00:00:00.000')"), "1996-07-05 00:00:00.000");
    EXPECT_EQ(text("DATEADD('dd', -5, '1996-03-02')"), "1996-02-26");
    EXPECT_EQ(text("DATEADD('month', 1, '1996-01-31')"), "1996-02-29");
    EXPECT_EQ(text("DATEADD('yy', 1, '1996-02-29')"), "1997-02-28");
    EXPECT_EQ(text("DATEADD('quarter', -1, '1996-05-15')"), "1996-02-15");
    EXPECT_EQ(text("DATEADD('week', 2, '1996-12-25')"), "1997-01-08");
    EXPECT_EQ(text("DATEADD('hour', 25, '1996-07-04')"), "1996-07-05 01:00:00.000");
    EXPECT_EQ(text("DATEADD('minute', -1, '1996-01-01 00:00:00')"), "1995-12-31 23:59:00.000");
    EXPECT_EQ(text("DATEDIFF('day', '1996-07-04', '1996-08-01')"), "28");
    EXPECT_EQ(text("DATEDIFF('month', '1996-07-31', '1997-01-01')"), "6");
    EXPECT_EQ(text("DATEDIFF('year', '1996-12-31', '1997-01-01')"), "1");
    EXPECT_EQ(text("DATEDIFF('week', '1996-07-06', '1996-07-07')"), "1"); // Saturday to Sunday
    EXPECT_EQ(text("DATEDIFF('hh', '1996-07-04 23:59', '1996-07-05 00:01')"), "1");
    EXPECT_EQ(text("DATEDIFF('day', '1996-08-01', '1996-07-04')"), "-28");
}

TEST_F(SqliteFunctions, DateArithmeticBeyondYears1To9999IsAnOverflow) {
    const std::string overflow =
        "Error\r\n\r\nAdding a value to a 'datetime' column caused an overflow.";
    EXPECT_EQ(text("DATEADD('year', 7999, '2000-01-01')"), "9999-01-01");
    EXPECT_EQ(text("DATEADD('day', -1, '0001-01-02')"), "0001-01-01");
    EXPECT_EQ(text("DATEADD('ms', -1, '9999-12-31 23:59:59.999')"), "9999-12-31 23:59:59.998");
    EXPECT_EQ(failure("DATEADD('year', 8000, '2000-01-01')"), overflow);
    EXPECT_EQ(failure("DATEADD('day', -1, '0001-01-01')"), overflow);
    EXPECT_EQ(failure("DATEADD('ms', 1, '9999-12-31 23:59:59.999')"), overflow);
    // Counts that do not fit in 64 bits once turned into months, days or milliseconds.
    for (const char* part :
         {"year", "quarter", "month", "day", "week", "hour", "minute", "second", "millisecond"}) {
        for (const char* count : {"9223372036854775807", "-9223372036854775808"}) {
            EXPECT_EQ(failure(std::string("DATEADD('") + part + "', " + count + ", '2000-01-01')"),
                      overflow)
                << part << " " << count;
        }
    }
    // Year 0 is no date.
    EXPECT_EQ(failure("YEAR('0000-06-01')"), kNoDate);
}

TEST_F(SqliteFunctions, CurrentDates) {
    std::string now = text("GETDATE()");
    std::string utc = text("GETUTCDATE()");
    ASSERT_EQ(now.size(), 23u) << now;
    ASSERT_EQ(utc.size(), 23u) << utc;
    EXPECT_EQ(now[10], ' ');
    // Both read back as dates and lie within a day of each other.
    std::int64_t hours = scalar("DATEDIFF('hour', GETUTCDATE(), GETDATE())").AsInteger();
    EXPECT_LE(std::abs(hours), 15);
}

TEST_F(SqliteFunctions, DateErrorsAreClear) {
    EXPECT_EQ(failure("DATEADD(day, 1, '1996-07-04')"), "Error\r\n\r\nno such column: day");
    EXPECT_EQ(failure("DATEADD('fortnight', 1, '1996-07-04')"),
              "Error\r\n\r\nInvalid date part: write it as a string, e.g. 'day'.");
    EXPECT_EQ(failure("YEAR('July 4th')"), kNoDate);
    EXPECT_EQ(failure("MONTH('1996-02-30')"), kNoDate);
    EXPECT_TRUE(scalar("YEAR(NULL)").IsNull());
}

} // namespace
} // namespace marovin
