// Renaming table aliases in a query's texts, token by token, so that strings, comments and names
// that merely contain an alias are left alone.

#include "SqlLexer.h"
#include "SqlTokenList.h"
#include "marovin/SqlNames.h"
#include "marovin/SqlParser.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"

#include <map>

namespace marovin {

namespace {

using Renames = std::map<std::string, std::string>;

// A name part as SQL Server compares it: without brackets or double quotes, in one letter case.
std::string partKey(std::string_view part) {
    std::string text = Trim(part);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = "[" + ReplaceAll(text.substr(1, text.size() - 2), "]", "]]") + "]";
    return FoldKey(UnbracketIdentifier(text));
}

// The text with the first part of every dotted name that an old alias is written in the new
// alias instead; unchanged when the text is no T-SQL.
std::string renameInText(const std::string& text, const Renames& renames) {
    SqlLexer lexer(text);
    if (!lexer.Run())
        return text;
    const SqlTokenList tokens(text, lexer.tokens());
    std::string result;
    size_t copied = 0;
    for (size_t i = 0; i + 2 < tokens.size(); ++i) {
        if (!tokens.isName(i) || !tokens.isSymbol(i + 1, ".") ||
            (i > 0 && tokens.isSymbol(i - 1, ".")))
            continue;
        const auto found = renames.find(partKey(tokens.tokenText(i)));
        if (found == renames.end())
            continue;
        result.append(text, copied, tokens[i].offset - copied);
        result += BracketIdentifier(found->second);
        copied = tokens[i].end();
    }
    result.append(text, copied, std::string::npos);
    return result;
}

// A selected item's name is a dotted name as the model keeps it, its parts possibly holding
// blanks: only its first part is looked at.
std::string renameInName(const std::string& name, const Renames& renames) {
    const std::vector<std::string> parts = SplitQualifiedName(name);
    if (parts.size() < 2)
        return name;
    const auto found = renames.find(FoldKey(parts.front()));
    if (found == renames.end())
        return name;
    // The first dot outside brackets ends the first part.
    size_t dot = 0;
    for (bool bracket = false; dot < name.size(); ++dot) {
        if (name[dot] == '[')
            bracket = true;
        else if (name[dot] == ']')
            bracket = false;
        else if (name[dot] == '.' && !bracket)
            break;
    }
    return BracketIdentifier(found->second) + name.substr(dot);
}

} // namespace

void RenameTableAliases(cSQLQuery& query,
                        const std::vector<std::pair<std::string, std::string>>& renames) {
    Renames byOldAlias;
    for (const auto& [oldAlias, newAlias] : renames)
        byOldAlias.emplace(partKey(oldAlias), newAlias);
    if (byOldAlias.empty())
        return;
    for (const auto& table : *query.Tables()) {
        const auto found = byOldAlias.find(partKey(table->strAlias()));
        if (found != byOldAlias.end())
            table->setStrAlias(found->second);
    }
    for (const auto& item : *query.SelectedItems()) {
        // Setting the name fills an empty alias: an item written without one stays so.
        const std::string field = QuoteIdentifier(item->strName());
        const bool noAlias =
            item->strFullFieldName() == (Trim(item->strAggregationFunction()).empty()
                                             ? field
                                             : item->strAggregationFunction() + "(" + field + ")");
        const std::string alias = noAlias ? std::string() : item->strAlias();
        item->setStrName(renameInName(item->strName(), byOldAlias));
        item->setStrAlias(alias);
    }
    for (const auto& item : *query.CalculatedItems())
        item->setStrComputation(renameInText(item->strComputation(), byOldAlias));
    for (const auto& filter : *query.Filters())
        filter->setStrCondition(renameInText(filter->strCondition(), byOldAlias));
    for (const auto& join : *query.JoinConditions())
        join->setStrCondition(renameInText(join->strCondition(), byOldAlias));
    for (const auto& entry : *query.OrderByItems())
        entry->setStrItem(renameInText(entry->strItem(), byOldAlias));
}

} // namespace marovin
