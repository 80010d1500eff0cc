#pragma once

#include "marovin/platform/iMessageBox.h"

namespace marovin {

// The message box of the designer's script modes: each message goes to standard error as
// "caption: text" and questions take their safe answer (No, or Cancel when offered).
class StderrMessageBox : public iMessageBox {
public:
    MessageAnswer Show(const QString& strCaption, const QString& strText, MessageIcon icon,
                       MessageButtons buttons) override;
    MessageAnswer ShowWithDetails(const QString& strCaption, const QString& strText,
                                  const QString& strDetails, MessageIcon icon,
                                  MessageButtons buttons) override;
    int lngShown() const { return m_lngShown; }

private:
    int m_lngShown = 0;
};

} // namespace marovin
