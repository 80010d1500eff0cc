#pragma once

#include "marovin/cSelectedItem.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

// The keyed collection of cSelectedItem items.
class cSelectedItems : public cKeyedCollection<cSelectedItem> {};

} // namespace marovin
