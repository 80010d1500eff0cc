#include "ConnectionDialog.h"
#include "ControlHarness.h"
#include "DesignerWindow.h"
#include "ParametersDialog.h"
#include "marovin/platform/SqlHighlighter.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSet>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

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
    explicit Designer(
        std::shared_ptr<MemorySettingsStore> store = std::make_shared<MemorySettingsStore>())
        : settings(std::move(store)) {
        PlatformServices services;
        services.messageBox = box;
        services.settings = settings;
        services.busyPointer = std::make_shared<CountingBusyPointer>();
        services.clipboard = clipboard;
        window = std::make_unique<DesignerWindow>(services);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        window->setConnection(SampleConnection());
    }
    void chooseColumn(const QString& alias, const QString& column) {
        ChooseColumn(*window->control(), alias, column);
    }
    // Makes the window the active one, so that its keys reach it.
    void activate() {
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }
    std::shared_ptr<MemorySettingsStore> settings;
    std::shared_ptr<ScriptedMessageBox> box = std::make_shared<ScriptedMessageBox>();
    std::shared_ptr<MemoryClipboard> clipboard = std::make_shared<MemoryClipboard>();
    std::unique_ptr<DesignerWindow> window;
};

// What a run of one of the programs left: its exit code and its output.
struct Outcome {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};
Outcome run(const QStringList& arguments, const QString& program = MAROVIN_DESIGNER_EXE) {
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(60000)) << arguments.join(' ').toStdString();
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}
// The designer's arguments for the sample database.
QStringList onSample(const QStringList& more) {
    return QStringList{"--sqlite", QString::fromStdString(SampleDatabasePath())} + more;
}

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

    // Edit > Undo takes the edit back; back at the saved state the mark goes.
    d.chooseColumn("Orders", "OrderDate");
    EXPECT_TRUE(d.window->blnModified());
    auto* editMenu = d.window->findChild<QMenu*>("menuEdit");
    ASSERT_NE(editMenu, nullptr);
    ASSERT_FALSE(editMenu->actions().isEmpty());
    editMenu->actions().first()->trigger();
    EXPECT_FALSE(d.window->blnModified());
    editMenu->actions().first()->trigger();
    EXPECT_TRUE(d.window->blnModified());
    editMenu->actions().at(1)->trigger();
    EXPECT_FALSE(d.window->blnModified());

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
    const Outcome designer = run(onSample(
        {"--open", exampleDocument(), "--print-sql", "--save-as", saved, "--screenshot", png}));
    EXPECT_EQ(designer.exitCode, 0) << designer.err.toStdString();
    const QByteArray sql = designer.out;

    const Outcome render = run({"render", saved}, MAROVIN_TOOL_EXE);
    ASSERT_EQ(render.exitCode, 0);
    EXPECT_EQ(sql, render.out);
    EXPECT_TRUE(sql.contains("\r\nFROM\r\n"));

    QImage image(png);
    ASSERT_FALSE(image.isNull());
    EXPECT_GE(image.width(), 800);

    const QString broken = dir.filePath("broken.xml");
    writeFile(broken, "not xml");
    const Outcome bad = run(onSample({"--open", broken, "--print-sql"}));
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_TRUE(bad.out.isEmpty());
    EXPECT_TRUE(bad.err.contains("not a query document"));
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
    EXPECT_EQ((std::vector<std::string>{copy->strProvider(), copy->strServer(), copy->strDatabase(),
                                        copy->strUserName(), copy->strPassword()}),
              (std::vector<std::string>{cDbConnection::kProviderSqlServer, "sql01,1433", "Sales",
                                        "reader", "secret"}));
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
    d.activate();
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
    d.activate();
    bool dialogSeen = false;
    // Fills in the dialog once it is up; anything else that comes up is noted and closed, so a
    // failure cannot hang the test.
    const QStringList dialogs = RunDialog(
        [&](QDialog& dialog) {
            auto* name = dialog.findChild<QLineEdit*>("fileNameEdit");
            dialogSeen = dialog.objectName() == "saveAsDialog" && name;
            if (!dialogSeen)
                return;
            qobject_cast<QFileDialog*>(&dialog)->setDirectory(dir.path());
            name->setFocus();
            name->clear();
            QTest::keyClicks(name, QFileInfo(typed).fileName());
            // Return from a timer of its own: whatever Return opens must find this one free.
            QTimer::singleShot(0, name, [name] { QTest::keyClick(name, Qt::Key_Return); });
        },
        [&] {
            QTest::keyClick(d.window.get(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        });
    ASSERT_TRUE(dialogSeen);
    EXPECT_EQ(dialogs, QStringList{"QFileDialog"});
    EXPECT_EQ(d.window->strFileName(), typed + ".xml");
    EXPECT_TRUE(QFile::exists(typed + ".xml"));
    EXPECT_FALSE(QFile::exists(typed));
    EXPECT_FALSE(d.window->blnModified());
    EXPECT_TRUE(d.window->windowTitle().startsWith("freight by city.xml"));
}

namespace {

QStringList listedNames(const ParametersDialog& dialog) {
    QStringList names;
    for (int row = 0; row < dialog.list()->count(); ++row)
        names << dialog.list()->item(row)->text();
    return names;
}

QWidget* focused() {
    return QApplication::focusWidget();
}

// The editor the list opened on an item, once it has the focus.
QLineEdit* listEditor(const ParametersDialog& dialog) {
    auto* editor = qobject_cast<QLineEdit*>(focused());
    return editor && dialog.list()->isAncestorOf(editor) ? editor : nullptr;
}

QPoint itemCentre(QListWidget* list, int row) {
    return list->visualItemRect(list->item(row)).center();
}

const QStringList kParametersDialog{"marovin::ParametersDialog"};

// A dialog action for the parameters dialog.
std::function<void(QDialog&)> onParameters(std::function<void(ParametersDialog&)> action) {
    return [action](QDialog& dialog) {
        auto* p = qobject_cast<ParametersDialog*>(&dialog);
        ASSERT_TRUE(p);
        action(*p);
    };
}

} // namespace

TEST(DesignerTest, TheParameterListIsEditedWithTheKeyboardAlone) {
    Designer d;
    d.activate();
    ModalDriver driver(onParameters([&](ParametersDialog& dialog) {
        ParametersDialog* p = &dialog;
        // The dialog opens with the focus in the name box; Return adds what it holds.
        ASSERT_EQ(focused(), p->nameEdit());
        for (const char* name : {"Country", "Year", "FromDate"}) {
            QTest::keyClicks(focused(), name);
            QTest::keyClick(focused(), Qt::Key_Return);
        }
        const QStringList afterAdding = listedNames(*p);
        EXPECT_EQ(afterAdding, QStringList({"Country", "Year", "FromDate"}));
        EXPECT_TRUE(p->nameEdit()->text().isEmpty());
        EXPECT_EQ(focused(), p->nameEdit());

        // The same name again, markers, a comma, blanks: each refused with its reason, and the
        // typed text stays selected so the next keys replace it.
        for (const char* name : {"Country", "a<[b", "b]>", "From,To", "   "}) {
            QTest::keyClicks(focused(), name);
            QTest::keyClick(focused(), Qt::Key_Return);
            EXPECT_EQ(p->nameEdit()->selectedText(), QString::fromLatin1(name));
        }
        EXPECT_EQ(listedNames(*p), afterAdding);
        // Names are compared exactly: another case is another parameter.
        QTest::keyClicks(focused(), "country");
        QTest::keyClick(focused(), Qt::Key_Return);
        EXPECT_EQ(listedNames(*p).size(), 4);

        // Alt+P goes to the list, where the name added last is selected; Delete removes it.
        QTest::keyClick(focused(), Qt::Key_P, Qt::AltModifier);
        ASSERT_EQ(focused(), p->list());
        QTest::keyClick(focused(), Qt::Key_Delete);
        EXPECT_EQ(listedNames(*p), afterAdding);

        // Alt+U twice moves the selected name to the top, Alt+D one down again. A button's
        // mnemonic clicks it after a short press, so each step waits for its click.
        QTest::keyClick(focused(), Qt::Key_U, Qt::AltModifier);
        EXPECT_TRUE(QTest::qWaitFor([&] { return p->list()->currentRow() == 1; }));
        QTest::keyClick(focused(), Qt::Key_U, Qt::AltModifier);
        EXPECT_TRUE(QTest::qWaitFor([&] { return p->list()->currentRow() == 0; }));
        EXPECT_FALSE(p->upButton()->isEnabled());
        QTest::keyClick(focused(), Qt::Key_D, Qt::AltModifier);
        EXPECT_TRUE(QTest::qWaitFor([&] { return p->list()->currentRow() == 1; }));
        EXPECT_EQ(listedNames(*p), QStringList({"Country", "FromDate", "Year"}));

        // F2 renames the selected name in place; Return keeps the new name.
        QTest::keyClick(focused(), Qt::Key_P, Qt::AltModifier);
        QTest::keyClick(focused(), Qt::Key_Down);
        QTest::keyClick(focused(), Qt::Key_F2);
        ASSERT_TRUE(listEditor(*p));
        QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(focused(), "Region");
        QTest::keyClick(focused(), Qt::Key_Return);
        // The list takes the edited name once the editor has closed.
        EXPECT_TRUE(QTest::qWaitFor([&] { return listEditor(*p) == nullptr; }));
        const QStringList afterRenaming = listedNames(*p);
        EXPECT_EQ(afterRenaming, QStringList({"Country", "FromDate", "Region"}));
        EXPECT_TRUE(p->isVisible());

        // A name that is taken is refused: the item keeps its name, the message says why, and
        // the name is offered for editing again; Escape leaves the editor, not the dialog.
        const size_t messages = d.box->shown().size();
        QTest::keyClick(focused(), Qt::Key_F2);
        ASSERT_TRUE(listEditor(*p));
        QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(focused(), "Country");
        QTest::keyClick(focused(), Qt::Key_Return);
        EXPECT_TRUE(QTest::qWaitFor([&] { return d.box->shown().size() > messages; }));
        EXPECT_EQ(listedNames(*p), afterRenaming);
        EXPECT_TRUE(QTest::qWaitFor([&] { return listEditor(*p) != nullptr; }));
        if (QLineEdit* editor = listEditor(*p)) {
            EXPECT_EQ(editor->text(), "Region");
            QTest::keyClick(editor, Qt::Key_Escape);
        }
        EXPECT_TRUE(p->isVisible());
        EXPECT_EQ(focused(), p->list());

        // Delete removes the selected name.
        QTest::keyClick(focused(), Qt::Key_Delete);
        EXPECT_EQ(listedNames(*p), QStringList({"Country", "FromDate"}));

        // Return in the empty name box closes the dialog like OK.
        QTest::keyClick(focused(), Qt::Key_N, Qt::AltModifier);
        ASSERT_EQ(focused(), p->nameEdit());
        QTest::keyClick(focused(), Qt::Key_Return);
    }));
    // The menu is reached with its mnemonic and the command with its own.
    QTest::keyClick(d.window.get(), Qt::Key_U, Qt::AltModifier);
    QWidget* menu = QApplication::activePopupWidget();
    ASSERT_TRUE(menu);
    EXPECT_EQ(menu->objectName(), "menuQuery");
    QTest::keyClick(menu, Qt::Key_P);
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(driver.dialogClass(), "marovin::ParametersDialog");
    EXPECT_EQ(ShownTexts(*d.box),
              QStringList({"There is a parameter named Country already.",
                           "The parameter name a<[b contains \"<[\" or \"]>\": these mark where "
                           "a parameter's name begins and ends in a condition or calculated item.",
                           "The parameter name b]> contains \"<[\" or \"]>\": these mark where "
                           "a parameter's name begins and ends in a condition or calculated item.",
                           "The parameter name From,To contains a comma: commas separate the "
                           "names in the designer's settings and on its command line.",
                           "A parameter name cannot be blank.",
                           "There is a parameter named Country already."}));
    for (const auto& shown : d.box->shown()) {
        EXPECT_EQ(shown.strCaption, "Query Parameters");
        EXPECT_EQ(shown.icon, MessageIcon::Exclamation);
    }
    EXPECT_EQ(d.window->parameters(), QStringList({"Country", "FromDate"}));
    EXPECT_EQ(d.settings->GetSetting("Designer", "Parameters", "(none)"), "Country,FromDate");
    // The parameters are the designer's, not the query's: the document is not changed.
    EXPECT_FALSE(d.window->blnModified());
}

TEST(DesignerTest, TheParameterListIsEditedWithTheMouse) {
    Designer d;
    d.activate();
    ModalDriver driver(onParameters([&](ParametersDialog& dialog) {
        ParametersDialog* p = &dialog;
        EXPECT_FALSE(p->removeButton()->isEnabled());
        EXPECT_FALSE(p->renameButton()->isEnabled());
        for (const char* name : {"Country", "Year", "FromDate"}) {
            QTest::mouseClick(p->nameEdit(), Qt::LeftButton);
            QTest::keyClicks(p->nameEdit(), name);
            QTest::mouseClick(p->addButton(), Qt::LeftButton);
        }
        EXPECT_EQ(listedNames(*p), QStringList({"Country", "Year", "FromDate"}));
        // Add with nothing but blanks, or with a name that is taken, refuses it.
        for (const char* name : {"  ", "Year"}) {
            p->nameEdit()->clear();
            QTest::keyClicks(p->nameEdit(), name);
            QTest::mouseClick(p->addButton(), Qt::LeftButton);
        }
        EXPECT_EQ(ShownTexts(*d.box), QStringList({"A parameter name cannot be blank.",
                                                   "There is a parameter named Year already."}));

        // Click the first name, move it down twice.
        QTest::mouseClick(p->list()->viewport(), Qt::LeftButton, {}, itemCentre(p->list(), 0));
        EXPECT_TRUE(p->upButton()->isVisible());
        EXPECT_FALSE(p->upButton()->isEnabled());
        QTest::mouseClick(p->downButton(), Qt::LeftButton);
        QTest::mouseClick(p->downButton(), Qt::LeftButton);
        EXPECT_FALSE(p->downButton()->isEnabled());
        QTest::mouseClick(p->upButton(), Qt::LeftButton);
        // Country went down to the bottom and one up again.
        EXPECT_EQ(listedNames(*p), QStringList({"Year", "Country", "FromDate"}));

        // A double-click renames in place.
        // A double-click as the mouse makes it: a click, then the second press.
        QTest::mouseClick(p->list()->viewport(), Qt::LeftButton, {}, itemCentre(p->list(), 0));
        QTest::mouseDClick(p->list()->viewport(), Qt::LeftButton, {}, itemCentre(p->list(), 0));
        QLineEdit* editor = listEditor(*p);
        ASSERT_TRUE(editor);
        editor->selectAll();
        QTest::keyClicks(editor, "Region");
        // Clicking elsewhere in the dialog ends the editing and keeps the name.
        QTest::mouseClick(p->nameEdit(), Qt::LeftButton);
        EXPECT_TRUE(QTest::qWaitFor([&] { return listEditor(*p) == nullptr; }));
        EXPECT_EQ(listedNames(*p), QStringList({"Region", "Country", "FromDate"}));

        // Remove takes the selected name out.
        QTest::mouseClick(p->list()->viewport(), Qt::LeftButton, {}, itemCentre(p->list(), 1));
        QTest::mouseClick(p->removeButton(), Qt::LeftButton);
        EXPECT_EQ(listedNames(*p), QStringList({"Region", "FromDate"}));
        // Without a selection the list's buttons are off.
        p->list()->clearSelection();
        EXPECT_FALSE(p->renameButton()->isEnabled() || p->removeButton()->isEnabled() ||
                     p->upButton()->isEnabled() || p->downButton()->isEnabled());
        QTest::mouseClick(p->okButton(), Qt::LeftButton);
    }));
    // Open the Query menu and choose Parameters with the mouse.
    auto* menu = d.window->findChild<QMenu*>("menuQuery");
    ASSERT_TRUE(menu);
    QMenuBar* bar = d.window->menuBar();
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(menu->menuAction()).center());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(menu));
    auto* action = d.window->findChild<QAction*>("actionParameters");
    ASSERT_TRUE(action);
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(d.window->parameters(), QStringList({"Region", "FromDate"}));
    EXPECT_EQ(d.settings->GetSetting("Designer", "Parameters", "(none)"), "Region,FromDate");
}

TEST(DesignerTest, TheParameterListIsSavedAndCancelOrASessionListLeaveTheSavedOne) {
    auto store = std::make_shared<MemorySettingsStore>();
    {
        Designer first(store);
        EXPECT_TRUE(first.window->parameters().isEmpty());
        EXPECT_EQ(RunDialog(onParameters([](ParametersDialog& p) {
                                EXPECT_TRUE(listedNames(p).isEmpty());
                                for (const char* name : {"Country", "Year"}) {
                                    QTest::keyClicks(p.nameEdit(), name);
                                    QTest::keyClick(p.nameEdit(), Qt::Key_Return);
                                }
                                QTest::mouseClick(p.okButton(), Qt::LeftButton);
                            }),
                            [&] { EXPECT_TRUE(first.window->EditParameters()); }),
                  kParametersDialog);
    }
    EXPECT_EQ(store->GetSetting("Designer", "Parameters", "(none)"), "Country,Year");

    // A second designer with the same settings starts with the list, and shows it for editing.
    Designer second(store);
    EXPECT_EQ(second.window->parameters(), QStringList({"Country", "Year"}));
    // Escape cancels: an added name is dropped, nothing is saved.
    EXPECT_EQ(RunDialog(onParameters([](ParametersDialog& p) {
                            EXPECT_EQ(listedNames(p), QStringList({"Country", "Year"}));
                            QTest::keyClicks(p.nameEdit(), "Region");
                            QTest::keyClick(p.nameEdit(), Qt::Key_Return);
                            QTest::keyClick(p.nameEdit(), Qt::Key_Escape);
                        }),
                        [&] { EXPECT_FALSE(second.window->EditParameters()); }),
              kParametersDialog);
    EXPECT_EQ(second.window->parameters(), QStringList({"Country", "Year"}));
    EXPECT_EQ(store->GetSetting("Designer", "Parameters", "(none)"), "Country,Year");

    // A list for this session only (as --parameters gives it) is not saved, nor when the user
    // confirms it unchanged; once the user changes it, the changed list is saved.
    second.window->setParameters({"Session"});
    EXPECT_EQ(RunDialog(onParameters([](ParametersDialog& p) {
                            EXPECT_EQ(listedNames(p), QStringList({"Session"}));
                            QTest::mouseClick(p.okButton(), Qt::LeftButton);
                        }),
                        [&] { EXPECT_FALSE(second.window->EditParameters()); }),
              kParametersDialog);
    EXPECT_EQ(second.window->parameters(), QStringList({"Session"}));
    EXPECT_EQ(store->GetSetting("Designer", "Parameters", "(none)"), "Country,Year");
    // Removing every name saves an empty list: no parameters from now on.
    EXPECT_EQ(RunDialog(onParameters([](ParametersDialog& p) {
                            p.list()->setFocus();
                            QTest::keyClick(p.list(), Qt::Key_Delete);
                            QTest::mouseClick(p.okButton(), Qt::LeftButton);
                        }),
                        [&] { EXPECT_TRUE(second.window->EditParameters()); }),
              kParametersDialog);
    EXPECT_TRUE(second.window->parameters().isEmpty());
    EXPECT_TRUE(store->Contains("Designer", "Parameters"));
    EXPECT_EQ(store->GetSetting("Designer", "Parameters", "(none)"), "");
    Designer third(store);
    EXPECT_TRUE(third.window->parameters().isEmpty());

    // Names in the settings that cannot be used (written by hand) are left out on loading.
    store->SaveSetting("Designer", "Parameters", " Country ,<[Bad]>,Country,,Year,Odd]>");
    Designer fourth(store);
    EXPECT_EQ(fourth.window->parameters(), QStringList({"Country", "Year"}));
    EXPECT_TRUE(fourth.box->shown().empty());
}

namespace {

// Opens the condition builder with the Add button of the conditions and notes what its value
// field offers: the items of the drop-down of markers, or nothing when the value is free text.
struct ValueField {
    bool blnFreeText = false;
    QStringList markers;
};
ValueField conditionBuilderValueField(Designer& d) {
    ValueField field;
    auto* add = d.window->control()->findChild<QPushButton*>("cmdAddCondition");
    EXPECT_EQ(RunDialog(
                  [&field](QDialog& dialog) {
                      auto* text = dialog.findChild<QLineEdit*>("txtValue");
                      auto* list = dialog.findChild<QComboBox*>("cboValue");
                      if (!text || !list)
                          return;
                      field.blnFreeText = text->isVisible() && !list->isVisible();
                      if (list->isVisible())
                          for (int i = 0; i < list->count(); ++i)
                              field.markers << list->itemText(i);
                  },
                  [&] { QTest::mouseClick(add, Qt::LeftButton); }),
              QStringList{"marovin::frmConditionBuilder"});
    return field;
}

// Replaces the designer's parameter names through the dialog.
void editParameters(Designer& d, const QStringList& names) {
    EXPECT_EQ(RunDialog(onParameters([&names](ParametersDialog& p) {
                            p.list()->setFocus();
                            while (p.list()->count() > 0)
                                QTest::keyClick(p.list(), Qt::Key_Delete);
                            for (const QString& name : names) {
                                QTest::keyClicks(p.nameEdit(), name);
                                QTest::keyClick(p.nameEdit(), Qt::Key_Return);
                            }
                            QTest::mouseClick(p.okButton(), Qt::LeftButton);
                        }),
                        [&] { d.window->EditParameters(); }),
              kParametersDialog);
}

} // namespace

TEST(DesignerTest, TheParameterListDecidesWhatCtrlQAndTheConditionBuilderDo) {
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    auto* conditions = d.window->control()->findChild<QTreeWidget*>("lvConditions");
    ASSERT_TRUE(conditions);
    ASSERT_EQ(conditions->topLevelItem(0)->checkState(0), Qt::Checked);
    auto pressCtrlQOnTheFirstCondition = [&] {
        conditions->setFocus();
        conditions->setCurrentItem(conditions->topLevelItem(0));
        QTest::keyClick(conditions, Qt::Key_Q, Qt::ControlModifier);
    };

    // Without parameters Ctrl+Q switches nothing and the value is free text.
    pressCtrlQOnTheFirstCondition();
    EXPECT_EQ(conditions->topLevelItem(0)->checkState(0), Qt::Checked);
    EXPECT_FALSE(d.window->blnModified());
    const ValueField before = conditionBuilderValueField(d);
    EXPECT_TRUE(before.blnFreeText);
    EXPECT_TRUE(before.markers.isEmpty());

    editParameters(d, {"Country", "Year"});
    EXPECT_FALSE(d.window->blnModified());
    pressCtrlQOnTheFirstCondition();
    EXPECT_EQ(conditions->topLevelItem(0)->checkState(0), Qt::Unchecked);
    EXPECT_FALSE(d.window->query()->Filters()->Item(1)->blnIsActive());
    EXPECT_EQ(d.window->control()->strSQL().find("'Germany'"), std::string::npos);
    EXPECT_TRUE(d.window->blnModified());
    const ValueField with = conditionBuilderValueField(d);
    EXPECT_FALSE(with.blnFreeText);
    EXPECT_EQ(with.markers, QStringList({"<[Country]>", "<[Year]>"}));

    // An empty list is no parameters at all again.
    editParameters(d, {});
    EXPECT_TRUE(d.window->parameters().isEmpty());
    pressCtrlQOnTheFirstCondition();
    EXPECT_EQ(conditions->topLevelItem(0)->checkState(0), Qt::Unchecked);
    EXPECT_TRUE(conditionBuilderValueField(d).blnFreeText);
    EXPECT_TRUE(d.box->shown().empty());
}

TEST(DesignerTest, ParameterNamesAreReadFromTheCommandLine) {
    QString error;
    EXPECT_EQ(ParametersDialog::ParseNames("Country, Year ,FromDate", error),
              QStringList({"Country", "Year", "FromDate"}));
    EXPECT_EQ(ParametersDialog::ParseNames("", error), QStringList());
    EXPECT_EQ(ParametersDialog::ParseNames("  ", error), QStringList());
    EXPECT_EQ(ParametersDialog::ParseNames("Country,country", error),
              QStringList({"Country", "country"}));
    for (const char* bad : {"Country,,Year", "Country,Country", "a<[b", "x]>", "Year,"}) {
        error.clear();
        EXPECT_FALSE(ParametersDialog::ParseNames(bad, error)) << bad;
        EXPECT_FALSE(error.isEmpty()) << bad;
    }
    EXPECT_EQ(ParametersDialog::JoinNames({"Country", "Year"}), "Country,Year");
    EXPECT_TRUE(ParametersDialog::strNameProblem(" Year", {}).contains("blank"));

    // The program refuses a list it cannot use before doing anything else, and takes a good
    // one.
    const Outcome bad = run(onSample({"--parameters", "Country,<[Year]>", "--print-sql"}));
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.out.isEmpty());
    EXPECT_TRUE(bad.err.contains("--parameters: The parameter name <[Year]> contains"))
        << bad.err.toStdString();

    const Outcome good = run(
        onSample({"--parameters", "Country, Year", "--open", exampleDocument(), "--print-sql"}));
    EXPECT_EQ(good.exitCode, 0) << good.err.toStdString();
    EXPECT_TRUE(good.out.contains("'Germany'"));
    EXPECT_TRUE(run({"--help"}).out.contains("--parameters <NAME,NAME,...>"));
}

TEST(DesignerTest, F5PreviewsAndCtrlF5ChecksTheQuery) {
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    d.activate();
    d.window->control()->setFocus();

    QTest::keyClick(d.window.get(), Qt::Key_F5, Qt::ControlModifier);
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].strCaption, "Check syntax SQL Query");
    EXPECT_EQ(d.box->shown()[0].strText, "Syntax SQL Query correct");

    int rows = -1;
    EXPECT_EQ(RunDialog(
                  [&rows](QDialog& dialog) {
                      if (auto* grid = dialog.findChild<QTableView*>("jgQueryResults"))
                          rows = grid->model()->rowCount();
                      dialog.reject();
                  },
                  [&] { QTest::keyClick(d.window.get(), Qt::Key_F5); }),
              QStringList{"marovin::frmViewQueryResults"});
    EXPECT_GT(rows, 0);
    EXPECT_EQ(d.box->shown().size(), 1u);
    // The toolbar offers both.
    auto* toolbar = d.window->findChild<QToolBar*>("toolbarQuery");
    ASSERT_TRUE(toolbar);
    QStringList names;
    for (QAction* action : toolbar->actions())
        names << action->objectName();
    EXPECT_EQ(names, (QStringList{"actionCheckSyntax", "actionPreview"}));
}

TEST(DesignerTest, TheWidgetsMnemonicsLeaveTheMenusTheirKeys) {
    Designer d;
    // The mnemonic letters of the menu bar and of every label and button of the widget.
    auto mnemonic = [](const QString& text) -> QChar {
        for (int i = 0; i + 1 < text.size(); ++i) {
            if (text[i] == '&' && text[i + 1] != '&')
                return text[i + 1].toLower();
            if (text[i] == '&')
                ++i;
        }
        return QChar();
    };
    QSet<QChar> menus;
    for (QAction* action : d.window->menuBar()->actions())
        menus.insert(mnemonic(action->text()));
    QSet<QChar> widget;
    QStringList clashes;
    auto note = [&](const QString& text) {
        const QChar letter = mnemonic(text);
        if (letter.isNull())
            return;
        if (menus.contains(letter) || widget.contains(letter))
            clashes << text;
        widget.insert(letter);
    };
    for (QLabel* label : d.window->control()->findChildren<QLabel*>())
        if (label->isVisibleTo(d.window.get()))
            note(label->text());
    for (QAbstractButton* button : d.window->control()->findChildren<QAbstractButton*>())
        if (button->isVisibleTo(d.window.get()))
            note(button->text());
    EXPECT_TRUE(clashes.isEmpty()) << clashes.join(", ").toStdString();
    EXPECT_TRUE(menus.contains('f'));
}

TEST(DesignerTest, ColoursFollowTheViewMenuAndAreRemembered) {
    const QPalette platform = QApplication::palette();
    auto settings = std::make_shared<MemorySettingsStore>();
    auto trigger = [](Designer& d, const char* name) {
        auto* action = d.window->findChild<QAction*>(name);
        ASSERT_NE(action, nullptr) << name;
        action->trigger();
        QApplication::processEvents();
    };
    auto isDark = [] {
        return QApplication::palette().color(QPalette::Window).lightness() < 128;
    };
    {
        Designer d(settings);
        EXPECT_EQ(d.window->colourScheme(), ColourScheme::System);
        trigger(d, "actionColoursDark");
        EXPECT_TRUE(isDark());
        EXPECT_EQ(settings->GetSetting("Designer", "ColourScheme", ""), "dark");
        // The SQL view switched to the colours that read on a dark base.
        auto* sql = d.window->control()->findChild<SqlTextView*>("txtSQLQuery");
        EXPECT_GT(sql->highlighter()
                      ->format(SqlHighlighter::Kind::Keyword)
                      .foreground()
                      .color()
                      .lightness(),
                  128);
    }
    {
        Designer d(settings);
        EXPECT_EQ(d.window->colourScheme(), ColourScheme::Dark);
        EXPECT_TRUE(d.window->findChild<QAction*>("actionColoursDark")->isChecked());
        trigger(d, "actionColoursLight");
        EXPECT_FALSE(isDark());
        trigger(d, "actionColoursSystem");
        EXPECT_EQ(settings->GetSetting("Designer", "ColourScheme", ""), "system");
    }
    EXPECT_EQ(QApplication::palette(), platform);

    const Outcome designer = run({"--colours", "purple", "--print-sql"});
    EXPECT_EQ(designer.exitCode, 2);
    EXPECT_TRUE(designer.err.contains("--colours: \"purple\""));
}

// A database named with an option that belongs to another kind of connection is refused, not
// left aside for the sample database.
TEST(DesignerTest, ServerOptionsWithoutAServerAreRefused) {
    const QString sample = QString::fromStdString(SampleDatabasePath());
    const std::vector<std::pair<QStringList, QString>> cases = {
        {{"--database", sample}, "--database needs --server"},
        {{"--user", "sa"}, "--user needs --server"},
        {{"--windows-auth"}, "--windows-auth needs --server"},
        {{"--sqlite", sample, "--server", "db1", "--database", "Shop"},
         "give only one of --sqlite and --server"},
    };
    for (const auto& [arguments, message] : cases) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        const Outcome designer = run(arguments + QStringList{"--print-sql"});
        EXPECT_EQ(designer.exitCode, 2);
        EXPECT_TRUE(designer.out.isEmpty());
        EXPECT_TRUE(designer.err.contains(message.toUtf8()));
    }
}

TEST(DesignerTest, PastedSqlIsAskedAboutAndBecomesANewUnsavedDocument) {
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    const auto query = d.window->query();
    const std::string sql = d.window->control()->strSQL();
    d.activate();
    d.window->control()->setFocus();
    d.clipboard->SetText("SELECT TOP 10 o.OrderID, c.CompanyName\n"
                         "FROM Orders o JOIN Customers c ON o.CustomerID = c.CustomerID");

    // The user sees what is left out and says No: nothing changes.
    d.box->QueueAnswer(MessageAnswer::No);
    QTest::keyClick(d.window.get(), Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].buttons, MessageButtons::YesNo);
    EXPECT_TRUE(d.box->shown()[0].strText.contains("TOP 10 is not shown in the editor"));
    EXPECT_EQ(d.window->query(), query);
    EXPECT_EQ(d.window->control()->strSQL(), sql);
    EXPECT_FALSE(d.window->blnModified());

    // Yes: the statement's query is the document now, not yet saved anywhere.
    d.box->QueueAnswer(MessageAnswer::Yes);
    QTest::keyClick(d.window.get(), Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_EQ(d.box->shown().size(), 2u);
    EXPECT_NE(d.window->query(), query);
    EXPECT_EQ(d.window->query(), d.window->control()->SQLQueryObject());
    EXPECT_TRUE(d.window->strFileName().isEmpty());
    EXPECT_TRUE(d.window->blnModified());
    EXPECT_TRUE(d.window->windowTitle().startsWith("Untitled"));
    EXPECT_NE(d.window->control()->strSQL().find("INNER JOIN dbo.Customers AS Customers"),
              std::string::npos)
        << d.window->control()->strSQL();

    // Another paste asks about the unsaved query first; Cancel keeps it.
    d.box->QueueAnswer(MessageAnswer::Cancel);
    const auto pasted = d.window->query();
    EXPECT_FALSE(d.window->PasteStatement());
    ASSERT_EQ(d.box->shown().size(), 3u);
    EXPECT_EQ(d.box->shown()[2].buttons, MessageButtons::YesNoCancel);
    EXPECT_EQ(d.window->query(), pasted);
}

TEST(DesignerTest, OpenReadsStatementsFromSqlFiles) {
    QTemporaryDir dir;
    Designer d;
    ASSERT_TRUE(d.window->OpenDocument(exampleDocument()));
    const QString statement = dir.filePath("freight.SQL");
    writeFile(statement, "SELECT o.ShipCountry, SUM(o.Freight) AS Freight\r\n"
                         "FROM dbo.Orders AS o\r\nGROUP BY o.ShipCountry\r\n");
    ASSERT_TRUE(d.window->OpenDocument(statement));
    EXPECT_TRUE(d.box->shown().empty());
    EXPECT_TRUE(d.window->strFileName().isEmpty()) << "saving asks for a document's name";
    EXPECT_TRUE(d.window->blnModified());
    EXPECT_NE(d.window->control()->strSQL().find("SUM(Orders.Freight) AS Freight"),
              std::string::npos);

    const auto query = d.window->query();
    d.window->SaveDocumentAs(dir.filePath("freight.xml"));
    const QString refused = dir.filePath("union.sql");
    writeFile(refused, "SELECT City FROM Customers UNION SELECT City FROM Suppliers");
    EXPECT_FALSE(d.window->OpenDocument(refused));
    ASSERT_EQ(d.box->shown().size(), 1u);
    EXPECT_EQ(d.box->shown()[0].icon, MessageIcon::Critical);
    EXPECT_EQ(d.window->query(), query);
    EXPECT_EQ(d.window->strFileName(), dir.filePath("freight.xml"));
}
