#pragma once

#include "TableBoxItem.h"

#include <QColor>
#include <QGraphicsView>
#include <QPixmap>
#include <QPointer>

class QGraphicsPathItem;

namespace marovin {

class DiagramStyle;
class JoinLineItem;
class dvTablesAndJoins;

// The view of the diagram scene. It turns mouse and key input into the diagram's gestures:
// moving and resizing boxes, scrolling their column lists, dragging a column onto another box
// to ask for a join, choosing columns, selecting and deleting, context menus, Tab and arrow
// navigation. What a gesture means is decided by the owning dvTablesAndJoins.
class DiagramView : public QGraphicsView {
    Q_OBJECT
public:
    // owner and style are Not owned; the owner is the view's parent widget.
    DiagramView(dvTablesAndJoins* owner, QGraphicsScene* scene, const DiagramStyle* style);

    // Forgets a gesture in progress (the diagram is being cleared or an item removed).
    void cancelInteraction();
    // Forgets hover and drag references to a box or line that is about to be deleted.
    void forgetItem(QObject* item);

    // --- For the accessibility interfaces ------------------------------------------------------
    const QList<TableBoxItem*>& boxes() const;
    const QList<JoinLineItem*>& joins() const;
    bool isSelected(const QObject* item) const;
    // A scene rectangle in global screen coordinates.
    QRect globalRect(const QRectF& sceneRect) const;
    // What a double-click on a row does, and a click on its check box.
    void chooseRow(TableBoxItem* box, int row);
    void tickRow(TableBoxItem* box, int row);
    // Makes the row the keyboard row of its box and selects the box.
    void focusRow(TableBoxItem* box, int row);
    void selectObject(QObject* item); // a box or a join
    // Selects a box or join and opens its context menu at it.
    void showMenuOf(QObject* item);
    void removeJoinLine(JoinLineItem* join);
    // Tells assistive technology where the keyboard is now, when that changed.
    void reportAccessibleFocus();

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;
    void drawForeground(QPainter* painter, const QRectF& rect) override;

private:
    enum class Mode {
        Idle,
        PressedRow,
        DraggingJoin,
        MovingBox,
        Resizing,
        ScrollThumb,
        PressedClose,
        PressedAdd,
        PressedCheck,
        Panning,
        KeyboardJoin // a join started with J: m_box/m_row the start, m_dropBox/m_dropRow the target
    };
    struct Target {
        TableBoxItem* box = nullptr;
        TableBoxItem::Hit hit;
        JoinLineItem* join = nullptr;
    };

    Target targetAt(const QPoint& viewportPos) const;
    void updateHover(const QPoint& viewportPos);
    void clearHover();
    void updateRubberLine(const QPointF& scenePos);
    // Ends a join drag with the drop: asks for a join of the type the held keys choose.
    void dropJoin(Qt::KeyboardModifiers modifiers);
    void handleKey(QKeyEvent* event);
    // Starts a join from the keyboard at a column row; the keyboard row then picks the target.
    void startKeyboardJoin(TableBoxItem* box, int row);
    // Follows the keyboard row with the join's target highlight and its line.
    void updateKeyboardJoin();
    // Selects the next (or previous) join of the keyboard's box; false when it has none.
    bool cycleJoins(bool forward);
    // The selected box, or the box whose joins the keyboard is going through.
    TableBoxItem* keyboardContextBox() const;
    // Ctrl+arrow moves the box, Ctrl+Shift+arrow resizes it.
    void nudgeBox(TableBoxItem* box, int key, bool resize);
    // The context menu of the selection, at the selected item, as the Menu key opens it.
    void showSelectionMenu();
    bool tabBetweenBoxes(bool forward);
    void moveToNeighbourBox(int dx);
    void moveCurrentRow(int delta, bool absolute);
    void zoomBy(qreal factor);
    void setViewFocusOnBoxes(bool focused);
    // Caches the boxes that fit in the viewport as device pixmaps and paints the others directly.
    void fitBoxCaches();

    dvTablesAndJoins* m_owner;   // Not owned.
    const DiagramStyle* m_style; // Not owned.
    Mode m_mode = Mode::Idle;
    QPointer<TableBoxItem> m_box; // the box a gesture started on
    int m_row = -1;
    QPoint m_pressPos;
    QPointF m_grabOffset;
    QSizeF m_startSize;
    QPointF m_startPos;
    qreal m_startScroll = 0;
    TableBoxItem::Part m_resizePart = TableBoxItem::Part::None;
    QGraphicsPathItem* m_rubber = nullptr; // Owned by the scene while a join is dragged.
    QPointer<TableBoxItem> m_dropBox;
    int m_dropRow = -1;
    QPointer<TableBoxItem> m_joinCycleBox; // the box whose joins L goes through
    bool m_keyMoved = false;               // a box moved by keys since the last key release
    quintptr m_reportedFocus = 0;          // the accessible focus last reported (an interface id)
    QPointer<TableBoxItem> m_hoverBox;
    QPointer<JoinLineItem> m_hoverJoin;
    QPixmap m_gridTile; // the canvas with one grid dot, in the current colours
    QColor m_gridTileColor;
    QColor m_gridTileCanvas;
};

} // namespace marovin
