#pragma once

namespace marovin {

// The busy mouse pointer. Begin and End nest; use BusyPointerScope rather than calling them.
class iBusyPointer {
public:
    virtual ~iBusyPointer() = default;
    virtual void Begin() = 0;
    virtual void End() = 0;
};

} // namespace marovin
