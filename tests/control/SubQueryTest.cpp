// The sub-query: edited in its dialog on a nested editor through the "Sub query..." button,
// offered in the table list, placed and joined like a table, written into FROM as an indented
// statement.

#include "ControlHarness.h"
#include "marovin/frmSubQuery.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTest>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

const char* const kQuitText = "Sub-Query has changed. Quit anyway?";

uscMarovin* nestedEditor(QDialog& dialog) {
    return dialog.findChild<uscMarovin*>("uscMarovin1");
}

QLineEdit* nameField(QDialog& dialog) {
    return dialog.findChild<QLineEdit*>("txtName");
}

QPushButton* dialogButton(QDialog& dialog, const char* name) {
    return dialog.findChild<QPushButton*>(name);
}

void click(QWidget* widget) {
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

// Replaces the name with typed keys.
void typeName(QDialog& dialog, const QString& name) {
    QLineEdit* field = nameField(dialog);
    field->setFocus();
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, name);
}

// Defines the sub-query "Recent" (Orders' OrderID and CustomerID) through the button and OK.
void defineRecent(ControlHarness& h) {
    ModalDriver driver([](QDialog& dialog) {
        uscMarovin* editor = nestedEditor(dialog);
        ASSERT_NE(editor, nullptr);
        PlaceTable(*editor, "dbo.Orders");
        ChooseColumn(*editor, "Orders", "OrderID");
        ChooseColumn(*editor, "Orders", "CustomerID");
        typeName(dialog, "Recent");
        click(dialogButton(dialog, "cmdOk"));
    });
    h.clickButton("cmdSubQueries");
    if (!driver.ran() || driver.dialogClass() != "marovin::frmSubQuery")
        throw std::runtime_error("the sub-query dialog did not open");
}

const std::string kRecentSql = "SELECT\r\n"
                               "     Orders.OrderID AS OrderID, \r\n"
                               "     Orders.CustomerID AS CustomerID\r\n"
                               "FROM \r\n"
                               "     dbo.Orders AS Orders\r\n";

} // namespace

TEST(SubQueryTest, ANewSubQueryIsNamedVirtualTableInANestedEditorOnTheSameConnection) {
    ControlHarness h;
    h.placeTable("dbo.Orders");
    const QStringList outerEntries = h.tableEntries();
    ModalDriver driver([&](QDialog& dialog) {
        EXPECT_EQ(nameField(dialog)->text(), "VirtualTable");
        EXPECT_TRUE(dialogButton(dialog, "cmdOk")->isEnabled());
        uscMarovin* editor = nestedEditor(dialog);
        ASSERT_NE(editor, nullptr);
        EXPECT_FALSE(editor->findChild<QPushButton*>("cmdSubQueries")->isVisible());
        EXPECT_EQ(TableEntries(*editor), outerEntries);
        EXPECT_TRUE(outerEntries.contains("dbo.Orders"));
        EXPECT_EQ(editor->strSQL(), "");
        EXPECT_EQ(editor->DatabaseObject(), h.db);
        EXPECT_NE(editor->SQLQueryObject(), nullptr);
        EXPECT_NE(editor->SQLQueryObject(), h.query->SubQuery());
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(driver.dialogClass(), "marovin::frmSubQuery");
    // Closed without edits: no question.
    EXPECT_TRUE(h.box->shown().empty());
}

TEST(SubQueryTest, TheNameTakesLettersAndDigitsButNoLeadingDigitAndOkNeedsAName) {
    ControlHarness h;
    ModalDriver driver([](QDialog& dialog) {
        QLineEdit* field = nameField(dialog);
        QPushButton* ok = dialogButton(dialog, "cmdOk");
        field->setFocus();
        QTest::keyClick(field, Qt::Key_End);
        for (int i = 0; i < 12; ++i)
            QTest::keyClick(field, Qt::Key_Backspace);
        EXPECT_EQ(field->text(), "");
        EXPECT_FALSE(ok->isEnabled());
        QTest::keyClicks(field, " _-.1");
        EXPECT_EQ(field->text(), "");
        EXPECT_FALSE(ok->isEnabled());
        QTest::keyClicks(field, "a1 B_2");
        EXPECT_EQ(field->text(), "a1B2");
        EXPECT_TRUE(ok->isEnabled());
        // A digit typed in front is refused, also over a selection that starts in front.
        QTest::keyClick(field, Qt::Key_Home);
        QTest::keyClick(field, Qt::Key_7);
        EXPECT_EQ(field->text(), "a1B2");
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(field, Qt::Key_7);
        EXPECT_EQ(field->text(), "a1B2");
        QTest::keyClick(field, Qt::Key_Z);
        EXPECT_EQ(field->text(), "z");
        // Letters outside a-z are refused too.
        QKeyEvent accented(QEvent::KeyPress, Qt::Key_Eacute, Qt::NoModifier,
                           QString::fromUtf8("\xc3\xa9"));
        QApplication::sendEvent(field, &accented);
        EXPECT_EQ(field->text(), "z");
        // Pasted text is not filtered; only blanks make it count as empty.
        field->selectAll();
        field->insert("   ");
        EXPECT_EQ(field->text(), "   ");
        EXPECT_FALSE(ok->isEnabled());
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    // Name edits alone do not count as a change of the sub-query: no question on closing.
    EXPECT_TRUE(h.box->shown().empty());
}

TEST(SubQueryTest, OkHandsBackTheEditedQueryWhichTheTableListOffersByName) {
    ControlHarness h;
    const std::shared_ptr<cSQLQuery> before = h.query->SubQuery();
    h.changed = 0;
    defineRecent(h);
    EXPECT_TRUE(h.box->shown().empty()); // OK after edits asks nothing
    EXPECT_EQ(h.changed, 1);
    ASSERT_GT(h.tableEntries().size(), 1);
    EXPECT_EQ(h.tableEntries().value(0), "Sub query: Recent");
    EXPECT_EQ(h.tableEntries().value(1).left(4), "dbo.");

    const std::shared_ptr<cSQLQuery> sub = h.query->SubQuery();
    ASSERT_NE(sub, nullptr);
    EXPECT_NE(sub, before);
    EXPECT_EQ(sub->strName(), "Recent");
    // Marked as a sub-query: its document says so.
    EXPECT_NE(sub->ToXmlText(false).find("<SQLQuery issubquery=\"True\""), std::string::npos)
        << sub->ToXmlText(false);
    EXPECT_EQ(sub->strSQL(), kRecentSql);
    // The object the control held before is left as it was: still empty and unnamed.
    if (before) {
        EXPECT_EQ(before->SelectedItems()->Count(), 0);
        EXPECT_EQ(before->strName(), "");
    }
}

TEST(SubQueryTest, CancelAfterEditsAsksAndNoKeepsTheDialogWhileYesLeavesTheSubQueryAlone) {
    ControlHarness h;
    defineRecent(h);
    const std::shared_ptr<cSQLQuery> sub = h.query->SubQuery();
    ASSERT_NE(sub, nullptr);
    const std::string document = sub->ToXmlText(false);
    h.box->clear();
    h.changed = 0;

    ModalDriver driver([&](QDialog& dialog) {
        uscMarovin* editor = nestedEditor(dialog);
        ASSERT_NE(editor, nullptr);
        // The copy shows the sub-query as it was defined.
        EXPECT_EQ(editor->strSQL(), kRecentSql);
        EXPECT_EQ(nameField(dialog)->text(), "Recent");
        ChooseColumn(*editor, "Orders", "Freight");
        typeName(dialog, "Other");
        h.box->QueueAnswer(MessageAnswer::No);
        click(dialogButton(dialog, "cmdCancel"));
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(h.box->shown().size(), 1u);
        h.box->QueueAnswer(MessageAnswer::Yes);
        QTest::keyClick(nameField(dialog), Qt::Key_Escape);
        EXPECT_FALSE(dialog.isVisible());
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    ASSERT_EQ(h.box->shown().size(), 2u);
    for (const auto& shown : h.box->shown())
        EXPECT_EQ(BoxOf(shown), (Box{"Edit Sub-Query", kQuitText, MessageIcon::Exclamation,
                                     MessageButtons::YesNo}));
    // The caller's sub-query is the same object with the same content.
    EXPECT_EQ(h.query->SubQuery(), sub);
    EXPECT_EQ(sub->ToXmlText(false), document);
    EXPECT_EQ(h.tableEntries().value(0), "Sub query: Recent");
    // The click republishes the query even when nothing was taken.
    EXPECT_EQ(h.changed, 1);
}

TEST(SubQueryTest, OkAfterAnotherEditReplacesTheSubQueryAndLeavesTheOldObjectUntouched) {
    ControlHarness h;
    defineRecent(h);
    const std::shared_ptr<cSQLQuery> old = h.query->SubQuery();
    ASSERT_NE(old, nullptr);
    const std::string oldDocument = old->ToXmlText(false);
    h.box->clear();

    ModalDriver driver([](QDialog& dialog) {
        ChooseColumn(*nestedEditor(dialog), "Orders", "Freight");
        typeName(dialog, "Freights");
        click(dialogButton(dialog, "cmdOk"));
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    EXPECT_TRUE(h.box->shown().empty());
    const std::shared_ptr<cSQLQuery> edited = h.query->SubQuery();
    ASSERT_NE(edited, nullptr);
    EXPECT_NE(edited, old);
    EXPECT_EQ(edited->strName(), "Freights");
    EXPECT_EQ(edited->SelectedItems()->Count(), 3);
    EXPECT_EQ(old->ToXmlText(false), oldDocument);
    EXPECT_EQ(h.tableEntries().value(0), "Sub query: Freights");
    EXPECT_FALSE(h.tableEntries().contains("Sub query: Recent"));
}

TEST(SubQueryTest, TheSubQueryIsPlacedJoinedAndWrittenIndentedIntoFrom) {
    ControlHarness h;
    defineRecent(h);
    h.placeTable("Sub query: Recent");
    EXPECT_EQ(h.diagram()->tableColumns("Recent"), (QStringList{"OrderID", "CustomerID"}));
    h.placeTable("dbo.Customers");
    h.dragJoin("Recent", "CustomerID", "Customers", "CustomerID");
    h.chooseColumn("Recent", "OrderID");
    h.chooseColumn("Customers", "CompanyName");
    EXPECT_TRUE(h.box->shown().empty());

    const std::string indent(8, ' ');
    const std::string expected = "SELECT\r\n"
                                 "     Recent.OrderID AS OrderID, \r\n"
                                 "     Customers.CompanyName AS CompanyName\r\n"
                                 "FROM\r\n"
                                 "     (\r\n" +
                                 indent + "SELECT\r\n" + indent +
                                 "     Orders.OrderID AS OrderID, \r\n" + indent +
                                 "     Orders.CustomerID AS CustomerID\r\n" + indent + "FROM \r\n" +
                                 indent + "     dbo.Orders AS Orders\r\n" + indent +
                                 ") AS Recent \r\n"
                                 "     INNER JOIN dbo.Customers AS Customers\r\n"
                                 "     ON (Recent.CustomerID = Customers.CustomerID)\r\n";
    EXPECT_EQ(h.control().strSQL(), expected);
    EXPECT_EQ(h.query->strSQL(), expected);
    ASSERT_EQ(h.query->Tables()->Count(), 2);
    EXPECT_TRUE(h.query->Tables()->Item(1)->blnIsSubQuery());
    EXPECT_EQ(h.query->Tables()->Item(1)->SubQuery(), h.query->SubQuery());

    // The statement runs on the database: the syntax check says so, and the preview shows
    // the company of each order.
    h.box->clear();
    h.clickButton("cmdCheckSQLSyntax");
    EXPECT_EQ(ShownTexts(*h.box), QStringList{"Syntax SQL Query correct"});
    int previewRows = -1;
    QString firstCompany;
    EXPECT_EQ(RunDialog(
                  [&](QDialog& dialog) {
                      auto* grid = dialog.findChild<QTableView*>("jgQueryResults");
                      ASSERT_NE(grid, nullptr);
                      previewRows = grid->model()->rowCount();
                      firstCompany = grid->model()->index(0, 1).data().toString();
                  },
                  [&] { h.clickButton("cmdFireQuery"); }),
              QStringList{"marovin::frmViewQueryResults"});
    // As many rows as the same join written directly gives, up to the preview's limit.
    std::string error;
    const auto direct = h.db->FireQuery(
        "SELECT o.OrderID FROM Orders o JOIN Customers c ON o.CustomerID = c.CustomerID", error,
        50);
    ASSERT_TRUE(direct) << error;
    ASSERT_GT(direct->RecordCount(), 0);
    EXPECT_EQ(previewRows, direct->RecordCount());
    EXPECT_FALSE(firstCompany.isEmpty());
}

TEST(SubQueryTest, EditingAPlacedSubQueryChangesTheStatementThatUsesIt) {
    ControlHarness h;
    defineRecent(h);
    h.placeTable("Sub query: Recent");
    h.chooseColumn("Recent", "OrderID");
    ModalDriver driver([](QDialog& dialog) {
        ChooseColumn(*nestedEditor(dialog), "Orders", "Freight");
        click(dialogButton(dialog, "cmdOk"));
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(h.query->Tables()->Item(1)->SubQuery(), h.query->SubQuery());
    EXPECT_NE(h.control().strSQL().find("Orders.Freight AS Freight"), std::string::npos)
        << h.control().strSQL();
}

TEST(SubQueryTest, WithoutAQueryTheButtonOpensNothingButStillRepublishes) {
    PlatformServices services;
    auto box = std::make_shared<ScriptedMessageBox>();
    services.messageBox = box;
    services.settings = std::make_shared<MemorySettingsStore>();
    services.busyPointer = std::make_shared<CountingBusyPointer>();
    services.clipboard = std::make_shared<MemoryClipboard>();
    uscMarovin control(nullptr, services);
    control.resize(1000, 700);
    control.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&control));
    int changed = 0;
    QObject::connect(&control, &uscMarovin::Changed, [&] { ++changed; });
    auto* button = control.findChild<QPushButton*>("cmdSubQueries");
    EXPECT_TRUE(
        RunDialog([](QDialog&) {}, [&] { QTest::mouseClick(button, Qt::LeftButton); }).isEmpty());
    EXPECT_EQ(changed, 1);
    EXPECT_TRUE(box->shown().empty());
}

TEST(SubQueryTest, TabRunsFromTheNameThroughTheNestedEditorToTheButtons) {
    ControlHarness h;
    QStringList visited;
    ModalDriver driver([&](QDialog& dialog) {
        nameField(dialog)->setFocus();
        QApplication::processEvents();
        for (int i = 0; i < 3; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            visited << QApplication::focusWidget()->objectName();
        }
        // Backwards from OK lands on the nested editor's SQL view.
        dialogButton(dialog, "cmdOk")->setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
        visited << QApplication::focusWidget()->objectName();
        dialog.reject();
    });
    h.clickButton("cmdSubQueries");
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(visited.join(','), "txtTableFilter,lstTables,chkAlsoListViews,txtSQLQuery");
}
