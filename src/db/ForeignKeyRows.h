#pragma once

#include "marovin/DbForeignKey.h"

#include <cstdint>
#include <string>
#include <vector>

namespace marovin {

// Foreign keys made from the rows of an ODBC driver's catalogue, and the one order in which
// every session hands them over.

// One row of SQLForeignKeys: a column pair of a key.
struct ForeignKeyRow {
    std::string pkSchema, pkTable, pkColumn, fkSchema, fkTable, fkColumn, name;
    std::int64_t seq = 0;
};

// A key brought together from its rows, with the referenced table's schema and name apart.
struct GroupedKey {
    DbForeignKey key;
    std::string pkSchema, pkTable;
};

// Brings the rows of each key together, its pairs in KEY_SEQ order. Drivers list the rows by
// table and KEY_SEQ, so the rows of two keys between the same tables may interleave: they are
// told apart by the constraint's name. A driver that names no constraints gets a new key where
// KEY_SEQ starts again between the same two tables.
std::vector<GroupedKey> groupForeignKeyRows(const std::vector<ForeignKeyRow>& rows);

// The keys of one table as DbSession::ForeignKeys hands them over: the table's own keys ordered
// by name, referenced table and columns, then the keys that reference it ordered by name,
// referencing table and columns. A key found among both (the table references itself) stays
// among the own keys only, and a key listed twice is kept once.
std::vector<DbForeignKey> orderForeignKeys(std::vector<DbForeignKey> own,
                                           std::vector<DbForeignKey> referencing);

} // namespace marovin
