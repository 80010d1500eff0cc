#pragma once

#include "marovin/cFilter.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

// The keyed collection of cFilter items.
class cFilters : public cKeyedCollection<cFilter> {};

} // namespace marovin
