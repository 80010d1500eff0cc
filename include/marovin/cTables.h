#pragma once

#include "marovin/cTable.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

// The keyed collection of cTable items.
class cTables : public cKeyedCollection<cTable> {};

} // namespace marovin
