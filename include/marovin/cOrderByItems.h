#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/cKeyedCollection.h"
#include "marovin/cOrderByItem.h"

namespace marovin {

/// The keyed collection of sort entries. Unlike the other collections, adding under a key that is
/// already present does not throw: the message "OrderByItems.Add" is shown (critical icon, OK only)
/// and no item is returned (nullptr).
class MAROVIN_EXPORT cOrderByItems : public cKeyedCollection<cOrderByItem> {
public:
    std::shared_ptr<cOrderByItem> Add(const std::string& sKey = {});
};

} // namespace marovin
