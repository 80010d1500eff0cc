#include "marovin/platform/SqlTextView.h"

#include "marovin/platform/SqlHighlighter.h"

#include <QEvent>
#include <QFontDatabase>

namespace marovin {

SqlTextView::SqlTextView(QWidget* parent)
    : QPlainTextEdit(parent), m_highlighter(new SqlHighlighter(document())) {
    setReadOnly(true);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    setFont(font);
}

void SqlTextView::setStrText(const std::string& text) {
    m_strText = text;
    // The document keeps paragraphs; a CR before the LF would show as a stray glyph.
    QString shown = QString::fromStdString(text);
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    setPlainText(shown);
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
