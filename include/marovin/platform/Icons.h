#pragma once

#include "marovin/MarovinExport.h"

#include <QIcon>

namespace marovin {

/// The pictures on the query builder's buttons. They are drawn as vector shapes at whatever size
/// and pixel ratio a button asks for, in the colours of the palette the button paints with, so
/// they stay sharp on high-density screens and readable on light and dark palettes alike. A
/// disabled button gets the palette's disabled text colour.
enum class IconKind {
    Add,         // a plus sign
    Edit,        // a pencil
    Remove,      // a cross
    MoveUp,      // an arrow pointing up
    MoveDown,    // an arrow pointing down
    Table,       // a small grid with a heading row
    SubQuery,    // a table inside brackets
    CheckSyntax, // a tick
    Preview,     // a triangle pointing right
    Refresh,     // a circular arrow
};

MAROVIN_EXPORT QIcon makeIcon(IconKind kind);

} // namespace marovin
