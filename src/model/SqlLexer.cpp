#include "SqlLexer.h"

#include "marovin/Utilities.h"

#include <cctype>

namespace marovin {

namespace {

bool isWordStart(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '#' || c >= 0x80;
}

bool isWordPart(unsigned char c) {
    return isWordStart(c) || (c >= '0' && c <= '9') || c == '@' || c == '$';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

} // namespace

SqlLexer::SqlLexer(std::string_view text) : m_text(text) {}

bool SqlLexer::fail(int line, int column, std::string message) {
    m_strError = std::move(message);
    m_lngErrorLine = line;
    m_lngErrorColumn = column;
    return false;
}

void SqlLexer::advanceTo(size_t offset) {
    for (; m_pos < offset; ++m_pos) {
        const char c = m_text[m_pos];
        if (c == '\n' || (c == '\r' && at(m_pos + 1) != '\n')) {
            ++m_line;
            m_column = 1;
        } else if (c != '\r' && (static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++m_column;
        }
    }
}

size_t SqlLexer::quotedEnd(size_t from, char close) const {
    for (size_t i = from; i < m_text.size(); ++i) {
        if (m_text[i] != close)
            continue;
        if (at(i + 1) == close) {
            ++i;
            continue;
        }
        return i + 1;
    }
    return std::string_view::npos;
}

size_t SqlLexer::wordEnd(size_t from) const {
    size_t i = from;
    while (i < m_text.size() && isWordPart(static_cast<unsigned char>(m_text[i])))
        ++i;
    return i;
}

size_t SqlLexer::numberEnd(size_t from) const {
    size_t i = from;
    if (at(i) == '0' && (at(i + 1) == 'x' || at(i + 1) == 'X')) {
        i += 2;
        while (std::isxdigit(static_cast<unsigned char>(at(i))))
            ++i;
        return i;
    }
    while (isDigit(at(i)))
        ++i;
    if (at(i) == '.') {
        ++i;
        while (isDigit(at(i)))
            ++i;
    }
    if ((at(i) == 'e' || at(i) == 'E') &&
        (isDigit(at(i + 1)) || ((at(i + 1) == '+' || at(i + 1) == '-') && isDigit(at(i + 2))))) {
        i += 2;
        while (isDigit(at(i)))
            ++i;
    }
    return i;
}

size_t SqlLexer::symbolLength(size_t from) const {
    const char c = at(from);
    const char n = at(from + 1);
    if ((c == '<' && (n == '>' || n == '=')) || (c == '>' && n == '=') ||
        (c == '!' && (n == '=' || n == '<' || n == '>')))
        return 2;
    static constexpr std::string_view kSingle = "(),.;+-*/%=<>&|^~{}:";
    return kSingle.find(c) != std::string_view::npos && c != '\0' ? 1 : 0;
}

bool SqlLexer::Run() {
    m_tokens.clear();
    m_comments.clear();
    while (true) {
        while (m_pos < m_text.size()) {
            if (isBlank(m_text[m_pos])) {
                advanceTo(m_pos + 1);
            } else if (m_text.substr(m_pos).starts_with(kNewlineToken)) {
                advanceTo(m_pos + kNewlineToken.size());
            } else {
                break;
            }
        }
        SqlToken token;
        token.offset = m_pos;
        token.line = m_line;
        token.column = m_column;
        if (m_pos >= m_text.size()) {
            m_tokens.push_back(token);
            return true;
        }
        const char c = m_text[m_pos];
        const char n = at(m_pos + 1);
        size_t end = m_pos;
        if (c == '-' && n == '-') {
            end = m_text.find_first_of("\r\n", m_pos);
            if (end == std::string_view::npos)
                end = m_text.size();
            m_comments.push_back({m_pos, end - m_pos, m_line, m_column});
            advanceTo(end);
            continue;
        }
        if (c == '/' && n == '*') {
            int depth = 0;
            size_t i = m_pos;
            for (; i < m_text.size(); ++i) {
                if (m_text[i] == '/' && at(i + 1) == '*') {
                    ++depth;
                    ++i;
                } else if (m_text[i] == '*' && at(i + 1) == '/') {
                    ++i;
                    if (--depth == 0)
                        break;
                }
            }
            if (depth != 0)
                return fail(m_line, m_column, "The comment is not closed");
            m_comments.push_back({m_pos, i + 1 - m_pos, m_line, m_column});
            advanceTo(i + 1);
            continue;
        }
        if (c == '\'' || ((c == 'N' || c == 'n') && n == '\'')) {
            token.kind = SqlTokenKind::String;
            end = quotedEnd(m_pos + (c == '\'' ? 1 : 2), '\'');
            if (end == std::string_view::npos)
                return fail(m_line, m_column, "The string is not closed");
        } else if (c == '<' && n == '[') {
            // A parameter marker when "]>" follows on the same line; otherwise "<" and a name.
            const size_t close = m_text.find("]>", m_pos + 2);
            const size_t lineEnd = m_text.find_first_of("\r\n", m_pos);
            if (close != std::string_view::npos && close < lineEnd) {
                token.kind = SqlTokenKind::Parameter;
                end = close + 2;
            } else {
                token.kind = SqlTokenKind::Symbol;
                end = m_pos + 1;
            }
        } else if (c == '[' || c == '"') {
            token.kind = SqlTokenKind::QuotedName;
            end = quotedEnd(m_pos + 1, c == '[' ? ']' : '"');
            if (end == std::string_view::npos)
                return fail(m_line, m_column,
                            c == '[' ? "The bracketed name is not closed"
                                     : "The quoted name is not closed");
        } else if (c == '@') {
            token.kind = SqlTokenKind::Variable;
            end = wordEnd(m_pos + (n == '@' ? 2 : 1));
        } else if (isDigit(c) || (c == '.' && isDigit(n))) {
            token.kind = SqlTokenKind::Number;
            end = numberEnd(m_pos);
        } else if (isWordStart(static_cast<unsigned char>(c))) {
            token.kind = SqlTokenKind::Word;
            end = wordEnd(m_pos);
        } else if (const size_t length = symbolLength(m_pos); length != 0) {
            token.kind = SqlTokenKind::Symbol;
            end = m_pos + length;
        } else {
            return fail(m_line, m_column, "Unexpected character \"" + std::string(1, c) + "\"");
        }
        token.length = end - m_pos;
        m_tokens.push_back(token);
        advanceTo(end);
    }
}

} // namespace marovin
