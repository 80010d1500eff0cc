#include "BenchData.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sqlite3.h>
#include <stdexcept>
#include <unistd.h>

namespace marovin::bench {

namespace {

void exec(sqlite3* db, const std::string& sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
        std::string message = err ? err : sqlite3_errmsg(db);
        sqlite3_free(err);
        throw std::runtime_error(message);
    }
}

std::string tableName(std::int64_t i) {
    char name[32];
    std::snprintf(name, sizeof name, "T%06lld", static_cast<long long>(i));
    return name;
}

// The number of rows of the file's schema table (read in full), or -1 when it is no readable
// database.
std::int64_t schemaRows(const std::string& path) {
    sqlite3* db = nullptr;
    std::int64_t rows = -1;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(db, "SELECT count(*) FROM sqlite_schema", -1, &stmt, nullptr) ==
            SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        rows = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return rows;
}

} // namespace

std::string BenchDataDir() {
    const char* shared = std::getenv("MAROVIN_BENCH_DATA_DIR");
    const std::string dir = shared && *shared ? shared : MAROVIN_BENCH_DATA_DIR;
    std::filesystem::create_directories(dir);
    return dir;
}

// A database of n tables "T000001" ... (id INTEGER PRIMARY KEY, name TEXT, amount REAL), kept in
// bench-data. SQLite scans its whole schema table after each CREATE TABLE, so making n tables
// costs n²/2 row visits: 100,000 tables take 20 to 25 minutes on the 2-core machine, once. The
// file is made under a name of this process's own and checked before it takes its place, so
// that two runs making it at once cannot leave a broken file behind.
std::string TablesDatabase(std::int64_t n) {
    const std::string path = BenchDataDir() + "/tables-" + std::to_string(n) + ".sqlite";
    // A file in place was checked when it was made; its header tells it is still a database.
    char header[16] = {};
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        const std::size_t got = std::fread(header, 1, sizeof header, f);
        std::fclose(f);
        if (got == sizeof header && std::memcmp(header, "SQLite format 3", 16) == 0)
            return path;
    }
    if (n >= 10000)
        std::fprintf(stderr, "Making %s: %lld tables in one transaction (minutes for 100,000)...\n",
                     path.c_str(), static_cast<long long>(n));
    const std::string partial = path + ".partial-" + std::to_string(::getpid());
    std::filesystem::remove(partial);
    sqlite3* db = nullptr;
    if (sqlite3_open(partial.c_str(), &db) != SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot create " + partial);
    }
    try {
        // The schema table stays in memory while it grows; nothing is written before the end.
        exec(db, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; "
                 "PRAGMA cache_size = -1048576; BEGIN");
        for (std::int64_t i = 1; i <= n; ++i) {
            exec(db, "CREATE TABLE \"" + tableName(i) +
                         "\" (id INTEGER PRIMARY KEY, name TEXT, amount REAL)");
            if (n >= 10000 && i % 10000 == 0)
                std::fprintf(stderr, "  %lld tables\n", static_cast<long long>(i));
        }
        exec(db, "COMMIT");
    } catch (...) {
        sqlite3_close(db);
        std::filesystem::remove(partial);
        throw;
    }
    sqlite3_close(db);
    if (schemaRows(partial) != n) {
        std::filesystem::remove(partial);
        throw std::runtime_error("the tables of " + partial + " did not all arrive");
    }
    std::filesystem::rename(partial, path);
    return path;
}

std::int64_t RawSchemaRows(const std::string& path) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot open " + path);
    }
    sqlite3_stmt* stmt = nullptr;
    std::int64_t rows = 0;
    if (sqlite3_prepare_v2(db, "SELECT type, name FROM sqlite_schema", -1, &stmt, nullptr) ==
        SQLITE_OK) {
        while (sqlite3_step(stmt) == SQLITE_ROW)
            rows += sqlite3_column_bytes(stmt, 1) >= 0 ? 1 : 0;
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return rows;
}

} // namespace marovin::bench
