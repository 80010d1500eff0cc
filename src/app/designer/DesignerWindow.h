#pragma once

#include "marovin/platform/PlatformServices.h"

#include <QMainWindow>
#include <memory>

class QLabel;

namespace marovin {

class cDbConnection;
class cSQLQuery;
class uscMarovin;

// The designer's main window: the query builder control on one database, and query documents
// opened from and saved to files. Edits mark the document unsaved; nothing unsaved is discarded
// without asking.
class DesignerWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr const char* kCaption = "Marovin Designer";

    explicit DesignerWindow(PlatformServices services = {}, QWidget* parent = nullptr);
    ~DesignerWindow() override;

    // Works on this database from now on; the current query is loaded into it again.
    void setConnection(std::shared_ptr<cDbConnection> connection);
    std::shared_ptr<cDbConnection> connection() const { return m_connection; }

    // Each asks before unsaved changes are discarded and returns false when the user cancels or
    // the action fails. A document that cannot be read leaves the current query as it was and
    // the message says why.
    bool NewDocument();
    bool OpenDocument(const QString& strFileName);
    bool SaveDocument();
    bool SaveDocumentAs(const QString& strFileName);
    // Asks about unsaved changes: true when the caller may go on (saved, or discarded).
    bool MaybeSave();

    // Reads a document into a new query; on failure returns nullptr and sets strError.
    static std::shared_ptr<cSQLQuery> ReadDocument(const QString& strFileName, QString& strError);

    bool blnModified() const { return isWindowModified(); }
    const QString& strFileName() const { return m_strFileName; }
    uscMarovin* control() const { return m_control; }
    std::shared_ptr<cSQLQuery> query() const { return m_query; }
    const PlatformServices& services() const { return m_services; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void createMenus();
    void setDocument(std::shared_ptr<cSQLQuery> query, const QString& strFileName);
    void updateTitle();
    void chooseAndOpen();
    bool chooseAndSaveAs();
    void chooseConnection();

    PlatformServices m_services;
    std::shared_ptr<cDbConnection> m_connection;
    std::shared_ptr<cSQLQuery> m_query;
    QString m_strFileName;
    uscMarovin* m_control;     // Owned through its Qt parent.
    QLabel* m_connectionLabel; // Owned through its Qt parent.
};

} // namespace marovin
