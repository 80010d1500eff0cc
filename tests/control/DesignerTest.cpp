#include "ConnectionDialog.h"
#include "ControlHarness.h"
#include "DesignerWindow.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsView>
#include <QImage>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

QString exampleDocument() {
    return qEnvironmentVariable("MAROVIN_SOURCE_DIR") + "/examples/customers-freight.xml";
}

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A designer window on the sample database with scripted message boxes.
struct Designer {
    Designer() {
        PlatformServices services;
        services.messageBox = box;
        services.settings = std::make_shared<MemorySettingsStore>();
        services.busyPointer = std::make_shared<CountingBusyPointer>();
        window = std::make_unique<DesignerWindow>(services);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        window->setConnection(SampleConnection());
    }
    void chooseColumn(const QString& alias, const QString& column) {
        auto* diagram = window->control()->findChild<dvTablesAndJoins*>("dvTablesAndJoins");
        QTest::mouseDClick(diagram->view()->viewport(), Qt::LeftButton, {},
                           diagram->columnPoint(alias, column));
    }
    std::shared_ptr<ScriptedMessageBox> box = std::make_shared<ScriptedMessageBox>();
    std::unique_ptr<DesignerWindow> window;
};

} // namespace

TEST(DesignerTest, SavedDocumentsOpenAgainWithTheSameQuery) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    EXPECT_FALSE(d.window->blnModified());
    EXPECT_TRUE(d.window->windowTitle().startsWith("customers-freight.xml"));
    EXPECT_TRUE(d.box->shown().empty());

    d.chooseColumn("Orders", "ShipCity");
    EXPECT_TRUE(d.window->blnModified());
    const QString saved = dir.filePath("saved.xml");
    ASSERT_TRUE(d.window->SaveDocumentAs(saved));
    EXPECT_FALSE(d.window->blnModified());
    EXPECT_EQ(d.window->strFileName(), saved);
    const std::string sql = d.window->control()->strSQL();
    EXPECT_NE(sql.find("Orders.ShipCity AS ShipCity"), std::string::npos);
    EXPECT_EQ(readFile(saved).toStdString(), d.window->query()->ToXmlText(true));

    Designer second;
    ASSERT_TRUE(second.window->OpenDocument(saved));
    EXPECT_EQ(second.window->control()->strSQL(), sql);
    EXPECT_EQ(second.window->query()->ToXmlText(true), d.window->query()->ToXmlText(true));
}

TEST(DesignerTest, ABadDocumentLeavesTheCurrentQueryAndSaysWhy) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    const auto query = d.window->query();
    const std::string sql = d.window->control()->strSQL();

    const QString broken = dir.filePath("broken.xml");
    writeFile(broken, "<SQLQuery><TABLES_USED>");
    EXPECT_FALSE(d.window->OpenDocument(broken));
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].icon, MessageIcon::Critical);
    EXPECT_TRUE(d.box->shown()[0].strText.contains(broken));
    EXPECT_TRUE(d.box->shown()[0].strText.contains("not a query document"));

    const QString other = dir.filePath("other.xml");
    writeFile(other, "<?xml version=\"1.0\"?><Report/>");
    EXPECT_FALSE(d.window->OpenDocument(other));
    EXPECT_FALSE(d.window->OpenDocument(dir.filePath("missing.xml")));
    ASSERT_EQ(d.box->shown().size(), 3u);
    EXPECT_TRUE(d.box->shown()[2].strText.contains("cannot be read"));

    EXPECT_EQ(d.window->query(), query);
    EXPECT_EQ(d.window->control()->SQLQueryObject(), query);
    EXPECT_EQ(d.window->control()->strSQL(), sql);
    EXPECT_EQ(d.window->strFileName(), exampleDocument());
}

TEST(DesignerTest, UnsavedChangesAreNotDiscardedWithoutAsking) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    d.chooseColumn("Customers", "City");
    ASSERT_TRUE(d.window->blnModified());
    const auto query = d.window->query();

    d.box->QueueAnswer(MessageAnswer::Cancel);
    EXPECT_FALSE(d.window->NewDocument());
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].buttons, MessageButtons::YesNoCancel);
    EXPECT_EQ(d.box->shown()[0].strCaption, "Marovin Designer");
    EXPECT_EQ(d.window->query(), query);
    EXPECT_TRUE(d.window->blnModified());

    // Closing the window asks the same question; Cancel keeps it open.
    d.box->QueueAnswer(MessageAnswer::Cancel);
    EXPECT_FALSE(d.window->close());
    EXPECT_TRUE(d.window->isVisible());

    // Yes saves first (to the document's own file: use a copy).
    const QString copy = dir.filePath("copy.xml");
    ASSERT_TRUE(QFile::copy(exampleDocument(), copy));
    d.box->QueueAnswer(MessageAnswer::No);
    ASSERT_TRUE(d.window->OpenDocument(copy));
    d.chooseColumn("Customers", "City");
    d.box->QueueAnswer(MessageAnswer::Yes);
    EXPECT_TRUE(d.window->NewDocument());
    EXPECT_TRUE(readFile(copy).contains("<NAME>Customers.City</NAME>"));
    EXPECT_EQ(d.window->query()->Tables()->Count(), 0);
    EXPECT_TRUE(d.window->strFileName().isEmpty());
    EXPECT_FALSE(d.window->blnModified());

    // No discards.
    ASSERT_TRUE(d.window->OpenDocument(copy));
    d.chooseColumn("Orders", "ShipName");
    d.box->QueueAnswer(MessageAnswer::No);
    EXPECT_TRUE(d.window->NewDocument());
    EXPECT_FALSE(readFile(copy).contains("ShipName"));
}

TEST(DesignerTest, ScriptModesPrintTheSqlSaveTheDocumentAndRenderTheWindow) {
    QTemporaryDir dir;
    const QString saved = dir.filePath("out.xml");
    const QString png = dir.filePath("shot.png");
    QProcess designer;
    designer.start(MAROVIN_DESIGNER_EXE,
                   {"--sqlite", QString::fromStdString(SampleDatabasePath()), "--open",
                    exampleDocument(), "--print-sql", "--save-as", saved, "--screenshot", png});
    ASSERT_TRUE(designer.waitForFinished(60000));
    EXPECT_EQ(designer.exitCode(), 0) << designer.readAllStandardError().toStdString();
    const QByteArray sql = designer.readAllStandardOutput();

    QProcess render;
    render.start(MAROVIN_TOOL_EXE, {"render", saved});
    ASSERT_TRUE(render.waitForFinished(30000));
    ASSERT_EQ(render.exitCode(), 0);
    EXPECT_EQ(sql, render.readAllStandardOutput());
    EXPECT_TRUE(sql.contains("\r\nFROM\r\n"));

    QImage image(png);
    ASSERT_FALSE(image.isNull());
    EXPECT_GE(image.width(), 800);

    QProcess bad;
    const QString broken = dir.filePath("broken.xml");
    writeFile(broken, "not xml");
    bad.start(MAROVIN_DESIGNER_EXE, {"--sqlite", QString::fromStdString(SampleDatabasePath()),
                                     "--open", broken, "--print-sql"});
    ASSERT_TRUE(bad.waitForFinished(60000));
    EXPECT_EQ(bad.exitCode(), 1);
    EXPECT_TRUE(bad.readAllStandardOutput().isEmpty());
    EXPECT_TRUE(bad.readAllStandardError().contains("not a query document"));
}

TEST(DesignerTest, TheConnectionDialogRefusesAMissingFileAndBuildsTheConnection) {
    auto box = std::make_shared<ScriptedMessageBox>();
    ConnectionDialog dialog(box);
    dialog.show();
    ASSERT_TRUE(dialog.sqliteChoice()->isChecked());
    QTest::keyClicks(dialog.sqlitePathEdit(), "/nonexistent/northwind.sqlite");
    QPushButton* ok = dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    QTest::mouseClick(ok, Qt::LeftButton);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_TRUE(dialog.isVisible());
    ASSERT_EQ(box->shown().size(), 1u);
    EXPECT_TRUE(box->shown()[0].strText.contains("does not exist"));

    dialog.sqlitePathEdit()->clear();
    QTest::keyClicks(dialog.sqlitePathEdit(), QString::fromStdString(SampleDatabasePath()));
    EXPECT_TRUE(dialog.strProblem().isEmpty());
    QTest::mouseClick(ok, Qt::LeftButton);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    const auto db = dialog.connection();
    EXPECT_EQ(db->strProvider(), cDbConnection::kProviderSqlite);
    EXPECT_EQ(db->strDatabase(), SampleDatabasePath());
    EXPECT_NE(db->GetListOfTables().find("dbo.Orders"), std::string::npos);

    // The dialog shows an existing server connection as it is.
    cDbConnection server;
    server.setStrServer("sql01,1433");
    server.setStrDatabase("Sales");
    server.setStrUserName("reader");
    server.setStrPassword("secret");
    ConnectionDialog again(box);
    again.setConnection(&server);
    EXPECT_TRUE(again.serverChoice()->isChecked());
    const auto copy = again.connection();
    EXPECT_EQ(copy->strProvider(), cDbConnection::kProviderSqlServer);
    EXPECT_EQ(copy->strServer(), "sql01,1433");
    EXPECT_EQ(copy->strDatabase(), "Sales");
    EXPECT_EQ(copy->strUserName(), "reader");
    EXPECT_EQ(copy->strPassword(), "secret");
}

TEST(DesignerTest, AnotherDatabaseReloadsTheQueryAndReportsWhatItLacks) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    auto empty = std::make_shared<cDbConnection>();
    empty->setStrProvider(cDbConnection::kProviderSqlite);
    empty->setStrDatabase(dir.filePath("none.sqlite").toStdString());
    const std::string original = d.window->query()->ToXmlText(false);
    d.window->setConnection(empty);
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].strCaption, "SQL Server connection");
    EXPECT_TRUE(d.box->shown()[0].strDetails.contains("dbo.Orders"));
    EXPECT_TRUE(d.box->shown()[0].strDetails.contains("dbo.Customers"));
    EXPECT_EQ(d.window->control()->DatabaseObject(), empty);
    EXPECT_EQ(d.window->query()->Tables()->Count(), 0);
    // What the editor shows is no longer what the file holds.
    EXPECT_TRUE(d.window->blnModified());

    // Back on a database that has the tables, the query is as it was, and so is its mark.
    d.window->setConnection(SampleConnection());
    EXPECT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.window->query()->ToXmlText(false), original);
    EXPECT_EQ(d.window->query()->Tables()->Count(), 2);
    EXPECT_FALSE(d.window->blnModified());
}

TEST(DesignerTest, AConnectionThatCannotBeOpenedChangesNothing) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    d.chooseColumn("Customers", "City");
    const auto connection = d.window->connection();
    const auto query = d.window->query();
    const std::string sql = d.window->control()->strSQL();

    // A file that is not a database, and one that does not exist.
    const QString notADatabase = dir.filePath("notes.sqlite");
    writeFile(notADatabase, QByteArray("just some text, not a database\n").repeated(40));
    for (const QString& file : {notADatabase, dir.filePath("missing.sqlite")}) {
        d.box->clear();
        EXPECT_FALSE(d.window->ConnectTo(SqliteConnection(file.toStdString())));
        ASSERT_EQ(d.box->shown().size(), 1u) << file.toStdString();
        const auto& shown = d.box->shown()[0];
        EXPECT_EQ(shown.icon, MessageIcon::Critical);
        EXPECT_TRUE(shown.strText.startsWith("Cannot connect to " + file + ": "))
            << shown.strText.toStdString();
        EXPECT_TRUE(shown.strText.endsWith("The designer stays on the current database."));
        // The reason is the database's own, not the missing-tables message of the editor.
        EXPECT_FALSE(shown.strText.contains("not in database"));
        EXPECT_EQ(d.window->connection(), connection);
        EXPECT_EQ(d.window->control()->DatabaseObject(), connection);
        EXPECT_EQ(d.window->query(), query);
        EXPECT_EQ(d.window->control()->strSQL(), sql);
        EXPECT_TRUE(d.window->blnModified());
    }
}

TEST(DesignerTest, ConnectingElsewhereAsksAboutUnsavedChangesFirst) {
    QTemporaryDir dir;
    const QString copy = dir.filePath("copy.xml");
    ASSERT_TRUE(QFile::copy(exampleDocument(), copy));
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(copy));
    const auto connection = d.window->connection();
    const auto other = SqliteConnection(SampleDatabasePath());

    // Without changes nobody is asked.
    EXPECT_TRUE(d.window->ConnectTo(other));
    EXPECT_TRUE(d.box->shown().empty());
    EXPECT_EQ(d.window->connection(), other);

    d.chooseColumn("Customers", "City");
    const std::string sql = d.window->control()->strSQL();
    d.box->QueueAnswer(MessageAnswer::Cancel);
    EXPECT_FALSE(d.window->ConnectTo(connection));
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].buttons, MessageButtons::YesNoCancel);
    EXPECT_EQ(d.window->connection(), other);
    EXPECT_EQ(d.window->control()->strSQL(), sql);
    EXPECT_TRUE(d.window->blnModified());

    // Yes saves, then the query moves to the other database as it is.
    d.box->QueueAnswer(MessageAnswer::Yes);
    EXPECT_TRUE(d.window->ConnectTo(connection));
    EXPECT_EQ(d.window->connection(), connection);
    EXPECT_TRUE(readFile(copy).contains("<NAME>Customers.City</NAME>"));
    EXPECT_FALSE(d.window->blnModified());
    EXPECT_EQ(d.window->control()->strSQL(), sql);
}

TEST(DesignerTest, ADocumentThatLosesTablesOnOpeningIsMarkedModified) {
    QTemporaryDir dir;
    const QString lossy = dir.filePath("lossy.xml");
    QByteArray text = readFile(exampleDocument());
    ASSERT_TRUE(text.contains("dbo.Customers"));
    text.replace("dbo.Customers", "dbo.Clients");
    writeFile(lossy, text);

    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(lossy));
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].strDetails, "Tables left out:\ndbo.Clients");
    EXPECT_FALSE(d.box->shown()[0].strText.contains("on server ."));
    EXPECT_EQ(d.window->query()->Tables()->Count(), 1);
    EXPECT_TRUE(d.window->blnModified());
    EXPECT_EQ(d.window->strFileName(), lossy);

    // Opening another document asks before the reduced query is dropped.
    d.box->QueueAnswer(MessageAnswer::Cancel);
    EXPECT_FALSE(d.window->NewDocument());
    EXPECT_EQ(d.box->shown().size(), 2u);
    EXPECT_EQ(readFile(lossy), text);
}

TEST(DesignerTest, TheConditionListKeepsCtrlQAndQuitHasItsOwnKeys) {
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    auto* conditions = d.window->control()->findChild<QTreeWidget*>("lvConditions");
    ASSERT_TRUE(conditions);
    conditions->setFocus();
    conditions->setCurrentItem(conditions->topLevelItem(0));
    QTest::keyClick(conditions, Qt::Key_Q, Qt::ControlModifier);
    QApplication::processEvents();
    EXPECT_TRUE(d.window->isVisible());

    // The menus' keys are all different, and none is Ctrl+Q, the key of the conditions list.
    QSet<QKeySequence> menuKeys;
    for (QAction* action : d.window->findChildren<QAction*>())
        for (const QKeySequence& key : action->shortcuts()) {
            EXPECT_FALSE(menuKeys.contains(key)) << key.toString().toStdString();
            menuKeys.insert(key);
        }
    EXPECT_FALSE(menuKeys.contains(QKeySequence(Qt::CTRL | Qt::Key_Q)));

    // Ctrl+Shift+Q closes the window (nothing is unsaved).
    d.window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(d.window.get()));
    QTest::keyClick(d.window.get(), Qt::Key_Q, Qt::ControlModifier | Qt::ShiftModifier);
    QApplication::processEvents();
    EXPECT_FALSE(d.window->isVisible());
    EXPECT_TRUE(d.box->shown().empty());
}

TEST(DesignerTest, SaveAsAddsTheDocumentSuffixToANameTypedWithoutOne) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    d.chooseColumn("Customers", "City");
    const QString typed = dir.filePath("freight by city");
    d.window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(d.window.get()));
    bool dialogSeen = false;
    QStringList unexpected;
    // Fills in the dialog once it is up; anything else that comes up is noted and closed, so a
    // failure cannot hang the test.
    QTimer driver;
    int ticks = 0;
    QObject::connect(&driver, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal) {
            if (++ticks > 200)
                driver.stop();
            return;
        }
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        if (!dialog || dialogSeen) {
            unexpected << modal->objectName() + ": " + modal->property("text").toString();
            if (auto* other = qobject_cast<QDialog*>(modal))
                other->reject();
            return;
        }
        dialogSeen = dialog->objectName() == "saveAsDialog";
        auto* name = dialog->findChild<QLineEdit*>("fileNameEdit");
        if (!dialogSeen || !name) {
            dialog->reject();
            return;
        }
        dialog->setDirectory(dir.path());
        name->setFocus();
        name->clear();
        QTest::keyClicks(name, QFileInfo(typed).fileName());
        // Return from a timer of its own: whatever Return opens must find this one free.
        QTimer::singleShot(0, name, [name] { QTest::keyClick(name, Qt::Key_Return); });
    });
    driver.start(20);
    QTest::keyClick(d.window.get(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    driver.stop();
    ASSERT_TRUE(dialogSeen);
    EXPECT_TRUE(unexpected.isEmpty()) << unexpected.join('\n').toStdString();
    EXPECT_EQ(d.window->strFileName(), typed + ".xml");
    EXPECT_TRUE(QFile::exists(typed + ".xml"));
    EXPECT_FALSE(QFile::exists(typed));
    EXPECT_FALSE(d.window->blnModified());
    EXPECT_TRUE(d.window->windowTitle().startsWith("freight by city.xml"));
}
