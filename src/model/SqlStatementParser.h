#pragma once

#include "SqlFindings.h"
#include "SqlSelect.h"
#include "SqlTokenList.h"

#include <memory>
#include <string>
#include <string_view>

namespace marovin {

// Recursive descent over the tokens of one T-SQL SELECT statement. It checks the syntax, keeps
// the token ranges of the clauses and items, and notes what the query model has no place for
// (TOP, UNION, INTO, hints, ...) among the findings; building the query is left to the caller.
class SqlStatementParser {
public:
    SqlStatementParser(const SqlTokenList& tokens, SqlFindings& findings);

    // The statement's SELECT, or nullptr when the text is no statement that can be read (a
    // finding then says why and where). An empty text gives a SELECT without anything in it.
    std::unique_ptr<SqlSelect> Parse();

private:
    struct SyntaxError {
        size_t token;
        std::string message;
    };
    [[noreturn]] void fail(size_t token, std::string message) const;
    // "Expected <what>" with the token found there.
    [[noreturn]] void expected(std::string_view what) const;

    bool isWord(std::string_view word) const { return m_tokens.isWord(m_pos, word); }
    bool isSymbol(std::string_view symbol) const { return m_tokens.isSymbol(m_pos, symbol); }
    bool acceptWord(std::string_view word);
    bool acceptSymbol(std::string_view symbol);
    void expectWord(std::string_view word);
    void expectSymbol(std::string_view symbol);
    // A word that stands for structure (a clause, a join, an operator) rather than a name.
    bool isStructureWord(size_t index) const;
    // The source text of the tokens from `first` up to the current one.
    std::string textFrom(size_t first) const;
    // Moves past the parenthesis at the current token and everything up to its partner.
    void skipParentheses();
    void note(size_t token, std::string message, bool refuses);

    void parseSelectBody(SqlSelect& select);
    void parseQuerySpecification(SqlSelect& select);
    void parseSelectItem(SqlSelect& select);
    void parseTop();
    void parseGroupBy(SqlSelect& select);
    void parseOrderBy(SqlSelect& select);
    void parseStatementOptions();

    std::unique_ptr<SqlTableSource> parseFrom();
    std::unique_ptr<SqlTableSource> parseTableSource();
    std::unique_ptr<SqlTableSource> parsePrimarySource();
    void parseTableAlias(SqlTableSource& source);
    bool atQualifiedJoin() const;
    std::unique_ptr<SqlTableSource> joined(std::unique_ptr<SqlTableSource> left,
                                           std::unique_ptr<SqlTableSource> right,
                                           SqlTableSource::Kind kind, size_t keyword);

    // An expression at clause level: its range, its top-level AND operands, its window
    // functions.
    SqlExpression parseExpression();
    // A value at clause level (an item of SELECT, GROUP BY or ORDER BY): no comparison, AND or
    // OR at its top.
    SqlExpression parseValue();
    void parseOr();
    void parseAndTerms(std::vector<SqlExpression::Conjunct>* conjuncts);
    void parseNot();
    void parsePredicate();
    void parseAdditive();
    void parseMultiplicative();
    void parseUnary();
    void parsePrimary();
    void parseCase();
    void parseCallArguments();
    void parseTypeName();
    // A dotted name; returns its parts joined with "." as written. A "*" may end it when
    // allowStar is set; empty parts ("db..t") are allowed when allowEmptyParts is set.
    std::string parseName(bool allowStar, bool allowEmptyParts);

    const SqlTokenList& m_tokens;
    SqlFindings& m_findings;
    size_t m_pos = 0;
    // Where the window functions of the expression being read are noted.
    std::vector<size_t>* m_windowFunctions = nullptr;
};

} // namespace marovin
