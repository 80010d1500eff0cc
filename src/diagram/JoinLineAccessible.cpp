#include "JoinLineAccessible.h"

#include "DiagramView.h"
#include "JoinBadgeItem.h"
#include "JoinLineItem.h"

#include <QGraphicsScene>

namespace marovin {

JoinLineAccessible::JoinLineAccessible(JoinLineItem* join) : QAccessibleObject(join) {}

QString JoinLineAccessible::removeAction() {
    return QStringLiteral("Remove");
}

JoinLineItem* JoinLineAccessible::join() const {
    return static_cast<JoinLineItem*>(object());
}

DiagramView* JoinLineAccessible::view() const {
    const JoinLineItem* j = join();
    const QGraphicsScene* scene = j ? j->scene() : nullptr;
    return scene && !scene->views().isEmpty() ? qobject_cast<DiagramView*>(scene->views().first())
                                              : nullptr;
}

QWindow* JoinLineAccessible::window() const {
    const DiagramView* v = view();
    return v ? v->window()->windowHandle() : nullptr;
}

QAccessibleInterface* JoinLineAccessible::parent() const {
    return QAccessible::queryAccessibleInterface(view());
}

QAccessibleInterface* JoinLineAccessible::child(int) const {
    return nullptr;
}

int JoinLineAccessible::childCount() const {
    return 0;
}

int JoinLineAccessible::indexOfChild(const QAccessibleInterface*) const {
    return -1;
}

QString JoinLineAccessible::text(QAccessible::Text t) const {
    const JoinLineItem* j = join();
    if (!j)
        return QString();
    const DiagramJoin& d = j->join();
    switch (t) {
    case QAccessible::Name:
        return QStringLiteral("Join %1.%2 = %3.%4, %5")
            .arg(d.strLeftAlias, d.strLeftColumn, d.strRightAlias, d.strRightColumn,
                 joinTypeName(d.type));
    case QAccessible::Description:
        return QStringLiteral("Keeps %1.").arg(j->keptRowsText());
    default:
        return QString();
    }
}

QRect JoinLineAccessible::rect() const {
    const JoinLineItem* j = join();
    const DiagramView* v = view();
    if (!j || !v)
        return QRect();
    const QSizeF badge(JoinBadgeItem::kWidth, JoinBadgeItem::kHeight);
    return v->globalRect(
        QRectF(j->badgeCenter() - QPointF(badge.width(), badge.height()) / 2, badge));
}

QAccessible::Role JoinLineAccessible::role() const {
    return QAccessible::Button;
}

QAccessible::State JoinLineAccessible::state() const {
    QAccessible::State s;
    const JoinLineItem* j = join();
    if (!j) {
        s.invalid = true;
        return s;
    }
    const DiagramView* v = view();
    s.focusable = true;
    s.selectable = true;
    s.hasPopup = true;
    s.selected = j->isLineSelected();
    s.focused = s.selected && v && v->hasFocus();
    return s;
}

void* JoinLineAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ActionInterface)
        return static_cast<QAccessibleActionInterface*>(this);
    return nullptr;
}

QStringList JoinLineAccessible::actionNames() const {
    return {showMenuAction(), setFocusAction(), removeAction()};
}

void JoinLineAccessible::doAction(const QString& actionName) {
    JoinLineItem* j = join();
    DiagramView* v = view();
    if (!j || !v)
        return;
    if (actionName == showMenuAction())
        v->showMenuOf(j);
    else if (actionName == setFocusAction())
        v->selectObject(j);
    else if (actionName == removeAction())
        v->removeJoinLine(j);
}

QStringList JoinLineAccessible::keyBindingsForAction(const QString& actionName) const {
    if (actionName == showMenuAction())
        return {QStringLiteral("Shift+F10")};
    if (actionName == removeAction())
        return {QStringLiteral("Delete")};
    return {};
}

} // namespace marovin
