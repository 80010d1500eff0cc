#pragma once

#include "marovin/MarovinExport.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QWidget;

namespace marovin {

class iMessageBox;
struct PlatformServices;

// Query parameters: a condition or calculated item names a parameter of the host with a marker
// "<[" name "]>" in its text. Markers stay in the stored and rendered query; only a preview asks
// for values (frmParameterValues) and puts them in place of the markers.

inline constexpr std::string_view kParameterMarkerStart = "<[";
inline constexpr std::string_view kParameterMarkerEnd = "]>";
/// The most parameters one preview can ask for (the value dialog has this many rows).
inline constexpr int kMaxParameterValues = 10;
/// Where the values typed at the last confirmation are remembered, joined by the separator.
inline constexpr std::string_view kRememberedValuesSection = "InitValQueryParam";
inline constexpr std::string_view kRememberedValuesKey = "ParamString";
inline constexpr std::string_view kRememberedValuesSeparator = "%[--]&";

/// "<[" name "]>".
MAROVIN_EXPORT std::string parameterMarker(std::string_view name);

/// The names of the parameters whose marker occurs in the statement at least once
/// (case-sensitive), in the order of the parameter list.
MAROVIN_EXPORT std::vector<std::string> usedParameters(std::string_view statement,
                                                       const std::vector<std::string>& parameters);

/// The first marker name in the text that is not one of the parameters (exact comparison), or
/// nothing. A "<[" without a closing "]>" names the whole rest of the text. No parameters at
/// all means nothing is checked.
MAROVIN_EXPORT std::optional<std::string>
firstUnknownParameter(std::string_view text, const std::vector<std::string>& parameters);

/// Every "<[" and every "]>" replaced by a single quote, so that each marker reads as a string
/// literal holding the parameter's name (the statement a syntax check sends).
MAROVIN_EXPORT std::string markersAsStringLiterals(std::string_view statement);

/// Every marker of the used parameters replaced by the value at the same position.
MAROVIN_EXPORT std::string replaceParameterMarkers(std::string_view statement,
                                                   const std::vector<std::string>& names,
                                                   const std::vector<std::string>& values);

/// The decimal separator of the current locale (QLocale's default).
MAROVIN_EXPORT std::string localeDecimalSeparator();
/// True for a number: optional blanks around, an optional sign, digits with at most one decimal
/// separator (at least one digit in all), and an optional exponent (e or E, optional sign,
/// digits).
MAROVIN_EXPORT bool isNumericText(std::string_view text, std::string_view decimalSeparator);
MAROVIN_EXPORT bool isNumericText(std::string_view text);

/// A typed value as an SQL literal: every single quote removed, then the text used bare when it
/// is numeric and enclosed in single quotes otherwise (O'Brien gives 'OBrien').
MAROVIN_EXPORT std::string quoteParameterValue(std::string_view typed,
                                               std::string_view decimalSeparator);
MAROVIN_EXPORT std::string quoteParameterValue(std::string_view typed);

/// The remembered string of values typed, joined by "%[--]&", and its pieces.
MAROVIN_EXPORT std::string joinRememberedValues(const std::vector<std::string>& values);
MAROVIN_EXPORT std::vector<std::string> splitRememberedValues(std::string_view remembered);

/// Asks for the values of the used parameters (one SQL literal per name, same order); returns
/// nullptr when the user cancelled.
using ParameterValuesPrompt = std::function<std::shared_ptr<std::vector<std::string>>(
    const std::vector<std::string>& usedParameters)>;

/// A prompt that shows frmParameterValues modally over parent with the given services.
MAROVIN_EXPORT ParameterValuesPrompt parameterValuesDialogPrompt(const PlatformServices& services,
                                                                 QWidget* parent = nullptr);

/// Replaces the parameter markers of a statement before a preview: finds the parameters the
/// statement uses, asks for their values through the prompt (even when none is used) and
/// replaces every marker of a used parameter by its value. Returns the empty string when more
/// than ten parameters are used (after telling the user why) or when the user cancelled.
/// Markers of names that are not parameters stay as they are.
MAROVIN_EXPORT std::string SubstituteParameters(const std::string& strSQL,
                                                const std::vector<std::string>& colParameters,
                                                iMessageBox& messageBox,
                                                const ParameterValuesPrompt& prompt);
/// The same with the value dialog over parent. Without parameters the statement is returned as
/// it is.
MAROVIN_EXPORT std::string
SubstituteParameters(const std::string& strSQL,
                     const std::shared_ptr<std::vector<std::string>>& colParameters,
                     const PlatformServices& services, QWidget* parent = nullptr);

} // namespace marovin
