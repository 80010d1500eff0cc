#pragma once

#include <string>

struct sqlite3;

namespace marovin {

// Registers on an SQLite connection the Transact-SQL functions that generated queries use and
// SQLite lacks or spells differently: the aggregates STDEV, STDEVP, VAR and VARP; the string
// functions LEFT, RIGHT, REVERSE and STR; the mathematical functions of the expression builder
// (LOG is the natural logarithm as in T-SQL, not SQLite's base 10); RAND; and the date functions
// GETDATE, GETUTCDATE, DAY, MONTH, YEAR, DATEADD, DATEDIFF, DATEPART and DATENAME.
//
// Differences from SQL Server: SQLite has no date types, so dates are texts
// "YYYY-MM-DD[ HH:MM:SS[.fff]]" and results are such texts; the date part of DATEADD, DATEDIFF,
// DATEPART and DATENAME must be written as a string ('day', 'mm', ...) because SQLite would read
// a bare day as a column name; weeks start on Sunday (SET DATEFIRST 7); an unreadable date is an
// error rather than an implicit conversion. Returns false when SQLite refused a registration.
bool registerSqlServerFunctions(sqlite3* db);

// LEFT and RIGHT are join keywords to SQLite, so LEFT(...) does not parse as a call. Returns the
// statement with every LEFT or RIGHT that is directly followed by "(" (blanks between allowed)
// written as the quoted name "LEFT" or "RIGHT", which SQLite calls as a function. Text in string
// literals, quoted identifiers and comments is left alone.
std::string quoteJoinKeywordCalls(const std::string& sql);

// T-SQL escapes a "]" inside a bracketed name by doubling it ([a]]b] names a]b); SQLite's
// brackets know no escape. Returns the statement with each bracketed name that holds "]]"
// written as a double-quoted name ("a]b"), and everything else as it was: other bracketed
// names keep their brackets, so that a name SQLite cannot resolve stays an error instead of
// turning into a string. Text in string literals, quoted identifiers and comments is left alone.
std::string translateBracketEscapes(const std::string& sql);

} // namespace marovin
