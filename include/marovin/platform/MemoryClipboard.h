#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iClipboard.h"

namespace marovin {

/// A clipboard of one text held in memory, for tests and headless hosts.
class MAROVIN_EXPORT MemoryClipboard : public iClipboard {
public:
    void Clear() override {
        m_strText.clear();
        ++m_lngClears;
    }
    void SetText(const QString& strText) override { m_strText = strText; }
    QString Text() const override { return m_strText; }
    /// How often Clear was called.
    int lngClears() const { return m_lngClears; }

private:
    QString m_strText;
    int m_lngClears = 0;
};

} // namespace marovin
