#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iClipboard.h"

namespace marovin {

/// The application's QClipboard.
class MAROVIN_EXPORT QtClipboard : public iClipboard {
public:
    void Clear() override;
    void SetText(const QString& strText) override;
    QString Text() const override;
};

} // namespace marovin
