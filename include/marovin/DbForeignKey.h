#pragma once

#include "marovin/MarovinExport.h"

#include <string>
#include <vector>

namespace marovin {

/// One declared foreign key: the referencing table's columns and the referenced table's
/// columns, pair by pair in key order.
struct MAROVIN_EXPORT DbForeignKey {
    std::string strName;  // the constraint's name; may be empty (SQLite)
    std::string strTable; // referencing table, "schema.name" as GetListOfTables writes it
    std::vector<std::string> colColumns;
    std::string strReferencedTable; // referenced table, same form
    std::vector<std::string> colReferencedColumns;
    bool operator==(const DbForeignKey&) const = default;
};

} // namespace marovin
