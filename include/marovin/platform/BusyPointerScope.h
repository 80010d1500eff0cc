#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iBusyPointer.h"

namespace marovin {

/// Shows the busy pointer for the lifetime of the scope; the pointer is restored however the
/// scope is left, an exception included.
class MAROVIN_EXPORT BusyPointerScope {
public:
    explicit BusyPointerScope(iBusyPointer* pointer) : m_pointer(pointer) {
        if (m_pointer != nullptr)
            m_pointer->Begin();
    }
    ~BusyPointerScope() {
        if (m_pointer != nullptr)
            m_pointer->End();
    }
    BusyPointerScope(const BusyPointerScope&) = delete;
    BusyPointerScope& operator=(const BusyPointerScope&) = delete;

private:
    iBusyPointer* m_pointer; // Not owned.
};

} // namespace marovin
