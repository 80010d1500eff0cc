#include "marovin/cSQLQuery.h"

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"

#include <unordered_set>

namespace marovin {

namespace {

constexpr std::string_view kItemIndent = "     ";

std::string tableOfJoin(const std::shared_ptr<cTable>& table, const char* side) {
    if (!table)
        throw ModelError(std::string("A join has no ") + side + " table");
    return table->strFullTableName();
}

// A set of names compared without regard to letter case that refuses a name given twice, like
// the keyed collections.
class NameSet {
public:
    bool Contains(const std::string& name) const { return m_names.count(FoldKey(name)) != 0; }
    void Add(const std::string& name) {
        if (!m_names.insert(FoldKey(name)).second)
            throw ModelError("Duplicate key \"" + name + "\": the key is already in use");
    }

private:
    std::unordered_set<std::string> m_names;
};

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
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return {};
    std::string result = "SELECT";
    if (m_blnUniqueRecordsOnly)
        result += " DISTINCT";
    result += kCrLf;
    bool first = true;
    auto add = [&](const std::string& piece) {
        if (first) {
            result += kItemIndent;
            first = false;
        } else {
            result += ", ";
            result += kCrLf;
            result += kItemIndent;
        }
        result += piece;
    };
    for (const auto& item : *m_SelectedItems)
        add(item->strFullFieldName());
    for (const auto& item : *m_CalculatedItems)
        add(item->strFullName());
    return result;
}

std::string cSQLQuery::filterClause(const char* keyword, bool aggregated) const {
    if (m_Filters->Count() == 0)
        return {};
    std::string result = keyword;
    result += kCrLf;
    bool any = false;
    for (const auto& filter : *m_Filters) {
        if (!filter->blnIsActive() ||
            ContainsAggregateFunction(filter->strCondition()) != aggregated)
            continue;
        if (!any) {
            result += "      ";
            any = true;
        } else {
            result += kCrLf;
            result += "  AND ";
        }
        result += "(" + filter->strCondition() + ")";
    }
    return any ? result : std::string();
}

std::string cSQLQuery::strWhere() const {
    return filterClause("WHERE", false);
}

std::string cSQLQuery::strHaving() const {
    return filterClause("HAVING", true);
}

std::string cSQLQuery::strGroupBy() const {
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
        return {};
    const std::string separator = std::string(",") + std::string(kCrLf) + std::string(kItemIndent);
    std::string list;
    for (const auto& item : *m_SelectedItems) {
        if (item->strAggregationFunction().empty())
            AppendWithSeparator(list, QuoteIdentifier(item->strName()), separator);
    }
    for (const auto& item : *m_CalculatedItems) {
        if (!ContainsAggregateFunction(item->strComputation()))
            AppendWithSeparator(list, item->strComputation(), separator);
    }
    if (list.empty())
        return {};
    return "GROUP BY" + std::string(kCrLf) + std::string(kItemIndent) + list;
}

std::string cSQLQuery::strOrderBy() {
    if (m_OrderByItems->Count() == 0)
        return {};
    std::string result = "ORDER BY" + std::string(kCrLf) + std::string(kItemIndent);
    bool first = true;
    // Walking from the last entry to the first is what puts the sort entries into the statement
    // in reverse order; entries that name no output any more are dropped from the query.
    for (long pos = m_OrderByItems->Count(); pos >= 1; --pos) {
        const auto entry = m_OrderByItems->Item(pos);
        const std::string& name = entry->strItem();
        bool found = false;
        for (const auto& item : *m_SelectedItems) {
            if (item->strName() == name || item->strAlias() == name) {
                found = true;
                break;
            }
        }
        if (!found) {
            for (const auto& item : *m_CalculatedItems) {
                if (item->strName() == name) {
                    found = true;
                    break;
                }
            }
        }
        if (!found) {
            m_OrderByItems->Remove(pos);
            continue;
        }
        std::string piece = name;
        AppendWithSeparator(piece, entry->strSortOrder(), " ");
        if (!first) {
            result += ",";
            result += kCrLf;
            result += kItemIndent;
        }
        result += piece;
        first = false;
    }
    return first ? std::string() : result;
}

std::string cSQLQuery::joinChain() const {
    std::string chain;
    NameSet seen;
    for (const auto& join : *m_JoinConditions) {
        const std::string leftName = Trim(tableOfJoin(join->LeftTable(), "left"));
        const std::string rightName = Trim(tableOfJoin(join->RightTable(), "right"));

        const bool leftIsChain = !chain.empty() && seen.Contains(leftName);
        if (!leftIsChain)
            seen.Add(leftName);
        const bool rightIsChain = !chain.empty() && seen.Contains(rightName);
        if (!rightIsChain)
            seen.Add(rightName);

        // Each join replaces the chain: the previous chain survives only where one of the join's
        // tables was seen before. Appending in place keeps a long chain of joins linear.
        std::string tail = " ";
        tail += kCrLf;
        tail += joinKeyword(*join);
        tail += " ";
        tail += rightIsChain ? chain : rightName;
        tail += kCrLf;
        tail += "     ON ";
        tail += join->strCondition();
        if (leftIsChain)
            chain += tail;
        else
            chain = leftName + tail;
    }
    return chain;
}

std::string cSQLQuery::strFrom() const {
    if (m_SelectedItems->Count() == 0 && m_CalculatedItems->Count() == 0)
        return {};
    if (m_Tables->Count() == 0)
        return {};
    if (m_Tables->Count() == 1) {
        return "FROM " + std::string(kCrLf) + std::string(kItemIndent) +
               m_Tables->Item(1)->strFullTableName();
    }
    std::string result = "FROM" + std::string(kCrLf) + std::string(kItemIndent) + joinChain();

    std::unordered_set<std::string> joinedNames;
    for (const auto& join : *m_JoinConditions) {
        joinedNames.insert(tableOfJoin(join->LeftTable(), "left"));
        joinedNames.insert(tableOfJoin(join->RightTable(), "right"));
    }
    long counter = m_JoinConditions->Count();
    for (const auto& table : *m_Tables) {
        const std::string fullName = table->strFullTableName();
        if (joinedNames.count(fullName) != 0)
            continue;
        if (counter == 0) {
            result += fullName;
        } else {
            result += kCrLf;
            result += kItemIndent;
            result += "CROSS JOIN " + fullName;
        }
        ++counter;
    }
    return result;
}

std::string cSQLQuery::strSQL() {
    std::string result = strSelect();
    AppendWithSeparator(result, strFrom(), kCrLf);
    AppendWithSeparator(result, strWhere(), kCrLf);
    AppendWithSeparator(result, strGroupBy(), kCrLf);
    AppendWithSeparator(result, strHaving(), kCrLf);
    AppendWithSeparator(result, strOrderBy(), kCrLf);
    result = ReplaceAll(result, kNewlineToken, " ");
    return CollapseRepeatedSeparator(std::move(result), kCrLf);
}

} // namespace marovin
