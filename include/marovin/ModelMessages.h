#pragma once

#include "marovin/MarovinExport.h"

#include <memory>
#include <string>

namespace marovin {

/// The query model shows one message of its own (a refused sort entry). It goes through this
/// sink, which a user interface replaces; without one the text goes to standard error.
class MAROVIN_EXPORT iModelMessageSink {
public:
    virtual ~iModelMessageSink() = default;
    /// A critical-error message with only an OK button.
    virtual void ShowCritical(const std::string& strText) = 0;
};

/// Installs the sink for the whole process; nullptr restores the standard-error default.
MAROVIN_EXPORT void SetModelMessageSink(std::shared_ptr<iModelMessageSink> sink);
/// Shows the text through the installed sink.
MAROVIN_EXPORT void ShowModelCritical(const std::string& strText);

} // namespace marovin
