#include "DesignerWindow.h"

#include "ConnectionDialog.h"
#include "ParametersDialog.h"
#include "marovin/ModelError.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/platform/Icons.h"
#include "marovin/uscMarovin.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QSaveFile>
#include <QStatusBar>
#include <QToolBar>
#include <QUndoStack>
#include <string>
#include <vector>

namespace marovin {

namespace {

const char* const kDocumentFilter = "Query documents (*.xml);;All files (*)";
const char* const kOpenFilter =
    "Query documents and statements (*.xml *.sql);;Query documents (*.xml);;"
    "SQL statements (*.sql);;All files (*)";
// The suffix of files that hold a SELECT statement rather than a query document.
const char* const kStatementSuffix = "sql";

} // namespace

DesignerWindow::DesignerWindow(PlatformServices services, QWidget* parent)
    : QMainWindow(parent), m_services(services.withDefaults(this)),
      m_query(std::make_shared<cSQLQuery>()), m_control(new uscMarovin(this, m_services)),
      m_connectionLabel(new QLabel) {
    setCentralWidget(m_control);
    statusBar()->addPermanentWidget(m_connectionLabel);
    createMenus();
    connect(m_control, &uscMarovin::Changed, this, [this] {
        // An edit makes the query the user's again: a later change of database loads it as it
        // is now.
        m_beforeLoss.reset();
        setWindowModified(true);
    });
    connect(m_control, &uscMarovin::statusMessage, this,
            [this](const QString& text) { statusBar()->showMessage(text, 8000); });
    // Undoing back to what the file holds clears the unsaved mark again.
    connect(m_control->undoStack(), &QUndoStack::cleanChanged, this, [this](bool clean) {
        if (clean && m_blnCleanIsSaved)
            setWindowModified(false);
    });
    m_control->setSQLQueryObject(m_query);
    setParameters(savedParameters());
    const QString storedScheme = m_services.settings->GetSetting(
        QString::fromLatin1(kSettingsSection), QString::fromLatin1(kColourSchemeKey), QString());
    setColourScheme(ParseColourScheme(storedScheme).value_or(ColourScheme::System), false);
    updateTitle();
    resize(1280, 860);
}

DesignerWindow::~DesignerWindow() {
    // The builder and its history are destroyed after this body; what they signal then must not
    // reach a half-destroyed window.
    QObject::disconnect(m_control, nullptr, this, nullptr);
    QObject::disconnect(m_control->undoStack(), nullptr, this, nullptr);
}

void DesignerWindow::createMenus() {
    // Menu actions run behind the event-loop boundary: a failure is shown, never thrown.
    auto guardedAction = [this](void (DesignerWindow::*action)()) {
        return [this, action] {
            runGuarded([this, action] { (this->*action)(); });
        };
    };
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QAction* newAction =
        file->addAction(tr("&New"), this, guardedAction(&DesignerWindow::newFromMenu));
    newAction->setShortcut(QKeySequence::New);
    QAction* openAction =
        file->addAction(tr("&Open..."), this, guardedAction(&DesignerWindow::chooseAndOpen));
    openAction->setShortcut(QKeySequence::Open);
    QAction* saveAction =
        file->addAction(tr("&Save"), this, guardedAction(&DesignerWindow::saveFromMenu));
    saveAction->setShortcut(QKeySequence::Save);
    QAction* saveAsAction =
        file->addAction(tr("Save &As..."), this, guardedAction(&DesignerWindow::saveAsFromMenu));
    // The platform's Save As key where it has one; some keyboard schemes have none.
    QList<QKeySequence> saveAsKeys = QKeySequence::keyBindings(QKeySequence::SaveAs);
    if (saveAsKeys.isEmpty())
        saveAsKeys.append(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    saveAsAction->setShortcuts(saveAsKeys);
    file->addSeparator();
    file->addAction(tr("&Connect to database..."), this,
                    guardedAction(&DesignerWindow::chooseConnection));
    file->addSeparator();
    // Ctrl+Q belongs to the query builder (it switches a condition on and off), so Quit takes
    // Ctrl+Shift+Q.
    QAction* quitAction = file->addAction(tr("&Quit"), this, [this] { close(); });
    quitAction->setObjectName(QStringLiteral("actionQuit"));
    quitAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Q));

    // The query builder's own history: its actions carry the keys inside the builder.
    QMenu* editMenu = menuBar()->addMenu(tr("&Edit"));
    editMenu->setObjectName(QStringLiteral("menuEdit"));
    editMenu->addAction(m_control->undoAction());
    editMenu->addAction(m_control->redoAction());
    editMenu->addSeparator();
    QAction* pasteSqlAction =
        editMenu->addAction(tr("Paste &SQL"), this, guardedAction(&DesignerWindow::pasteFromMenu));
    pasteSqlAction->setObjectName(QStringLiteral("actionPasteSql"));
    pasteSqlAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V));
    pasteSqlAction->setStatusTip(
        tr("Load the SELECT statement on the clipboard into the query builder"));

    // Alt+Q moves to the query builder's SQL view, so the menu's mnemonic is U.
    QMenu* query = menuBar()->addMenu(tr("Q&uery"));
    query->setObjectName(QStringLiteral("menuQuery"));
    // The widget's own commands; each shows its failures itself.
    QAction* checkAction =
        query->addAction(tr("Check &syntax"), this, [this] { m_control->CheckSQLSyntax(); });
    checkAction->setObjectName(QStringLiteral("actionCheckSyntax"));
    checkAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F5));
    checkAction->setStatusTip(tr("Check the statement's syntax on the server"));
    QAction* previewAction =
        query->addAction(tr("P&review"), this, [this] { m_control->FireQuery(); });
    previewAction->setObjectName(QStringLiteral("actionPreview"));
    previewAction->setShortcut(QKeySequence(Qt::Key_F5));
    previewAction->setStatusTip(tr("Run the statement and show its first rows"));
    query->addSeparator();
    QAction* parametersAction = query->addAction(
        tr("&Parameters..."), this, guardedAction(&DesignerWindow::editParametersFromMenu));
    parametersAction->setObjectName(QStringLiteral("actionParameters"));
    parametersAction->setStatusTip(tr("Edit the names of the query parameters"));

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->setObjectName(QStringLiteral("menuView"));
    QAction* arrangeAction =
        view->addAction(tr("&Arrange Tables"), this, [this] { m_control->ArrangeTables(); });
    arrangeAction->setObjectName(QStringLiteral("actionArrangeTables"));
    arrangeAction->setStatusTip(
        tr("Lay the tables out along their joins (Ctrl+Shift+A in the diagram)"));
    QAction* refreshTablesAction =
        view->addAction(tr("&Refresh Table List"), this, [this] { m_control->RefreshTableList(); });
    refreshTablesAction->setObjectName(QStringLiteral("actionRefreshTables"));
    refreshTablesAction->setStatusTip(
        tr("Read the tables and views of the database again, whatever the cache holds (Ctrl+R "
           "in the table list)"));
    view->addSeparator();
    QMenu* colours = view->addMenu(tr("&Colours"));
    auto* colourGroup = new QActionGroup(this);
    const std::array<std::pair<QString, const char*>, 3> schemes = {{
        {tr("&System"), "actionColoursSystem"},
        {tr("&Light"), "actionColoursLight"},
        {tr("&Dark"), "actionColoursDark"},
    }};
    for (size_t i = 0; i < schemes.size(); ++i) {
        const auto scheme = static_cast<ColourScheme>(i);
        QAction* action = colours->addAction(schemes[i].first, this,
                                             [this, scheme] { setColourScheme(scheme, true); });
        action->setObjectName(QString::fromLatin1(schemes[i].second));
        action->setCheckable(true);
        colourGroup->addAction(action);
        m_colourActions[i] = action;
    }

    QToolBar* toolbar = addToolBar(tr("Query"));
    toolbar->setObjectName(QStringLiteral("toolbarQuery"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    checkAction->setIcon(makeIcon(IconKind::CheckSyntax));
    previewAction->setIcon(makeIcon(IconKind::Preview));
    toolbar->addAction(checkAction);
    toolbar->addAction(previewAction);
}

bool DesignerWindow::runGuarded(const std::function<void()>& action) {
    try {
        action();
        return true;
    } catch (const std::exception& error) {
        m_services.messageBox->Show(QString::fromLatin1(kCaption),
                                    QString::fromStdString(error.what()), MessageIcon::Critical,
                                    MessageButtons::Ok);
    } catch (...) {
        m_services.messageBox->Show(QString::fromLatin1(kCaption),
                                    tr("The action failed for an unknown reason."),
                                    MessageIcon::Critical, MessageButtons::Ok);
    }
    return false;
}

void DesignerWindow::newFromMenu() {
    NewDocument();
}

void DesignerWindow::saveFromMenu() {
    SaveDocument();
}

void DesignerWindow::saveAsFromMenu() {
    chooseAndSaveAs();
}

void DesignerWindow::pasteFromMenu() {
    PasteStatement();
}

void DesignerWindow::setConnection(std::shared_ptr<cDbConnection> connection) {
    m_connection = std::move(connection);
    m_control->setDatabaseObject(m_connection);
    if (!m_connection) {
        m_connectionLabel->setText(tr("No database"));
    } else if (QString::fromStdString(m_connection->strProvider())
                   .compare(cDbConnection::kProviderSqlite, Qt::CaseInsensitive) == 0) {
        m_connectionLabel->setText(
            tr("SQLite: %1").arg(QString::fromStdString(m_connection->strDatabase())));
    } else {
        m_connectionLabel->setText(tr("%1 on %2")
                                       .arg(QString::fromStdString(m_connection->strDatabase()),
                                            QString::fromStdString(m_connection->strServer())));
    }
    loadQueryAfterConnecting();
}

void DesignerWindow::loadQueryAfterConnecting() {
    // The table list and the placed tables come from the database: load the query again, as it
    // was before an earlier change of database left tables out.
    const bool modified = isWindowModified();
    std::optional<BeforeLoss> beforeLoss = m_beforeLoss;
    if (!beforeLoss) {
        try {
            beforeLoss = BeforeLoss{m_query->ToXmlText(false), modified};
        } catch (const std::exception&) {
            beforeLoss.reset();
        }
    }
    if (m_beforeLoss) {
        auto query = std::make_shared<cSQLQuery>();
        try {
            query->LoadXmlText(m_beforeLoss->strDocument);
            m_control->setSQLQueryObject(query);
            if (m_control->SQLQueryObject() == query)
                m_query = query;
        } catch (const std::exception&) {
            m_control->Refresh();
        }
    } else {
        m_control->Refresh();
    }
    if (!m_control->missingTables().isEmpty()) {
        m_beforeLoss = beforeLoss;
        setWindowModified(true);
    } else {
        setWindowModified(beforeLoss ? beforeLoss->blnModified : modified);
        m_beforeLoss.reset();
    }
    m_blnCleanIsSaved = !isWindowModified();
}

bool DesignerWindow::ProbeConnection(const cDbConnection& connection, QString& strError) {
    // An SQLite file whose header reads as a database is usable; opening it would read its
    // whole schema first, which takes seconds for a catalogue of 100,000 tables.
    if (QString::fromStdString(connection.strProvider())
                .compare(cDbConnection::kProviderSqlite, Qt::CaseInsensitive) == 0 &&
        !connection.GetCatalogueStamp().empty())
        return true;
    if (connection.GetConnection())
        return true;
    strError = QString::fromStdString(cDbConnection::LastConnectionError());
    if (strError.isEmpty())
        strError = tr("the database did not answer");
    return false;
}

bool DesignerWindow::ConnectTo(std::shared_ptr<cDbConnection> connection) {
    if (!connection)
        return false;
    QString error;
    bool usable = false;
    {
        BusyPointerScope busy(m_services.busyPointer.get());
        usable = ProbeConnection(*connection, error);
    }
    if (!usable) {
        const QString where = QString::fromStdString(connection->strServer()).trimmed().isEmpty()
                                  ? QString::fromStdString(connection->strDatabase())
                                  : tr("%1 on %2")
                                        .arg(QString::fromStdString(connection->strDatabase()),
                                             QString::fromStdString(connection->strServer()));
        m_services.messageBox->Show(
            QString::fromLatin1(kCaption),
            tr("Cannot connect to %1: %2\n\nThe designer stays on the current database.")
                .arg(where, error),
            MessageIcon::Critical, MessageButtons::Ok);
        return false;
    }
    if (!MaybeSave())
        return false;
    setConnection(std::move(connection));
    return true;
}

void DesignerWindow::updateTitle() {
    const QString name =
        m_strFileName.isEmpty() ? tr("Untitled") : QFileInfo(m_strFileName).fileName();
    setWindowTitle(name + QStringLiteral("[*] - ") + QString::fromLatin1(kCaption));
}

bool DesignerWindow::setDocument(std::shared_ptr<cSQLQuery> query, const QString& strFileName) {
    m_control->setSQLQueryObject(query);
    // A query the editor could not load leaves the current one in place, unchanged.
    if (m_control->SQLQueryObject() != query)
        return false;
    m_query = std::move(query);
    m_strFileName = strFileName;
    m_beforeLoss.reset();
    // A document that lost tables on loading is no longer what the file holds.
    setWindowModified(!m_control->missingTables().isEmpty());
    m_blnCleanIsSaved = !isWindowModified();
    updateTitle();
    return true;
}

bool DesignerWindow::loadStatement(const QString& strStatement) {
    if (!m_control->LoadSQLText(strStatement.toStdString()))
        return false;
    // The statement's query is a document of its own, saved where the user says.
    m_query = m_control->SQLQueryObject();
    m_strFileName.clear();
    m_beforeLoss.reset();
    setWindowModified(true);
    m_blnCleanIsSaved = false;
    updateTitle();
    return true;
}

bool DesignerWindow::PasteStatement() {
    if (!MaybeSave())
        return false;
    return loadStatement(m_services.clipboard->Text());
}

bool DesignerWindow::MaybeSave() {
    if (!isWindowModified())
        return true;
    const MessageAnswer answer =
        m_services.messageBox->Show(QString::fromLatin1(kCaption),
                                    tr("The query has unsaved changes. Do you want to save them?"),
                                    MessageIcon::Exclamation, MessageButtons::YesNoCancel);
    if (answer == MessageAnswer::Cancel)
        return false;
    if (answer == MessageAnswer::Yes)
        return SaveDocument();
    return true;
}

bool DesignerWindow::NewDocument() {
    if (!MaybeSave())
        return false;
    return setDocument(std::make_shared<cSQLQuery>(), QString());
}

std::shared_ptr<cSQLQuery> DesignerWindow::ReadDocument(const QString& strFileName,
                                                        QString& strError) {
    QFile file(strFileName);
    if (!file.open(QIODevice::ReadOnly)) {
        strError = tr("The file %1 cannot be read: %2").arg(strFileName, file.errorString());
        return nullptr;
    }
    const QByteArray content = file.readAll();
    auto query = std::make_shared<cSQLQuery>();
    try {
        query->LoadXmlText(std::string_view(content.constData(), content.size()));
    } catch (const std::exception& error) {
        strError = tr("The file %1 is not a query document: %2")
                       .arg(strFileName, QString::fromStdString(error.what()));
        return nullptr;
    }
    return query;
}

bool DesignerWindow::OpenDocument(const QString& strFileName) {
    if (!MaybeSave())
        return false;
    if (QFileInfo(strFileName)
            .suffix()
            .compare(QString::fromLatin1(kStatementSuffix), Qt::CaseInsensitive) == 0) {
        QFile file(strFileName);
        if (!file.open(QIODevice::ReadOnly)) {
            m_services.messageBox->Show(
                QString::fromLatin1(kCaption),
                tr("The file %1 cannot be read: %2").arg(strFileName, file.errorString()),
                MessageIcon::Critical, MessageButtons::Ok);
            return false;
        }
        return loadStatement(QString::fromUtf8(file.readAll()));
    }
    QString error;
    auto query = ReadDocument(strFileName, error);
    if (!query) {
        m_services.messageBox->Show(QString::fromLatin1(kCaption), error, MessageIcon::Critical,
                                    MessageButtons::Ok);
        return false;
    }
    return setDocument(std::move(query), strFileName);
}

bool DesignerWindow::SaveDocument() {
    if (m_strFileName.isEmpty())
        return chooseAndSaveAs();
    return SaveDocumentAs(m_strFileName);
}

bool DesignerWindow::SaveDocumentAs(const QString& strFileName) {
    QSaveFile file(strFileName);
    std::string text;
    if (!runGuarded([this, &text] { text = m_query->ToXmlText(true); }))
        return false;
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), static_cast<qint64>(text.size())) !=
            static_cast<qint64>(text.size()) ||
        !file.commit()) {
        m_services.messageBox->Show(
            QString::fromLatin1(kCaption),
            tr("The query cannot be saved to %1: %2").arg(strFileName, file.errorString()),
            MessageIcon::Critical, MessageButtons::Ok);
        return false;
    }
    m_strFileName = strFileName;
    m_beforeLoss.reset();
    setWindowModified(false);
    m_control->undoStack()->setClean();
    m_blnCleanIsSaved = true;
    updateTitle();
    return true;
}

void DesignerWindow::chooseAndOpen() {
    if (!MaybeSave())
        return;
    const QString file =
        QFileDialog::getOpenFileName(this, tr("Open query"), m_strFileName, tr(kOpenFilter));
    if (file.isEmpty())
        return;
    // The question was asked already; a failed open keeps the current query and its mark.
    const bool modified = isWindowModified();
    setWindowModified(false);
    if (!OpenDocument(file))
        setWindowModified(modified);
}

bool DesignerWindow::chooseAndSaveAs() {
    // The dialog adds ".xml" to a name typed without a suffix (and asks before replacing that
    // file), so that the Open dialog, which shows query documents, finds it again.
    QFileDialog dialog(this, tr("Save query as"), m_strFileName, tr(kDocumentFilter));
    dialog.setObjectName(QStringLiteral("saveAsDialog"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(QString::fromLatin1(kDocumentSuffix));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return false;
    return SaveDocumentAs(dialog.selectedFiles().constFirst());
}

void DesignerWindow::chooseConnection() {
    ConnectionDialog dialog(m_services.messageBox, this);
    dialog.setConnection(m_connection.get());
    if (dialog.exec() == QDialog::Accepted)
        ConnectTo(dialog.connection());
}

void DesignerWindow::setParameters(const QStringList& names) {
    m_parameters = names;
    if (names.isEmpty()) {
        m_control->setColParameters(nullptr);
        return;
    }
    auto list = std::make_shared<std::vector<std::string>>();
    list->reserve(static_cast<size_t>(names.size()));
    for (const QString& name : names)
        list->push_back(name.toStdString());
    m_control->setColParameters(std::move(list));
}

QStringList DesignerWindow::savedParameters() const {
    const QString stored = m_services.settings->GetSetting(
        QString::fromLatin1(kSettingsSection), QString::fromLatin1(kParametersKey), QString());
    QStringList names;
    if (stored.trimmed().isEmpty())
        return names;
    for (const QString& part : stored.split(QLatin1Char(ParametersDialog::kSeparator))) {
        const QString name = part.trimmed();
        if (ParametersDialog::strNameProblem(name, names).isEmpty())
            names.append(name);
    }
    return names;
}

bool DesignerWindow::EditParameters() {
    ParametersDialog dialog(m_services.messageBox, this);
    dialog.setNames(m_parameters);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    const QStringList names = dialog.names();
    // Confirming the list unchanged keeps a list given on the command line for this session
    // only.
    if (names == m_parameters)
        return false;
    setParameters(names);
    m_services.settings->SaveSetting(QString::fromLatin1(kSettingsSection),
                                     QString::fromLatin1(kParametersKey),
                                     ParametersDialog::JoinNames(names));
    return true;
}

void DesignerWindow::setColourScheme(ColourScheme scheme, bool remember) {
    m_colourScheme = scheme;
    ApplyColourScheme(scheme);
    m_colourActions[static_cast<size_t>(scheme)]->setChecked(true);
    if (remember)
        m_services.settings->SaveSetting(QString::fromLatin1(kSettingsSection),
                                         QString::fromLatin1(kColourSchemeKey),
                                         ColourSchemeName(scheme));
}

void DesignerWindow::editParametersFromMenu() {
    EditParameters();
}

void DesignerWindow::closeEvent(QCloseEvent* event) {
    bool close = false;
    // A failure while saving keeps the window open: the work is not lost.
    runGuarded([this, &close] { close = MaybeSave(); });
    if (close)
        event->accept();
    else
        event->ignore();
}

} // namespace marovin
