#pragma once

#include "marovin/cCalculatedItem.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

// The keyed collection of cCalculatedItem items.
class cCalculatedItems : public cKeyedCollection<cCalculatedItem> {};

} // namespace marovin
