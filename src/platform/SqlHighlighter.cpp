#include "marovin/platform/SqlHighlighter.h"

#include <QGuiApplication>
#include <QPalette>
#include <QSet>

namespace marovin {

namespace {

const QSet<QString>& keywords() {
    static const QSet<QString> words = {
        QStringLiteral("ADD"),       QStringLiteral("ALL"),       QStringLiteral("AND"),
        QStringLiteral("ANY"),       QStringLiteral("AS"),        QStringLiteral("ASC"),
        QStringLiteral("AVG"),       QStringLiteral("BETWEEN"),   QStringLiteral("BY"),
        QStringLiteral("CASE"),      QStringLiteral("CAST"),      QStringLiteral("COALESCE"),
        QStringLiteral("CONVERT"),   QStringLiteral("COUNT"),     QStringLiteral("CROSS"),
        QStringLiteral("DELETE"),    QStringLiteral("DESC"),      QStringLiteral("DISTINCT"),
        QStringLiteral("ELSE"),      QStringLiteral("END"),       QStringLiteral("ESCAPE"),
        QStringLiteral("EXCEPT"),    QStringLiteral("EXISTS"),    QStringLiteral("FROM"),
        QStringLiteral("FULL"),      QStringLiteral("GROUP"),     QStringLiteral("HAVING"),
        QStringLiteral("IN"),        QStringLiteral("INNER"),     QStringLiteral("INSERT"),
        QStringLiteral("INTERSECT"), QStringLiteral("INTO"),      QStringLiteral("IS"),
        QStringLiteral("JOIN"),      QStringLiteral("LEFT"),      QStringLiteral("LIKE"),
        QStringLiteral("MAX"),       QStringLiteral("MIN"),       QStringLiteral("NOT"),
        QStringLiteral("NULL"),      QStringLiteral("NULLIF"),    QStringLiteral("ON"),
        QStringLiteral("OR"),        QStringLiteral("ORDER"),     QStringLiteral("OUTER"),
        QStringLiteral("OVER"),      QStringLiteral("PARTITION"), QStringLiteral("PERCENT"),
        QStringLiteral("RIGHT"),     QStringLiteral("SELECT"),    QStringLiteral("SET"),
        QStringLiteral("SOME"),      QStringLiteral("STDEV"),     QStringLiteral("STDEVP"),
        QStringLiteral("SUM"),       QStringLiteral("THEN"),      QStringLiteral("TOP"),
        QStringLiteral("UNION"),     QStringLiteral("UPDATE"),    QStringLiteral("VALUES"),
        QStringLiteral("VAR"),       QStringLiteral("VARP"),      QStringLiteral("WHEN"),
        QStringLiteral("WHERE"),     QStringLiteral("WITH"),
    };
    return words;
}

bool isWordStart(QChar c) {
    return c.isLetter() || c == QLatin1Char('_') || c == QLatin1Char('@') || c == QLatin1Char('#');
}

bool isWordChar(QChar c) {
    return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('@') ||
           c == QLatin1Char('#') || c == QLatin1Char('$');
}

} // namespace

SqlHighlighter::SqlHighlighter(QTextDocument* document) : QSyntaxHighlighter(document) {
    updateFormats();
}

void SqlHighlighter::updateFormats() {
    // Colours readable on light and dark bases: the base's lightness picks the set.
    const bool dark = QGuiApplication::palette().color(QPalette::Base).lightness() < 128;
    m_keyword.setForeground(dark ? QColor(0x82, 0xaa, 0xff) : QColor(0x00, 0x33, 0xb3));
    m_keyword.setFontWeight(QFont::Bold);
    m_string.setForeground(dark ? QColor(0xe6, 0x9f, 0x66) : QColor(0xa3, 0x15, 0x15));
    m_number.setForeground(dark ? QColor(0xb5, 0xce, 0xa8) : QColor(0x09, 0x86, 0x58));
    m_bracketed.setForeground(dark ? QColor(0xc5, 0x86, 0xc0) : QColor(0x80, 0x00, 0x80));
    m_parameter.setForeground(dark ? QColor(0xff, 0xd7, 0x00) : QColor(0xb0, 0x5a, 0x00));
    m_parameter.setFontWeight(QFont::Bold);
    m_parameter.setFontUnderline(true);
    m_comment.setForeground(dark ? QColor(0x6a, 0x99, 0x55) : QColor(0x60, 0x80, 0x60));
    m_comment.setFontItalic(true);
}

QTextCharFormat SqlHighlighter::format(Kind kind) const {
    switch (kind) {
    case Kind::Keyword:
        return m_keyword;
    case Kind::String:
        return m_string;
    case Kind::Number:
        return m_number;
    case Kind::BracketedName:
        return m_bracketed;
    case Kind::Parameter:
        return m_parameter;
    case Kind::Comment:
        return m_comment;
    case Kind::Plain:
        break;
    }
    return QTextCharFormat();
}

QList<SqlHighlighter::Span> SqlHighlighter::scan(const QString& text) {
    QList<Span> spans;
    const int n = static_cast<int>(text.size());
    int i = 0;
    while (i < n) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('-') && i + 1 < n && text.at(i + 1) == QLatin1Char('-')) {
            spans.append({i, n - i, Kind::Comment});
            break;
        }
        if (c == QLatin1Char('/') && i + 1 < n && text.at(i + 1) == QLatin1Char('*')) {
            int end = static_cast<int>(text.indexOf(QStringLiteral("*/"), i + 2));
            end = end < 0 ? n : end + 2;
            spans.append({i, end - i, Kind::Comment});
            i = end;
            continue;
        }
        if (c == QLatin1Char('<') && i + 1 < n && text.at(i + 1) == QLatin1Char('[')) {
            const int close = static_cast<int>(text.indexOf(QStringLiteral("]>"), i + 2));
            if (close >= 0) {
                spans.append({i, close + 2 - i, Kind::Parameter});
                i = close + 2;
                continue;
            }
        }
        if (c == QLatin1Char('\'') ||
            ((c == QLatin1Char('N') || c == QLatin1Char('n')) && i + 1 < n &&
             text.at(i + 1) == QLatin1Char('\'') && (i == 0 || !isWordChar(text.at(i - 1))))) {
            // A literal runs to the next lone quote; a doubled quote stays inside it. Parameter
            // markers inside a literal keep their own colour.
            const int start = i;
            int j = (c == QLatin1Char('\'')) ? i + 1 : i + 2;
            int piece = start;
            while (j < n) {
                if (text.at(j) == QLatin1Char('\'')) {
                    if (j + 1 < n && text.at(j + 1) == QLatin1Char('\'')) {
                        j += 2;
                        continue;
                    }
                    ++j;
                    break;
                }
                if (text.at(j) == QLatin1Char('<') && j + 1 < n &&
                    text.at(j + 1) == QLatin1Char('[')) {
                    const int close = static_cast<int>(text.indexOf(QStringLiteral("]>"), j + 2));
                    if (close >= 0) {
                        if (j > piece)
                            spans.append({piece, j - piece, Kind::String});
                        spans.append({j, close + 2 - j, Kind::Parameter});
                        j = close + 2;
                        piece = j;
                        continue;
                    }
                }
                ++j;
            }
            if (j > piece)
                spans.append({piece, j - piece, Kind::String});
            i = j;
            continue;
        }
        if (c == QLatin1Char('[')) {
            int j = i + 1;
            while (j < n) {
                if (text.at(j) == QLatin1Char(']')) {
                    if (j + 1 < n && text.at(j + 1) == QLatin1Char(']')) {
                        j += 2;
                        continue;
                    }
                    ++j;
                    break;
                }
                ++j;
            }
            spans.append({i, j - i, Kind::BracketedName});
            i = j;
            continue;
        }
        if (c.isDigit() || (c == QLatin1Char('.') && i + 1 < n && text.at(i + 1).isDigit() &&
                            (i == 0 || !isWordChar(text.at(i - 1))))) {
            if (i > 0 && isWordChar(text.at(i - 1))) {
                ++i;
                continue;
            }
            int j = i;
            while (j < n && (text.at(j).isDigit() || text.at(j) == QLatin1Char('.')))
                ++j;
            if (j < n && (text.at(j) == QLatin1Char('e') || text.at(j) == QLatin1Char('E'))) {
                int k = j + 1;
                if (k < n && (text.at(k) == QLatin1Char('+') || text.at(k) == QLatin1Char('-')))
                    ++k;
                if (k < n && text.at(k).isDigit()) {
                    j = k;
                    while (j < n && text.at(j).isDigit())
                        ++j;
                }
            }
            if (j < n && isWordChar(text.at(j))) {
                // Digits that start a word are part of a name, not a number.
                while (j < n && isWordChar(text.at(j)))
                    ++j;
                i = j;
                continue;
            }
            spans.append({i, j - i, Kind::Number});
            i = j;
            continue;
        }
        if (isWordStart(c)) {
            int j = i + 1;
            while (j < n && isWordChar(text.at(j)))
                ++j;
            if (keywords().contains(text.mid(i, j - i).toUpper()))
                spans.append({i, j - i, Kind::Keyword});
            i = j;
            continue;
        }
        ++i;
    }
    return spans;
}

SqlHighlighter::Kind SqlHighlighter::KindAt(const QString& strLine, int position) {
    for (const Span& span : scan(strLine)) {
        if (position >= span.start && position < span.start + span.length)
            return span.kind;
    }
    return Kind::Plain;
}

void SqlHighlighter::highlightBlock(const QString& text) {
    for (const Span& span : scan(text))
        setFormat(span.start, span.length, format(span.kind));
}

} // namespace marovin
