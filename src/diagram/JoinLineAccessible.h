#pragma once

#include <QAccessibleObject>

namespace marovin {

class DiagramView;
class JoinLineItem;

// A join line for assistive technology: a button named after its columns and type
// ("Join Orders.CustomerID = Customers.CustomerID, Inner Join") whose description says which
// rows it keeps. Its actions show its menu (to change the type), select it, or remove it.
class JoinLineAccessible : public QAccessibleObject, public QAccessibleActionInterface {
public:
    explicit JoinLineAccessible(JoinLineItem* join);

    // The name of the action that removes the join.
    static QString removeAction();

    QWindow* window() const override;
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QString text(QAccessible::Text t) const override;
    QRect rect() const override;
    QAccessible::Role role() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    QStringList actionNames() const override;
    void doAction(const QString& actionName) override;
    QStringList keyBindingsForAction(const QString& actionName) const override;

private:
    JoinLineItem* join() const;
    DiagramView* view() const;
};

} // namespace marovin
