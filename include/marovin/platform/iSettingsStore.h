#pragma once

#include "marovin/MarovinExport.h"

#include <QString>

namespace marovin {

/// The per-user settings store: texts by section and key under the host application's name.
class MAROVIN_EXPORT iSettingsStore {
public:
    virtual ~iSettingsStore() = default;
    /// The stored text, or strDefault when there is none.
    virtual QString GetSetting(const QString& strSection, const QString& strKey,
                               const QString& strDefault) const = 0;
    virtual void SaveSetting(const QString& strSection, const QString& strKey,
                             const QString& strValue) = 0;
};

} // namespace marovin
