// The SQLite session below cDbConnection: the command time-out interrupts a statement that runs
// too long, and the session stays usable afterwards.

#include "SqliteSession.h"

#include "DbTestSupport.h"

#include <gtest/gtest.h>
#include <marovin/DbError.h>
#include <marovin/cRecordset.h>

namespace marovin {
namespace {

// A file holding one empty table t.
class SqliteSession : public test::SqliteFileTest {
protected:
    void SetUp() override { create("CREATE TABLE t (x integer);"); }
};

TEST_F(SqliteSession, TheCommandTimeoutInterruptsAnEndlessStatement) {
    marovin::SqliteSession session(path, 1);
    const std::string endless =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT count(*) FROM n";
    try {
        session.Query(endless, 0);
        ADD_FAILURE() << "the endless statement returned";
    } catch (const DbError& e) {
        EXPECT_STREQ(e.what(), "interrupted");
    }
    auto rs = session.Query("SELECT count(*) FROM t", 0);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->value(0, 0).AsInteger(), 0);
}

TEST_F(SqliteSession, AClosedSessionRefusesWork) {
    marovin::SqliteSession session(path, 600);
    session.Close();
    session.Close(); // twice is harmless
    EXPECT_THROW(session.Query("SELECT 1", 0), DbError);
    EXPECT_THROW(session.Prepare("SELECT 1"), DbError);
    EXPECT_THROW(session.Columns("", "t"), DbError);
}

} // namespace
} // namespace marovin
