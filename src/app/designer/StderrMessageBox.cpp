#include "StderrMessageBox.h"

#include <cstdio>

namespace marovin {

MessageAnswer StderrMessageBox::Show(const QString& strCaption, const QString& strText,
                                     MessageIcon icon, MessageButtons buttons) {
    return ShowWithDetails(strCaption, strText, QString(), icon, buttons);
}

MessageAnswer StderrMessageBox::ShowWithDetails(const QString& strCaption, const QString& strText,
                                                const QString& strDetails, MessageIcon icon,
                                                MessageButtons buttons) {
    (void)icon;
    ++m_lngShown;
    QString text = strText;
    if (!strDetails.isEmpty())
        text += QStringLiteral(" (") + strDetails + QStringLiteral(")");
    text.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    text.replace(QLatin1Char('\n'), QStringLiteral(", "));
    const QByteArray line = (strCaption + QStringLiteral(": ") + text + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    switch (buttons) {
    case MessageButtons::Ok:
        return MessageAnswer::Ok;
    case MessageButtons::YesNo:
        return MessageAnswer::No;
    case MessageButtons::YesNoCancel:
        return MessageAnswer::Cancel;
    }
    return MessageAnswer::Ok;
}

} // namespace marovin
