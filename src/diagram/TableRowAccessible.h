#pragma once

#include <QAccessibleInterface>
#include <QPointer>

namespace marovin {

class TableBoxItem;

// One row of a table box for assistive technology: a list item named after its column, checked
// when the column is ticked for the output, described as "joined" when a join uses it, selected
// when it is the box's keyboard row. Press chooses the column, toggle asks for the tick.
class TableRowAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    TableRowAccessible(TableBoxItem* box, int row);

    int row() const { return m_row; }

    bool isValid() const override;
    QObject* object() const override;
    QWindow* window() const override;
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    QString text(QAccessible::Text t) const override;
    void setText(QAccessible::Text t, const QString& text) override;
    QRect rect() const override;
    QAccessible::Role role() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    QStringList actionNames() const override;
    void doAction(const QString& actionName) override;
    QStringList keyBindingsForAction(const QString& actionName) const override;

private:
    QPointer<TableBoxItem> m_box;
    int m_row;
};

} // namespace marovin
