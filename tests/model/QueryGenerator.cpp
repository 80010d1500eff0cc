#include "QueryGenerator.h"

#include <marovin/Utilities.h>
#include <marovin/cSQLQuery.h>
#include <set>

namespace marovin {

namespace {

constexpr const char* kSchemas[] = {"", "dbo.", "Sales.", "[my schema]."};
constexpr const char* kTables[] = {"Orders",   "Customers", "Order Details", "Employees", "Größe",
                                   "Products", "x_1",       "[Order]",       "[Group By]"};
constexpr const char* kTableAliases[] = {"o", "c", "Order Lines", "[Select]", "od", "E1"};
constexpr const char* kColumns[] = {"OrderID",  "Unit Price", "Freight", "[Order]",
                                    "ShipCity", "Größe",      "x_1"};
constexpr const char* kAggregations[] = {"SUM",   "COUNT", "MAX", "MIN", "AVG",
                                         "STDEV", "VAR",   "sum", " "};
constexpr const char* kAggregatedCalls[] = {"SUM(", "MAX(", "MIN(", "AVG(", "sum("};
constexpr const char* kItemAliases[] = {"Total",   "Product Name", "[Net]",  "x",
                                        "Freight", "Größe",        "[Order]"};
constexpr const char* kCalculatedNames[] = {"Calc", "[Net Total]", "Discounted", "x2", "Größe"};
constexpr const char* kLiterals[] = {"1",          "2.5", "100",      "'Graz'",         "N'Müller'",
                                     "'O''Brien'", "''",  "<[Year]>", "<[Start Date]>", "NULL",
                                     "GETDATE()",  "@p"};
constexpr const char* kArithmetic[] = {"+", "-", "*", "/", "%"};
constexpr const char* kComparisons[] = {"=", "<>", "<", ">=", "!="};
constexpr const char* kSortOrders[] = {"", "ASC", "DESC"};

// A name that the statement may sort on as the model writes it: one that reads as a name.
bool sortable(const std::string& name) {
    if (name.empty() || name == "*" || name.ends_with(".*") || Trim(name) != name)
        return false;
    return QuoteIdentifier(name) == name;
}

} // namespace

QueryGenerator::QueryGenerator(std::function<size_t(size_t)> below) : m_below(std::move(below)) {}

std::shared_ptr<cSQLQuery> QueryGenerator::Generate() {
    return query(false);
}

std::string QueryGenerator::gap() {
    switch (m_below(40)) {
    case 0:
    case 1:
        return "{newline}";
    case 2:
        return " {newline} ";
    case 3:
        return "\r\n     ";
    case 4:
        return " /* note */ ";
    default:
        return " ";
    }
}

std::string QueryGenerator::column(const Scope& scope) {
    std::string name = pick(kColumns);
    if (name.find(' ') != std::string::npos)
        name = "[" + name + "]";
    if (scope.qualifiers.empty() || chance(15))
        return name;
    return scope.qualifiers[m_below(scope.qualifiers.size())] + "." + name;
}

std::string QueryGenerator::expression(const Scope& scope, int depth, bool aggregate) {
    const size_t choice = depth > 2 ? m_below(2) : m_below(aggregate ? 9 : 8);
    switch (choice) {
    case 0:
        return column(scope);
    case 1:
        return pick(kLiterals);
    case 2:
        return expression(scope, depth + 1, aggregate) + gap() + pick(kArithmetic) + gap() +
               expression(scope, depth + 1, aggregate);
    case 3:
        return "(" + expression(scope, depth + 1, aggregate) + ")";
    case 4: {
        const std::string inner = expression(scope, depth + 1, aggregate);
        switch (m_below(6)) {
        case 0:
            return "UPPER(" + inner + ")";
        case 1:
            return "COALESCE(" + inner + "," + gap() + expression(scope, depth + 1, aggregate) +
                   ")";
        case 2:
            return "LEFT(" + inner + ", 3)";
        case 3:
            return "CAST(" + inner + gap() + "AS int)";
        case 4:
            return "CONVERT(varchar(10), " + inner + ")";
        default:
            return "ISNULL(" + inner + ", 0)";
        }
    }
    case 5:
        return "CASE WHEN" + gap() + condition(scope, depth + 1, aggregate) + " THEN " +
               expression(scope, depth + 1, aggregate) + gap() + "ELSE " +
               expression(scope, depth + 1, aggregate) + " END";
    case 6:
        return "(SELECT TOP 1 x FROM dbo.T WHERE y = 1)";
    case 7:
        return column(scope) + " COLLATE Latin1_General_CI_AS";
    default:
        switch (m_below(4)) {
        case 0:
            return "COUNT(*)";
        case 1:
            return "count ( * )";
        case 2:
            return "COUNT(DISTINCT " + column(scope) + ")";
        default:
            return pick(kAggregatedCalls) + expression(scope, depth + 1, false) + ")";
        }
    }
}

std::string QueryGenerator::condition(const Scope& scope, int depth, bool aggregate) {
    const size_t choice = depth > 2 ? 0 : m_below(9);
    switch (choice) {
    case 0:
        return expression(scope, depth + 1, aggregate) + gap() + pick(kComparisons) + gap() +
               expression(scope, depth + 1, aggregate);
    case 1:
        return column(scope) + " BETWEEN " + pick(kLiterals) + " AND " + pick(kLiterals);
    case 2:
        return column(scope) + gap() + "IN (1, 2," + gap() + "3)";
    case 3:
        return column(scope) + " LIKE 'A%'";
    case 4:
        return column(scope) + " IS NOT NULL";
    case 5:
        return "NOT (" + condition(scope, depth + 1, aggregate) + ")";
    case 6:
        return "EXISTS (SELECT 1 FROM dbo.T AS t WHERE t.x = 1)";
    case 7:
        return condition(scope, depth + 1, aggregate) + gap() + "AND" + gap() +
               condition(scope, depth + 1, aggregate);
    default:
        return "(" + condition(scope, depth + 1, aggregate) + gap() + "OR" + gap() +
               condition(scope, depth + 1, aggregate) + ")";
    }
}

std::shared_ptr<cSQLQuery> QueryGenerator::query(bool isSubQuery) {
    auto result = std::make_shared<cSQLQuery>();
    if (isSubQuery)
        result->setBlnIsSubQuery(true);
    else
        result->setStrName("Query " + std::to_string(++m_counter));
    result->setBlnUniqueRecordsOnly(chance(20));
    Scope scope;

    // Tables, each written under a name of its own.
    std::set<std::string> fullNames;
    const size_t tableCount = m_below(isSubQuery ? 3 : 5);
    bool hasSubQuery = false;
    for (size_t i = 0; i < tableCount; ++i) {
        auto table = result->Tables()->Add();
        if (!isSubQuery && !hasSubQuery && chance(12)) {
            hasSubQuery = true;
            auto subQuery = query(true);
            const std::string alias = "S" + std::to_string(++m_counter);
            subQuery->setStrName(alias);
            table->setBlnIsSubQuery(true);
            table->setStrName(alias);
            table->setStrAlias(alias);
            table->setSubQuery(subQuery);
            result->setSubQuery(subQuery);
        } else {
            table->setStrName(std::string(pick(kSchemas)) + pick(kTables));
            if (chance(50))
                table->setStrAlias(pick(kTableAliases));
        }
        while (!fullNames.insert(FoldKey(Trim(table->strFullTableName()))).second)
            table->setStrAlias("t" + std::to_string(++m_counter));
        scope.qualifiers.push_back(QuoteIdentifier(table->strAlias()));
    }

    // Joins in any order; the first joins two tables of their own.
    const long tables = result->Tables()->Count();
    if (tables >= 2 && chance(75)) {
        const size_t joinCount = 1 + m_below(static_cast<size_t>(tables) + 1);
        for (size_t i = 0; i < joinCount; ++i) {
            const long left = 1 + static_cast<long>(m_below(static_cast<size_t>(tables)));
            long right = 1 + static_cast<long>(m_below(static_cast<size_t>(tables)));
            if (i == 0 && right == left)
                right = left % tables + 1;
            auto join = result->JoinConditions()->Add();
            join->setLeftTable(result->Tables()->Item(left));
            join->setRightTable(result->Tables()->Item(right));
            join->setBlnIncludeAllRowsOfLeftTable(chance(30));
            join->setBlnIncludeAllRowsOfRightTable(chance(20));
            const std::string leftName = QuoteIdentifier(join->LeftTable()->strAlias());
            const std::string rightName = QuoteIdentifier(join->RightTable()->strAlias());
            std::string text = leftName + ".OrderID" + gap() + "=" + gap() + rightName + ".OrderID";
            if (chance(30))
                text += " AND " + condition(scope, 1, false);
            join->setStrCondition(chance(40) ? "(" + text + ")" : text);
        }
    }

    // Selected columns, then calculated items; a query now and then selects nothing.
    const bool selectsNothing = !isSubQuery && chance(5);
    const size_t selectedCount = selectsNothing ? 0 : m_below(5);
    for (size_t i = 0; i < selectedCount; ++i) {
        auto item = result->SelectedItems()->Add();
        std::string name;
        const size_t shape = m_below(20);
        if (shape == 0) {
            name = "*";
        } else {
            if (!scope.qualifiers.empty() && chance(85))
                name = result->Tables()
                           ->Item(1 + static_cast<long>(
                                          m_below(static_cast<size_t>(result->Tables()->Count()))))
                           ->strAlias() +
                       ".";
            name += shape == 1 && !name.empty() ? std::string("*") : std::string(pick(kColumns));
        }
        if (chance(35))
            item->setStrAlias(pick(kItemAliases));
        item->setStrName(name);
        if (name == "*")
            item->setStrAggregationFunction(chance(50) ? "COUNT" : "");
        else if (!name.ends_with("*") && chance(30))
            item->setStrAggregationFunction(pick(kAggregations));
        if (sortable(item->strName()))
            scope.outputNames.push_back(item->strName());
        if (sortable(item->strAlias()))
            scope.outputNames.push_back(item->strAlias());
    }
    const size_t calculatedCount =
        selectsNothing ? 0 : m_below(selectedCount == 0 ? 3 : 4) + (selectedCount == 0 ? 1 : 0);
    for (size_t i = 0; i < calculatedCount; ++i) {
        auto item = result->CalculatedItems()->Add();
        item->setStrComputation(expression(scope, 0, chance(30)));
        if (chance(80))
            item->setStrName(pick(kCalculatedNames));
        if (sortable(item->strName()))
            scope.outputNames.push_back(item->strName());
    }

    const size_t filterCount = m_below(5);
    for (size_t i = 0; i < filterCount; ++i) {
        auto filter = result->Filters()->Add();
        std::string text = condition(scope, 0, chance(25));
        if (chance(15))
            text = " " + text + " ";
        filter->setStrCondition(text);
        filter->setBlnIsActive(chance(80));
    }

    const size_t sortCount = m_below(4);
    for (size_t i = 0; i < sortCount; ++i) {
        auto entry = result->OrderByItems()->Add();
        entry->setStrItem(scope.outputNames.empty() || chance(10)
                              ? std::string("Removed")
                              : scope.outputNames[m_below(scope.outputNames.size())]);
        entry->setStrSortOrder(pick(kSortOrders));
    }
    return result;
}

} // namespace marovin
