#include "marovin/platform/PlatformServices.h"

#include "marovin/platform/QtBusyPointer.h"
#include "marovin/platform/QtClipboard.h"
#include "marovin/platform/QtMessageBox.h"
#include "marovin/platform/QtSettingsStore.h"

namespace marovin {

PlatformServices PlatformServices::QtDefaults(QWidget* parent) {
    return PlatformServices{}.withDefaults(parent);
}

PlatformServices PlatformServices::withDefaults(QWidget* parent) const {
    PlatformServices result = *this;
    if (!result.messageBox)
        result.messageBox = std::make_shared<QtMessageBox>(parent);
    if (!result.settings)
        result.settings = std::make_shared<QtSettingsStore>();
    if (!result.clipboard)
        result.clipboard = std::make_shared<QtClipboard>();
    if (!result.busyPointer)
        result.busyPointer = std::make_shared<QtBusyPointer>();
    return result;
}

} // namespace marovin
