#include "DiagramStyle.h"

#include <QFontMetricsF>
#include <algorithm>
#include <marovin/DiagramJoin.h>

namespace marovin {

QColor DiagramStyle::mix(const QColor& a, const QColor& b, qreal t) {
    const QColor ca = a.toRgb();
    const QColor cb = b.toRgb();
    return QColor::fromRgbF(
        ca.redF() + (cb.redF() - ca.redF()) * t, ca.greenF() + (cb.greenF() - ca.greenF()) * t,
        ca.blueF() + (cb.blueF() - ca.blueF()) * t, ca.alphaF() + (cb.alphaF() - ca.alphaF()) * t);
}

DiagramStyle DiagramStyle::fromWidget(const QPalette& palette, const QFont& font) {
    DiagramStyle s;
    s.font = font;
    s.titleFont = font;
    s.titleFont.setBold(true);
    s.markFont = s.titleFont;

    const QFontMetricsF metrics(font);
    s.rowHeight = std::max<qreal>(20, std::ceil(metrics.height() + 6));
    s.titleHeight = std::max<qreal>(26, std::ceil(QFontMetricsF(s.titleFont).height() + 10));
    for (int t = 0; t < 4; ++t) {
        s.joinLabelSize[t] =
            QSizeF(metrics.horizontalAdvance(joinTypeName(static_cast<JoinType>(t))) + 14,
                   metrics.height() + 4);
    }

    const QColor window = palette.color(QPalette::Window);
    const QColor base = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const QColor highlight = palette.color(QPalette::Highlight);
    const bool dark = window.lightnessF() < 0.5;

    // The canvas sits between the window and the box colour, so the boxes stand out in both
    // light and dark themes.
    s.canvas = dark ? mix(window, base, 0.55) : mix(window, base, 0.35);
    s.gridDot = mix(s.canvas, text, dark ? 0.16 : 0.13);
    s.boxFill = dark ? mix(base, window, 0.6).lighter(112) : base;
    s.boxBorder = mix(s.boxFill, text, dark ? 0.28 : 0.22);
    s.shadow = QColor(0, 0, 0, dark ? 90 : 34);
    s.titleFill = mix(s.boxFill, highlight, dark ? 0.30 : 0.16);
    s.titleText = text;
    s.text = text;
    s.mutedText = mix(text, s.boxFill, 0.45);
    s.accent = highlight;
    s.accentText = palette.color(QPalette::HighlightedText);
    s.rowHover = mix(s.boxFill, highlight, dark ? 0.18 : 0.09);
    s.rowCurrentInactive = mix(s.boxFill, highlight, dark ? 0.32 : 0.20);
    s.joinLine = mix(s.canvas, text, dark ? 0.68 : 0.66);
    s.scrollThumb = mix(s.boxFill, text, 0.35);
    s.dropTarget = mix(s.boxFill, highlight, dark ? 0.45 : 0.30);
    s.checkBorder = mix(s.boxFill, text, dark ? 0.55 : 0.50);
    // The link mark is drawn in the join lines' own colour, apart from the accent of the ticks.
    s.joinMark = mix(s.boxFill, text, dark ? 0.72 : 0.66);
    return s;
}

} // namespace marovin
