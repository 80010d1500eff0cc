#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace marovin {

enum class SqlTokenKind {
    Word,       // A plain name or keyword: letters, digits, "_", "@", "#", "$", UTF-8 letters.
    QuotedName, // "[...]" or "\"...\"".
    String,     // '...' or N'...'.
    Number,     // 12, 1.5, .5, 1e3, 0x1F.
    Parameter,  // An editor parameter marker "<[" name "]>".
    Variable,   // @name or @@name.
    Symbol,     // Operators and punctuation: ( ) , . ; + - * / % = < > <> != <= >= !< !> & | ^ ~
    End,        // After the last token.
};

// One token of a statement, as an offset range into the text with its line and column (from 1,
// columns counted in characters).
struct SqlToken {
    SqlTokenKind kind = SqlTokenKind::End;
    size_t offset = 0;
    size_t length = 0;
    int line = 1;
    int column = 1;
    size_t end() const { return offset + length; }
};

// A comment ("-- ..." to the end of the line, or "/* ... */", which may nest).
struct SqlComment {
    size_t offset = 0;
    size_t length = 0;
    int line = 1;
    int column = 1;
};

// Splits T-SQL text into tokens and comments. The editor's line-break token "{newline}" counts
// as white space, so that text written by the editor reads like text typed by a user.
class SqlLexer {
public:
    explicit SqlLexer(std::string_view text);

    // False when the text holds something that is no token (an unclosed string, name or
    // comment, a character T-SQL does not use); strError, lngErrorLine and lngErrorColumn say
    // what and where.
    bool Run();

    const std::vector<SqlToken>& tokens() const { return m_tokens; }
    const std::vector<SqlComment>& comments() const { return m_comments; }
    const std::string& strError() const { return m_strError; }
    int lngErrorLine() const { return m_lngErrorLine; }
    int lngErrorColumn() const { return m_lngErrorColumn; }

private:
    bool fail(int line, int column, std::string message);
    // Moves to an offset further on, keeping line and column up to date.
    void advanceTo(size_t offset);
    char at(size_t offset) const { return offset < m_text.size() ? m_text[offset] : '\0'; }
    // The end of a quoted run that starts at `from` (after the opening character) and closes
    // with `close`, a doubled `close` standing for itself; npos when it is not closed.
    size_t quotedEnd(size_t from, char close) const;
    size_t wordEnd(size_t from) const;
    size_t numberEnd(size_t from) const;
    size_t symbolLength(size_t from) const;

    std::string_view m_text;
    size_t m_pos = 0;
    int m_line = 1;
    int m_column = 1;
    std::vector<SqlToken> m_tokens;
    std::vector<SqlComment> m_comments;
    std::string m_strError;
    int m_lngErrorLine = 0;
    int m_lngErrorColumn = 0;
};

} // namespace marovin
