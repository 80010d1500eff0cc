#pragma once

#include "marovin/MarovinExport.h"

#include <memory>
#include <string>

namespace marovin {

class cTable;

/// A join between two tables of the same query.
class MAROVIN_EXPORT cJoinCondition {
public:
    const std::string& strCondition() const { return m_strCondition; }
    void setStrCondition(const std::string& value) { m_strCondition = value; }

    bool blnIncludeAllRowsOfLeftTable() const { return m_blnIncludeAllRowsOfLeftTable; }
    void setBlnIncludeAllRowsOfLeftTable(bool value) { m_blnIncludeAllRowsOfLeftTable = value; }

    bool blnIncludeAllRowsOfRightTable() const { return m_blnIncludeAllRowsOfRightTable; }
    void setBlnIncludeAllRowsOfRightTable(bool value) { m_blnIncludeAllRowsOfRightTable = value; }

    const std::shared_ptr<cTable>& LeftTable() const { return m_LeftTable; }
    void setLeftTable(std::shared_ptr<cTable> table) { m_LeftTable = std::move(table); }

    const std::shared_ptr<cTable>& RightTable() const { return m_RightTable; }
    void setRightTable(std::shared_ptr<cTable> table) { m_RightTable = std::move(table); }

private:
    std::string m_strCondition;
    bool m_blnIncludeAllRowsOfLeftTable = false;
    bool m_blnIncludeAllRowsOfRightTable = false;
    std::shared_ptr<cTable> m_LeftTable;  // Not owned: the table belongs to the query's Tables.
    std::shared_ptr<cTable> m_RightTable; // Not owned: likewise.
};

} // namespace marovin
