#pragma once

#include "marovin/platform/iClipboard.h"

namespace marovin {

// The application's QClipboard.
class QtClipboard : public iClipboard {
public:
    void Clear() override;
    void SetText(const QString& strText) override;
    QString Text() const override;
};

} // namespace marovin
