// Join lines go around the boxes in their way, and follow when a box is moved into or out of
// that way.

#include "DiagramFixture.h"

namespace marovin::testing {
namespace {

class DiagramRouting : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Left", {"ID", "Name"});
        place("Middle", {"A", "B", "C", "D", "E", "F", "G", "H"});
        place("Right", {"LeftID", "Value"});
        // Side by side with room between them; the middle box far below.
        diagram->restoreTableLayout("Left\t40\t120\t180\t150\n"
                                    "Middle\t320\t500\t180\t260\n"
                                    "Right\t600\t120\t180\t150");
        ASSERT_TRUE(diagram->AddJoin("Left", "ID", "Right", "LeftID", "Inner Join"));
    }

    // Points along the line, close enough that none can jump over a box edge.
    static QList<QPointF> along(const QPainterPath& path) {
        QList<QPointF> points;
        for (int k = 0; k <= 400; ++k)
            points << path.pointAtPercent(k / 400.0);
        return points;
    }
    static bool crosses(const QPainterPath& path, const QRectF& box) {
        const QList<QPointF> points = along(path);
        return std::any_of(points.begin(), points.end(),
                           [&](const QPointF& p) { return box.contains(p); });
    }
};

TEST_F(DiagramRouting, ALineGoesAroundBoxesInItsWayAndBackWhenTheyMove) {
    const QRectF left = diagram->tableSceneRect("Left");
    const QRectF right = diagram->tableSceneRect("Right");
    // Nothing in the way: the plain curve from the right edge of one box to the left of the
    // other, staying between their rows.
    QPainterPath path = diagram->joinPath(1);
    EXPECT_DOUBLE_EQ(path.pointAtPercent(0).x(), left.right());
    EXPECT_DOUBLE_EQ(path.pointAtPercent(1).x(), right.left());
    EXPECT_LT(path.boundingRect().height(), 60);

    // The middle box dragged with the mouse right into the way.
    const QPoint title = diagram->titlePoint("Middle");
    const QPointF target(310, 60);
    drag(title,
         title + (diagram->view()->mapFromScene(target) -
                  diagram->view()->mapFromScene(diagram->tableSceneRect("Middle").topLeft())));
    const QRectF middle = diagram->tableSceneRect("Middle");
    ASSERT_TRUE(middle.intersects(
        QRectF(left.right(), left.top(), right.left() - left.right(), left.height())))
        << "the box stands between the two";
    path = diagram->joinPath(1);
    EXPECT_FALSE(crosses(path, middle));
    EXPECT_FALSE(crosses(path, left.adjusted(1, 1, -1, -1)));
    EXPECT_FALSE(crosses(path, right.adjusted(1, 1, -1, -1)));
    EXPECT_DOUBLE_EQ(path.pointAtPercent(0).x(), left.right());
    EXPECT_DOUBLE_EQ(path.pointAtPercent(1).x(), right.left());
    // The badge sits on the new way and still answers a click.
    diagram->clearSelection();
    click(diagram->joinPoint(1));
    EXPECT_EQ(diagram->selectedJoin(), 1);

    // Away again: the plain curve comes back.
    diagram->restoreTableLayout("Middle\t320\t500\t180\t260");
    EXPECT_LT(diagram->joinPath(1).boundingRect().height(), 60);
    EXPECT_TRUE(diagram->joinPath(7).isEmpty());

    // A wall of boxes with gaps between Left and Right: the line passes without touching any.
    QStringList layout;
    for (int i = 0; i < 4; ++i) {
        const QString alias = QStringLiteral("Wall%1").arg(i);
        place(alias, {"x"});
        layout << QStringLiteral("%1\t330\t%2\t160\t90").arg(alias).arg(i * 130);
    }
    diagram->restoreTableLayout(layout.join(u'\n'));
    path = diagram->joinPath(1);
    for (int i = 0; i < 4; ++i) {
        const QString alias = QStringLiteral("Wall%1").arg(i);
        EXPECT_FALSE(crosses(path, diagram->tableSceneRect(alias))) << alias.toStdString();
    }
}

} // namespace
} // namespace marovin::testing
