#pragma once

#include "marovin/platform/iMessageBox.h"

#include <QDialog>
#include <memory>

class QCheckBox;
class QLineEdit;
class QRadioButton;

namespace marovin {

class cDbConnection;

// Chooses the database the designer works on: an SQLite file, or a SQL Server database with its
// server, credentials and ODBC driver.
class ConnectionDialog : public QDialog {
    Q_OBJECT
public:
    // Entries that cannot make a connection are reported through the message box.
    explicit ConnectionDialog(std::shared_ptr<iMessageBox> messageBox, QWidget* parent = nullptr);

    // Shows the settings of an existing connection (none: the SQLite choice, empty).
    void setConnection(const cDbConnection* connection);
    // A new connection object from what the dialog shows.
    std::shared_ptr<cDbConnection> connection() const;
    // The reason the entries cannot make a connection, or an empty text when they can.
    QString strProblem() const;
    // Closes the dialog only when the entries can make a connection; says why otherwise.
    void accept() override;

    QRadioButton* sqliteChoice() const { return m_sqlite; }
    QRadioButton* serverChoice() const { return m_server; }
    QLineEdit* sqlitePathEdit() const { return m_path; }

private:
    void updateEnabled();

    std::shared_ptr<iMessageBox> m_messageBox;
    // Owned through their Qt parent.
    QRadioButton* m_sqlite;
    QRadioButton* m_server;
    QLineEdit* m_path;
    QLineEdit* m_serverName;
    QLineEdit* m_database;
    QLineEdit* m_user;
    QLineEdit* m_password;
    QLineEdit* m_driver;
    QCheckBox* m_windowsAuth;
};

} // namespace marovin
