#include "marovin/cCalculatedItem.h"

#include "marovin/Utilities.h"

namespace marovin {

std::string cCalculatedItem::strFullName() const {
    if (Trim(m_strName).empty())
        return m_strComputation;
    return m_strComputation + " AS " + m_strName;
}

} // namespace marovin
