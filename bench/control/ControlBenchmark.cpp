// The cost of one change notification of the query builder on a large query: 50 placed tables,
// 60 diagram joins (49 tables chained, 11 of the links with a second column pair) and 500
// selected rows. A click on "Unique records only" runs the notification: Changed, the assembly
// of the query from the panes, its SQL text, and the text shown in the SQL view. Loading the
// same query into the panes is measured as well. Both again with 200 and 800 tables (ten rows
// per table), to see how they grow. Runs offscreen.

#include "QtBenchMain.h"
#include "SampleDatabaseGenerator.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/platform/MemorySettingsStore.h"
#include "marovin/platform/ScriptedMessageBox.h"
#include "marovin/platform/SqlTextView.h"
#include "marovin/uscMarovin.h"

#include <QApplication>
#include <QCheckBox>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <stdexcept>

using namespace marovin;

namespace {

constexpr int kTables = 50;
constexpr int kRowsPerTable = 10;
constexpr int kDoubleLinks = 11; // links with a second column pair: 49 + 11 = 60 joins
const char* const kColumns[] = {"OrderID",        "CustomerID",  "EmployeeID", "OrderDate",
                                "RequiredDate",   "ShippedDate", "ShipVia",    "Freight",
                                "ShipName",       "ShipAddress", "ShipCity",   "ShipRegion",
                                "ShipPostalCode", "ShipCountry"};

std::string alias(int i) {
    return i == 0 ? "Orders" : "Orders" + std::to_string(i);
}

std::shared_ptr<cSQLQuery> largeQuery(int tables = kTables) {
    const int rows = kRowsPerTable * tables;
    auto query = std::make_shared<cSQLQuery>();
    for (int t = 0; t < tables; ++t) {
        auto table = query->Tables()->Add();
        table->setStrName("dbo.Orders");
        table->setStrAlias(alias(t));
    }
    for (int t = 0; t + 1 < tables; ++t) {
        auto join = query->JoinConditions()->Add();
        join->setLeftTable(query->Tables()->Item(t + 1));
        join->setRightTable(query->Tables()->Item(t + 2));
        join->setBlnIncludeAllRowsOfLeftTable(t % 3 == 2);
        std::string condition = alias(t) + ".OrderID = " + alias(t + 1) + ".OrderID";
        if (t < kDoubleLinks)
            condition += " and " + alias(t) + ".CustomerID = " + alias(t + 1) + ".CustomerID";
        join->setStrCondition("(" + condition + ")");
    }
    for (int r = 0; r < rows; ++r) {
        auto item = query->SelectedItems()->Add();
        const std::string column = kColumns[r % 14];
        item->setStrName(alias(r / 14) + "." + column);
        item->setStrAlias(column + std::to_string(r));
        if (r % 7 == 0)
            item->setStrAggregationFunction("SUM");
    }
    return query;
}

struct Fixture {
    Fixture() {
        SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
        options.orderLines = 50;
        std::string error;
        const std::string path = dir.filePath("bench.sqlite").toStdString();
        if (!SampleDatabaseGenerator(options).Write(path, error))
            throw std::runtime_error(error);
        db = std::make_shared<cDbConnection>();
        db->setStrProvider(cDbConnection::kProviderSqlite);
        db->setStrDatabase(path);
        PlatformServices services;
        services.messageBox = box;
        services.settings = std::make_shared<MemorySettingsStore>();
        control = std::make_unique<uscMarovin>(nullptr, services);
        control->resize(1280, 900);
        control->show();
        control->setDatabaseObject(db);
    }
    QTemporaryDir dir;
    std::shared_ptr<ScriptedMessageBox> box = std::make_shared<ScriptedMessageBox>();
    std::shared_ptr<cDbConnection> db;
    std::unique_ptr<uscMarovin> control;
};

void BM_NotifyQueryChanged(benchmark::State& state) {
    Fixture f;
    const int tables = static_cast<int>(state.range(0));
    auto query = largeQuery(tables);
    f.control->setSQLQueryObject(query);
    if (query->Tables()->Count() != tables ||
        query->SelectedItems()->Count() != kRowsPerTable * tables || !f.box->shown().empty()) {
        state.SkipWithError("the large query did not load completely");
        return;
    }
    auto* unique = f.control->findChild<QCheckBox*>("chkUniqueRecords");
    int changed = 0;
    QObject::connect(f.control.get(), &uscMarovin::Changed, [&changed] { ++changed; });
    for (auto _ : state) {
        unique->click();
        benchmark::DoNotOptimize(f.control->strSQL().data());
    }
    state.counters["diagram_joins"] =
        f.control->findChild<dvTablesAndJoins*>("dvTablesAndJoins")->joinCount();
    state.counters["query_joins"] = static_cast<double>(query->JoinConditions()->Count());
    state.counters["sql_kB"] = static_cast<double>(f.control->strSQL().size()) / 1000.0;
    if (changed != static_cast<int>(state.iterations()))
        state.SkipWithError("Changed was not raised once per notification");
}
BENCHMARK(BM_NotifyQueryChanged)->Arg(kTables)->Arg(200)->Arg(800)->Unit(benchmark::kMillisecond);

// The share of the notification that is the SQL view taking the new text and colouring it: the
// statement with and without DISTINCT in turn (a change of a few characters), and the statement
// in turn with an empty view (the whole text shown anew).
void showSqlText(benchmark::State& state, bool whole) {
    Fixture f;
    auto query = largeQuery(static_cast<int>(state.range(0)));
    f.control->setSQLQueryObject(query);
    const std::string sql = f.control->strSQL();
    f.control->findChild<QCheckBox*>("chkUniqueRecords")->click();
    const std::string other = whole ? std::string() : f.control->strSQL();
    auto* view = f.control->findChild<SqlTextView*>("txtSQLQuery");
    bool first = true;
    for (auto _ : state) {
        view->setStrText(first ? sql : other);
        first = !first;
    }
    state.counters["sql_kB"] = static_cast<double>(sql.size()) / 1000.0;
}
void BM_ShowChangedSqlText(benchmark::State& state) {
    showSqlText(state, false);
}
void BM_ShowWholeSqlText(benchmark::State& state) {
    showSqlText(state, true);
}
BENCHMARK(BM_ShowChangedSqlText)->Arg(kTables)->Arg(800)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ShowWholeSqlText)->Arg(kTables)->Arg(800)->Unit(benchmark::kMillisecond);

void BM_LoadQuery(benchmark::State& state) {
    Fixture f;
    const std::string document = largeQuery(static_cast<int>(state.range(0)))->ToXmlText();
    for (auto _ : state) {
        auto query = std::make_shared<cSQLQuery>();
        query->LoadXmlText(document);
        f.control->setSQLQueryObject(query);
        benchmark::DoNotOptimize(f.control->strSQL().data());
    }
}
BENCHMARK(BM_LoadQuery)->Arg(kTables)->Arg(200)->Arg(800)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return marovin::bench::RunQtBenchmarks(argc, argv);
}
