#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iSettingsStore.h"

#include <QSettings>
#include <memory>

namespace marovin {

/// Settings kept by QSettings. The default store is the user's native store under
/// QCoreApplication::applicationName() (section = group, key = key); a file name gives an INI
/// file instead, which tests and portable hosts use.
class MAROVIN_EXPORT QtSettingsStore : public iSettingsStore {
public:
    QtSettingsStore();
    explicit QtSettingsStore(const QString& strIniFile);

    QString GetSetting(const QString& strSection, const QString& strKey,
                       const QString& strDefault) const override;
    void SaveSetting(const QString& strSection, const QString& strKey,
                     const QString& strValue) override;

private:
    std::unique_ptr<QSettings> m_settings;
};

} // namespace marovin
