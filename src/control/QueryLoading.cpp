// Fills the panes from the control's query: tables and joins into the diagram, rows into the
// grid, the two lists, and the unique-records box. Tables the database lacks are reported once
// and left out with what depends on them. A statement's text is read into a query first and
// made fit for the panes.

#include "SelectedItemsModel.h"
#include "TableCatalogue.h"
#include "TableListModel.h"
#include "marovin/SqlNames.h"
#include "marovin/SqlParser.h"
#include "marovin/Utilities.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/platform/SqlTextView.h"
#include "marovin/uscMarovin.h"

#include <QCheckBox>
#include <QTreeWidget>
#include <regex>

namespace marovin {

namespace {

constexpr const char* kSubQueryPrefix = "Sub query: ";

// A name with its double-quoted parts in brackets, as the panes compare names.
std::string bracketQuoted(std::string_view text) {
    std::string result;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' && quoted && i + 1 < text.size() && text[i + 1] == '"') {
            result += '"';
            ++i;
        } else if (c == '"') {
            result += quoted ? ']' : '[';
            quoted = !quoted;
        } else {
            result += c;
            if (c == ']' && quoted)
                result += ']';
        }
    }
    return result;
}

// Splits "A.x", "[Order Details].[Order ID]" or "dbo.T.x" at the dots outside square brackets
// and removes the brackets: the last part is the column, the rest the table alias.
bool splitColumnReference(const std::string& text, std::string& alias, std::string& column) {
    std::vector<std::string> parts = SplitQualifiedName(bracketQuoted(Trim(text)));
    if (parts.size() < 2)
        return false;
    column = parts.back();
    parts.pop_back();
    alias.clear();
    for (const std::string& part : parts)
        AppendWithSeparator(alias, part, ".");
    return !alias.empty() && !column.empty();
}

// The text without one pair of parentheses around all of it.
std::string withoutParentheses(std::string text) {
    text = Trim(text);
    if (text.size() < 2 || text.front() != '(' || text.back() != ')')
        return text;
    int depth = 0;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
        if (depth == 0)
            return text;
    }
    return Trim(text.substr(1, text.size() - 2));
}

// One column pair of a join as the diagram draws it.
struct ColumnPair {
    std::string leftAlias;
    std::string leftColumn;
    std::string rightAlias;
    std::string rightColumn;
};

bool sameName(const std::string& a, const std::string& b) {
    return FoldKey(UnbracketQualifiedName(a)) == FoldKey(UnbracketQualifiedName(b));
}

// The column pairs of a join condition such as "(A.x = B.y AND A.z = B.w)", each turned so that
// its left column is of the join's left table. `whole` tells whether the condition is made of
// such pairs alone.
std::vector<ColumnPair> columnPairs(const cJoinCondition& join, bool& whole) {
    static const std::regex kAnd("\\s+and\\s+", std::regex::icase);
    const std::string condition = withoutParentheses(join.strCondition());
    std::vector<ColumnPair> pairs;
    whole = true;
    for (auto it = std::sregex_token_iterator(condition.begin(), condition.end(), kAnd, -1);
         it != std::sregex_token_iterator(); ++it) {
        const std::string pair = withoutParentheses(it->str());
        const size_t equals = pair.find('=');
        ColumnPair columns;
        if (equals == std::string::npos || equals == 0 ||
            pair.find_first_of("=<>!", equals + 1) != std::string::npos ||
            std::string_view("<>!").find(pair[equals - 1]) != std::string_view::npos ||
            !splitColumnReference(pair.substr(0, equals), columns.leftAlias, columns.leftColumn) ||
            !splitColumnReference(pair.substr(equals + 1), columns.rightAlias,
                                  columns.rightColumn)) {
            whole = false;
            continue;
        }
        if (join.LeftTable() && join.RightTable() &&
            sameName(columns.leftAlias, join.RightTable()->strAlias()) &&
            sameName(columns.rightAlias, join.LeftTable()->strAlias())) {
            std::swap(columns.leftAlias, columns.rightAlias);
            std::swap(columns.leftColumn, columns.rightColumn);
        }
        pairs.push_back(columns);
    }
    whole = whole && !pairs.empty();
    return pairs;
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
        bool whole = false;
        const QString typeName = QString::fromStdString(joinTypeName(*join));
        for (const ColumnPair& pair : columnPairs(*join, whole))
            m_dvTablesAndJoins->AddJoin(QString::fromStdString(pair.leftAlias),
                                        QString::fromStdString(pair.leftColumn),
                                        QString::fromStdString(pair.rightAlias),
                                        QString::fromStdString(pair.rightColumn), typeName);
    }
}

void uscMarovin::LoadQuery() {
    std::vector<std::string> missingNames;
    std::vector<std::string> missingAliases;
    m_missingTables.clear();
    {
        BusyPointerScope busy(m_services.busyPointer.get());
        // Without a query there is no sub-query either: the last query's would otherwise stay
        // offered in the table list and open in the sub-query editor.
        m_currentSubQuery = m_query ? m_query->SubQuery() : nullptr;
        if (m_query && !m_currentSubQuery)
            m_currentSubQuery = std::make_shared<cSQLQuery>();
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

namespace {

// A finding as one line of a message: where it stands, then what it says.
QString findingLine(const ParseFinding& finding) {
    const QString message = QString::fromStdString(finding.strMessage);
    if (finding.lngLine <= 0)
        return message;
    return uscMarovin::tr("Line %1, column %2: %3")
        .arg(finding.lngLine)
        .arg(finding.lngColumn)
        .arg(message);
}

// The alias the diagram gives a table of this name after the ones already given, the way the
// control names the tables it places.
std::string diagramAlias(const std::string& name, bool isSubQuery,
                         const std::vector<std::string>& given) {
    std::string base = LastNamePart(name);
    if (Trim(base).empty()) {
        for (const std::string& part : Split(name, ".")) {
            if (!Trim(part).empty())
                base = Trim(part);
        }
        if (Trim(base).empty())
            base = isSubQuery ? "VirtualTable" : "Table";
    }
    const auto taken = [&given](const std::string& candidate) {
        return std::any_of(given.begin(), given.end(), [&](const std::string& alias) {
            return alias == candidate || FoldKey(alias) == FoldKey(candidate);
        });
    };
    std::string candidate = base;
    for (int k = 1; !given.empty() && taken(candidate); ++k)
        candidate = base + std::to_string(k);
    return candidate;
}

// The column a calculated item names, when its text is nothing but one column of a table
// ("[Order Details].OrderID"); empty otherwise.
std::string columnOf(const std::string& computation) {
    const ParseResult read = ParseSelectStatement("SELECT " + computation);
    if (read.blnRefused || !read.query || !read.findings.empty() ||
        read.query->SelectedItems()->Count() != 1 || read.query->CalculatedItems()->Count() != 0)
        return std::string();
    const auto item = read.query->SelectedItems()->Item(1);
    const std::vector<std::string> parts = SplitQualifiedName(item->strName());
    if (!item->strAggregationFunction().empty() || parts.size() < 2 || parts.back() == "*")
        return std::string();
    return item->strName();
}

// The text with its line breaks in the editor's stored form, "{newline}", as the dialogs
// write a line break the user types. Line breaks inside strings and names stay, and so does a
// text with a "--" comment, which a line break ends.
std::string typedLineBreaks(const std::string& text) {
    std::string result;
    char quote = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '[') {
            quote = ']';
        } else if (c == '-' && i + 1 < text.size() && text[i + 1] == '-') {
            return text;
        } else if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            result += kNewlineToken;
            continue;
        }
        result += c;
    }
    return result;
}

// A selected item as the calculated item that writes the same text.
void addAsCalculated(cCalculatedItems& items, const cSelectedItem& item) {
    const std::string field = QuoteIdentifier(item.strName());
    auto calculated = items.Add();
    calculated->setStrComputation(Trim(item.strAggregationFunction()).empty()
                                      ? field
                                      : item.strAggregationFunction() + "(" + field + ")");
    // A default alias is no name of the statement's.
    if (item.strAlias() != LastNamePart(item.strName()))
        calculated->setStrName(item.strAlias());
}

} // namespace

bool uscMarovin::LoadSQLText(const std::string& strSQL) {
    const QString caption = tr("Load SQL");
    bool loaded = false;
    guarded(caption, [&] {
        if (strSQL.find_first_not_of(" \t\r\n") == std::string::npos) {
            m_services.messageBox->Show(caption, tr("There is no statement to load."),
                                        MessageIcon::Exclamation, MessageButtons::Ok);
            return;
        }
        ParseResult read = ParseSelectStatement(strSQL);
        std::vector<ParseFinding> findings = read.findings;
        bool refused = read.blnRefused || !read.query;
        if (!refused) {
            cSQLQuery& query = *read.query;
            const bool namesTables =
                std::any_of(query.Tables()->begin(), query.Tables()->end(),
                            [](const auto& table) { return !table->blnIsSubQuery(); });
            openCatalogue(false);
            if (namesTables && !waitForCatalogue()) {
                emit statusMessage(tr("Loading the statement was cancelled; the query before "
                                      "stays."));
                return;
            }
            const auto note = [&findings, &refused](std::string message, bool refuses) {
                findings.push_back({0, 0, std::move(message), refuses});
                refused = refused || refuses;
            };

            // Tables by their names in the table list ("Orders" and "[Northwind].[dbo].[Orders]"
            // find "dbo.Orders"), with the aliases the diagram will give them.
            std::vector<std::pair<std::string, std::string>> renames;
            std::vector<std::string> given;
            std::vector<std::shared_ptr<cTable>> placed;
            for (const auto& table : *query.Tables()) {
                const std::string oldAlias = table->strAlias();
                if (!table->blnIsSubQuery()) {
                    std::string entry = tableListEntry(table->strName()).toStdString();
                    const std::vector<std::string> parts = SplitQualifiedName(table->strName());
                    for (size_t keep = std::min<size_t>(parts.size(), 2); entry.empty() && keep > 0;
                         --keep) {
                        std::string tail;
                        for (size_t i = parts.size() - keep; i < parts.size(); ++i)
                            AppendWithSeparator(tail, parts[i], ".");
                        for (const QString& candidate : m_tableModel->entries()) {
                            const std::string name =
                                UnbracketQualifiedName(candidate.toStdString());
                            if (FoldKey(name) == FoldKey(tail) ||
                                (keep == 1 && FoldKey(LastNamePart(name)) == FoldKey(tail))) {
                                entry = candidate.toStdString();
                                break;
                            }
                        }
                    }
                    if (entry.empty())
                        continue; // Left out and reported by the loading.
                    table->setStrName(entry);
                }
                given.push_back(diagramAlias(table->strName(), table->blnIsSubQuery(), given));
                renames.emplace_back(oldAlias, given.back());
                placed.push_back(table);
            }
            RenameTableAliases(query, renames);

            // The grid holds columns of the tables: a "*" or a column without its table (when
            // there is more than one) is shown as a calculated item, and so is every selected
            // item after it, so that the outputs keep their order.
            std::vector<std::shared_ptr<cSelectedItem>> moved;
            for (const auto& item : *query.SelectedItems()) {
                const std::vector<std::string> parts = SplitQualifiedName(item->strName());
                const bool star = parts.empty() || parts.back() == "*";
                if (moved.empty() && !star && parts.size() == 1 && given.size() == 1) {
                    const std::string alias = item->strAlias();
                    item->setStrName(BracketIdentifier(given.front()) + "." + item->strName());
                    item->setStrAlias(alias);
                } else if (!moved.empty() || star || parts.size() == 1) {
                    moved.push_back(item);
                }
            }
            if (!moved.empty()) {
                const auto calculated = query.CalculatedItems()->NewEnum();
                query.SelectedItems()->RemoveIf([&moved](const auto& item) {
                    return std::find(moved.begin(), moved.end(), item) != moved.end();
                });
                query.CalculatedItems()->Clear();
                for (const auto& item : moved)
                    addAsCalculated(*query.CalculatedItems(), *item);
                for (const auto& item : calculated) {
                    auto copy = query.CalculatedItems()->Add();
                    copy->setStrName(item->strName());
                    copy->setStrComputation(item->strComputation());
                }
            } else {
                // Calculated items right after the selected ones that only name a column of a
                // table go into the grid.
                while (query.CalculatedItems()->Count() > 0) {
                    const auto item = query.CalculatedItems()->Item(1);
                    const std::string column = columnOf(item->strComputation());
                    std::string tableAlias;
                    std::string columnName;
                    if (column.empty() || !splitColumnReference(column, tableAlias, columnName) ||
                        std::none_of(given.begin(), given.end(), [&](const std::string& alias) {
                            return sameName(alias, tableAlias);
                        }))
                        break;
                    auto selected = query.SelectedItems()->Add();
                    selected->setStrName(column);
                    selected->setStrAlias(item->strName());
                    query.CalculatedItems()->Remove(1);
                }
            }

            // A join that meets the joins before it on its right-hand table ("A RIGHT JOIN (B
            // JOIN C ON ..) ON ..") is turned round ("B JOIN C ON .. LEFT JOIN A ON .."), which
            // means the same: the statement then continues on the left, as the editor writes
            // joins and as every database reads them.
            std::vector<std::string> seen;
            const auto isSeen = [&seen](const std::shared_ptr<cTable>& table) {
                return table && std::find(seen.begin(), seen.end(),
                                          FoldKey(Trim(table->strFullTableName()))) != seen.end();
            };
            for (const auto& join : *query.JoinConditions()) {
                if (!seen.empty() && !isSeen(join->LeftTable()) && isSeen(join->RightTable())) {
                    const auto left = join->LeftTable();
                    const bool allRowsOfLeft = join->blnIncludeAllRowsOfLeftTable();
                    join->setLeftTable(join->RightTable());
                    join->setRightTable(left);
                    join->setBlnIncludeAllRowsOfLeftTable(join->blnIncludeAllRowsOfRightTable());
                    join->setBlnIncludeAllRowsOfRightTable(allRowsOfLeft);
                }
                for (const auto& table : {join->LeftTable(), join->RightTable()}) {
                    if (table && !isSeen(table))
                        seen.push_back(FoldKey(Trim(table->strFullTableName())));
                }
            }

            for (const auto& item : *query.CalculatedItems())
                item->setStrComputation(typedLineBreaks(item->strComputation()));
            for (const auto& filter : *query.Filters())
                filter->setStrCondition(typedLineBreaks(filter->strCondition()));

            // The grid knows no blank aggregation: a column the statement keeps out of its GROUP
            // BY would be grouped by.
            for (const auto& item : *query.SelectedItems()) {
                if (!item->strAggregationFunction().empty() &&
                    Trim(item->strAggregationFunction()).empty())
                    note("The editor would group by \"" + QuoteIdentifier(item->strName()) +
                             "\", which the statement does not",
                         true);
            }

            // The diagram draws a join as pairs of equal columns of its two tables.
            for (const auto& join : *query.JoinConditions()) {
                const bool bothPlaced =
                    std::find(placed.begin(), placed.end(), join->LeftTable()) != placed.end() &&
                    std::find(placed.begin(), placed.end(), join->RightTable()) != placed.end();
                if (!bothPlaced)
                    continue;
                bool whole = false;
                const std::vector<ColumnPair> pairs = columnPairs(*join, whole);
                const bool ownTables =
                    std::all_of(pairs.begin(), pairs.end(), [&join](const ColumnPair& pair) {
                        return sameName(pair.leftAlias, join->LeftTable()->strAlias()) &&
                               sameName(pair.rightAlias, join->RightTable()->strAlias());
                    });
                if (!whole || !ownTables) {
                    note("The join condition \"" + join->strCondition() +
                             "\" cannot be drawn in the diagram, which joins tables on equal "
                             "columns of the two",
                         true);
                }
            }
        }

        QStringList lines;
        for (const ParseFinding& finding : findings)
            lines << findingLine(finding);
        // The box shows the first findings; its details hold them all.
        constexpr int kShown = 8;
        QString shown = lines.mid(0, kShown).join(QLatin1Char('\n'));
        if (lines.size() > kShown)
            shown += QLatin1Char('\n') + tr("... and %1 more").arg(lines.size() - kShown);
        if (refused) {
            m_services.messageBox->ShowWithDetails(
                caption,
                tr("The editor cannot show this statement without changing what it means.") +
                    QStringLiteral("\n\n") + shown,
                lines.join(QLatin1Char('\n')), MessageIcon::Critical, MessageButtons::Ok);
            return;
        }
        if (!findings.empty() && m_services.messageBox->ShowWithDetails(
                                     caption,
                                     tr("The editor does not show everything in this statement:") +
                                         QStringLiteral("\n\n") + shown + QStringLiteral("\n\n") +
                                         tr("Load it without these parts?"),
                                     lines.join(QLatin1Char('\n')), MessageIcon::Exclamation,
                                     MessageButtons::YesNo) != MessageAnswer::Yes)
            return;
        loaded = replaceQuery(read.query);
    });
    return loaded;
}

} // namespace marovin
