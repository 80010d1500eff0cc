#include "ControlHarness.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

constexpr int kAlias = 2;
constexpr int kAggregation = 3;

TEST(SelectedItemsGridTest, HasTheFiveColumnsThenTheSortAndTheAggregationChoices) {
    ControlHarness h;
    QAbstractItemModel* model = h.grid()->model();
    ASSERT_EQ(model->columnCount(), 7);
    const QStringList expected{"Selected Field", "Alias",     "Aggregation", "From Table",
                               "Table Alias",    "Sort Type", "Sort Order"};
    for (int c = 0; c < 7; ++c)
        EXPECT_EQ(model->headerData(c, Qt::Horizontal).toString(), expected[c]);

    h.placeTable("dbo.Orders", {"Freight"});
    auto* combo = qobject_cast<QComboBox*>(h.startEdit(1, kAggregation));
    ASSERT_NE(combo, nullptr);
    QStringList items;
    for (int i = 0; i < combo->count(); ++i)
        items << combo->itemText(i);
    EXPECT_EQ(items, (QStringList{"<none>", "AVG", "COUNT", "MAX", "MIN", "STDEV", "STDEVP", "SUM",
                                  "VAR", "VARP"}));
    EXPECT_EQ(combo->currentText(), "<none>");

    // Typed letters search the list without ending the edit ("SU" passes STDEV on the way to
    // SUM); Enter commits once and aggregates the field.
    h.changed = 0;
    QTest::keyClicks(combo, "SU");
    EXPECT_EQ(combo->currentText(), "SUM");
    EXPECT_EQ(h.changed, 0);
    QTest::keyClick(combo, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(h.cell(1, kAggregation), "SUM");
    EXPECT_EQ(h.changed, 1);
    EXPECT_NE(h.control().strSQL().find("SUM(Orders.Freight) AS Freight"), std::string::npos);
}

TEST(SelectedItemsGridTest, OnlyAliasAndAggregationCanBeEdited) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    for (int column : {1, 4, 5}) {
        h.startEdit(1, column);
        EXPECT_EQ(h.grid()->indexWidget(h.grid()->currentIndex()), nullptr) << column;
        QTest::keyClicks(h.grid(), "xy");
    }
    EXPECT_EQ(h.row(1), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));
}

TEST(SelectedItemsGridTest, TypedAliasesAreFilteredTrimmedAndMadeUnique) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight", "ShipCity"});
    h.changed = 0;

    // Characters outside letters, digits, "_" and the blank are swallowed while typing.
    h.typeAlias(2, "Net-Freight.v$");
    EXPECT_EQ(h.cell(2, kAlias), "NetFreightv");
    EXPECT_EQ(h.changed, 1);
    EXPECT_NE(h.control().strSQL().find("Orders.Freight AS NetFreightv"), std::string::npos);

    // Blanks around are trimmed and a leading digit becomes "_".
    h.typeAlias(2, " 9abc ");
    EXPECT_EQ(h.cell(2, kAlias), "_abc");

    // An alias used by another row falls back to the field name; when that is taken too (here
    // by the row's own alias), the proposal is numbered.
    h.typeAlias(3, "OrderID");
    EXPECT_EQ(h.cell(3, kAlias), "OrderID2");
    h.typeAlias(2, "OrderID");
    EXPECT_EQ(h.cell(2, kAlias), "Freight");
    // Not used by another row: kept as typed.
    h.typeAlias(2, "ShipCity");
    EXPECT_EQ(h.cell(2, kAlias), "ShipCity");

    // With the alias emptied, digits are refused until the row has an alias again.
    h.typeAlias(1, "   ");
    EXPECT_EQ(h.cell(1, kAlias), "");
    h.typeAlias(1, "7x8");
    EXPECT_EQ(h.cell(1, kAlias), "x");
    h.typeAlias(1, "x8");
    EXPECT_EQ(h.cell(1, kAlias), "x8");
}

TEST(SelectedItemsGridTest, RepeatedFieldNamesAreNumberedAndDuplicatesRefused) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    h.placeTable("dbo.Customers");
    h.placeTable("dbo.Orders");
    h.chooseColumn("Orders", "CustomerID");
    h.chooseColumn("Customers", "CustomerID");
    h.chooseColumn("Orders1", "CustomerID");
    ASSERT_EQ(h.rows(), 3);
    EXPECT_EQ(h.column(kAlias), (QStringList{"CustomerID", "CustomerID2", "CustomerID3"}));
    EXPECT_EQ(h.row(3),
              (QStringList{"CustomerID", "CustomerID3", "<none>", "dbo.Orders", "Orders1"}));
    EXPECT_TRUE(h.box->shown().empty());

    h.changed = 0;
    h.chooseColumn("Customers", "CustomerID");
    EXPECT_EQ(h.rows(), 3);
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"Select a Column", "Customers.CustomerID is already in the list of Select items",
                   MessageIcon::Exclamation, MessageButtons::Ok}));
    // The change notification still runs after a refused duplicate.
    EXPECT_EQ(h.changed, 1);
}

TEST(SelectedItemsGridTest, DuplicatesAndAliasesFollowRemovedRenamedAndMovedRows) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight", "OrderID"});
    h.typeAlias(1, "Cost");
    // The old alias is free again; the new one is taken (the row falls back to its field name).
    h.chooseColumn("Orders", "ShipCity");
    h.typeAlias(3, "Freight");
    EXPECT_EQ(h.cell(3, kAlias), "Freight");
    h.typeAlias(3, "Cost");
    EXPECT_EQ(h.cell(3, kAlias), "ShipCity");
    // A row moved down is still found as a duplicate; once removed, its field can come back.
    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
    h.clickButton("cmdMoveDown");
    ASSERT_EQ(h.cell(2, 1), "Freight");
    h.chooseColumn("Orders", "Freight");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(h.rows(), 3);
    h.grid()->setCurrentIndex(h.grid()->model()->index(1, 0));
    h.clickButton("cmdRemoveSelectItem");
    ASSERT_EQ(h.rows(), 2);
    h.chooseColumn("Orders", "Freight");
    EXPECT_EQ(h.box->shown().size(), 1u);
    ASSERT_EQ(h.rows(), 3);
    EXPECT_EQ(h.row(3), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));
}

TEST(SelectedItemsGridTest, MovingRowsChangesTheSelectOrder) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight", "ShipCity"});
    QTableView* grid = h.grid();
    grid->setCurrentIndex(grid->model()->index(2, 0));
    h.changed = 0;

    // The last row cannot go further down: nothing changes and nothing is raised.
    h.clickButton("cmdMoveDown");
    EXPECT_EQ(h.changed, 0);
    EXPECT_EQ(h.column(1), (QStringList{"OrderID", "Freight", "ShipCity"}));

    h.clickButton("cmdMoveUp");
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.column(1), (QStringList{"OrderID", "ShipCity", "Freight"}));
    EXPECT_EQ(grid->currentIndex().row(), 1);
    h.clickButton("cmdMoveUp");
    EXPECT_EQ(h.column(1), (QStringList{"ShipCity", "OrderID", "Freight"}));
    EXPECT_EQ(grid->currentIndex().row(), 0);
    EXPECT_EQ(h.query->SelectedItems()->Item(1)->strAlias(), "ShipCity");
    EXPECT_EQ(h.control().strSQL().rfind("SELECT\r\n     Orders.ShipCity AS ShipCity,", 0), 0u)
        << h.control().strSQL();

    h.changed = 0;
    h.clickButton("cmdMoveUp");
    EXPECT_EQ(h.changed, 0);
    h.clickButton("cmdMoveDown");
    EXPECT_EQ(h.column(1), (QStringList{"OrderID", "ShipCity", "Freight"}));
    EXPECT_EQ(h.changed, 1);
}

TEST(SelectedItemsGridTest, RemovingRowsRaisesChangedTwiceAndDisablesTheButtonsAtTheEnd) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight"});
    EXPECT_TRUE(h.button("cmdRemoveSelectItem")->isEnabled());
    QCheckBox* unique = h.checkBox("chkUniqueRecords");
    ASSERT_TRUE(unique->isEnabled());
    QTest::mouseClick(unique, Qt::LeftButton, {}, QPoint(5, unique->height() / 2));
    ASSERT_TRUE(unique->isChecked());
    EXPECT_TRUE(h.query->blnUniqueRecordsOnly());
    EXPECT_EQ(h.control().strSQL().rfind("SELECT DISTINCT", 0), 0u) << h.control().strSQL();

    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 1));
    h.changed = 0;
    h.clickButton("cmdRemoveSelectItem");
    EXPECT_EQ(h.changed, 2); // once before the row goes, once by the change notification
    EXPECT_EQ(h.column(1), QStringList{"Freight"});
    EXPECT_TRUE(h.box->shown().empty()); // no confirmation is asked

    // RemoveSelectItem(true) behaves exactly like RemoveSelectItem(false).
    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
    h.control().RemoveSelectItem(true);
    EXPECT_EQ(h.rows(), 0);
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_FALSE(h.button("cmdRemoveSelectItem")->isEnabled());
    EXPECT_FALSE(h.button("cmdMoveUp")->isEnabled());
    EXPECT_FALSE(h.button("cmdMoveDown")->isEnabled());
    EXPECT_FALSE(unique->isEnabled());
    EXPECT_FALSE(unique->isChecked());

    h.changed = 0;
    h.control().RemoveSelectItem(false); // nothing left: nothing happens
    EXPECT_EQ(h.changed, 0);
}

TEST(SelectedItemsGridTest, AProposedAliasEqualToACalculatedItemIsKept) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("Orders.OrderID", "Freight")
               .calculated("ShipCity", "UPPER(Orders.ShipCity)")
               .calculated("Freight2", "Orders.Freight * 2"));
    // No other row uses ShipCity: kept, although a calculated item has that name.
    h.chooseColumn("Orders", "ShipCity");
    // Freight is in use and so is the field name; Freight2 is a calculated item: Freight3.
    h.chooseColumn("Orders", "Freight");
    EXPECT_EQ(h.column(kAlias), (QStringList{"Freight", "ShipCity", "Freight3"}));
}

TEST(SelectedItemsGridTest, ConfirmingAnEditUnchangedDoesNotNotify) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight", "ShipCity"});
    h.changed = 0;
    // The alias editor opened and closed with Enter, the text untouched.
    QWidget* editor = h.startEdit(2, kAlias);
    ASSERT_NE(qobject_cast<QLineEdit*>(editor), nullptr);
    QTest::keyClick(editor, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(h.cell(2, kAlias), "Freight");
    EXPECT_EQ(h.changed, 0);

    // The aggregation drop-down: choosing the entry it already shows changes nothing either.
    h.chooseInCell(2, kAggregation, "");
    EXPECT_EQ(h.cell(2, kAggregation), "<none>");
    EXPECT_EQ(h.changed, 0);

    // An edit that does change the row still notifies once.
    h.typeAlias(2, "Cost");
    EXPECT_EQ(h.changed, 1);
}

TEST(SelectedItemsGridTest, TheFirstRowIsCurrentUntilTheUserPicksAnother) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"OrderID", "Freight", "ShipCity"});
    // The rows were added from the diagram; nobody clicked in the grid.
    EXPECT_EQ(h.grid()->currentIndex().row(), 0);
    h.clickButton("cmdRemoveSelectItem");
    EXPECT_EQ(h.column(1), (QStringList{"Freight", "ShipCity"}));
    h.clickButton("cmdMoveDown");
    EXPECT_EQ(h.column(1), (QStringList{"ShipCity", "Freight"}));
}

TEST(SelectedItemsGridTest, ARowWithoutItsTableRaisesChangedOnlyOnceWhenRemoved) {
    ControlHarness h;
    // A stored item whose name starts with the dot has no table part: "From Table" stays empty.
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item(".Freight", "Loose")
               .item("Orders.Freight", "Freight"));
    ASSERT_EQ(h.rows(), 2);
    ASSERT_EQ(h.cell(1, 4), "");
    h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
    h.changed = 0;
    h.control().RemoveSelectItem(true);
    EXPECT_EQ(h.changed, 1);
    EXPECT_EQ(h.column(kAlias), QStringList{"Freight"});
    h.changed = 0;
    h.control().RemoveSelectItem(true);
    EXPECT_EQ(h.changed, 2);
}

TEST(SelectedItemsGridTest, AFieldNamedWithItsSchemaAndTableIsSplitAfterTheSecondDot) {
    ControlHarness h;
    h.load(QueryDocument()
               .table("dbo.Orders")
               .item("dbo.Orders.Freight", "Freight")
               .item("Orders.ShipCity.Extra", "City"));
    ASSERT_EQ(h.rows(), 2);
    // Three parts: "dbo.Orders" is no alias of a placed table, so the table's text stays as the
    // "From Table" and its last part becomes the "Table Alias".
    EXPECT_EQ(h.row(1), (QStringList{"Freight", "Freight", "<none>", "dbo.Orders", "Orders"}));
    // The duplicate test joins "Table Alias" and "Selected Field": picking Freight of the box
    // Orders finds that row.
    h.chooseColumn("Orders", "Freight");
    EXPECT_EQ(h.rows(), 2);
    EXPECT_EQ(ShownTexts(*h.box),
              QStringList{"Orders.Freight is already in the list of Select items"});
    // Three parts again: the last one is the field, the first two the table.
    EXPECT_EQ(h.row(2), (QStringList{"Extra", "City", "<none>", "Orders.ShipCity", "ShipCity"}));
}
