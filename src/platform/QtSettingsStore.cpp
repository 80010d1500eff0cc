#include "marovin/platform/QtSettingsStore.h"

#include <QCoreApplication>

namespace marovin {

QtSettingsStore::QtSettingsStore()
    : m_settings(std::make_unique<QSettings>(QCoreApplication::applicationName(), QString())) {}

QtSettingsStore::QtSettingsStore(const QString& strIniFile)
    : m_settings(std::make_unique<QSettings>(strIniFile, QSettings::IniFormat)) {}

QString QtSettingsStore::GetSetting(const QString& strSection, const QString& strKey,
                                    const QString& strDefault) const {
    const QString path = strSection + QLatin1Char('/') + strKey;
    if (!m_settings->contains(path))
        return strDefault;
    return m_settings->value(path).toString();
}

void QtSettingsStore::SaveSetting(const QString& strSection, const QString& strKey,
                                  const QString& strValue) {
    m_settings->setValue(strSection + QLatin1Char('/') + strKey, strValue);
    m_settings->sync();
}

} // namespace marovin
