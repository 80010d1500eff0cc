#include "marovin/Utilities.h"

#include "marovin/ModelError.h"
#include "marovin/cSQLQuery.h"

#include <charconv>

namespace marovin {
namespace {

std::string& decimalSeparatorStorage() {
    static std::string separator = ".";
    return separator;
}

// Parses the whole text as a number: optional sign, digits with "." as the decimal mark, optional
// exponent. Returns false when anything is left over.
bool parseNumber(std::string_view text, double& value) {
    std::string t = Trim(text);
    // Tabs count as blanks for numbers.
    while (!t.empty() && (t.front() == '\t'))
        t.erase(t.begin());
    while (!t.empty() && (t.back() == '\t'))
        t.pop_back();
    if (t.empty())
        return false;
    bool negative = false;
    size_t start = 0;
    if (t[0] == '+' || t[0] == '-') {
        negative = t[0] == '-';
        start = 1;
    }
    if (start >= t.size() || t[start] == '+' || t[start] == '-')
        return false;
    const char* first = t.data() + start;
    const char* last = t.data() + t.size();
    auto [ptr, ec] = std::from_chars(first, last, value, std::chars_format::general);
    if (ec != std::errc() || ptr != last)
        return false;
    if (negative)
        value = -value;
    return true;
}

} // namespace

const std::vector<std::string>& AggregationFunctionNames() {
    static const std::vector<std::string> names = Split(kAggregationFunctions, ",");
    return names;
}

void AppendWithSeparator(std::string& target, std::string_view piece, std::string_view separator) {
    if (!target.empty()) {
        target.append(separator);
        target.append(piece);
    } else {
        target.assign(piece);
    }
}

std::string IndentLines(std::string_view text, int count) {
    const std::string pad(count < 1 ? 0 : static_cast<size_t>(count), ' ');
    if (Trim(text).empty())
        return {};
    std::string result;
    bool first = true;
    for (const auto& line : Split(text, kCrLf)) {
        if (first) {
            result = pad + line;
            first = false;
        } else {
            AppendWithSeparator(result, pad + line, kCrLf);
        }
    }
    return result;
}

std::string CollapseRepeatedSeparator(std::string text, std::string_view separator) {
    if (separator.empty())
        throw ModelError("CollapseRepeatedSeparator needs a separator");
    const std::string doubled = std::string(separator) + std::string(separator);
    while (text.find(doubled) != std::string::npos)
        text = ReplaceAll(text, doubled, separator);
    return text;
}

bool ContainsAggregateFunction(std::string_view expression) {
    // The same as searching the text without blanks, in upper case, for a name followed by "(":
    // before every "(", the characters other than blanks are compared with each name from its
    // end. Nothing is copied.
    const auto& names = AggregationFunctionNames();
    for (size_t paren = expression.find('('); paren != std::string_view::npos;
         paren = expression.find('(', paren + 1)) {
        for (const auto& name : names) {
            size_t pos = paren;
            size_t matched = 0;
            while (matched < name.size()) {
                while (pos > 0 && expression[pos - 1] == ' ')
                    --pos;
                if (pos == 0)
                    break;
                char c = expression[pos - 1];
                if (c >= 'a' && c <= 'z')
                    c = static_cast<char>(c - 'a' + 'A');
                if (c != name[name.size() - 1 - matched])
                    break;
                --pos;
                ++matched;
            }
            if (matched == name.size())
                return true;
        }
    }
    return false;
}

void AppendQuotedIdentifier(std::string& out, std::string_view name) {
    // One pass over the name, which is usually short: a search per piece for its dot and another
    // for a blank cost more than the name's few bytes.
    size_t begin = 0;
    size_t end = name.size();
    while (begin < end && name[begin] == ' ')
        ++begin;
    if (begin == end)
        return;
    while (name[end - 1] == ' ')
        --end;
    size_t start = begin;
    bool blank = false;
    for (size_t i = begin;; ++i) {
        if (i == end || name[i] == '.') {
            const std::string_view piece = name.substr(start, i - start);
            const bool bracketed = !piece.empty() && piece.front() == '[' && piece.back() == ']';
            if (blank && !bracketed) {
                out += '[';
                out += piece;
                out += ']';
            } else {
                out += piece;
            }
            if (i == end)
                return;
            out += '.';
            start = i + 1;
            blank = false;
        } else if (name[i] == ' ') {
            blank = true;
        }
    }
}

std::string QuoteIdentifier(std::string_view name) {
    std::string result;
    result.reserve(name.size() + 2);
    AppendQuotedIdentifier(result, name);
    return result;
}

void AppendAliasUnlessSame(std::string& out, size_t nameStart, std::string_view alias) {
    if (alias.find_first_not_of(' ') == std::string_view::npos)
        return;
    const size_t mark = out.size();
    out += " AS ";
    const size_t aliasStart = out.size();
    AppendQuotedIdentifier(out, alias);
    const std::string_view text = out;
    if (text.substr(aliasStart) == text.substr(nameStart, mark - nameStart))
        out.resize(mark);
}

std::string StripBrackets(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (char c : text) {
        if (c != '[' && c != ']')
            result += c;
    }
    return result;
}

std::string LastNamePart(std::string_view name) {
    if (name.empty())
        return {};
    const auto pos = name.rfind('.');
    return std::string(pos == std::string_view::npos ? name : name.substr(pos + 1));
}

std::shared_ptr<cTable> FindTableByAlias(const cTables& tables, std::string_view alias) {
    for (const auto& table : tables) {
        if (table->strAlias() == alias)
            return table;
    }
    return nullptr;
}

std::string ListOutputNames(const cSQLQuery& query) {
    std::string names;
    for (const auto& item : *query.SelectedItems())
        AppendWithSeparator(names, item->strAlias(), ",");
    for (const auto& item : *query.CalculatedItems())
        AppendWithSeparator(names, item->strName(), ",");
    return names;
}

long MaxOf(long a, long b) {
    return a > b ? a : b;
}

const std::string& DecimalSeparator() {
    return decimalSeparatorStorage();
}

void SetDecimalSeparator(std::string separator) {
    decimalSeparatorStorage() = separator.empty() ? "." : std::move(separator);
}

double ParseDecimal(const std::optional<std::string>& value, double defaultValue) {
    if (!value)
        return defaultValue;
    const std::string& separator = DecimalSeparator();
    std::string text = ReplaceAll(*value, ".", separator);
    text = ReplaceAll(text, ",", separator);
    // Back to the one mark the number reader understands.
    text = ReplaceAll(text, separator, ".");
    double number = 0;
    return parseNumber(text, number) ? number : 0.0;
}

std::string Trim(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(' ');
    return std::string(text.substr(first, last - first + 1));
}

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    if (text.empty())
        return parts;
    if (separator.empty()) {
        parts.emplace_back(text);
        return parts;
    }
    size_t start = 0;
    while (true) {
        const auto pos = text.find(separator, start);
        if (pos == std::string_view::npos) {
            parts.emplace_back(text.substr(start));
            return parts;
        }
        parts.emplace_back(text.substr(start, pos - start));
        start = pos + separator.size();
    }
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty())
        return std::string(text);
    std::string result;
    result.reserve(text.size());
    size_t start = 0;
    while (true) {
        const auto pos = text.find(from, start);
        if (pos == std::string_view::npos) {
            result.append(text.substr(start));
            return result;
        }
        result.append(text.substr(start, pos - start));
        result.append(to);
        start = pos + from.size();
    }
}

std::string ToUpperAscii(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return result;
}

std::string BoolToText(bool value) {
    return value ? "True" : "False";
}

bool TextToBool(std::string_view text) {
    const std::string lower = FoldKey(Trim(text));
    if (lower == "true")
        return true;
    if (lower == "false")
        return false;
    double number = 0;
    if (parseNumber(text, number))
        return number != 0.0;
    throw ModelError("\"" + std::string(text) +
                     "\" is not a boolean (expected True, False or a number)");
}

} // namespace marovin
