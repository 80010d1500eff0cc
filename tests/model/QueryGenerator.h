#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace marovin {

class cSQLQuery;

// Makes query documents at random, as the editor or a host could make them: tables and views
// with odd names and aliases, at most one sub-query table, joins in any order (the model writes
// each join relative to the ones before), selected columns with aggregations and aliases,
// calculated items, conditions and sort entries. The texts are T-SQL as a user types it, with
// the editor's line-break tokens, parameter markers, comments, N'' strings and line breaks
// between their words.
//
// Every choice comes from `below(n)`, a number from 0 to n - 1: a seeded engine in the tests,
// the fuzzer's input in the fuzz target.
class QueryGenerator {
public:
    explicit QueryGenerator(std::function<size_t(size_t)> below);

    std::shared_ptr<cSQLQuery> Generate();

private:
    struct Scope {
        std::vector<std::string> qualifiers;  // How the query's tables are named in expressions.
        std::vector<std::string> outputNames; // Output names a sort entry may use.
    };

    bool chance(size_t percent) { return m_below(100) < percent; }
    template <size_t N> const char* pick(const char* const (&items)[N]) {
        return items[m_below(N)];
    }

    std::shared_ptr<cSQLQuery> query(bool isSubQuery);
    std::string column(const Scope& scope);
    // An expression; `aggregate` allows aggregation functions in it.
    std::string expression(const Scope& scope, int depth, bool aggregate);
    std::string condition(const Scope& scope, int depth, bool aggregate);
    // A blank between two words: a space, and now and then a line-break token, a line break or
    // a comment.
    std::string gap();

    std::function<size_t(size_t)> m_below;
    int m_counter = 0;
};

} // namespace marovin
