#include "JoinRouter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <queue>
#include <vector>

namespace marovin {

namespace {

// A bend costs as much as this much length: a longer way with fewer corners reads better.
constexpr qreal kBendCost = 30;
constexpr qreal kSame = 0.25; // coordinates closer than this are one grid line

// Directions of a step on the grid.
enum Direction : int { East = 0, West = 1, South = 2, North = 3 };

void uniqueSorted(std::vector<qreal>& values) {
    std::sort(values.begin(), values.end());
    std::vector<qreal> kept;
    kept.reserve(values.size());
    for (qreal v : values) {
        if (kept.empty() || v - kept.back() > kSame)
            kept.push_back(v);
    }
    values.swap(kept);
}

// The index of the grid line at v (which was put into the grid).
int lineOf(const std::vector<qreal>& lines, qreal v) {
    const auto it = std::lower_bound(lines.begin(), lines.end(), v - kSame);
    return static_cast<int>(std::min<std::ptrdiff_t>(
        it - lines.begin(), static_cast<std::ptrdiff_t>(lines.size()) - 1));
}

bool strictlyInside(const QRectF& r, const QPointF& p) {
    return p.x() > r.left() && p.x() < r.right() && p.y() > r.top() && p.y() < r.bottom();
}

} // namespace

bool JoinRouter::segmentCrosses(const QPointF& a, const QPointF& b, const QRectF& r) {
    // Liang-Barsky clipping against the rectangle; a piece that only touches the border does
    // not count.
    qreal t0 = 0;
    qreal t1 = 1;
    const qreal dx = b.x() - a.x();
    const qreal dy = b.y() - a.y();
    const qreal p[] = {-dx, dx, -dy, dy};
    const qreal q[] = {a.x() - r.left(), r.right() - a.x(), a.y() - r.top(), r.bottom() - a.y()};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] <= 0)
                return false;
            continue;
        }
        const qreal t = q[i] / p[i];
        if (p[i] < 0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 >= t1)
            return false;
    }
    // Inside for a stretch of positive length.
    const QPointF m = a + (b - a) * ((t0 + t1) / 2);
    return strictlyInside(r, m);
}

bool JoinRouter::curveCrosses(const QPointF& p0, const QPointF& p1, const QPointF& p2,
                              const QPointF& p3, const QList<QRectF>& rectangles) {
    constexpr int kPieces = 16;
    const QRectF hull = QRectF(p0, p3).normalized() | QRectF(p1, p2).normalized();
    QPointF points[kPieces + 1];
    bool sampled = false;
    for (const QRectF& r : rectangles) {
        if (!r.intersects(hull.adjusted(-1, -1, 1, 1)))
            continue;
        if (!sampled) {
            for (int k = 0; k <= kPieces; ++k) {
                const qreal t = qreal(k) / kPieces;
                const qreal u = 1 - t;
                points[k] =
                    u * u * u * p0 + 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t * p3;
            }
            sampled = true;
        }
        for (int k = 0; k < kPieces; ++k) {
            if (segmentCrosses(points[k], points[k + 1], r))
                return true;
        }
    }
    return false;
}

QList<QPointF> JoinRouter::route(const QPointF& from, qreal fromDir, const QPointF& to, qreal toDir,
                                 const QList<QRectF>& obstacles, qreal clearance) {
    // Obstacles moved out by the clearance; one that holds an end point cannot be avoided and
    // is left out rather than making every way impossible.
    std::vector<QRectF> all;
    all.reserve(static_cast<size_t>(obstacles.size()));
    for (const QRectF& r : obstacles) {
        const QRectF grown = r.adjusted(-clearance, -clearance, clearance, clearance);
        if (!strictlyInside(grown, from) && !strictlyInside(grown, to))
            all.push_back(grown);
    }

    // The area searched: the rectangle of the end points, grown by every obstacle that comes
    // near it until a free ring of width `ring` surrounds it all.
    const qreal ring = 2 * clearance + 8;
    QRectF area = QRectF(from, to).normalized();
    std::vector<char> taken(all.size(), 0);
    std::vector<QRectF> near;
    for (bool grew = true; grew;) {
        grew = false;
        const QRectF reach = area.adjusted(-ring, -ring, ring, ring);
        for (size_t i = 0; i < all.size(); ++i) {
            if (!taken[i] && all[i].intersects(reach)) {
                taken[i] = 1;
                near.push_back(all[i]);
                area |= all[i];
                grew = true;
            }
        }
    }
    const QRectF outer = area.adjusted(-ring, -ring, ring, ring);

    std::vector<qreal> xs{from.x(), to.x(), (from.x() + to.x()) / 2, outer.left(), outer.right()};
    std::vector<qreal> ys{from.y(), to.y(), (from.y() + to.y()) / 2, outer.top(), outer.bottom()};
    for (const QRectF& r : near) {
        xs.push_back(r.left());
        xs.push_back(r.right());
        ys.push_back(r.top());
        ys.push_back(r.bottom());
    }
    uniqueSorted(xs);
    uniqueSorted(ys);
    const int nx = static_cast<int>(xs.size());
    const int ny = static_cast<int>(ys.size());

    // Cells (between neighbouring grid lines) covered by an obstacle.
    std::vector<uint8_t> covered(static_cast<size_t>((nx - 1) * (ny - 1)), 0);
    auto cell = [&](int i, int j) -> uint8_t& {
        return covered[static_cast<size_t>(j * (nx - 1) + i)];
    };
    for (const QRectF& r : near) {
        const int i0 = lineOf(xs, r.left());
        const int i1 = lineOf(xs, r.right());
        const int j0 = lineOf(ys, r.top());
        const int j1 = lineOf(ys, r.bottom());
        for (int j = j0; j < j1; ++j) {
            for (int i = i0; i < i1; ++i)
                cell(i, j) = 1;
        }
    }
    // A step along a grid line is blocked when the cells on both sides of it are covered: it
    // would run through an obstacle (or between two that touch). Along an edge it is free.
    auto blocked = [&](int i, int j, int direction) {
        if (direction == East || direction == West) {
            const int c = direction == East ? i : i - 1;
            return j > 0 && j < ny - 1 && cell(c, j - 1) && cell(c, j);
        }
        const int r = direction == South ? j : j - 1;
        return i > 0 && i < nx - 1 && cell(i - 1, r) && cell(i, r);
    };

    const int startNode = lineOf(ys, from.y()) * nx + lineOf(xs, from.x());
    const int goalNode = lineOf(ys, to.y()) * nx + lineOf(xs, to.x());
    const int startDirection = fromDir > 0 ? East : West;
    // The line arrives heading into its box.
    const int goalDirection = toDir > 0 ? West : East;

    // The search's tables are kept between calls and told apart by a stamp per call, so a
    // route does not pay for clearing a large grid it mostly does not visit.
    const int states = nx * ny * 4;
    const int finished = states; // the state after the last step
    thread_local std::vector<qreal> cost;
    thread_local std::vector<int> previous;
    thread_local std::vector<uint32_t> stamp;
    thread_local uint32_t generation = 0;
    if (stamp.size() < static_cast<size_t>(states) + 1) {
        cost.resize(static_cast<size_t>(states) + 1);
        previous.resize(static_cast<size_t>(states) + 1);
        stamp.assign(static_cast<size_t>(states) + 1, 0);
        generation = 0;
    }
    if (++generation == 0) { // wrapped: start afresh
        std::fill(stamp.begin(), stamp.end(), 0);
        generation = 1;
    }
    auto costOf = [&](int state) {
        return stamp[static_cast<size_t>(state)] == generation ? cost[static_cast<size_t>(state)]
                                                               : std::numeric_limits<qreal>::max();
    };
    auto setCost = [&](int state, qreal value, int from) {
        stamp[static_cast<size_t>(state)] = generation;
        cost[static_cast<size_t>(state)] = value;
        previous[static_cast<size_t>(state)] = from;
    };

    struct Entry {
        qreal estimated; // cost so far plus the least still to come
        qreal so;        // cost so far
        int state;
        // Among equal estimates the deeper entry first: on a grid many ways tie, and following
        // one of them to its end visits far fewer states.
        bool operator>(const Entry& other) const {
            return estimated != other.estimated ? estimated > other.estimated : so < other.so;
        }
    };
    std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> open;
    // The length still to go, and one bend when both coordinates still differ.
    auto estimate = [&](int node) {
        const qreal dx = std::abs(xs[static_cast<size_t>(node % nx)] - to.x());
        const qreal dy = std::abs(ys[static_cast<size_t>(node / nx)] - to.y());
        return dx + dy + (dx > kSame && dy > kSame ? kBendCost : 0);
    };
    const int first = startNode * 4 + startDirection;
    setCost(first, 0, -1);
    open.push({estimate(startNode), 0, first});
    static constexpr int kStepX[] = {1, -1, 0, 0};
    static constexpr int kStepY[] = {0, 0, 1, -1};
    static constexpr int kReverse[] = {West, East, North, South};
    bool found = false;
    while (!open.empty()) {
        const Entry top = open.top();
        open.pop();
        if (top.state == finished) {
            found = true;
            break;
        }
        if (top.so > costOf(top.state))
            continue; // an outdated entry
        const qreal here = top.so;
        const int node = top.state / 4;
        const int direction = top.state % 4;
        if (node == goalNode) {
            const qreal total = here + (direction == goalDirection ? 0 : kBendCost);
            if (total < costOf(finished)) {
                setCost(finished, total, top.state);
                open.push({total, total, finished});
            }
        }
        const int i = node % nx;
        const int j = node / nx;
        for (int d = 0; d < 4; ++d) {
            if (d == kReverse[direction])
                continue;
            const int ni = i + kStepX[d];
            const int nj = j + kStepY[d];
            if (ni < 0 || ni >= nx || nj < 0 || nj >= ny || blocked(i, j, d))
                continue;
            const qreal length =
                std::abs(xs[static_cast<size_t>(ni)] - xs[static_cast<size_t>(i)]) +
                std::abs(ys[static_cast<size_t>(nj)] - ys[static_cast<size_t>(j)]);
            const qreal next = here + length + (d == direction ? 0 : kBendCost);
            const int nextNode = nj * nx + ni;
            const int nextState = nextNode * 4 + d;
            if (next < costOf(nextState)) {
                setCost(nextState, next, top.state);
                open.push({next + estimate(nextNode), next, nextState});
            }
        }
    }
    if (!found)
        return {};

    // Walk back, keeping only the corners.
    std::vector<QPointF> nodes;
    for (int state = previous[static_cast<size_t>(finished)]; state >= 0;
         state = previous[static_cast<size_t>(state)]) {
        const int node = state / 4;
        nodes.emplace_back(xs[static_cast<size_t>(node % nx)], ys[static_cast<size_t>(node / nx)]);
    }
    std::reverse(nodes.begin(), nodes.end());
    QList<QPointF> corners;
    for (const QPointF& p : nodes) {
        if (!corners.isEmpty() && corners.last() == p)
            continue;
        if (corners.size() >= 2) {
            const QPointF& a = corners[corners.size() - 2];
            const QPointF& b = corners.last();
            const bool straight =
                (a.x() == b.x() && b.x() == p.x()) || (a.y() == b.y() && b.y() == p.y());
            if (straight)
                corners.last() = p;
            else
                corners << p;
        } else {
            corners << p;
        }
    }
    // The exact end points rather than their grid lines.
    if (!corners.isEmpty()) {
        corners.first() = from;
        corners.last() = to;
    }
    return corners;
}

} // namespace marovin
