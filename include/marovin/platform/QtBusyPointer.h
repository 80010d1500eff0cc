#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iBusyPointer.h"

namespace marovin {

/// The wait cursor as the application's override cursor.
class MAROVIN_EXPORT QtBusyPointer : public iBusyPointer {
public:
    void Begin() override;
    void End() override;
};

} // namespace marovin
