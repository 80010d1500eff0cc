#include "SqlQueryBuilder.h"

#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"

#include <algorithm>
#include <optional>
#include <set>

namespace marovin {

namespace {

// The indentation the model gives each line of a derived table's statement.
constexpr size_t kDerivedIndent = 8;

bool isAggregationName(std::string_view word) {
    const std::string upper = ToUpperAscii(word);
    for (const std::string& name : AggregationFunctionNames()) {
        if (name == upper)
            return true;
    }
    return false;
}

bool isLeaf(const SqlTableSource& source) {
    return source.kind == SqlTableSource::Kind::Table ||
           source.kind == SqlTableSource::Kind::Derived;
}

// The name with its double-quoted parts in brackets: "Order Details".x gives [Order Details].x.
std::string bracketQuotedParts(std::string_view name) {
    std::string result;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '[') {
            // A bracketed part as it stands, "]]" included.
            size_t end = i + 1;
            while (end < name.size() &&
                   !(name[end] == ']' && (end + 1 >= name.size() || name[end + 1] != ']'))) {
                end += name[end] == ']' ? 2 : 1;
            }
            result += name.substr(i, end + 1 - i);
            i = end;
        } else if (name[i] == '"') {
            result += '[';
            for (++i; i < name.size(); ++i) {
                if (name[i] == '"' && i + 1 < name.size() && name[i + 1] == '"') {
                    result += '"';
                    ++i;
                } else if (name[i] == '"') {
                    break;
                } else {
                    result += name[i];
                    if (name[i] == ']')
                        result += ']';
                }
            }
            result += ']';
        } else {
            result += name[i];
        }
    }
    return result;
}

// A name compared as SQL Server compares names: without brackets, letter case ignored.
std::string nameKey(std::string_view name) {
    return FoldKey(UnbracketQualifiedName(bracketQuotedParts(name)));
}

// A table's name or alias as the model writes it. A name with blanks in double quotes is
// written in brackets instead, which means the same.
std::string tableName(const std::string& name) {
    if (QuoteIdentifier(name) == name || name.find('"') == std::string::npos)
        return name;
    return bracketQuotedParts(name);
}

} // namespace

SqlQueryBuilder::SqlQueryBuilder(const SqlTokenList& tokens,
                                 const std::vector<SqlComment>& comments, SqlFindings& findings)
    : m_tokens(tokens), m_comments(comments), m_findings(findings) {}

std::shared_ptr<cSQLQuery> SqlQueryBuilder::Build(const SqlSelect& select) {
    checkTexts();
    auto query = buildQuery(select, 0);
    reportComments();
    return query;
}

void SqlQueryBuilder::note(size_t token, std::string message, bool refuses) {
    m_findings.Add(m_tokens[token], std::move(message), refuses);
}

std::string SqlQueryBuilder::quoted(std::string_view text) {
    // White space runs become one blank; a long text is cut (between UTF-8 characters).
    constexpr size_t kLongest = 60;
    std::string result;
    bool blank = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            blank = !result.empty();
            continue;
        }
        if (blank)
            result += ' ';
        blank = false;
        result += c;
    }
    if (result.size() > kLongest) {
        size_t cut = kLongest;
        while (cut > 0 && (static_cast<unsigned char>(result[cut]) & 0xC0) == 0x80)
            --cut;
        result = result.substr(0, cut) + "...";
    }
    return "\"" + result + "\"";
}

std::string SqlQueryBuilder::kept(size_t fromOffset, size_t toOffset, int depth) {
    if (toOffset <= fromOffset)
        return std::string();
    m_kept.emplace_back(fromOffset, toOffset);
    const std::string_view text = m_tokens.text().substr(fromOffset, toOffset - fromOffset);
    if (depth == 0)
        return std::string(text);
    const size_t indent = kDerivedIndent * static_cast<size_t>(depth);
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        // The model indents after CR LF only.
        if (text[i] != '\n' || i == 0 || text[i - 1] != '\r')
            continue;
        size_t skipped = 0;
        while (skipped < indent && i + 1 < text.size() && text[i + 1] == ' ') {
            ++i;
            ++skipped;
        }
    }
    return result;
}

std::string SqlQueryBuilder::keptTokens(size_t first, size_t end, int depth) {
    if (end <= first)
        return std::string();
    return kept(m_tokens[first].offset, m_tokens[end - 1].end(), depth);
}

std::string SqlQueryBuilder::conditionText(const SqlExpression::Conjunct& conjunct, int depth) {
    if (m_tokens.isSymbol(conjunct.first, "(") && conjunct.end > conjunct.first + 1 &&
        m_tokens.match(conjunct.first) == conjunct.end - 1)
        return kept(m_tokens[conjunct.first].end(), m_tokens[conjunct.end - 1].offset, depth);
    return keptTokens(conjunct.first, conjunct.end, depth);
}

// The model writes texts with its line breaks: each "{newline}" becomes a blank and blank lines
// go. A string or name holding either would not be the same after writing.
void SqlQueryBuilder::checkTexts() {
    for (size_t i = 0; i + 1 < m_tokens.size(); ++i) {
        const SqlToken& token = m_tokens[i];
        if (token.kind != SqlTokenKind::String && token.kind != SqlTokenKind::QuotedName)
            continue;
        const std::string_view text = m_tokens.tokenText(i);
        if (text.find(kNewlineToken) != std::string_view::npos ||
            text.find("\r\n\r\n") != std::string_view::npos) {
            note(i, "The editor would change the line breaks in " + quoted(text), true);
        }
    }
}

void SqlQueryBuilder::reportComments() {
    for (const SqlComment& comment : m_comments) {
        const bool isKept = std::any_of(m_kept.begin(), m_kept.end(), [&](const auto& range) {
            return comment.offset >= range.first && comment.offset < range.second;
        });
        if (!isKept)
            m_findings.Add(comment.line, comment.column,
                           "The comment " +
                               quoted(m_tokens.text().substr(comment.offset, comment.length)) +
                               " is not kept",
                           false);
    }
}

std::shared_ptr<cSQLQuery> SqlQueryBuilder::buildQuery(const SqlSelect& select, int depth) {
    Level level;
    level.query = std::make_shared<cSQLQuery>();
    level.depth = depth;
    if (depth > 0)
        level.query->setBlnIsSubQuery(true);
    level.query->setBlnUniqueRecordsOnly(select.distinct);
    if (select.from)
        buildFrom(level, *select.from);
    buildItems(level, select);
    buildFilters(level, select);
    // A window function refused as an aggregate says all there is to say about the grouping.
    if (select.hasSelect && !level.windowAggregates)
        buildGroupBy(level, select);
    buildOrderBy(level, select);
    return level.query;
}

// FROM. The model writes one chain of joins, each join continuing the text written so far on
// one side, followed by the tables in no join as CROSS JOINs. The chain is rebuilt join by join
// in the order that writes the statement's nesting again.
void SqlQueryBuilder::buildFrom(Level& level, const SqlTableSource& from) {
    addLeaves(level, from);

    // The parts joined by commas and CROSS JOINs at the top; at most one may be joins.
    std::vector<const SqlTableSource*> parts;
    std::vector<const SqlTableSource*> stack = {&from};
    while (!stack.empty()) {
        const SqlTableSource* node = stack.back();
        stack.pop_back();
        if (node->kind == SqlTableSource::Kind::Cross) {
            stack.push_back(node->right.get());
            stack.push_back(node->left.get());
        } else {
            parts.push_back(node);
        }
    }
    const SqlTableSource* chain = nullptr;
    bool tablesBeforeChain = false;
    for (const SqlTableSource* part : parts) {
        if (isLeaf(*part)) {
            tablesBeforeChain = tablesBeforeChain || chain == nullptr;
            continue;
        }
        if (chain) {
            note(part->first,
                 "A second group of joins cannot be shown; the editor keeps one chain of joins",
                 true);
            continue;
        }
        chain = part;
    }
    if (!chain)
        return;
    int joins = 0;
    linearize(level, *chain, joins);
    if (tablesBeforeChain) {
        for (const Output& output : level.outputs) {
            if (output.selected && output.selected->strName() == "*") {
                note(parts.front()->first,
                     "The editor writes the joined tables first, so the columns of * come in "
                     "another order",
                     false);
                break;
            }
        }
    }
}

// Makes a table of the model for every table and derived table, in the order of the text.
void SqlQueryBuilder::addLeaves(Level& level, const SqlTableSource& source) {
    if (!isLeaf(source)) {
        addLeaves(level, *source.left);
        // A join the model writes with its chain on both sides names no further tables; the
        // second copy is written again from the first.
        if (isLeaf(*source.left) || isLeaf(*source.right) ||
            m_tokens.source(source.left->first, source.left->end) !=
                m_tokens.source(source.right->first, source.right->end))
            addLeaves(level, *source.right);
        else
            m_kept.emplace_back(m_tokens[source.right->first].offset,
                                m_tokens[source.right->end - 1].end());
        return;
    }
    const std::string alias = source.aliasToken == SqlTableSource::npos
                                  ? std::string()
                                  : tableName(std::string(m_tokens.tokenText(source.aliasToken)));
    auto table = level.query->Tables()->Add();
    if (source.kind == SqlTableSource::Kind::Derived) {
        if (level.depth > 0)
            note(source.first,
                 "A derived table inside a derived table cannot be kept by the editor", true);
        else if (level.hasDerivedTable)
            note(source.first,
                 "A second derived table cannot be shown; the editor keeps one sub-query", true);
        level.hasDerivedTable = true;
        // The model indents every line of a derived table's statement.
        for (size_t i = source.first; i < source.end; ++i) {
            const SqlTokenKind kind = m_tokens[i].kind;
            const std::string_view text = m_tokens.tokenText(i);
            if ((kind == SqlTokenKind::String || kind == SqlTokenKind::QuotedName) &&
                text.find_first_of("\r\n") != std::string_view::npos)
                note(i, "The editor would indent the lines of " + quoted(text), true);
        }
        auto subQuery = buildQuery(*source.derived, level.depth + 1);
        const std::string name = UnbracketIdentifier(alias);
        subQuery->setStrName(name);
        table->setBlnIsSubQuery(true);
        table->setStrName(name);
        table->setStrAlias(alias);
        table->setSubQuery(subQuery);
        if (level.depth == 0 && !level.query->SubQuery())
            level.query->setSubQuery(subQuery);
    } else {
        const std::string name = tableName(source.name);
        if (QuoteIdentifier(name) != name)
            note(source.first,
                 "The editor would write the name " + quoted(source.name) + " otherwise", true);
        if (QuoteIdentifier(alias) != alias)
            note(source.aliasToken,
                 "The editor would write the alias " + quoted(alias) + " otherwise", true);
        table->setStrName(name);
        table->setStrAlias(alias);
    }
    const std::string key = FoldKey(Trim(table->strFullTableName()));
    for (const Leaf& leaf : level.leaves) {
        if (FoldKey(Trim(leaf.table->strFullTableName())) == key) {
            note(source.first,
                 quoted(Trim(table->strFullTableName())) +
                     " stands twice in FROM; the editor needs a name of its own for each table",
                 true);
            break;
        }
    }
    level.leaves.push_back({&source, table});
}

const SqlQueryBuilder::Leaf* SqlQueryBuilder::leafOf(const Level& level,
                                                     const SqlTableSource& source) const {
    for (const Leaf& leaf : level.leaves) {
        if (leaf.source == &source)
            return &leaf;
    }
    return nullptr;
}

// Rebuilds the joins of a tree of joins so that the model's chain writes the same nesting. The
// model's chain continues on the left ("chain JOIN t ON c"), wraps on the right ("t JOIN chain ON
// c") or repeats itself on both sides; a tree of another shape cannot be written.
void SqlQueryBuilder::linearize(Level& level, const SqlTableSource& node, int& joins) {
    if (node.kind == SqlTableSource::Kind::Cross) {
        note(node.keywordToken, "CROSS JOIN within the joins is shown as INNER JOIN ... ON 1 = 1",
             false);
    }
    const SqlTableSource& left = *node.left;
    const SqlTableSource& right = *node.right;
    const bool leftLeaf = isLeaf(left);
    const bool rightLeaf = isLeaf(right);
    if (leftLeaf && rightLeaf) {
        if (joins != 0) {
            note(node.keywordToken, "This nesting of joins cannot be shown in the editor", true);
            return;
        }
        addJoin(level, node, leafOf(level, left)->table, leafOf(level, right)->table);
    } else if (!leftLeaf && rightLeaf) {
        linearize(level, left, joins);
        const auto& rightTable = leafOf(level, right)->table;
        addJoin(level, node, pickTable(level, left, node.condition, nullptr), rightTable);
    } else if (leftLeaf && !rightLeaf) {
        linearize(level, right, joins);
        addJoin(level, node, leafOf(level, left)->table,
                pickTable(level, right, node.condition, nullptr));
    } else {
        linearize(level, left, joins);
        if (m_tokens.source(left.first, left.end) == m_tokens.source(right.first, right.end)) {
            // The model's own writing of a join whose two tables are both in the chain.
            const auto first = pickTable(level, left, node.condition, nullptr);
            addJoin(level, node, first, pickTable(level, left, node.condition, first));
        } else {
            note(node.keywordToken, "This nesting of joins cannot be shown in the editor", true);
            return;
        }
    }
    ++joins;
}

void SqlQueryBuilder::addJoin(Level& level, const SqlTableSource& node,
                              const std::shared_ptr<cTable>& left,
                              const std::shared_ptr<cTable>& right) {
    auto join = level.query->JoinConditions()->Add();
    join->setLeftTable(left);
    join->setRightTable(right);
    join->setBlnIncludeAllRowsOfLeftTable(node.allRowsOfLeft);
    join->setBlnIncludeAllRowsOfRightTable(node.allRowsOfRight);
    if (node.kind == SqlTableSource::Kind::Cross)
        join->setStrCondition("1 = 1");
    else
        join->setStrCondition(keptTokens(node.condition.first, node.condition.end, level.depth));
}

std::shared_ptr<cTable> SqlQueryBuilder::pickTable(const Level& level,
                                                   const SqlTableSource& subtree,
                                                   const SqlExpression& condition,
                                                   const std::shared_ptr<cTable>& skip) const {
    std::vector<const Leaf*> candidates;
    for (const Leaf& leaf : level.leaves) {
        if (leaf.source->first >= subtree.first && leaf.source->end <= subtree.end &&
            leaf.table != skip)
            candidates.push_back(&leaf);
    }
    if (candidates.empty())
        return skip;
    // The qualifiers of the dotted names in the condition, in the order written.
    for (size_t i = condition.first; i < condition.end; ++i) {
        if (!m_tokens.isName(i) || (i > condition.first && m_tokens.isSymbol(i - 1, ".")))
            continue;
        size_t last = i;
        while (m_tokens.isSymbol(last + 1, ".") && m_tokens.isName(last + 2) &&
               last + 2 < condition.end)
            last += 2;
        if (last == i)
            continue;
        const std::string qualifier = nameKey(m_tokens.source(i, last - 1));
        for (const Leaf* leaf : candidates) {
            const cTable& table = *leaf->table;
            if (nameKey(table.strAlias()) == qualifier ||
                (!table.blnIsSubQuery() && nameKey(table.strName()) == qualifier))
                return leaf->table;
        }
    }
    return candidates.back()->table;
}

// The SELECT list. A column, or an aggregation of a column, written exactly as the model writes a
// selected item becomes one; anything else is a calculated item named by its alias. Once a
// calculated item is made the later items are calculated items too, as the model writes the
// selected items first.
void SqlQueryBuilder::buildItems(Level& level, const SqlSelect& select) {
    cSQLQuery& query = *level.query;
    bool calculatedSeen = false;
    for (const SqlSelect::Item& item : select.items) {
        const SqlExpression& expression = item.expression;
        const std::string text = keptTokens(expression.first, expression.end, level.depth);
        const std::string alias = item.aliasToken == SqlSelect::npos
                                      ? std::string()
                                      : std::string(m_tokens.tokenText(item.aliasToken));
        for (const size_t function : expression.windowFunctions) {
            const size_t open = [&] {
                size_t i = function;
                while (i < expression.end && !m_tokens.isSymbol(i, "("))
                    ++i;
                return i;
            }();
            const size_t close = m_tokens.match(open);
            const std::string call = std::string(
                m_tokens.source(function, close == SqlTokenList::npos ? open + 1 : close + 1));
            if (!ContainsAggregateFunction(call))
                continue;
            level.windowAggregates = true;
            note(function,
                 "The window function " + quoted(call) +
                     " counts as an aggregate in the editor, which would group the query",
                 true);
        }

        std::string name;
        std::string aggregation;
        bool selected = false;
        if (!calculatedSeen && QuoteIdentifier(alias) == alias) {
            size_t first = expression.first;
            size_t end = expression.end;
            if (end - first >= 4 && m_tokens[first].kind == SqlTokenKind::Word &&
                isAggregationName(m_tokens.tokenText(first)) && m_tokens.isSymbol(first + 1, "(") &&
                m_tokens.match(first + 1) == end - 1) {
                aggregation = std::string(m_tokens.tokenText(first));
                first += 2;
                end -= 1;
            }
            // A dotted name, possibly ending in "*", or "*" alone.
            bool isName = end > first;
            for (size_t i = first; isName && i < end; ++i) {
                const bool part = (i - first) % 2 == 0;
                if (part) {
                    isName = (m_tokens.isName(i) && !(m_tokens[i].kind == SqlTokenKind::Word &&
                                                      IsReservedWord(m_tokens.tokenText(i)))) ||
                             (m_tokens.isSymbol(i, "*") && i + 1 == end);
                } else {
                    isName = m_tokens.isSymbol(i, ".");
                }
                if (isName)
                    name += m_tokens.tokenText(i);
            }
            isName = isName && (end - first) % 2 == 1;
            const std::string written = aggregation.empty()
                                            ? QuoteIdentifier(name)
                                            : aggregation + "(" + QuoteIdentifier(name) + ")";
            // An alias the model would leave out, as it equals the field, stays as written.
            selected = isName && written == text && QuoteIdentifier(alias) != written;
        }
        Output output;
        output.item = &item;
        if (selected) {
            auto selectedItem = query.SelectedItems()->Add();
            selectedItem->setStrName(name);
            selectedItem->setStrAggregationFunction(aggregation);
            selectedItem->setStrAlias(alias);
            output.selected = selectedItem;
        } else {
            calculatedSeen = true;
            auto calculatedItem = query.CalculatedItems()->Add();
            calculatedItem->setStrComputation(text);
            calculatedItem->setStrName(alias);
            output.calculated = calculatedItem;
        }
        level.outputs.push_back(std::move(output));
    }
}

// WHERE and HAVING, split at their top-level AND. The model writes a condition in WHERE or in
// HAVING by whether it holds an aggregate.
void SqlQueryBuilder::buildFilters(Level& level, const SqlSelect& select) {
    cSQLQuery& query = *level.query;
    std::vector<std::string> moved;
    if (select.where) {
        for (const auto& conjunct : select.where->conjuncts) {
            const std::string text = conditionText(conjunct, level.depth);
            if (ContainsAggregateFunction(text)) {
                note(conjunct.first,
                     conjunct.isOr
                         ? "The condition " + quoted(text) +
                               " joins with OR a part the editor takes for an aggregate; it "
                               "cannot be split, and the editor would move it to HAVING"
                         : "The condition " + quoted(text) +
                               " holds what the editor takes for an aggregate; the editor would "
                               "move it to HAVING",
                     true);
            }
            query.Filters()->Add()->setStrCondition(text);
        }
    }
    if (!select.having)
        return;
    std::vector<std::string> aggregated;
    for (const auto& conjunct : select.having->conjuncts) {
        const std::string text = conditionText(conjunct, level.depth);
        if (ContainsAggregateFunction(text)) {
            aggregated.push_back(text);
        } else if (select.groupByToken != SqlSelect::npos) {
            note(conjunct.first,
                 "The condition " + quoted(text) +
                     " holds no aggregate; the editor shows it under WHERE",
                 false);
            moved.push_back(text);
        } else {
            note(conjunct.first,
                 "The condition " + quoted(text) +
                     " holds no aggregate and the query has no GROUP BY; under WHERE it would "
                     "mean something else",
                 true);
            moved.push_back(text);
        }
    }
    for (const std::string& text : moved)
        query.Filters()->Add()->setStrCondition(text);
    for (const std::string& text : aggregated)
        query.Filters()->Add()->setStrCondition(text);
}

// GROUP BY. The model derives it: when anything is aggregated, the selected items without
// aggregation and the calculated items without an aggregate, in that order. A statement whose
// GROUP BY is that list (in any order) keeps its meaning. A selected column the statement leaves
// out of GROUP BY is kept out by a blank aggregation, which the model writes as none; a GROUP BY
// of every column without aggregates is SELECT DISTINCT.
void SqlQueryBuilder::buildGroupBy(Level& level, const SqlSelect& select) {
    bool needed = false;
    struct Derived {
        std::string key;
        const Output* output;
    };
    std::vector<Derived> derived;
    for (const Output& output : level.outputs) {
        const SqlExpression& expression = output.item->expression;
        if (output.selected) {
            needed = needed || !output.selected->strAggregationFunction().empty();
            if (output.selected->strAggregationFunction().empty())
                derived.push_back({m_tokens.normalized(expression.first, expression.end), &output});
        } else if (ContainsAggregateFunction(output.calculated->strComputation())) {
            needed = true;
        } else {
            derived.push_back({m_tokens.normalized(expression.first, expression.end), &output});
        }
    }
    std::vector<std::string> written;
    for (const SqlExpression& expression : select.groupBy) {
        written.push_back(m_tokens.normalized(expression.first, expression.end));
        // An entry written exactly as an item is written again from it, comments and all.
        const std::string_view text = m_tokens.source(expression.first, expression.end);
        for (const Derived& entry : derived) {
            const SqlExpression& item = entry.output->item->expression;
            if (m_tokens.source(item.first, item.end) == text) {
                m_kept.emplace_back(m_tokens[expression.first].offset,
                                    m_tokens[expression.end - 1].end());
                break;
            }
        }
    }
    if (!needed && written.empty())
        return;

    const size_t where =
        select.groupByToken != SqlSelect::npos ? select.groupByToken : select.first;
    // The derived entries the written GROUP BY lacks. When the written list is the derived one
    // with some selected columns left out, in the same order, exactly those are missing;
    // otherwise each written entry answers one
    // derived entry of the same expression.
    const size_t d = derived.size();
    const size_t w = written.size();
    // canMatch[i * (w + 1) + j]: derived[i...] can give written[j...] by leaving out columns.
    std::vector<char> canMatch((d + 1) * (w + 1), 0);
    canMatch[d * (w + 1) + w] = 1;
    for (size_t i = d; i-- > 0;) {
        for (size_t j = 0; j <= w; ++j) {
            const bool skip = derived[i].output->selected && canMatch[(i + 1) * (w + 1) + j];
            const bool take =
                j < w && derived[i].key == written[j] && canMatch[(i + 1) * (w + 1) + j + 1];
            canMatch[i * (w + 1) + j] = skip || take;
        }
    }
    std::vector<std::string> unmatched;
    std::vector<const Derived*> missing;
    if (canMatch[0]) {
        size_t j = 0;
        for (size_t i = 0; i < d; ++i) {
            if (j < w && derived[i].key == written[j] && canMatch[(i + 1) * (w + 1) + j + 1])
                ++j;
            else
                missing.push_back(&derived[i]);
        }
    } else {
        unmatched = written;
        for (const Derived& entry : derived) {
            const auto found = std::find(unmatched.begin(), unmatched.end(), entry.key);
            if (found != unmatched.end())
                unmatched.erase(found);
            else
                missing.push_back(&entry);
        }
    }
    if (!needed) {
        // Without aggregates the model writes a GROUP BY only when a blank aggregation keeps a
        // column out of it; a grouping by every column is a DISTINCT.
        const bool blankAggregation =
            !missing.empty() && unmatched.empty() &&
            std::all_of(missing.begin(), missing.end(),
                        [](const Derived* entry) { return entry->output->selected != nullptr; });
        std::set<std::string> items;
        for (const Derived& entry : derived)
            items.insert(entry.key);
        if (!blankAggregation && !select.having &&
            items == std::set<std::string>(written.begin(), written.end())) {
            note(where, "GROUP BY without aggregates is shown as SELECT DISTINCT", false);
            level.query->setBlnUniqueRecordsOnly(true);
            return;
        }
    }
    for (const Derived* entry : missing) {
        const bool grouped = std::find(written.begin(), written.end(), entry->key) != written.end();
        const SqlExpression& expression = entry->output->item->expression;
        if (entry->output->selected) {
            entry->output->selected->setStrAggregationFunction(" ");
            if (!grouped)
                note(expression.first,
                     quoted(entry->output->selected->strName()) +
                         " is not in GROUP BY; the query keeps it out of the grouping",
                     false);
        } else if (!grouped) {
            note(expression.first,
                 quoted(entry->output->calculated->strComputation()) +
                     " is not in GROUP BY, but the editor would group by it",
                 true);
        }
    }
    // With nothing aggregated and no column kept out of the grouping, the editor would write no
    // GROUP BY at all.
    const bool groups =
        needed || std::any_of(missing.begin(), missing.end(), [](const Derived* entry) {
            return entry->output->selected != nullptr;
        });
    if (!unmatched.empty() || !groups)
        note(where, "GROUP BY differs from the grouping the editor derives from the selected items",
             true);
}

// ORDER BY. The model sorts on output names (a selected item's name or alias, a calculated
// item's name) and writes its entries last to first.
void SqlQueryBuilder::buildOrderBy(Level& level, const SqlSelect& select) {
    struct Entry {
        std::string item;
        std::string direction;
    };
    std::vector<Entry> entries;
    for (const SqlSelect::SortItem& sort : select.orderBy) {
        const SqlExpression& expression = sort.expression;
        const std::string text = keptTokens(expression.first, expression.end, level.depth);
        const std::string direction = sort.directionToken == SqlSelect::npos
                                          ? std::string()
                                          : std::string(m_tokens.tokenText(sort.directionToken));
        // The name an output is sorted by: its alias, else the name of a column that is not
        // aggregated; an aggregation or expression without alias has none.
        const auto preferred = [this](const Output& output) {
            if (output.item->aliasToken != SqlSelect::npos)
                return std::string(m_tokens.tokenText(output.item->aliasToken));
            if (output.selected && Trim(output.selected->strAggregationFunction()).empty())
                return output.selected->strName();
            return std::string();
        };
        std::string item;
        for (const Output& output : level.outputs) {
            if ((output.selected &&
                 (output.selected->strName() == text || output.selected->strAlias() == text)) ||
                (output.calculated && !Trim(text).empty() &&
                 output.calculated->strName() == text)) {
                item = text;
                break;
            }
        }
        if (item.empty() && expression.end == expression.first + 1 &&
            m_tokens[expression.first].kind == SqlTokenKind::Number &&
            text.find_first_not_of("0123456789") == std::string::npos && text.size() < 6) {
            const size_t position = static_cast<size_t>(std::stoi(text));
            if (position >= 1 && position <= level.outputs.size())
                item = preferred(level.outputs[position - 1]);
        }
        if (item.empty()) {
            const std::string key = m_tokens.normalized(expression.first, expression.end);
            const std::string folded = nameKey(text);
            for (const Output& output : level.outputs) {
                const SqlExpression& itemExpression = output.item->expression;
                const bool sameName =
                    (output.selected && (nameKey(output.selected->strName()) == folded ||
                                         nameKey(output.selected->strAlias()) == folded)) ||
                    (output.calculated && !Trim(output.calculated->strName()).empty() &&
                     nameKey(output.calculated->strName()) == folded);
                if (sameName ||
                    m_tokens.normalized(itemExpression.first, itemExpression.end) == key) {
                    item = preferred(output);
                    if (!item.empty())
                        break;
                }
            }
        }
        if (item.empty()) {
            note(expression.first,
                 "The sort on " + quoted(text) +
                     " is not shown in the editor, which sorts on output columns only",
                 false);
            continue;
        }
        entries.push_back({item, direction});
    }
    for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
        auto entry = level.query->OrderByItems()->Add();
        entry->setStrItem(it->item);
        entry->setStrSortOrder(it->direction);
    }
}

} // namespace marovin
