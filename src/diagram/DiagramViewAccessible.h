#pragma once

#include <QAccessibleWidget>

namespace marovin {

class DiagramView;

// The diagram's view as assistive technology sees it: a pane whose children are the table boxes
// (in the order they were added) followed by the joins (in joins-list order). Its focus child is
// the keyboard row of the selected box, or the selected join.
class DiagramViewAccessible : public QAccessibleWidget {
public:
    explicit DiagramViewAccessible(DiagramView* view);

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* focusChild() const override;

private:
    DiagramView* view() const;
};

// Installs the factory that gives the diagram's view, boxes and joins their interfaces. Safe to
// call more than once.
void installDiagramAccessibility();

} // namespace marovin
