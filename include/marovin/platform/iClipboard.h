#pragma once

#include "marovin/MarovinExport.h"

#include <QString>

namespace marovin {

/// The system clipboard, as far as the control and the dialogs use it: plain text.
class MAROVIN_EXPORT iClipboard {
public:
    virtual ~iClipboard() = default;
    virtual void Clear() = 0;
    virtual void SetText(const QString& strText) = 0;
    virtual QString Text() const = 0;
};

} // namespace marovin
