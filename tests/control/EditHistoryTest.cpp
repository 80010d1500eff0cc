// The edit history: every edit is a step, undo puts the query back exactly as it was (the
// documents are compared) raising Changed once, redo goes forward again, and loading a query
// starts a new history.

#include "ControlHarness.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QGraphicsView>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>
#include <gtest/gtest.h>
#include <set>

using namespace marovin;
using namespace marovin::test;

namespace {

std::string document(ControlHarness& h) {
    return h.control().SQLQueryObject()->ToXmlText(false);
}

// A session touching every kind of edit, recording the document before each step.
std::vector<std::string> editEverything(ControlHarness& h) {
    std::vector<std::string> before;
    auto step = [&](const std::function<void()>& edit) {
        // A cell editor closed with Enter commits from the event queue.
        QApplication::processEvents();
        before.push_back(document(h));
        edit();
    };
    step([&] { h.placeTable("dbo.Orders"); });
    step([&] { h.placeTable("dbo.Customers"); });
    step([&] { h.dragJoin("Orders", "CustomerID", "Customers", "CustomerID"); });
    step([&] { h.diagram()->setJoinType(1, "Left Join"); });
    step([&] { h.chooseColumn("Customers", "CompanyName"); });
    step([&] { h.chooseColumn("Orders", "Freight"); });
    step([&] { h.typeAlias(2, "TotalFreight"); });
    step([&] { h.chooseInCell(2, 3, "SU"); });
    step([&] { h.chooseInCell(2, 6, "D"); }); // Descending
    step([&] {
        RunDialog(
            [](QDialog& dialog) {
                dialog.findChild<QPlainTextEdit*>("txtCondition")
                    ->setPlainText("Customers.Country = 'Germany'");
                PressButton("OKButton")(dialog);
            },
            [&] { h.clickButton("cmdAddCondition"); });
    });
    step([&] {
        QTest::mouseClick(h.checkBox("chkUniqueRecords"), Qt::LeftButton, {}, QPoint(5, 5));
    });
    step([&] {
        h.grid()->setFocus();
        h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
        QTest::keyClick(h.grid(), Qt::Key_Delete);
    });
    QApplication::processEvents();
    return before;
}

} // namespace

TEST(EditHistoryTest, EveryEditIsUndoneToTheExactDocumentAndRedoneAgain) {
    ControlHarness h;
    const std::vector<std::string> before = editEverything(h);
    const std::string after = document(h);
    ASSERT_NE(h.control().strSQL().find("ORDER BY"), std::string::npos);
    ASSERT_EQ(h.control().undoStack()->count(), static_cast<int>(before.size()));

    for (size_t i = before.size(); i-- > 0;) {
        h.changed = 0;
        h.control().Undo();
        EXPECT_EQ(h.changed, 1) << "step " << i;
        EXPECT_EQ(document(h), before[i]) << "step " << i;
    }
    EXPECT_FALSE(h.control().undoStack()->canUndo());
    EXPECT_EQ(h.rows(), 0);
    EXPECT_TRUE(h.diagram()->tableAliases().isEmpty());

    while (h.control().undoStack()->canRedo())
        h.control().Redo();
    EXPECT_EQ(document(h), after);
    EXPECT_EQ(h.diagram()->joinCount(), 1);
    EXPECT_EQ(h.diagram()->joins().at(0).type, JoinType::Left);
}

TEST(EditHistoryTest, KeysAndStepNamesAndANewQueryStartsANewHistory) {
    ControlHarness h;
    h.placeTable("dbo.Orders", {"Freight"});
    EXPECT_EQ(h.control().undoAction()->text(), "&Undo Select a Column");

    // Ctrl+Z and Ctrl+Shift+Z work wherever the focus is inside the control.
    h.sqlView()->setFocus();
    QTest::keyClick(h.sqlView(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(h.rows(), 0);
    h.tableList()->setFocus();
    QTest::keyClick(h.tableList(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(h.rows(), 1);

    // Moving a box is a step of its own that changes no query.
    const QRectF place = h.diagram()->tableSceneRect("Orders");
    QGraphicsView* view = h.diagram()->view();
    const QPoint title = h.diagram()->titlePoint("Orders");
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, title);
    QTest::mouseMove(view->viewport(), title + QPoint(30, 20));
    QTest::mouseMove(view->viewport(), title + QPoint(60, 40));
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, title + QPoint(60, 40));
    ASSERT_NE(h.diagram()->tableSceneRect("Orders"), place);
    h.changed = 0;
    h.control().Undo();
    EXPECT_EQ(h.diagram()->tableSceneRect("Orders"), place);
    EXPECT_EQ(h.changed, 0);
    EXPECT_EQ(h.rows(), 1);

    // Arranging the boxes is such a step too.
    h.control().Redo();
    const QString moved = h.diagram()->tableLayout();
    h.control().ArrangeTables();
    ASSERT_NE(h.diagram()->tableLayout(), moved);
    EXPECT_EQ(h.control().undoAction()->text(), "&Undo Arrange tables");
    h.control().Undo();
    EXPECT_EQ(h.diagram()->tableLayout(), moved);

    h.load(R"(<?xml version="1.0" encoding="UTF-8"?><SQLQuery issubquery="False"/>)");
    EXPECT_FALSE(h.control().undoStack()->canUndo());
    EXPECT_FALSE(h.control().undoAction()->isEnabled());
}

// Every query of the corpus, loaded on a database that has its tables, comes back unchanged
// after a session of edits is undone.
TEST(EditHistoryTest, UndoingASessionReturnsEveryCorpusDocument) {
    const QDir corpus(qEnvironmentVariable("MAROVIN_SOURCE_DIR", MAROVIN_SOURCE_DIR) +
                      "/tests/corpus");
    const QStringList files = corpus.entryList({"*.xml"}, QDir::Files, QDir::Name);
    ASSERT_GE(files.size(), 5);
    QTemporaryDir dir;
    for (const QString& file : files) {
        SCOPED_TRACE(file.toStdString());
        QFile in(corpus.filePath(file));
        ASSERT_TRUE(in.open(QIODevice::ReadOnly));
        const QString xml = QString::fromUtf8(in.readAll());

        // A database with every table the document names and every column it uses of it.
        std::map<QString, QString> aliasToTable;
        const QRegularExpression tableRule(
            R"(<TABLE issubquery="False"><NAME>(?:dbo\.)?([^<]+)</NAME><ALIAS>([^<]+)</ALIAS>)");
        for (auto match = tableRule.globalMatch(xml); match.hasNext();) {
            const auto m = match.next();
            aliasToTable[m.captured(2)] = m.captured(1);
        }
        std::map<QString, std::set<QString>> columns;
        const QRegularExpression columnRule(R"(\b(\w+)\.(\w+)\b)");
        for (auto match = columnRule.globalMatch(xml); match.hasNext();) {
            const auto m = match.next();
            if (aliasToTable.count(m.captured(1)) > 0)
                columns[aliasToTable[m.captured(1)]].insert(m.captured(2));
        }
        std::string statements;
        for (const auto& [alias, table] : aliasToTable) {
            std::string list = "Id integer";
            for (const QString& column : columns[table])
                list += ", \"" + column.toStdString() + "\" text";
            statements +=
                "CREATE TABLE IF NOT EXISTS \"" + table.toStdString() + "\" (" + list + ");";
        }
        statements += "CREATE TABLE Extra (Id integer, Name text);";
        const std::string path = dir.filePath(file + ".sqlite").toStdString();
        WriteSqliteFile(path, statements);

        ControlHarness h(nullptr, SqliteConnection(path));
        h.load(xml.toStdString());
        const std::string loaded = document(h);
        h.placeTable("dbo.Extra", {"Name"});
        QTest::mouseClick(h.checkBox("chkUniqueRecords"), Qt::LeftButton, {}, QPoint(5, 5));
        h.grid()->setFocus();
        h.grid()->setCurrentIndex(h.grid()->model()->index(0, 0));
        QTest::keyClick(h.grid(), Qt::Key_Delete);
        ASSERT_NE(document(h), loaded);
        while (h.control().undoStack()->canUndo())
            h.control().Undo();
        EXPECT_EQ(document(h), loaded);
    }
}
