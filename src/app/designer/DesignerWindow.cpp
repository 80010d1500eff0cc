#include "DesignerWindow.h"

#include "ConnectionDialog.h"
#include "marovin/ModelError.h"
#include "marovin/cDbConnection.h"
#include "marovin/cSQLQuery.h"
#include "marovin/uscMarovin.h"

#include <QAction>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QSaveFile>
#include <QStatusBar>

namespace marovin {

namespace {

const char* const kDocumentFilter = "Query documents (*.xml);;All files (*)";

} // namespace

DesignerWindow::DesignerWindow(PlatformServices services, QWidget* parent)
    : QMainWindow(parent), m_services(services.withDefaults(this)),
      m_query(std::make_shared<cSQLQuery>()), m_control(new uscMarovin(this, m_services)),
      m_connectionLabel(new QLabel) {
    setCentralWidget(m_control);
    statusBar()->addPermanentWidget(m_connectionLabel);
    createMenus();
    connect(m_control, &uscMarovin::Changed, this, [this] { setWindowModified(true); });
    m_control->setSQLQueryObject(m_query);
    updateTitle();
    resize(1280, 860);
}

DesignerWindow::~DesignerWindow() = default;

void DesignerWindow::createMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QAction* newAction = file->addAction(tr("&New"), this, [this] { NewDocument(); });
    newAction->setShortcut(QKeySequence::New);
    QAction* openAction = file->addAction(tr("&Open..."), this, [this] { chooseAndOpen(); });
    openAction->setShortcut(QKeySequence::Open);
    QAction* saveAction = file->addAction(tr("&Save"), this, [this] { SaveDocument(); });
    saveAction->setShortcut(QKeySequence::Save);
    QAction* saveAsAction = file->addAction(tr("Save &As..."), this, [this] { chooseAndSaveAs(); });
    saveAsAction->setShortcut(QKeySequence::SaveAs);
    file->addSeparator();
    file->addAction(tr("&Connect to database..."), this, [this] { chooseConnection(); });
    file->addSeparator();
    QAction* quitAction = file->addAction(tr("&Quit"), this, [this] { close(); });
    quitAction->setShortcut(QKeySequence::Quit);
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
    // The table list and the placed tables come from the database: load the query again.
    const bool modified = isWindowModified();
    m_control->Refresh();
    setWindowModified(modified);
}

void DesignerWindow::updateTitle() {
    const QString name =
        m_strFileName.isEmpty() ? tr("Untitled") : QFileInfo(m_strFileName).fileName();
    setWindowTitle(name + QStringLiteral("[*] - ") + QString::fromLatin1(kCaption));
}

void DesignerWindow::setDocument(std::shared_ptr<cSQLQuery> query, const QString& strFileName) {
    m_query = std::move(query);
    m_strFileName = strFileName;
    m_control->setSQLQueryObject(m_query);
    setWindowModified(false);
    updateTitle();
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
    setDocument(std::make_shared<cSQLQuery>(), QString());
    return true;
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
    QString error;
    auto query = ReadDocument(strFileName, error);
    if (!query) {
        m_services.messageBox->Show(QString::fromLatin1(kCaption), error, MessageIcon::Critical,
                                    MessageButtons::Ok);
        return false;
    }
    setDocument(std::move(query), strFileName);
    return true;
}

bool DesignerWindow::SaveDocument() {
    if (m_strFileName.isEmpty())
        return chooseAndSaveAs();
    return SaveDocumentAs(m_strFileName);
}

bool DesignerWindow::SaveDocumentAs(const QString& strFileName) {
    QSaveFile file(strFileName);
    const std::string text = m_query->ToXmlText(true);
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
    setWindowModified(false);
    updateTitle();
    return true;
}

void DesignerWindow::chooseAndOpen() {
    if (!MaybeSave())
        return;
    const QString file =
        QFileDialog::getOpenFileName(this, tr("Open query"), m_strFileName, tr(kDocumentFilter));
    if (file.isEmpty())
        return;
    // The question was asked already; a failed open keeps the current query and its mark.
    const bool modified = isWindowModified();
    setWindowModified(false);
    if (!OpenDocument(file))
        setWindowModified(modified);
}

bool DesignerWindow::chooseAndSaveAs() {
    const QString file =
        QFileDialog::getSaveFileName(this, tr("Save query as"), m_strFileName, tr(kDocumentFilter));
    if (file.isEmpty())
        return false;
    return SaveDocumentAs(file);
}

void DesignerWindow::chooseConnection() {
    ConnectionDialog dialog(m_services.messageBox, this);
    dialog.setConnection(m_connection.get());
    if (dialog.exec() == QDialog::Accepted)
        setConnection(dialog.connection());
}

void DesignerWindow::closeEvent(QCloseEvent* event) {
    if (MaybeSave())
        event->accept();
    else
        event->ignore();
}

} // namespace marovin
