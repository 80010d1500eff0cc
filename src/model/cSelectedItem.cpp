#include "marovin/cSelectedItem.h"

#include "marovin/Utilities.h"

namespace marovin {

std::string cSelectedItem::strAlias() const {
    return Trim(m_strAlias).empty() ? LastNamePart(m_strName) : m_strAlias;
}

void cSelectedItem::setStrName(const std::string& value) {
    m_strName = value;
    if (m_strAlias.empty())
        m_strAlias = LastNamePart(value);
}

std::string cSelectedItem::strFullFieldName() const {
    std::string result = QuoteIdentifier(m_strName);
    if (!Trim(m_strAggregationFunction).empty())
        result = m_strAggregationFunction + "(" + result + ")";
    if (!Trim(m_strAlias).empty()) {
        const std::string alias = QuoteIdentifier(m_strAlias);
        if (alias != result)
            result += " AS " + alias;
    }
    return result;
}

} // namespace marovin
