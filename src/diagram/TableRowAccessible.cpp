#include "TableRowAccessible.h"

#include "DiagramView.h"
#include "TableBoxAccessible.h"
#include "TableBoxItem.h"

#include <QGraphicsScene>

namespace marovin {

namespace {

DiagramView* viewOf(const TableBoxItem* box) {
    const QGraphicsScene* scene = box ? box->scene() : nullptr;
    return scene && !scene->views().isEmpty() ? qobject_cast<DiagramView*>(scene->views().first())
                                              : nullptr;
}

} // namespace

TableRowAccessible::TableRowAccessible(TableBoxItem* box, int row) : m_box(box), m_row(row) {}

bool TableRowAccessible::isValid() const {
    return m_box && m_row >= 0 && m_row < m_box->rowCount();
}

QObject* TableRowAccessible::object() const {
    return nullptr;
}

QWindow* TableRowAccessible::window() const {
    const DiagramView* view = viewOf(m_box);
    return view ? view->window()->windowHandle() : nullptr;
}

QAccessibleInterface* TableRowAccessible::parent() const {
    return m_box ? QAccessible::queryAccessibleInterface(m_box.data()) : nullptr;
}

QAccessibleInterface* TableRowAccessible::child(int) const {
    return nullptr;
}

int TableRowAccessible::childCount() const {
    return 0;
}

int TableRowAccessible::indexOfChild(const QAccessibleInterface*) const {
    return -1;
}

QAccessibleInterface* TableRowAccessible::childAt(int, int) const {
    return nullptr;
}

QString TableRowAccessible::text(QAccessible::Text t) const {
    if (!isValid())
        return QString();
    switch (t) {
    case QAccessible::Name:
        return m_row == 0 ? QStringLiteral("All columns") : m_box->columnOfRow(m_row);
    case QAccessible::Description:
        return m_row >= 1 && m_box->rowIsJoined(m_row) ? QStringLiteral("joined") : QString();
    default:
        return QString();
    }
}

void TableRowAccessible::setText(QAccessible::Text, const QString&) {}

QRect TableRowAccessible::rect() const {
    const DiagramView* view = viewOf(m_box);
    if (!isValid() || !view)
        return QRect();
    // Only the part inside the visible list; a row scrolled away has no area.
    const QRectF row = m_box->rowRect(m_row).intersected(m_box->listRect());
    return row.isEmpty() ? QRect() : view->globalRect(m_box->mapRectToScene(row));
}

QAccessible::Role TableRowAccessible::role() const {
    return QAccessible::ListItem;
}

QAccessible::State TableRowAccessible::state() const {
    QAccessible::State s;
    if (!isValid()) {
        s.invalid = true;
        return s;
    }
    const DiagramView* view = viewOf(m_box);
    s.focusable = true;
    s.selectable = true;
    s.checkable = true;
    if (m_row == 0) {
        // Checked when every column is in the output, mixed when some are.
        const int ticked = m_box->tickedCount();
        s.checked = ticked > 0 && ticked == m_box->rowCount() - 1;
        s.checkStateMixed = ticked > 0 && !s.checked;
    } else {
        s.checked = m_box->isRowTicked(m_row);
    }
    s.selected = m_box->isBoxSelected() && m_box->currentRow() == m_row;
    s.focused = s.selected && view && view->hasFocus();
    const QRectF row = m_box->rowRect(m_row);
    s.offscreen = !m_box->listRect().intersects(row);
    return s;
}

void* TableRowAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface)
        return static_cast<QAccessibleActionInterface*>(this);
    return nullptr;
}

QStringList TableRowAccessible::actionNames() const {
    return {pressAction(), toggleAction(), setFocusAction()};
}

void TableRowAccessible::doAction(const QString& actionName) {
    DiagramView* view = viewOf(m_box);
    if (!isValid() || !view)
        return;
    if (actionName == pressAction())
        view->chooseRow(m_box, m_row);
    else if (actionName == toggleAction())
        view->tickRow(m_box, m_row);
    else if (actionName == setFocusAction())
        view->focusRow(m_box, m_row);
}

QStringList TableRowAccessible::keyBindingsForAction(const QString& actionName) const {
    if (actionName == pressAction())
        return {QStringLiteral("Return")};
    if (actionName == toggleAction())
        return {QStringLiteral("Space")};
    return {};
}

} // namespace marovin
