#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QSizeF>
#include <array>

namespace marovin {

// Colours, fonts and metrics shared by the boxes, the join lines and the view. Everything is
// derived from the widget's palette and font, so the diagram follows light and dark themes and
// the user's font size; sizes are in device-independent pixels, which keeps it sharp on
// high-DPI screens.
class DiagramStyle {
public:
    static DiagramStyle fromWidget(const QPalette& palette, const QFont& font);

    // Linear blend of two colours: t = 0 gives a, t = 1 gives b.
    static QColor mix(const QColor& a, const QColor& b, qreal t);

    QFont font;
    QFont titleFont;
    QFont markFont; // the "*" of the all-columns row

    qreal titleHeight = 26;
    qreal rowHeight = 20;
    qreal cornerRadius = 6;
    qreal padding = 8;
    qreal scrollBarWidth = 6;
    qreal resizeMargin = 6;
    qreal closeSize = 16;
    qreal minWidth = 110;
    qreal joinStub = 14;
    // The label with a join type's name, by JoinType, measured once per font.
    std::array<QSizeF, 4> joinLabelSize;

    QColor canvas;
    QColor gridDot;
    QColor boxFill;
    QColor boxBorder;
    QColor shadow;
    QColor titleFill;
    QColor titleText;
    QColor text;
    QColor mutedText;
    QColor accent;
    QColor accentText;
    QColor rowHover;
    QColor rowCurrentInactive;
    QColor joinLine;
    QColor scrollThumb;
    QColor dropTarget;
    QColor checkBorder; // an empty output check box
    QColor joinMark;    // the link mark of a column that takes part in a join
};

} // namespace marovin
