#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iBusyPointer.h"

namespace marovin {

/// Counts how often the busy pointer was shown and how deep it is nested now; tests check that
/// every Begin is matched by an End.
class MAROVIN_EXPORT CountingBusyPointer : public iBusyPointer {
public:
    void Begin() override {
        ++m_lngDepth;
        ++m_lngShown;
    }
    void End() override { --m_lngDepth; }
    int lngDepth() const { return m_lngDepth; }
    int lngShown() const { return m_lngShown; }

private:
    int m_lngDepth = 0;
    int m_lngShown = 0;
};

} // namespace marovin
