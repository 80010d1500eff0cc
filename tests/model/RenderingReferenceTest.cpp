// The rendering compared with a plain reference implementation kept here: the statement and every
// clause, byte for byte, with the same error messages and the same clean-up of sort entries. The
// queries are generated from fixed seeds: every join flag combination, joins that continue the
// chain on either side or start a new group, the same table on both sides, tables outside the
// collection, sub-query tables, filters on aggregates, typed line breaks, names needing
// brackets, sort entries that name no output; and long chains of joins.

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <marovin/ModelError.h>
#include <marovin/Utilities.h>
#include <marovin/cSQLQuery.h>
#include <random>
#include <thread>
#include <unordered_set>

using namespace marovin;

namespace {

// ---------------------------------------------------------------------------------------------
// The reference: each clause built the obvious way, one piece at a time.

const std::string kIndent = "     ";
const std::string kBreak = "\r\n";

std::string naiveReplaceAll(const std::string& text, const std::string& from,
                            const std::string& to) {
    std::string result;
    size_t pos = 0;
    for (size_t found; (found = text.find(from, pos)) != std::string::npos;
         pos = found + from.size())
        result.append(text, pos, found - pos).append(to);
    return result.append(text, pos);
}

std::string naiveCollapse(std::string text) {
    while (text.find(kBreak + kBreak) != std::string::npos)
        text = naiveReplaceAll(text, kBreak + kBreak, kBreak);
    return text;
}

bool refContainsAggregate(const std::string& expression) {
    std::string squeezed;
    for (char c : expression) {
        if (c != ' ')
            squeezed += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    for (const char* name : {"AVG", "COUNT", "MAX", "MIN", "STDEV", "STDEVP", "SUM", "VAR", "VARP"})
        if (squeezed.find(std::string(name) + "(") != std::string::npos)
            return true;
    return false;
}

std::string refQuoteIdentifier(const std::string& name) {
    const std::string trimmed = Trim(name);
    if (trimmed.empty())
        return "";
    std::vector<std::string> pieces(1);
    for (char c : trimmed) {
        if (c == '.')
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    std::string result;
    for (size_t i = 0; i < pieces.size(); ++i) {
        const std::string& piece = pieces[i];
        const bool bracketed = !piece.empty() && piece.front() == '[' && piece.back() == ']';
        result += (i == 0 ? "" : ".") +
                  (piece.find(' ') != std::string::npos && !bracketed ? "[" + piece + "]" : piece);
    }
    return result;
}

std::string refTableName(const std::shared_ptr<cTable>& table, const char* side) {
    if (!table)
        throw ModelError(std::string("A join has no ") + side + " table");
    return table->strFullTableName();
}

bool refHasOutputs(const cSQLQuery& q) {
    return q.SelectedItems()->Count() != 0 || q.CalculatedItems()->Count() != 0;
}

std::string refSelect(const cSQLQuery& q) {
    if (!refHasOutputs(q))
        return "";
    std::vector<std::string> pieces;
    for (const auto& item : *q.SelectedItems())
        pieces.push_back(item->strFullFieldName());
    for (const auto& item : *q.CalculatedItems())
        pieces.push_back(item->strFullName());
    std::string text = std::string("SELECT") + (q.blnUniqueRecordsOnly() ? " DISTINCT" : "");
    text += kBreak;
    for (size_t i = 0; i < pieces.size(); ++i)
        text += (i == 0 ? "" : ", " + kBreak) + kIndent + pieces[i];
    return text;
}

std::string refFilters(const cSQLQuery& q, const std::string& keyword, bool aggregated) {
    std::vector<std::string> conditions;
    for (const auto& filter : *q.Filters()) {
        if (filter->blnIsActive() && refContainsAggregate(filter->strCondition()) == aggregated)
            conditions.push_back("(" + filter->strCondition() + ")");
    }
    if (conditions.empty())
        return "";
    std::string text = keyword + kBreak + "      " + conditions[0];
    for (size_t i = 1; i < conditions.size(); ++i)
        text += kBreak + "  AND " + conditions[i];
    return text;
}

std::string refGroupBy(const cSQLQuery& q) {
    bool needed = false;
    for (const auto& item : *q.SelectedItems())
        needed = needed || !item->strAggregationFunction().empty();
    for (const auto& item : *q.CalculatedItems())
        needed = needed || refContainsAggregate(item->strComputation());
    if (!needed)
        return "";
    std::string list;
    for (const auto& item : *q.SelectedItems()) {
        if (item->strAggregationFunction().empty())
            list = list.empty()
                       ? refQuoteIdentifier(item->strName())
                       : list + "," + kBreak + kIndent + refQuoteIdentifier(item->strName());
    }
    for (const auto& item : *q.CalculatedItems()) {
        if (!refContainsAggregate(item->strComputation()))
            list = list.empty() ? item->strComputation()
                                : list + "," + kBreak + kIndent + item->strComputation();
    }
    return list.empty() ? "" : "GROUP BY" + kBreak + kIndent + list;
}

std::string refOrderBy(cSQLQuery& q) {
    auto entries = q.OrderByItems();
    std::string text;
    for (long pos = entries->Count(); pos >= 1; --pos) {
        const std::string name = entries->Item(pos)->strItem();
        bool found = false;
        for (const auto& item : *q.SelectedItems())
            found = found || item->strName() == name || item->strAlias() == name;
        for (const auto& item : *q.CalculatedItems())
            found = found || item->strName() == name;
        if (!found) {
            entries->Remove(pos);
            continue;
        }
        const std::string& order = entries->Item(pos)->strSortOrder();
        const std::string piece = name.empty() ? order : name + " " + order;
        text += (text.empty() ? "ORDER BY" + kBreak : "," + kBreak) + kIndent + piece;
    }
    return text;
}

std::string refFrom(const cSQLQuery& q) {
    if (!refHasOutputs(q) || q.Tables()->Count() == 0)
        return "";
    if (q.Tables()->Count() == 1)
        return "FROM " + kBreak + kIndent + q.Tables()->Item(1)->strFullTableName();
    std::string chain;
    std::vector<std::string> seen;
    auto wasSeen = [&](const std::string& name) {
        for (const auto& s : seen) {
            if (FoldKey(s) == FoldKey(name))
                return true;
        }
        return false;
    };
    auto see = [&](const std::string& name) {
        if (wasSeen(name))
            throw ModelError("Duplicate key \"" + name + "\": the key is already in use");
        seen.push_back(name);
    };
    for (const auto& join : *q.JoinConditions()) {
        const std::string left = Trim(refTableName(join->LeftTable(), "left"));
        const std::string right = Trim(refTableName(join->RightTable(), "right"));
        const bool leftInChain = !chain.empty() && wasSeen(left);
        if (!leftInChain)
            see(left);
        const bool rightInChain = !chain.empty() && wasSeen(right);
        if (!rightInChain)
            see(right);
        const bool l = join->blnIncludeAllRowsOfLeftTable();
        const bool r = join->blnIncludeAllRowsOfRightTable();
        const std::string keyword = l && r ? "FULL OUTER JOIN"
                                    : l    ? "LEFT OUTER JOIN"
                                    : r    ? "RIGHT OUTER JOIN"
                                           : "INNER JOIN";
        const std::string joined = " " + kBreak + kIndent + keyword + " " +
                                   (rightInChain ? chain : right) + kBreak + kIndent + "ON " +
                                   join->strCondition();
        chain = (leftInChain ? chain : left) + joined;
    }
    std::string text = "FROM" + kBreak + kIndent + chain;
    std::vector<std::string> joined;
    for (const auto& join : *q.JoinConditions()) {
        joined.push_back(refTableName(join->LeftTable(), "left"));
        joined.push_back(refTableName(join->RightTable(), "right"));
    }
    long counter = q.JoinConditions()->Count();
    for (const auto& table : *q.Tables()) {
        const std::string name = table->strFullTableName();
        if (std::find(joined.begin(), joined.end(), name) != joined.end())
            continue;
        text += (counter == 0 ? "" : kBreak + kIndent + "CROSS JOIN ") + name;
        ++counter;
    }
    return text;
}

std::string refSQL(cSQLQuery& q) {
    std::string text = refSelect(q);
    for (const std::string& clause : {refFrom(q), refFilters(q, "WHERE", false), refGroupBy(q),
                                      refFilters(q, "HAVING", true), refOrderBy(q)})
        text = text.empty() ? clause : text + kBreak + clause;
    return naiveCollapse(naiveReplaceAll(text, "{newline}", " "));
}

// The text a rendering gives, or the message it throws.
std::string outcome(const std::function<std::string()>& render) {
    try {
        return render();
    } catch (const ModelError& error) {
        return std::string("ModelError: ") + error.what();
    }
}

std::vector<std::string> sortEntries(const cSQLQuery& q) {
    std::vector<std::string> entries;
    for (const auto& entry : *q.OrderByItems())
        entries.push_back(entry->strItem() + "|" + entry->strSortOrder());
    return entries;
}

// ---------------------------------------------------------------------------------------------
// Generated queries.

class Generator {
public:
    explicit Generator(uint32_t seed) : m_random(seed) {}

    std::shared_ptr<cSQLQuery> query(int depth) {
        auto q = std::make_shared<cSQLQuery>();
        q->setBlnUniqueRecordsOnly(chance(4));
        std::vector<std::shared_ptr<cTable>> tables;
        const int tableCount = below(depth == 0 ? 9 : 3);
        for (int t = 0; t < tableCount; ++t)
            tables.push_back(table(*q, depth));
        const int joins = tableCount == 0 ? 0 : below(tableCount + 3);
        for (int j = 0; j < joins; ++j) {
            auto join = q->JoinConditions()->Add();
            join->setLeftTable(joinSide(tables));
            join->setRightTable(joinSide(tables));
            join->setBlnIncludeAllRowsOfLeftTable(chance(2));
            join->setBlnIncludeAllRowsOfRightTable(chance(2));
            join->setStrCondition(pick(kConditions));
        }
        const int selected = below(7);
        for (int s = 0; s < selected; ++s) {
            auto item = q->SelectedItems()->Add();
            if (!chance(3))
                item->setStrAlias(pick(kAliases));
            item->setStrName(pick(kFields));
            if (chance(3))
                item->setStrAggregationFunction(pick(kAggregations));
        }
        const int calculated = below(4);
        for (int c = 0; c < calculated; ++c) {
            auto item = q->CalculatedItems()->Add();
            item->setStrName(pick(kCalculatedNames));
            item->setStrComputation(pick(kComputations));
        }
        const int filters = below(5);
        for (int f = 0; f < filters; ++f) {
            auto filter = q->Filters()->Add();
            filter->setStrCondition(pick(kFilterConditions));
            filter->setBlnIsActive(!chance(4));
        }
        const int sorts = below(5);
        for (int s = 0; s < sorts; ++s) {
            auto entry = q->OrderByItems()->Add();
            entry->setStrItem(sortName(*q));
            entry->setStrSortOrder(pick(kSortOrders));
        }
        return q;
    }

private:
    bool chance(int oneIn) { return below(oneIn) == 0; }
    int below(int n) { return static_cast<int>(m_random() % static_cast<uint32_t>(n)); }
    template <size_t N> std::string pick(const std::array<const char*, N>& pool) {
        return pool[static_cast<size_t>(below(static_cast<int>(N)))];
    }

    std::shared_ptr<cTable> table(cSQLQuery& q, int depth) {
        auto table = q.Tables()->Add();
        if (depth == 0 && chance(8)) {
            table->setStrName(pick(kAliases));
            table->setBlnIsSubQuery(true);
            if (!chance(10))
                table->setSubQuery(query(depth + 1));
            return table;
        }
        if (!chance(3))
            table->setStrAlias(pick(kAliases));
        table->setStrName(pick(kTableNames));
        return table;
    }

    std::shared_ptr<cTable> joinSide(const std::vector<std::shared_ptr<cTable>>& tables) {
        if (chance(60))
            return nullptr;
        if (chance(25)) {
            // A table outside the query's collection.
            auto outside = std::make_shared<cTable>();
            outside->setStrName(pick(kTableNames));
            return outside;
        }
        return tables[static_cast<size_t>(below(static_cast<int>(tables.size())))];
    }

    std::string sortName(const cSQLQuery& q) {
        const int kind = below(4);
        if (kind == 0 && q.SelectedItems()->Count() != 0)
            return q.SelectedItems()->Item(1 + below(q.SelectedItems()->Count()))->strName();
        if (kind == 1 && q.SelectedItems()->Count() != 0)
            return q.SelectedItems()->Item(1 + below(q.SelectedItems()->Count()))->strAlias();
        if (kind == 2 && q.CalculatedItems()->Count() != 0)
            return q.CalculatedItems()->Item(1 + below(q.CalculatedItems()->Count()))->strName();
        return pick(kStaleSortNames);
    }

    static constexpr std::array<const char*, 12> kTableNames = {"A",
                                                                "B",
                                                                "dbo.C",
                                                                "DBO.c",
                                                                "dbo.Order Details",
                                                                "Sales.Orders",
                                                                "[x y].Items",
                                                                " spaced",
                                                                "dbo.Customers",
                                                                "Products",
                                                                "a",
                                                                ""};
    static constexpr std::array<const char*, 9> kAliases = {
        "A", "O", "Order Lines", "  ", "[My Alias]", "c", "Sub 1", "S{newline}", "Items"};
    static constexpr std::array<const char*, 10> kConditions = {"(A.x = B.x)",
                                                                "A.id = O.id{newline}AND A.k = 1",
                                                                "",
                                                                "x\r\n\r\n\r\ny",
                                                                "(c.a = [Order Lines].b)",
                                                                "{newl",
                                                                "ine} = 1",
                                                                "p = q\r\n",
                                                                "\r\nq = r",
                                                                "a = b{newline}{newline}"};
    static constexpr std::array<const char*, 10> kFields = {
        "A.x",       "O.Freight",         "Order Details.Unit Price",
        "x",         "dbo.C.Amount",      " spaced ",
        "",          "[Order Lines].Qty", "S.a{newline}",
        "Items.Name"};
    static constexpr std::array<const char*, 5> kAggregations = {"SUM", "", "  ", "count", " max"};
    static constexpr std::array<const char*, 5> kCalculatedNames = {"Total", "", "  ", "Net Price",
                                                                    "x"};
    static constexpr std::array<const char*, 7> kComputations = {
        "A.x + 1", "SUM(O.Freight)", "max (x)", "1{newline}+ 1", "", "x\r\n\r\ny", "Avg(y)*2"};
    static constexpr std::array<const char*, 8> kFilterConditions = {"A.x > 1",
                                                                     "sum (x) > 1",
                                                                     "",
                                                                     "a = 1\r\n\r\n\r\nAND b = 2",
                                                                     "COUNT(*) > 2{newline}",
                                                                     "y{newline}= 2",
                                                                     "Min(x) < 0",
                                                                     "x LIKE '%sum(%'"};
    static constexpr std::array<const char*, 4> kSortOrders = {"", "ASC", "DESC", " DESC"};
    static constexpr std::array<const char*, 4> kStaleSortNames = {"Gone", "", "freight", "TOTAL"};

    std::mt19937 m_random;
};

// Compares the statement (then the clauses of a second copy) with the reference.
void expectSameRendering(const std::function<std::shared_ptr<cSQLQuery>()>& make,
                         const std::string& label) {
    auto expected = make();
    auto actual = make();
    EXPECT_EQ(outcome([&] { return actual->strSQL(); }), outcome([&] { return refSQL(*expected); }))
        << label;
    EXPECT_EQ(sortEntries(*actual), sortEntries(*expected)) << label;

    expected = make();
    actual = make();
    EXPECT_EQ(actual->strSelect(), refSelect(*expected)) << label;
    EXPECT_EQ(outcome([&] { return actual->strFrom(); }),
              outcome([&] { return refFrom(*expected); }))
        << label;
    EXPECT_EQ(actual->strWhere(), refFilters(*expected, "WHERE", false)) << label;
    EXPECT_EQ(actual->strGroupBy(), refGroupBy(*expected)) << label;
    EXPECT_EQ(actual->strHaving(), refFilters(*expected, "HAVING", true)) << label;
    EXPECT_EQ(actual->strOrderBy(), refOrderBy(*expected)) << label;
    EXPECT_EQ(sortEntries(*actual), sortEntries(*expected)) << label;
}

// A chain of joins: each table joined to an earlier one (mostly the previous), on either side,
// with every flag combination; now and then a join between two new tables starts a new group.
std::shared_ptr<cSQLQuery> chainQuery(uint32_t seed, int tables) {
    std::mt19937 random(seed);
    auto q = std::make_shared<cSQLQuery>();
    std::vector<std::shared_ptr<cTable>> added;
    auto addTable = [&] {
        const std::string n = std::to_string(added.size());
        auto table = q->Tables()->Add();
        table->setStrName(random() % 5 == 0 ? "dbo.Table " + n : "T" + n);
        if (random() % 3 == 0)
            table->setStrAlias("Alias " + n);
        added.push_back(table);
        auto item = q->SelectedItems()->Add();
        item->setStrName("T" + n + ".Value");
        item->setStrAlias("V" + n);
        if (random() % 7 == 0)
            item->setStrAggregationFunction("SUM");
        return table;
    };
    addTable();
    while (static_cast<int>(added.size()) < tables) {
        const int kind = static_cast<int>(random() % 20);
        std::shared_ptr<cTable> older = kind < 14 ? added.back() : added[random() % added.size()];
        std::shared_ptr<cTable> newer = addTable();
        if (kind == 19 && static_cast<int>(added.size()) < tables)
            older = addTable(); // two new tables: a new group
        if (kind == 18) {
            addTable(); // left unjoined: a cross join
            continue;
        }
        auto join = q->JoinConditions()->Add();
        const bool newOnLeft = random() % 2 == 0;
        join->setLeftTable(newOnLeft ? newer : older);
        join->setRightTable(newOnLeft ? older : newer);
        join->setBlnIncludeAllRowsOfLeftTable(random() % 2 == 0);
        join->setBlnIncludeAllRowsOfRightTable(random() % 2 == 0);
        join->setStrCondition("(" + older->strAlias() + ".ID = " + newer->strAlias() +
                              ".ParentID){newline}");
    }
    for (int s = 0; s < 6; ++s) {
        auto entry = q->OrderByItems()->Add();
        entry->setStrItem("V" + std::to_string(random() % (static_cast<unsigned>(tables) * 2)));
        entry->setStrSortOrder(s % 2 ? "DESC" : "");
    }
    q->Filters()->Add()->setStrCondition("SUM(T0.Value) > 0");
    q->Filters()->Add()->setStrCondition("T0.Value{newline}> 0");
    return q;
}

// A query of some hundred kilobytes whose texts are made of line breaks, typed line breaks and
// their fragments, so that runs of line breaks and tokens fall across items, clauses and every
// offset of the statement.
std::shared_ptr<cSQLQuery> brokenLinesQuery(uint32_t seed) {
    static constexpr std::array<const char*, 12> kPieces = {
        "{newline}", "{newline", "newline}", "{", "}", "\r\n",
        "\r\n\r\n",  "\r",       "\n",       "x", " ", "{newline}\r\n"};
    std::mt19937 random(seed);
    const auto text = [&] {
        std::string result;
        for (int n = static_cast<int>(random() % 5); n > 0; --n)
            result += kPieces[random() % kPieces.size()];
        return result;
    };
    auto q = std::make_shared<cSQLQuery>();
    std::shared_ptr<cTable> previous;
    for (int t = 0; t < 400; ++t) {
        auto table = q->Tables()->Add();
        table->setStrName("T" + std::to_string(t));
        if (previous) {
            auto join = q->JoinConditions()->Add();
            join->setLeftTable(t % 2 ? table : previous);
            join->setRightTable(t % 2 ? previous : table);
            join->setStrCondition(text() + "a = b" + text());
        }
        previous = table;
    }
    for (int i = 0; i < 3000; ++i) {
        auto item = q->SelectedItems()->Add();
        item->setStrName("T" + std::to_string(i % 400) + ".c" + std::to_string(i));
        if (random() % 9 == 0)
            item->setStrAggregationFunction(random() % 2 ? "SUM" : " ");
    }
    for (int i = 0; i < 1500; ++i) {
        auto item = q->CalculatedItems()->Add();
        item->setStrComputation(text() + (random() % 5 == 0 ? "MAX(y)" : "y") + text());
        item->setStrName(random() % 3 ? "" : "n" + std::to_string(i));
        auto filter = q->Filters()->Add();
        filter->setStrCondition(text() + (random() % 2 ? "SUM(z) > 1" : "z > 1") + text());
    }
    return q;
}

} // namespace

TEST(RenderingReference, LargeQueriesWithLineBreaksEverywhere) {
    for (uint32_t seed = 1; seed <= 3; ++seed) {
        const auto q = brokenLinesQuery(seed);
        ASSERT_GT(refSQL(*q).size(), 200'000u);
        expectSameRendering([seed] { return brokenLinesQuery(seed); },
                            "broken lines seed " + std::to_string(seed));
    }
}

TEST(RenderingReference, GeneratedQueries) {
    for (uint32_t seed = 1; seed <= 400; ++seed)
        expectSameRendering([seed] { return Generator(seed).query(0); },
                            "seed " + std::to_string(seed));
}

TEST(RenderingReference, LongChainsOfJoins) {
    for (uint32_t seed = 1; seed <= 6; ++seed)
        expectSameRendering([seed] { return chainQuery(seed, 300); },
                            "chain seed " + std::to_string(seed));
}

TEST(RenderingReference, ThreadsRenderingAtOnceKeepTheirWorkApart) {
    // Each thread renders its own queries (errors among them) over and over while the others do.
    constexpr int kThreads = 4;
    std::vector<std::vector<std::string>> expected(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        for (uint32_t seed = 1; seed <= 30; ++seed) {
            const uint32_t mixed = seed * kThreads + static_cast<uint32_t>(t);
            expected[t].push_back(outcome([&] { return refSQL(*Generator(mixed).query(0)); }));
            expected[t].push_back(refSQL(*chainQuery(mixed, 60)));
        }
    }
    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 5; ++round) {
                for (uint32_t seed = 1; seed <= 30; ++seed) {
                    const uint32_t mixed = seed * kThreads + static_cast<uint32_t>(t);
                    const size_t at = 2 * (seed - 1);
                    mismatches[t] += outcome([&] { return Generator(mixed).query(0)->strSQL(); }) !=
                                     expected[t][at];
                    mismatches[t] += chainQuery(mixed, 60)->strSQL() != expected[t][at + 1];
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
}

TEST(RenderingReference, ThreadsRenderingQueriesThatShareTablesAtOnceAgree) {
    // Every rendering notes on each table where it listed the table's names. The second query
    // joins the first one's table objects in the opposite order, so the two list the same tables
    // at other places; four threads render the two at once, and each must read back only what
    // it noted itself.
    for (uint32_t seed = 1; seed <= 3; ++seed) {
        const auto q = chainQuery(seed, 400);
        auto reversed = std::make_shared<cSQLQuery>();
        reversed->Tables()->Add()->setStrName("dbo.Extra");
        reversed->Tables()->Add()->setStrName("dbo.Other");
        reversed->SelectedItems()->Add()->setStrName("Extra.ID");
        for (long j = q->JoinConditions()->Count(); j >= 1; --j) {
            const cJoinCondition& from = *q->JoinConditions()->Item(j);
            auto join = reversed->JoinConditions()->Add();
            join->setLeftTable(from.LeftTable());
            join->setRightTable(from.RightTable());
            join->setBlnIncludeAllRowsOfLeftTable(from.blnIncludeAllRowsOfLeftTable());
            join->setBlnIncludeAllRowsOfRightTable(from.blnIncludeAllRowsOfRightTable());
            join->setStrCondition(from.strCondition());
        }
        const std::array<std::shared_ptr<cSQLQuery>, 2> queries = {q, reversed};
        const std::array<std::string, 2> expected = {outcome([&] { return refFrom(*q); }),
                                                     outcome([&] { return refFrom(*reversed); })};
        ASSERT_NE(expected[0], expected[1]);
        std::vector<int> mismatches(4, 0);
        std::latch start(4);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < mismatches.size(); ++t)
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                for (int round = 0; round < 50; ++round)
                    mismatches[t] +=
                        outcome([&] { return queries[t % 2]->strFrom(); }) != expected[t % 2];
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(mismatches, std::vector<int>(4, 0)) << "seed " << seed;
    }
}

TEST(RenderingReference, ATableJoinedInAQueryAndInItsSubQuery) {
    // The same table object is joined in the query and in the sub-query that the query uses as a
    // table; rendering the sub-query in the middle of the query's joins lists the table at
    // another place than the query does.
    const auto make = [](bool shared) {
        auto q = std::make_shared<cSQLQuery>();
        auto a = q->Tables()->Add();
        a->setStrName("dbo.A");
        auto s = q->Tables()->Add();
        s->setStrName("Inner");
        s->setStrAlias("S");
        s->setBlnIsSubQuery(true);
        auto c = q->Tables()->Add();
        c->setStrName("dbo.C");
        auto inner = std::make_shared<cSQLQuery>();
        inner->setBlnIsSubQuery(true);
        auto b = inner->Tables()->Add();
        b->setStrName("dbo.B");
        auto innerA = inner->Tables()->Add();
        innerA->setStrName("dbo.A");
        if (shared)
            innerA = a;
        auto innerJoin = inner->JoinConditions()->Add();
        innerJoin->setLeftTable(b);
        innerJoin->setRightTable(innerA);
        innerJoin->setStrCondition("B.ID = A.ID");
        inner->SelectedItems()->Add()->setStrName("B.ID");
        s->setSubQuery(inner);
        for (const auto& [left, right] : {std::pair{a, s}, std::pair{a, c}}) {
            auto join = q->JoinConditions()->Add();
            join->setLeftTable(left);
            join->setRightTable(right);
            join->setStrCondition(left->strAlias() + ".ID = " + right->strAlias() + ".ID");
        }
        q->SelectedItems()->Add()->setStrName("A.ID");
        return q;
    };
    const auto shared = make(true);
    const std::string expected = outcome([&] { return refFrom(*make(false)); });
    EXPECT_NE(expected.find("dbo.B AS B \r\n             INNER JOIN dbo.A AS A"), std::string::npos)
        << expected;
    EXPECT_EQ(outcome([&] { return shared->strFrom(); }), expected);
    EXPECT_EQ(outcome([&] { return shared->strFrom(); }), expected) << "second rendering";
    EXPECT_EQ(outcome([&] { return make(false)->strFrom(); }), expected);
}

TEST(RenderingReference, AggregateTestAndQuotingOnGeneratedTexts) {
    const std::array<const char*, 18> tokens = {"sum", "SUM", "Max", "var", "VARP", "stdev",
                                                " ",   "(",   ")",   ".",   "[",    "]",
                                                "x",   "a b", "\t",  "co",  "unt",  "MY"};
    std::mt19937 random(7);
    int aggregates = 0, bracketed = 0;
    for (int i = 0; i < 5000; ++i) {
        std::string text;
        for (int n = static_cast<int>(random() % 7); n > 0; --n)
            text += tokens[random() % tokens.size()];
        const bool aggregate = refContainsAggregate(text);
        EXPECT_EQ(ContainsAggregateFunction(text), aggregate) << "\"" << text << "\"";
        const std::string quoted = refQuoteIdentifier(text);
        EXPECT_EQ(QuoteIdentifier(text), quoted) << "\"" << text << "\"";
        aggregates += aggregate ? 1 : 0;
        bracketed += quoted.size() > Trim(text).size() ? 1 : 0;
    }
    EXPECT_GT(aggregates, 100);
    EXPECT_GT(bracketed, 200);
}

TEST(RenderingReference, GeneratedQueriesCoverTheCases) {
    // The generated queries must reach what the comparison is meant to cover.
    int errors = 0, staleSorts = 0, subQueries = 0, crossJoins = 0, having = 0, rightChains = 0;
    for (uint32_t seed = 1; seed <= 400; ++seed) {
        auto q = Generator(seed).query(0);
        const long sortsBefore = q->OrderByItems()->Count();
        for (const auto& table : *q->Tables())
            subQueries += table->blnIsSubQuery() ? 1 : 0;
        const std::string sql = outcome([&] { return q->strSQL(); });
        errors += sql.rfind("ModelError", 0) == 0 ? 1 : 0;
        staleSorts += q->OrderByItems()->Count() < sortsBefore ? 1 : 0;
        crossJoins += sql.find("CROSS JOIN") != std::string::npos ? 1 : 0;
        having += sql.find("HAVING") != std::string::npos ? 1 : 0;
        // A join whose right side is the chain so far: "JOIN <table> \r\n" (the chain follows).
        for (size_t pos = sql.find("JOIN "); pos != std::string::npos;
             pos = sql.find("JOIN ", pos + 1)) {
            const size_t lineEnd = sql.find("\r\n", pos);
            if (lineEnd != std::string::npos && sql[lineEnd - 1] == ' ') {
                ++rightChains;
                break;
            }
        }
    }
    EXPECT_GT(errors, 10);
    EXPECT_LT(errors, 200);
    EXPECT_GT(staleSorts, 20);
    EXPECT_GT(subQueries, 20);
    EXPECT_GT(crossJoins, 20);
    EXPECT_GT(having, 20);
    EXPECT_GT(rightChains, 3);
}
