#include "JoinLineItem.h"

#include "DiagramStyle.h"
#include "TableBoxItem.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <algorithm>
#include <array>
#include <cmath>

namespace marovin {

namespace {
constexpr qreal kBadgeWidth = 34;
constexpr qreal kBadgeHeight = 21;
constexpr qreal kMarkerSize = 8;
constexpr qreal kVennRadius = 6.2;
constexpr qreal kVennOffset = 4.2;

// The shaded part of the badge's two circles, centred on the origin: the overlap for an inner
// join, plus the whole circle of each table whose rows are all kept. Built once per kind, since
// path intersections are costly.
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

JoinLineItem::JoinLineItem(const DiagramJoin& join, TableBoxItem* left, int leftRow,
                           TableBoxItem* right, int rightRow, const DiagramStyle* style)
    : m_join(join), m_left(left), m_right(right), m_style(style), m_leftRow(leftRow),
      m_rightRow(rightRow) {
    // Lines lie under the boxes so that a crossing line never hides a column name.
    setZValue(-1);
    updateToolTip();
    updateGeometry();
}

void JoinLineItem::setJoinType(JoinType type) {
    m_join.type = type;
    updateToolTip();
    updateGeometry(); // the label under the badge changes width
    update();
}

void JoinLineItem::setLineSelected(bool selected) {
    if (selected == m_selected)
        return;
    m_selected = selected;
    setZValue(selected ? -0.5 : -1);
    update();
}

void JoinLineItem::setHovered(bool hovered) {
    if (hovered == m_hovered)
        return;
    m_hovered = hovered;
    update();
}

void JoinLineItem::updateToolTip() {
    QString kept;
    switch (m_join.type) {
    case JoinType::Inner:
        kept = QStringLiteral("only matching rows");
        break;
    case JoinType::Left:
        kept = QStringLiteral("all rows of %1").arg(m_join.strLeftAlias);
        break;
    case JoinType::Right:
        kept = QStringLiteral("all rows of %1").arg(m_join.strRightAlias);
        break;
    case JoinType::Full:
        kept = QStringLiteral("all rows of both tables");
        break;
    }
    setToolTip(QStringLiteral("%1.%2 = %3.%4\n%5: %6")
                   .arg(m_join.strLeftAlias, m_join.strLeftColumn, m_join.strRightAlias,
                        m_join.strRightColumn, joinTypeName(m_join.type), kept));
}

void JoinLineItem::updateGeometry() {
    const QRectF l = m_left->mapRectToScene(m_left->bodyRect());
    const QRectF r = m_right->mapRectToScene(m_right->bodyRect());
    const qreal ly = m_left->scenePos().y() + m_left->rowAnchorY(m_leftRow);
    const qreal ry = m_right->scenePos().y() + m_right->rowAnchorY(m_rightRow);
    const qreal stub = m_style->joinStub;

    // Leave each box on the side facing the other; boxes that overlap horizontally are both
    // left on their right side, which gives a loop that stays readable.
    if (r.left() >= l.right() + stub) {
        m_startDir = 1;
        m_endDir = -1;
    } else if (l.left() >= r.right() + stub) {
        m_startDir = -1;
        m_endDir = 1;
    } else {
        m_startDir = 1;
        m_endDir = 1;
    }
    m_start = QPointF(m_startDir > 0 ? l.right() : l.left(), ly);
    m_end = QPointF(m_endDir > 0 ? r.right() : r.left(), ry);
    const QPointF startOut = m_start + QPointF(m_startDir * stub, 0);
    const QPointF endOut = m_end + QPointF(m_endDir * stub, 0);
    const qreal pull = std::max<qreal>(30, std::abs(endOut.x() - startOut.x()) / 2);

    QPainterPath path(m_start);
    path.lineTo(startOut);
    path.cubicTo(startOut + QPointF(m_startDir * pull, 0), endOut + QPointF(m_endDir * pull, 0),
                 endOut);
    path.lineTo(m_end);

    prepareGeometryChange();
    m_path = path;
    // The middle of the curve (t = 0.5 of the cubic); the stubs at both ends are equally long,
    // so this is the middle of the whole line, found without measuring its length.
    m_badge = (startOut + 3 * (startOut + QPointF(m_startDir * pull, 0)) +
               3 * (endOut + QPointF(m_endDir * pull, 0)) + endOut) /
              8;
    m_shapeValid = false;
    m_bounds = path.boundingRect()
                   .united(badgeRect())
                   .united(labelRect())
                   .adjusted(-kMarkerSize, -kMarkerSize, kMarkerSize, kMarkerSize);
}

QRectF JoinLineItem::badgeRect() const {
    return QRectF(m_badge.x() - kBadgeWidth / 2, m_badge.y() - kBadgeHeight / 2, kBadgeWidth,
                  kBadgeHeight);
}

QRectF JoinLineItem::labelRect() const {
    const QSizeF size = m_style->joinLabelSize[static_cast<int>(m_join.type)];
    return QRectF(m_badge.x() - size.width() / 2, m_badge.y() + kBadgeHeight / 2 + 4, size.width(),
                  size.height());
}

QRectF JoinLineItem::boundingRect() const {
    return m_bounds;
}

QPainterPath JoinLineItem::shape() const {
    // Built on demand: hit tests are rare compared with the moves that change the path.
    if (!m_shapeValid) {
        QPainterPathStroker stroker;
        stroker.setWidth(9);
        m_shape = stroker.createStroke(m_path);
        m_shape.addRoundedRect(badgeRect(), kBadgeHeight / 2, kBadgeHeight / 2);
        m_shapeValid = true;
    }
    return m_shape;
}

void JoinLineItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) {
    const DiagramStyle& s = *m_style;
    painter->setRenderHint(QPainter::Antialiasing);
    const QColor color = m_selected ? s.accent : s.joinLine;
    const qreal width = m_selected ? 2.4 : (m_hovered ? 2.0 : 1.4);

    painter->setBrush(Qt::NoBrush);
    QPen linePen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    if (!m_selected && !m_hovered) {
        // Most lines are plain: a cosmetic pen one logical pixel wide is drawn by the raster
        // engine's fast path, several times quicker than a stroked curve, which keeps dragging
        // smooth in diagrams with hundreds of joins.
        linePen.setCosmetic(true);
        linePen.setWidthF(painter->device() ? painter->device()->devicePixelRatioF() : 1.0);
    }
    painter->setPen(linePen);
    painter->drawPath(m_path);

    // End markers: a filled square where all rows of that table are kept, a small dot otherwise.
    const bool keepLeft = m_join.type == JoinType::Left || m_join.type == JoinType::Full;
    const bool keepRight = m_join.type == JoinType::Right || m_join.type == JoinType::Full;
    auto marker = [&](const QPointF& at, qreal dir, bool keep) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
        if (keep) {
            const QPointF c = at + QPointF(dir * (kMarkerSize / 2 + 1), 0);
            painter->drawRoundedRect(
                QRectF(c.x() - kMarkerSize / 2, c.y() - kMarkerSize / 2, kMarkerSize, kMarkerSize),
                1.5, 1.5);
        } else {
            painter->drawEllipse(at + QPointF(dir * 2.5, 0), 2.6, 2.6);
        }
    };
    marker(m_start, m_startDir, keepLeft);
    marker(m_end, m_endDir, keepRight);

    // Badge: two overlapping circles; the circle nearer the left box's end stands for it.
    const QRectF badge = badgeRect();
    painter->setPen(QPen(color, m_selected ? 1.6 : 1.1));
    painter->setBrush(s.boxFill);
    painter->drawRoundedRect(badge, kBadgeHeight / 2, kBadgeHeight / 2);

    const bool leftFirst = m_start.x() <= m_end.x();
    painter->setPen(Qt::NoPen);
    painter->setBrush(m_selected ? s.accent : DiagramStyle::mix(s.accent, s.joinLine, 0.25));
    painter->drawPath(vennArea(m_join.type, leftFirst).translated(m_badge));
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(color, 1.0));
    painter->drawEllipse(m_badge + QPointF(-kVennOffset, 0), kVennRadius, kVennRadius);
    painter->drawEllipse(m_badge + QPointF(kVennOffset, 0), kVennRadius, kVennRadius);

    // The type in words under the badge of the join being pointed at or selected.
    if (m_selected || m_hovered) {
        const QRectF label = labelRect();
        painter->setPen(Qt::NoPen);
        painter->setBrush(m_selected ? s.accent : s.boxFill);
        painter->drawRoundedRect(label, label.height() / 2, label.height() / 2);
        if (!m_selected) {
            painter->setPen(QPen(s.boxBorder, 1));
            painter->setBrush(Qt::NoBrush);
            painter->drawRoundedRect(label.adjusted(0.5, 0.5, -0.5, -0.5), label.height() / 2,
                                     label.height() / 2);
        }
        painter->setFont(s.font);
        painter->setPen(m_selected ? s.accentText : s.text);
        painter->drawText(label, Qt::AlignCenter, joinTypeName(m_join.type));
    }
}

} // namespace marovin
