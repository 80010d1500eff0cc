#include "marovin/cOrderByItems.h"

#include "marovin/ModelMessages.h"

namespace marovin {

std::shared_ptr<cOrderByItem> cOrderByItems::Add(const std::string& sKey) {
    try {
        return cKeyedCollection<cOrderByItem>::Add(sKey);
    } catch (...) {
        ShowModelCritical("OrderByItems.Add");
        return nullptr;
    }
}

} // namespace marovin
