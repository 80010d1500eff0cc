// Rendering and the document round trip for queries of growing size: n tables joined in a chain,
// ten selected items per table, a calculated item and a filter per ten tables, a few sort entries.

#include <benchmark/benchmark.h>
#include <marovin/cSQLQuery.h>

using namespace marovin;

namespace {

std::shared_ptr<cSQLQuery> buildQuery(int tables) {
    auto query = std::make_shared<cSQLQuery>();
    query->setStrName("Bench");
    std::shared_ptr<cTable> previous;
    for (int t = 0; t < tables; ++t) {
        auto table = query->Tables()->Add();
        table->setStrName("dbo.Table " + std::to_string(t));
        table->setStrAlias("T" + std::to_string(t));
        for (int c = 0; c < 10; ++c) {
            auto item = query->SelectedItems()->Add();
            item->setStrName("T" + std::to_string(t) + ".Column " + std::to_string(c));
            item->setStrAlias("C" + std::to_string(t) + "_" + std::to_string(c));
            if (c == 0)
                item->setStrAggregationFunction("SUM");
        }
        if (previous) {
            auto join = query->JoinConditions()->Add();
            join->setLeftTable(previous);
            join->setRightTable(table);
            join->setBlnIncludeAllRowsOfLeftTable(t % 3 == 0);
            join->setStrCondition("(" + previous->strAlias() + ".ID = " + table->strAlias() +
                                  ".ParentID)");
        }
        if (t % 10 == 0) {
            auto calc = query->CalculatedItems()->Add();
            calc->setStrName("Calc" + std::to_string(t));
            calc->setStrComputation("T" + std::to_string(t) + ".[Column 1]{newline}* 2");
            auto filter = query->Filters()->Add();
            filter->setStrCondition("T" + std::to_string(t) + ".[Column 2] > " + std::to_string(t));
        }
        previous = table;
    }
    for (int s = 0; s < 5; ++s) {
        auto entry = query->OrderByItems()->Add();
        entry->setStrItem("C" + std::to_string(s) + "_1");
        entry->setStrSortOrder(s % 2 ? "DESC" : "ASC");
    }
    return query;
}

void BM_StrSQL(benchmark::State& state) {
    auto query = buildQuery(static_cast<int>(state.range(0)));
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string sql = query->strSQL();
        bytes = sql.size();
        benchmark::DoNotOptimize(sql.data());
    }
    state.counters["sql_bytes"] = static_cast<double>(bytes);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_StrSQL)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond)->Complexity();

void BM_XmlRoundTrip(benchmark::State& state) {
    auto query = buildQuery(static_cast<int>(state.range(0)));
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string text = query->ToXmlText();
        cSQLQuery copy;
        copy.LoadXmlText(text);
        bytes = text.size();
        benchmark::DoNotOptimize(copy.Tables()->Count());
    }
    state.counters["xml_bytes"] = static_cast<double>(bytes);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_XmlRoundTrip)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity();

} // namespace

BENCHMARK_MAIN();
