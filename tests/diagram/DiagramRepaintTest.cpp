// What the view leaves on screen after keyboard moves, scrolling, resizing and zooming is what a
// complete repaint of the scene shows: no half-drawn or stale highlights. The screen is the
// window's backing store as the repaints left it; the reference is the same viewport repainted
// at once with every item painted directly (no item caches).

#include "DiagramFixture.h"

#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QScreen>
#include <QScrollBar>
#include <QWindow>
#include <algorithm>
#include <cstdlib>
#include <vector>

namespace marovin::testing {
namespace {

class DiagramRepaint : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        // A low view, as the diagram pane of the query builder is: the tall box does not fit.
        window->resize(700, 300);
        place("Customers", {"CustomerID", "CompanyName", "City"});
        place("Wide", numberedColumns(25));
        // A box starts no taller than the view; the user has made this one taller.
        const QRectF wide = diagram->tableSceneRect("Wide");
        diagram->restoreTableLayout(QStringLiteral("Wide\t%1\t%2\t%3\t375")
                                        .arg(wide.left())
                                        .arg(wide.top())
                                        .arg(wide.width()));
        place("Orders", {"OrderID", "CustomerID", "EmployeeID", "ShipCity"});
        ASSERT_TRUE(
            diagram->AddJoin("Customers", "CustomerID", "Orders", "CustomerID", "Left Join"));
        ASSERT_TRUE(diagram->AddJoin("Wide", "Column3", "Orders", "OrderID", "Inner Join"));
        diagram->view()->setFocus();
        settle();
        // The premise of the tests: the tall box is higher than the view shows.
        ASSERT_GT(diagram->tableSceneRect("Wide").height(), viewport()->height() * 1.25);
    }

    // Lets the scene and the widgets deliver every pending update and repaint.
    static void settle() {
        for (int i = 0; i < 5; ++i) {
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
        }
    }

    // The viewport as it stands in the window's backing store.
    QImage onScreen() {
        settle();
        const QRect area(viewport()->mapTo(window.get(), QPoint(0, 0)), viewport()->size());
        QScreen* screen = window->windowHandle()->screen();
        return screen->grabWindow(window->winId(), area.x(), area.y(), area.width(), area.height())
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    }

    // The viewport repainted completely, every item painted directly; the items' cache modes
    // are put back afterwards.
    QImage repaintedCompletely() {
        const QList<QGraphicsItem*> items = diagram->view()->scene()->items();
        std::vector<QGraphicsItem::CacheMode> modes;
        for (QGraphicsItem* item : items) {
            modes.push_back(item->cacheMode());
            item->setCacheMode(QGraphicsItem::NoCache);
        }
        settle();
        viewport()->repaint();
        const QImage image = onScreen();
        for (size_t i = 0; i < modes.size(); ++i)
            items[static_cast<qsizetype>(i)]->setCacheMode(modes[i]);
        settle();
        return image;
    }

    // Pixels that differ visibly (by more than a rounding step of antialiasing) between what is
    // on screen and a complete repaint.
    int leftovers(const QString& step) {
        const QImage shown = onScreen();
        const QImage full = repaintedCompletely();
        EXPECT_EQ(shown.size(), full.size()) << step.toStdString();
        if (shown.size() != full.size())
            return -1;
        int count = 0;
        for (int y = 0; y < shown.height(); ++y) {
            const auto* a = reinterpret_cast<const QRgb*>(shown.constScanLine(y));
            const auto* b = reinterpret_cast<const QRgb*>(full.constScanLine(y));
            for (int x = 0; x < shown.width(); ++x) {
                const int d = std::max({std::abs(qRed(a[x]) - qRed(b[x])),
                                        std::abs(qGreen(a[x]) - qGreen(b[x])),
                                        std::abs(qBlue(a[x]) - qBlue(b[x]))});
                if (d > 24)
                    ++count;
            }
        }
        if (count > 0) {
            shown.save(QStringLiteral("repaint-shown-%1.png").arg(step));
            full.save(QStringLiteral("repaint-full-%1.png").arg(step));
        }
        return count;
    }

    // Sends the key that often, then compares. The comparison repaints from scratch, which
    // would mend what the moves before it spoilt, so it comes only after the whole group.
    void pressAndCompare(Qt::Key k, int times, const QString& step,
                         Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        for (int i = 1; i <= times; ++i)
            key(k, modifiers);
        EXPECT_EQ(leftovers(step), 0) << "after " << step.toStdString();
    }
};

TEST_F(DiagramRepaint, MovingTheKeyboardSelectionLeavesNoStaleHighlights) {
    pressAndCompare(Qt::Key_Tab, 2, QStringLiteral("tab"));
    ASSERT_EQ(diagram->selectedTable(), "Wide");
    // Down through the tall box's rows: its list and the view scroll to keep the row in sight.
    pressAndCompare(Qt::Key_Down, 6, QStringLiteral("down"));
    pressAndCompare(Qt::Key_Down, 12, QStringLiteral("down-further"));
    EXPECT_EQ(diagram->currentColumn(), "Column18");
    pressAndCompare(Qt::Key_End, 1, QStringLiteral("end"));
    pressAndCompare(Qt::Key_Home, 1, QStringLiteral("home"));
    pressAndCompare(Qt::Key_Right, 1, QStringLiteral("right"));
    pressAndCompare(Qt::Key_Left, 2, QStringLiteral("left"));
    key(Qt::Key_Tab);
    pressAndCompare(Qt::Key_PageDown, 3, QStringLiteral("tab-page-down"));
}

TEST_F(DiagramRepaint, ScrollingResizingAndZoomingLeaveNoStaleHighlights) {
    diagram->selectTable("Wide");
    pressAndCompare(Qt::Key_Down, 4, QStringLiteral("down"));
    QScrollBar* vertical = diagram->view()->verticalScrollBar();
    QScrollBar* horizontal = diagram->view()->horizontalScrollBar();
    for (int i = 1; i <= 4; ++i) {
        vertical->triggerAction(QAbstractSlider::SliderSingleStepAdd);
        horizontal->triggerAction(QAbstractSlider::SliderSingleStepAdd);
    }
    EXPECT_EQ(leftovers(QStringLiteral("scroll")), 0);
    pressAndCompare(Qt::Key_Down, 3, QStringLiteral("down-after-scroll"));
    vertical->triggerAction(QAbstractSlider::SliderToMinimum);
    key(Qt::Key_Down);
    EXPECT_EQ(leftovers(QStringLiteral("scroll-top")), 0);

    window->resize(640, 260);
    pressAndCompare(Qt::Key_Down, 6, QStringLiteral("down-smaller"));
    window->resize(760, 340);
    pressAndCompare(Qt::Key_Up, 3, QStringLiteral("up-larger"));

    key(Qt::Key_Plus, Qt::ControlModifier);
    key(Qt::Key_Plus, Qt::ControlModifier);
    pressAndCompare(Qt::Key_Down, 4, QStringLiteral("down-zoomed-in"));
    for (int i = 0; i < 4; ++i)
        key(Qt::Key_Minus, Qt::ControlModifier);
    pressAndCompare(Qt::Key_Down, 4, QStringLiteral("down-zoomed-out"));
    key(Qt::Key_0, Qt::ControlModifier);
    pressAndCompare(Qt::Key_Tab, 1, QStringLiteral("tab-after-zoom"));
}

TEST_F(DiagramRepaint, TheHintOfAnEmptyDiagramStaysWholeWhenTheViewScrolls) {
    diagram->Clear();
    // Small enough for the empty canvas to scroll under the hint, which stays in the middle.
    window->resize(170, 110);
    settle();
    QScrollBar* vertical = diagram->view()->verticalScrollBar();
    QScrollBar* horizontal = diagram->view()->horizontalScrollBar();
    ASSERT_GT(vertical->maximum() + horizontal->maximum(), 0);
    EXPECT_EQ(leftovers(QStringLiteral("empty")), 0);
    vertical->triggerAction(QAbstractSlider::SliderToMaximum);
    horizontal->triggerAction(QAbstractSlider::SliderToMaximum);
    EXPECT_EQ(leftovers(QStringLiteral("empty-scrolled")), 0);
    window->resize(200, 130);
    vertical->triggerAction(QAbstractSlider::SliderToMinimum);
    EXPECT_EQ(leftovers(QStringLiteral("empty-resized")), 0);
}

} // namespace
} // namespace marovin::testing
