#pragma once

#include "marovin/MarovinExport.h"

#include <QString>

class QAbstractItemView;
class QLabel;

namespace marovin {

/// A line of muted text centred in an item view's viewport while the view has no rows, telling
/// the user what to do to fill it. The hint follows the model the view has when it is installed
/// (rows added or removed, a reset) and the viewport's size; it takes no mouse events, and as an
/// ordinary label it is read by assistive technology. Returns the label, owned by the viewport.
MAROVIN_EXPORT QLabel* installEmptyHint(QAbstractItemView* view, const QString& text);

} // namespace marovin
