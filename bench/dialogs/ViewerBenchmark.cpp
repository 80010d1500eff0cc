// The query results viewer over a million rows of eight columns (integers, reals, short texts):
// how soon the first rows are shown once the rows have arrived, how long the whole fetch takes
// against a plain sqlite3 step loop over the same rows, how much memory a row takes against its
// size as tab-separated text, and how long copying every row to the clipboard takes.

#include "QtBenchMain.h"
#include "marovin/cDbConnection.h"
#include "marovin/cRecordset.h"
#include "marovin/frmViewQueryResults.h"
#include "marovin/platform/CountingBusyPointer.h"
#include "marovin/platform/MemoryClipboard.h"
#include "marovin/platform/MemorySettingsStore.h"
#include "marovin/platform/ScriptedMessageBox.h"

#include <QApplication>
#include <QPixmap>
#include <QPushButton>
#include <QTableView>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <malloc.h>
#include <sqlite3.h>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using marovin::cDbConnection;
using marovin::cRecordset;
using marovin::frmViewQueryResults;

constexpr int kRows = 1000000;

// The table is made once with a recursive CTE and kept between runs in the build tree.
std::string millionRowsFile() {
    static const std::string path = [] {
        std::filesystem::create_directories(MAROVIN_BENCH_DATA_DIR);
        const std::string file = std::string(MAROVIN_BENCH_DATA_DIR) + "/viewer-1m.sqlite";
        if (std::filesystem::exists(file))
            return file;
        const std::string partial = file + ".partial";
        std::filesystem::remove(partial);
        sqlite3* db = nullptr;
        if (sqlite3_open(partial.c_str(), &db) != SQLITE_OK)
            throw std::runtime_error("cannot create " + partial);
        const std::string sql =
            "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
            "CREATE TABLE Lines (LineID integer PRIMARY KEY, OrderID integer, ProductID integer, "
            "UnitPrice money, Quantity smallint, Discount real, ProductName nvarchar(40), "
            "Country nvarchar(15));"
            "INSERT INTO Lines WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
            "WHERE i < " +
            std::to_string(kRows) +
            ") SELECT i, 10248 + i / 3, 1 + i % 77, round(2.5 + (i % 400) * 0.25, 2), 1 + i % 120, "
            "(i % 5) * 0.05, 'Product ' || (1 + i % 77), "
            "CASE i % 4 WHEN 0 THEN 'Germany' WHEN 1 THEN 'France' WHEN 2 THEN 'Brazil' "
            "ELSE 'USA' END FROM n;";
        char* error = nullptr;
        if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
            std::string message = error != nullptr ? error : "unknown error";
            sqlite3_free(error);
            sqlite3_close(db);
            throw std::runtime_error(message);
        }
        sqlite3_close(db);
        std::filesystem::rename(partial, file);
        return file;
    }();
    return path;
}

const char* const kQuery = "SELECT LineID, OrderID, ProductID, UnitPrice, Quantity, Discount, "
                           "ProductName, Country FROM dbo.Lines";
const char* const kPlainQuery = "SELECT LineID, OrderID, ProductID, UnitPrice, Quantity, "
                                "Discount, ProductName, Country FROM Lines";

std::shared_ptr<cDbConnection> connection() {
    auto db = std::make_shared<cDbConnection>();
    db->setStrProvider(cDbConnection::kProviderSqlite);
    db->setStrDatabase(millionRowsFile());
    return db;
}

std::shared_ptr<cRecordset> fetchAll() {
    std::string error;
    auto rows = connection()->FireQuery(kQuery, error, 0);
    if (!rows)
        throw std::runtime_error(error);
    return rows;
}

// The rows fetched once for the benchmarks that start from them.
const std::shared_ptr<cRecordset>& millionRows() {
    static const std::shared_ptr<cRecordset> rows = fetchAll();
    return rows;
}

marovin::PlatformServices services(std::shared_ptr<marovin::MemoryClipboard> clipboard = {}) {
    marovin::PlatformServices result;
    result.messageBox = std::make_shared<marovin::ScriptedMessageBox>();
    result.settings = std::make_shared<marovin::MemorySettingsStore>();
    result.clipboard = clipboard ? clipboard : std::make_shared<marovin::MemoryClipboard>();
    result.busyPointer = std::make_shared<marovin::CountingBusyPointer>();
    return result;
}

double threadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Step every row and read every value in its own type, keeping nothing.
std::int64_t plainStepLoop() {
    sqlite3* db = nullptr;
    sqlite3_open_v2(millionRowsFile().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, kPlainQuery, -1, &stmt, nullptr);
    std::int64_t rows = 0;
    std::int64_t checksum = 0;
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

// From rows in hand to the first screen painted: the viewer is made, given the rows (model,
// column widths from the visible rows, the row-limit field), shown and painted.
void BM_FirstRowsShown_1M(benchmark::State& state) {
    const auto& rows = millionRows();
    for (auto _ : state) {
        auto viewer = std::make_unique<frmViewQueryResults>(services());
        viewer->resize(1100, 700);
        viewer->setDbConnection(connection());
        viewer->setStrSQLQuery(kQuery);
        viewer->setLngNrRecordsToShow(kRows);
        viewer->setRecordSet(rows);
        viewer->show();
        QPixmap screen = viewer->grab();
        benchmark::DoNotOptimize(screen);
        state.PauseTiming();
        viewer.reset();
        QApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["rows"] = static_cast<double>(rows->RecordCount());
}
BENCHMARK(BM_FirstRowsShown_1M)->Unit(benchmark::kMillisecond)->UseRealTime();

// The grid taking a new million rows in an open viewer, and the repaint that follows.
void BM_RowsReplacedInOpenViewer_1M(benchmark::State& state) {
    const auto& rows = millionRows();
    frmViewQueryResults viewer(services());
    viewer.resize(1100, 700);
    viewer.setDbConnection(connection());
    viewer.setRecordSet(rows);
    viewer.show();
    QApplication::processEvents();
    auto* grid = viewer.findChild<QTableView*>(QStringLiteral("jgQueryResults"));
    for (auto _ : state) {
        viewer.setRecordSet(rows);
        QPixmap screen = grid->viewport()->grab();
        benchmark::DoNotOptimize(screen);
    }
}
BENCHMARK(BM_RowsReplacedInOpenViewer_1M)->Unit(benchmark::kMillisecond)->UseRealTime();

// Scrolling to the end of the million rows and painting that screen.
void BM_ScrollToLastRow_1M(benchmark::State& state) {
    const auto& rows = millionRows();
    frmViewQueryResults viewer(services());
    viewer.resize(1100, 700);
    viewer.setDbConnection(connection());
    viewer.setRecordSet(rows);
    viewer.show();
    QApplication::processEvents();
    auto* grid = viewer.findChild<QTableView*>(QStringLiteral("jgQueryResults"));
    bool end = false;
    for (auto _ : state) {
        if (end)
            grid->scrollToTop();
        else
            grid->scrollToBottom();
        end = !end;
        QPixmap screen = grid->viewport()->grab();
        benchmark::DoNotOptimize(screen);
    }
}
BENCHMARK(BM_ScrollToLastRow_1M)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PlainSqliteStep_1M(benchmark::State& state) {
    millionRowsFile();
    std::int64_t rows = 0;
    for (auto _ : state)
        rows = plainStepLoop();
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_PlainSqliteStep_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

// The whole fetch the viewer runs (open, run, read every row into the result set), and in the
// same iteration the plain loop, so that the ratio compares like with like on a shared machine.
void BM_FetchOverPlainLoop_1M(benchmark::State& state) {
    auto db = connection();
    millionRowsFile();
    double plainSeconds = 0;
    double fetchSeconds = 0;
    for (auto _ : state) {
        const double t0 = threadSeconds();
        plainStepLoop();
        const double t1 = threadSeconds();
        std::string error;
        auto rows = db->FireQuery(kQuery, error, 0);
        const double t2 = threadSeconds();
        if (!rows) {
            state.SkipWithError(error.c_str());
            return;
        }
        plainSeconds += t1 - t0;
        fetchSeconds += t2 - t1;
        state.PauseTiming();
        rows.reset();
        state.ResumeTiming();
    }
    const auto n = static_cast<double>(state.iterations());
    state.counters["plain_ms"] = plainSeconds * 1000 / n;
    state.counters["fetch_ms"] = fetchSeconds * 1000 / n;
    state.counters["ratio"] = fetchSeconds / plainSeconds;
}
BENCHMARK(BM_FetchOverPlainLoop_1M)->Unit(benchmark::kMillisecond)->Iterations(5);

// Bytes the allocator has handed out: small blocks from its arenas and large ones mapped apart.
std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Heap taken by the fetched rows (measured by the allocator and as counted by the result set)
// against the same rows as tab-separated text.
void BM_MemoryPerRow_1M(benchmark::State& state) {
    auto db = connection();
    double heapPerRow = 0;
    double countedPerRow = 0;
    double tsvPerRow = 0;
    for (auto _ : state) {
        malloc_trim(0);
        const std::size_t before = heapInUse();
        std::string error;
        auto rows = db->FireQuery(kQuery, error, 0);
        const std::size_t after = heapInUse();
        if (!rows) {
            state.SkipWithError(error.c_str());
            return;
        }
        const auto count = static_cast<double>(rows->RecordCount());
        heapPerRow = static_cast<double>(after - before) / count;
        countedPerRow = static_cast<double>(rows->MemoryUsage()) / count;
        std::ostringstream tsv;
        frmViewQueryResults::WriteTsv(*rows, tsv);
        tsvPerRow = static_cast<double>(tsv.str().size()) / count;
    }
    state.counters["heap_bytes_per_row"] = heapPerRow;
    state.counters["counted_bytes_per_row"] = countedPerRow;
    state.counters["tsv_bytes_per_row"] = tsvPerRow;
    state.counters["heap_over_tsv"] = heapPerRow / tsvPerRow;
}
BENCHMARK(BM_MemoryPerRow_1M)->Unit(benchmark::kMillisecond)->Iterations(1);

// cmdPrint on the million rows: the tab-separated text, its conversion and the clipboard.
void BM_CopyAllRows_1M(benchmark::State& state) {
    const auto& rows = millionRows();
    auto clipboard = std::make_shared<marovin::MemoryClipboard>();
    frmViewQueryResults viewer(services(clipboard));
    viewer.setDbConnection(connection());
    viewer.setRecordSet(rows);
    auto* copy = viewer.findChild<QPushButton*>(QStringLiteral("cmdPrint"));
    for (auto _ : state) {
        copy->click();
        state.PauseTiming();
        clipboard->Clear();
        state.ResumeTiming();
    }
    copy->click();
    state.counters["text_chars"] = static_cast<double>(clipboard->Text().size());
}
BENCHMARK(BM_CopyAllRows_1M)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The clipboard text alone, without the conversion to the clipboard's UTF-16.
void BM_ClipboardText_1M(benchmark::State& state) {
    const auto& rows = millionRows();
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string text = frmViewQueryResults::ClipboardText(*rows);
        bytes = text.size();
        benchmark::DoNotOptimize(text);
    }
    state.counters["text_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_ClipboardText_1M)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char** argv) {
    return marovin::bench::RunQtBenchmarks(argc, argv, "MarovinViewerBench");
}
