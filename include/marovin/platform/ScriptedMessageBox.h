#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/iMessageBox.h"

#include <deque>
#include <vector>

namespace marovin {

/// A message box without a window: it answers from a script and records every box it was asked
/// to show. Used by tests and by hosts that run the control headless.
class MAROVIN_EXPORT ScriptedMessageBox : public iMessageBox {
public:
    struct Shown {
        QString strCaption;
        QString strText;
        MessageIcon icon;
        MessageButtons buttons;
        MessageAnswer answer;
        QString strDetails; // empty unless shown with details
    };

    /// Queues the answer for the next question (a box with more than an OK button).
    void QueueAnswer(MessageAnswer answer) { m_answers.push_back(answer); }
    /// The answer given to a question when the queue is empty (Yes unless set).
    void setDefaultAnswer(MessageAnswer answer) { m_defaultAnswer = answer; }

    MessageAnswer Show(const QString& strCaption, const QString& strText, MessageIcon icon,
                       MessageButtons buttons) override;
    MessageAnswer ShowWithDetails(const QString& strCaption, const QString& strText,
                                  const QString& strDetails, MessageIcon icon,
                                  MessageButtons buttons) override;

    const std::vector<Shown>& shown() const { return m_shown; }
    /// The number of queued answers not used yet.
    size_t pendingAnswers() const { return m_answers.size(); }
    void clear() {
        m_shown.clear();
        m_answers.clear();
    }

private:
    std::deque<MessageAnswer> m_answers;
    MessageAnswer m_defaultAnswer = MessageAnswer::Yes;
    std::vector<Shown> m_shown;
};

} // namespace marovin
