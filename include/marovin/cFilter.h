#pragma once

#include "marovin/MarovinExport.h"

#include <string>

namespace marovin {

/// A fixed filter: one condition of WHERE or HAVING that can be switched off.
class MAROVIN_EXPORT cFilter {
public:
    const std::string& strCondition() const { return m_strCondition; }
    void setStrCondition(const std::string& value) { m_strCondition = value; }

    bool blnIsActive() const { return m_blnIsActive; }
    void setBlnIsActive(bool value) { m_blnIsActive = value; }

private:
    std::string m_strCondition;
    bool m_blnIsActive = true;
};

} // namespace marovin
