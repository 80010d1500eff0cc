#pragma once

#include <QGraphicsObject>
#include <QPainterPath>
#include <QPointer>
#include <marovin/DiagramJoin.h>

namespace marovin {

class DiagramStyle;
class JoinBadgeItem;
class TableBoxItem;

// The line of one join between a column row of the left box and a column row of the right
// box. It leaves each box sideways at the row's height and follows the boxes when they move,
// scroll or change size. Where the plain curve between the two would cross another box, the
// line goes around the boxes instead (see JoinRouter), with rounded corners. Its badge (a
// JoinBadgeItem) in the middle shows the join type; an outer join also marks the box whose rows
// are all kept with a filled square at its end.
class JoinLineItem : public QGraphicsObject {
    Q_OBJECT
public:
    // The boxes, style and obstacles are Not owned; the diagram removes the line before either
    // box. obstacles is the diagram's list of boxes, which the line avoids (null: none).
    JoinLineItem(const DiagramJoin& join, TableBoxItem* left, int leftRow, TableBoxItem* right,
                 int rightRow, const DiagramStyle* style,
                 const QList<TableBoxItem*>* obstacles = nullptr);
    ~JoinLineItem() override;

    const DiagramJoin& join() const { return m_join; }
    void setJoinType(JoinType type);
    TableBoxItem* leftBox() const { return m_left; }
    TableBoxItem* rightBox() const { return m_right; }
    int leftRow() const { return m_leftRow; }
    int rightRow() const { return m_rightRow; }

    void setLineSelected(bool selected);
    bool isLineSelected() const { return m_selected; }
    void setHovered(bool hovered);
    bool isHovered() const { return m_hovered; }
    // Which rows the join keeps, in words: "only matching rows", "all rows of Orders", ...
    QString keptRowsText() const;
    // True when the line's left-table end lies left of its right-table end on screen.
    bool leftEndIsLeftmost() const;

    // Recomputes the path from the current box geometry (and the style's label sizes).
    void updateGeometry();
    QPointF badgeCenter() const { return m_badge; }
    // The line as drawn, in scene coordinates.
    const QPainterPath& path() const { return m_path; }

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

protected:
    QVariant itemChange(GraphicsItemChange change, const QVariant& value) override;

private:
    void updateToolTip();
    // The path through the corners found around the boxes in the way, and the point halfway
    // along it; false when the plain curve is clear or no way around exists.
    bool routeAround(const QPointF& startOut, const QPointF& c1, const QPointF& c2,
                     const QPointF& endOut, QPainterPath* path, QPointF* middle) const;

    DiagramJoin m_join;
    TableBoxItem* m_left;                    // Not owned.
    TableBoxItem* m_right;                   // Not owned.
    const DiagramStyle* m_style;             // Not owned.
    const QList<TableBoxItem*>* m_obstacles; // Not owned; may be null.
    int m_leftRow;
    int m_rightRow;
    QPainterPath m_path;
    QPointF m_start;                     // on the left box's edge
    QPointF m_end;                       // on the right box's edge
    qreal m_startDir = 1;                // +1 when the line leaves the left box to the right
    qreal m_endDir = -1;                 // +1 when the line leaves the right box to the right
    QPointF m_badge;                     // the middle of the line, where the badge sits
    QPointer<JoinBadgeItem> m_badgeItem; // Owned; in the same scene as the line.
    QRectF m_bounds;
    mutable QPainterPath m_shape; // hit-test outline, rebuilt lazily after a change
    mutable bool m_shapeValid = false;
    bool m_selected = false;
    bool m_hovered = false;
};

} // namespace marovin
