#pragma once

#include "marovin/cKeyedCollection.h"
#include "marovin/cTable.h"

namespace marovin {

// The keyed collection of cTable items.
class cTables : public cKeyedCollection<cTable> {};

} // namespace marovin
