#include "SqlStatementParser.h"

#include "marovin/Utilities.h"

#include <algorithm>
#include <array>

namespace marovin {

namespace {

// Words that stand for structure: they end an expression and are never taken for an alias.
// Upper case, sorted.
constexpr std::string_view kStructureWords[] = {
    "ALL",     "AND",   "ANY",   "APPLY",    "AS",    "ASC",    "BETWEEN", "BY",     "CASE",
    "COLLATE", "CROSS", "DESC",  "DISTINCT", "ELSE",  "END",    "ESCAPE",  "EXCEPT", "EXISTS",
    "FOR",     "FROM",  "FULL",  "GO",       "GROUP", "HAVING", "IN",      "INNER",  "INTERSECT",
    "INTO",    "IS",    "JOIN",  "LEFT",     "LIKE",  "NOT",    "NULL",    "ON",     "OPTION",
    "OR",      "ORDER", "OUTER", "OVER",     "PIVOT", "RIGHT",  "SELECT",  "SOME",   "TABLESAMPLE",
    "THEN",    "TOP",   "UNION", "UNPIVOT",  "WHEN",  "WHERE",  "WITH",
};

// Table hints that may stand in parentheses right after a table name without WITH.
constexpr std::string_view kTableHints[] = {
    "FASTFIRSTROW",  "HOLDLOCK", "INDEX",           "NOLOCK",         "NOWAIT",  "PAGLOCK",
    "READCOMMITTED", "READPAST", "READUNCOMMITTED", "REPEATABLEREAD", "ROWLOCK", "SERIALIZABLE",
    "SNAPSHOT",      "TABLOCK",  "TABLOCKX",        "UPDLOCK",
};

constexpr std::string_view kJoinHints[] = {"HASH", "LOOP", "MERGE", "REMOTE"};

template <size_t N> bool contains(const std::string_view (&words)[N], std::string_view w) {
    const std::string upper = ToUpperAscii(w);
    return std::find(std::begin(words), std::end(words), std::string_view(upper)) !=
           std::end(words);
}

} // namespace

SqlStatementParser::SqlStatementParser(const SqlTokenList& tokens, SqlFindings& findings)
    : m_tokens(tokens), m_findings(findings) {}

void SqlStatementParser::fail(size_t token, std::string message) const {
    throw SyntaxError{token, std::move(message)};
}

void SqlStatementParser::expected(std::string_view what) const {
    if (m_tokens.isEnd(m_pos))
        fail(m_pos, "Expected " + std::string(what) + " at the end of the statement");
    fail(m_pos, "Expected " + std::string(what) + ", not \"" +
                    std::string(m_tokens.tokenText(m_pos)) + "\"");
}

bool SqlStatementParser::acceptWord(std::string_view word) {
    if (!isWord(word))
        return false;
    ++m_pos;
    return true;
}

bool SqlStatementParser::acceptSymbol(std::string_view symbol) {
    if (!isSymbol(symbol))
        return false;
    ++m_pos;
    return true;
}

void SqlStatementParser::expectWord(std::string_view word) {
    if (!acceptWord(word))
        expected(word);
}

void SqlStatementParser::expectSymbol(std::string_view symbol) {
    if (!acceptSymbol(symbol))
        expected("\"" + std::string(symbol) + "\"");
}

bool SqlStatementParser::isStructureWord(size_t index) const {
    if (m_tokens[index].kind != SqlTokenKind::Word)
        return false;
    const std::string_view text = m_tokens.tokenText(index);
    return contains(kStructureWords, text);
}

std::string SqlStatementParser::textFrom(size_t first) const {
    return std::string(m_tokens.source(first, m_pos));
}

void SqlStatementParser::skipParentheses() {
    const size_t close = m_tokens.match(m_pos);
    if (!isSymbol("(") || close == SqlTokenList::npos) {
        if (isSymbol("("))
            fail(m_pos, "The parenthesis is not closed");
        expectSymbol("(");
    }
    m_pos = close + 1;
}

void SqlStatementParser::note(size_t token, std::string message, bool refuses) {
    m_findings.Add(m_tokens[token], std::move(message), refuses);
}

std::unique_ptr<SqlSelect> SqlStatementParser::Parse() {
    auto select = std::make_unique<SqlSelect>();
    try {
        if (m_tokens.isEnd(0)) {
            select->hasSelect = false;
            return select;
        }
        if (isWord("WITH")) {
            // The statement is read on, for its syntax and the query it could give.
            note(m_pos, "A common table expression (WITH) cannot be shown in the editor", true);
            ++m_pos;
            do {
                parseName(false, false);
                if (isSymbol("("))
                    skipParentheses();
                expectWord("AS");
                skipParentheses();
            } while (acceptSymbol(","));
        }
        if (!isWord("SELECT") && (isWord("WHERE") || isWord("HAVING"))) {
            // What the editor writes while nothing is selected: the conditions alone.
            select->hasSelect = false;
            select->first = m_pos;
            if (acceptWord("WHERE"))
                select->where = parseExpression();
            if (isWord("HAVING")) {
                select->havingToken = m_pos++;
                select->having = parseExpression();
            }
        } else {
            parseSelectBody(*select);
            parseStatementOptions();
        }
        acceptSymbol(";");
        if (acceptWord("GO"))
            acceptSymbol(";");
        if (!m_tokens.isEnd(m_pos)) {
            if (isWord("SELECT") || isWord("WITH")) {
                note(m_pos, "A second statement follows; the editor shows one statement", true);
                return select;
            }
            expected("the end of the statement");
        }
    } catch (const SyntaxError& error) {
        note(error.token, error.message, true);
        return nullptr;
    }
    return select;
}

void SqlStatementParser::parseSelectBody(SqlSelect& select) {
    parseQuerySpecification(select);
    while (isWord("UNION") || isWord("EXCEPT") || isWord("INTERSECT")) {
        note(m_pos,
             ToUpperAscii(m_tokens.tokenText(m_pos)) +
                 " joins a second query; the editor shows one query only",
             true);
        ++m_pos;
        acceptWord("ALL");
        // The further queries are read for their syntax only.
        SqlSelect further;
        if (isSymbol("(")) {
            skipParentheses();
        } else {
            parseQuerySpecification(further);
        }
    }
    if (isWord("ORDER"))
        parseOrderBy(select);
    if (isWord("OFFSET")) {
        const size_t first = m_pos++;
        parseOr();
        if (!acceptWord("ROWS"))
            expectWord("ROW");
        if (acceptWord("FETCH")) {
            if (!acceptWord("NEXT"))
                expectWord("FIRST");
            parseOr();
            if (!acceptWord("ROWS"))
                expectWord("ROW");
            expectWord("ONLY");
        }
        note(first, textFrom(first) + " is not shown in the editor", false);
    }
}

void SqlStatementParser::parseQuerySpecification(SqlSelect& select) {
    select.first = m_pos;
    expectWord("SELECT");
    if (!acceptWord("ALL") && acceptWord("DISTINCT"))
        select.distinct = true;
    if (isWord("TOP"))
        parseTop();
    do {
        parseSelectItem(select);
    } while (acceptSymbol(","));
    if (isWord("INTO")) {
        const size_t first = m_pos++;
        parseName(false, true);
        note(first,
             textFrom(first) + " makes the statement create a table; the editor only "
                               "builds queries",
             true);
    }
    if (acceptWord("FROM"))
        select.from = parseFrom();
    if (acceptWord("WHERE"))
        select.where = parseExpression();
    if (isWord("GROUP"))
        parseGroupBy(select);
    if (isWord("HAVING")) {
        select.havingToken = m_pos++;
        select.having = parseExpression();
    }
}

void SqlStatementParser::parseTop() {
    const size_t first = m_pos++;
    if (isSymbol("(")) {
        ++m_pos;
        parseOr();
        expectSymbol(")");
    } else if (m_tokens[m_pos].kind == SqlTokenKind::Number ||
               m_tokens[m_pos].kind == SqlTokenKind::Variable ||
               m_tokens[m_pos].kind == SqlTokenKind::Parameter) {
        ++m_pos;
    } else {
        expected("the number of rows after TOP");
    }
    acceptWord("PERCENT");
    if (isWord("WITH") && m_tokens.isWord(m_pos + 1, "TIES"))
        m_pos += 2;
    note(first, textFrom(first) + " is not shown in the editor", false);
}

void SqlStatementParser::parseSelectItem(SqlSelect& select) {
    SqlSelect::Item item;
    if (m_tokens[m_pos].kind == SqlTokenKind::Variable && m_tokens.isSymbol(m_pos + 1, "=")) {
        note(m_pos,
             "SELECT " + std::string(m_tokens.tokenText(m_pos)) +
                 " = ... assigns a variable; the editor only builds queries",
             true);
        m_pos += 2;
        item.expression = parseValue();
        select.items.push_back(std::move(item));
        return;
    }
    if (m_tokens.isName(m_pos) && !isStructureWord(m_pos) && m_tokens.isSymbol(m_pos + 1, "=")) {
        // "Alias = expression".
        item.aliasToken = m_pos;
        m_pos += 2;
        item.expression = parseValue();
        select.items.push_back(std::move(item));
        return;
    }
    if (isSymbol("*")) {
        item.expression.first = m_pos++;
        item.expression.end = m_pos;
        item.expression.conjuncts.push_back({item.expression.first, m_pos, false});
    } else {
        item.expression = parseValue();
    }
    if (acceptWord("AS")) {
        // "AS *" is how the model writes a "*" item without an alias of its own.
        if (!m_tokens.isName(m_pos) && m_tokens[m_pos].kind != SqlTokenKind::String &&
            !isSymbol("*"))
            expected("an alias after AS");
        item.aliasToken = m_pos++;
    } else if ((m_tokens.isName(m_pos) && !isStructureWord(m_pos)) ||
               m_tokens[m_pos].kind == SqlTokenKind::String) {
        item.aliasToken = m_pos++;
    }
    select.items.push_back(std::move(item));
}

void SqlStatementParser::parseGroupBy(SqlSelect& select) {
    select.groupByToken = m_pos++;
    expectWord("BY");
    if (isWord("ALL")) {
        note(m_pos, "GROUP BY ALL cannot be shown in the editor", true);
        ++m_pos;
    }
    do {
        if ((isWord("ROLLUP") || isWord("CUBE") || isWord("GROUPING")) &&
            (m_tokens.isSymbol(m_pos + 1, "(") || m_tokens.isWord(m_pos + 1, "SETS"))) {
            note(m_pos,
                 "GROUP BY " + ToUpperAscii(m_tokens.tokenText(m_pos)) +
                     " cannot be shown in the editor",
                 true);
        }
        if (isSymbol("*")) {
            // The model groups by a "*" item as it stands.
            SqlExpression star;
            star.first = m_pos++;
            star.end = m_pos;
            select.groupBy.push_back(star);
        } else {
            select.groupBy.push_back(parseValue());
        }
    } while (acceptSymbol(","));
    if (isWord("WITH") &&
        (m_tokens.isWord(m_pos + 1, "ROLLUP") || m_tokens.isWord(m_pos + 1, "CUBE"))) {
        note(m_pos,
             "GROUP BY ... WITH " + ToUpperAscii(m_tokens.tokenText(m_pos + 1)) +
                 " cannot be shown in the editor",
             true);
        m_pos += 2;
    }
}

void SqlStatementParser::parseOrderBy(SqlSelect& select) {
    ++m_pos;
    expectWord("BY");
    do {
        SqlSelect::SortItem item;
        item.expression = parseValue();
        if (isWord("ASC") || isWord("DESC"))
            item.directionToken = m_pos++;
        select.orderBy.push_back(std::move(item));
    } while (acceptSymbol(","));
}

void SqlStatementParser::parseStatementOptions() {
    if (isWord("FOR")) {
        const size_t first = m_pos++;
        if (!isWord("XML") && !isWord("JSON") && !isWord("BROWSE"))
            expected("XML, JSON or BROWSE after FOR");
        while (!m_tokens.isEnd(m_pos) && !isWord("OPTION") && !isSymbol(";") && !isSymbol(")")) {
            if (isSymbol("("))
                skipParentheses();
            else
                ++m_pos;
        }
        note(first, textFrom(first) + " is not shown in the editor", false);
    }
    if (isWord("OPTION")) {
        const size_t first = m_pos++;
        skipParentheses();
        note(first, textFrom(first) + " is not shown in the editor", false);
    }
}

std::unique_ptr<SqlTableSource> SqlStatementParser::joined(std::unique_ptr<SqlTableSource> left,
                                                           std::unique_ptr<SqlTableSource> right,
                                                           SqlTableSource::Kind kind,
                                                           size_t keyword) {
    auto node = std::make_unique<SqlTableSource>();
    node->kind = kind;
    node->first = left->first;
    node->end = m_pos;
    node->keywordToken = keyword;
    node->left = std::move(left);
    node->right = std::move(right);
    return node;
}

std::unique_ptr<SqlTableSource> SqlStatementParser::parseFrom() {
    auto node = parseTableSource();
    while (isSymbol(",")) {
        const size_t comma = m_pos++;
        auto right = parseTableSource();
        node = joined(std::move(node), std::move(right), SqlTableSource::Kind::Cross, comma);
    }
    return node;
}

bool SqlStatementParser::atQualifiedJoin() const {
    if (isWord("JOIN") || isWord("INNER"))
        return true;
    if (isWord("LEFT") || isWord("RIGHT") || isWord("FULL")) {
        const size_t next = m_pos + 1;
        return m_tokens.isWord(next, "OUTER") || m_tokens.isWord(next, "JOIN") ||
               (m_tokens[next].kind == SqlTokenKind::Word &&
                contains(kJoinHints, m_tokens.tokenText(next)));
    }
    return false;
}

// A join's right-hand operand may itself be a chain of joins, each with its own ON, before the
// ON of the join it belongs to: "A JOIN B JOIN C ON c1 ON c2" joins A to (B JOIN C).
std::unique_ptr<SqlTableSource> SqlStatementParser::parseTableSource() {
    auto node = parsePrimarySource();
    while (true) {
        if (isWord("CROSS") && m_tokens.isWord(m_pos + 1, "JOIN")) {
            const size_t keyword = m_pos;
            m_pos += 2;
            auto right = parsePrimarySource();
            node = joined(std::move(node), std::move(right), SqlTableSource::Kind::Cross, keyword);
        } else if ((isWord("CROSS") || isWord("OUTER")) && m_tokens.isWord(m_pos + 1, "APPLY")) {
            const size_t keyword = m_pos;
            note(m_pos,
                 ToUpperAscii(m_tokens.tokenText(m_pos)) + " APPLY cannot be shown in the editor",
                 true);
            m_pos += 2;
            auto right = parsePrimarySource();
            node = joined(std::move(node), std::move(right), SqlTableSource::Kind::Cross, keyword);
        } else if (atQualifiedJoin()) {
            const size_t keyword = m_pos;
            bool left = false;
            bool right = false;
            if (acceptWord("LEFT")) {
                left = true;
            } else if (acceptWord("RIGHT")) {
                right = true;
            } else if (acceptWord("FULL")) {
                left = right = true;
            } else {
                acceptWord("INNER");
            }
            if (left || right)
                acceptWord("OUTER");
            if (m_tokens[m_pos].kind == SqlTokenKind::Word &&
                contains(kJoinHints, m_tokens.tokenText(m_pos))) {
                note(m_pos,
                     "The join hint " + ToUpperAscii(m_tokens.tokenText(m_pos)) +
                         " is not shown in the editor",
                     false);
                ++m_pos;
            }
            expectWord("JOIN");
            auto operand = parseTableSource();
            expectWord("ON");
            SqlExpression condition = parseExpression();
            node = joined(std::move(node), std::move(operand), SqlTableSource::Kind::Join, keyword);
            node->allRowsOfLeft = left;
            node->allRowsOfRight = right;
            node->condition = std::move(condition);
        } else {
            break;
        }
    }
    return node;
}

std::unique_ptr<SqlTableSource> SqlStatementParser::parsePrimarySource() {
    auto source = std::make_unique<SqlTableSource>();
    source->first = m_pos;
    if (isSymbol("(")) {
        if (m_tokens.isWord(m_pos + 1, "SELECT") || m_tokens.isWord(m_pos + 1, "WITH")) {
            ++m_pos;
            if (isWord("WITH")) {
                note(m_pos, "A common table expression (WITH) cannot be shown in the editor", true);
                fail(m_pos, "A derived table cannot start with WITH");
            }
            source->kind = SqlTableSource::Kind::Derived;
            source->derived = std::make_unique<SqlSelect>();
            parseSelectBody(*source->derived);
            expectSymbol(")");
            parseTableAlias(*source);
            if (source->aliasToken == SqlTableSource::npos)
                fail(source->first, "A derived table needs an alias");
            if (isSymbol("(")) {
                note(m_pos,
                     "The column names after the derived table's alias cannot be shown "
                     "in the editor",
                     true);
                skipParentheses();
            }
            source->end = m_pos;
            return source;
        }
        if (m_tokens.isWord(m_pos + 1, "VALUES")) {
            note(m_pos + 1, "A table of VALUES cannot be shown in the editor", true);
            skipParentheses();
            source->kind = SqlTableSource::Kind::Table;
            source->name = "VALUES";
            parseTableAlias(*source);
            if (isSymbol("("))
                skipParentheses();
            source->end = m_pos;
            return source;
        }
        ++m_pos;
        auto inner = parseTableSource();
        expectSymbol(")");
        inner->first = source->first;
        inner->end = m_pos;
        return inner;
    }
    if (m_tokens[m_pos].kind == SqlTokenKind::Variable) {
        source->name = std::string(m_tokens.tokenText(m_pos++));
    } else if (m_tokens.isName(m_pos) && !isStructureWord(m_pos)) {
        source->name = parseName(false, true);
    } else {
        expected("a table");
    }
    if (isSymbol("(")) {
        // "t (NOLOCK)" is an old way of writing hints; anything else is a table-valued function.
        bool hints = m_tokens.match(m_pos) != SqlTokenList::npos;
        for (size_t i = m_pos + 1; hints && i < m_tokens.match(m_pos); ++i) {
            hints = m_tokens.isSymbol(i, ",") || (m_tokens[i].kind == SqlTokenKind::Word &&
                                                  contains(kTableHints, m_tokens.tokenText(i)));
        }
        const size_t first = m_pos;
        skipParentheses();
        if (hints)
            note(first, "The table hint " + textFrom(first) + " is not shown in the editor", false);
        else
            note(source->first,
                 "The table-valued function " + textFrom(source->first) +
                     " cannot be shown in the editor",
                 true);
    }
    if (isWord("FOR") && m_tokens.isWord(m_pos + 1, "SYSTEM_TIME")) {
        note(m_pos, "FOR SYSTEM_TIME cannot be shown in the editor", true);
        m_pos += 2;
        if (acceptWord("AS")) {
            expectWord("OF");
            parseAdditive();
        } else if (acceptWord("FROM")) {
            parseAdditive();
            expectWord("TO");
            parseAdditive();
        } else if (acceptWord("BETWEEN")) {
            parseAdditive();
            expectWord("AND");
            parseAdditive();
        } else if (acceptWord("CONTAINED")) {
            expectWord("IN");
            skipParentheses();
        } else {
            expectWord("ALL");
        }
    }
    parseTableAlias(*source);
    if (isWord("WITH") && m_tokens.isSymbol(m_pos + 1, "(")) {
        const size_t first = m_pos++;
        skipParentheses();
        note(first, "The table hint " + textFrom(first) + " is not shown in the editor", false);
    }
    if (isWord("TABLESAMPLE")) {
        note(m_pos, "TABLESAMPLE cannot be shown in the editor", true);
        ++m_pos;
        acceptWord("SYSTEM");
        skipParentheses();
        if (acceptWord("REPEATABLE"))
            skipParentheses();
    }
    if (isWord("PIVOT") || isWord("UNPIVOT")) {
        note(m_pos, ToUpperAscii(m_tokens.tokenText(m_pos)) + " cannot be shown in the editor",
             true);
        ++m_pos;
        skipParentheses();
        parseTableAlias(*source);
    }
    source->end = m_pos;
    return source;
}

void SqlStatementParser::parseTableAlias(SqlTableSource& source) {
    if (acceptWord("AS")) {
        if (!m_tokens.isName(m_pos))
            expected("an alias after AS");
        source.aliasToken = m_pos++;
    } else if (m_tokens.isName(m_pos) && !isStructureWord(m_pos)) {
        source.aliasToken = m_pos++;
    }
}

SqlExpression SqlStatementParser::parseValue() {
    SqlExpression expression;
    std::vector<size_t>* outer = m_windowFunctions;
    m_windowFunctions = &expression.windowFunctions;
    expression.first = m_pos;
    parseAdditive();
    expression.end = m_pos;
    expression.conjuncts = {{expression.first, m_pos, false}};
    m_windowFunctions = outer;
    return expression;
}

SqlExpression SqlStatementParser::parseExpression() {
    SqlExpression expression;
    std::vector<size_t>* outer = m_windowFunctions;
    m_windowFunctions = &expression.windowFunctions;
    expression.first = m_pos;
    parseAndTerms(&expression.conjuncts);
    if (isWord("OR")) {
        while (acceptWord("OR"))
            parseAndTerms(nullptr);
        expression.conjuncts = {{expression.first, m_pos, true}};
    }
    expression.end = m_pos;
    m_windowFunctions = outer;
    return expression;
}

void SqlStatementParser::parseOr() {
    do {
        parseAndTerms(nullptr);
    } while (acceptWord("OR"));
}

void SqlStatementParser::parseAndTerms(std::vector<SqlExpression::Conjunct>* conjuncts) {
    do {
        const size_t first = m_pos;
        parseNot();
        if (conjuncts)
            conjuncts->push_back({first, m_pos, false});
    } while (acceptWord("AND"));
}

void SqlStatementParser::parseNot() {
    while (acceptWord("NOT")) {
    }
    parsePredicate();
}

void SqlStatementParser::parsePredicate() {
    if (acceptWord("EXISTS")) {
        if (!isSymbol("(") || !m_tokens.isWord(m_pos + 1, "SELECT"))
            expected("a sub-query after EXISTS");
        skipParentheses();
        return;
    }
    parseAdditive();
    static constexpr std::array<std::string_view, 9> kComparisons = {"=",  "<>", "!=", "<", ">",
                                                                     "<=", ">=", "!<", "!>"};
    if (m_tokens[m_pos].kind == SqlTokenKind::Symbol &&
        std::find(kComparisons.begin(), kComparisons.end(), m_tokens.tokenText(m_pos)) !=
            kComparisons.end()) {
        ++m_pos;
        if ((isWord("ALL") || isWord("ANY") || isWord("SOME")) &&
            m_tokens.isSymbol(m_pos + 1, "(")) {
            ++m_pos;
            skipParentheses();
        } else {
            parseAdditive();
        }
        return;
    }
    const bool negated = acceptWord("NOT");
    if (acceptWord("BETWEEN")) {
        parseAdditive();
        expectWord("AND");
        parseAdditive();
    } else if (acceptWord("IN")) {
        if (!isSymbol("("))
            expectSymbol("(");
        if (m_tokens.isWord(m_pos + 1, "SELECT")) {
            skipParentheses();
        } else {
            ++m_pos;
            do {
                parseOr();
            } while (acceptSymbol(","));
            expectSymbol(")");
        }
    } else if (acceptWord("LIKE")) {
        parseAdditive();
        if (acceptWord("ESCAPE"))
            parseAdditive();
    } else if (negated) {
        expected("BETWEEN, IN or LIKE after NOT");
    } else if (acceptWord("IS")) {
        acceptWord("NOT");
        expectWord("NULL");
    }
}

void SqlStatementParser::parseAdditive() {
    parseMultiplicative();
    while (isSymbol("+") || isSymbol("-") || isSymbol("&") || isSymbol("|") || isSymbol("^")) {
        ++m_pos;
        parseMultiplicative();
    }
}

void SqlStatementParser::parseMultiplicative() {
    parseUnary();
    while (isSymbol("*") || isSymbol("/") || isSymbol("%")) {
        ++m_pos;
        parseUnary();
    }
}

void SqlStatementParser::parseUnary() {
    while (isSymbol("-") || isSymbol("+") || isSymbol("~"))
        ++m_pos;
    parsePrimary();
    while (acceptWord("COLLATE")) {
        if (!m_tokens.isName(m_pos))
            expected("a collation name after COLLATE");
        ++m_pos;
    }
}

void SqlStatementParser::parsePrimary() {
    const SqlToken& token = m_tokens[m_pos];
    switch (token.kind) {
    case SqlTokenKind::Number:
    case SqlTokenKind::String:
    case SqlTokenKind::Parameter:
    case SqlTokenKind::Variable:
        ++m_pos;
        return;
    case SqlTokenKind::Symbol:
        if (isSymbol("(")) {
            if (m_tokens.isWord(m_pos + 1, "SELECT")) {
                skipParentheses();
                return;
            }
            ++m_pos;
            parseOr();
            expectSymbol(")");
            return;
        }
        if (isSymbol("{")) {
            // An ODBC escape such as {fn UCASE(x)} or {d '2024-01-31'}.
            int depth = 0;
            const size_t first = m_pos;
            do {
                if (isSymbol("{"))
                    ++depth;
                else if (isSymbol("}"))
                    --depth;
                if (m_tokens.isEnd(m_pos))
                    fail(first, "The escape is not closed");
                ++m_pos;
            } while (depth > 0);
            return;
        }
        expected("an expression");
    case SqlTokenKind::Word:
        if (acceptWord("NULL"))
            return;
        if (isWord("CASE")) {
            parseCase();
            return;
        }
        if (isStructureWord(m_pos) &&
            !((isWord("LEFT") || isWord("RIGHT")) && m_tokens.isSymbol(m_pos + 1, "(")))
            expected("an expression");
        break;
    case SqlTokenKind::QuotedName:
        break;
    case SqlTokenKind::End:
        expected("an expression");
    }
    const size_t first = m_pos;
    parseName(true, true);
    if (isSymbol("(")) {
        parseCallArguments();
        if (isWord("WITHIN") && m_tokens.isWord(m_pos + 1, "GROUP")) {
            m_pos += 2;
            skipParentheses();
        }
        if (isWord("OVER")) {
            if (m_windowFunctions)
                m_windowFunctions->push_back(first);
            ++m_pos;
            if (isSymbol("("))
                skipParentheses();
            else if (m_tokens.isName(m_pos))
                ++m_pos;
            else
                expected("a window after OVER");
        }
    }
}

void SqlStatementParser::parseCase() {
    ++m_pos;
    if (!isWord("WHEN"))
        parseOr();
    if (!isWord("WHEN"))
        expected("WHEN");
    while (acceptWord("WHEN")) {
        parseOr();
        expectWord("THEN");
        parseOr();
    }
    if (acceptWord("ELSE"))
        parseOr();
    expectWord("END");
}

void SqlStatementParser::parseCallArguments() {
    ++m_pos;
    if (acceptSymbol(")"))
        return;
    if (acceptSymbol("*")) {
        expectSymbol(")");
        return;
    }
    if (!acceptWord("DISTINCT"))
        acceptWord("ALL");
    do {
        parseOr();
        if (acceptWord("AS"))
            parseTypeName();
        else if (acceptWord("FROM")) // TRIM(' ' FROM x)
            parseOr();
    } while (acceptSymbol(","));
    expectSymbol(")");
}

void SqlStatementParser::parseTypeName() {
    if (!m_tokens.isName(m_pos))
        expected("a type name");
    parseName(false, false);
    if (isSymbol("("))
        skipParentheses();
}

std::string SqlStatementParser::parseName(bool allowStar, bool allowEmptyParts) {
    std::string name;
    while (true) {
        if (m_tokens.isName(m_pos)) {
            name += m_tokens.tokenText(m_pos++);
        } else if (allowStar && !name.empty() && isSymbol("*")) {
            name += '*';
            ++m_pos;
            return name;
        } else if (!(allowEmptyParts && !name.empty() && isSymbol("."))) {
            expected("a name");
        }
        if (!isSymbol("."))
            return name;
        name += '.';
        ++m_pos;
    }
}

} // namespace marovin
