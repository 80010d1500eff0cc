#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cCalculatedItem.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

/// The keyed collection of cCalculatedItem items.
class MAROVIN_EXPORT cCalculatedItems : public cKeyedCollection<cCalculatedItem> {};

} // namespace marovin
