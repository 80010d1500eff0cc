#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iSettingsStore.h"

#include <QMap>

namespace marovin {

/// Settings held in memory for one run; tests read and preset them directly.
class MAROVIN_EXPORT MemorySettingsStore : public iSettingsStore {
public:
    QString GetSetting(const QString& strSection, const QString& strKey,
                       const QString& strDefault) const override {
        return m_values.value(strSection + QLatin1Char('/') + strKey, strDefault);
    }
    void SaveSetting(const QString& strSection, const QString& strKey,
                     const QString& strValue) override {
        m_values.insert(strSection + QLatin1Char('/') + strKey, strValue);
    }
    bool Contains(const QString& strSection, const QString& strKey) const {
        return m_values.contains(strSection + QLatin1Char('/') + strKey);
    }

private:
    QMap<QString, QString> m_values;
};

} // namespace marovin
