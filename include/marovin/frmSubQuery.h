#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QDialog>
#include <functional>
#include <memory>
#include <string>

class QLabel;
class QLineEdit;
class QPushButton;

namespace marovin {

class cDbConnection;
class cSQLQuery;

/// What the sub-query dialog needs of the query editor it hosts. The control creates the editor
/// (a second query builder) and hands it over with these accessors, so that the dialogs do not
/// depend on the control.
struct MAROVIN_EXPORT SubQueryEditor {
    /// The editor's widget; the dialog places it in its layout and takes it as a child.
    QWidget* widget = nullptr;
    /// Give the editor its connection, its query (which loads the panes) and put it in
    /// sub-query mode.
    std::function<void(std::shared_ptr<cDbConnection>)> setDatabaseObject;
    std::function<void(std::shared_ptr<cSQLQuery>)> setSQLQueryObject;
    std::function<void(bool)> setBlnBuildSubQuery;
    /// The query the editor holds, brought up to date by its last edit.
    std::function<std::shared_ptr<cSQLQuery>()> SQLQueryObject;
};

/// The modal dialog in which the user edits the one sub-query of a query, with its name, in a
/// nested query editor. The dialog works on a copy made from the sub-query's XML document, so
/// the caller's object stays untouched; only OK hands the edited query back.
///
/// Calling order: create, setEditor, set the properties, exec(), read objSubQuery. The editor is
/// loaded when the dialog is first shown.
///
/// Controls (object names): "txtName" with its label "lblName", the hosted editor, "cmdOk",
/// "cmdCancel".
class MAROVIN_EXPORT frmSubQuery : public QDialog {
    Q_OBJECT
public:
    /// The key under which the dialog's last size is remembered (section "DialogSizes").
    static constexpr const char* kSizeKey = "SubQuery";
    /// The window title.
    static constexpr const char* kCaption = "Sub-Query";
    /// The name a sub-query without one gets.
    static constexpr const char* kDefaultName = "VirtualTable";

    explicit frmSubQuery(PlatformServices services, QWidget* parent = nullptr);
    ~frmSubQuery() override;

    /// The editor to host; call once, before the dialog is shown.
    void setEditor(SubQueryEditor editor);

    /// Write-only. The connection given to the editor.
    void setObjConnection(std::shared_ptr<cDbConnection> connection);
    /// The edited sub-query after OK; nullptr after Cancel or any other way of closing.
    std::shared_ptr<cSQLQuery> objSubQuery() const { return m_objSubQuery; }
    /// Keeps only the document of the query (nothing for nullptr); the dialog edits a query
    /// rebuilt from it.
    void setObjSubQuery(const std::shared_ptr<cSQLQuery>& query);

    /// The editor reports an edit of its query: the sub-query counts as changed.
    void editorChanged();

    /// Closing without OK asks whether to quit when the sub-query was edited; No keeps the
    /// dialog open.
    void reject() override;
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void loadEditor();
    void EnableOk();
    void ConfirmOK();
    /// Whether a typed key is refused by the name field.
    bool refusesNameKey(const QKeyEvent& event) const;
    void run(const std::function<void()>& action);

    PlatformServices m_services;
    SubQueryEditor m_editor;
    std::shared_ptr<cDbConnection> m_objConnection;
    std::shared_ptr<cSQLQuery> m_objSubQuery;
    /// The document of the sub-query given; empty when none was given.
    std::string m_strXmlSubQuery;
    bool m_blnChanged = false;
    bool m_blnLoaded = false;

    QLabel* m_lblName = nullptr;
    QLineEdit* m_txtName = nullptr;
    QPushButton* m_cmdOk = nullptr;
    QPushButton* m_cmdCancel = nullptr;
};

} // namespace marovin
