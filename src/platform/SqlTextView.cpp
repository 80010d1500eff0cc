#include "marovin/platform/SqlTextView.h"

#include "marovin/platform/SqlHighlighter.h"

#include <QEvent>
#include <QFontDatabase>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>

namespace marovin {

SqlTextView::SqlTextView(QWidget* parent)
    : QPlainTextEdit(parent), m_highlighter(new SqlHighlighter(document())) {
    setReadOnly(true);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
    // The text is replaced by the program, never typed: keeping each replacement for undo would
    // only hold on to old statements.
    document()->setUndoRedoEnabled(false);
    watchDocument();
}

void SqlTextView::watchDocument() {
    // Only this view's own connection to the document it watched before is dropped.
    disconnect(m_watchConnection);
    m_watched = document();
    m_documentIsAsShown = false;
    // Any change this view did not make (a host editing the document, or giving the view another
    // one) means the next statement is shown whole.
    m_watchConnection = connect(m_watched, &QTextDocument::contentsChange, this,
                                [this](int, int removed, int added) {
                                    if (!m_editing && (removed != 0 || added != 0))
                                        m_documentIsAsShown = false;
                                });
}

void SqlTextView::setStrText(const std::string& text) {
    m_strText = text;
    // The document keeps paragraphs; a CR before the LF would show as a stray glyph.
    QString shown = QString::fromStdString(text);
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    showText(std::move(shown));
}

void SqlTextView::showText(QString shown) {
    // Only the part between what the old and the new text share at their start and at their end
    // is replaced. A change to a query usually touches a few lines of its statement: the document
    // then neither rebuilds nor colours again its other lines, which on a statement of thousands
    // of lines is most of the work, and the place the user scrolled to and a selection outside
    // the change stay where they were.
    if (document() != m_watched)
        watchDocument();
    const bool documentIsAsShown = m_documentIsAsShown;
    const QString& old = m_shown;
    const qsizetype most = std::min(old.size(), shown.size());
    const qsizetype head =
        std::mismatch(old.begin(), old.begin() + most, shown.begin()).first - old.begin();
    const qsizetype tail =
        std::mismatch(old.rbegin(), old.rbegin() + (most - head), shown.rbegin()).first -
        old.rbegin();
    if (head == old.size() && head == shown.size() && documentIsAsShown)
        return;
    // A text mostly new is shown anew, which the document does faster than an edit; so is a
    // document that was changed by other means than this view.
    if (shown.size() - tail - head > shown.size() / 2 || !documentIsAsShown) {
        // The place the user scrolled to is kept as far as the new text reaches.
        const int line = verticalScrollBar()->value();
        const int column = horizontalScrollBar()->value();
        m_editing = true;
        setPlainText(shown);
        m_editing = false;
        verticalScrollBar()->setValue(line);
        horizontalScrollBar()->setValue(column);
        m_shown = std::move(shown);
        m_documentIsAsShown = true;
        return;
    }
    QTextCursor cursor(document());
    cursor.setPosition(static_cast<int>(head));
    cursor.setPosition(static_cast<int>(old.size() - tail), QTextCursor::KeepAnchor);
    m_editing = true;
    cursor.insertText(shown.mid(head, shown.size() - tail - head));
    m_editing = false;
    m_shown = std::move(shown);
}

void SqlTextView::changeEvent(QEvent* event) {
    // A palette switched between light and dark takes the colour set that reads on it.
    if (event->type() == QEvent::PaletteChange ||
        event->type() == QEvent::ApplicationPaletteChange) {
        m_highlighter->updateFormats();
        m_highlighter->rehighlight();
    }
    QPlainTextEdit::changeEvent(event);
}

} // namespace marovin
