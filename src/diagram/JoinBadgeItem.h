#pragma once

#include <QGraphicsObject>
#include <marovin/DiagramJoin.h>

namespace marovin {

class DiagramStyle;
class JoinLineItem;

// The badge in the middle of a join line: two overlapping circles whose shaded part shows the
// rows the join keeps, and the type's name under it while the join is pointed at or selected.
// It is an item of its own so that it can float above the boxes while the line itself runs
// beneath them: a badge is never hidden by a box in the way.
class JoinBadgeItem : public QGraphicsObject {
    Q_OBJECT
public:
    // join and style are Not owned; the join line deletes its badge.
    JoinBadgeItem(JoinLineItem* join, const DiagramStyle* style);

    JoinLineItem* joinLine() const { return m_join; }
    // Call after the join's type changed: the label's width follows the name.
    void typeChanged();

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    static constexpr qreal kWidth = 34;
    static constexpr qreal kHeight = 21;

private:
    QRectF badgeRect() const;
    QRectF labelRect() const;

    JoinLineItem* m_join;        // Not owned.
    const DiagramStyle* m_style; // Not owned.
};

} // namespace marovin
