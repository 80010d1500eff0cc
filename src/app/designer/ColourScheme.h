#pragma once

#include <QString>
#include <optional>

namespace marovin {

// The designer's colours: the platform's own, or a light or dark palette on the Fusion style
// (which draws every palette faithfully). The query builder and its dialogs follow whatever
// palette is in force, also when it changes while they are open.
enum class ColourScheme { System, Light, Dark };

// "system", "light" or "dark" (any letter case); nothing for any other text.
std::optional<ColourScheme> ParseColourScheme(const QString& text);
QString ColourSchemeName(ColourScheme scheme);
// Switches the application's style and palette. The first call remembers the platform's own, so
// that System can return to them later.
void ApplyColourScheme(ColourScheme scheme);

} // namespace marovin
