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
    AppendFullFieldName(result);
    return result;
}

void cSelectedItem::AppendFullFieldName(std::string& out) const {
    const size_t start = out.size();
    if (!isBlank(m_strAggregationFunction)) {
        out += m_strAggregationFunction;
        out += '(';
        AppendQuotedIdentifier(out, m_strName);
        out += ')';
    } else {
        AppendQuotedIdentifier(out, m_strName);
    }
    AppendAliasUnlessSame(out, start, m_strAlias);
}

} // namespace marovin
