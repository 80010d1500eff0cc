#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cKeyedCollection.h"
#include "marovin/cTable.h"

namespace marovin {

/// The keyed collection of cTable items.
class MAROVIN_EXPORT cTables : public cKeyedCollection<cTable> {};

} // namespace marovin
