#include "marovin/SqlParser.h"

#include "SqlFindings.h"
#include "SqlLexer.h"
#include "SqlQueryBuilder.h"
#include "SqlStatementParser.h"
#include "SqlTokenList.h"
#include "marovin/cSQLQuery.h"

#include <exception>

namespace marovin {

ParseResult ParseSelectStatement(std::string_view sql) {
    ParseResult result;
    SqlFindings findings;
    SqlLexer lexer(sql);
    if (!lexer.Run()) {
        findings.Add(lexer.lngErrorLine(), lexer.lngErrorColumn(), lexer.strError(), true);
    } else {
        const SqlTokenList tokens(sql, lexer.tokens());
        SqlStatementParser parser(tokens, findings);
        if (const auto select = parser.Parse()) {
            try {
                SqlQueryBuilder builder(tokens, lexer.comments(), findings);
                result.query = builder.Build(*select);
            } catch (const std::exception& error) {
                // The model refused what was made of the statement.
                result.query.reset();
                findings.Add(1, 1, std::string("The statement cannot be read: ") + error.what(),
                             true);
            }
        }
    }
    result.blnRefused = findings.blnRefused();
    result.findings = findings.Take();
    return result;
}

} // namespace marovin
