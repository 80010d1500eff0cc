#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cKeyedCollection.h"
#include "marovin/cSelectedItem.h"

namespace marovin {

/// The keyed collection of cSelectedItem items.
class MAROVIN_EXPORT cSelectedItems : public cKeyedCollection<cSelectedItem> {};

} // namespace marovin
