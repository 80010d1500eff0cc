// cRecordset and DbValue: random access across the row blocks, the cursor, and the display text
// of each kind of value.

#include "DbTestSupport.h"

#include <gtest/gtest.h>
#include <limits>
#include <marovin/cDbConnection.h>
#include <marovin/cRecordset.h>
#include <string_view>

namespace marovin {
namespace {

TEST(Recordset, BlocksEndAtTheFirstShortBlock) {
    std::vector<std::vector<DbValue>> blocks(3);
    for (std::int32_t r = 0; r < cRecordset::kRowsPerBlock; ++r) {
        blocks[0].emplace_back(static_cast<std::int64_t>(r));
        blocks[0].emplace_back("x");
    }
    blocks[1] = {DbValue(std::int64_t{7}), DbValue(std::string("short"))};
    blocks[2] = {DbValue(std::int64_t{8}), DbValue(std::string("never reached"))};
    cRecordset rs({{"A", "integer"}, {"B", "text"}}, std::move(blocks));
    EXPECT_EQ(rs.RecordCount(), cRecordset::kRowsPerBlock + 1);
    EXPECT_EQ(rs.value(cRecordset::kRowsPerBlock, 1).AsText(), "short");
}

TEST(Recordset, NoColumnsMeansNoRows) {
    cRecordset rs({}, std::vector<DbValue>{DbValue(std::int64_t{1})});
    EXPECT_EQ(rs.RecordCount(), 0);
    EXPECT_EQ(rs.FieldCount(), 0);
    EXPECT_TRUE(rs.IsBOF());
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_EQ(rs.FieldName(0), "");
}

// A query of many blocks matches the file row for row; queries limited to 1023, 1024 and 1025
// rows end around a block boundary, and the last row of each is the one just read.
TEST(Recordset, QueriesOfManyBlocksAndEndingAroundABlockBoundary) {
    test::TempDir dir;
    std::string path = dir.file("many.sqlite");
    test::writeSqlite(path, "CREATE TABLE t (i integer, s text, b blob, n);"
                            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < 5000) INSERT INTO t SELECT i, 'v' || i, x'00ff', NULL "
                            "FROM n;");
    const cDbConnection db = test::sqliteConnection(path);
    auto rs = test::rowsOf(db, "SELECT i, s FROM t ORDER BY i");
    ASSERT_EQ(rs->RecordCount(), 5000);
    for (std::int32_t r = 0; r < 5000; ++r) {
        ASSERT_EQ(rs->value(r, 0).AsInteger(), r + 1);
        ASSERT_EQ(rs->value(r, 1).AsText(), "v" + std::to_string(r + 1));
    }
    for (std::int32_t count : {1023, 1024, 1025}) {
        auto limited = test::rowsOf(db, "SELECT i, s, b, n FROM t ORDER BY i", count);
        ASSERT_EQ(limited->RecordCount(), count);
        const std::int32_t last = count - 1;
        EXPECT_EQ(limited->value(last, 0).AsInteger(), count);
        EXPECT_EQ(limited->value(last, 1).AsText(), "v" + std::to_string(count));
        EXPECT_EQ(limited->value(last, 2).ToString(), "0x00FF");
        EXPECT_TRUE(limited->value(last, 3).IsNull());
        EXPECT_TRUE(limited->value(count, 0).IsNull());
        EXPECT_GT(rs->MemoryUsage(), limited->MemoryUsage());
    }
}

// Every kind of value comes back from the packed rows as it went in, NULL apart from "".
TEST(Recordset, EveryKindOfValueRoundTrips) {
    const std::string withZeros("a\0b\0", 4);
    const std::string longText(100000, 'x');
    const std::string text255(255, 'y'); // just past the texts whose length fits the tag
    const std::string text239(239, 'z');
    DbValue::Blob bytes{0x00, 0xFF, 0x10, 0x00};
    std::vector<DbValue> values = {
        DbValue(),
        DbValue(std::string()),
        DbValue(std::int64_t{0}),
        DbValue(std::int64_t{-1}),
        DbValue(std::int64_t{127}),
        DbValue(std::int64_t{-128}),
        DbValue(std::int64_t{128}),
        DbValue(std::int64_t{-32769}),
        DbValue(std::int64_t{2147483647}),
        DbValue(std::int64_t{-2147483649LL}),
        DbValue(std::numeric_limits<std::int64_t>::max()),
        DbValue(std::numeric_limits<std::int64_t>::min()),
        DbValue(0.0),
        DbValue(-2.5),
        DbValue(1e300),
        DbValue(std::string_view(withZeros)),
        DbValue(text239),
        DbValue(text255),
        DbValue(longText),
        DbValue(bytes),
        DbValue(DbValue::Blob{}),
        DbValue(std::string("last")),
    };
    const std::vector<cRecordset::Column> columns(values.size(), {"c", ""});
    std::vector<DbValue> cells;
    for (int row = 0; row < 3; ++row)
        cells.insert(cells.end(), values.begin(), values.end());
    cRecordset rs(columns, std::move(cells));
    ASSERT_EQ(rs.RecordCount(), 3);
    for (std::int32_t row = 0; row < 3; ++row) {
        for (std::size_t c = 0; c < values.size(); ++c) {
            const DbValue got = rs.value(row, static_cast<std::int32_t>(c));
            EXPECT_EQ(got, values[c]) << "row " << row << ", column " << c;
            EXPECT_EQ(got.Kind(), values[c].Kind()) << "column " << c;
        }
    }
    EXPECT_TRUE(rs.value(0, 0).IsNull());
    EXPECT_EQ(rs.value(0, 1).Kind(), DbValueKind::Text);
    EXPECT_EQ(rs.value(0, 10).AsInteger(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(rs.value(0, 11).AsInteger(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(rs.value(0, 15).AsText(), std::string_view(withZeros));
    EXPECT_EQ(rs.value(2, 18).AsText().size(), longText.size());
    EXPECT_EQ(rs.value(1, 19).ToString(), "0x00FF1000");
    EXPECT_EQ(rs.value(1, 20).Kind(), DbValueKind::Blob);
    EXPECT_TRUE(rs.value(1, 20).AsBlob().empty());
    EXPECT_TRUE(rs.value(0, static_cast<std::int32_t>(values.size())).IsNull());
    EXPECT_TRUE(rs.value(-1, 0).IsNull());
}

// Flat cells split into blocks: rows on both sides of block boundaries, read forward with the
// cursor (fields found by name without regard to case) and then at random; half a row at the end
// is dropped.
TEST(Recordset, RowsAcrossBlockBoundariesReadForwardThenAtRandom) {
    const std::int32_t rows = 3 * cRecordset::kRowsPerBlock + 2;
    auto textOf = [](std::int32_t r) {
        // Texts of varying length, some longer than the tag can announce.
        return std::string(static_cast<std::size_t>(r % 300), static_cast<char>('a' + r % 26));
    };
    std::vector<DbValue> cells;
    for (std::int32_t r = 0; r < rows; ++r) {
        cells.emplace_back(static_cast<std::int64_t>(r) * 100003 - 50000000);
        if (r % 7 == 0)
            cells.emplace_back();
        else
            cells.emplace_back(textOf(r));
        cells.emplace_back(r / 4.0);
    }
    cells.emplace_back(std::int64_t{-1}); // half a row: dropped
    cRecordset rs({{"i", ""}, {"t", ""}, {"R", ""}}, std::move(cells));
    ASSERT_EQ(rs.RecordCount(), rows);
    auto check = [&](std::int32_t r) {
        EXPECT_EQ(rs.value(r, 0).AsInteger(), static_cast<std::int64_t>(r) * 100003 - 50000000);
        if (r % 7 == 0)
            EXPECT_TRUE(rs.value(r, 1).IsNull()) << r;
        else
            EXPECT_EQ(rs.value(r, 1).AsText(), textOf(r)) << r;
        EXPECT_EQ(rs.value(r, 2).AsReal(), r / 4.0);
    };
    std::int32_t walked = 0;
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        EXPECT_EQ(rs.Fields("r").AsReal(), walked / 4.0);
        ++walked;
    }
    EXPECT_EQ(walked, rows);
    EXPECT_TRUE(rs.Fields(0).IsNull()); // at EOF
    EXPECT_TRUE(rs.value(rows, 0).IsNull());
    const std::int32_t k = cRecordset::kRowsPerBlock;
    for (std::int32_t r : {k + 1, k - 1, k, 0, rows - 1, 2 * k, 2 * k - 1, 3 * k, 3 * k + 1, 5})
        check(r);
    for (std::int32_t r = rows - 1; r >= 0; r -= 37)
        check(r);
}

// Packed rows take far less than the 24 bytes a cell that a DbValue per cell would take.
TEST(Recordset, MemoryPerRowIsWellBelowAValuePerCell) {
    const std::int32_t rows = 10000;
    std::vector<DbValue> cells;
    for (std::int32_t r = 0; r < rows; ++r) {
        cells.emplace_back(static_cast<std::int64_t>(r));
        cells.emplace_back(static_cast<std::int64_t>(r % 50));
        cells.emplace_back(r * 1.5);
        cells.emplace_back("Germany");
    }
    cRecordset rs({{"a", ""}, {"b", ""}, {"c", ""}, {"d", ""}}, std::move(cells));
    const double perRow = static_cast<double>(rs.MemoryUsage()) / rows;
    // 3 + 2 + 9 + 8 bytes of cells (most rows) and a 4-byte row offset, plus what the growing
    // chunks leave unused.
    EXPECT_LT(perRow, 40.0);
    EXPECT_GT(perRow, 25.0); // the count is honest: it covers at least the packed bytes
    EXPECT_LT(perRow, 0.5 * 4 * sizeof(DbValue));
}

TEST(DbValue, DisplayTextAndKinds) {
    EXPECT_EQ(DbValue().ToString(), "");
    EXPECT_TRUE(DbValue().IsNull());
    EXPECT_EQ(DbValue(std::int64_t{-42}).ToString(), "-42");
    EXPECT_EQ(DbValue(0.1).ToString(), "0.1");
    EXPECT_EQ(DbValue(1e300).ToString(), "1e+300");
    EXPECT_EQ(DbValue(std::string("")).Kind(), DbValueKind::Text);
    EXPECT_NE(DbValue(std::string("")), DbValue());
    EXPECT_EQ(DbValue(DbValue::Blob{0x00, 0xAB, 0xFF}).ToString(), "0x00ABFF");
    // Another kind than the value's own reads as that kind's zero.
    EXPECT_EQ(DbValue(std::string("12")).AsInteger(), 0);
    EXPECT_EQ(DbValue(std::int64_t{12}).AsText(), "");
    EXPECT_EQ(DbValue(2.5).AsInteger(), 0);
    EXPECT_TRUE(DbValue(std::int64_t{1}).AsBlob().empty());
}

TEST(DbValue, ShortAndLongTextsCopyMoveAndCompare) {
    const std::string shortText = "sixteen bytes!!!"; // kept inside the value
    const std::string longText(100, 'x');             // kept on the heap
    for (const std::string& text : {shortText, longText}) {
        DbValue original(text);
        DbValue copy = original;
        EXPECT_EQ(copy.AsText(), text);
        EXPECT_EQ(copy, original);
        DbValue moved = std::move(copy);
        EXPECT_EQ(moved.AsText(), text);
        EXPECT_TRUE(copy.IsNull()); // NOLINT: a moved-from value is NULL
        DbValue assigned(std::int64_t{5});
        assigned = moved;
        EXPECT_EQ(assigned.AsText(), text);
        assigned = DbValue(2.0);
        EXPECT_EQ(assigned.AsReal(), 2.0);
        assigned = original;
        assigned = assigned; // self-assignment keeps the value
        EXPECT_EQ(assigned.AsText(), text);
    }
    EXPECT_EQ(DbValue(shortText).HeapBytes(), 0u);
    EXPECT_EQ(DbValue(longText).HeapBytes(), 100u);
    EXPECT_NE(DbValue(longText), DbValue(longText + "y"));
    EXPECT_NE(DbValue(std::string("1")), DbValue(std::int64_t{1}));
    DbValue::Blob bytes(40, 0x5A);
    DbValue blob(bytes);
    EXPECT_EQ(blob.Kind(), DbValueKind::Blob);
    EXPECT_EQ(blob.AsBlob().size(), 40u);
    EXPECT_EQ(blob.AsBlob()[39], 0x5A);
    EXPECT_EQ(DbValue::FromBytes("ab", 2).ToString(), "0x6162");
    EXPECT_EQ(sizeof(DbValue), 24u);
}

} // namespace
} // namespace marovin
