#pragma once

#include "marovin/MarovinExport.h"

#include <string>
#include <string_view>
#include <vector>

namespace marovin {

// Names the editor hands to the query model. The model brackets only names with blanks; a table
// or column called like a keyword (Order, Group, Select) or holding other characters than
// letters, digits and "_" (a hyphen, a quote, a "]") needs brackets as well for the statement to
// run. These helpers make that choice and undo it, so that everything that compares names can
// ignore the brackets.

/// True for a T-SQL reserved word, and for the words SQLite refuses as plain identifiers; letter
/// case is ignored.
MAROVIN_EXPORT bool IsReservedWord(std::string_view word);
/// True when the name part must be written in brackets: a reserved word, a part starting with a
/// digit, or one holding anything but ASCII letters, digits, "_" and non-ASCII letters. An empty
/// part, one already in brackets and the all-columns "*" need none.
MAROVIN_EXPORT bool NeedsBrackets(std::string_view part);
/// The part in brackets when it needs them ("]" doubled inside), otherwise unchanged.
MAROVIN_EXPORT std::string BracketIdentifier(std::string_view part);
/// The part without its enclosing brackets ("]]" back to "]"), blanks around removed; a part
/// without brackets is only trimmed.
MAROVIN_EXPORT std::string UnbracketIdentifier(std::string_view part);
/// Splits a dotted name at the dots outside brackets and unbrackets each part:
/// "dbo.[Order Details]" gives "dbo" and "Order Details". An empty name gives no parts.
MAROVIN_EXPORT std::vector<std::string> SplitQualifiedName(std::string_view name);
/// The parts of a dotted name unbracketed and joined with "." again ("dbo.[Order]" gives
/// "dbo.Order"): the form names are compared in.
MAROVIN_EXPORT std::string UnbracketQualifiedName(std::string_view name);
/// A table name as the catalogue lists it, schema "." name, with each of the two parts bracketed
/// where needed. The first dot separates the schema, so a table name holding dots stays whole:
/// "dbo.Order" gives "dbo.[Order]", "dbo.x." gives "dbo.[x.]".
MAROVIN_EXPORT std::string BracketCatalogueName(std::string_view name);

} // namespace marovin
