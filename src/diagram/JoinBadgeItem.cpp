#include "JoinBadgeItem.h"

#include "DiagramStyle.h"
#include "JoinLineItem.h"

#include <QPainter>
#include <QPainterPath>
#include <array>

namespace marovin {

namespace {
constexpr qreal kVennRadius = 6.2;
constexpr qreal kVennOffset = 4.2;
// Above every box: boxes are raised one step at a time from 1.
constexpr qreal kBadgeZ = 1e9;

// The shaded part of the two circles, centred on the origin: the overlap for an inner join,
// plus the whole circle of each table whose rows are all kept. Built once per kind, since path
// intersections are costly.
const QPainterPath& vennArea(JoinType type, bool leftFirst) {
    static const auto areas = [] {
        std::array<QPainterPath, 8> result;
        for (int first = 0; first < 2; ++first) {
            for (int t = 0; t < 4; ++t) {
                const auto kind = static_cast<JoinType>(t);
                QPainterPath left;
                left.addEllipse(QPointF(first ? -kVennOffset : kVennOffset, 0), kVennRadius,
                                kVennRadius);
                QPainterPath right;
                right.addEllipse(QPointF(first ? kVennOffset : -kVennOffset, 0), kVennRadius,
                                 kVennRadius);
                QPainterPath area = left.intersected(right);
                if (kind == JoinType::Left || kind == JoinType::Full)
                    area = area.united(left);
                if (kind == JoinType::Right || kind == JoinType::Full)
                    area = area.united(right);
                result[first * 4 + t] = area;
            }
        }
        return result;
    }();
    return areas[(leftFirst ? 4 : 0) + static_cast<int>(type)];
}
} // namespace

JoinBadgeItem::JoinBadgeItem(JoinLineItem* join, const DiagramStyle* style)
    : m_join(join), m_style(style) {
    setZValue(kBadgeZ);
}

void JoinBadgeItem::typeChanged() {
    prepareGeometryChange();
    update();
}

QRectF JoinBadgeItem::badgeRect() const {
    return QRectF(-kWidth / 2, -kHeight / 2, kWidth, kHeight);
}

QRectF JoinBadgeItem::labelRect() const {
    const QSizeF size = m_style->joinLabelSize[static_cast<int>(m_join->join().type)];
    return QRectF(-size.width() / 2, kHeight / 2 + 4, size.width(), size.height());
}

QRectF JoinBadgeItem::boundingRect() const {
    return badgeRect().united(labelRect()).adjusted(-2, -2, 2, 2);
}

QPainterPath JoinBadgeItem::shape() const {
    QPainterPath path;
    path.addRoundedRect(badgeRect(), kHeight / 2, kHeight / 2);
    return path;
}

void JoinBadgeItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) {
    const DiagramStyle& s = *m_style;
    const bool selected = m_join->isLineSelected();
    const bool hovered = m_join->isHovered();
    const QColor color = selected ? s.accent : s.joinLine;
    painter->setRenderHint(QPainter::Antialiasing);

    const QRectF badge = badgeRect();
    painter->setPen(QPen(color, selected ? 1.6 : 1.1));
    painter->setBrush(s.boxFill);
    painter->drawRoundedRect(badge, kHeight / 2, kHeight / 2);

    // The circle nearer the left box's end of the line stands for the left table.
    painter->setPen(Qt::NoPen);
    painter->setBrush(selected ? s.accent : DiagramStyle::mix(s.accent, s.joinLine, 0.25));
    painter->drawPath(vennArea(m_join->join().type, m_join->leftEndIsLeftmost()));
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(color, 1.0));
    painter->drawEllipse(QPointF(-kVennOffset, 0), kVennRadius, kVennRadius);
    painter->drawEllipse(QPointF(kVennOffset, 0), kVennRadius, kVennRadius);

    // The type in words while the join is pointed at or selected.
    if (selected || hovered) {
        const QRectF label = labelRect();
        painter->setPen(Qt::NoPen);
        painter->setBrush(selected ? s.accent : s.boxFill);
        painter->drawRoundedRect(label, label.height() / 2, label.height() / 2);
        if (!selected) {
            painter->setPen(QPen(s.boxBorder, 1));
            painter->setBrush(Qt::NoBrush);
            painter->drawRoundedRect(label.adjusted(0.5, 0.5, -0.5, -0.5), label.height() / 2,
                                     label.height() / 2);
        }
        painter->setFont(s.font);
        painter->setPen(selected ? s.accentText : s.text);
        painter->drawText(label, Qt::AlignCenter, joinTypeName(m_join->join().type));
    }
}

} // namespace marovin
