#pragma once

#include "marovin/MarovinExport.h"

#include <string>

namespace marovin {

/// A named expression of the SELECT list (a model variable, to the user).
class MAROVIN_EXPORT cCalculatedItem {
public:
    const std::string& strComputation() const { return m_strComputation; }
    void setStrComputation(const std::string& value) { m_strComputation = value; }

    const std::string& strName() const { return m_strName; }
    void setStrName(const std::string& value) { m_strName = value; }

    /// "computation AS name", or the bare computation when the name is blank.
    std::string strFullName() const;
    /// Appends strFullName() to out, without a text of its own.
    void AppendFullName(std::string& out) const;

private:
    std::string m_strComputation;
    std::string m_strName;
};

} // namespace marovin
