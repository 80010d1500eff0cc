// The catalogue read straight from an SQLite file's pages: on every kind of schema SQLite writes
// it must give the very rows and order of the listing, and whatever it cannot vouch for (a log or
// journal beside the file, another text encoding, damage) it must leave to the listing.

#include "DbTestSupport.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <marovin/cDbConnection.h>
#include <random>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace marovin {
namespace {

using test::rowTexts;
using test::sqliteConnection;

// The file's rows read from its pages, and the same from SQLite's listing.
void expectSameAsListing(const std::string& path) {
    const cDbConnection db = sqliteConnection(path);
    const auto fromFile = db.GetTablesFromFile();
    ASSERT_TRUE(fromFile.has_value()) << path;
    const test::Listing listing = test::listTables(db);
    EXPECT_TRUE(listing.ok) << listing.error;
    EXPECT_EQ(rowTexts(*fromFile), rowTexts(listing.rows())) << path;
}

// A script that creates n tables, a view and an index per ten tables, and a trigger.
std::string manyTables(int n, const std::string& prefix) {
    std::string script = "BEGIN;";
    for (int i = 0; i < n; ++i) {
        const std::string name = prefix + std::to_string((i * 7919) % n);
        script += "CREATE TABLE \"" + name + "\" (id INTEGER PRIMARY KEY, a TEXT, b REAL);";
        if (i % 10 == 0) {
            script += "CREATE VIEW \"v " + name + "\" AS SELECT a FROM \"" + name + "\";";
            script += "CREATE INDEX \"ix " + name + "\" ON \"" + name + "\"(a);";
        }
    }
    script += "CREATE TRIGGER tr AFTER INSERT ON \"" + prefix + "0\" BEGIN SELECT 1; END;";
    return script + "COMMIT;";
}

// A name of the length whose letters vary from place to place, so that a piece of it taken from
// the wrong place shows.
std::string variedName(std::size_t length, char first) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += static_cast<char>(first + static_cast<char>(i * 7 % 23));
    return text;
}

class TablesFromFile : public ::testing::Test {
protected:
    test::TempDir dir;
};

TEST_F(TablesFromFile, GivesTheListingsRowsForEverySchemaSQLiteWrites) {
    // Pages of every size: with small pages the schema spans inner pages on several levels.
    for (const int pageSize : {512, 4096, 65536}) {
        const std::string path = dir.file("pages" + std::to_string(pageSize) + ".sqlite");
        test::writeSqlite(path, "PRAGMA page_size = " + std::to_string(pageSize) + ";" +
                                    manyTables(pageSize == 512 ? 1500 : 300, "Table "));
        expectSameAsListing(path);
    }
    // SQLite's own tables, names that differ only in case or need quoting, names in other
    // scripts, tables without row ids and a dropped table whose pages went free.
    const std::string odd = dir.file("odd.sqlite");
    test::writeSqlite(odd, "CREATE TABLE seq (id INTEGER PRIMARY KEY AUTOINCREMENT);"
                           "INSERT INTO seq DEFAULT VALUES;"
                           "CREATE TABLE Orders (x); CREATE TABLE orders2 (x);"
                           "CREATE TABLE \"ORDERS \"\"quoted\"\"\" (x);"
                           "CREATE TABLE \"Überweisung\" (x); CREATE TABLE \"表\" (x);"
                           "CREATE TABLE kv (k TEXT PRIMARY KEY, v) WITHOUT ROWID;"
                           "CREATE TABLE gone (x); DROP TABLE gone;"
                           "CREATE VIEW \"a view\" AS SELECT 1; CREATE VIEW B AS SELECT 2;"
                           "CREATE INDEX ix ON Orders(x); ANALYZE;");
    expectSameAsListing(odd);
    const auto rows = sqliteConnection(odd).GetTablesFromFile();
    ASSERT_TRUE(rows.has_value());
    EXPECT_EQ(rowTexts(*rows).front(), "dbo|sqlite_schema|SYSTEM TABLE");
}

TEST_F(TablesFromFile, FollowsNamesThatSpillOntoOverflowPages) {
    // On 512-byte pages a record of more than 477 bytes continues on overflow pages, and how
    // much of it stays on the page depends on its length; names of many lengths end on the
    // page, on the first overflow page or on a later one.
    const std::string path = dir.file("long.sqlite");
    std::string script = "PRAGMA page_size = 512; BEGIN;";
    std::size_t objects = 0;
    for (std::size_t length = 1; length < 3000; length += 29, objects += 2) {
        script += "CREATE TABLE \"" + variedName(length, 'a') + "\" (x);";
        script += "CREATE VIEW \"" + variedName(length, '0') + "\" AS SELECT 1 AS \"" +
                  variedName(2000, 'a') + "\";";
    }
    test::writeSqlite(path, script + "COMMIT;");
    expectSameAsListing(path);
    const auto rows = sqliteConnection(path).GetTablesFromFile();
    ASSERT_TRUE(rows.has_value());
    EXPECT_EQ(rows->size(), objects + 1);
}

TEST_F(TablesFromFile, ReadsPagesWithReservedBytesAtTheirEnd) {
    const std::string path = dir.file("reserved.sqlite");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    int reserved = 40;
    ASSERT_EQ(sqlite3_file_control(db, "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved), SQLITE_OK);
    // Long names too: where a record is split between the page and overflow pages depends on
    // the bytes a page leaves for the b-tree.
    const std::string script = "PRAGMA page_size = 1024;" + manyTables(400, "R") +
                               "CREATE TABLE \"" + variedName(1500, 'a') + "\" (x);" +
                               "CREATE TABLE \"" + variedName(2500, 'A') + "\" (x);";
    ASSERT_EQ(sqlite3_exec(db, script.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
    expectSameAsListing(path);
}

TEST_F(TablesFromFile, LeavesToTheListingWhatTheFileAloneCannotTell) {
    const std::string plain = dir.file("plain.sqlite");
    test::writeSqlite(plain, "CREATE TABLE t (x);");
    ASSERT_TRUE(sqliteConnection(plain).GetTablesFromFile().has_value());

    // A write-ahead log with content: the schema in the file may be out of date.
    const std::string wal = dir.file("wal.sqlite");
    test::writeSqlite(wal, "PRAGMA journal_mode = WAL; CREATE TABLE t (x);");
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(wal.c_str(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "PRAGMA wal_autocheckpoint = 0; CREATE TABLE added (x);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_FALSE(sqliteConnection(wal).GetTablesFromFile().has_value());
    // Checkpointed, the file says it all again.
    ASSERT_EQ(sqlite3_exec(writer, "PRAGMA wal_checkpoint(TRUNCATE);", nullptr, nullptr, nullptr),
              SQLITE_OK);
    expectSameAsListing(wal);
    sqlite3_close(writer);

    // A rollback journal with content beside the file.
    std::ofstream(plain + "-journal") << "pending";
    EXPECT_FALSE(sqliteConnection(plain).GetTablesFromFile().has_value());
    std::filesystem::remove(plain + "-journal");

    // Texts in UTF-16.
    const std::string utf16 = dir.file("utf16.sqlite");
    test::writeSqlite(utf16, "PRAGMA encoding = 'UTF-16le'; CREATE TABLE t (x);");
    EXPECT_FALSE(sqliteConnection(utf16).GetTablesFromFile().has_value());

    // No database, or another provider.
    std::ofstream(dir.file("text.sqlite")) << std::string(5000, 'x');
    std::ofstream(dir.file("empty.sqlite"));
    for (const char* name : {"missing.sqlite", "text.sqlite", "empty.sqlite"})
        EXPECT_FALSE(sqliteConnection(dir.file(name)).GetTablesFromFile().has_value()) << name;
    EXPECT_FALSE(sqliteConnection(dir.path().string()).GetTablesFromFile().has_value());
    cDbConnection server;
    server.setStrProvider("SQLServer");
    server.setStrServer("localhost");
    EXPECT_FALSE(server.GetTablesFromFile().has_value());
}

TEST_F(TablesFromFile, DamagedPagesGiveNothingOrRowsButNeverReadAmiss) {
    const std::string good = dir.file("good.sqlite");
    test::writeSqlite(good, "PRAGMA page_size = 512;" + manyTables(300, "D"));
    const std::string bytes = test::fileBytes(good);
    const std::string bad = dir.file("bad.sqlite");
    const auto tryBytes = [&bad](const std::string& content) {
        std::ofstream(bad, std::ios::binary | std::ios::trunc) << content;
        // Sanitizer builds catch a read outside the pages; a circle of pages would not end.
        return sqliteConnection(bad).GetTablesFromFile().has_value();
    };
    // Cut short: the pages the schema points to are gone.
    EXPECT_FALSE(tryBytes(bytes.substr(0, bytes.size() / 3)));

    // An inner page whose last child is itself.
    const auto pageSize = 512u;
    std::string circle = bytes;
    for (std::size_t page = 1; page * pageSize < circle.size(); ++page) {
        const std::size_t at = page * pageSize;
        if (static_cast<unsigned char>(circle[at]) == 0x05) {
            const auto number = static_cast<std::uint32_t>(page + 1);
            circle[at + 8] = static_cast<char>(number >> 24);
            circle[at + 9] = static_cast<char>(number >> 16);
            circle[at + 10] = static_cast<char>(number >> 8);
            circle[at + 11] = static_cast<char>(number);
            break;
        }
    }
    ASSERT_NE(circle, bytes);
    EXPECT_FALSE(tryBytes(circle));

    // Random bytes changed anywhere in the schema's pages.
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::string changed = bytes;
        for (int i = 0; i < 8; ++i)
            changed[random() % std::min<std::size_t>(changed.size(), 64 * pageSize)] =
                static_cast<char>(random());
        tryBytes(changed);
    }
}

} // namespace
} // namespace marovin
