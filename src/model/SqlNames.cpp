#include "marovin/SqlNames.h"

#include "marovin/Utilities.h"

#include <algorithm>
#include <array>

namespace marovin {

namespace {

// T-SQL's reserved words, then those SQLite does not accept as plain names. Upper case, sorted.
constexpr std::array<std::string_view, 199> kReservedWords = {
    "ADD",
    "ALL",
    "ALTER",
    "AND",
    "ANY",
    "AS",
    "ASC",
    "AUTHORIZATION",
    "AUTOINCREMENT",
    "BACKUP",
    "BEGIN",
    "BETWEEN",
    "BREAK",
    "BROWSE",
    "BULK",
    "BY",
    "CASCADE",
    "CASE",
    "CAST",
    "CHECK",
    "CHECKPOINT",
    "CLOSE",
    "CLUSTERED",
    "COALESCE",
    "COLLATE",
    "COLUMN",
    "COMMIT",
    "COMPUTE",
    "CONSTRAINT",
    "CONTAINS",
    "CONTAINSTABLE",
    "CONTINUE",
    "CONVERT",
    "CREATE",
    "CROSS",
    "CURRENT",
    "CURRENT_DATE",
    "CURRENT_TIME",
    "CURRENT_TIMESTAMP",
    "CURRENT_USER",
    "CURSOR",
    "DATABASE",
    "DBCC",
    "DEALLOCATE",
    "DECLARE",
    "DEFAULT",
    "DEFERRABLE",
    "DELETE",
    "DENY",
    "DESC",
    "DISK",
    "DISTINCT",
    "DISTRIBUTED",
    "DOUBLE",
    "DROP",
    "DUMP",
    "ELSE",
    "END",
    "ERRLVL",
    "ESCAPE",
    "EXCEPT",
    "EXEC",
    "EXECUTE",
    "EXISTS",
    "EXIT",
    "EXTERNAL",
    "FETCH",
    "FILE",
    "FILLFACTOR",
    "FOR",
    "FOREIGN",
    "FREETEXT",
    "FREETEXTTABLE",
    "FROM",
    "FULL",
    "FUNCTION",
    "GLOB",
    "GOTO",
    "GRANT",
    "GROUP",
    "HAVING",
    "HOLDLOCK",
    "IDENTITY",
    "IDENTITYCOL",
    "IDENTITY_INSERT",
    "IF",
    "IN",
    "INDEX",
    "INDEXED",
    "INNER",
    "INSERT",
    "INTERSECT",
    "INTO",
    "IS",
    "ISNULL",
    "JOIN",
    "KEY",
    "KILL",
    "LEFT",
    "LIKE",
    "LIMIT",
    "LINENO",
    "LOAD",
    "MERGE",
    "NATIONAL",
    "NOCHECK",
    "NONCLUSTERED",
    "NOT",
    "NOTHING",
    "NOTNULL",
    "NULL",
    "NULLIF",
    "OF",
    "OFF",
    "OFFSET",
    "OFFSETS",
    "ON",
    "OPEN",
    "OPENDATASOURCE",
    "OPENQUERY",
    "OPENROWSET",
    "OPENXML",
    "OPTION",
    "OR",
    "ORDER",
    "OUTER",
    "OVER",
    "PERCENT",
    "PIVOT",
    "PLAN",
    "PRECISION",
    "PRIMARY",
    "PRINT",
    "PROC",
    "PROCEDURE",
    "PUBLIC",
    "RAISERROR",
    "READ",
    "READTEXT",
    "RECONFIGURE",
    "REFERENCES",
    "REGEXP",
    "REPLICATION",
    "RESTORE",
    "RESTRICT",
    "RETURN",
    "RETURNING",
    "REVERT",
    "REVOKE",
    "RIGHT",
    "ROLLBACK",
    "ROWCOUNT",
    "ROWGUIDCOL",
    "RULE",
    "SAVE",
    "SCHEMA",
    "SECURITYAUDIT",
    "SELECT",
    "SEMANTICKEYPHRASETABLE",
    "SEMANTICSIMILARITYDETAILSTABLE",
    "SEMANTICSIMILARITYTABLE",
    "SESSION_USER",
    "SET",
    "SETUSER",
    "SHUTDOWN",
    "SOME",
    "STATISTICS",
    "SYSTEM_USER",
    "TABLE",
    "TABLESAMPLE",
    "TEXTSIZE",
    "THEN",
    "TO",
    "TOP",
    "TRAN",
    "TRANSACTION",
    "TRIGGER",
    "TRUNCATE",
    "TRY_CONVERT",
    "TSEQUAL",
    "UNION",
    "UNIQUE",
    "UNPIVOT",
    "UPDATE",
    "UPDATETEXT",
    "USE",
    "USER",
    "USING",
    "VALUES",
    "VARYING",
    "VIEW",
    "WAITFOR",
    "WHEN",
    "WHERE",
    "WHILE",
    "WINDOW",
    "WITH",
    "WITHIN",
    "WRITETEXT",
};

bool isBracketed(std::string_view part) {
    return part.size() >= 2 && part.front() == '[' && part.back() == ']';
}

bool isNameCharacter(char c) {
    const auto u = static_cast<unsigned char>(c);
    // Bytes of multi-byte UTF-8 sequences are taken as letters: names in other scripts run
    // unbracketed on every engine we support.
    return u >= 0x80 || (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') ||
           (u >= 'a' && u <= 'z') || u == '_';
}

} // namespace

bool IsReservedWord(std::string_view word) {
    if (word.empty() || word.size() > 40)
        return false;
    const std::string upper = ToUpperAscii(word);
    return std::binary_search(kReservedWords.begin(), kReservedWords.end(),
                              std::string_view(upper));
}

bool NeedsBrackets(std::string_view part) {
    if (part.empty() || part == "*" || isBracketed(part))
        return false;
    if (part.front() >= '0' && part.front() <= '9')
        return true;
    if (!std::all_of(part.begin(), part.end(), isNameCharacter))
        return true;
    return IsReservedWord(part);
}

std::string BracketIdentifier(std::string_view part) {
    if (!NeedsBrackets(part))
        return std::string(part);
    return "[" + ReplaceAll(part, "]", "]]") + "]";
}

std::string UnbracketIdentifier(std::string_view part) {
    const std::string trimmed = Trim(part);
    if (!isBracketed(trimmed))
        return trimmed;
    return ReplaceAll(std::string_view(trimmed).substr(1, trimmed.size() - 2), "]]", "]");
}

std::vector<std::string> SplitQualifiedName(std::string_view name) {
    std::vector<std::string> parts;
    if (name.empty())
        return parts;
    std::string current;
    bool inBrackets = false;
    for (size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (inBrackets) {
            current += c;
            if (c == ']') {
                // "]]" inside brackets is an escaped "]"; a single one closes them.
                if (i + 1 < name.size() && name[i + 1] == ']')
                    current += name[++i];
                else
                    inBrackets = false;
            }
        } else if (c == '.') {
            parts.push_back(UnbracketIdentifier(current));
            current.clear();
        } else {
            if (c == '[' && Trim(current).empty())
                inBrackets = true;
            current += c;
        }
    }
    parts.push_back(UnbracketIdentifier(current));
    return parts;
}

std::string UnbracketQualifiedName(std::string_view name) {
    std::string result;
    bool first = true;
    for (const std::string& part : SplitQualifiedName(name)) {
        if (!first)
            result += '.';
        result += part;
        first = false;
    }
    return result;
}

std::string BracketCatalogueName(std::string_view name) {
    const auto dot = name.find('.');
    if (dot == std::string_view::npos)
        return BracketIdentifier(name);
    return BracketIdentifier(name.substr(0, dot)) + "." + BracketIdentifier(name.substr(dot + 1));
}

} // namespace marovin
