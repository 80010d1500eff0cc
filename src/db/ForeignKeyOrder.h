#pragma once

#include "marovin/DbForeignKey.h"

#include <vector>

namespace marovin {

// The keys of one table as DbSession::ForeignKeys hands them over: the table's own keys ordered
// by name, referenced table and columns, then the keys that reference it ordered by name,
// referencing table and columns. A key found among both (the table references itself) stays
// among the own keys only, and a key listed twice is kept once.
std::vector<DbForeignKey> orderForeignKeys(std::vector<DbForeignKey> own,
                                           std::vector<DbForeignKey> referencing);

} // namespace marovin
