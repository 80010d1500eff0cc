#pragma once

#include "SqlTokenList.h"
#include "marovin/SqlParser.h"

#include <algorithm>
#include <string>
#include <vector>

namespace marovin {

// The findings of one reading, in the order of their places in the text.
class SqlFindings {
public:
    void Add(const SqlToken& where, std::string message, bool refuses) {
        Add(where.line, where.column, std::move(message), refuses);
    }
    void Add(int line, int column, std::string message, bool refuses) {
        m_findings.push_back({line, column, std::move(message), refuses});
        m_blnRefused = m_blnRefused || refuses;
    }
    bool blnRefused() const { return m_blnRefused; }
    std::vector<ParseFinding> Take() {
        std::stable_sort(
            m_findings.begin(), m_findings.end(), [](const ParseFinding& a, const ParseFinding& b) {
                return a.lngLine != b.lngLine ? a.lngLine < b.lngLine : a.lngColumn < b.lngColumn;
            });
        return std::move(m_findings);
    }

private:
    std::vector<ParseFinding> m_findings;
    bool m_blnRefused = false;
};

} // namespace marovin
