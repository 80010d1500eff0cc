#include "marovin/platform/QtMessageBox.h"

#include <QMessageBox>

namespace marovin {

MessageAnswer QtMessageBox::Show(const QString& strCaption, const QString& strText,
                                 MessageIcon icon, MessageButtons buttons) {
    return ShowWithDetails(strCaption, strText, QString(), icon, buttons);
}

MessageAnswer QtMessageBox::ShowWithDetails(const QString& strCaption, const QString& strText,
                                            const QString& strDetails, MessageIcon icon,
                                            MessageButtons buttons) {
    QMessageBox box(m_parent);
    box.setWindowTitle(strCaption);
    box.setText(strText);
    if (!strDetails.isEmpty())
        box.setDetailedText(strDetails);
    switch (icon) {
    case MessageIcon::Critical:
        box.setIcon(QMessageBox::Critical);
        break;
    case MessageIcon::Exclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case MessageIcon::Information:
        box.setIcon(QMessageBox::Information);
        break;
    case MessageIcon::None:
        box.setIcon(QMessageBox::NoIcon);
        break;
    }
    switch (buttons) {
    case MessageButtons::Ok:
        box.setStandardButtons(QMessageBox::Ok);
        box.setDefaultButton(QMessageBox::Ok);
        break;
    case MessageButtons::YesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setDefaultButton(QMessageBox::Yes);
        box.setEscapeButton(QMessageBox::No);
        break;
    case MessageButtons::YesNoCancel:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        box.setDefaultButton(QMessageBox::Yes);
        box.setEscapeButton(QMessageBox::Cancel);
        break;
    }
    switch (box.exec()) {
    case QMessageBox::Yes:
        return MessageAnswer::Yes;
    case QMessageBox::No:
        return MessageAnswer::No;
    case QMessageBox::Cancel:
        return MessageAnswer::Cancel;
    default:
        // A box closed by other means counts as its safe answer.
        if (buttons == MessageButtons::YesNo)
            return MessageAnswer::No;
        if (buttons == MessageButtons::YesNoCancel)
            return MessageAnswer::Cancel;
        return MessageAnswer::Ok;
    }
}

} // namespace marovin
