#include "DiagramView.h"

#include "DiagramStyle.h"
#include "JoinBadgeItem.h"
#include "JoinLineItem.h"

#include <QAccessible>
#include <QApplication>
#include <QContextMenuEvent>
#include <QGraphicsPathItem>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <limits>
#include <marovin/dvTablesAndJoins.h>

namespace marovin {

namespace {
constexpr int kGridStep = 20;
constexpr qreal kMinZoom = 0.5;
constexpr qreal kMaxZoom = 2.0;
} // namespace

DiagramView::DiagramView(dvTablesAndJoins* owner, QGraphicsScene* scene, const DiagramStyle* style)
    : QGraphicsView(scene, owner), m_owner(owner), m_style(style) {
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    setViewportUpdateMode(SmartViewportUpdate);
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::NoFrame);
    setDragMode(NoDrag);
    setTransformationAnchor(AnchorUnderMouse);
    viewport()->setMouseTracking(true);
}

void DiagramView::cancelInteraction() {
    if (m_rubber) {
        delete m_rubber;
        m_rubber = nullptr;
    }
    if (m_dropBox)
        m_dropBox->setDropRow(-1);
    if (m_box)
        m_box->setJoinStartRow(-1);
    m_dropBox = nullptr;
    m_dropRow = -1;
    m_box = nullptr;
    m_row = -1;
    m_mode = Mode::Idle;
    viewport()->unsetCursor();
}

void DiagramView::forgetItem(QObject* item) {
    if (item == m_box || item == m_dropBox)
        cancelInteraction();
    if (item == m_hoverBox)
        m_hoverBox = nullptr;
    if (item == m_hoverJoin)
        m_hoverJoin = nullptr;
}

const QList<TableBoxItem*>& DiagramView::boxes() const {
    return m_owner->m_boxes;
}

const QList<JoinLineItem*>& DiagramView::joins() const {
    return m_owner->m_joins;
}

bool DiagramView::isSelected(const QObject* item) const {
    return item && item == m_owner->m_selected;
}

QRect DiagramView::globalRect(const QRectF& sceneRect) const {
    const QRect onViewport = mapFromScene(sceneRect).boundingRect();
    return QRect(viewport()->mapToGlobal(onViewport.topLeft()), onViewport.size());
}

void DiagramView::focusRow(TableBoxItem* box, int row) {
    if (!box || !m_owner->m_boxes.contains(box))
        return;
    cancelInteraction();
    m_owner->selectItem(box);
    box->setCurrentRow(row);
    moveCurrentRow(0, false);
    reportAccessibleFocus();
}

void DiagramView::chooseRow(TableBoxItem* box, int row) {
    focusRow(box, row);
    if (m_owner->m_boxes.contains(box))
        m_owner->activateRow(box, row);
}

void DiagramView::tickRow(TableBoxItem* box, int row) {
    focusRow(box, row);
    if (m_owner->m_boxes.contains(box))
        m_owner->requestTick(box, row);
}

void DiagramView::selectObject(QObject* item) {
    if (m_owner->m_boxes.contains(item) || m_owner->m_joins.contains(item)) {
        cancelInteraction();
        m_owner->selectItem(item);
        reportAccessibleFocus();
    }
}

void DiagramView::showMenuOf(QObject* item) {
    if (!m_owner->m_boxes.contains(item) && !m_owner->m_joins.contains(item))
        return;
    cancelInteraction();
    m_owner->selectItem(item);
    showSelectionMenu();
}

void DiagramView::removeJoinLine(JoinLineItem* join) {
    if (const int index = m_owner->joinIndex(join))
        m_owner->removeJoin(index);
}

void DiagramView::reportAccessibleFocus() {
    // Without a screen reader listening, Qt drops the event; the interfaces are not even made.
    if (!QAccessible::isActive() || !hasFocus()) {
        m_reportedFocus = 0;
        return;
    }
    QAccessibleInterface* self = QAccessible::queryAccessibleInterface(this);
    QAccessibleInterface* focus = self ? self->focusChild() : nullptr;
    if (!focus)
        return;
    const quintptr id = QAccessible::uniqueId(focus);
    if (id == m_reportedFocus)
        return;
    m_reportedFocus = id;
    QAccessibleEvent event(focus, QAccessible::Focus);
    QAccessible::updateAccessibility(&event);
}

DiagramView::Target DiagramView::targetAt(const QPoint& viewportPos) const {
    Target target;
    const QPointF scenePos = mapToScene(viewportPos);
    const QList<QGraphicsItem*> hits =
        scene()->items(scenePos, Qt::IntersectsItemShape, Qt::DescendingOrder, transform());
    for (QGraphicsItem* item : hits) {
        if (item == m_rubber)
            continue;
        if (auto* box = dynamic_cast<TableBoxItem*>(item)) {
            target.box = box;
            target.hit = box->hitTest(box->mapFromScene(scenePos));
            return target;
        }
        if (auto* join = dynamic_cast<JoinLineItem*>(item)) {
            target.join = join;
            return target;
        }
        if (auto* badge = dynamic_cast<JoinBadgeItem*>(item)) {
            target.join = badge->joinLine();
            return target;
        }
    }
    return target;
}

void DiagramView::clearHover() {
    if (m_hoverBox) {
        m_hoverBox->setHoverRow(-1);
        m_hoverBox->setHoverClose(false);
    }
    if (m_hoverJoin)
        m_hoverJoin->setHovered(false);
    m_hoverBox = nullptr;
    m_hoverJoin = nullptr;
}

void DiagramView::updateHover(const QPoint& viewportPos) {
    const Target t = targetAt(viewportPos);
    if (t.box != m_hoverBox || t.join != m_hoverJoin)
        clearHover();
    m_hoverBox = t.box;
    m_hoverJoin = t.join;
    Qt::CursorShape cursor = Qt::ArrowCursor;
    if (t.box) {
        const bool onRow = t.hit.part == TableBoxItem::Part::Row ||
                           t.hit.part == TableBoxItem::Part::AddButton ||
                           t.hit.part == TableBoxItem::Part::CheckBox;
        t.box->setHoverRow(onRow ? t.hit.row : -1);
        t.box->setHoverClose(t.hit.part == TableBoxItem::Part::Close);
        switch (t.hit.part) {
        case TableBoxItem::Part::Title:
            cursor = Qt::SizeAllCursor;
            break;
        case TableBoxItem::Part::ResizeRight:
            cursor = Qt::SizeHorCursor;
            break;
        case TableBoxItem::Part::ResizeBottom:
            cursor = Qt::SizeVerCursor;
            break;
        case TableBoxItem::Part::ResizeCorner:
            cursor = Qt::SizeFDiagCursor;
            break;
        case TableBoxItem::Part::Close:
        case TableBoxItem::Part::AddButton:
        case TableBoxItem::Part::CheckBox:
            cursor = Qt::PointingHandCursor;
            break;
        default:
            break;
        }
    } else if (t.join) {
        t.join->setHovered(true);
        cursor = Qt::PointingHandCursor;
    }
    viewport()->setCursor(cursor);
}

bool DiagramView::event(QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        const bool tab = key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab;
        if (tab && !(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
            const bool forward =
                key->key() == Qt::Key_Tab && !(key->modifiers() & Qt::ShiftModifier);
            // Tab walks through the boxes; past the last one it leaves the diagram as usual.
            if (!tabBetweenBoxes(forward))
                QAbstractScrollArea::focusNextPrevChild(forward);
            updateKeyboardJoin();
            reportAccessibleFocus();
            event->accept();
            return true;
        }
    }
    return QGraphicsView::event(event);
}

bool DiagramView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::Leave && m_mode == Mode::Idle)
        clearHover();
    return QGraphicsView::viewportEvent(event);
}

void DiagramView::mousePressEvent(QMouseEvent* event) {
    // The mouse takes over from a join started with the keyboard.
    if (m_mode == Mode::KeyboardJoin)
        cancelInteraction();
    const QPoint pos = event->position().toPoint();
    m_pressPos = pos;
    if (event->button() == Qt::MiddleButton) {
        m_mode = Mode::Panning;
        viewport()->setCursor(Qt::ClosedHandCursor);
        event->accept();
        return;
    }
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton) {
        event->ignore();
        return;
    }
    const Target t = targetAt(pos);
    if (t.join) {
        m_owner->selectItem(t.join);
        event->accept();
        return;
    }
    if (!t.box) {
        m_owner->selectItem(nullptr);
        if (event->button() == Qt::LeftButton) {
            m_mode = Mode::Panning;
            viewport()->setCursor(Qt::ClosedHandCursor);
        }
        event->accept();
        return;
    }

    TableBoxItem* box = t.box;
    m_owner->selectItem(box);
    if ((t.hit.part == TableBoxItem::Part::Row || t.hit.part == TableBoxItem::Part::AddButton ||
         t.hit.part == TableBoxItem::Part::CheckBox) &&
        t.hit.row >= 0)
        box->setCurrentRow(t.hit.row);
    if (event->button() != Qt::LeftButton) {
        event->accept();
        return;
    }

    m_box = box;
    m_row = t.hit.row;
    const QPointF scenePos = mapToScene(pos);
    switch (t.hit.part) {
    case TableBoxItem::Part::Title:
        m_mode = Mode::MovingBox;
        m_grabOffset = scenePos - box->pos();
        m_startPos = box->pos();
        break;
    case TableBoxItem::Part::Close:
        m_mode = Mode::PressedClose;
        break;
    case TableBoxItem::Part::Row:
        m_mode = Mode::PressedRow;
        break;
    case TableBoxItem::Part::AddButton:
        m_mode = Mode::PressedAdd;
        break;
    case TableBoxItem::Part::CheckBox:
        m_mode = Mode::PressedCheck;
        break;
    case TableBoxItem::Part::ScrollBar: {
        const QRectF thumb = box->scrollThumbRect();
        const QPointF local = box->mapFromScene(scenePos);
        if (local.y() < thumb.top() || local.y() > thumb.bottom()) {
            // A click beside the thumb pages the list.
            const qreal page = (box->visibleRowCount() - 1) * m_style->rowHeight;
            box->setScrollOffset(box->scrollOffset() + (local.y() < thumb.top() ? -page : page));
            m_mode = Mode::Idle;
        } else {
            m_mode = Mode::ScrollThumb;
            m_startScroll = box->scrollOffset();
        }
        break;
    }
    case TableBoxItem::Part::ResizeRight:
    case TableBoxItem::Part::ResizeBottom:
    case TableBoxItem::Part::ResizeCorner:
        m_mode = Mode::Resizing;
        m_resizePart = t.hit.part;
        m_startSize = box->size();
        break;
    case TableBoxItem::Part::None:
        m_mode = Mode::Idle;
        break;
    }
    event->accept();
}

void DiagramView::mouseMoveEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    const QPointF scenePos = mapToScene(pos);
    if (m_mode == Mode::KeyboardJoin) {
        updateHover(pos);
        event->accept();
        return;
    }
    if (m_mode == Mode::Idle || !(event->buttons() & (Qt::LeftButton | Qt::MiddleButton))) {
        if (m_mode != Mode::Idle)
            cancelInteraction();
        updateHover(pos);
        event->accept();
        return;
    }
    if (m_mode == Mode::Panning) {
        const QPoint delta = pos - m_pressPos;
        m_pressPos = pos;
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - delta.x());
        verticalScrollBar()->setValue(verticalScrollBar()->value() - delta.y());
        event->accept();
        return;
    }
    if (!m_box) {
        cancelInteraction();
        return;
    }
    switch (m_mode) {
    case Mode::MovingBox: {
        const QPointF target = scenePos - m_grabOffset;
        m_box->setPos(std::max<qreal>(0, target.x()), std::max<qreal>(0, target.y()));
        m_owner->extendSceneRect(m_box->sceneBoundingRect());
        ensureVisible(QRectF(scenePos, QSizeF(1, 1)), 16, 16);
        break;
    }
    case Mode::Resizing: {
        const QPointF delta = scenePos - mapToScene(m_pressPos);
        QSizeF size = m_startSize;
        if (m_resizePart != TableBoxItem::Part::ResizeBottom)
            size.setWidth(m_startSize.width() + delta.x());
        if (m_resizePart != TableBoxItem::Part::ResizeRight)
            size.setHeight(m_startSize.height() + delta.y());
        m_box->setSize(size);
        m_owner->extendSceneRect(m_box->sceneBoundingRect());
        ensureVisible(QRectF(scenePos, QSizeF(1, 1)), 16, 16);
        break;
    }
    case Mode::ScrollThumb: {
        const qreal track = m_box->listRect().height() - 6 - m_style->resizeMargin -
                            m_box->scrollThumbRect().height();
        const qreal dy = scenePos.y() - mapToScene(m_pressPos).y();
        if (track > 0)
            m_box->setScrollOffset(m_startScroll + dy * m_box->maxScrollOffset() / track);
        break;
    }
    case Mode::PressedRow:
    case Mode::PressedCheck:
        // A column is dragged from anywhere on its row, the check box included.
        if (m_row >= 1 &&
            (pos - m_pressPos).manhattanLength() >= QApplication::startDragDistance()) {
            m_mode = Mode::DraggingJoin;
            m_rubber = new QGraphicsPathItem;
            QPen pen(m_style->accent, 1.8, Qt::DashLine, Qt::RoundCap);
            m_rubber->setPen(pen);
            m_rubber->setZValue(std::numeric_limits<qreal>::max());
            scene()->addItem(m_rubber);
            clearHover();
            viewport()->setCursor(Qt::CrossCursor);
            updateRubberLine(scenePos);
        }
        break;
    case Mode::DraggingJoin:
        updateRubberLine(scenePos);
        ensureVisible(QRectF(scenePos, QSizeF(1, 1)), 16, 16);
        break;
    case Mode::PressedClose:
    case Mode::PressedAdd:
        updateHover(pos);
        break;
    default:
        break;
    }
    event->accept();
}

void DiagramView::updateRubberLine(const QPointF& scenePos) {
    if (!m_rubber || !m_box)
        return;
    const QPointF local = m_box->mapFromScene(scenePos);
    const bool rightSide = local.x() > m_box->size().width() / 2;
    const QPointF start =
        m_box->mapToScene(QPointF(rightSide ? m_box->size().width() : 0, m_box->rowAnchorY(m_row)));
    QPainterPath path(start);
    const qreal dir = rightSide ? 1 : -1;
    const qreal pull = std::max<qreal>(30, std::abs(scenePos.x() - start.x()) / 2);
    path.cubicTo(start + QPointF(dir * pull, 0), scenePos - QPointF(dir * pull * 0.3, 0), scenePos);
    m_rubber->setPath(path);

    // Near the top or bottom edge of another box's list, the list scrolls so that columns
    // out of sight can be reached without letting go.
    Target t = targetAt(mapFromScene(scenePos));
    if (t.box && t.box != m_box && t.box->maxScrollOffset() > 0) {
        const QPointF inBox = t.box->mapFromScene(scenePos);
        const QRectF list = t.box->listRect();
        const qreal zone = m_style->rowHeight * 0.75;
        const qreal before = t.box->scrollOffset();
        if (inBox.y() >= list.top() && inBox.y() < list.top() + zone)
            t.box->setScrollOffset(before - m_style->rowHeight / 2);
        else if (inBox.y() <= list.bottom() && inBox.y() > list.bottom() - zone)
            t.box->setScrollOffset(before + m_style->rowHeight / 2);
        if (t.box->scrollOffset() != before)
            t = targetAt(mapFromScene(scenePos));
    }

    // Highlight the column under the pointer when it may receive the join.
    TableBoxItem* dropBox = nullptr;
    int dropRow = -1;
    if (t.box && t.box != m_box &&
        (t.hit.part == TableBoxItem::Part::Row || t.hit.part == TableBoxItem::Part::AddButton ||
         t.hit.part == TableBoxItem::Part::CheckBox) &&
        t.hit.row >= 1) {
        dropBox = t.box;
        dropRow = t.hit.row;
    }
    if (m_dropBox && (m_dropBox != dropBox || m_dropRow != dropRow))
        m_dropBox->setDropRow(-1);
    m_dropBox = dropBox;
    m_dropRow = dropRow;
    if (dropBox)
        dropBox->setDropRow(dropRow);
    viewport()->setCursor(dropBox ? Qt::DragLinkCursor : Qt::CrossCursor);
}

void DiagramView::dropJoin(Qt::KeyboardModifiers modifiers) {
    QPointer<TableBoxItem> from = m_box;
    QPointer<TableBoxItem> to = m_dropBox;
    const int fromRow = m_row;
    const int toRow = m_dropRow;
    cancelInteraction();
    // Shift keeps the rows of the table dragged from, Ctrl those of the table dropped onto.
    const bool keepFrom = modifiers & Qt::ShiftModifier;
    const bool keepTo = modifiers & Qt::ControlModifier;
    const JoinType type = keepFrom && keepTo ? JoinType::Full
                          : keepFrom         ? JoinType::Left
                          : keepTo           ? JoinType::Right
                                             : JoinType::Inner;
    if (from && to)
        m_owner->requestJoinFromDrag(from, fromRow, to, toRow, type);
}

void DiagramView::mouseReleaseEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    const Mode mode = m_mode;
    QPointer<TableBoxItem> box = m_box;
    const int row = m_row;
    if (mode == Mode::DraggingJoin) {
        dropJoin(event->modifiers());
    } else {
        cancelInteraction();
        if (box) {
            const Target t = targetAt(pos);
            if (mode == Mode::PressedClose && t.box == box &&
                t.hit.part == TableBoxItem::Part::Close) {
                m_owner->requestTableRemoval(box->alias());
            } else if (mode == Mode::PressedAdd && t.box == box &&
                       t.hit.part == TableBoxItem::Part::AddButton && t.hit.row == row) {
                m_owner->activateRow(box, row);
            } else if (mode == Mode::PressedCheck && t.box == box &&
                       t.hit.part == TableBoxItem::Part::CheckBox && t.hit.row == row) {
                m_owner->requestTick(box, row);
            }
        }
        reportAccessibleFocus();
        if (mode == Mode::MovingBox || mode == Mode::Resizing) {
            m_owner->updateSceneRect();
            const bool moved = box && (mode == Mode::MovingBox ? box->pos() != m_startPos
                                                               : box->size() != m_startSize);
            if (moved)
                emit m_owner->tablesMoved();
        }
    }
    updateHover(pos);
    event->accept();
}

void DiagramView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    cancelInteraction();
    const QPoint pos = event->position().toPoint();
    const Target t = targetAt(pos);
    if (t.box && t.hit.part == TableBoxItem::Part::CheckBox && t.hit.row >= 0) {
        // The second click of a quick pair on a check box is a click of its own, as with any
        // check box: it asks again when released there.
        m_owner->selectItem(t.box);
        t.box->setCurrentRow(t.hit.row);
        m_box = t.box;
        m_row = t.hit.row;
        m_pressPos = pos;
        m_mode = Mode::PressedCheck;
    } else if (t.box && t.hit.part == TableBoxItem::Part::Row && t.hit.row >= 0) {
        m_owner->selectItem(t.box);
        t.box->setCurrentRow(t.hit.row);
        m_owner->activateRow(t.box, t.hit.row);
    } else if (t.join) {
        m_owner->selectItem(t.join);
        m_owner->showJoinMenu(t.join, viewport()->mapToGlobal(pos));
    }
    event->accept();
}

void DiagramView::wheelEvent(QWheelEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        zoomBy(std::pow(1.0015, event->angleDelta().y()));
        event->accept();
        return;
    }
    const Target t = targetAt(event->position().toPoint());
    if (t.box && t.box->maxScrollOffset() > 0 && event->angleDelta().y() != 0) {
        const qreal before = t.box->scrollOffset();
        t.box->setScrollOffset(before - event->angleDelta().y() / 120.0 * 3 * m_style->rowHeight);
        if (t.box->scrollOffset() != before) {
            updateHover(event->position().toPoint());
            event->accept();
            return;
        }
    }
    QGraphicsView::wheelEvent(event);
}

void DiagramView::contextMenuEvent(QContextMenuEvent* event) {
    cancelInteraction();
    if (event->reason() == QContextMenuEvent::Mouse) {
        const Target t = targetAt(event->pos());
        if (t.join) {
            m_owner->selectItem(t.join);
            m_owner->showJoinMenu(t.join, event->globalPos());
        } else if (t.box) {
            m_owner->selectItem(t.box);
            m_owner->showTableMenu(t.box, event->globalPos());
        } else {
            m_owner->selectItem(nullptr);
            m_owner->showBackgroundMenu(event->globalPos());
        }
        event->accept();
        return;
    }
    showSelectionMenu();
    event->accept();
}

void DiagramView::showSelectionMenu() {
    // From the keyboard: the menu of the selected join or box, at that item.
    if (JoinLineItem* join = m_owner->selectedJoinItem()) {
        ensureVisible(QRectF(join->badgeCenter(), QSizeF(1, 1)));
        m_owner->showJoinMenu(join, viewport()->mapToGlobal(mapFromScene(join->badgeCenter())));
    } else if (TableBoxItem* box = m_owner->selectedBox()) {
        const QPointF at = box->mapToScene(QPointF(m_style->padding, m_style->titleHeight));
        ensureVisible(QRectF(at, QSizeF(1, 1)));
        m_owner->showTableMenu(box, viewport()->mapToGlobal(mapFromScene(at)));
    } else {
        m_owner->showBackgroundMenu(viewport()->mapToGlobal(QPoint(24, 24)));
    }
}

bool DiagramView::tabBetweenBoxes(bool forward) {
    const QList<TableBoxItem*>& boxes = m_owner->m_boxes;
    if (boxes.isEmpty())
        return false;
    const qsizetype current = boxes.indexOf(keyboardContextBox());
    qsizetype next;
    if (current < 0)
        next = forward ? 0 : boxes.size() - 1;
    else
        next = current + (forward ? 1 : -1);
    if (next < 0 || next >= boxes.size())
        return false;
    m_owner->selectItem(boxes[next]);
    ensureVisible(boxes[next]->sceneBoundingRect(), 20, 20);
    return true;
}

void DiagramView::moveToNeighbourBox(int dx) {
    TableBoxItem* current = keyboardContextBox();
    const QList<TableBoxItem*>& boxes = m_owner->m_boxes;
    if (!current) {
        if (!boxes.isEmpty()) {
            m_owner->selectItem(boxes.first());
            ensureVisible(boxes.first()->sceneBoundingRect(), 20, 20);
        }
        return;
    }
    // The nearest box in that direction, preferring boxes at about the same height.
    const QPointF from = current->sceneBoundingRect().center();
    TableBoxItem* best = nullptr;
    qreal bestScore = std::numeric_limits<qreal>::max();
    for (TableBoxItem* box : boxes) {
        if (box == current)
            continue;
        const QPointF to = box->sceneBoundingRect().center();
        const qreal along = (to.x() - from.x()) * dx;
        if (along <= 0)
            continue;
        const qreal score = along + 2 * std::abs(to.y() - from.y());
        if (score < bestScore) {
            bestScore = score;
            best = box;
        }
    }
    if (best) {
        m_owner->selectItem(best);
        ensureVisible(best->sceneBoundingRect(), 20, 20);
    }
}

void DiagramView::moveCurrentRow(int delta, bool absolute) {
    TableBoxItem* box = m_owner->selectedBox();
    if (!box)
        return;
    box->setCurrentRow(absolute ? delta : box->currentRow() + delta);
    box->ensureRowVisible(box->currentRow());
    ensureVisible(box->mapRectToScene(box->rowRect(box->currentRow())), 10, 10);
}

TableBoxItem* DiagramView::keyboardContextBox() const {
    if (TableBoxItem* box = m_owner->selectedBox())
        return box;
    const JoinLineItem* join = m_owner->selectedJoinItem();
    if (join && m_joinCycleBox &&
        (join->leftBox() == m_joinCycleBox || join->rightBox() == m_joinCycleBox))
        return m_joinCycleBox;
    return nullptr;
}

bool DiagramView::cycleJoins(bool forward) {
    TableBoxItem* context = keyboardContextBox();
    QList<JoinLineItem*> joins;
    for (JoinLineItem* join : m_owner->m_joins) {
        if (!context || join->leftBox() == context || join->rightBox() == context)
            joins << join;
    }
    if (joins.isEmpty())
        return false;
    const qsizetype current = joins.indexOf(m_owner->selectedJoinItem());
    const qsizetype count = joins.size();
    const qsizetype next =
        current < 0 ? (forward ? 0 : count - 1) : (current + (forward ? 1 : count - 1)) % count;
    m_joinCycleBox = context;
    m_owner->selectItem(joins[next]);
    ensureVisible(QRectF(joins[next]->badgeCenter() - QPointF(20, 20), QSizeF(40, 40)));
    return true;
}

void DiagramView::startKeyboardJoin(TableBoxItem* box, int row) {
    cancelInteraction();
    m_mode = Mode::KeyboardJoin;
    m_box = box;
    m_row = row;
    box->setJoinStartRow(row);
    m_rubber = new QGraphicsPathItem;
    m_rubber->setPen(QPen(m_style->accent, 1.8, Qt::DashLine, Qt::RoundCap));
    m_rubber->setZValue(std::numeric_limits<qreal>::max());
    scene()->addItem(m_rubber);
    updateKeyboardJoin();
}

void DiagramView::updateKeyboardJoin() {
    if (m_mode != Mode::KeyboardJoin)
        return;
    if (!m_box || !m_rubber) {
        cancelInteraction();
        return;
    }
    TableBoxItem* target = m_owner->selectedBox();
    const int row = target ? target->currentRow() : -1;
    const bool valid = target && target != m_box && row >= 1;
    if (m_dropBox && (!valid || m_dropBox != target || m_dropRow != row))
        m_dropBox->setDropRow(-1);
    m_dropBox = valid ? target : nullptr;
    m_dropRow = valid ? row : -1;
    if (!valid) {
        m_rubber->setPath(QPainterPath());
        return;
    }
    target->setDropRow(row);
    // From the facing sides of the two boxes, like a drawn line.
    const QRectF from = m_box->sceneBoundingRect();
    const QRectF to = target->sceneBoundingRect();
    const bool toTheRight = to.center().x() >= from.center().x();
    const QPointF start = m_box->mapToScene(
        QPointF(toTheRight ? m_box->size().width() : 0, m_box->rowAnchorY(m_row)));
    const QPointF end = target->mapToScene(
        QPointF(toTheRight ? 0 : target->size().width(), target->rowAnchorY(row)));
    const qreal dir = toTheRight ? 1 : -1;
    const qreal pull = std::max<qreal>(30, std::abs(end.x() - start.x()) / 2);
    QPainterPath path(start);
    path.cubicTo(start + QPointF(dir * pull, 0), end - QPointF(dir * pull, 0), end);
    m_rubber->setPath(path);
}

void DiagramView::nudgeBox(TableBoxItem* box, int key, bool resize) {
    constexpr qreal kStep = 10;
    const QPointF step = key == Qt::Key_Left    ? QPointF(-kStep, 0)
                         : key == Qt::Key_Right ? QPointF(kStep, 0)
                         : key == Qt::Key_Up    ? QPointF(0, -kStep)
                                                : QPointF(0, kStep);
    const QPointF pos = box->pos();
    const QSizeF size = box->size();
    if (resize)
        box->setSize(size + QSizeF(step.x(), step.y()));
    else
        box->setPos(std::max<qreal>(0, pos.x() + step.x()), std::max<qreal>(0, pos.y() + step.y()));
    if (box->pos() == pos && box->size() == size)
        return;
    m_keyMoved = true;
    m_owner->extendSceneRect(box->sceneBoundingRect());
    const QRectF r = box->sceneBoundingRect();
    ensureVisible(
        resize ? QRectF(r.bottomRight() - QPointF(20, 20), QSizeF(20, 20))
               : QRectF(r.topLeft(), QSizeF(std::min<qreal>(r.width(), 200), m_style->titleHeight)),
        10, 10);
}

void DiagramView::keyReleaseEvent(QKeyEvent* event) {
    const int key = event->key();
    const bool arrow =
        key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down;
    if (arrow && m_keyMoved && !event->isAutoRepeat()) {
        // One report per key stroke, however long the key was held.
        m_keyMoved = false;
        m_owner->updateSceneRect();
        emit m_owner->tablesMoved();
    }
    QGraphicsView::keyReleaseEvent(event);
}

void DiagramView::keyPressEvent(QKeyEvent* event) {
    handleKey(event);
    updateKeyboardJoin();
    reportAccessibleFocus();
}

void DiagramView::handleKey(QKeyEvent* event) {
    TableBoxItem* box = m_owner->selectedBox();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const bool ctrl = modifiers & Qt::ControlModifier;
    const bool plain = !(modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    const int key = event->key();
    if (box && ctrl && !(modifiers & (Qt::AltModifier | Qt::MetaModifier)) &&
        (key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down)) {
        nudgeBox(box, key, modifiers & Qt::ShiftModifier);
        event->accept();
        return;
    }
    if (key == Qt::Key_A && modifiers == (Qt::ControlModifier | Qt::ShiftModifier)) {
        m_owner->Arrange();
        event->accept();
        return;
    }
    switch (key) {
    case Qt::Key_J:
        if (box && plain && !(modifiers & Qt::ShiftModifier) && box->currentRow() >= 1) {
            startKeyboardJoin(box, box->currentRow());
            event->accept();
            return;
        }
        break;
    case Qt::Key_L:
        if (plain) {
            cycleJoins(!(modifiers & Qt::ShiftModifier));
            event->accept();
            return;
        }
        break;
    case Qt::Key_1:
    case Qt::Key_2:
    case Qt::Key_3:
    case Qt::Key_4:
        if (JoinLineItem* join = m_owner->selectedJoinItem(); join && plain) {
            const auto type = static_cast<JoinType>(key - Qt::Key_1);
            m_owner->setJoinType(m_owner->joinIndex(join), joinTypeName(type));
            event->accept();
            return;
        }
        break;
#ifndef Q_OS_WIN
    case Qt::Key_F10:
        // Windows turns Shift+F10 into a context-menu event itself.
        if (modifiers == Qt::ShiftModifier) {
            cancelInteraction();
            showSelectionMenu();
            event->accept();
            return;
        }
        break;
#endif
    default:
        break;
    }
    switch (key) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        if (!box)
            break;
        if (event->key() == Qt::Key_Up)
            moveCurrentRow(-1, false);
        else if (event->key() == Qt::Key_Down)
            moveCurrentRow(1, false);
        else if (event->key() == Qt::Key_PageUp)
            moveCurrentRow(-std::max(1, box->visibleRowCount() - 1), false);
        else if (event->key() == Qt::Key_PageDown)
            moveCurrentRow(std::max(1, box->visibleRowCount() - 1), false);
        else if (event->key() == Qt::Key_Home)
            moveCurrentRow(0, true);
        else
            moveCurrentRow(box->rowCount() - 1, true);
        event->accept();
        return;
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (!box && !m_owner->selectedJoinItem() && m_owner->m_boxes.isEmpty())
            break;
        moveToNeighbourBox(event->key() == Qt::Key_Left ? -1 : 1);
        event->accept();
        return;
    case Qt::Key_Space:
        if (box && !event->modifiers()) {
            m_owner->requestTick(box, box->currentRow());
            event->accept();
            return;
        }
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_mode == Mode::KeyboardJoin) {
            // Finishes the join on the keyboard row of another box, with the type the keys
            // choose as at a drop; elsewhere the join stays open.
            if (m_dropBox && m_dropRow >= 1) {
                QPointer<TableBoxItem> to = m_dropBox;
                dropJoin(modifiers);
                m_joinCycleBox = to;
            }
            event->accept();
            return;
        }
        if (box) {
            m_owner->activateRow(box, box->currentRow());
            event->accept();
            return;
        }
        break;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (m_owner->m_selected) {
            m_owner->deleteSelection();
            event->accept();
            return;
        }
        break;
    case Qt::Key_Escape:
        if (m_mode != Mode::Idle)
            cancelInteraction();
        else if (m_owner->selectedJoinItem() && keyboardContextBox())
            m_owner->selectItem(keyboardContextBox()); // back to the box the join was reached from
        else
            m_owner->selectItem(nullptr);
        event->accept();
        return;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
    case Qt::Key_Minus:
    case Qt::Key_0:
        if (ctrl) {
            if (event->key() == Qt::Key_0)
                zoomBy(1.0 / transform().m11());
            else
                zoomBy(event->key() == Qt::Key_Minus ? 1 / 1.2 : 1.2);
            event->accept();
            return;
        }
        break;
    default:
        break;
    }
    QGraphicsView::keyPressEvent(event);
}

void DiagramView::zoomBy(qreal factor) {
    const qreal current = transform().m11();
    const qreal target = std::clamp(current * factor, kMinZoom, kMaxZoom);
    if (std::abs(target - current) < 1e-6)
        return;
    scale(target / current, target / current);
}

void DiagramView::setViewFocusOnBoxes(bool focused) {
    for (TableBoxItem* box : m_owner->m_boxes)
        box->setViewFocused(focused);
}

void DiagramView::focusInEvent(QFocusEvent* event) {
    setViewFocusOnBoxes(true);
    // Arriving with Tab (or Shift+Tab) picks the first (or last) box, so the keyboard can work
    // on the diagram at once.
    const QList<TableBoxItem*>& boxes = m_owner->m_boxes;
    if (!m_owner->m_selected && !boxes.isEmpty()) {
        if (event->reason() == Qt::TabFocusReason)
            m_owner->selectItem(boxes.first());
        else if (event->reason() == Qt::BacktabFocusReason)
            m_owner->selectItem(boxes.last());
    }
    QGraphicsView::focusInEvent(event);
    // After Qt has reported the view itself as focused: then the row or join in it.
    QMetaObject::invokeMethod(
        this, [this] { reportAccessibleFocus(); }, Qt::QueuedConnection);
}

void DiagramView::focusOutEvent(QFocusEvent* event) {
    setViewFocusOnBoxes(false);
    m_reportedFocus = 0;
    QGraphicsView::focusOutEvent(event);
}

void DiagramView::fitBoxCaches() {
    // A box is cached as a device pixmap, so that moving it repaints no text. Of an item much
    // larger than the viewport Qt caches only the part in view, and that partial pixmap is not
    // brought up to date when the view scrolls over the item: a row or a selection frame changed
    // meanwhile stays half drawn. A box that does not fit in the viewport (as it stands now,
    // zoom included) is therefore painted directly.
    const QSize room = viewport()->size();
    for (TableBoxItem* box : m_owner->m_boxes) {
        const QRectF onView = transform().mapRect(box->sceneBoundingRect());
        const bool fits =
            onView.width() + 2 <= room.width() && onView.height() + 2 <= room.height();
        const QGraphicsItem::CacheMode mode =
            fits ? QGraphicsItem::DeviceCoordinateCache : QGraphicsItem::NoCache;
        if (box->cacheMode() != mode)
            box->setCacheMode(mode);
    }
}

void DiagramView::paintEvent(QPaintEvent* event) {
    // Sizes change with the viewport, the zoom and the boxes themselves; every paint sees all
    // three as they are.
    fitBoxCaches();
    QGraphicsView::paintEvent(event);
}

void DiagramView::resizeEvent(QResizeEvent* event) {
    QGraphicsView::resizeEvent(event);
    // Boxes added before the diagram was shown get their height now that the view has one.
    m_owner->fitPendingBoxes();
}

void DiagramView::showEvent(QShowEvent* event) {
    QGraphicsView::showEvent(event);
    m_owner->fitPendingBoxes();
}

void DiagramView::scrollContentsBy(int dx, int dy) {
    QGraphicsView::scrollContentsBy(dx, dy);
    // Scrolling moves the pixels already shown; the hint of an empty diagram stays in the middle
    // of the viewport, so it is drawn afresh rather than moved with the canvas.
    if (m_owner->m_boxes.isEmpty() && !m_owner->m_placeholderText.isEmpty())
        viewport()->update();
}

void DiagramView::drawBackground(QPainter* painter, const QRectF& rect) {
    painter->fillRect(rect, m_style->canvas);
    // A quiet dot grid gives the canvas depth without competing with the boxes. It is left out
    // when zoomed far out, where it would only add noise.
    if (transform().m11() < 0.75)
        return;
    // One tile with one dot, repeated by a texture brush: far cheaper than drawing each dot.
    const qreal dpr = devicePixelRatioF();
    if (m_gridTile.isNull() || m_gridTile.devicePixelRatio() != dpr ||
        m_gridTileColor != m_style->gridDot || m_gridTileCanvas != m_style->canvas) {
        m_gridTile = QPixmap(QSize(kGridStep, kGridStep) * dpr);
        m_gridTile.setDevicePixelRatio(dpr);
        m_gridTile.fill(m_style->canvas);
        QPainter tile(&m_gridTile);
        tile.setRenderHint(QPainter::Antialiasing);
        tile.setPen(Qt::NoPen);
        tile.setBrush(m_style->gridDot);
        tile.drawEllipse(QPointF(kGridStep / 2, kGridStep / 2), 0.9, 0.9);
        m_gridTileColor = m_style->gridDot;
        m_gridTileCanvas = m_style->canvas;
    }
    painter->fillRect(rect, QBrush(m_gridTile));
}

void DiagramView::drawForeground(QPainter* painter, const QRectF&) {
    if (!m_owner->m_boxes.isEmpty() || m_owner->m_placeholderText.isEmpty())
        return;
    // The hint of an empty diagram, in the middle of what is visible.
    painter->save();
    painter->resetTransform();
    QFont font = m_style->font;
    font.setPointSizeF(font.pointSizeF() * 1.1);
    painter->setFont(font);
    painter->setPen(m_style->mutedText);
    painter->drawText(viewport()->rect().adjusted(24, 24, -24, -24),
                      Qt::AlignCenter | Qt::TextWordWrap, m_owner->m_placeholderText);
    painter->restore();
}

} // namespace marovin
