#pragma once

#include "marovin/cKeyedCollection.h"
#include "marovin/cSelectedItem.h"

namespace marovin {

// The keyed collection of cSelectedItem items.
class cSelectedItems : public cKeyedCollection<cSelectedItem> {};

} // namespace marovin
