#include "marovin/cSelectedItem.h"

#include "marovin/Utilities.h"

namespace marovin {
namespace {

// True when the text is empty or only blanks (what Trim would make empty), without copying it.
bool isBlank(const std::string& text) {
    return text.find_first_not_of(' ') == std::string::npos;
}

} // namespace

std::string cSelectedItem::strAlias() const {
    return isBlank(m_strAlias) ? LastNamePart(m_strName) : m_strAlias;
}

void cSelectedItem::setStrName(const std::string& value) {
    m_strName = value;
    if (m_strAlias.empty())
        m_strAlias = LastNamePart(value);
}

std::string cSelectedItem::strFullFieldName() const {
    std::string result;
    if (!isBlank(m_strAggregationFunction)) {
        result = m_strAggregationFunction;
        result += '(';
        result += QuoteIdentifier(m_strName);
        result += ')';
    } else {
        result = QuoteIdentifier(m_strName);
    }
    if (!isBlank(m_strAlias)) {
        const std::string alias = QuoteIdentifier(m_strAlias);
        if (alias != result) {
            result += " AS ";
            result += alias;
        }
    }
    return result;
}

} // namespace marovin
