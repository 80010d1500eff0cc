#include "marovin/cTable.h"

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"

namespace marovin {

std::string cTable::strAlias() const {
    return Trim(m_strAlias).empty() ? LastNamePart(m_strName) : m_strAlias;
}

void cTable::setStrName(const std::string& value) {
    m_strName = value;
    if (m_strAlias.empty())
        m_strAlias = LastNamePart(value);
}

std::string cTable::strFullTableName() const {
    if (!m_blnIsSubQuery) {
        std::string result = QuoteIdentifier(m_strName);
        if (!Trim(m_strAlias).empty()) {
            const std::string alias = QuoteIdentifier(m_strAlias);
            if (alias != result)
                result += " AS " + alias;
        }
        return result;
    }
    if (!m_SubQuery)
        throw ModelError("The sub-query table \"" + strAlias() + "\" has no query");
    std::string text = "(";
    text += kCrLf;
    text += m_SubQuery->strSQL();
    text += kCrLf;
    text += ") AS ";
    text += m_strAlias;
    return IndentLines(CollapseRepeatedSeparator(std::move(text), kCrLf), 8);
}

} // namespace marovin
