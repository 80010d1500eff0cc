#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cCalculatedItems.h"
#include "marovin/cFilters.h"
#include "marovin/cJoinConditions.h"
#include "marovin/cOrderByItems.h"
#include "marovin/cSelectedItems.h"
#include "marovin/cTables.h"
#include "marovin/cXmlElement.h"

#include <memory>
#include <string>
#include <string_view>

namespace marovin {

/// One SELECT statement: its tables, selected fields, calculated items, joins, fixed filters and
/// sort order. It renders itself as T-SQL clause by clause (CR LF line breaks) and converts itself
/// to and from its XML document. Nothing is cached: every text is rendered anew when read.
class MAROVIN_EXPORT cSQLQuery {
public:
    cSQLQuery();

    /// Write-only: marks a query nested as a table of another query.
    void setBlnIsSubQuery(bool value) { m_blnIsSubQuery = value; }

    bool blnUniqueRecordsOnly() const { return m_blnUniqueRecordsOnly; }
    void setBlnUniqueRecordsOnly(bool value) { m_blnUniqueRecordsOnly = value; }

    const std::string& strName() const { return m_strName; }
    void setStrName(const std::string& value) { m_strName = value; }

    /// A further query kept with this one (the editor's sub-query); not part of the SQL text.
    std::shared_ptr<cSQLQuery> SubQuery() const { return m_SubQuery; }
    void setSubQuery(std::shared_ptr<cSQLQuery> query) { m_SubQuery = std::move(query); }

    /// The collections. Assigning one stores that same collection object.
    std::shared_ptr<cOrderByItems> OrderByItems() const { return m_OrderByItems; }
    void setOrderByItems(std::shared_ptr<cOrderByItems> c) { m_OrderByItems = std::move(c); }
    std::shared_ptr<cFilters> Filters() const { return m_Filters; }
    void setFilters(std::shared_ptr<cFilters> c) { m_Filters = std::move(c); }
    std::shared_ptr<cJoinConditions> JoinConditions() const { return m_JoinConditions; }
    void setJoinConditions(std::shared_ptr<cJoinConditions> c) { m_JoinConditions = std::move(c); }
    std::shared_ptr<cCalculatedItems> CalculatedItems() const { return m_CalculatedItems; }
    void setCalculatedItems(std::shared_ptr<cCalculatedItems> c) {
        m_CalculatedItems = std::move(c);
    }
    std::shared_ptr<cTables> Tables() const { return m_Tables; }
    void setTables(std::shared_ptr<cTables> c) { m_Tables = std::move(c); }
    std::shared_ptr<cSelectedItems> SelectedItems() const { return m_SelectedItems; }
    void setSelectedItems(std::shared_ptr<cSelectedItems> c) { m_SelectedItems = std::move(c); }

    /// Reading builds a new document from the query and returns its root element.
    cXmlElement xmlQuery() const;
    /// Clears the query, then fills it from the element. Throws ModelError on a text that should
    /// be a boolean and is not; the query then keeps what was read up to that point.
    void setXmlQuery(const cXmlElement& element);

    /// Host conveniences: the document as UTF-8 text, and loading from such text. LoadXmlText
    /// parses first and leaves the query untouched when the text is not a well-formed document
    /// with a root element "SQLQuery" (ModelError naming line and column).
    std::string ToXmlText(bool indent = false) const;
    void LoadXmlText(std::string_view text);

    /// The whole statement and its clauses. strOrderBy (and so strSQL) removes sort entries that
    /// name no output any more.
    std::string strSQL();
    std::string strOrderBy();
    std::string strGroupBy() const;
    std::string strWhere() const;
    std::string strHaving() const;
    std::string strFrom() const;
    std::string strSelect() const;

    /// Replaces the six collections with new, empty ones; keeps name, flags and SubQuery.
    void Clear();

private:
    /// Each appends its clause (nothing when the clause is empty) to one text, so that the
    /// statement is written into a single buffer.
    void appendSelect(std::string& out) const;
    void appendFrom(std::string& out) const;
    void appendFilters(std::string& out, const char* keyword, bool aggregated) const;
    void appendGroupBy(std::string& out) const;
    void appendOrderBy(std::string& out);
    void writeDocument(pugi::xml_node root) const;
    void readDocument(pugi::xml_node root);

    std::shared_ptr<cSelectedItems> m_SelectedItems;
    std::shared_ptr<cTables> m_Tables;
    std::shared_ptr<cCalculatedItems> m_CalculatedItems;
    std::shared_ptr<cJoinConditions> m_JoinConditions;
    std::shared_ptr<cFilters> m_Filters;
    std::shared_ptr<cOrderByItems> m_OrderByItems;
    std::shared_ptr<cSQLQuery> m_SubQuery;
    std::string m_strName;
    bool m_blnUniqueRecordsOnly = false;
    bool m_blnIsSubQuery = false;
};

} // namespace marovin
