#pragma once

#include "marovin/MarovinExport.h"

#include <QString>
#include <functional>

class QWidget;

namespace marovin {

/// How long work may run before the busy indicator appears, in milliseconds.
inline constexpr int kBusyIndicatorDelayMs = 300;

/// Runs work on a worker thread while the event loop goes on, so that every window keeps
/// repainting. Until the busy indicator appears, the user's input waits; then a modal indicator
/// over parent (object name "dlgBusy") shows strText, a running bar and a Cancel button
/// ("cmdCancelWork"; Escape does the same) that calls cancel, which must make the work return
/// soon. Returns once the work has returned: true when it ran to its end, false when the user
/// cancelled. An exception of the work is thrown again here, on the calling thread.
///
/// The work must not touch widgets; give it its own copies of what it reads.
MAROVIN_EXPORT bool RunInBackground(QWidget* parent, const QString& strText,
                                    const std::function<void()>& work,
                                    const std::function<void()>& cancel);

} // namespace marovin
