#include "TableBoxAccessible.h"

#include "DiagramView.h"
#include "TableBoxItem.h"
#include "TableRowAccessible.h"

#include <QGraphicsScene>

namespace marovin {

TableBoxAccessible::TableBoxAccessible(TableBoxItem* box) : QAccessibleObject(box) {}

TableBoxAccessible::~TableBoxAccessible() {
    for (QAccessible::Id id : std::as_const(m_rows))
        QAccessible::deleteAccessibleInterface(id);
}

TableBoxItem* TableBoxAccessible::box() const {
    return static_cast<TableBoxItem*>(object());
}

DiagramView* TableBoxAccessible::view() const {
    const TableBoxItem* b = box();
    const QGraphicsScene* scene = b ? b->scene() : nullptr;
    return scene && !scene->views().isEmpty() ? qobject_cast<DiagramView*>(scene->views().first())
                                              : nullptr;
}

namespace {

QAccessibleInterface* rowInterface(TableBoxItem* box, int row) {
    if (!QAccessible::isActive() || !box)
        return nullptr;
    QAccessibleInterface* boxInterface = QAccessible::queryAccessibleInterface(box);
    return boxInterface ? boxInterface->child(row) : nullptr;
}

} // namespace

void TableBoxAccessible::notifyRowState(TableBoxItem* box, int row,
                                        const QAccessible::State& changed) {
    if (QAccessibleInterface* rowFace = rowInterface(box, row)) {
        QAccessibleStateChangeEvent event(rowFace, changed);
        QAccessible::updateAccessibility(&event);
    }
}

void TableBoxAccessible::notifyRowDescription(TableBoxItem* box, int row) {
    if (QAccessibleInterface* rowFace = rowInterface(box, row)) {
        QAccessibleEvent event(rowFace, QAccessible::DescriptionChanged);
        QAccessible::updateAccessibility(&event);
    }
}

QWindow* TableBoxAccessible::window() const {
    const DiagramView* v = view();
    return v ? v->window()->windowHandle() : nullptr;
}

QAccessibleInterface* TableBoxAccessible::parent() const {
    return QAccessible::queryAccessibleInterface(view());
}

QAccessibleInterface* TableBoxAccessible::child(int index) const {
    const TableBoxItem* b = box();
    if (!b || index < 0 || index >= b->rowCount())
        return nullptr;
    if (const QAccessible::Id id = m_rows.value(index)) {
        if (QAccessibleInterface* existing = QAccessible::accessibleInterface(id))
            return existing;
    }
    auto* row = new TableRowAccessible(const_cast<TableBoxItem*>(b), index);
    m_rows.insert(index, QAccessible::registerAccessibleInterface(row));
    return row;
}

int TableBoxAccessible::childCount() const {
    const TableBoxItem* b = box();
    return b ? b->rowCount() : 0;
}

int TableBoxAccessible::indexOfChild(const QAccessibleInterface* child) const {
    if (!child || child->parent() != this || child->role() != QAccessible::ListItem)
        return -1;
    return static_cast<const TableRowAccessible*>(child)->row();
}

QAccessibleInterface* TableBoxAccessible::focusChild() const {
    const TableBoxItem* b = box();
    return b && b->isBoxSelected() ? child(b->currentRow()) : nullptr;
}

QString TableBoxAccessible::text(QAccessible::Text t) const {
    const TableBoxItem* b = box();
    if (!b)
        return QString();
    const int columns = b->rowCount() - 1;
    switch (t) {
    case QAccessible::Name:
        return QStringLiteral("%1, table, %2 %3")
            .arg(b->alias())
            .arg(columns)
            .arg(columns == 1 ? QStringLiteral("column") : QStringLiteral("columns"));
    case QAccessible::Description:
        return QStringLiteral("Enter adds the column to the query, Space ticks it, J starts a "
                              "join from it, L selects the joins of the table.");
    default:
        return QString();
    }
}

QRect TableBoxAccessible::rect() const {
    const TableBoxItem* b = box();
    const DiagramView* v = view();
    return b && v ? v->globalRect(b->mapRectToScene(b->bodyRect())) : QRect();
}

QAccessible::Role TableBoxAccessible::role() const {
    return QAccessible::List;
}

QAccessible::State TableBoxAccessible::state() const {
    QAccessible::State s;
    const TableBoxItem* b = box();
    if (!b) {
        s.invalid = true;
        return s;
    }
    s.focusable = true;
    s.selectable = true;
    s.movable = true;
    s.sizeable = true;
    s.selected = b->isBoxSelected();
    return s;
}

void* TableBoxAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface)
        return static_cast<QAccessibleActionInterface*>(this);
    return nullptr;
}

QStringList TableBoxAccessible::actionNames() const {
    return {setFocusAction(), showMenuAction()};
}

void TableBoxAccessible::doAction(const QString& actionName) {
    TableBoxItem* b = box();
    DiagramView* v = view();
    if (!b || !v)
        return;
    if (actionName == setFocusAction())
        v->selectObject(b);
    else if (actionName == showMenuAction())
        v->showMenuOf(b);
}

QStringList TableBoxAccessible::keyBindingsForAction(const QString& actionName) const {
    if (actionName == showMenuAction())
        return {QStringLiteral("Shift+F10")};
    return {};
}

} // namespace marovin
