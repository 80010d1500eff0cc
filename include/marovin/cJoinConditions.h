#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cJoinCondition.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

/// The keyed collection of cJoinCondition items.
class MAROVIN_EXPORT cJoinConditions : public cKeyedCollection<cJoinCondition> {};

} // namespace marovin
