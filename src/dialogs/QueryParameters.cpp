#include "marovin/QueryParameters.h"

#include "marovin/Utilities.h"
#include "marovin/frmParameterValues.h"
#include "marovin/platform/PlatformServices.h"
#include "marovin/platform/iMessageBox.h"

#include <QLocale>
#include <algorithm>

namespace marovin {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBlankChar(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

std::string parameterMarker(std::string_view name) {
    std::string marker(kParameterMarkerStart);
    marker.append(name);
    marker.append(kParameterMarkerEnd);
    return marker;
}

std::vector<std::string> usedParameters(std::string_view statement,
                                        const std::vector<std::string>& parameters) {
    std::vector<std::string> used;
    for (const auto& name : parameters) {
        if (statement.find(parameterMarker(name)) != std::string_view::npos)
            used.push_back(name);
    }
    return used;
}

std::optional<std::string> firstUnknownParameter(std::string_view text,
                                                 const std::vector<std::string>& parameters) {
    if (parameters.empty())
        return std::nullopt;
    const std::vector<std::string> pieces = Split(text, kParameterMarkerStart);
    for (size_t i = 1; i < pieces.size(); ++i) {
        const std::string& piece = pieces[i];
        const auto end = piece.find(kParameterMarkerEnd);
        const std::string name = end == std::string::npos ? piece : piece.substr(0, end);
        if (std::find(parameters.begin(), parameters.end(), name) == parameters.end())
            return name;
    }
    return std::nullopt;
}

std::string markersAsStringLiterals(std::string_view statement) {
    return ReplaceAll(ReplaceAll(statement, kParameterMarkerStart, "'"), kParameterMarkerEnd, "'");
}

std::string replaceParameterMarkers(std::string_view statement,
                                    const std::vector<std::string>& names,
                                    const std::vector<std::string>& values) {
    std::string result(statement);
    for (size_t i = 0; i < names.size() && i < values.size(); ++i)
        result = ReplaceAll(result, parameterMarker(names[i]), values[i]);
    return result;
}

std::string localeDecimalSeparator() {
    return QLocale().decimalPoint().toStdString();
}

bool isNumericText(std::string_view text, std::string_view decimalSeparator) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && isBlankChar(text[begin]))
        ++begin;
    while (end > begin && isBlankChar(text[end - 1]))
        --end;
    std::string_view t = text.substr(begin, end - begin);
    size_t i = 0;
    if (i < t.size() && (t[i] == '+' || t[i] == '-'))
        ++i;
    int digits = 0;
    bool separatorSeen = false;
    while (i < t.size()) {
        if (isDigit(t[i])) {
            ++digits;
            ++i;
        } else if (!separatorSeen && !decimalSeparator.empty() &&
                   t.substr(i, decimalSeparator.size()) == decimalSeparator) {
            separatorSeen = true;
            i += decimalSeparator.size();
        } else {
            break;
        }
    }
    if (digits == 0)
        return false;
    if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
        ++i;
        if (i < t.size() && (t[i] == '+' || t[i] == '-'))
            ++i;
        int exponentDigits = 0;
        while (i < t.size() && isDigit(t[i])) {
            ++exponentDigits;
            ++i;
        }
        if (exponentDigits == 0)
            return false;
    }
    return i == t.size();
}

bool isNumericText(std::string_view text) {
    return isNumericText(text, localeDecimalSeparator());
}

std::string quoteParameterValue(std::string_view typed, std::string_view decimalSeparator) {
    const std::string bare = ReplaceAll(typed, "'", "");
    if (isNumericText(bare, decimalSeparator))
        return bare;
    return "'" + bare + "'";
}

std::string quoteParameterValue(std::string_view typed) {
    return quoteParameterValue(typed, localeDecimalSeparator());
}

std::string joinRememberedValues(const std::vector<std::string>& values) {
    std::string remembered;
    for (const auto& value : values)
        AppendWithSeparator(remembered, value, kRememberedValuesSeparator);
    return remembered;
}

std::vector<std::string> splitRememberedValues(std::string_view remembered) {
    return Split(remembered, kRememberedValuesSeparator);
}

ParameterValuesPrompt parameterValuesDialogPrompt(const PlatformServices& services,
                                                  QWidget* parent) {
    return [services, parent](const std::vector<std::string>& used) {
        frmParameterValues dialog(services, parent);
        dialog.setColParameters(std::make_shared<std::vector<std::string>>(used));
        dialog.exec();
        return dialog.colValues();
    };
}

std::string SubstituteParameters(const std::string& strSQL,
                                 const std::vector<std::string>& colParameters,
                                 iMessageBox& messageBox, const ParameterValuesPrompt& prompt) {
    const std::vector<std::string> used = usedParameters(strSQL, colParameters);
    if (used.size() > static_cast<size_t>(kMaxParameterValues)) {
        messageBox.Show(QStringLiteral("Preview Query Results"),
                        QStringLiteral("Preview Query Results not possible with more than 10 "
                                       "parameters.\r\nExecuting the Model is still possible."),
                        MessageIcon::Exclamation, MessageButtons::Ok);
        return {};
    }
    const std::shared_ptr<std::vector<std::string>> values = prompt ? prompt(used) : nullptr;
    if (!values)
        return {};
    return replaceParameterMarkers(strSQL, used, *values);
}

std::string SubstituteParameters(const std::string& strSQL,
                                 const std::shared_ptr<std::vector<std::string>>& colParameters,
                                 const PlatformServices& services, QWidget* parent) {
    if (!colParameters)
        return strSQL;
    const PlatformServices filled = services.withDefaults(parent);
    return SubstituteParameters(strSQL, *colParameters, *filled.messageBox,
                                parameterValuesDialogPrompt(filled, parent));
}

} // namespace marovin
