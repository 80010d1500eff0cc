#include "marovin/cCalculatedItem.h"

#include "marovin/Utilities.h"

namespace marovin {

std::string cCalculatedItem::strFullName() const {
    std::string result;
    result.reserve(m_strComputation.size() + 4 + m_strName.size());
    AppendFullName(result);
    return result;
}

void cCalculatedItem::AppendFullName(std::string& out) const {
    out += m_strComputation;
    if (m_strName.find_first_not_of(' ') != std::string::npos) {
        out += " AS ";
        out += m_strName;
    }
}

} // namespace marovin
