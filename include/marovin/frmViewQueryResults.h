#pragma once

#include "marovin/MarovinExport.h"
#include "marovin/platform/PlatformServices.h"

#include <QDialog>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

namespace marovin {

class cDbConnection;
class cRecordset;
class RecordsetModel;

/// The modal window that shows the rows a query returns, at most a chosen number of them, in a
/// grid. The user can change the row limit and fetch again, find a text in the current column,
/// copy everything (or a selection of cells) to the clipboard as tab-separated text and export
/// the rows to a CSV or tab-separated file. Fetching runs off the user-interface thread behind a
/// busy indicator whose Cancel button stops the statement; a cancelled fetch leaves the rows
/// shown before.
///
/// Calling order: create, set DbConnection, strSQLQuery and lngNrRecordsToShow, optionally give
/// it the rows already fetched with setRecordSet (which fills the grid), exec(). Without rows the
/// viewer fetches them itself once it is shown. Closing clamps lngNrRecordsToShow into 5..100
/// and saves it under "QueryPreview"/"NrRecords".
///
/// Controls (object names, each with an accessible name): the grid "jgQueryResults"; the row
/// limit "txtRows" with its label "lblRows" and "cmdRefresh"; "txtSearchText" with its label
/// "lblSearchText" and "cmdSearch"; "cmdPrint" (copy everything), "cmdCopySelection",
/// "cmdExport", "cmdClose"; the number of rows shown "lblRecordCount". Ctrl+C in the grid copies
/// the selected cells when more than one is selected, else everything. Escape closes.
class MAROVIN_EXPORT frmViewQueryResults : public QDialog {
    Q_OBJECT
public:
    /// The window title, also the caption of the connection and fetch messages.
    static constexpr const char* kCaption = "Preview Query Results";
    /// The key under which the window's last size is remembered (section "DialogSizes").
    static constexpr const char* kSizeKey = "QueryResults";
    /// The settings shared with the widget's preview.
    static constexpr const char* kSettingsSection = "QueryPreview";
    static constexpr const char* kSettingsKey = "NrRecords";
    /// The limit used when the stored one is 0 (or below, which would fetch without limit).
    static constexpr std::int32_t kDefaultNrRecords = 100;
    /// The range the limit is clamped into when the viewer closes.
    static constexpr std::int32_t kMinSavedNrRecords = 5;
    static constexpr std::int32_t kMaxSavedNrRecords = 100;

    explicit frmViewQueryResults(PlatformServices services, QWidget* parent = nullptr);
    ~frmViewQueryResults() override;

    /// The connection used to fetch the rows again; a copy of it runs each fetch.
    std::shared_ptr<cDbConnection> DbConnection() const { return m_DbConnection; }
    void setDbConnection(std::shared_ptr<cDbConnection> connection);
    /// The statement the viewer runs.
    const std::string& strSQLQuery() const { return m_strSQLQuery; }
    void setStrSQLQuery(const std::string& value) { m_strSQLQuery = value; }
    /// The row limit for fetching.
    std::int32_t lngNrRecordsToShow() const { return m_lngNrRecordsToShow; }
    void setLngNrRecordsToShow(std::int32_t value) { m_lngNrRecordsToShow = value; }
    /// The rows shown. Setting them loads the viewer (reads the stored limit, checks the
    /// connection) the first time and fills the grid; nullptr makes the next fill fetch anew.
    std::shared_ptr<cRecordset> RecordSet() const { return m_RecordSet; }
    void setRecordSet(std::shared_ptr<cRecordset> rows);

    /// The position (from 0) of the grid's current column; 0 when there is none.
    int GetCurrentColumn() const;
    /// Fills the grid from RecordSet, or, when there is none, fetches strSQLQuery with the limit
    /// lngNrRecordsToShow first; then puts the number of rows (at least 5) into "txtRows". A fetch
    /// error is shown and leaves the grid as it was, as does a cancelled fetch.
    void CreateGridFromADORecordSet();

    /// The texts the viewer copies and exports, usable without a window.
    ///
    /// Clipboard text: the column names separated by tabs, CR LF twice, then one line per row
    /// with the values separated by tabs, trailing blanks removed, each line ended by CR LF.
    /// NULL is copied as an empty value. With rows and columns given (positions from 0, in
    /// order) only those are copied.
    static std::string ClipboardText(const cRecordset& rows);
    static std::string ClipboardText(const cRecordset& rows, const std::vector<int>& rowPositions,
                                     const std::vector<int>& columnPositions);
    /// CSV after RFC 4180: a header record of the column names, then one record per row, every
    /// record ended by CR LF; a field holding a comma, a double quote, CR or LF is put in double
    /// quotes with its double quotes doubled. NULL is an empty field. Values are written whole,
    /// blanks included. cancelled, when given, is asked between rows; true stops the writing.
    static void WriteCsv(const cRecordset& rows, std::ostream& out,
                         const std::function<bool()>& cancelled = {});
    /// Tab-separated text: a header line of the column names, then one line per row, each ended
    /// by CR LF. Tabs, CR and LF inside a value (which the format cannot hold) become blanks.
    static void WriteTsv(const cRecordset& rows, std::ostream& out,
                         const std::function<bool()>& cancelled = {});

    /// Closing (cmdClose, Escape, the window's close button) clamps and saves the row limit.
    /// While rows are being fetched, copied or exported, closing cancels that instead.
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void Load();
    void bindGrid(std::shared_ptr<cRecordset> rows);
    void fitColumnWidths();
    void Refresh();
    void Search();
    void CopyAll();
    void CopySelection();
    void CopyText(const std::function<std::string()>& makeText);
    void Export();
    void EnableButtons();
    void setWorking(bool working);
    /// Runs work off the user-interface thread behind the busy indicator (see RunInBackground);
    /// false when it was cancelled.
    bool runInBackground(const QString& strText, const std::function<void()>& work,
                         const std::function<void()>& cancel);
    /// Runs a fetch of strSQLQuery off the user-interface thread; false when it was cancelled.
    bool fetch(std::int32_t limit, std::shared_ptr<cRecordset>& rows, std::string& error);
    void run(const std::function<void()>& action);

    PlatformServices m_services;
    std::shared_ptr<cDbConnection> m_DbConnection;
    std::shared_ptr<cRecordset> m_RecordSet;
    std::string m_strSQLQuery;
    std::int32_t m_lngNrRecordsToShow = 0;
    bool m_blnLoaded = false;
    /// Set when there is no connection: the viewer closes itself once it is shown.
    bool m_blnCloseOnActivate = false;
    bool m_blnShown = false;
    /// Cancels the work running off the user-interface thread; empty when none runs.
    std::function<void()> m_cancelWork;

    RecordsetModel* m_model = nullptr;
    QTableView* m_jgQueryResults = nullptr;
    QLabel* m_lblRows = nullptr;
    QLineEdit* m_txtRows = nullptr;
    QPushButton* m_cmdRefresh = nullptr;
    QLabel* m_lblSearchText = nullptr;
    QLineEdit* m_txtSearchText = nullptr;
    QPushButton* m_cmdSearch = nullptr;
    QLabel* m_lblRecordCount = nullptr;
    QPushButton* m_cmdPrint = nullptr;
    QPushButton* m_cmdCopySelection = nullptr;
    QPushButton* m_cmdExport = nullptr;
    QPushButton* m_cmdClose = nullptr;
};

} // namespace marovin
