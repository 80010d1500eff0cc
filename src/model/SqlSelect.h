#pragma once

#include "SqlExpression.h"
#include "SqlTableSource.h"

#include <memory>
#include <optional>
#include <vector>

namespace marovin {

// One SELECT as written: the token ranges of its parts, in the order of the clauses. A statement
// written by the editor for a query with nothing selected has only WHERE and HAVING; it has no
// SELECT then.
struct SqlSelect {
    static constexpr size_t npos = static_cast<size_t>(-1);

    struct Item {
        SqlExpression expression;
        size_t aliasToken = npos;
    };
    struct SortItem {
        SqlExpression expression;
        size_t directionToken = npos; // ASC or DESC.
    };

    size_t first = 0;
    bool hasSelect = true;
    bool distinct = false;
    std::vector<Item> items;
    std::unique_ptr<SqlTableSource> from;
    std::optional<SqlExpression> where;
    size_t groupByToken = npos;
    std::vector<SqlExpression> groupBy;
    std::optional<SqlExpression> having;
    size_t havingToken = npos;
    std::vector<SortItem> orderBy;
};

} // namespace marovin
