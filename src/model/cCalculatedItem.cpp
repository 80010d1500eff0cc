#include "marovin/cCalculatedItem.h"

#include "marovin/Utilities.h"

namespace marovin {

std::string cCalculatedItem::strFullName() const {
    if (m_strName.find_first_not_of(' ') == std::string::npos)
        return m_strComputation;
    std::string result;
    result.reserve(m_strComputation.size() + 4 + m_strName.size());
    result += m_strComputation;
    result += " AS ";
    result += m_strName;
    return result;
}

} // namespace marovin
