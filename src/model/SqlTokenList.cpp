#include "SqlTokenList.h"

#include "marovin/Utilities.h"

#include <cctype>

namespace marovin {

namespace {

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::toupper(static_cast<unsigned char>(a[i])) !=
            std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

} // namespace

SqlTokenList::SqlTokenList(std::string_view text, std::vector<SqlToken> tokens)
    : m_text(text), m_tokens(std::move(tokens)), m_matches(m_tokens.size(), npos) {
    if (m_tokens.empty() || m_tokens.back().kind != SqlTokenKind::End) {
        SqlToken end;
        end.offset = text.size();
        m_tokens.push_back(end);
        m_matches.push_back(npos);
    }
    std::vector<size_t> open;
    for (size_t i = 0; i < m_tokens.size(); ++i) {
        if (isSymbol(i, "(")) {
            open.push_back(i);
        } else if (isSymbol(i, ")") && !open.empty()) {
            m_matches[i] = open.back();
            m_matches[open.back()] = i;
            open.pop_back();
        }
    }
}

std::string_view SqlTokenList::tokenText(size_t index) const {
    const SqlToken& token = (*this)[index];
    return m_text.substr(token.offset, token.length);
}

bool SqlTokenList::isWord(size_t index, std::string_view word) const {
    return (*this)[index].kind == SqlTokenKind::Word && equalIgnoringCase(tokenText(index), word);
}

bool SqlTokenList::isSymbol(size_t index, std::string_view symbol) const {
    return (*this)[index].kind == SqlTokenKind::Symbol && tokenText(index) == symbol;
}

bool SqlTokenList::isName(size_t index) const {
    const SqlTokenKind kind = (*this)[index].kind;
    return kind == SqlTokenKind::Word || kind == SqlTokenKind::QuotedName;
}

size_t SqlTokenList::match(size_t index) const {
    return index < m_matches.size() ? m_matches[index] : npos;
}

std::string_view SqlTokenList::source(size_t first, size_t end) const {
    if (end <= first)
        return {};
    const size_t from = (*this)[first].offset;
    return m_text.substr(from, (*this)[end - 1].end() - from);
}

std::string SqlTokenList::normalized(size_t first, size_t end) const {
    std::string result;
    for (size_t i = first; i < end && i < m_tokens.size(); ++i) {
        std::string_view text = tokenText(i);
        if ((*this)[i].kind == SqlTokenKind::QuotedName)
            text = text.substr(1, text.size() - 2);
        if (!result.empty())
            result += ' ';
        result += (*this)[i].kind == SqlTokenKind::String ? std::string(text) : ToUpperAscii(text);
    }
    return result;
}

} // namespace marovin
