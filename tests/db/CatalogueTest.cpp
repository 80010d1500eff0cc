// The catalogue services on real SQLite files: the streamed listing (the same rows and order as
// the table list, in parts, cancellable while SQLite reads a large schema), the catalogue stamp
// read from the file header, and the catalogue files kept on disk between runs.

#include "DbTestSupport.h"
#include "SqliteSession.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <marovin/CatalogueCache.h>
#include <marovin/DbCancellation.h>
#include <marovin/DbError.h>
#include <marovin/cDbConnection.h>
#include <optional>
#include <set>
#include <stdlib.h>
#include <thread>
#include <unistd.h>

namespace marovin {
namespace {

using namespace std::chrono_literals;
using TableRow = DbSession::TableRow;
using Rows = std::vector<TableRow>;
using test::Listing;
using test::listTables;
using test::rowText;
using test::rowTexts;
using test::sqliteConnection;
using test::writeSample;

// A Northwind-shaped database with a few extra tables and views.
std::string sampleWithExtras(const std::string& path) {
    SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
    options.orderLines = 40;
    options.extraTables = 3;
    options.extraViews = 4;
    return writeSample(path, options);
}

// The table list as GetListOfTables writes it, made from the rows and the list options.
std::string listOf(const cDbConnection& db, const Rows& rows) {
    std::string list;
    for (const TableRow& row : rows) {
        if (db.blnListsTableRow(row))
            list += (list.empty() ? "" : ",") + row.strSchema + "." + row.strName;
    }
    return list;
}

// Waits until this process has the file open (SQLite opens it when it attaches it, and then
// reads its schema), or until stop is set.
void waitUntilOpen(const std::string& path, const std::atomic<bool>& stop) {
    while (!stop && test::openDescriptorsOn(path) == 0)
        std::this_thread::sleep_for(1ms);
}

// Sets or removes an environment variable for the scope of a test and puts back what was there.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_old = old;
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedEnvironment() {
        if (m_old)
            ::setenv(m_name, m_old->c_str(), 1);
        else
            ::unsetenv(m_name);
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

// ---------------------------------------------------------------------------------------------
// ListTables

class CatalogueListing : public ::testing::Test {
protected:
    test::TempDir dir;
};

TEST_F(CatalogueListing, HandsOverEveryRowOfTheCatalogueInTheSessionsOrder) {
    const cDbConnection db = sqliteConnection(sampleWithExtras(dir.file("n.sqlite")));
    const Listing listing = listTables(db);
    ASSERT_TRUE(listing.ok) << listing.error;
    EXPECT_EQ(listing.error, "");
    // Fewer rows than make a part: one part.
    ASSERT_EQ(listing.parts.size(), 1u);
    const Rows rows = listing.rows();

    EXPECT_EQ(rowTexts(rows), rowTexts(test::sessionOf(db)->Tables()));

    // Every table and view of the file, plus the schema table itself, all types unfiltered.
    const auto count = [&rows](const std::string& type) {
        return std::count_if(rows.begin(), rows.end(),
                             [&type](const TableRow& r) { return r.strType == type; });
    };
    const std::string path = db.strDatabase();
    EXPECT_EQ(std::to_string(count("TABLE")),
              test::querySqlite(path, "SELECT count(*) FROM sqlite_schema WHERE type = 'table' "
                                      "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"));
    EXPECT_EQ(std::to_string(count("VIEW")),
              test::querySqlite(path, "SELECT count(*) FROM sqlite_schema WHERE type = 'view'"));
    EXPECT_EQ(count("SYSTEM TABLE"), 2); // sqlite_schema and sqlite_sequence
    // SQL Server's catalogue order: by type, then by name without regard to case.
    EXPECT_EQ(rowText(rows.front()), "dbo|sqlite_schema|SYSTEM TABLE");
    EXPECT_EQ(rowText(rows.back()), "dbo|Products Above Average Price|VIEW");
}

TEST_F(CatalogueListing, MatchesTheTableListUnderEveryCombinationOfOptions) {
    const std::string path = sampleWithExtras(dir.file("n.sqlite"));
    const Listing listing = listTables(sqliteConnection(path));
    ASSERT_TRUE(listing.ok) << listing.error;
    std::set<std::string> distinct;
    for (int options = 0; options < 16; ++options) {
        cDbConnection db = sqliteConnection(path);
        db.setBlnIncludeUserTables((options & 1) != 0);
        db.setBlnIncludeViews((options & 2) != 0);
        db.setBlnExcludeSystemTables((options & 4) != 0);
        db.setBlnExcludeSystemViews((options & 8) != 0);
        const std::string list = db.GetListOfTables();
        EXPECT_EQ(list, listOf(db, listing.rows())) << "options " << options;
        distinct.insert(list);
    }
    // User tables, views and system tables each change the list; SQLite has no system views.
    EXPECT_EQ(distinct.size(), 8u);
}

// Whether a row is listed, under the default options and with every option turned round.
TEST_F(CatalogueListing, TheListOptionsDecidePerRowWithoutRegardToCase) {
    cDbConnection byDefault, turned;
    turned.setBlnIncludeUserTables(false);
    turned.setBlnIncludeViews(false);
    turned.setBlnExcludeSystemTables(false);
    turned.setBlnExcludeSystemViews(false);
    const auto expectListed = [&](std::initializer_list<const char*> types, bool listedByDefault) {
        for (const char* type : types) {
            EXPECT_EQ(byDefault.blnListsTableRow({"s", "n", type}), listedByDefault) << type;
            EXPECT_EQ(turned.blnListsTableRow({"s", "n", type}), !listedByDefault) << type;
        }
    };
    expectListed({"TABLE", "table", "View", "VIEW"}, true);
    expectListed({"SYSTEM TABLE", "System Table", "system view", "SYSTEM VIEW"}, false);
    // No option lists what is neither a table nor a view.
    for (const char* type : {"SYNONYM", "GLOBAL TEMPORARY", "TABLES", "", "SYSTEM"}) {
        EXPECT_FALSE(byDefault.blnListsTableRow({"s", "n", type})) << type;
        EXPECT_FALSE(turned.blnListsTableRow({"s", "n", type})) << type;
    }
}

TEST_F(CatalogueListing, AnOdbcSourceHandsOverPartsOfAThousandRowsInTheDriversOrder) {
    SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
    options.orderLines = 40;
    options.extraViews = 2500;
    const std::string path = writeSample(dir.file("odbc.sqlite"), options);
    cDbConnection db = test::odbcSqliteConnection(path);

    const Listing listing = listTables(db);
    ASSERT_TRUE(listing.ok) << listing.error;
    ASSERT_EQ(listing.parts.size(), 3u);
    EXPECT_EQ(listing.parts[0].size(), 1000u);
    EXPECT_EQ(listing.parts[1].size(), 1000u);
    const Rows rows = listing.rows();
    EXPECT_EQ(rows.size(),
              2500u + std::stoul(test::querySqlite(path, "SELECT count(*) FROM sqlite_schema "
                                                         "WHERE type IN ('table', 'view') "
                                                         "AND name NOT LIKE 'ExtraView%'")));
    EXPECT_EQ(rowTexts(rows), rowTexts(test::sessionOf(db)->Tables()));
    EXPECT_EQ(db.GetListOfTables(), listOf(db, rows));
    db.setBlnIncludeViews(false);
    db.setBlnExcludeSystemTables(false);
    EXPECT_EQ(db.GetListOfTables(), listOf(db, rows));
    EXPECT_EQ(db.GetListOfTables().find("ExtraView"), std::string::npos);
}

TEST_F(CatalogueListing, AMissingFileOrOneThatIsNoDatabaseFailsWithTheReason) {
    const std::string missing = dir.file("missing.sqlite");
    Listing listing = listTables(sqliteConnection(missing));
    EXPECT_FALSE(listing.ok);
    EXPECT_TRUE(listing.parts.empty());
    EXPECT_NE(listing.error.find("unable to open database file"), std::string::npos)
        << listing.error;
    EXPECT_EQ(listing.error, cDbConnection::LastConnectionError());

    const std::string text = dir.file("notes.txt");
    std::ofstream(text) << "These are notes, not a database. They go on for a while so that "
                           "SQLite has a whole header's worth of bytes to look at.\n";
    DbCancellation cancellation;
    listing = listTables(sqliteConnection(text), &cancellation);
    EXPECT_FALSE(listing.ok);
    EXPECT_TRUE(listing.parts.empty());
    EXPECT_NE(listing.error.find("file is not a database"), std::string::npos) << listing.error;

    cDbConnection unknown;
    unknown.setStrProvider("Paradox");
    listing = listTables(unknown);
    EXPECT_FALSE(listing.ok);
    EXPECT_EQ(listing.error, "Unknown provider: Paradox");
    EXPECT_EQ(unknown.GetListOfTables(), "");
}

// A listing cancelled before the call stops before any row and leaves no session; the connection
// itself is not affected, and an unused cancellation changes nothing: the listing that follows
// can leave its session open for columns and keys.
TEST_F(CatalogueListing, ASuccessfulListingCanLeaveItsSessionOpenForColumnsAndKeys) {
    const cDbConnection db = sqliteConnection(sampleWithExtras(dir.file("n.sqlite")));
    std::unique_ptr<DbSession> session;
    std::string error;
    std::size_t rows = 0;
    DbCancellation cancelled;
    cancelled.Cancel();
    EXPECT_FALSE(
        db.ListTables([&rows](Rows&& part) { rows += part.size(); }, error, &cancelled, &session));
    EXPECT_EQ(error, kCancelledText);
    EXPECT_EQ(rows, 0u);
    EXPECT_EQ(session, nullptr);

    DbCancellation fresh;
    ASSERT_TRUE(
        db.ListTables([&rows](Rows&& part) { rows += part.size(); }, error, &fresh, &session))
        << error;
    EXPECT_GT(rows, 20u);
    ASSERT_NE(session, nullptr);
    // The kept session answers as the services that open their own do.
    EXPECT_EQ(cDbConnection::GetListOfFields(*session, "dbo.Territories", true),
              db.GetListOfFields("dbo.Territories", true));
    EXPECT_NE(db.GetListOfFields("dbo.Territories", true), "");
    EXPECT_EQ(test::keyTexts(cDbConnection::GetForeignKeys(*session, "dbo.Territories")),
              test::keyTexts(db.GetForeignKeys("dbo.Territories")));
    EXPECT_FALSE(db.GetForeignKeys("dbo.Territories").empty());
    EXPECT_EQ(cDbConnection::GetListOfFields(*session, "dbo.Nope", false), "");
    EXPECT_TRUE(cDbConnection::GetForeignKeys(*session, "").empty());
    // Closed under it: empty answers, no exceptions.
    session->Close();
    EXPECT_EQ(cDbConnection::GetListOfFields(*session, "dbo.Territories", false), "");
    EXPECT_TRUE(cDbConnection::GetForeignKeys(*session, "dbo.Territories").empty());

    // A listing that fails leaves none either.
    std::unique_ptr<DbSession> none;
    EXPECT_FALSE(sqliteConnection(dir.file("missing.sqlite"))
                     .ListTables([](Rows&&) {}, error, nullptr, &none));
    EXPECT_EQ(none, nullptr);
}

TEST_F(CatalogueListing, AConnectionOpenedWithACancellationIsNoneOnceCancelled) {
    const cDbConnection db = sqliteConnection(sampleWithExtras(dir.file("n.sqlite")));
    DbCancellation fresh;
    auto session = db.GetConnection(&fresh);
    ASSERT_NE(session, nullptr) << cDbConnection::LastConnectionError();
    EXPECT_FALSE(session->Tables().empty());
    // Cancelling after the open does not reach the session handed over.
    fresh.Cancel();
    EXPECT_FALSE(session->Tables().empty());

    DbCancellation cancelled;
    cancelled.Cancel();
    EXPECT_EQ(db.GetConnection(&cancelled), nullptr);
    DbCancellation unused;
    EXPECT_EQ(sqliteConnection(dir.file("missing.sqlite")).GetConnection(&unused), nullptr);
    EXPECT_NE(cDbConnection::LastConnectionError().find("unable to open database file"),
              std::string::npos);
}

// A catalogue of 50,000 views, whose schema SQLite needs about a second to read when it
// attaches the file (and far longer with the sanitizers).
class LargeSchema : public ::testing::Test {
protected:
    void SetUp() override {
        SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
        options.orderLines = 10;
        options.extraViews = 50000;
        path = writeSample(dir.file("large.sqlite"), options);
    }

    test::TempDir dir;
    std::string path;
};

TEST_F(LargeSchema, ACancellationFromAnotherThreadStopsTheListingWhileTheSchemaIsRead) {
    const cDbConnection db = sqliteConnection(path);
    DbCancellation cancellation;
    std::atomic<bool> stop{false};
    std::thread canceller([&] {
        waitUntilOpen(path, stop);
        cancellation.Cancel();
    });
    auto call = std::async(std::launch::async, [&] {
        Listing listing = listTables(db, &cancellation);
        // Why the connection could not be opened, as seen by the thread that opened it.
        return std::make_pair(listing, cDbConnection::LastConnectionError());
    });
    const bool returned = call.wait_for(300s) == std::future_status::ready;
    stop = true;
    canceller.join();
    ASSERT_TRUE(returned);
    const auto [listing, openError] = call.get();
    EXPECT_FALSE(listing.ok);
    EXPECT_EQ(listing.error, kCancelledText);
    EXPECT_TRUE(listing.parts.empty());
    // SQLite was stopped while it attached the file and read its schema: the open failed. (A
    // cancellation that reached only the statements after the open would leave no such reason.)
    EXPECT_TRUE(openError.starts_with("interrupted: ")) << openError;
}

TEST_F(LargeSchema, AnInterruptStopsSQLiteInTheMiddleOfTheSchemaRead) {
    // Below the service: the session is interrupted while Open() attaches the file. SQLite's
    // own "interrupted" shows that the schema read itself was stopped, not only refused after it
    // ended.
    SqliteSession session(600);
    std::atomic<bool> stop{false};
    std::thread interrupter([&] {
        waitUntilOpen(path, stop);
        session.Interrupt();
    });
    std::string message;
    try {
        session.Open(path);
    } catch (const DbError& e) {
        message = e.what();
    }
    stop = true;
    interrupter.join();
    EXPECT_TRUE(message.starts_with("interrupted")) << message;
}

TEST_F(LargeSchema, WithoutACancelTheWholeCatalogueComesInPartsOfAThousandRows) {
    const cDbConnection db = sqliteConnection(path);
    const Listing listing = listTables(db);
    ASSERT_TRUE(listing.ok) << listing.error;
    const Rows rows = listing.rows();
    ASSERT_EQ(listing.parts.size(), (rows.size() + 999) / 1000);
    for (std::size_t i = 0; i + 1 < listing.parts.size(); ++i)
        EXPECT_EQ(listing.parts[i].size(), 1000u) << "part " << i;
    // In the catalogue order: by type, then by name without regard to case.
    const auto first = std::find_if(
        rows.begin(), rows.end(), [](const TableRow& r) { return r.strName == "ExtraView000001"; });
    ASSERT_GT(first - rows.begin(), 0);
    ASSERT_LT(first - rows.begin() + 50000, static_cast<std::ptrdiff_t>(rows.size()));
    EXPECT_EQ(rowText(first[-1]), "dbo|Customer and Suppliers by City|VIEW");
    EXPECT_EQ(rowText(first[49999]), "dbo|ExtraView050000|VIEW");
    EXPECT_EQ(rowText(first[50000]), "dbo|Order Details Extended|VIEW");
    EXPECT_EQ(rowTexts(rows), rowTexts(test::sessionOf(db)->Tables()));
    EXPECT_EQ(std::count_if(rows.begin(), rows.end(),
                            [](const TableRow& r) { return r.strType == "VIEW"; }),
              50000 + std::stol(test::querySqlite(path, "SELECT count(*) FROM sqlite_schema "
                                                        "WHERE type = 'view' AND "
                                                        "name NOT LIKE 'ExtraView%'")));
}

// ---------------------------------------------------------------------------------------------
// GetCatalogueStamp

class CatalogueStamp : public ::testing::Test {
protected:
    std::string stamp(const std::string& path) const {
        return sqliteConnection(path).GetCatalogueStamp();
    }

    test::TempDir dir;
};

// Each step changes the schema (a new stamp, never one seen before) or only rows (the same).
TEST_F(CatalogueStamp, FollowsSchemaChangesAndIgnoresNewRows) {
    const std::string path = dir.file("s.sqlite");
    test::writeSqlite(path, "CREATE TABLE a (x integer); INSERT INTO a VALUES (1);");
    std::string current = stamp(path);
    EXPECT_TRUE(current.starts_with("sqlite:1:")) << current;
    std::set<std::string> seen{current};
    const std::pair<const char*, bool> steps[] = {
        {"", false},
        {"INSERT INTO a SELECT x + 1 FROM a; INSERT INTO a SELECT x FROM a;", false},
        {"UPDATE a SET x = x * 2; DELETE FROM a WHERE x > 2;", false},
        {"CREATE TABLE b (y text);", true},
        {"ALTER TABLE b ADD COLUMN z real;", true},
        {"CREATE VIEW v AS SELECT x FROM a;", true},
        {"DROP TABLE b;", true},
        {"INSERT INTO a VALUES (7);", false},
    };
    for (const auto& [script, changes] : steps) {
        test::writeSqlite(path, script);
        const std::string next = stamp(path);
        if (changes)
            EXPECT_TRUE(seen.insert(next).second) << script;
        else
            EXPECT_EQ(next, current) << script;
        current = next;
    }
}

TEST_F(CatalogueStamp, TellsApartDatabasesWhoseSchemasChangedEquallyOften) {
    const std::string one = dir.file("one.sqlite");
    const std::string two = dir.file("two.sqlite");
    test::writeSqlite(one, "CREATE TABLE Orders (id integer);");
    test::writeSqlite(two, "CREATE TABLE Invoices (id integer);");
    EXPECT_EQ(stamp(one).substr(0, 9), stamp(two).substr(0, 9)); // "sqlite:1:"
    EXPECT_NE(stamp(one), stamp(two));
}

TEST_F(CatalogueStamp, SeesASchemaChangeThatIsStillInTheWriteAheadLog) {
    const std::string path = dir.file("wal.sqlite");
    test::writeSqlite(path, "PRAGMA journal_mode = WAL; CREATE TABLE a (x integer);");
    // Another program keeps the database open and changes it without a checkpoint: the change
    // is in the log only, and the file header still describes the old schema.
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &writer), SQLITE_OK);
    const auto exec = [writer](const char* sql) {
        return sqlite3_exec(writer, sql, nullptr, nullptr, nullptr);
    };
    ASSERT_EQ(exec("PRAGMA wal_autocheckpoint = 0; INSERT INTO a VALUES (1);"), SQLITE_OK);
    const std::string before = stamp(path);
    EXPECT_TRUE(before.starts_with("sqlite:1:")) << before;
    EXPECT_NE(before.find(":wal:"), std::string::npos) << before;
    const std::string header = test::fileBytes(path).substr(0, 100);

    ASSERT_EQ(exec("CREATE TABLE b (y integer);"), SQLITE_OK);
    EXPECT_EQ(test::fileBytes(path).substr(0, 100), header);
    const std::string changed = stamp(path);
    EXPECT_NE(changed, before);
    EXPECT_EQ(stamp(path), changed);

    // Closing the last connection moves the log into the file: the cookie tells the change now.
    sqlite3_close(writer);
    const std::string checkpointed = stamp(path);
    EXPECT_EQ(checkpointed.find(":wal:"), std::string::npos) << checkpointed;
    EXPECT_TRUE(checkpointed.starts_with("sqlite:2:")) << checkpointed;
}

TEST_F(CatalogueStamp, IsEmptyForWhatIsNoReadableSQLiteFile) {
    EXPECT_EQ(stamp(dir.file("missing.sqlite")), "");
    EXPECT_EQ(stamp(""), "");
    EXPECT_EQ(stamp(dir.path().string()), ""); // a folder

    const std::string empty = dir.file("empty.sqlite");
    std::ofstream(empty).close();
    EXPECT_EQ(stamp(empty), "");

    const std::string text = dir.file("notes.txt");
    std::ofstream(text) << std::string(4096, 'x');
    EXPECT_EQ(stamp(text), "");

    // A real header cut short.
    const std::string real = dir.file("real.sqlite");
    test::writeSqlite(real, "CREATE TABLE a (x integer);");
    ASSERT_NE(stamp(real), "");
    const std::string cut = dir.file("cut.sqlite");
    std::ofstream(cut, std::ios::binary) << test::fileBytes(real).substr(0, 60);
    EXPECT_EQ(stamp(cut), "");
}

TEST_F(CatalogueStamp, AGenericOdbcSourceHasNone) {
    const std::string path = dir.file("odbc.sqlite");
    test::writeSqlite(path, "CREATE TABLE a (x integer);");
    cDbConnection db = test::odbcSqliteConnection(path);
    ASSERT_TRUE(db.Check(true));
    EXPECT_EQ(db.GetCatalogueStamp(), "");
    db.setStrProvider("Paradox");
    EXPECT_EQ(db.GetCatalogueStamp(), "");
}

// ---------------------------------------------------------------------------------------------
// CatalogueCache

class CatalogueFiles : public ::testing::Test {
protected:
    CatalogueFiles() : cache(dir.file("cache")) {}

    static Catalogue sample() {
        Catalogue c;
        c.strStamp = "sqlite:7:0123456789abcdef";
        c.lngListedAt = 1'700'000'000;
        c.tables = {{"dbo", "Customers", "TABLE"},
                    {"dbo", "Order Details", "TABLE"},
                    {"dbo", "Invoices", "VIEW"},
                    {"dbo", "sqlite_schema", "SYSTEM TABLE"}};
        return c;
    }

    std::vector<std::string> filesInCache() const {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(cache.strDirectory(), ec))
            names.push_back(e.path().filename().string());
        return names;
    }

    test::TempDir dir;
    CatalogueCache cache;
    cDbConnection db = sqliteConnection(dir.file("n.sqlite"));
};

void expectSame(const Catalogue& expected, const std::optional<Catalogue>& actual) {
    ASSERT_TRUE(actual.has_value());
    EXPECT_EQ(actual->strStamp, expected.strStamp);
    EXPECT_EQ(actual->lngListedAt, expected.lngListedAt);
    EXPECT_EQ(rowTexts(actual->tables), rowTexts(expected.tables));
    EXPECT_EQ(actual->columns, expected.columns);
}

TEST_F(CatalogueFiles, AreWrittenIntoANewFolderAndReadBack) {
    EXPECT_FALSE(std::filesystem::exists(cache.strDirectory()));
    EXPECT_FALSE(cache.Load(db).has_value());
    Catalogue c = sample();
    c.columns["dbo.Customers"] = "CustomerID,CompanyName";
    ASSERT_TRUE(cache.Save(db, c));
    expectSame(c, cache.Load(db));
    // One file, where FilePath says, and no temporary file left beside it.
    EXPECT_EQ(filesInCache(), std::vector<std::string>{
                                  std::filesystem::path(cache.FilePath(db)).filename().string()});
    EXPECT_TRUE(cache.FilePath(db).starts_with(cache.strDirectory() + "/"));

    // Saving again replaces the whole catalogue.
    Catalogue newer = sample();
    newer.strStamp = "sqlite:8:0123456789abcdef";
    newer.tables.pop_back();
    ASSERT_TRUE(cache.Save(db, newer));
    expectSame(newer, cache.Load(db));
    EXPECT_EQ(filesInCache().size(), 1u);
}

TEST_F(CatalogueFiles, ThoseNobodyReadsForMonthsAreSweptOutWhenAnotherIsWritten) {
    namespace fs = std::filesystem;
    const cDbConnection other = sqliteConnection(dir.file("other.sqlite"));
    const cDbConnection read = sqliteConnection(dir.file("read.sqlite"));
    ASSERT_TRUE(cache.Save(other, sample()));
    ASSERT_TRUE(cache.Save(read, sample()));
    const fs::path folder = cache.strDirectory();
    const fs::path unfinished = fs::path(cache.FilePath(other) + ".Ab12Cd");
    std::ofstream(unfinished) << "half a catalogue";
    const fs::path foreign = folder / "notes.txt";
    std::ofstream(foreign) << "not the cache's";
    // All of them last written long ago; the one catalogue is read since.
    const auto longAgo = fs::file_time_type::clock::now() -
                         std::chrono::seconds(CatalogueCache::kUnusedLifetime + 3600);
    for (const fs::path& file :
         {fs::path(cache.FilePath(other)), fs::path(cache.FilePath(read)), unfinished, foreign})
        fs::last_write_time(file, longAgo);
    ASSERT_TRUE(cache.Load(read).has_value());

    ASSERT_TRUE(cache.Save(db, sample()));
    EXPECT_FALSE(fs::exists(cache.FilePath(other)));
    EXPECT_FALSE(fs::exists(unfinished));
    EXPECT_TRUE(cache.Load(read).has_value());
    EXPECT_TRUE(cache.Load(db).has_value());
    EXPECT_TRUE(fs::exists(foreign));

    // Recent catalogues stay, read or not.
    ASSERT_TRUE(cache.Save(other, sample()));
    ASSERT_TRUE(cache.Save(db, sample()));
    EXPECT_TRUE(cache.Load(other).has_value());
}

TEST_F(CatalogueFiles, KeepAnyNameAsItIs) {
    Catalogue c;
    c.strStamp = "mssql:2024-01-02T03:04:05.678:\t\n\\";
    c.lngListedAt = -5;
    std::string everyByte;
    for (int b = 0; b < 256; ++b)
        everyByte += static_cast<char>(b);
    c.tables = {{"", "no schema", "TABLE"},
                {"dbo", "tab\there", "TABLE"},
                {"dbo", "line\nbreak\r\n", "VIEW"},
                {"back\\slash", "\\t is not a tab\\", "TABLE"},
                {"sch\u00e9ma", "\u6771\u4eac \U0001F600", "TABLE"},
                {"", "", ""},
                {"x", everyByte, "SYSTEM VIEW"},
                {"dbo", "ends in a backslash\\", "TABLE"}};
    c.columns["dbo.tab\there"] = "a\tb,c\nd,\\e";
    c.columns[""] = "";
    c.columns["x." + everyByte] = everyByte;
    ASSERT_TRUE(cache.Save(db, c));
    expectSame(c, cache.Load(db));

    Catalogue none;
    ASSERT_TRUE(cache.Save(db, none));
    expectSame(none, cache.Load(db));
}

TEST_F(CatalogueFiles, ColumnListsAreAppendedAndTheLaterOneWins) {
    EXPECT_FALSE(cache.AppendColumns(db, "dbo.Customers", "CustomerID")); // no file yet
    EXPECT_FALSE(std::filesystem::exists(cache.FilePath(db)));
    Catalogue c = sample();
    ASSERT_TRUE(cache.Save(db, c));
    ASSERT_TRUE(cache.AppendColumns(db, "dbo.Customers", "CustomerID,CompanyName"));
    ASSERT_TRUE(cache.AppendColumns(db, "dbo.Order Details", "OrderID,\tUnit\nPrice\\"));
    ASSERT_TRUE(cache.AppendColumns(db, "dbo.Customers", "CustomerID,CompanyName,City"));
    c.columns["dbo.Customers"] = "CustomerID,CompanyName,City";
    c.columns["dbo.Order Details"] = "OrderID,\tUnit\nPrice\\";
    expectSame(c, cache.Load(db));

    // A saved catalogue keeps what was appended when it holds it, and starts over otherwise.
    ASSERT_TRUE(cache.Save(db, c));
    expectSame(c, cache.Load(db));
    ASSERT_TRUE(cache.Save(db, sample()));
    EXPECT_TRUE(cache.Load(db)->columns.empty());
}

TEST_F(CatalogueFiles, AreRemoved) {
    ASSERT_TRUE(cache.Save(db, sample()));
    EXPECT_TRUE(cache.Remove(db));
    EXPECT_FALSE(std::filesystem::exists(cache.FilePath(db)));
    EXPECT_FALSE(cache.Load(db).has_value());
    EXPECT_TRUE(cache.Remove(db)); // nothing left to remove
    EXPECT_FALSE(cache.AppendColumns(db, "dbo.Customers", "CustomerID"));
}

TEST_F(CatalogueFiles, EachConnectionHasItsOwnFile) {
    const auto server = [](const char* provider, const char* host, const char* database,
                           const char* user) {
        cDbConnection c;
        c.setStrProvider(provider);
        c.setStrServer(host);
        c.setStrDatabase(database);
        c.setStrUserName(user);
        return c;
    };
    const cDbConnection a = server("SQLServer", "host", "Northwind", "sa");
    std::vector<cDbConnection> others = {
        server("SQLServer", "host", "pubs", "sa"),
        server("SQLServer", "other", "Northwind", "sa"),
        server("SQLServer", "host", "Northwind", "reader"),
        server("ODBC", "host", "Northwind", "sa"),
        server("SQLite", "host", "Northwind", "sa"),
        sqliteConnection(dir.file("other.sqlite")),
    };
    cDbConnection windows = a;
    windows.setBlnWindowsAuthentication(true);
    others.push_back(windows);
    cDbConnection dsn = server("ODBC", "", "", "");
    dsn.setStrConnectionString("DSN=one");
    others.push_back(dsn);
    cDbConnection dsn2 = dsn;
    dsn2.setStrConnectionString("DSN=two");
    others.push_back(dsn2);
    // Parts are kept apart: moving text from one part to the next is another connection.
    others.push_back(server("SQLServer", "host\tNorthwind", "", "sa"));

    std::set<std::string> paths{cache.FilePath(a), cache.FilePath(db)};
    for (const cDbConnection& other : others)
        paths.insert(cache.FilePath(other));
    EXPECT_EQ(paths.size(), others.size() + 2);

    Catalogue c = sample();
    ASSERT_TRUE(cache.Save(a, c));
    for (const cDbConnection& other : others)
        EXPECT_FALSE(cache.Load(other).has_value()) << cache.FilePath(other);

    // The provider's other names, the password, the driver and the list options are the same
    // connection's.
    cDbConnection same = server("sqloledb", "host", "Northwind", "sa");
    same.setStrPassword("secret");
    same.setStrDriver("ODBC Driver 18 for SQL Server");
    same.setBlnIncludeViews(false);
    EXPECT_EQ(cache.FilePath(same), cache.FilePath(a));
    expectSame(c, cache.Load(same));
    EXPECT_EQ(cache.FilePath(server("mssql", "host", "Northwind", "sa")), cache.FilePath(a));
    EXPECT_EQ(cache.FilePath(server("SQL Server", "host", "Northwind", "sa")), cache.FilePath(a));
}

TEST_F(CatalogueFiles, AnSQLiteFileIsTheSameConnectionByAnyPath) {
    const std::filesystem::path file = dir.path() / "sub" / "n.sqlite";
    std::filesystem::create_directories(file.parent_path());
    test::writeSqlite(file.string(), "CREATE TABLE a (x integer);");
    const cDbConnection absolute = sqliteConnection(file.string());
    ASSERT_TRUE(cache.Save(absolute, sample()));

    const std::string relative =
        std::filesystem::relative(file, std::filesystem::current_path()).string();
    ASSERT_FALSE(relative.starts_with("/"));
    const std::string roundabout = (dir.path() / "sub" / ".." / "." / "sub" / "n.sqlite").string();
    const std::filesystem::path link = dir.path() / "link.sqlite";
    std::filesystem::create_symlink(file, link);
    for (const std::string& path :
         {relative, roundabout, (dir.path() / "sub//n.sqlite").string(), link.string()}) {
        const cDbConnection other = sqliteConnection(path);
        EXPECT_EQ(cache.FilePath(other), cache.FilePath(absolute)) << path;
        expectSame(sample(), cache.Load(other));
    }
    // The provider's name in any case is the same provider; another file is not the same.
    cDbConnection upper = absolute;
    upper.setStrProvider("SQLITE");
    EXPECT_EQ(cache.FilePath(upper), cache.FilePath(absolute));
    EXPECT_NE(cache.FilePath(sqliteConnection((dir.path() / "n.sqlite").string())),
              cache.FilePath(absolute));
}

TEST_F(CatalogueFiles, ADamagedOrForeignFileReadsAsNoCatalogue) {
    Catalogue c = sample();
    ASSERT_TRUE(cache.Save(db, c));
    const std::string path = cache.FilePath(db);
    const std::string good = test::fileBytes(path);
    const auto replaceWith = [&path](const std::string& bytes) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    };
    const auto edited = [&good](const std::string& from, const std::string& to) {
        std::string bytes = good;
        const std::size_t at = bytes.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return bytes.replace(at, from.size(), to);
    };

    // Cut anywhere: every shorter file is missing a row or ends in the middle of a line.
    for (std::size_t length = 0; length < good.size(); ++length) {
        replaceWith(good.substr(0, length));
        EXPECT_FALSE(cache.Load(db).has_value()) << "cut at " << length;
    }
    replaceWith(good);
    ASSERT_TRUE(cache.Load(db).has_value());

    const std::vector<std::pair<std::string, std::string>> damage = {
        {"\n4\n", "\n5\n"},                                // more rows announced than there are
        {"\n4\n", "\n3\n"},                                // fewer: a row left over
        {"\n4\n", "\nfour\n"},                             // not a number
        {"\n1700000000\n", "\n17x\n"},                     // not a time
        {"marovin-catalogue 1", "marovin-catalogue 2"},    // another version
        {"Order Details", "Order\\xDetails"},              // an unknown escape
        {"Order Details", "Order Details\\"},              // an escape cut short
        {"dbo\tInvoices\tVIEW", "dbo\tInvoices"},          // a field missing
        {"dbo\tInvoices\tVIEW", "dbo\tInvoices\tVIEW\tx"}, // a field too many
    };
    for (const auto& [from, to] : damage) {
        replaceWith(edited(from, to));
        EXPECT_FALSE(cache.Load(db).has_value()) << from << " -> " << to;
    }
    // An appended record without its line end, a column record without its list, and garbage.
    for (const std::string& bytes : {good + "dbo.Customers\tCustomerID", good + "dbo.Customers\n",
                                     std::string("\0\1\2\3garbage\n", 12)}) {
        replaceWith(bytes);
        EXPECT_FALSE(cache.Load(db).has_value()) << bytes;
    }

    // Another connection's file under this connection's name (renamed, or a hash collision).
    const cDbConnection other = sqliteConnection(dir.file("other.sqlite"));
    ASSERT_TRUE(cache.Save(other, c));
    std::filesystem::copy_file(cache.FilePath(other), path,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_FALSE(cache.Load(db).has_value());
    EXPECT_FALSE(cache.AppendColumns(db, "dbo.Customers", "CustomerID"));
    EXPECT_EQ(test::fileBytes(path), test::fileBytes(cache.FilePath(other)));
}

TEST_F(CatalogueFiles, ThatCannotBeWrittenAreReported) {
    // The folder's place is taken by a file.
    std::ofstream(dir.file("blocked")) << "x";
    const CatalogueCache blocked(dir.file("blocked"));
    EXPECT_FALSE(blocked.Save(db, sample()));
    EXPECT_FALSE(blocked.Load(db).has_value());
    EXPECT_FALSE(blocked.AppendColumns(db, "dbo.Customers", "CustomerID"));
}

TEST(CatalogueFolder, ComesFromTheArgumentOrTheEnvironment) {
    const ScopedEnvironment cacheDir(CatalogueCache::kDirectoryEnvironmentVariable, nullptr);
    const ScopedEnvironment xdg("XDG_CACHE_HOME", nullptr);
    const ScopedEnvironment home("HOME", "/home/someone");
    EXPECT_EQ(CatalogueCache().strDirectory(), "/home/someone/.cache/marovin/catalogues");
    {
        const ScopedEnvironment relative("XDG_CACHE_HOME", "relative/cache");
        EXPECT_EQ(CatalogueCache().strDirectory(), "/home/someone/.cache/marovin/catalogues");
    }
    {
        const ScopedEnvironment set("XDG_CACHE_HOME", "/var/cache/someone");
        EXPECT_EQ(CatalogueCache().strDirectory(), "/var/cache/someone/marovin/catalogues");
        const ScopedEnvironment own(CatalogueCache::kDirectoryEnvironmentVariable, "/srv/cat");
        EXPECT_EQ(CatalogueCache().strDirectory(), "/srv/cat");
        EXPECT_EQ(CatalogueCache("/given").strDirectory(), "/given");
        const ScopedEnvironment empty(CatalogueCache::kDirectoryEnvironmentVariable, "");
        EXPECT_EQ(CatalogueCache().strDirectory(), "/var/cache/someone/marovin/catalogues");
    }
    {
        // Nowhere to keep anything: nothing is kept, and nothing fails loudly.
        const ScopedEnvironment noHome("HOME", nullptr);
        const CatalogueCache nowhere;
        EXPECT_EQ(nowhere.strDirectory(), "");
        const cDbConnection db = sqliteConnection("/tmp/x.sqlite");
        EXPECT_EQ(nowhere.FilePath(db), "");
        EXPECT_FALSE(nowhere.Save(db, Catalogue{}));
        EXPECT_FALSE(nowhere.Load(db).has_value());
    }
}

TEST(CatalogueIsCurrent, ByTheStampOrElseByAge) {
    Catalogue c;
    c.lngListedAt = 1000;
    c.strStamp = "sqlite:3:ab";
    // A stamp to compare with decides alone, however old the catalogue.
    EXPECT_TRUE(CatalogueCache::IsCurrent(c, "sqlite:3:ab", 1000));
    EXPECT_TRUE(CatalogueCache::IsCurrent(c, "sqlite:3:ab", 1'000'000));
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "sqlite:4:ab", 1000));
    // Stamped once, but the database cannot tell now (unreachable): not current.
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", 1000));

    c.strStamp.clear();
    // Now the database can tell, but the catalogue could not be checked when it was listed.
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "sqlite:3:ab", 1000));
    // Neither can tell: current for the maximum age after the listing.
    EXPECT_TRUE(CatalogueCache::IsCurrent(c, "", 1000));
    EXPECT_TRUE(CatalogueCache::IsCurrent(c, "", 1000 + CatalogueCache::kDefaultMaxAge - 1));
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", 1000 + CatalogueCache::kDefaultMaxAge));
    EXPECT_TRUE(CatalogueCache::IsCurrent(c, "", 1059, 60));
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", 1060, 60));
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", 1000, 0));
    // Listed "in the future": the clock was put back.
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", 999));
    // Far apart times do not wrap round.
    c.lngListedAt = std::numeric_limits<std::int64_t>::min();
    EXPECT_FALSE(CatalogueCache::IsCurrent(c, "", std::numeric_limits<std::int64_t>::max()));
}

} // namespace
} // namespace marovin
