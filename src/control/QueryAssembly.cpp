// Rebuilds the control's query from the panes and returns its SQL text.

#include "SelectedItemsModel.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/uscMarovin.h"

#include <QCheckBox>
#include <QTreeWidget>
#include <algorithm>
#include <unordered_map>

namespace marovin {

namespace {

struct JoinFlags {
    bool left;
    bool right;
};

// A name the panes hold, as the statement needs it. The model brackets a part with blanks by
// itself; a keyword (Order, Group) or a part with other characters (a hyphen, a quote, a "]", a
// dot) is bracketed here, so that the statement runs. Other names are handed on unchanged.
std::string sqlPart(const std::string& name) {
    const std::string trimmed = Trim(name);
    if (!NeedsBrackets(trimmed))
        return name;
    const bool modelBracketsIt =
        trimmed.find(' ') != std::string::npos && trimmed.find_first_of(".[]") == std::string::npos;
    return modelBracketsIt ? name : BracketIdentifier(trimmed);
}

// A catalogue name, schema "." table; the first dot separates the two.
std::string sqlTableName(const std::string& name) {
    const auto dot = name.find('.');
    if (dot == std::string::npos)
        return sqlPart(name);
    return sqlPart(name.substr(0, dot)) + "." + sqlPart(name.substr(dot + 1));
}

JoinFlags flagsOf(const std::string& typeName) {
    if (typeName == "Left Join")
        return {true, false};
    if (typeName == "Right Join")
        return {false, true};
    if (typeName == "Full Join")
        return {true, true};
    return {false, false};
}

} // namespace

std::string uscMarovin::AssembleQuery() {
    if (!m_query)
        return std::string();
    cSQLQuery& query = *m_query;
    // An output name as the statement needs it. A sorted name with blanks is bracketed here
    // rather than left to the model, so that it is the very name its sort entry gives (which the
    // ORDER BY clause writes as it stands).
    const std::vector<SortEntry> sorted = sortEntries();
    auto outputName = [&sorted](const std::string& name) {
        const std::string bracketed = sortName(name);
        if (bracketed != sqlPart(name) && sortPosition(sorted, bracketed, std::string()) > 0)
            return bracketed;
        return sqlPart(name);
    };
    query.SelectedItems()->Clear();
    query.CalculatedItems()->Clear();
    query.Tables()->Clear();
    query.JoinConditions()->Clear();
    query.Filters()->Clear();

    query.setBlnUniqueRecordsOnly(m_chkUniqueRecords->isChecked());

    // The tables by alias, the first of an alias winning, for the joins to name them.
    std::unordered_map<std::string, std::shared_ptr<cTable>> tablesByAlias;
    tablesByAlias.reserve(static_cast<size_t>(m_tables->Count()));
    for (const auto& placed : *m_tables) {
        auto table = query.Tables()->Add();
        // A sub-query's name is not written into the statement; a table's is.
        table->setStrName(placed->blnIsSubQuery() ? placed->strName()
                                                  : sqlTableName(placed->strName()));
        table->setStrAlias(sqlPart(placed->strAlias()));
        table->setBlnIsSubQuery(placed->blnIsSubQuery());
        if (placed->blnIsSubQuery())
            table->setSubQuery(placed->SubQuery());
        tablesByAlias.emplace(table->strAlias(), table);
    }
    const auto tableByAlias =
        [&tablesByAlias](const std::string& alias) -> std::shared_ptr<cTable> {
        const auto found = tablesByAlias.find(alias);
        return found == tablesByAlias.end() ? nullptr : found->second;
    };

    for (int i = 0; i < m_lvExpressions->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* entry = m_lvExpressions->topLevelItem(i);
        auto item = query.CalculatedItems()->Add();
        item->setStrName(outputName(entry->text(0).toStdString()));
        item->setStrComputation(entry->data(0, Qt::UserRole).toString().toStdString());
    }

    // Joins between the same two tables, in the same direction and of the same type, become one
    // join whose condition is the conjunction of their column pairs.
    const QStringList lines = m_dvTablesAndJoins->JoinsList().split(QLatin1Char('\n'));
    const int count = lines.value(0).toInt();
    std::unordered_map<std::string, size_t> keys; // Position in texts and ends.
    keys.reserve(static_cast<size_t>(std::max(count, 0)));
    std::vector<std::string> texts;
    std::vector<std::array<std::string, 3>> ends; // left alias, right alias, type name
    for (int i = 0; i < count; ++i) {
        const std::string leftAlias = lines.value(5 * i + 1).toStdString();
        const std::string leftColumn = lines.value(5 * i + 2).toStdString();
        const std::string rightAlias = lines.value(5 * i + 3).toStdString();
        const std::string rightColumn = lines.value(5 * i + 4).toStdString();
        const std::string typeName = lines.value(5 * i + 5).toStdString();
        const std::string pair = QuoteIdentifier(sqlPart(leftAlias)) + "." +
                                 QuoteIdentifier(sqlPart(leftColumn)) + " = " +
                                 QuoteIdentifier(sqlPart(rightAlias)) + "." +
                                 QuoteIdentifier(sqlPart(rightColumn));
        // The line feed cannot occur inside the three parts, so the key is unambiguous.
        const std::string key = leftAlias + "\n" + rightAlias + "\n" + typeName;
        const auto [at, added] = keys.try_emplace(key, texts.size());
        if (!added) {
            texts[at->second] += " and " + pair;
        } else {
            texts.push_back(pair);
            ends.push_back({leftAlias, rightAlias, typeName});
        }
    }
    for (size_t i = 0; i < texts.size(); ++i) {
        auto join = query.JoinConditions()->Add();
        join->setLeftTable(tableByAlias(sqlPart(ends[i][0])));
        join->setRightTable(tableByAlias(sqlPart(ends[i][1])));
        const JoinFlags flags = flagsOf(ends[i][2]);
        join->setBlnIncludeAllRowsOfLeftTable(flags.left);
        join->setBlnIncludeAllRowsOfRightTable(flags.right);
        join->setStrCondition("(" + texts[i] + ")");
    }

    const SelectedItemsTable& rows = m_selectedItems->table();
    for (int r = 1; r <= rows.SelectedItemsCount(); ++r) {
        const std::string& field = rows.Value(r, SelectedItemsTable::kSelectedField);
        if (Trim(field).empty())
            continue;
        const std::string tableAlias = Trim(rows.Value(r, SelectedItemsTable::kTableAlias));
        const std::string name =
            tableAlias.empty() ? field : sqlPart(tableAlias) + "." + sqlPart(field);
        const std::string aggregation = Trim(rows.Value(r, SelectedItemsTable::kAggregation));
        const std::string& alias = rows.Value(r, SelectedItemsTable::kAlias);
        auto item = query.SelectedItems()->Add();
        item->setStrAlias(outputName(Trim(alias).empty() ? field : alias));
        item->setStrName(name);
        if (aggregation != "<none>" && !aggregation.empty())
            item->setStrAggregationFunction(aggregation);
    }

    for (int i = 0; i < m_lvConditions->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* entry = m_lvConditions->topLevelItem(i);
        auto filter = query.Filters()->Add();
        filter->setStrCondition(entry->data(0, Qt::UserRole).toString().toStdString());
        filter->setBlnIsActive(conditionIsActive(entry));
    }

    if (m_currentSubQuery && !Trim(m_currentSubQuery->strName()).empty() &&
        m_currentSubQuery->CalculatedItems()->Count() +
                m_currentSubQuery->SelectedItems()->Count() >
            0)
        query.setSubQuery(m_currentSubQuery);

    return query.strSQL();
}

} // namespace marovin
