#include "marovin/cTable.h"

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"

namespace marovin {
namespace {

// True when the text is empty or only blanks (what Trim would make empty), without copying it.
bool isBlank(const std::string& text) {
    return text.find_first_not_of(' ') == std::string::npos;
}

} // namespace

std::string cTable::strAlias() const {
    return isBlank(m_strAlias) ? LastNamePart(m_strName) : m_strAlias;
}

void cTable::setStrName(const std::string& value) {
    m_strName = value;
    if (m_strAlias.empty())
        m_strAlias = LastNamePart(value);
}

std::string cTable::strFullTableName() const {
    std::string result;
    AppendFullTableName(result);
    return result;
}

void cTable::AppendFullTableName(std::string& out) const {
    if (!m_blnIsSubQuery) {
        const size_t start = out.size();
        AppendQuotedIdentifier(out, m_strName);
        AppendAliasUnlessSame(out, start, m_strAlias);
        return;
    }
    if (!m_SubQuery)
        throw ModelError("The sub-query table \"" + strAlias() + "\" has no query");
    std::string text = "(";
    text += kCrLf;
    text += m_SubQuery->strSQL();
    text += kCrLf;
    text += ") AS ";
    text += m_strAlias;
    out += IndentLines(CollapseRepeatedSeparator(std::move(text), kCrLf), 8);
}

} // namespace marovin
