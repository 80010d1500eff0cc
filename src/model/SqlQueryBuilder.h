#pragma once

#include "SqlFindings.h"
#include "SqlSelect.h"
#include "SqlTokenList.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace marovin {

class cCalculatedItem;
class cSelectedItem;
class cSQLQuery;
class cTable;

// Makes a query of the model from a statement read by SqlStatementParser, so that the query
// writes the statement again: every text the query keeps (conditions, expressions, join
// conditions) is taken from the statement as written. What the query cannot hold, or would hold
// with another meaning, becomes a finding.
class SqlQueryBuilder {
public:
    SqlQueryBuilder(const SqlTokenList& tokens, const std::vector<SqlComment>& comments,
                    SqlFindings& findings);

    std::shared_ptr<cSQLQuery> Build(const SqlSelect& select);

private:
    // A table or derived table of a FROM clause, with the model's table made for it.
    struct Leaf {
        const SqlTableSource* source = nullptr;
        std::shared_ptr<cTable> table;
    };
    // An item of the SELECT list and what it became: a selected item or a calculated item.
    struct Output {
        const SqlSelect::Item* item = nullptr;
        std::shared_ptr<cSelectedItem> selected;
        std::shared_ptr<cCalculatedItem> calculated;
    };
    // The state of the query being built at one level (the statement, or its derived table).
    struct Level {
        std::shared_ptr<cSQLQuery> query;
        int depth = 0;
        std::vector<Leaf> leaves;
        bool hasDerivedTable = false;
        bool windowAggregates = false;
        std::vector<Output> outputs;
    };

    std::shared_ptr<cSQLQuery> buildQuery(const SqlSelect& select, int depth);
    void buildFrom(Level& level, const SqlTableSource& from);
    void addLeaves(Level& level, const SqlTableSource& source);
    void linearize(Level& level, const SqlTableSource& node, int& joins);
    void addJoin(Level& level, const SqlTableSource& node, const std::shared_ptr<cTable>& left,
                 const std::shared_ptr<cTable>& right);
    // The table of a subtree that the join condition names first (the one after `skip` when
    // given); the last of the subtree when the condition names none of them.
    std::shared_ptr<cTable> pickTable(const Level& level, const SqlTableSource& subtree,
                                      const SqlExpression& condition,
                                      const std::shared_ptr<cTable>& skip) const;
    const Leaf* leafOf(const Level& level, const SqlTableSource& source) const;
    void buildItems(Level& level, const SqlSelect& select);
    void buildFilters(Level& level, const SqlSelect& select);
    void buildGroupBy(Level& level, const SqlSelect& select);
    void buildOrderBy(Level& level, const SqlSelect& select);
    void checkTexts();
    void reportComments();

    // The text of a range of the statement as the query keeps it: inside a derived table the
    // indentation the model adds to each of its lines is taken off again. The range is noted as
    // kept, so that a comment inside it is not reported as lost.
    std::string kept(size_t fromOffset, size_t toOffset, int depth);
    std::string keptTokens(size_t first, size_t end, int depth);
    // A condition operand without the one pair of parentheses that encloses it all.
    std::string conditionText(const SqlExpression::Conjunct& conjunct, int depth);
    void note(size_t token, std::string message, bool refuses);
    // A text shortened for a message.
    static std::string quoted(std::string_view text);

    const SqlTokenList& m_tokens;
    const std::vector<SqlComment>& m_comments;
    SqlFindings& m_findings;
    std::vector<std::pair<size_t, size_t>> m_kept;
};

} // namespace marovin
