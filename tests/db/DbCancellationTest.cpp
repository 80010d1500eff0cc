// Stopping a running service call from another thread, on a real SQLite file: the statement is
// interrupted, the call answers as cancelled, and the connection object works on afterwards.

#include "DbTestSupport.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <marovin/DbCancellation.h>
#include <marovin/cDbConnection.h>
#include <thread>

namespace marovin {
namespace {

using namespace std::chrono_literals;

// Counts to a trillion: runs far longer than any test waits.
const char* const kEndless = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                             "WHERE i < 1000000000000) SELECT MAX(i) FROM n";

class DbCancellationTest : public test::SqliteFileTest {
protected:
    void SetUp() override { create("CREATE TABLE t (a integer); INSERT INTO t VALUES (1), (2);"); }

    // Cancels once the call has had time to start its statement.
    static std::thread cancelSoon(DbCancellation& cancellation) {
        return std::thread([&cancellation] {
            std::this_thread::sleep_for(200ms);
            cancellation.Cancel();
        });
    }
};

TEST_F(DbCancellationTest, ARunningQueryIsInterrupted) {
    DbCancellation cancellation;
    auto call = std::async(std::launch::async, [&] {
        std::string error;
        auto rows = db.FireQuery(kEndless, error, 10, &cancellation);
        return std::make_pair(rows, error);
    });
    std::thread canceller = cancelSoon(cancellation);
    // The statement would run for hours: coming back at all is the proof.
    ASSERT_EQ(call.wait_for(60s), std::future_status::ready);
    canceller.join();
    const auto [rows, error] = call.get();
    EXPECT_EQ(rows, nullptr);
    EXPECT_EQ(error, kCancelledText);
    EXPECT_TRUE(cancellation.blnCancelled());

    // The connection object is not affected: the next call runs.
    EXPECT_EQ(test::rowsOf(db, "SELECT a FROM t", 10)->RecordCount(), 2);
}

// A query or a syntax check cancelled before the call stops at once. (The check compiles on
// SQLite; a statement whose compilation runs long is hard to come by, so the check is only
// cancelled before it starts and must not run.)
TEST_F(DbCancellationTest, ACancellationBeforeTheCallStopsItAtOnce) {
    DbCancellation cancellation;
    cancellation.Cancel();
    std::string error;
    EXPECT_EQ(db.FireQuery(kEndless, error, 10, &cancellation), nullptr);
    EXPECT_EQ(error, kCancelledText);
    EXPECT_EQ(db.CheckSQLSyntax("SELECT a FROM t", &cancellation), kCancelledText);
    DbCancellation fresh;
    EXPECT_EQ(db.CheckSQLSyntax("SELECT a FROM t", &fresh), "Syntax SQL Query correct");
}

TEST_F(DbCancellationTest, WithoutACancelTheCallsAnswerAsBefore) {
    DbCancellation cancellation;
    std::string error;
    const auto rows = db.FireQuery("SELECT a FROM t ORDER BY a", error, 1, &cancellation);
    ASSERT_TRUE(rows) << error;
    EXPECT_EQ(rows->RecordCount(), 1);
    EXPECT_EQ(db.FireQuery("SELECT nope FROM t", error, 1, &cancellation), nullptr);
    EXPECT_NE(error.find("no such column"), std::string::npos) << error;
    EXPECT_FALSE(cancellation.blnCancelled());

    // No connection: the usual answer, whatever the cancellation says.
    EXPECT_EQ(test::sqliteConnection(dir.file("none.sqlite"))
                  .FireQuery("SELECT 1", error, 1, &cancellation),
              nullptr);
    EXPECT_EQ(error, "Problems connecting to database");
}

} // namespace
} // namespace marovin
