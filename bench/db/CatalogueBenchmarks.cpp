// The catalogue of a database with many real tables: ListTables, and the same rows read from
// the file's pages, against SQLite alone reading the same schema; the catalogue stamp; the
// on-disk catalogue cache (save and load).

#include "BenchData.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <marovin/CatalogueCache.h>
#include <marovin/cDbConnection.h>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using marovin::Catalogue;
using marovin::CatalogueCache;
using marovin::cDbConnection;
using marovin::DbSession;

std::string tableName(std::int64_t i) {
    char name[32];
    std::snprintf(name, sizeof name, "T%06lld", static_cast<long long>(i));
    return name;
}

cDbConnection sqlite(const std::string& path) {
    cDbConnection db;
    db.setStrProvider(cDbConnection::kProviderSqlite);
    db.setStrDatabase(path);
    return db;
}

// Every catalogue row of the file through the service, counted.
std::int64_t listTables(const cDbConnection& db) {
    std::int64_t rows = 0;
    std::string error;
    if (!db.ListTables(
            [&rows](std::vector<DbSession::TableRow>&& part) {
                rows += static_cast<std::int64_t>(part.size());
            },
            error, nullptr))
        throw std::runtime_error(error);
    return rows;
}

// What SQLite alone needs: open the file, read its schema table to the end.
std::int64_t rawSchemaQuery(const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT type, name FROM sqlite_schema", -1, &stmt, nullptr);
    std::int64_t rows = 0;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        benchmark::DoNotOptimize(sqlite3_column_text(stmt, 0));
        benchmark::DoNotOptimize(sqlite3_column_text(stmt, 1));
        ++rows;
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return rows;
}

void BM_ListTables(benchmark::State& state) {
    const cDbConnection db = sqlite(marovin::bench::TablesDatabase(state.range(0)));
    std::int64_t rows = 0;
    for (auto _ : state)
        rows = listTables(db);
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_ListTables)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListTables)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_RawSchemaQuery(benchmark::State& state) {
    const std::string path = marovin::bench::TablesDatabase(state.range(0));
    std::int64_t rows = 0;
    for (auto _ : state)
        rows = rawSchemaQuery(path);
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_RawSchemaQuery)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawSchemaQuery)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

// The CPU time of this thread, which other work on a shared machine does not inflate.
double threadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Both in the same iteration, so that the ratio compares like with like on a shared machine.
void BM_ListTablesOverRawSchemaQuery(benchmark::State& state) {
    const std::string path = marovin::bench::TablesDatabase(state.range(0));
    const cDbConnection db = sqlite(path);
    double rawSeconds = 0, listSeconds = 0;
    for (auto _ : state) {
        const double t0 = threadSeconds();
        rawSchemaQuery(path);
        const double t1 = threadSeconds();
        listTables(db);
        const double t2 = threadSeconds();
        rawSeconds += t1 - t0;
        listSeconds += t2 - t1;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["raw_ms"] = rawSeconds * 1000 / n;
    state.counters["listtables_ms"] = listSeconds * 1000 / n;
    state.counters["ratio"] = listSeconds / rawSeconds;
}
BENCHMARK(BM_ListTablesOverRawSchemaQuery)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListTablesOverRawSchemaQuery)
    ->Arg(100000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The same rows read from the pages of the file's schema table, without SQLite; and the raw
// query in the same iteration, for the ratio.
void BM_TablesFromFileOverRawSchemaQuery(benchmark::State& state) {
    const std::string path = marovin::bench::TablesDatabase(state.range(0));
    const cDbConnection db = sqlite(path);
    double rawSeconds = 0, fileSeconds = 0;
    std::size_t rows = 0;
    for (auto _ : state) {
        const double t0 = threadSeconds();
        rawSchemaQuery(path);
        const double t1 = threadSeconds();
        const auto fromFile = db.GetTablesFromFile();
        const double t2 = threadSeconds();
        if (!fromFile) {
            state.SkipWithError("the file could not be read page by page");
            return;
        }
        rows = fromFile->size();
        rawSeconds += t1 - t0;
        fileSeconds += t2 - t1;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["raw_ms"] = rawSeconds * 1000 / n;
    state.counters["fromfile_ms"] = fileSeconds * 1000 / n;
    state.counters["ratio"] = fileSeconds / rawSeconds;
}
BENCHMARK(BM_TablesFromFileOverRawSchemaQuery)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TablesFromFileOverRawSchemaQuery)
    ->Arg(100000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The stamp of the 100,000-table file: its header and first page, never its schema.
void BM_CatalogueStamp(benchmark::State& state) {
    const cDbConnection db = sqlite(marovin::bench::TablesDatabase(100000));
    std::string stamp;
    for (auto _ : state) {
        stamp = db.GetCatalogueStamp();
        benchmark::DoNotOptimize(stamp);
    }
    if (stamp.empty())
        state.SkipWithError("no stamp");
}
BENCHMARK(BM_CatalogueStamp)->Unit(benchmark::kMicrosecond);

// A catalogue of n tables as a listing gives it, with the column lists of 100 tables.
Catalogue catalogueOf(std::int64_t n) {
    Catalogue c;
    c.strStamp = "sqlite:100000:0123456789abcdef";
    c.lngListedAt = 1'700'000'000;
    c.tables.reserve(static_cast<std::size_t>(n) + 1);
    c.tables.push_back({"dbo", "sqlite_schema", "SYSTEM TABLE"});
    for (std::int64_t i = 1; i <= n; ++i)
        c.tables.push_back({"dbo", tableName(i), "TABLE"});
    for (std::int64_t i = 1; i <= 100 && i <= n; ++i)
        c.columns["dbo." + tableName(i)] = "id,name,amount";
    return c;
}

std::string cacheFolder() {
    return std::string(MAROVIN_BENCH_DATA_DIR) + "/catalogue-cache";
}

void BM_CatalogueCacheSave(benchmark::State& state) {
    const CatalogueCache cache(cacheFolder());
    // A connection of its own per size; the file does not need to exist.
    const cDbConnection db = sqlite("/catalogue-bench/" + std::to_string(state.range(0)));
    const Catalogue c = catalogueOf(state.range(0));
    for (auto _ : state) {
        if (!cache.Save(db, c)) {
            state.SkipWithError("cannot save");
            return;
        }
    }
    state.counters["file_bytes"] =
        static_cast<double>(std::filesystem::file_size(cache.FilePath(db)));
}
BENCHMARK(BM_CatalogueCacheSave)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_CatalogueCacheLoad(benchmark::State& state) {
    const CatalogueCache cache(cacheFolder());
    const cDbConnection db = sqlite("/catalogue-bench/" + std::to_string(state.range(0)));
    if (!cache.Save(db, catalogueOf(state.range(0)))) {
        state.SkipWithError("cannot save");
        return;
    }
    std::size_t rows = 0;
    for (auto _ : state) {
        auto loaded = cache.Load(db);
        if (!loaded) {
            state.SkipWithError("cannot load");
            return;
        }
        rows = loaded->tables.size();
        benchmark::DoNotOptimize(loaded);
    }
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_CatalogueCacheLoad)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
