#include "marovin/platform/ScriptedMessageBox.h"

namespace marovin {

MessageAnswer ScriptedMessageBox::Show(const QString& strCaption, const QString& strText,
                                       MessageIcon icon, MessageButtons buttons) {
    MessageAnswer answer = MessageAnswer::Ok;
    if (buttons != MessageButtons::Ok) {
        if (!m_answers.empty()) {
            answer = m_answers.front();
            m_answers.pop_front();
        } else {
            answer = m_defaultAnswer;
        }
        // An answer the box does not offer falls back to its safe choice.
        if (answer == MessageAnswer::Ok)
            answer = MessageAnswer::Yes;
        if (answer == MessageAnswer::Cancel && buttons == MessageButtons::YesNo)
            answer = MessageAnswer::No;
    }
    m_shown.push_back(Shown{strCaption, strText, icon, buttons, answer, QString()});
    return answer;
}

MessageAnswer ScriptedMessageBox::ShowWithDetails(const QString& strCaption, const QString& strText,
                                                  const QString& strDetails, MessageIcon icon,
                                                  MessageButtons buttons) {
    const MessageAnswer answer = Show(strCaption, strText, icon, buttons);
    m_shown.back().strDetails = strDetails;
    return answer;
}

} // namespace marovin
