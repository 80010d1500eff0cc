#include "JoinLineItem.h"

#include "DiagramStyle.h"
#include "JoinBadgeItem.h"
#include "JoinRouter.h"
#include "TableBoxItem.h"

#include <QGraphicsScene>
#include <QPainter>
#include <QPainterPathStroker>
#include <algorithm>
#include <cmath>

namespace marovin {

namespace {
constexpr qreal kMarkerSize = 8;
// Room kept between a routed line and the boxes it goes around, and the radius of its corners.
constexpr qreal kClearance = 10;
constexpr qreal kCornerRadius = 8;
} // namespace

JoinLineItem::JoinLineItem(const DiagramJoin& join, TableBoxItem* left, int leftRow,
                           TableBoxItem* right, int rightRow, const DiagramStyle* style,
                           const QList<TableBoxItem*>* obstacles)
    : m_join(join), m_left(left), m_right(right), m_style(style), m_obstacles(obstacles),
      m_leftRow(leftRow), m_rightRow(rightRow) {
    // Lines lie under the boxes so that a crossing line never hides a column name.
    setZValue(-1);
    m_badgeItem = new JoinBadgeItem(this, style);
    updateToolTip();
    updateGeometry();
}

JoinLineItem::~JoinLineItem() {
    // The badge is a separate item of the scene (it floats above the boxes); it goes with its
    // line unless the scene already deleted it.
    delete m_badgeItem.data();
}

QVariant JoinLineItem::itemChange(GraphicsItemChange change, const QVariant& value) {
    if (change == ItemSceneHasChanged && m_badgeItem) {
        if (QGraphicsScene* now = scene())
            now->addItem(m_badgeItem);
        else if (m_badgeItem->scene())
            m_badgeItem->scene()->removeItem(m_badgeItem);
    }
    return QGraphicsObject::itemChange(change, value);
}

bool JoinLineItem::leftEndIsLeftmost() const {
    return m_start.x() <= m_end.x();
}

void JoinLineItem::setJoinType(JoinType type) {
    m_join.type = type;
    updateToolTip();
    if (m_badgeItem)
        m_badgeItem->typeChanged();
    update();
}

void JoinLineItem::setLineSelected(bool selected) {
    if (selected == m_selected)
        return;
    m_selected = selected;
    setZValue(selected ? -0.5 : -1);
    update();
    if (m_badgeItem)
        m_badgeItem->update();
}

void JoinLineItem::setHovered(bool hovered) {
    if (hovered == m_hovered)
        return;
    m_hovered = hovered;
    update();
    if (m_badgeItem)
        m_badgeItem->update();
}

QString JoinLineItem::keptRowsText() const {
    switch (m_join.type) {
    case JoinType::Inner:
        return QStringLiteral("only matching rows");
    case JoinType::Left:
        return QStringLiteral("all rows of %1").arg(m_join.strLeftAlias);
    case JoinType::Right:
        return QStringLiteral("all rows of %1").arg(m_join.strRightAlias);
    case JoinType::Full:
        break;
    }
    return QStringLiteral("all rows of both tables");
}

void JoinLineItem::updateToolTip() {
    setToolTip(QStringLiteral("%1.%2 = %3.%4\n%5: %6")
                   .arg(m_join.strLeftAlias, m_join.strLeftColumn, m_join.strRightAlias,
                        m_join.strRightColumn, joinTypeName(m_join.type), keptRowsText()));
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

    const QPointF c1 = startOut + QPointF(m_startDir * pull, 0);
    const QPointF c2 = endOut + QPointF(m_endDir * pull, 0);
    QPainterPath path;
    QPointF middle;
    if (!routeAround(startOut, c1, c2, endOut, &path, &middle)) {
        path = QPainterPath(m_start);
        path.lineTo(startOut);
        path.cubicTo(c1, c2, endOut);
        path.lineTo(m_end);
        // The middle of the curve (t = 0.5 of the cubic); the stubs at both ends are equally
        // long, so this is the middle of the whole line, found without measuring its length.
        middle = (startOut + 3 * c1 + 3 * c2 + endOut) / 8;
    }

    prepareGeometryChange();
    m_path = path;
    m_badge = middle;
    m_shapeValid = false;
    m_bounds = path.boundingRect().adjusted(-kMarkerSize, -kMarkerSize, kMarkerSize, kMarkerSize);
    if (m_badgeItem)
        m_badgeItem->setPos(m_badge);
}

bool JoinLineItem::routeAround(const QPointF& startOut, const QPointF& c1, const QPointF& c2,
                               const QPointF& endOut, QPainterPath* path, QPointF* middle) const {
    if (!m_obstacles)
        return false;
    QList<QRectF> boxes;
    boxes.reserve(m_obstacles->size());
    for (const TableBoxItem* b : *m_obstacles)
        boxes << b->mapRectToScene(b->bodyRect());
    if (!JoinRouter::curveCrosses(startOut, c1, c2, endOut, boxes))
        return false;
    // The clearance stays below the stub, so the line's own boxes are obstacles too and the
    // points where it leaves them lie outside their margins.
    const qreal clearance = std::min(kClearance, m_style->joinStub - 2);
    const QList<QPointF> corners =
        JoinRouter::route(startOut, m_startDir, endOut, m_endDir, boxes, clearance);
    if (corners.size() < 2)
        return false;

    QList<QPointF> points{m_start};
    points << corners << m_end;
    *path = QPainterPath(m_start);
    for (qsizetype k = 1; k + 1 < points.size(); ++k) {
        const QPointF before = points[k - 1];
        const QPointF corner = points[k];
        const QPointF after = points[k + 1];
        const qreal in = QLineF(before, corner).length();
        const qreal out = QLineF(corner, after).length();
        const qreal r = std::min({kCornerRadius, in / 2, out / 2});
        if (r <= 0.5) {
            path->lineTo(corner);
            continue;
        }
        path->lineTo(corner + (before - corner) * (r / in));
        path->quadTo(corner, corner + (after - corner) * (r / out));
    }
    path->lineTo(m_end);

    // Halfway along the corners.
    qreal total = 0;
    for (qsizetype k = 1; k < points.size(); ++k)
        total += QLineF(points[k - 1], points[k]).length();
    qreal left = total / 2;
    *middle = points.first();
    for (qsizetype k = 1; k < points.size(); ++k) {
        const qreal piece = QLineF(points[k - 1], points[k]).length();
        if (piece >= left && piece > 0) {
            *middle = points[k - 1] + (points[k] - points[k - 1]) * (left / piece);
            break;
        }
        left -= piece;
    }
    return true;
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
}

} // namespace marovin
