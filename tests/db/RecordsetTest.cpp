// cRecordset and DbValue: random access across the row blocks, the cursor, and the display text
// of each kind of value.

#include "DbTestSupport.h"

#include <gtest/gtest.h>
#include <marovin/cDbConnection.h>
#include <marovin/cRecordset.h>

namespace marovin {
namespace {

std::vector<cRecordset::Column> twoColumns() {
    return {{"A", "integer"}, {"B", "text"}};
}

TEST(Recordset, FlatCellsAreSplitIntoBlocksAndStayReachable) {
    const std::int32_t rows = 2 * cRecordset::kRowsPerBlock + 5;
    std::vector<DbValue> cells;
    for (std::int32_t r = 0; r < rows; ++r) {
        cells.emplace_back(static_cast<std::int64_t>(r));
        cells.emplace_back("row " + std::to_string(r));
    }
    cells.emplace_back(std::int64_t{-1}); // half a row: dropped
    cRecordset rs(twoColumns(), std::move(cells));
    ASSERT_EQ(rs.RecordCount(), rows);
    for (std::int32_t r : {0, cRecordset::kRowsPerBlock - 1, cRecordset::kRowsPerBlock,
                           2 * cRecordset::kRowsPerBlock, rows - 1}) {
        EXPECT_EQ(rs.value(r, 0).AsInteger(), r);
        EXPECT_EQ(rs.value(r, 1).AsText(), "row " + std::to_string(r));
    }
    EXPECT_TRUE(rs.value(rows, 0).IsNull());
    std::int32_t walked = 0;
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        EXPECT_EQ(rs.Fields("a").AsInteger(), walked);
        ++walked;
    }
    EXPECT_EQ(walked, rows);
}

TEST(Recordset, BlocksEndAtTheFirstShortBlock) {
    std::vector<std::vector<DbValue>> blocks(3);
    for (std::int32_t r = 0; r < cRecordset::kRowsPerBlock; ++r) {
        blocks[0].emplace_back(static_cast<std::int64_t>(r));
        blocks[0].emplace_back("x");
    }
    blocks[1] = {DbValue(std::int64_t{7}), DbValue(std::string("short"))};
    blocks[2] = {DbValue(std::int64_t{8}), DbValue(std::string("never reached"))};
    cRecordset rs(twoColumns(), std::move(blocks));
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

TEST(Recordset, AQueryOfManyBlocksMatchesTheFileRowForRow) {
    test::TempDir dir;
    std::string path = dir.file("many.sqlite");
    test::writeSqlite(path, "CREATE TABLE t (i integer, s text);"
                            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < 5000) INSERT INTO t SELECT i, 'v' || (i * 7) FROM n;");
    cDbConnection db;
    db.setStrProvider("SQLite");
    db.setStrDatabase(path);
    std::string error;
    auto rs = db.FireQuery("SELECT i, s FROM t ORDER BY i", error, 0);
    ASSERT_NE(rs, nullptr) << error;
    ASSERT_EQ(rs->RecordCount(), 5000);
    for (std::int32_t r = 0; r < 5000; ++r) {
        ASSERT_EQ(rs->value(r, 0).AsInteger(), r + 1);
        ASSERT_EQ(rs->value(r, 1).AsText(), "v" + std::to_string((r + 1) * 7));
    }
    auto limited = db.FireQuery("SELECT i FROM t ORDER BY i", error, 1025);
    ASSERT_NE(limited, nullptr) << error;
    EXPECT_EQ(limited->RecordCount(), 1025);
    EXPECT_EQ(limited->value(1024, 0).AsInteger(), 1025);
    EXPECT_GT(rs->MemoryUsage(), limited->MemoryUsage());
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
