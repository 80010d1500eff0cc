// The SQL text and each of its clauses for queries of growing size: n tables, each joined to the
// previous one (inner, left, right and full joins in turn; every other join names the new table
// on its left side, so the chain grows at both ends), one of them a sub-query table; ten selected
// items per table (every tenth summed), a calculated item per five tables (every other one an
// aggregate, some with a typed line break), a WHERE and a HAVING filter per five tables, and
// sort entries. The statement and FROM again with one selected item per table. A last case
// selects 100,000 items from ten tables.
//
// Numbers in names are written with five digits, so that a query of ten times the tables is ten
// times the text: with plain numbers the statement of 10,000 tables would be ×10.5 the text of
// 1,000 tables, and its growth would not be the rendering's alone.

#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <marovin/cSQLQuery.h>

using namespace marovin;

namespace {

constexpr int kItemsPerTable = 10;

std::string number(int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%05d", value);
    return text;
}

std::shared_ptr<cSQLQuery> subQuery() {
    auto query = std::make_shared<cSQLQuery>();
    query->setStrName("Totals");
    query->setBlnIsSubQuery(true);
    auto table = query->Tables()->Add();
    table->setStrName("dbo.Order Details");
    auto id = query->SelectedItems()->Add();
    id->setStrName("[Order Details].ProductID");
    auto sum = query->SelectedItems()->Add();
    sum->setStrName("[Order Details].Quantity");
    sum->setStrAggregationFunction("SUM");
    return query;
}

std::shared_ptr<cSQLQuery> buildQuery(int tables, int itemsPerTable) {
    auto query = std::make_shared<cSQLQuery>();
    query->setStrName("Bench");
    std::shared_ptr<cTable> previous;
    for (int t = 0; t < tables; ++t) {
        const std::string n = number(t);
        auto table = query->Tables()->Add("T" + n);
        if (t == tables / 2) {
            table->setStrName("Totals" + n);
            table->setStrAlias("T" + n);
            table->setBlnIsSubQuery(true);
            table->setSubQuery(subQuery());
        } else {
            table->setStrName("dbo.Table " + n);
            table->setStrAlias("T" + n);
        }
        for (int c = 0; c < itemsPerTable; ++c) {
            auto item = query->SelectedItems()->Add();
            item->setStrName("T" + n + ".Column " + std::to_string(c));
            item->setStrAlias("C" + n + "_" + std::to_string(c));
            if (c == 0 && t % 10 == 0)
                item->setStrAggregationFunction("SUM");
        }
        if (previous) {
            auto join = query->JoinConditions()->Add();
            const bool newOnLeft = t % 2 == 0;
            join->setLeftTable(newOnLeft ? table : previous);
            join->setRightTable(newOnLeft ? previous : table);
            join->setBlnIncludeAllRowsOfLeftTable(t % 4 == 1 || t % 4 == 3);
            join->setBlnIncludeAllRowsOfRightTable(t % 4 == 2 || t % 4 == 3);
            join->setStrCondition("(T" + number(t - 1) + ".ID = T" + n + ".ParentID)");
        }
        if (t % 5 == 0) {
            auto calc = query->CalculatedItems()->Add();
            calc->setStrName("Calc" + n);
            calc->setStrComputation(t % 10 == 0 ? "MAX(T" + n + ".[Column 1])"
                                                : "T" + n + ".[Column 1]{newline}* 2");
            query->Filters()->Add()->setStrCondition("T" + n + ".[Column 2] > " + n);
            query->Filters()->Add()->setStrCondition("SUM(T" + n + ".[Column 3]) > " + n);
        }
        previous = table;
    }
    for (int s = 0; s < 20; ++s) {
        auto entry = query->OrderByItems()->Add();
        entry->setStrItem(s % 2 ? "C" + number(s) + "_1" : "Calc" + number(s * 5));
        entry->setStrSortOrder(s % 3 ? "DESC" : "ASC");
    }
    return query;
}

// Queries are built once per size and kept for every benchmark of that size.
cSQLQuery& cachedQuery(int tables, int itemsPerTable) {
    static std::map<std::pair<int, int>, std::shared_ptr<cSQLQuery>> queries;
    auto& query = queries[{tables, itemsPerTable}];
    if (!query)
        query = buildQuery(tables, itemsPerTable);
    return *query;
}

template <std::string (*Render)(cSQLQuery&)>
void runRendering(benchmark::State& state, int tables, int itemsPerTable) {
    cSQLQuery& query = cachedQuery(tables, itemsPerTable);
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string text = Render(query);
        bytes = text.size();
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes);
    state.SetComplexityN(tables);
}

template <std::string (*Render)(cSQLQuery&)> void BM_Clause(benchmark::State& state) {
    runRendering<Render>(state, static_cast<int>(state.range(0)), kItemsPerTable);
}

// The same query with one selected item per table: the tables and joins lie close together on
// the heap, and the rendering's own temporaries weigh more against the query.
template <std::string (*Render)(cSQLQuery&)> void BM_NarrowClause(benchmark::State& state) {
    runRendering<Render>(state, static_cast<int>(state.range(0)), 1);
}

std::string renderSQL(cSQLQuery& q) {
    return q.strSQL();
}
std::string renderSelect(cSQLQuery& q) {
    return q.strSelect();
}
std::string renderFrom(cSQLQuery& q) {
    return q.strFrom();
}
std::string renderWhere(cSQLQuery& q) {
    return q.strWhere();
}
std::string renderGroupBy(cSQLQuery& q) {
    return q.strGroupBy();
}
std::string renderHaving(cSQLQuery& q) {
    return q.strHaving();
}
std::string renderOrderBy(cSQLQuery& q) {
    return q.strOrderBy();
}

#define MAROVIN_RENDERING_BENCHMARK(fixture, render, label, smallest)                              \
    BENCHMARK_TEMPLATE(fixture, render)                                                            \
        ->Name(label)                                                                              \
        ->RangeMultiplier(10)                                                                      \
        ->Range(smallest, 10000)                                                                   \
        ->Unit(benchmark::kMicrosecond)                                                            \
        ->Complexity()

MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderSQL, "strSQL", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderSelect, "strSelect", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderFrom, "strFrom", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderWhere, "strWhere", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderGroupBy, "strGroupBy", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderHaving, "strHaving", 10);
MAROVIN_RENDERING_BENCHMARK(BM_Clause, renderOrderBy, "strOrderBy", 10);
MAROVIN_RENDERING_BENCHMARK(BM_NarrowClause, renderSQL, "strSQL_oneItemPerTable", 100);
MAROVIN_RENDERING_BENCHMARK(BM_NarrowClause, renderFrom, "strFrom_oneItemPerTable", 100);

// 100,000 selected items from ten tables.
void BM_WideSelection(benchmark::State& state) {
    runRendering<renderSQL>(state, 10, static_cast<int>(state.range(0)) / 10);
}
BENCHMARK(BM_WideSelection)
    ->Name("strSQL_selectedItems")
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
