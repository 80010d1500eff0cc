#include "SqlEditor.h"

#include "marovin/BuilderText.h"
#include "marovin/Utilities.h"
#include "marovin/platform/SqlHighlighter.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QScrollBar>
#include <QStringListModel>
#include <QTextBlock>
#include <algorithm>

namespace marovin {

namespace {

// Characters of a name, a qualified name or a parameter marker as completion sees them. "<"
// belongs to a word only where it opens a marker.
bool isWordChar(const QString& line, int at) {
    const QChar c = line.at(at);
    if (c.isLetterOrNumber())
        return true;
    if (c == QLatin1Char('<'))
        return at + 1 < line.size() && line.at(at + 1) == QLatin1Char('[');
    return QStringLiteral("_.@#$[]").contains(c);
}

} // namespace

SqlEditor::SqlEditor(QWidget* parent)
    : QPlainTextEdit(parent), m_completer(new QCompleter(this)),
      m_model(new QStringListModel(this)), m_highlighter(new SqlHighlighter(document())) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    // Tab belongs to the dialog's focus chain; a condition has no use for tab characters.
    setTabChangesFocus(true);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);

    m_completer->setModel(m_model);
    m_completer->setWidget(this);
    m_completer->setCompletionMode(QCompleter::PopupCompletion);
    m_completer->setCaseSensitivity(Qt::CaseInsensitive);
    // "fre" finds Orders.Freight: the typed word may be any part of a candidate.
    m_completer->setFilterMode(Qt::MatchContains);
    m_completer->setMaxVisibleItems(12);
    m_completer->popup()->setObjectName(QStringLiteral("lstCompletions"));
    m_completer->popup()->setAccessibleName(QStringLiteral("Completions"));
    connect(m_completer, qOverload<const QString&>(&QCompleter::activated), this,
            &SqlEditor::insertCompletion);
}

void SqlEditor::setCandidateProvider(std::function<QStringList()> provider) {
    m_provider = std::move(provider);
}

QStringList SqlEditor::candidates() const {
    if (!m_provider)
        return {};
    try {
        QStringList list = m_provider();
        list.removeAll(QString());
        list.removeDuplicates();
        return list;
    } catch (...) {
        // Completion is a help only: without candidates the user types on.
        return {};
    }
}

int SqlEditor::completionStart(const QString& line, int caretPosition) {
    int start = std::clamp(caretPosition, 0, static_cast<int>(line.size()));
    while (true) {
        while (start > 0 && isWordChar(line, start - 1))
            --start;
        if (start == 0)
            break;
        // Inside a square bracket opened before the word, blanks are part of the name, as in
        // [Order Details].
        const int open = static_cast<int>(line.lastIndexOf(QLatin1Char('['), start - 1));
        const int close = static_cast<int>(line.lastIndexOf(QLatin1Char(']'), start - 1));
        if (open < 0 || open < close)
            break;
        start = open;
    }
    return start;
}

QString SqlEditor::wordLeftOfCaret() const {
    const QTextCursor cursor = textCursor();
    const QString line = cursor.block().text();
    const int caret = cursor.positionInBlock();
    const int start = completionStart(line, caret);
    return line.mid(start, caret - start);
}

void SqlEditor::showCompletion() {
    updateCompletion(true);
    QAbstractItemView* popup = m_completer->popup();
    if (popup->isVisible())
        popup->setCurrentIndex(m_completer->completionModel()->index(0, 0));
}

std::string SqlEditor::storedText() const {
    return lineBreaksToNewlineTokens(toPlainText().toStdString());
}

void SqlEditor::setStoredText(const std::string& text) {
    // The document keeps paragraphs: a CR before the LF would show as a stray glyph.
    const std::string shown = ReplaceAll(newlineTokensToLineBreaks(text, "\n"), "\r\n", "\n");
    setPlainText(QString::fromStdString(shown));
    moveCursor(QTextCursor::End);
}

void SqlEditor::insertAtCaret(const QString& text) {
    QTextCursor cursor = textCursor();
    cursor.setPosition(cursor.selectionStart());
    cursor.insertText(text);
    setTextCursor(cursor);
    setFocus(Qt::OtherFocusReason);
}

void SqlEditor::appendAtEnd(const QString& text) {
    QTextCursor cursor = textCursor();
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    setTextCursor(cursor);
}

void SqlEditor::moveCaretLeft() {
    QTextCursor cursor = textCursor();
    const int position = cursor.selectionStart();
    cursor.setPosition(position > 0 ? position - 1 : 0);
    setTextCursor(cursor);
    setFocus(Qt::OtherFocusReason);
}

void SqlEditor::moveCaretRight() {
    QTextCursor cursor = textCursor();
    cursor.clearSelection();
    cursor.movePosition(QTextCursor::NextCharacter);
    setTextCursor(cursor);
    setFocus(Qt::OtherFocusReason);
}

void SqlEditor::clearText() {
    QTextCursor cursor = textCursor();
    cursor.select(QTextCursor::Document);
    cursor.removeSelectedText();
    setTextCursor(cursor);
    setFocus(Qt::OtherFocusReason);
}

void SqlEditor::updateCompletion(bool forced) {
    QAbstractItemView* popup = m_completer->popup();
    const bool open = popup->isVisible();
    const QString prefix = wordLeftOfCaret();
    if (!forced && !open && prefix.size() < 3)
        return;
    if (!forced && open && prefix.isEmpty()) {
        popup->hide();
        return;
    }
    if (!open)
        m_model->setStringList(candidates());
    m_completer->setCompletionPrefix(prefix);
    const int count = m_completer->completionCount();
    // Nothing to offer, or only the word already typed.
    if (count == 0 ||
        (!forced && count == 1 &&
         m_completer->currentCompletion().compare(prefix, Qt::CaseInsensitive) == 0)) {
        popup->hide();
        return;
    }
    QRect rect = cursorRect();
    rect.setWidth(popup->sizeHintForColumn(0) + popup->verticalScrollBar()->sizeHint().width() + 8);
    m_completer->complete(rect);
    // While typing nothing is chosen, so Enter still breaks the line; arrows choose.
    popup->setCurrentIndex(QModelIndex());
}

void SqlEditor::insertCompletion(const QString& completion) {
    QTextCursor cursor = textCursor();
    const int blockStart = cursor.block().position();
    const int caret = cursor.positionInBlock();
    const int start = completionStart(cursor.block().text(), caret);
    cursor.setPosition(blockStart + start);
    cursor.setPosition(blockStart + caret, QTextCursor::KeepAnchor);
    cursor.insertText(completion);
    setTextCursor(cursor);
}

bool SqlEditor::focusNextPrevChild(bool next) {
    // While the completion list is open, Tab reaches keyPressEvent: it takes the chosen entry
    // instead of moving the focus on.
    if (m_completer->popup()->isVisible())
        return false;
    return QPlainTextEdit::focusNextPrevChild(next);
}

void SqlEditor::keyPressEvent(QKeyEvent* event) {
    QAbstractItemView* popup = m_completer->popup();
    if (popup->isVisible()) {
        switch (event->key()) {
        case Qt::Key_Enter:
        case Qt::Key_Return:
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
            if (popup->currentIndex().isValid()) {
                // The completer takes the chosen entry.
                event->ignore();
                return;
            }
            // Nothing chosen: the key does what it does without the list.
            popup->hide();
            if (event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) {
                QPlainTextEdit::focusNextPrevChild(event->key() == Qt::Key_Tab);
                event->accept();
                return;
            }
            break;
        case Qt::Key_Escape:
            event->ignore();
            return;
        default:
            break;
        }
    }
    if (event->key() == Qt::Key_Space && (event->modifiers() & Qt::ControlModifier)) {
        showCompletion();
        event->accept();
        return;
    }
    QPlainTextEdit::keyPressEvent(event);

    const QString typed = event->text();
    const bool shortcut = (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0;
    if (typed.isEmpty() || shortcut || !typed.at(typed.size() - 1).isPrint()) {
        // Caret moves, shortcuts and control characters (Backspace aside) close the list.
        if (event->key() == Qt::Key_Backspace && popup->isVisible())
            updateCompletion(false);
        else if (popup->isVisible() && event->key() != Qt::Key_Shift)
            popup->hide();
        return;
    }
    updateCompletion(typed.endsWith(QLatin1Char('.')));
}

} // namespace marovin
