#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/ModelMessages.h"
#include "marovin/platform/iMessageBox.h"

#include <memory>

namespace marovin {

/// Routes the query model's own messages to a message box: critical icon, OK only, under the
/// application's name as caption.
class MAROVIN_EXPORT MessageBoxModelSink : public iModelMessageSink {
public:
    explicit MessageBoxModelSink(std::shared_ptr<iMessageBox> messageBox)
        : m_messageBox(std::move(messageBox)) {}
    void ShowCritical(const std::string& strText) override;

private:
    std::shared_ptr<iMessageBox> m_messageBox;
};

} // namespace marovin
