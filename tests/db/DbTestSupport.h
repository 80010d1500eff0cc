#pragma once

// Helpers shared by the database tests: temporary directories, SQLite files written with plain
// SQL, the sample database, queries and sessions that must succeed, a loopback port nobody
// listens on, the bytes of a file (to prove that nothing wrote to it), and foreign keys as text.

#include "SampleDatabaseGenerator.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <marovin/DbCancellation.h>
#include <marovin/DbForeignKey.h>
#include <marovin/cDbConnection.h>
#include <marovin/cRecordset.h>
#include <memory>
#include <netinet/in.h>
#include <sqlite3.h>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace marovin::test {

// A fresh directory under the system's temporary directory, removed with its contents.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "marovin-db-XXXXXX");
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::string file(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

// A catalogue row as "schema|name|type", and a list of them, for comparing listings.
inline std::string rowText(const DbSession::TableRow& row) {
    return row.strSchema + "|" + row.strName + "|" + row.strType;
}

inline std::vector<std::string> rowTexts(const std::vector<DbSession::TableRow>& rows) {
    std::vector<std::string> texts;
    texts.reserve(rows.size());
    for (const DbSession::TableRow& row : rows)
        texts.push_back(rowText(row));
    return texts;
}

// The entries of a comma-separated list such as GetListOfTables gives; none for "".
inline std::vector<std::string> splitCommas(const std::string& list) {
    std::vector<std::string> items;
    for (std::size_t start = 0; !list.empty();) {
        const std::size_t comma = list.find(',', start);
        items.push_back(list.substr(start, comma == std::string::npos ? comma : comma - start));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return items;
}

// What ListTables hands over: the parts, and whether it succeeded with which error.
struct Listing {
    bool ok = false;
    std::string error;
    std::vector<std::vector<DbSession::TableRow>> parts;

    std::vector<DbSession::TableRow> rows() const {
        std::vector<DbSession::TableRow> all;
        for (const auto& part : parts)
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }
};

inline Listing listTables(const cDbConnection& db, DbCancellation* cancellation = nullptr) {
    Listing listing;
    listing.error = "left over";
    listing.ok = db.ListTables(
        [&listing](std::vector<DbSession::TableRow>&& part) {
            listing.parts.push_back(std::move(part));
        },
        listing.error, cancellation);
    return listing;
}

// The descriptors of this process open on the file (while the session, if any, is open).
inline int openDescriptorsOn(const std::string& path, std::unique_ptr<DbSession> = nullptr) {
    int count = 0;
    std::error_code ec;
    const auto target = std::filesystem::weakly_canonical(path, ec);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ec)) {
        std::error_code linkError;
        if (std::filesystem::read_symlink(entry.path(), linkError) == target && !linkError)
            ++count;
    }
    return count;
}

// Every service of a connection that cannot be opened answers with its fixed empty answer.
inline void expectNoConnection(const cDbConnection& db) {
    EXPECT_EQ(db.GetConnection(), nullptr);
    EXPECT_FALSE(db.Check(true));
    EXPECT_EQ(db.GetListOfTables(), "");
    EXPECT_EQ(db.GetListOfFields("dbo.Orders", true), "");
    EXPECT_FALSE(db.IsTheFieldInTheTable("OrderID", "dbo.Orders"));
    EXPECT_TRUE(db.GetForeignKeys("dbo.Orders").empty());
    EXPECT_EQ(db.CheckSQLSyntax("SELECT 1"), "");
    std::string error = "left over";
    EXPECT_EQ(db.FireQuery("SELECT 1", error, 10), nullptr);
    EXPECT_EQ(error, "Problems connecting to database");
}

// A loopback port on which nothing listens (one the system just handed out and took back).
inline int unusedLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    ::close(fd);
    return port;
}

// A connection on the embedded SQLite provider to the file.
inline cDbConnection sqliteConnection(const std::string& path) {
    cDbConnection db;
    db.setStrProvider(cDbConnection::kProviderSqlite);
    db.setStrDatabase(path);
    return db;
}

// A connection through unixODBC and Debian's SQLite ODBC driver to the file.
inline cDbConnection odbcSqliteConnection(const std::string& path) {
    cDbConnection db;
    db.setStrProvider(cDbConnection::kProviderOdbc);
    db.setStrConnectionString("DRIVER={SQLite3};Database=" + path);
    return db;
}

// Writes the sample database with the options to the file and gives its path back.
inline std::string
writeSample(const std::string& path,
            const SampleDatabaseGenerator::Options& options = SampleDatabaseGenerator::Small()) {
    std::string error;
    if (!SampleDatabaseGenerator(options).Write(path, error))
        throw std::runtime_error("cannot write " + path + ": " + error);
    return path;
}

// The rows of a query that has to succeed: a failure throws with the error text, which fails the
// test that asked.
inline std::shared_ptr<cRecordset> rowsOf(const cDbConnection& db, const std::string& sql,
                                          std::int32_t limit = 0) {
    std::string error;
    auto rs = db.FireQuery(sql, error, limit);
    if (!rs)
        throw std::runtime_error("the query failed: " + error);
    return rs;
}

// An open session that has to be had: none throws with the reason.
inline std::unique_ptr<DbSession> sessionOf(const cDbConnection& db) {
    auto session = db.GetConnection();
    if (!session)
        throw std::runtime_error("no session: " + cDbConnection::LastConnectionError());
    return session;
}

// Creates (or extends) an SQLite file by running the script.
inline void writeSqlite(const std::string& path, const std::string& script) {
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot open " + path);
    }
    char* err = nullptr;
    int rc =
        sqlite3_exec(db, ("PRAGMA synchronous = OFF;" + script).c_str(), nullptr, nullptr, &err);
    std::string message = err ? err : "";
    sqlite3_free(err);
    sqlite3_close(db);
    if (rc != SQLITE_OK)
        throw std::runtime_error(message);
}

// The first column of the first row of a query on the file, as text ("" for none).
inline std::string querySqlite(const std::string& path, const std::string& sql) {
    sqlite3* db = nullptr;
    std::string out;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
            sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_text(stmt, 0))
            out = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return out;
}

inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A key as one line, "name: table(a, b) -> referenced(c, d)" ("name: " only when it has one),
// so that a list of keys compares with a readable difference.
inline std::string keyText(const DbForeignKey& key) {
    auto columns = [](const std::vector<std::string>& names) {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : ", ") + name;
        return "(" + text + ")";
    };
    return (key.strName.empty() ? "" : key.strName + ": ") + key.strTable +
           columns(key.colColumns) + " -> " + key.strReferencedTable +
           columns(key.colReferencedColumns);
}

inline std::vector<std::string> keyTexts(const std::vector<DbForeignKey>& keys) {
    std::vector<std::string> texts;
    for (const DbForeignKey& key : keys)
        texts.push_back(keyText(key));
    return texts;
}

// A fresh SQLite file, made by the test's script, and a connection to it.
class SqliteFileTest : public ::testing::Test {
protected:
    void create(const std::string& script) {
        writeSqlite(path, script);
        db = sqliteConnection(path);
    }
    TempDir dir;
    const std::string path = dir.file("test.sqlite");
    cDbConnection db;
};

// The small sample database, written once for each suite that derives from this fixture.
class SampleDatabaseSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_path = writeSample(s_dir->file("northwind.sqlite"));
    }
    static void TearDownTestSuite() { s_dir.reset(); }
    void SetUp() override { db = sqliteConnection(s_path); }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline std::string s_path;
    cDbConnection db;
};

} // namespace marovin::test
