#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cFilter.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

/// The keyed collection of cFilter items.
class MAROVIN_EXPORT cFilters : public cKeyedCollection<cFilter> {};

} // namespace marovin
