#include "marovin/cSQLQuery.h"

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace marovin {

namespace {

constexpr std::string_view kItemIndent = "     ";

// The names of the tables met while rendering FROM, each table's name rendered once (a sub-query
// table renders its whole statement for it).
class TableNameCache {
public:
    struct Names {
        std::string full;         // As written in FROM.
        std::string_view trimmed; // Within full, without surrounding blanks (the join chain's).
        std::string folded;       // The trimmed name folded for comparison without regard to case.
        bool joined = false;      // Named by a join: trimmed and folded are set.
    };

    explicit TableNameCache(size_t expected) { m_names.reserve(expected); }

    const Names& Of(const cTable& table) { return entry(table); }
    // The names of a join's table. Throws ModelError when the join has no table on that side.
    const Names& OfJoin(const std::shared_ptr<cTable>& table, const char* side) {
        if (!table)
            throw ModelError(std::string("A join has no ") + side + " table");
        Names& names = entry(*table);
        if (!names.joined) {
            const std::string_view full = names.full;
            const auto first = full.find_first_not_of(' ');
            names.trimmed = first == std::string_view::npos
                                ? std::string_view()
                                : full.substr(first, full.find_last_not_of(' ') - first + 1);
            names.folded = FoldKey(std::string(names.trimmed));
            names.joined = true;
        }
        return names;
    }

private:
    Names& entry(const cTable& table) {
        auto it = m_names.find(&table);
        if (it == m_names.end())
            it = m_names.emplace(&table, Names{table.strFullTableName(), {}, {}, false}).first;
        return it->second;
    }
    // Node-based, so the names stay where they are while the map grows.
    std::unordered_map<const cTable*, Names> m_names;
};

// A set of folded names that refuses a name given twice, like the keyed collections.
class NameSet {
public:
    explicit NameSet(size_t expected) { m_names.reserve(expected); }
    bool Contains(std::string_view folded) const { return m_names.count(folded) != 0; }
    void Add(std::string_view folded, std::string_view name) {
        if (!m_names.insert(folded).second)
            throw ModelError("Duplicate key \"" + std::string(name) +
                             "\": the key is already in use");
    }

private:
    std::unordered_set<std::string_view> m_names;
};

// Replaces every typed line break token by a blank, then collapses each run of line breaks to
// one, in place and in one pass: the text written so far is already collapsed, so a line break
// that lands right after another is taken back. The text between a "{" and a line feed is moved
// as one block.
void finishStatementText(std::string& text) {
    char* data = text.data();
    const size_t size = text.size();
    const auto next = [&](char c, size_t from) {
        const void* found = from < size ? std::memchr(data + from, c, size - from) : nullptr;
        return found ? static_cast<size_t>(static_cast<const char*>(found) - data) : size;
    };
    size_t nextBrace = next('{', 0);
    size_t nextFeed = next('\n', 0);
    size_t write = 0;
    size_t read = 0;
    while (true) {
        const size_t stop = std::min(nextBrace, nextFeed);
        if (stop > read) {
            if (write != read)
                std::memmove(data + write, data + read, stop - read);
            write += stop - read;
            read = stop;
        }
        if (read == size)
            break;
        if (read == nextBrace) {
            // The token holds no line feed and no other "{", so skipping it passes neither.
            if (std::string_view(data + read, size - read).starts_with(kNewlineToken)) {
                data[write++] = ' ';
                read += kNewlineToken.size();
            } else {
                data[write++] = '{';
                ++read;
            }
            nextBrace = next('{', read);
        } else {
            data[write++] = '\n';
            ++read;
            if (write >= 4 && data[write - 2] == '\r' && data[write - 3] == '\n' &&
                data[write - 4] == '\r')
                write -= 2;
            nextFeed = next('\n', read);
        }
    }
    text.resize(write);
}

// The most that quoting a name can make of it: brackets around each dot-separated piece.
size_t quotedSizeBound(const std::string& name) {
    return name.size() + 2 + 2 * static_cast<size_t>(std::count(name.begin(), name.end(), '.'));
}

// The size of a statement, estimated from above from the parts it is made of (a sub-query
// table's own statement and a join chain that repeats itself are left out), so that the text is
// written without being moved as it grows. Room that stays unused is never touched.
size_t statementSizeBound(const cSQLQuery& query) {
    constexpr size_t kLineStart = 9; // ", " or "," with a line break and the indent.
    size_t size = 64;
    for (const auto& item : *query.SelectedItems()) {
        const size_t name = quotedSizeBound(item->strName());
        size += item->strAggregationFunction().size() + 2 + name + 4 +
                quotedSizeBound(item->strAlias()) + kLineStart; // SELECT
        size += name + kLineStart;                              // GROUP BY
    }
    for (const auto& item : *query.CalculatedItems())
        size += item->strName().size() + 4 + 2 * (item->strComputation().size() + kLineStart);
    for (const auto& table : *query.Tables())
        size += quotedSizeBound(table->strName()) + 4 + quotedSizeBound(table->strAlias()) + 20;
    for (const auto& join : *query.JoinConditions())
        size += join->strCondition().size() + 40;
    for (const auto& filter : *query.Filters())
        size += filter->strCondition().size() + 10;
    for (const auto& entry : *query.OrderByItems())
        size += entry->strItem().size() + 1 + entry->strSortOrder().size() + kLineStart;
    return size;
}

const char* joinKeyword(const cJoinCondition& join) {
    const bool left = join.blnIncludeAllRowsOfLeftTable();
    const bool right = join.blnIncludeAllRowsOfRightTable();
    if (left && right)
        return "     FULL OUTER JOIN";
    if (left)
        return "     LEFT OUTER JOIN";
    if (right)
        return "     RIGHT OUTER JOIN";
    return "     INNER JOIN";
}

} // namespace

cSQLQuery::cSQLQuery() {
    Clear();
    m_blnUniqueRecordsOnly = false;
    m_blnIsSubQuery = false;
}

void cSQLQuery::Clear() {
    m_SelectedItems = std::make_shared<cSelectedItems>();
    m_Tables = std::make_shared<cTables>();
    m_CalculatedItems = std::make_shared<cCalculatedItems>();
    m_JoinConditions = std::make_shared<cJoinConditions>();
    m_Filters = std::make_shared<cFilters>();
    m_OrderByItems = std::make_shared<cOrderByItems>();
}

std::string cSQLQuery::strSelect() const {
    std::string text;
    appendSelect(text);
    return text;
}

void cSQLQuery::appendSelect(std::string& out) const {
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return;
    out += "SELECT";
    if (m_blnUniqueRecordsOnly)
        out += " DISTINCT";
    out += kCrLf;
    bool first = true;
    auto add = [&](const std::string& piece) {
        if (first) {
            first = false;
        } else {
            out += ", ";
            out += kCrLf;
        }
        out += kItemIndent;
        out += piece;
    };
    for (const auto& item : *m_SelectedItems)
        add(item->strFullFieldName());
    for (const auto& item : *m_CalculatedItems)
        add(item->strFullName());
}

void cSQLQuery::appendFilters(std::string& out, const char* keyword, bool aggregated) const {
    const size_t start = out.size();
    bool any = false;
    for (const auto& filter : *m_Filters) {
        if (!filter->blnIsActive() ||
            ContainsAggregateFunction(filter->strCondition()) != aggregated)
            continue;
        if (!any) {
            out += keyword;
            out += kCrLf;
            out += "      ";
            any = true;
        } else {
            out += kCrLf;
            out += "  AND ";
        }
        out += '(';
        out += filter->strCondition();
        out += ')';
    }
    if (!any)
        out.resize(start);
}

std::string cSQLQuery::strWhere() const {
    std::string text;
    appendFilters(text, "WHERE", false);
    return text;
}

std::string cSQLQuery::strHaving() const {
    std::string text;
    appendFilters(text, "HAVING", true);
    return text;
}

std::string cSQLQuery::strGroupBy() const {
    std::string text;
    appendGroupBy(text);
    return text;
}

void cSQLQuery::appendGroupBy(std::string& out) const {
    bool needed = false;
    for (const auto& item : *m_SelectedItems) {
        if (!item->strAggregationFunction().empty()) {
            needed = true;
            break;
        }
    }
    if (!needed) {
        for (const auto& item : *m_CalculatedItems) {
            if (ContainsAggregateFunction(item->strComputation())) {
                needed = true;
                break;
            }
        }
    }
    if (!needed)
        return;
    const size_t start = out.size();
    out += "GROUP BY";
    out += kCrLf;
    out += kItemIndent;
    const size_t listStart = out.size();
    // Like AppendWithSeparator: the separator goes before every piece once the list holds text,
    // so empty pieces at the start of the list leave no trace.
    auto add = [&](std::string_view piece) {
        if (out.size() != listStart) {
            out += ',';
            out += kCrLf;
            out += kItemIndent;
        }
        out += piece;
    };
    for (const auto& item : *m_SelectedItems) {
        if (item->strAggregationFunction().empty())
            add(QuoteIdentifier(item->strName()));
    }
    for (const auto& item : *m_CalculatedItems) {
        if (!ContainsAggregateFunction(item->strComputation()))
            add(item->strComputation());
    }
    if (out.size() == listStart)
        out.resize(start);
}

std::string cSQLQuery::strOrderBy() {
    std::string text;
    appendOrderBy(text);
    return text;
}

void cSQLQuery::appendOrderBy(std::string& out) {
    if (m_OrderByItems->Count() == 0)
        return;
    // The names the entries ask for, each marked once an output answers to it (a selected item
    // by name or alias, a calculated item by name; exact comparison). The outputs are read once,
    // and no further than needed to answer every name.
    std::unordered_map<std::string_view, bool> answered;
    for (const auto& entry : *m_OrderByItems)
        answered.emplace(entry->strItem(), false);
    size_t open = answered.size();
    const auto answer = [&](std::string_view name) {
        const auto it = answered.find(name);
        if (it != answered.end() && !it->second) {
            it->second = true;
            --open;
        }
    };
    // The calculated items first: they are fewer, and their names cost nothing to read.
    for (const auto& item : *m_CalculatedItems) {
        if (open == 0)
            break;
        answer(item->strName());
    }
    for (const auto& item : *m_SelectedItems) {
        if (open == 0)
            break;
        answer(item->strName());
        answer(item->strAlias());
    }

    const size_t start = out.size();
    out += "ORDER BY";
    out += kCrLf;
    out += kItemIndent;
    bool first = true;
    // Walking from the last entry to the first is what puts the sort entries into the statement
    // in reverse order.
    for (auto it = m_OrderByItems->end(); it != m_OrderByItems->begin();) {
        const cOrderByItem& entry = **--it;
        const std::string& name = entry.strItem();
        if (!answered.find(name)->second)
            continue;
        if (!first) {
            out += ',';
            out += kCrLf;
            out += kItemIndent;
        }
        out += name;
        if (!name.empty())
            out += ' ';
        out += entry.strSortOrder();
        first = false;
    }
    if (first)
        out.resize(start);
    // Entries that name no output any more are dropped from the query.
    if (open != 0) {
        m_OrderByItems->RemoveIf([&answered](const std::shared_ptr<cOrderByItem>& entry) {
            return !answered.find(entry->strItem())->second;
        });
    }
}

std::string cSQLQuery::strFrom() const {
    std::string text;
    appendFrom(text);
    return text;
}

void cSQLQuery::appendFrom(std::string& out) const {
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return;
    if (m_Tables->Count() == 0)
        return;
    if (m_Tables->Count() == 1) {
        out += "FROM ";
        out += kCrLf;
        out += kItemIndent;
        out += m_Tables->Item(1)->strFullTableName();
        return;
    }

    // The chain of joins as a list of pieces. A join that continues the chain on its left side
    // extends it at the end; one that continues it on its right side wraps it (its left table and
    // keyword go in front, its condition after); one that meets the chain on neither side starts
    // a new chain, and one that meets it on both sides repeats it. Keeping pieces instead of text
    // means that wrapping never copies the chain.
    const size_t joinCount = static_cast<size_t>(m_JoinConditions->Count());
    TableNameCache names(static_cast<size_t>(m_Tables->Count()) + 2 * joinCount);
    std::deque<std::string_view> chain;
    NameSet seen(2 * joinCount);
    for (const auto& join : *m_JoinConditions) {
        const auto& left = names.OfJoin(join->LeftTable(), "left");
        const auto& right = names.OfJoin(join->RightTable(), "right");
        const std::string_view leftName = left.trimmed;
        const std::string_view rightName = right.trimmed;

        const bool leftIsChain = !chain.empty() && seen.Contains(left.folded);
        if (!leftIsChain)
            seen.Add(left.folded, leftName);
        const bool rightIsChain = !chain.empty() && seen.Contains(right.folded);
        if (!rightIsChain)
            seen.Add(right.folded, rightName);

        const std::string_view head[] = {" \r\n", joinKeyword(*join), " "};
        const std::string_view tail[] = {"\r\n     ON ", join->strCondition()};
        if (leftIsChain && rightIsChain) {
            const std::vector<std::string_view> copy(chain.begin(), chain.end());
            chain.insert(chain.end(), std::begin(head), std::end(head));
            chain.insert(chain.end(), copy.begin(), copy.end());
        } else if (leftIsChain) {
            chain.insert(chain.end(), std::begin(head), std::end(head));
            chain.push_back(rightName);
        } else if (rightIsChain) {
            chain.insert(chain.begin(), std::begin(head), std::end(head));
            chain.push_front(leftName);
        } else {
            chain.clear();
            chain.push_back(leftName);
            chain.insert(chain.end(), std::begin(head), std::end(head));
            chain.push_back(rightName);
        }
        chain.insert(chain.end(), std::begin(tail), std::end(tail));
    }

    size_t length = 0;
    for (const auto piece : chain)
        length += piece.size();
    if (out.capacity() < out.size() + length + 16)
        out.reserve(out.size() + length + 16);
    out += "FROM";
    out += kCrLf;
    out += kItemIndent;
    for (const auto piece : chain)
        out += piece;

    // Tables named in no join follow as cross joins. A table of a join is named by it; any other
    // table is looked up by its name among the joins' tables, whose names are gathered only when
    // such a table exists.
    std::unordered_set<std::string_view> joinedNames;
    bool gathered = false;
    long counter = m_JoinConditions->Count();
    for (const auto& table : *m_Tables) {
        const auto& tableNames = names.Of(*table);
        if (tableNames.joined)
            continue;
        if (!gathered) {
            joinedNames.reserve(2 * joinCount);
            for (const auto& join : *m_JoinConditions) {
                joinedNames.insert(names.Of(*join->LeftTable()).full);
                joinedNames.insert(names.Of(*join->RightTable()).full);
            }
            gathered = true;
        }
        if (joinedNames.count(tableNames.full) != 0)
            continue;
        if (counter != 0) {
            out += kCrLf;
            out += kItemIndent;
            out += "CROSS JOIN ";
        }
        out += tableNames.full;
        ++counter;
    }
}

std::string cSQLQuery::strSQL() {
    // The clauses go into one text, separated by line breaks (an empty clause still adds its
    // break once there is text); then one pass turns typed line breaks into blanks and collapses
    // repeated line breaks.
    std::string text;
    text.reserve(statementSizeBound(*this));
    appendSelect(text);
    const auto nextClause = [&text] {
        if (!text.empty())
            text += kCrLf;
    };
    nextClause();
    appendFrom(text);
    nextClause();
    appendFilters(text, "WHERE", false);
    nextClause();
    appendGroupBy(text);
    nextClause();
    appendFilters(text, "HAVING", true);
    nextClause();
    appendOrderBy(text);
    finishStatementText(text);
    return text;
}

} // namespace marovin
