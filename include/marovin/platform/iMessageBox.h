#pragma once

#include "marovin/MarovinExport.h"

#include <QString>

namespace marovin {

/// The icon a message box shows.
enum class MessageIcon { None, Critical, Exclamation, Information };
/// The buttons a message box offers.
enum class MessageButtons { Ok, YesNo, YesNoCancel };
/// The button the user pressed.
enum class MessageAnswer { Ok, Yes, No, Cancel };

/// A modal message box: the control and the dialogs ask and report through it, so a host or a test
/// can put its own answers in place of the user's.
class MAROVIN_EXPORT iMessageBox {
public:
    virtual ~iMessageBox() = default;
    /// Shows the text under the caption and returns the button pressed.
    virtual MessageAnswer Show(const QString& strCaption, const QString& strText, MessageIcon icon,
                               MessageButtons buttons) = 0;
    /// The same with details the user can unfold (a list of names, say). A box that has no room
    /// for details shows the text alone; the text never depends on the details being seen.
    virtual MessageAnswer ShowWithDetails(const QString& strCaption, const QString& strText,
                                          const QString& strDetails, MessageIcon icon,
                                          MessageButtons buttons) {
        (void)strDetails;
        return Show(strCaption, strText, icon, buttons);
    }
};

} // namespace marovin
