#pragma once

#include "marovin/MarovinExport.h"

#include <string>
#include <string_view>
#include <vector>

namespace marovin {

// The text rules of the condition builder and the expression builder, kept apart from the
// dialogs so that they can be used and checked on their own.

/// True when the text holds nothing but blanks, tabs and line breaks: a condition or expression
/// of empty lines is as empty as one of blanks.
MAROVIN_EXPORT bool isBlankText(std::string_view text);

/// Every CR LF pair, and every lone LF or CR, replaced by the "{newline}" token: the stored
/// form of the line breaks typed in a dialog.
MAROVIN_EXPORT std::string lineBreaksToNewlineTokens(std::string_view text);
/// Every "{newline}" token replaced by the line break given (CR LF unless told).
MAROVIN_EXPORT std::string newlineTokensToLineBreaks(std::string_view text,
                                                     std::string_view lineBreak = "\r\n");

/// The comparison operators a condition is built with, in the order they are offered.
MAROVIN_EXPORT const std::vector<std::string>& conditionOperators();

/// The condition fragment field, operator, value, each joined with a blank (an empty accumulator
/// takes the piece as it is).
MAROVIN_EXPORT std::string conditionFragment(std::string_view field, std::string_view op,
                                             std::string_view value);
/// The condition with the fragment appended at its end, after " OR " unless the condition is
/// blank.
MAROVIN_EXPORT std::string appendToCondition(std::string_view condition, std::string_view fragment);

/// The further field candidates given as one text joined by "##"; a blank text gives none.
MAROVIN_EXPORT std::vector<std::string> splitCalculatedOrAggregatedItems(std::string_view text);
/// The candidates a condition may still use, in their order: all of them while the condition is
/// blank, only aggregated ones once it holds an aggregate, only plain ones otherwise (a condition
/// goes to WHERE or to HAVING as a whole).
MAROVIN_EXPORT std::vector<std::string>
filterFieldCandidates(const std::vector<std::string>& candidates, std::string_view condition);

/// The function catalogue: the groups in the order offered, and the functions of a group (none
/// for an unknown group).
MAROVIN_EXPORT const std::vector<std::string>& functionGroups();
MAROVIN_EXPORT const std::vector<std::string>& functionsOfGroup(std::string_view group);
/// Every function of the catalogue, groups in catalogue order.
MAROVIN_EXPORT std::vector<std::string> allCatalogueFunctions();

/// What inserting a function puts into the expression, and how far the caret then moves back
/// from the end of the inserted text.
struct MAROVIN_EXPORT FunctionTemplate {
    std::string strText;
    int lngCaretLeft = 0;
};
MAROVIN_EXPORT FunctionTemplate functionTemplate(std::string_view function);

/// The caption of the "no aggregation" entry.
inline constexpr std::string_view kNoAggregation = "<none>";
/// Table and field as an expression operand: "table.field", each name in square brackets where
/// the statement needs them (a blank, a keyword, other characters), wrapped in the aggregation
/// unless it is "<none>" or empty.
MAROVIN_EXPORT std::string fieldOperand(std::string_view table, std::string_view field,
                                        std::string_view aggregation);

/// Whether a character typed into a variable name is taken: letters A to Z and a to z, backspace,
/// a digit unless the caret is at the start, "_" unless the name is still blank. Anything else,
/// the blank included, is refused.
MAROVIN_EXPORT bool acceptsVariableNameCharacter(char32_t character, int caretPosition,
                                                 std::string_view currentName);

} // namespace marovin
