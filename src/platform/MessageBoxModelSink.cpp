#include "marovin/platform/MessageBoxModelSink.h"

#include <QCoreApplication>

namespace marovin {

void MessageBoxModelSink::ShowCritical(const std::string& strText) {
    if (m_messageBox)
        m_messageBox->Show(QCoreApplication::applicationName(), QString::fromStdString(strText),
                           MessageIcon::Critical, MessageButtons::Ok);
}

} // namespace marovin
