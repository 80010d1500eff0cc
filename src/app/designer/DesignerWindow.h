#pragma once

#include "ColourScheme.h"
#include "marovin/platform/PlatformServices.h"

#include <QMainWindow>
#include <QStringList>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QAction;
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
    // Query documents are saved with this suffix when the user types none.
    static constexpr const char* kDocumentSuffix = "xml";
    // Where the designer keeps the query parameter names in its settings: the names joined by
    // commas (see ParametersDialog::JoinNames).
    static constexpr const char* kSettingsSection = "Designer";
    static constexpr const char* kParametersKey = "Parameters";
    // The colour scheme chosen under View > Colours: "system", "light" or "dark".
    static constexpr const char* kColourSchemeKey = "ColourScheme";

    explicit DesignerWindow(PlatformServices services = {}, QWidget* parent = nullptr);
    ~DesignerWindow() override;

    // Works on this database from now on; the current query is loaded into it again. Tables the
    // new database lacks are left out and the query is marked modified; connecting back to a
    // database that has them brings them back, as long as the query was not edited meanwhile.
    void setConnection(std::shared_ptr<cDbConnection> connection);
    // Switches to the database the user chose: a connection that cannot be opened is refused
    // with its own reason and nothing changes; unsaved changes are asked about first. Returns
    // true when the designer works on the new database.
    bool ConnectTo(std::shared_ptr<cDbConnection> connection);
    // Opens a connection to see whether the database can be used; on failure returns false and
    // sets strError to the reason.
    static bool ProbeConnection(const cDbConnection& connection, QString& strError);
    std::shared_ptr<cDbConnection> connection() const { return m_connection; }

    // Each asks before unsaved changes are discarded and returns false when the user cancels or
    // the action fails. A document that cannot be read leaves the current query as it was and
    // the message says why. A file named *.sql holds a SELECT statement: its query is loaded as
    // a new, unsaved document (see PasteStatement).
    bool NewDocument();
    bool OpenDocument(const QString& strFileName);
    // Loads the SELECT statement on the clipboard as a new, unsaved document (Edit > Paste SQL,
    // Ctrl+Shift+V). What the query builder cannot show is listed and the user is asked before
    // it goes on; a statement it would change is refused with the list.
    bool PasteStatement();
    bool SaveDocument();
    bool SaveDocumentAs(const QString& strFileName);
    // Asks about unsaved changes: true when the caller may go on (saved, or discarded).
    bool MaybeSave();

    // Reads a document into a new query; on failure returns nullptr and sets strError.
    static std::shared_ptr<cSQLQuery> ReadDocument(const QString& strFileName, QString& strError);

    // The query parameter names handed to the query builder, in this order. An empty list
    // hands the builder no list at all (nullptr): then Ctrl+Q in the conditions list switches
    // nothing and the condition builder offers free text for values, as for a host that sets
    // no parameters. The names are used for this session only; the saved list is not changed.
    void setParameters(const QStringList& names);
    const QStringList& parameters() const { return m_parameters; }
    // Edits the parameter names in a dialog. When the user confirms a changed list, the query
    // builder gets it and it is saved in the settings for the next start. Returns true then.
    bool EditParameters();

    // Switches the colours of the whole application; remember saves the choice in the settings
    // for the next start (the View menu does, a command-line choice does not).
    void setColourScheme(ColourScheme scheme, bool remember);
    ColourScheme colourScheme() const { return m_colourScheme; }

    bool blnModified() const { return isWindowModified(); }
    const QString& strFileName() const { return m_strFileName; }
    uscMarovin* control() const { return m_control; }
    std::shared_ptr<cSQLQuery> query() const { return m_query; }
    const PlatformServices& services() const { return m_services; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void createMenus();
    // Runs an action coming from Qt; a failure is shown instead of unwinding into the event
    // loop. Returns false then.
    bool runGuarded(const std::function<void()>& action);
    void newFromMenu();
    void saveFromMenu();
    void saveAsFromMenu();
    bool setDocument(std::shared_ptr<cSQLQuery> query, const QString& strFileName);
    // The query of a statement as a new, unsaved document; false when the builder did not load
    // it. Unsaved changes have been asked about already.
    bool loadStatement(const QString& strStatement);
    void pasteFromMenu();
    void loadQueryAfterConnecting();
    void updateTitle();
    void chooseAndOpen();
    bool chooseAndSaveAs();
    void chooseConnection();
    void editParametersFromMenu();
    // The names saved in the settings; names that cannot be used (a settings file edited by
    // hand) are left out.
    QStringList savedParameters() const;

    PlatformServices m_services;
    ColourScheme m_colourScheme = ColourScheme::System;
    // Whether the query builder's unchanged state (its history's clean point) is what the file
    // holds; not so after a load that lost tables.
    bool m_blnCleanIsSaved = true;
    // The View > Colours entries, in the order of ColourScheme. Owned through the menu.
    std::array<QAction*, 3> m_colourActions{};
    std::shared_ptr<cDbConnection> m_connection;
    std::shared_ptr<cSQLQuery> m_query;
    QString m_strFileName;
    QStringList m_parameters;
    // The query as it was before a change of database left tables out, with its modified
    // mark: connecting to a database that has them loads this again. Dropped by any edit.
    struct BeforeLoss {
        std::string strDocument;
        bool blnModified = false;
    };
    std::optional<BeforeLoss> m_beforeLoss;
    uscMarovin* m_control;     // Owned through its Qt parent.
    QLabel* m_connectionLabel; // Owned through its Qt parent.
};

} // namespace marovin
