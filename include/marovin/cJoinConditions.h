#pragma once

#include "marovin/cJoinCondition.h"
#include "marovin/cKeyedCollection.h"

namespace marovin {

// The keyed collection of cJoinCondition items.
class cJoinConditions : public cKeyedCollection<cJoinCondition> {};

} // namespace marovin
