#include "marovin/BuilderText.h"

#include "marovin/SqlNames.h"
#include "marovin/Utilities.h"

#include <algorithm>

namespace marovin {

namespace {

struct FunctionGroup {
    std::string strName;
    std::vector<std::string> colFunctions;
};

const std::vector<FunctionGroup>& catalogue() {
    static const std::vector<FunctionGroup> groups = {
        {"Date and Time",
         {"DATEADD", "DATEDIFF", "DATENAME", "DATEPART", "DAY", "GETDATE", "GETUTCDATE", "MONTH",
          "YEAR"}},
        {"Mathematical",
         {"ABS",     "ACOS",  "ASIN",  "ATAN", "ATN2",   "CEILING", "COS",   "COT",
          "DEGREES", "EXP",   "FLOOR", "LOG",  "LOG10",  "PI",      "POWER", "RADIANS",
          "RAND",    "ROUND", "SIGN",  "SIN",  "SQUARE", "SQRT",    "TAN"}},
        {"String", {"LEFT", "LOWER", "LTRIM", "REVERSE", "RIGHT", "RTRIM", "STR", "UPPER"}},
    };
    return groups;
}

} // namespace

bool isBlankText(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

std::string lineBreaksToNewlineTokens(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r') {
            if (i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            result.append(kNewlineToken);
        } else if (c == '\n') {
            result.append(kNewlineToken);
        } else {
            result += c;
        }
    }
    return result;
}

std::string newlineTokensToLineBreaks(std::string_view text, std::string_view lineBreak) {
    return ReplaceAll(text, kNewlineToken, lineBreak);
}

const std::vector<std::string>& conditionOperators() {
    static const std::vector<std::string> operators = {
        "=", "<", ">", "<=", ">=", "<>", "LIKE", "NOT LIKE"};
    return operators;
}

std::string conditionFragment(std::string_view field, std::string_view op, std::string_view value) {
    std::string fragment(field);
    AppendWithSeparator(fragment, op, " ");
    AppendWithSeparator(fragment, value, " ");
    return fragment;
}

std::string appendToCondition(std::string_view condition, std::string_view fragment) {
    std::string result(condition);
    if (!isBlankText(condition))
        result += " OR ";
    result.append(fragment);
    return result;
}

std::vector<std::string> splitCalculatedOrAggregatedItems(std::string_view text) {
    if (isBlankText(text))
        return {};
    return Split(text, "##");
}

std::vector<std::string> filterFieldCandidates(const std::vector<std::string>& candidates,
                                               std::string_view condition) {
    if (isBlankText(condition))
        return candidates;
    const bool aggregated = ContainsAggregateFunction(condition);
    std::vector<std::string> result;
    for (const auto& candidate : candidates) {
        if (ContainsAggregateFunction(candidate) == aggregated)
            result.push_back(candidate);
    }
    return result;
}

const std::vector<std::string>& functionGroups() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        for (const auto& group : catalogue())
            result.push_back(group.strName);
        return result;
    }();
    return names;
}

const std::vector<std::string>& functionsOfGroup(std::string_view group) {
    static const std::vector<std::string> none;
    for (const auto& entry : catalogue()) {
        if (entry.strName == group)
            return entry.colFunctions;
    }
    return none;
}

std::vector<std::string> allCatalogueFunctions() {
    std::vector<std::string> result;
    for (const auto& group : catalogue())
        result.insert(result.end(), group.colFunctions.begin(), group.colFunctions.end());
    return result;
}

FunctionTemplate functionTemplate(std::string_view function) {
    // The date functions leave the caret at the end, the two-argument functions put it directly
    // after the opening bracket, everything else between its brackets.
    static const std::vector<std::pair<std::string_view, FunctionTemplate>> templates = {
        {"DATEADD", {"DATEADD(,,)", 0}},  {"DATEDIFF", {"DATEDIFF(,,)", 0}},
        {"DATENAME", {"DATENAME(,)", 0}}, {"DATEPART", {"DATEPART(,)", 0}},
        {"GETDATE", {"GETDATE()", 0}},    {"RAND", {"RAND()", 0}},
        {"LEFT", {"LEFT(,)", 2}},         {"RIGHT", {"RIGHT(,)", 2}},
        {"POWER", {"POWER(,)", 2}},       {"ROUND", {"ROUND(,)", 2}},
        {"STR", {"STR(,10,2)", 6}},
    };
    for (const auto& [name, entry] : templates) {
        if (name == function)
            return entry;
    }
    return {std::string(function) + "()", 1};
}

std::string fieldOperand(std::string_view table, std::string_view field,
                         std::string_view aggregation) {
    // Each name bracketed where the statement needs it: blanks, keywords, other characters.
    std::string operand = BracketIdentifier(Trim(table)) + "." + BracketIdentifier(Trim(field));
    if (!aggregation.empty() && aggregation != kNoAggregation)
        operand = std::string(aggregation) + "(" + operand + ")";
    return operand;
}

bool acceptsVariableNameCharacter(char32_t character, int caretPosition,
                                  std::string_view currentName) {
    if ((character >= U'A' && character <= U'Z') || (character >= U'a' && character <= U'z'))
        return true;
    if (character == U'\b')
        return true;
    if (character >= U'0' && character <= U'9')
        return caretPosition > 0;
    if (character == U'_')
        return !Trim(currentName).empty();
    return false;
}

} // namespace marovin
