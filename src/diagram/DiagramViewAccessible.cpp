#include "DiagramViewAccessible.h"

#include "DiagramView.h"
#include "JoinLineAccessible.h"
#include "JoinLineItem.h"
#include "TableBoxAccessible.h"
#include "TableBoxItem.h"

#include <atomic>

namespace marovin {

namespace {

QAccessibleInterface* diagramInterfaceFactory(const QString&, QObject* object) {
    // Qt asks once per class of the object's hierarchy; the casts answer for the exact classes.
    if (auto* view = qobject_cast<DiagramView*>(object))
        return new DiagramViewAccessible(view);
    if (auto* box = qobject_cast<TableBoxItem*>(object))
        return new TableBoxAccessible(box);
    if (auto* join = qobject_cast<JoinLineItem*>(object))
        return new JoinLineAccessible(join);
    return nullptr;
}

} // namespace

void installDiagramAccessibility() {
    static std::atomic<bool> installed{false};
    if (!installed.exchange(true))
        QAccessible::installFactory(diagramInterfaceFactory);
}

DiagramViewAccessible::DiagramViewAccessible(DiagramView* view)
    : QAccessibleWidget(view, QAccessible::Pane) {}

DiagramView* DiagramViewAccessible::view() const {
    return static_cast<DiagramView*>(widget());
}

int DiagramViewAccessible::childCount() const {
    const DiagramView* v = view();
    return v ? static_cast<int>(v->boxes().size() + v->joins().size()) : 0;
}

QAccessibleInterface* DiagramViewAccessible::child(int index) const {
    const DiagramView* v = view();
    if (!v || index < 0)
        return nullptr;
    const qsizetype boxes = v->boxes().size();
    if (index < boxes)
        return QAccessible::queryAccessibleInterface(v->boxes()[index]);
    if (index - boxes < v->joins().size())
        return QAccessible::queryAccessibleInterface(v->joins()[index - boxes]);
    return nullptr;
}

int DiagramViewAccessible::indexOfChild(const QAccessibleInterface* child) const {
    const DiagramView* v = view();
    QObject* object = child ? child->object() : nullptr;
    if (!v || !object)
        return -1;
    if (auto* box = qobject_cast<TableBoxItem*>(object))
        return static_cast<int>(v->boxes().indexOf(box));
    if (auto* join = qobject_cast<JoinLineItem*>(object)) {
        const qsizetype at = v->joins().indexOf(join);
        return at < 0 ? -1 : static_cast<int>(v->boxes().size() + at);
    }
    return -1;
}

QAccessibleInterface* DiagramViewAccessible::focusChild() const {
    const DiagramView* v = view();
    if (!v)
        return nullptr;
    for (JoinLineItem* join : v->joins()) {
        if (v->isSelected(join))
            return QAccessible::queryAccessibleInterface(join);
    }
    for (TableBoxItem* box : v->boxes()) {
        if (v->isSelected(box)) {
            QAccessibleInterface* boxInterface = QAccessible::queryAccessibleInterface(box);
            return boxInterface ? boxInterface->focusChild() : nullptr;
        }
    }
    return nullptr;
}

} // namespace marovin
