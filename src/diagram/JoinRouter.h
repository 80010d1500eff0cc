#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>

namespace marovin {

// Finds the way of a join line around the table boxes: an orthogonal path from one point to
// another that keeps a clearance from every obstacle rectangle, with as few bends as it can.
//
// The search runs on a sparse grid made of the obstacles' edges (moved out by the clearance)
// and the two end points, restricted to the obstacles near the straight way between the end
// points and a free ring around them; A* with a penalty per bend finds the path. Its cost grows
// with the number of obstacles near the line, not with the size of the diagram.
class JoinRouter {
public:
    // from and to are the points just outside the two boxes where the line leaves them;
    // fromDir and toDir (+1 or -1) the horizontal direction in which it leaves each box.
    // Returns the corners of the path, from and to included, or an empty list when every way
    // is blocked (or an end point lies inside an obstacle).
    static QList<QPointF> route(const QPointF& from, qreal fromDir, const QPointF& to, qreal toDir,
                                const QList<QRectF>& obstacles, qreal clearance);

    // True when the cubic curve from p0 to p3 with control points p1 and p2 crosses one of the
    // rectangles; the curve is followed through a few straight pieces.
    static bool curveCrosses(const QPointF& p0, const QPointF& p1, const QPointF& p2,
                             const QPointF& p3, const QList<QRectF>& rectangles);

    // True when the straight piece from a to b passes through the inside of the rectangle.
    static bool segmentCrosses(const QPointF& a, const QPointF& b, const QRectF& rectangle);
};

} // namespace marovin
