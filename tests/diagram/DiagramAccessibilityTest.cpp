// What assistive technology sees of the diagram through QAccessible: the view with its boxes and
// joins, each box with its rows, their names, states and actions. (Qt drops accessibility events
// on the offscreen platform, so the focus a screen reader follows is read from focusChild.)

#include "DiagramFixture.h"

#include <QAccessible>
#include <QAccessibleActionInterface>

namespace marovin::testing {
namespace {

class DiagramAccessibility : public DiagramFixture {
protected:
    void SetUp() override {
        DiagramFixture::SetUp();
        place("Customers", {"CustomerID", "CompanyName", "City"});
        place("Orders", {"OrderID", "CustomerID", "EmployeeID", "ShipCity"});
        place("Employees", {"EmployeeID"});
        ASSERT_TRUE(
            diagram->AddJoin("Orders", "CustomerID", "Customers", "CustomerID", "Inner Join"));
        tree = QAccessible::queryAccessibleInterface(diagram->view());
        ASSERT_NE(tree, nullptr);
    }
    QAccessibleInterface* row(int box, int row) { return tree->child(box)->child(row); }
    static void act(QAccessibleInterface* iface, const QString& action) {
        ASSERT_NE(iface->actionInterface(), nullptr);
        ASSERT_TRUE(iface->actionInterface()->actionNames().contains(action));
        iface->actionInterface()->doAction(action);
    }
    static std::string name(QAccessibleInterface* iface) {
        return iface ? iface->text(QAccessible::Name).toStdString() : "(none)";
    }

    QAccessibleInterface* tree = nullptr; // Owned by Qt's accessibility cache.
};

TEST_F(DiagramAccessibility, TheViewHoldsTheBoxesWithTheirRowsThenTheJoins) {
    EXPECT_EQ(tree->role(), QAccessible::Pane);
    EXPECT_EQ(tree->text(QAccessible::Name), "Tables and joins");
    ASSERT_EQ(tree->childCount(), 4);
    const char* boxes[] = {"Customers, table, 3 columns", "Orders, table, 4 columns",
                           "Employees, table, 1 column"};
    const int rows[] = {4, 5, 2};
    for (int i = 0; i < 3; ++i) {
        QAccessibleInterface* box = tree->child(i);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(name(box), boxes[i]);
        EXPECT_EQ(box->role(), QAccessible::List);
        EXPECT_EQ(box->childCount(), rows[i]);
        EXPECT_EQ(box->parent(), tree);
        EXPECT_EQ(tree->indexOfChild(box), i);
        for (int r = 0; r < rows[i]; ++r) {
            QAccessibleInterface* item = box->child(r);
            EXPECT_EQ(item->role(), QAccessible::ListItem);
            EXPECT_EQ(item->parent(), box);
            EXPECT_EQ(box->indexOfChild(item), r);
            EXPECT_TRUE(item->state().checkable);
        }
    }
    EXPECT_EQ(name(row(0, 0)), "All columns");
    EXPECT_EQ(name(row(1, 4)), "ShipCity");
    EXPECT_EQ(row(1, 2)->text(QAccessible::Description), "joined");
    EXPECT_EQ(row(1, 1)->text(QAccessible::Description), "");

    QAccessibleInterface* join = tree->child(3);
    EXPECT_EQ(name(join), "Join Orders.CustomerID = Customers.CustomerID, Inner Join");
    EXPECT_EQ(join->role(), QAccessible::Button);
    EXPECT_EQ(tree->indexOfChild(join), 3);
    EXPECT_EQ(join->parent(), tree);

    // Rectangles are on screen where the items are drawn.
    const QPoint title = viewport()->mapToGlobal(diagram->titlePoint("Orders"));
    EXPECT_TRUE(tree->child(1)->rect().contains(title));
    const QPoint city = viewport()->mapToGlobal(diagram->columnPoint("Orders", "ShipCity"));
    EXPECT_TRUE(row(1, 4)->rect().contains(city));
    EXPECT_TRUE(join->rect().contains(viewport()->mapToGlobal(diagram->joinPoint(1))));

    // A box added later shows up; a removed join goes.
    place("Shippers", {"ShipperID"});
    EXPECT_EQ(tree->childCount(), 5);
    EXPECT_EQ(name(tree->child(3)), "Shippers, table, 1 column");
    ASSERT_TRUE(diagram->removeJoin(1));
    EXPECT_EQ(tree->childCount(), 4);
    EXPECT_EQ(row(1, 2)->text(QAccessible::Description), "");
}

TEST_F(DiagramAccessibility, StatesFollowTheTicksAndTheKeyboard) {
    EXPECT_FALSE(row(1, 4)->state().checked);
    diagram->setColumnTicked("Orders", "ShipCity", true);
    EXPECT_TRUE(row(1, 4)->state().checked);
    EXPECT_TRUE(row(1, 0)->state().checkStateMixed);
    diagram->setAllTicks("Orders", diagram->tableColumns("Orders"));
    EXPECT_TRUE(row(1, 0)->state().checked);
    EXPECT_FALSE(row(1, 0)->state().checkStateMixed);

    EXPECT_EQ(tree->focusChild(), nullptr);
    key(Qt::Key_Tab);
    key(Qt::Key_Tab);
    key(Qt::Key_Down);
    EXPECT_TRUE(tree->child(1)->state().selected);
    EXPECT_FALSE(tree->child(0)->state().selected);
    EXPECT_TRUE(row(1, 1)->state().selected);
    EXPECT_TRUE(row(1, 1)->state().focused);
    EXPECT_FALSE(row(1, 2)->state().selected);
    EXPECT_EQ(tree->focusChild(), row(1, 1));
    key(Qt::Key_L);
    EXPECT_EQ(tree->focusChild(), tree->child(3));
    EXPECT_TRUE(tree->child(3)->state().selected);
}

TEST_F(DiagramAccessibility, ActionsRaiseTheSameSignalsAsTheMouse) {
    QSignalSpy chosen(diagram, &dvTablesAndJoins::columnChosen);
    QSignalSpy ticks(diagram, &dvTablesAndJoins::columnTickRequested);
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    QSignalSpy removed(diagram, &dvTablesAndJoins::joinRemoved);
    QSignalSpy changed(diagram, &dvTablesAndJoins::joinChanged);

    act(row(1, 3), QAccessibleActionInterface::pressAction());
    expectLastSignal(chosen, 1, {"Orders", "EmployeeID"});
    EXPECT_EQ(diagram->currentColumn(), "EmployeeID");
    act(row(0, 3), QAccessibleActionInterface::toggleAction());
    ASSERT_EQ(ticks.size(), 1);
    EXPECT_EQ(ticks[0][1].toString(), "City");
    EXPECT_TRUE(ticks[0][2].toBool());
    EXPECT_FALSE(diagram->isColumnTicked("Customers", "City"));
    act(row(2, 0), QAccessibleActionInterface::pressAction());
    act(row(2, 0), QAccessibleActionInterface::toggleAction());
    expectLastSignal(all, 2, {"Employees"});

    act(tree->child(1), QAccessibleActionInterface::setFocusAction());
    EXPECT_EQ(diagram->selectedTable(), "Orders");
    chooseFromMenu([this] { act(tree->child(3), QAccessibleActionInterface::showMenuAction()); },
                   "Left Join");
    ASSERT_EQ(changed.size(), 1);
    EXPECT_EQ(diagram->selectedJoin(), 1);
    EXPECT_EQ(name(tree->child(3)), "Join Orders.CustomerID = Customers.CustomerID, Left Join");
    act(tree->child(3), "Remove");
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(diagram->joinCount(), 0);
}

} // namespace
} // namespace marovin::testing
