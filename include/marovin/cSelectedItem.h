#pragma once

#include "marovin/MarovinExport.h"

#include <string>

namespace marovin {

/// One selected field of the SELECT list.
class MAROVIN_EXPORT cSelectedItem {
public:
    /// The stored alias, or the default alias when the stored one is empty or blank.
    std::string strAlias() const;
    void setStrAlias(const std::string& value) { m_strAlias = value; }

    const std::string& strName() const { return m_strName; }
    /// Stores the name; an alias that is exactly empty takes the default alias of the new name.
    void setStrName(const std::string& value);

    const std::string& strAggregationFunction() const { return m_strAggregationFunction; }
    void setStrAggregationFunction(const std::string& value) { m_strAggregationFunction = value; }

    /// The field as written in the SELECT list, e.g. "SUM(Orders.Amount) AS Amount".
    std::string strFullFieldName() const;
    /// Appends strFullFieldName() to out, so that a long SELECT list is written without a text
    /// per item.
    void AppendFullFieldName(std::string& out) const;

private:
    std::string m_strAlias;
    std::string m_strName;
    std::string m_strAggregationFunction;
};

} // namespace marovin
