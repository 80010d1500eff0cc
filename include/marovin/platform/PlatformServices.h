#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iBusyPointer.h"
#include "marovin/platform/iClipboard.h"
#include "marovin/platform/iMessageBox.h"
#include "marovin/platform/iSettingsStore.h"

#include <memory>

class QWidget;

namespace marovin {

/// The services a widget or dialog reaches the platform through. Shared, so a host and the
/// dialogs opened by the control use the same ones.
struct MAROVIN_EXPORT PlatformServices {
    std::shared_ptr<iMessageBox> messageBox;
    std::shared_ptr<iSettingsStore> settings;
    std::shared_ptr<iClipboard> clipboard;
    std::shared_ptr<iBusyPointer> busyPointer;

    /// QMessageBox (modal to parent), QSettings, QClipboard and the wait cursor.
    static PlatformServices QtDefaults(QWidget* parent = nullptr);
    /// Fills every empty member with its Qt default.
    PlatformServices withDefaults(QWidget* parent = nullptr) const;
};

} // namespace marovin
