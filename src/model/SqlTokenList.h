#pragma once

#include "SqlLexer.h"

#include <string>
#include <string_view>
#include <vector>

namespace marovin {

// The tokens of a statement together with its text: the words and symbols the parser asks
// about, the text a range of tokens covers, and which parenthesis closes which.
class SqlTokenList {
public:
    static constexpr size_t npos = static_cast<size_t>(-1);

    SqlTokenList(std::string_view text, std::vector<SqlToken> tokens);

    std::string_view text() const { return m_text; }
    size_t size() const { return m_tokens.size(); }
    const SqlToken& operator[](size_t index) const { return m_tokens[clamp(index)]; }
    std::string_view tokenText(size_t index) const;

    // True when the token is the word (letter case ignored) or the symbol.
    bool isWord(size_t index, std::string_view word) const;
    bool isSymbol(size_t index, std::string_view symbol) const;
    bool isEnd(size_t index) const { return (*this)[index].kind == SqlTokenKind::End; }
    // A plain or quoted name part.
    bool isName(size_t index) const;

    // The parenthesis closing the one at `index` (or opening the one there); npos when it has
    // none.
    size_t match(size_t index) const;

    // The text from the first token of the range to the end of its last, exactly as written.
    std::string_view source(size_t first, size_t end) const;
    // The range's tokens in a form that compares equal for the same expression written with
    // other spacing, letter case of names and keywords, comments and brackets around names.
    std::string normalized(size_t first, size_t end) const;

private:
    size_t clamp(size_t index) const {
        return index < m_tokens.size() ? index : m_tokens.size() - 1;
    }

    std::string_view m_text;
    std::vector<SqlToken> m_tokens; // The last one is the End token.
    std::vector<size_t> m_matches;
};

} // namespace marovin
