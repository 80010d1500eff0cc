// The sort order: the grid's "Sort Type" and "Sort Order" columns and the calculated items' sort
// menu write the query's sort entries, which the statement lists in the user's order.

#include "ControlHarness.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

constexpr int kSortType = 6;
constexpr int kSortOrder = 7;

// The ORDER BY clause of the control's statement, its lines joined by " | ".
std::string orderBy(ControlHarness& h) {
    const std::string& sql = h.control().strSQL();
    const auto at = sql.find("ORDER BY");
    if (at == std::string::npos)
        return std::string();
    QString clause = QString::fromStdString(sql.substr(at));
    clause.replace("\r\n     ", " ").replace("\r\n", "");
    return clause.toStdString();
}

// Chooses a sort type in the grid's drop-down by typing its first letter and Enter.
void chooseSortType(ControlHarness& h, int row, const QString& type) {
    h.chooseInCell(row, kSortType, type.left(1));
}

void typeSortOrder(ControlHarness& h, int row, int position) {
    auto* spin = qobject_cast<QSpinBox*>(h.startEdit(row, kSortOrder));
    ASSERT_NE(spin, nullptr);
    spin->selectAll();
    QTest::keyClicks(spin, QString::number(position));
    QTest::keyClick(spin, Qt::Key_Return);
    QApplication::processEvents();
}

// Opens a view's context menu as the Menu key does and presses a mnemonic in it.
void sortFromMenu(QWidget* view, char mnemonic) {
    bool shown = false;
    QTimer::singleShot(0, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (menu == nullptr)
            return;
        shown = true;
        QTest::keyClick(menu, mnemonic);
    });
    const QPoint centre = view->rect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, centre, view->mapToGlobal(centre));
    QApplication::sendEvent(view, &event);
    EXPECT_TRUE(shown);
}

} // namespace

TEST(SortOrderTest, TheGridsSortColumnsOrderTheStatementInTheUsersOrder) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight", "ShipCity"});
    h.changed = 0;
    chooseSortType(h, 2, "Descending");
    EXPECT_EQ(orderBy(h), "ORDER BY Freight DESC");
    EXPECT_EQ(h.changed, 1);
    chooseSortType(h, 3, "Ascending");
    EXPECT_EQ(orderBy(h), "ORDER BY Freight DESC, ShipCity ASC");
    EXPECT_EQ(h.cell(3, kSortOrder), "2");

    // Sort Order 1 for ShipCity puts it first; the other entry moves down.
    typeSortOrder(h, 3, 1);
    EXPECT_EQ(orderBy(h), "ORDER BY ShipCity ASC, Freight DESC");
    EXPECT_EQ(h.cell(2, kSortOrder), "2");
    EXPECT_EQ(h.cell(3, kSortType), "Ascending");
    // An unsorted row has no position to edit.
    h.startEdit(1, kSortOrder);
    EXPECT_EQ(qobject_cast<QSpinBox*>(QApplication::focusWidget()), nullptr);

    // A renamed alias keeps its entry; a removed row loses it; "Unsorted" drops one.
    h.typeAlias(3, "City");
    EXPECT_EQ(orderBy(h), "ORDER BY City ASC, Freight DESC");
    h.grid()->setCurrentIndex(h.grid()->model()->index(2, 0));
    h.clickButton("cmdRemoveSelectItem");
    EXPECT_EQ(orderBy(h), "ORDER BY Freight DESC");
    EXPECT_EQ(h.cell(2, kSortOrder), "1");
    chooseSortType(h, 2, "Unsorted");
    EXPECT_EQ(orderBy(h), "");
    EXPECT_EQ(h.query->OrderByItems()->Count(), 0);
}

TEST(SortOrderTest, CalculatedItemsAndGridRowsSortFromTheirMenusWithTheKeyboard) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("Orders.ShipCountry", "Country")
               .calculated("Heavy", "Orders.Freight * 2"));
    ASSERT_EQ(h.expressions()->topLevelItemCount(), 1);
    h.expressions()->setFocus();
    h.expressions()->setCurrentItem(h.expressions()->topLevelItem(0));
    sortFromMenu(h.expressions(), 'd');
    EXPECT_EQ(orderBy(h), "ORDER BY Heavy DESC");
    EXPECT_EQ(ItemRow(h.expressions()->topLevelItem(0)),
              (QStringList{"Heavy", "=", "Orders.Freight * 2", "Descending", "1"}));

    h.grid()->setFocus();
    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
    sortFromMenu(h.grid(), 'a');
    EXPECT_EQ(orderBy(h), "ORDER BY Heavy DESC, Country ASC");
    sortFromMenu(h.grid(), 'e'); // Sort Earlier
    EXPECT_EQ(orderBy(h), "ORDER BY Country ASC, Heavy DESC");
    EXPECT_EQ(h.expressions()->topLevelItem(0)->text(4), "2");
}

TEST(SortOrderTest, LoadedSortEntriesShowInTheColumnsAndOddNamesSortAsTheyRun) {
    ControlHarness h;
    // The document lists its entries the way the statement reads them backwards.
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("Orders.OrderID", "OrderID")
               .item("Orders.Freight", "Freight")
               .orderBy("OrderID", "ASC")
               .orderBy("Freight", "desc"));
    EXPECT_EQ(orderBy(h), "ORDER BY Freight desc, OrderID ASC");
    EXPECT_EQ(h.cell(2, kSortType), "Descending");
    EXPECT_EQ(h.column(kSortOrder), (QStringList{"2", "1"}));

    // An alias with a blank sorts under its bracketed name, as the SELECT list writes it.
    h.typeAlias(2, "Total Freight");
    EXPECT_EQ(orderBy(h), "ORDER BY [Total Freight] desc, OrderID ASC");
    EXPECT_NE(h.control().strSQL().find("AS [Total Freight]"), std::string::npos);
}
