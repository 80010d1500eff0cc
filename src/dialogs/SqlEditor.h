#pragma once

#include <QPlainTextEdit>
#include <QStringList>
#include <functional>
#include <string>

class QCompleter;
class QStringListModel;

namespace marovin {

class SqlHighlighter;

// The editable, monospaced text field of the condition and expression builders: T-SQL coloured
// by SqlHighlighter, Tab moving the focus on, and completion of the names the dialog offers
// (columns, functions, parameter markers). Completion pops up by itself after a "." and while a
// word of three characters or more is typed, and on Ctrl+Space at any time.
class SqlEditor : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit SqlEditor(QWidget* parent = nullptr);

    // Where the completion candidates come from; asked each time the list opens.
    void setCandidateProvider(std::function<QStringList()> provider);
    QStringList candidates() const;

    QCompleter* completer() const { return m_completer; }
    SqlHighlighter* highlighter() const { return m_highlighter; }

    // Opens the completion list for the word left of the caret (what Ctrl+Space does).
    void showCompletion();

    // The text in its stored form, every line break as the "{newline}" token, and the reverse:
    // tokens and CR LF pairs shown as real line breaks.
    std::string storedText() const;
    void setStoredText(const std::string& text);

    // Puts the text in at the caret (at the start of a selection, which stays in place): what
    // stood left of the caret, the text, what stood right of it. The caret ends directly after
    // the text and the editor takes the focus.
    void insertAtCaret(const QString& text);
    // Adds the text at the very end, wherever the caret is; the caret follows it.
    void appendAtEnd(const QString& text);
    // Moves the caret one place left (right) unless it is at the start (end); the editor takes
    // the focus either way.
    void moveCaretLeft();
    void moveCaretRight();
    // Empties the text as an edit the user can undo, and takes the focus.
    void clearText();

    // Where the word that completion replaces starts in a line, for the caret at caretPosition:
    // letters, digits and "_ . @ # $ [ ] <", and blanks inside an open square bracket.
    static int completionStart(const QString& line, int caretPosition);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    QString wordLeftOfCaret() const;
    void updateCompletion(bool forced);
    void insertCompletion(const QString& completion);

    std::function<QStringList()> m_provider;
    QCompleter* m_completer;       // Owned through its Qt parent.
    QStringListModel* m_model;     // Owned through its Qt parent.
    SqlHighlighter* m_highlighter; // Owned by the document.
};

} // namespace marovin
