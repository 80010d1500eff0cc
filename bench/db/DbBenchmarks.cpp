// Speed and memory of the database layer on generated SQLite databases: the catalogue of a very
// large database, the columns of a very wide table, and a preview of a million rows compared
// with a plain sqlite3 step loop over the same rows in the same run.

#include "SampleDatabaseGenerator.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <marovin/cDbConnection.h>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace {

using marovin::cDbConnection;
using marovin::SampleDatabaseGenerator;

// The generated databases are kept between runs in the build tree.
std::string dataFile(const std::string& name, const SampleDatabaseGenerator::Options& options) {
    std::filesystem::create_directories(MAROVIN_BENCH_DATA_DIR);
    std::string path = std::string(MAROVIN_BENCH_DATA_DIR) + "/" + name;
    if (!std::filesystem::exists(path)) {
        std::string error;
        if (!SampleDatabaseGenerator(options).Write(path, error))
            throw std::runtime_error(error);
    }
    return path;
}

std::string catalogue(std::int64_t entries) {
    SampleDatabaseGenerator::Options o;
    o.orderLines = 100;
    o.extraViews = static_cast<std::int32_t>(entries);
    return dataFile("catalogue-" + std::to_string(entries) + ".sqlite", o);
}

std::string large() {
    return dataFile("large.sqlite", SampleDatabaseGenerator::Large());
}

std::string wide() {
    SampleDatabaseGenerator::Options o;
    o.orderLines = 100;
    o.wideColumns = 1000;
    return dataFile("wide-1000.sqlite", o);
}

cDbConnection sqlite(const std::string& path) {
    cDbConnection db;
    db.setStrProvider(cDbConnection::kProviderSqlite);
    db.setStrDatabase(path);
    return db;
}

// One million order lines, eight columns: integers, reals and text.
const char* const kMillionRows =
    "SELECT d.OrderID, d.ProductID, d.UnitPrice, d.Quantity, d.Discount, "
    "d.UnitPrice * d.Quantity AS Amount, d.OrderID % 7 AS Bucket, 'Line ' || d.ProductID AS Label "
    "FROM dbo.[Order Details] d";
const char* const kMillionRowsPlain =
    "SELECT d.OrderID, d.ProductID, d.UnitPrice, d.Quantity, d.Discount, "
    "d.UnitPrice * d.Quantity AS Amount, d.OrderID % 7 AS Bucket, 'Line ' || d.ProductID AS Label "
    "FROM \"Order Details\" d";

// GetListOfTables on a catalogue of N entries (the sample's tables and views plus N views).
void BM_GetListOfTables(benchmark::State& state) {
    cDbConnection db = sqlite(catalogue(state.range(0)));
    std::size_t length = 0;
    for (auto _ : state) {
        std::string list = db.GetListOfTables();
        length = list.size();
        benchmark::DoNotOptimize(list);
    }
    state.counters["entries"] = static_cast<double>(state.range(0));
    state.counters["list_bytes"] = static_cast<double>(length);
}
BENCHMARK(BM_GetListOfTables)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetListOfTables)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

// What SQLite alone needs to open the same file and read its schema table.
void BM_SqliteSchemaScan(benchmark::State& state) {
    std::string path = catalogue(state.range(0));
    for (auto _ : state) {
        sqlite3* db = nullptr;
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_stmt* stmt = nullptr;
        sqlite3_prepare_v2(db, "SELECT type, name FROM sqlite_schema", -1, &stmt, nullptr);
        std::int64_t rows = 0;
        while (sqlite3_step(stmt) == SQLITE_ROW)
            ++rows;
        sqlite3_finalize(stmt);
        sqlite3_close(db);
        benchmark::DoNotOptimize(rows);
    }
}
BENCHMARK(BM_SqliteSchemaScan)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SqliteSchemaScan)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

// GetListOfFields of a table with 1,000 columns, with the table name as prefix.
void BM_GetListOfFields_1000Columns(benchmark::State& state) {
    cDbConnection db = sqlite(wide());
    std::size_t length = 0;
    for (auto _ : state) {
        std::string list = db.GetListOfFields("dbo.WideTable", true);
        length = list.size();
        benchmark::DoNotOptimize(list);
    }
    state.counters["list_bytes"] = static_cast<double>(length);
}
BENCHMARK(BM_GetListOfFields_1000Columns)->Unit(benchmark::kMillisecond);

// A preview of N rows (of 3) of the 1,000-column table, and the bytes its result set holds: a short
// result of a wide table must not hold room for rows it does not have.
void BM_FireQuery_Wide1000Columns(benchmark::State& state) {
    cDbConnection db = sqlite(wide());
    double bytes = 0;
    std::int64_t rows = 0;
    for (auto _ : state) {
        std::string error;
        auto rs = db.FireQuery("SELECT * FROM dbo.WideTable", error,
                               static_cast<std::int32_t>(state.range(0)));
        if (!rs) {
            state.SkipWithError(error.c_str());
            return;
        }
        rows = rs->RecordCount();
        bytes = static_cast<double>(rs->MemoryUsage());
    }
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["result_bytes"] = bytes;
}
BENCHMARK(BM_FireQuery_Wide1000Columns)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond);

// The plain loop: step every row and read every value in its own type, nothing kept.
std::int64_t plainStepLoop(const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, kMillionRowsPlain, -1, &stmt, nullptr);
    std::int64_t rows = 0, checksum = 0;
    const int columns = sqlite3_column_count(stmt);
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        ++rows;
        for (int c = 0; c < columns; ++c) {
            switch (sqlite3_column_type(stmt, c)) {
            case SQLITE_INTEGER:
                checksum += sqlite3_column_int64(stmt, c);
                break;
            case SQLITE_FLOAT:
                checksum += static_cast<std::int64_t>(sqlite3_column_double(stmt, c));
                break;
            case SQLITE_TEXT:
                checksum += sqlite3_column_text(stmt, c)[0] + sqlite3_column_bytes(stmt, c);
                break;
            default:
                break;
            }
        }
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    benchmark::DoNotOptimize(checksum);
    return rows;
}

void BM_PlainSqliteStep_1M(benchmark::State& state) {
    std::string path = large();
    std::int64_t rows = 0;
    for (auto _ : state)
        rows = plainStepLoop(path);
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_PlainSqliteStep_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_FireQuery_1M(benchmark::State& state) {
    cDbConnection db = sqlite(large());
    std::int64_t rows = 0;
    double bytesPerRow = 0;
    for (auto _ : state) {
        std::string error;
        auto rs = db.FireQuery(kMillionRows, error, 0);
        if (!rs) {
            state.SkipWithError(error.c_str());
            return;
        }
        rows = rs->RecordCount();
        bytesPerRow = static_cast<double>(rs->MemoryUsage()) / static_cast<double>(rows);
    }
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["bytes_per_row"] = bytesPerRow;
}
BENCHMARK(BM_FireQuery_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

// The CPU time of this thread, which other work on a shared machine does not inflate.
double threadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Both in the same iteration, so that the ratio compares like with like on a shared machine.
void BM_FireQueryOverPlainLoop_1M(benchmark::State& state) {
    std::string path = large();
    cDbConnection db = sqlite(path);
    double plainSeconds = 0, fireSeconds = 0;
    for (auto _ : state) {
        double t0 = threadSeconds();
        plainStepLoop(path);
        double t1 = threadSeconds();
        std::string error;
        auto rs = db.FireQuery(kMillionRows, error, 0);
        double t2 = threadSeconds();
        if (!rs) {
            state.SkipWithError(error.c_str());
            return;
        }
        plainSeconds += t1 - t0;
        fireSeconds += t2 - t1;
    }
    state.counters["plain_ms"] = plainSeconds * 1000 / static_cast<double>(state.iterations());
    state.counters["firequery_ms"] = fireSeconds * 1000 / static_cast<double>(state.iterations());
    state.counters["ratio"] = fireSeconds / plainSeconds;
}
BENCHMARK(BM_FireQueryOverPlainLoop_1M)->Unit(benchmark::kMillisecond)->Iterations(5);

// A typical preview: open, run, read the first 50 rows of a join on the small sample.
void BM_FireQuery_Preview50(benchmark::State& state) {
    SampleDatabaseGenerator::Options o = SampleDatabaseGenerator::Small();
    cDbConnection db = sqlite(dataFile("small.sqlite", o));
    for (auto _ : state) {
        std::string error;
        auto rs = db.FireQuery("SELECT Customers.CompanyName, Orders.OrderID, Orders.Freight "
                               "FROM dbo.Orders INNER JOIN dbo.Customers "
                               "ON Orders.CustomerID = Customers.CustomerID",
                               error, 50);
        benchmark::DoNotOptimize(rs);
    }
}
BENCHMARK(BM_FireQuery_Preview50)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
