#include "ConnectionDialog.h"

#include "marovin/cDbConnection.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace marovin {

ConnectionDialog::ConnectionDialog(std::shared_ptr<iMessageBox> messageBox, QWidget* parent)
    : QDialog(parent), m_messageBox(std::move(messageBox)),
      m_sqlite(new QRadioButton(tr("SQLite database file"))),
      m_server(new QRadioButton(tr("SQL Server"))), m_path(new QLineEdit),
      m_serverName(new QLineEdit), m_database(new QLineEdit), m_user(new QLineEdit),
      m_password(new QLineEdit), m_driver(new QLineEdit),
      m_windowsAuth(new QCheckBox(tr("Windows authentication"))) {
    setWindowTitle(tr("Connect to database"));
    m_password->setEchoMode(QLineEdit::Password);
    m_driver->setPlaceholderText(QString::fromStdString(cDbConnection().strEffectiveDriver()));
    m_serverName->setPlaceholderText(tr("host, host,port or host\\instance"));

    auto* browse = new QPushButton(tr("Browse..."));
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getOpenFileName(
            this, tr("SQLite database"), m_path->text(),
            tr("SQLite databases (*.sqlite *.db *.sqlite3);;All files (*)"));
        if (!file.isEmpty())
            m_path->setText(file);
    });
    auto* pathRow = new QHBoxLayout;
    pathRow->addWidget(m_path, 1);
    pathRow->addWidget(browse);

    auto* serverForm = new QFormLayout;
    serverForm->addRow(tr("Server:"), m_serverName);
    serverForm->addRow(tr("Database:"), m_database);
    serverForm->addRow(QString(), m_windowsAuth);
    serverForm->addRow(tr("User:"), m_user);
    serverForm->addRow(tr("Password:"), m_password);
    serverForm->addRow(tr("ODBC driver:"), m_driver);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &ConnectionDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ConnectionDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_sqlite);
    layout->addLayout(pathRow);
    layout->addSpacing(8);
    layout->addWidget(m_server);
    layout->addLayout(serverForm);
    layout->addWidget(buttons);

    m_sqlite->setChecked(true);
    connect(m_sqlite, &QRadioButton::toggled, this, [this] { updateEnabled(); });
    connect(m_windowsAuth, &QCheckBox::toggled, this, [this] { updateEnabled(); });
    updateEnabled();
    resize(480, sizeHint().height());
}

void ConnectionDialog::updateEnabled() {
    const bool sqlite = m_sqlite->isChecked();
    m_path->setEnabled(sqlite);
    m_serverName->setEnabled(!sqlite);
    m_database->setEnabled(!sqlite);
    m_windowsAuth->setEnabled(!sqlite);
    m_user->setEnabled(!sqlite && !m_windowsAuth->isChecked());
    m_password->setEnabled(!sqlite && !m_windowsAuth->isChecked());
    m_driver->setEnabled(!sqlite);
}

void ConnectionDialog::setConnection(const cDbConnection* connection) {
    if (connection == nullptr)
        return;
    const bool sqlite = QString::fromStdString(connection->strProvider())
                            .compare(cDbConnection::kProviderSqlite, Qt::CaseInsensitive) == 0;
    (sqlite ? m_sqlite : m_server)->setChecked(true);
    if (sqlite) {
        m_path->setText(QString::fromStdString(connection->strDatabase()));
    } else {
        m_serverName->setText(QString::fromStdString(connection->strServer()));
        m_database->setText(QString::fromStdString(connection->strDatabase()));
        m_user->setText(QString::fromStdString(connection->strUserName()));
        m_password->setText(QString::fromStdString(connection->strPassword()));
        m_driver->setText(QString::fromStdString(connection->strDriver()));
        m_windowsAuth->setChecked(connection->blnWindowsAuthentication());
    }
    updateEnabled();
}

std::shared_ptr<cDbConnection> ConnectionDialog::connection() const {
    auto db = std::make_shared<cDbConnection>();
    if (m_sqlite->isChecked()) {
        db->setStrProvider(cDbConnection::kProviderSqlite);
        db->setStrDatabase(m_path->text().trimmed().toStdString());
        return db;
    }
    db->setStrProvider(cDbConnection::kProviderSqlServer);
    db->setStrServer(m_serverName->text().trimmed().toStdString());
    db->setStrDatabase(m_database->text().trimmed().toStdString());
    db->setBlnWindowsAuthentication(m_windowsAuth->isChecked());
    if (!m_windowsAuth->isChecked()) {
        db->setStrUserName(m_user->text().trimmed().toStdString());
        db->setStrPassword(m_password->text().toStdString());
    }
    db->setStrDriver(m_driver->text().trimmed().toStdString());
    return db;
}

QString ConnectionDialog::strProblem() const {
    if (m_sqlite->isChecked()) {
        const QString path = m_path->text().trimmed();
        if (path.isEmpty())
            return tr("Enter the path of an SQLite database file.");
        if (!QFileInfo(path).isFile())
            return tr("The file %1 does not exist.").arg(path);
        return QString();
    }
    if (m_serverName->text().trimmed().isEmpty())
        return tr("Enter the name of the server.");
    if (m_database->text().trimmed().isEmpty())
        return tr("Enter the name of the database.");
    return QString();
}

void ConnectionDialog::accept() {
    const QString problem = strProblem();
    if (!problem.isEmpty()) {
        m_messageBox->Show(windowTitle(), problem, MessageIcon::Exclamation, MessageButtons::Ok);
        return;
    }
    QDialog::accept();
}

} // namespace marovin
