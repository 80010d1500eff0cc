#pragma once

#include <cstddef>
#include <vector>

namespace marovin {

// An expression of a statement, as a range of its tokens, with what the reader of the query
// needs to know about its shape.
struct SqlExpression {
    // One operand of the expression's top-level AND (the whole expression when it has none);
    // isOr tells that the operand itself is an OR of several conditions.
    struct Conjunct {
        size_t first = 0;
        size_t end = 0;
        bool isOr = false;
    };

    size_t first = 0; // The first token.
    size_t end = 0;   // One past the last token.
    std::vector<Conjunct> conjuncts;
    // The first token of every function call that is followed by OVER (a window function).
    std::vector<size_t> windowFunctions;
};

} // namespace marovin
