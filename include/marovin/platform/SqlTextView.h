#pragma once

#include "marovin/MarovinExport.h"

#include <QPlainTextEdit>
#include <QPointer>
#include <string>

namespace marovin {

class SqlHighlighter;

/// The read-only, monospaced display of the generated SQL, coloured by SqlHighlighter. It keeps the
/// text exactly as given (CR LF line breaks) and shows each CR LF as one line break.
class MAROVIN_EXPORT SqlTextView : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit SqlTextView(QWidget* parent = nullptr);

    void setStrText(const std::string& text);
    /// The text as last given, byte for byte.
    const std::string& strText() const { return m_strText; }
    SqlHighlighter* highlighter() const { return m_highlighter; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void showText(QString shown);
    void watchDocument();

    std::string m_strText;
    QString m_shown;               // The document's text: m_strText with one line feed per CR LF.
    SqlHighlighter* m_highlighter; // Owned by the document.
    QPointer<QTextDocument> m_watched; // The document whose changes are followed.
    QMetaObject::Connection m_watchConnection;
    bool m_documentIsAsShown = false; // No one else changed the document since m_shown.
    bool m_editing = false;           // The view itself is changing the document.
};

} // namespace marovin
