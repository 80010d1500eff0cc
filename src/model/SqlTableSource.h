#pragma once

#include "SqlExpression.h"

#include <memory>
#include <string>

namespace marovin {

struct SqlSelect;

// One table source of a FROM clause as written: a table or view, a derived table, or two
// sources joined (CROSS JOIN and the comma both give a Cross node).
struct SqlTableSource {
    static constexpr size_t npos = static_cast<size_t>(-1);
    enum class Kind { Table, Derived, Join, Cross };

    Kind kind = Kind::Table;
    size_t first = 0; // The token range the source covers.
    size_t end = 0;

    // Table: the name's parts as written, joined with ".". Both: the alias token, or npos.
    std::string name;
    size_t aliasToken = npos;
    std::unique_ptr<SqlSelect> derived;

    // Join and Cross.
    std::unique_ptr<SqlTableSource> left;
    std::unique_ptr<SqlTableSource> right;
    bool allRowsOfLeft = false;
    bool allRowsOfRight = false;
    SqlExpression condition;
    size_t keywordToken = 0; // Where the join is written ("LEFT", "JOIN", "CROSS" or ",").
};

} // namespace marovin
