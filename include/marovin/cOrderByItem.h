#pragma once

#include "marovin/MarovinExport.h"

#include <string>

namespace marovin {

/// One ORDER BY entry: an output name and the sort direction text written after it.
class MAROVIN_EXPORT cOrderByItem {
public:
    const std::string& strSortOrder() const { return m_strSortOrder; }
    void setStrSortOrder(const std::string& value) { m_strSortOrder = value; }

    const std::string& strItem() const { return m_strItem; }
    void setStrItem(const std::string& value) { m_strItem = value; }

private:
    std::string m_strSortOrder;
    std::string m_strItem;
};

} // namespace marovin
