#pragma once

#include <QAccessibleObject>
#include <QHash>

namespace marovin {

class DiagramView;
class TableBoxItem;

// A table box for assistive technology: a list named like "Orders, table, 14 columns" whose
// items are its rows ("*" first). Row interfaces are made on demand and live as long as the
// box's interface, which Qt deletes with the box.
class TableBoxAccessible : public QAccessibleObject, public QAccessibleActionInterface {
public:
    explicit TableBoxAccessible(TableBoxItem* box);
    ~TableBoxAccessible() override;

    TableBoxItem* box() const;
    // The view showing the box; null while the box is in no scene.
    DiagramView* view() const;
    // Tells assistive technology that the state (the tick) of a row changed.
    static void notifyRowState(TableBoxItem* box, int row, const QAccessible::State& changed);
    // Tells assistive technology that the description ("joined") of a row changed.
    static void notifyRowDescription(TableBoxItem* box, int row);

    QWindow* window() const override;
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* focusChild() const override;
    QString text(QAccessible::Text t) const override;
    QRect rect() const override;
    QAccessible::Role role() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    QStringList actionNames() const override;
    void doAction(const QString& actionName) override;
    QStringList keyBindingsForAction(const QString& actionName) const override;

private:
    mutable QHash<int, QAccessible::Id> m_rows; // registered with QAccessible, deleted with us
};

} // namespace marovin
