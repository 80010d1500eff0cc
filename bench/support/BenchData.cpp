#include "BenchData.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sqlite3.h>
#include <stdexcept>

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

} // namespace

std::string BenchDataDir() {
    const char* shared = std::getenv("MAROVIN_BENCH_DATA_DIR");
    const std::string dir = shared && *shared ? shared : MAROVIN_BENCH_DATA_DIR;
    std::filesystem::create_directories(dir);
    return dir;
}

std::string TablesDatabase(std::int64_t n) {
    const std::string path = BenchDataDir() + "/tables-" + std::to_string(n) + ".sqlite";
    if (std::filesystem::exists(path))
        return path;
    if (n >= 10000)
        std::fprintf(stderr, "Making %s: %lld tables in one transaction (minutes for 100,000)...\n",
                     path.c_str(), static_cast<long long>(n));
    const std::string partial = path + ".partial";
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
        throw;
    }
    sqlite3_close(db);
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
