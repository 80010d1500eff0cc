#pragma once

#include "marovin/MarovinExport.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marovin {

class cSQLQuery;
class cTable;
class cTables;

// Shared helpers of the query model, the control and the dialogs. Line break means CR LF.

inline constexpr std::string_view kCrLf = "\r\n";
/// The one list of aggregation names.
inline constexpr std::string_view kAggregationFunctions =
    "AVG,COUNT,MAX,MIN,STDEV,STDEVP,SUM,VAR,VARP";
/// The stored form of a line break typed inside a condition or expression.
inline constexpr std::string_view kNewlineToken = "{newline}";

/// The nine aggregation names, in list order.
MAROVIN_EXPORT const std::vector<std::string>& AggregationFunctionNames();

/// target = target + separator + piece, or piece when target is empty (an empty piece still adds
/// the separator after a non-empty target).
MAROVIN_EXPORT void AppendWithSeparator(std::string& target, std::string_view piece,
                                        std::string_view separator);
/// Every line prefixed with count spaces; a blank text gives "".
MAROVIN_EXPORT std::string IndentLines(std::string_view text, int count);
/// Replaces a doubled separator by a single one until none is left. The separator is not empty.
MAROVIN_EXPORT std::string CollapseRepeatedSeparator(std::string text, std::string_view separator);
/// True when the expression, without spaces and in upper case, holds an aggregation name
/// directly followed by "(".
MAROVIN_EXPORT bool ContainsAggregateFunction(std::string_view expression);
/// Trims, splits at ".", puts "[" "]" around each piece holding a blank (unless already so).
MAROVIN_EXPORT std::string QuoteIdentifier(std::string_view name);
/// Appends QuoteIdentifier(name) to out without a text of its own.
MAROVIN_EXPORT void AppendQuotedIdentifier(std::string& out, std::string_view name);
/// Appends " AS " and the quoted alias to out, unless the alias is blank or its quoted form equals
/// what out holds from nameStart on (a name written under its own name needs no alias).
MAROVIN_EXPORT void AppendAliasUnlessSame(std::string& out, size_t nameStart,
                                          std::string_view alias);
/// Removes every "[" and "]".
MAROVIN_EXPORT std::string StripBrackets(std::string_view text);
/// The last dot-separated piece of the name ("" for an empty name).
MAROVIN_EXPORT std::string LastNamePart(std::string_view name);
/// True when the collection has an entry under the key; never throws.
template <class Collection>
bool IsInCollection(const Collection& collection, const std::string& key) {
    try {
        collection.Item(key);
        return true;
    } catch (...) {
        return false;
    }
}
/// The first table whose alias (as read) equals the alias exactly, or nullptr.
MAROVIN_EXPORT std::shared_ptr<cTable> FindTableByAlias(const cTables& tables,
                                                        std::string_view alias);
/// The aliases of the selected items, then the names of the calculated items, joined with ",".
MAROVIN_EXPORT std::string ListOutputNames(const cSQLQuery& query);
MAROVIN_EXPORT long MaxOf(long a, long b);

/// The locale's decimal separator, used by ParseDecimal ("." until set).
MAROVIN_EXPORT const std::string& DecimalSeparator();
MAROVIN_EXPORT void SetDecimalSeparator(std::string separator);
/// Reads a number that may use "." or "," as its decimal mark. A missing value gives the default;
/// text that is no number gives 0.
MAROVIN_EXPORT double ParseDecimal(const std::optional<std::string>& value, double defaultValue);

/// Small text helpers with the semantics the system relies on.
/// Removes leading and trailing blanks (spaces only).
MAROVIN_EXPORT std::string Trim(std::string_view text);
/// Splits at every occurrence of the separator; an empty text gives no parts at all.
MAROVIN_EXPORT std::vector<std::string> Split(std::string_view text, std::string_view separator);
MAROVIN_EXPORT std::string ReplaceAll(std::string_view text, std::string_view from,
                                      std::string_view to);
MAROVIN_EXPORT std::string ToUpperAscii(std::string_view text);
/// "True" / "False".
MAROVIN_EXPORT std::string BoolToText(bool value);
/// Reads "True"/"False" in any letter case, or a number (non-zero is true); blanks around are
/// ignored. Throws ModelError for anything else.
MAROVIN_EXPORT bool TextToBool(std::string_view text);

} // namespace marovin
