#pragma once

#include "marovin/MarovinExport.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marovin {

class cSQLQuery;

// Something of a statement that the query model does not show as it was written: where it
// starts (line and column from 1, columns counted in characters) and what happens to it.
struct MAROVIN_EXPORT ParseFinding {
    int lngLine = 0;
    int lngColumn = 0;
    std::string strMessage;
    // True when this finding alone makes the statement refused.
    bool blnRefuses = false;
};

// What reading a statement gave: the query it could build (nullptr when the text is no
// statement the reader understands), what the query does not show, and whether the statement is
// refused because the query would mean something else than the text.
struct MAROVIN_EXPORT ParseResult {
    std::shared_ptr<cSQLQuery> query;
    std::vector<ParseFinding> findings;
    bool blnRefused = false;
};

// Reads one T-SQL SELECT statement into a query: its tables with their aliases, the joins with
// their conditions and outer flags, the selected columns (with aggregation and alias), other
// output expressions as calculated items, the conditions of WHERE and HAVING split at their
// top-level AND, and the sort entries. Every statement the model writes reads back to a query
// that writes the same text. What the model cannot hold (TOP, UNION, a common table expression,
// comments, ...) is listed among the findings, each naming where it stands; the statement is
// refused when building the query would change its meaning. Never throws for any text.
MAROVIN_EXPORT ParseResult ParseSelectStatement(std::string_view sql);

// Gives tables other aliases, as an editor does that names the tables it shows by itself: for
// each pair (old alias, new alias) the table whose alias reads as the old one takes the new one,
// and so does every name the old alias qualifies in the selected items, calculated items,
// conditions, join conditions and sort entries. Aliases are compared as SQL Server compares
// names (brackets, double quotes and letter case aside); a new alias is written in brackets where
// a statement needs them. Strings, comments and the sub-query's own names stay as they are.
MAROVIN_EXPORT void
RenameTableAliases(cSQLQuery& query,
                   const std::vector<std::pair<std::string, std::string>>& renames);

} // namespace marovin
