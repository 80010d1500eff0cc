#pragma once

#include "marovin/MarovinExport.h"

namespace marovin {

/// The busy mouse pointer. Begin and End nest; use BusyPointerScope rather than calling them.
class MAROVIN_EXPORT iBusyPointer {
public:
    virtual ~iBusyPointer() = default;
    virtual void Begin() = 0;
    virtual void End() = 0;
};

} // namespace marovin
