// Fills the panes from the control's query: tables and joins into the diagram, rows into the
// grid, the two lists, and the unique-records box. Tables the database lacks are reported once
// and left out with what depends on them.

#include "SelectedItemsModel.h"
#include "TableCatalogue.h"
#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/platform/SqlTextView.h"
#include "marovin/uscMarovin.h"

#include <QCheckBox>
#include <QTreeWidget>

namespace marovin {

namespace {

constexpr const char* kSubQueryPrefix = "Sub query: ";

// Splits "A.x", "[Order Details].[Order ID]" or "dbo.T.x" at the dots outside square brackets
// and removes the brackets: the last part is the column, the rest the table alias.
bool splitColumnReference(const std::string& text, std::string& alias, std::string& column) {
    std::vector<std::string> parts = SplitQualifiedName(Trim(text));
    if (parts.size() < 2)
        return false;
    column = parts.back();
    parts.pop_back();
    alias.clear();
    for (const std::string& part : parts)
        AppendWithSeparator(alias, part, ".");
    return !alias.empty() && !column.empty();
}

std::string joinTypeName(const cJoinCondition& join) {
    if (join.blnIncludeAllRowsOfLeftTable())
        return join.blnIncludeAllRowsOfRightTable() ? "Full Join" : "Left Join";
    return join.blnIncludeAllRowsOfRightTable() ? "Right Join" : "Inner Join";
}

bool namesMissingTable(const std::vector<std::string>& missing,
                       const std::shared_ptr<cTable>& table) {
    if (!table || table->strName().empty())
        return false;
    const std::string name = UnbracketQualifiedName(table->strName());
    for (const std::string& entry : missing) {
        if (UnbracketQualifiedName(entry).find(name) != std::string::npos)
            return true;
    }
    return false;
}

bool isEmbedded(const cDbConnection& connection) {
    return ToUpperAscii(connection.strProvider()) == ToUpperAscii(cDbConnection::kProviderSqlite);
}

} // namespace

void uscMarovin::loadJoins(const std::vector<std::string>& missingTables) {
    for (const auto& join : *m_query->JoinConditions()) {
        if (namesMissingTable(missingTables, join->LeftTable()) ||
            namesMissingTable(missingTables, join->RightTable()))
            continue;
        // "(A.x = B.y and A.z = B.w)" gives one diagram join per column pair.
        std::string condition = Trim(join->strCondition());
        if (condition.size() >= 2 && condition.front() == '(' && condition.back() == ')')
            condition = condition.substr(1, condition.size() - 2);
        const QString typeName = QString::fromStdString(joinTypeName(*join));
        for (const std::string& pair : Split(condition, " and ")) {
            const std::vector<std::string> sides = Split(pair, " = ");
            if (sides.size() != 2)
                continue;
            std::string leftAlias;
            std::string leftColumn;
            std::string rightAlias;
            std::string rightColumn;
            if (!splitColumnReference(sides[0], leftAlias, leftColumn) ||
                !splitColumnReference(sides[1], rightAlias, rightColumn))
                continue;
            m_dvTablesAndJoins->AddJoin(
                QString::fromStdString(leftAlias), QString::fromStdString(leftColumn),
                QString::fromStdString(rightAlias), QString::fromStdString(rightColumn), typeName);
        }
    }
}

void uscMarovin::LoadQuery() {
    std::vector<std::string> missingNames;
    std::vector<std::string> missingAliases;
    m_missingTables.clear();
    {
        BusyPointerScope busy(m_services.busyPointer.get());
        if (m_query) {
            m_currentSubQuery = m_query->SubQuery();
            if (!m_currentSubQuery)
                m_currentSubQuery = std::make_shared<cSQLQuery>();
        }
        FillTableList();
        // While the list is still being read (an undo during the reading, or after the user
        // stopped it) a table not listed yet may well exist: nothing is left out then.
        const bool listIsWhole = m_catalogue->state() != TableCatalogue::State::Reading &&
                                 m_catalogue->state() != TableCatalogue::State::Cancelled;
        m_blnLoading = true;
        try {
            if (m_query) {
                for (const auto& table : *m_query->Tables()) {
                    const QString entry =
                        table->blnIsSubQuery() ? QString() : tableListEntry(table->strName());
                    if (table->blnIsSubQuery()) {
                        AddTableToDiagram(kSubQueryPrefix + table->strName());
                    } else if (!entry.isEmpty()) {
                        AddTableToDiagram(entry.toStdString());
                    } else if (!listIsWhole) {
                        AddTableToDiagram(table->strName());
                    } else {
                        missingNames.push_back(table->strName());
                        missingAliases.push_back(table->strAlias());
                    }
                }
                loadJoins(missingNames);
                for (const auto& item : *m_query->SelectedItems())
                    AddSelectItem(item->strName(), item->strAlias(), item->strAggregationFunction(),
                                  true);
                for (const auto& item : *m_query->CalculatedItems())
                    addExpressionItem(UnbracketIdentifier(item->strName()), item->strComputation(),
                                      std::string());
                for (const auto& filter : *m_query->Filters()) {
                    // A loaded condition's tool tip is its shown text.
                    QTreeWidgetItem* item =
                        addConditionItem(filter->strCondition(), filter->blnIsActive());
                    item->setToolTip(0, item->text(0));
                }
                for (const std::string& alias : missingAliases)
                    removeTableDependants(alias);
                m_chkUniqueRecords->setChecked(m_query->blnUniqueRecordsOnly());
            }
        } catch (...) {
            m_blnLoading = false;
            throw;
        }
        m_blnLoading = false;
        // A failure here propagates, so that the caller can put the previous query back.
        m_strSQL = AssembleQuery();
        m_txtSQLQuery->setStrText(m_strSQL);
        // Reported once, before the busy pointer is restored, with the names as details.
        if (!missingNames.empty()) {
            QStringList names;
            for (const std::string& name : missingNames)
                names << QString::fromStdString(name);
            m_missingTables = names;
            const std::string database = m_db ? m_db->strDatabase() : std::string();
            const std::string server = m_db ? m_db->strServer() : std::string();
            // An embedded database file has no server to name.
            const std::string where = m_db && isEmbedded(*m_db) && Trim(server).empty()
                                          ? database + "."
                                          : database + " on server " + server + ".";
            m_services.messageBox->ShowWithDetails(
                QStringLiteral("SQL Server connection"),
                QString::fromStdString(
                    "One or more tables used in the original SQL query are not in database " +
                    where),
                tr("Tables left out:\n%1").arg(names.join(QLatin1Char('\n'))),
                MessageIcon::Critical, MessageButtons::Ok);
        }
    }
    EnableButtons();
}

} // namespace marovin
