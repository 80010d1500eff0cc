#pragma once

#include "marovin/MarovinExport.h"

#include <QRegularExpression>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>

namespace marovin {

/// Colours T-SQL: keywords, string literals, numbers, bracketed names, parameter markers
/// "<[" name "]>" and comments. Strings and comments do not span lines (the generated SQL keeps
/// them on one line).
class MAROVIN_EXPORT SqlHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    /// What a stretch of text was coloured as; FormatAt reports it for tests and tools.
    enum class Kind { Plain, Keyword, String, Number, BracketedName, Parameter, Comment };

    explicit SqlHighlighter(QTextDocument* document);

    /// The kind given to the character at a position of one line of text.
    static Kind KindAt(const QString& strLine, int position);
    QTextCharFormat format(Kind kind) const;
    /// Picks the colour set that reads on the application's current palette (light or dark);
    /// the caller rehighlights.
    void updateFormats();

protected:
    void highlightBlock(const QString& text) override;

private:
    /// Splits one line into coloured stretches: (start, length, kind).
    struct Span {
        int start;
        int length;
        Kind kind;
    };
    static QList<Span> scan(const QString& text);

    QTextCharFormat m_keyword;
    QTextCharFormat m_string;
    QTextCharFormat m_number;
    QTextCharFormat m_bracketed;
    QTextCharFormat m_parameter;
    QTextCharFormat m_comment;
};

} // namespace marovin
