#pragma once

#include "marovin/DbCancellation.h"
#include "marovin/DbForeignKey.h"
#include "marovin/DbSession.h"
#include "marovin/MarovinExport.h"
#include "marovin/cRecordset.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marovin {

/// The connection settings of one database and the services that reach it: the catalogue of
/// tables and views, the columns of one table, a syntax check and a row-limited query. Every
/// service opens a connection of its own and keeps none open. Services never throw; they answer
/// with empty strings, null results or error texts.
///
/// Providers (strProvider, compared without regard to case):
///  - "SQLServer" (default; "sqloledb" is accepted as well): Microsoft SQL Server through unixODBC
///    and an ODBC driver (strDriver; default the environment variable MAROVIN_ODBC_DRIVER, else
///    "FreeTDS"). strServer is host, host,port or host\\instance.
///  - "ODBC": any ODBC data source; strConnectionString holds a DSN=... or DRIVER=... string,
///    or strServer names a DSN; strDatabase, strUserName and strPassword are added when set.
///  - "SQLite": an SQLite file (strDatabase is its path), opened read-only and attached as the
///    schema "dbo".
class MAROVIN_EXPORT cDbConnection {
public:
    static constexpr const char* kProviderSqlServer = "SQLServer";
    static constexpr const char* kProviderOdbc = "ODBC";
    static constexpr const char* kProviderSqlite = "SQLite";
    static constexpr const char* kDefaultDriver = "FreeTDS";
    static constexpr const char* kDriverEnvironmentVariable = "MAROVIN_ODBC_DRIVER";
    /// The TDS protocol version given to FreeTDS (the environment variable overrides it).
    static constexpr const char* kDefaultTdsVersion = "7.3";
    static constexpr const char* kTdsVersionEnvironmentVariable = "MAROVIN_TDS_VERSION";
    static constexpr std::int32_t kCommandTimeout = 600;
    static constexpr std::int32_t kDefaultLoginTimeout = 15;

    cDbConnection() = default;

    bool blnExcludeSystemTables() const { return m_blnExcludeSystemTables; }
    void setBlnExcludeSystemTables(bool value) { m_blnExcludeSystemTables = value; }
    bool blnExcludeSystemViews() const { return m_blnExcludeSystemViews; }
    void setBlnExcludeSystemViews(bool value) { m_blnExcludeSystemViews = value; }
    bool blnIncludeViews() const { return m_blnIncludeViews; }
    void setBlnIncludeViews(bool value) { m_blnIncludeViews = value; }
    /// Write-only.
    void setBlnIncludeUserTables(bool value) { m_blnIncludeUserTables = value; }
    bool blnWindowsAuthentication() const { return m_blnWindowsAuthentication; }
    void setBlnWindowsAuthentication(bool value) { m_blnWindowsAuthentication = value; }

    const std::string& strDatabase() const { return m_strDatabase; }
    void setStrDatabase(const std::string& value) { m_strDatabase = value; }
    const std::string& strUserName() const { return m_strUserName; }
    void setStrUserName(const std::string& value) { m_strUserName = value; }
    const std::string& strPassword() const { return m_strPassword; }
    void setStrPassword(const std::string& value) { m_strPassword = value; }
    const std::string& strServer() const { return m_strServer; }
    void setStrServer(const std::string& value) { m_strServer = value; }

    /// For the host's own use; never read here.
    std::int32_t lngId() const { return m_lngId; }
    void setLngId(std::int32_t value) { m_lngId = value; }

    const std::string& strProvider() const { return m_strProvider; }
    void setStrProvider(const std::string& value) { m_strProvider = value; }
    /// The ODBC driver for SQL Server; empty means the environment variable, else FreeTDS.
    const std::string& strDriver() const { return m_strDriver; }
    void setStrDriver(const std::string& value) { m_strDriver = value; }
    /// The connection string of the "ODBC" provider.
    const std::string& strConnectionString() const { return m_strConnectionString; }
    void setStrConnectionString(const std::string& value) { m_strConnectionString = value; }
    /// Seconds allowed for opening a connection (ODBC providers).
    std::int32_t lngLoginTimeout() const { return m_lngLoginTimeout; }
    void setLngLoginTimeout(std::int32_t value) { m_lngLoginTimeout = value; }

    /// The ODBC connection string the ODBC providers open, every value brace-escaped; empty for
    /// SQLite, and empty when a value cannot be written safely for the driver (FreeTDS cannot
    /// take a value holding "};").
    std::string strOdbcConnectionString() const;
    /// The driver actually used for SQL Server (strDriver, else the environment, else FreeTDS).
    std::string strEffectiveDriver() const;

    std::string GetListOfFields(const std::string& strTableName, bool blnIncludeTableName) const;
    std::string GetListOfTables() const;
    /// Every table and view of the database (all types, before the list options are applied), in
    /// catalogue order, handed to batch in parts as the driver delivers them. False with the
    /// reason in strError when the database cannot be reached or the listing fails; a cancelled
    /// listing answers false with kCancelledText, also while SQLite is still reading the schema
    /// of a large file. Parts already handed over stay handed over; an exception from batch ends
    /// the listing as a failure with its text.
    bool ListTables(const std::function<void(std::vector<DbSession::TableRow>&&)>& batch,
                    std::string& strError, DbCancellation* cancellation) const;
    /// The same, and a listing that succeeds hands the session it used to keepSession, still
    /// open (with an SQLite file's schema read, which is most of the cost of opening one).
    bool ListTables(const std::function<void(std::vector<DbSession::TableRow>&&)>& batch,
                    std::string& strError, DbCancellation* cancellation,
                    std::unique_ptr<DbSession>* keepSession) const;
    /// The rows ListTables would hand over, in the same order, read from an SQLite file's pages
    /// without opening the database: SQLite parses the statement of every table before it
    /// lists one name (seconds for 100,000 tables), the pages of its schema table are read in
    /// a small fraction of that. nullopt for other providers, and when the file cannot be read
    /// that way: no SQLite file, a text encoding other than UTF-8, a write-ahead log or a
    /// journal with content beside it (the file alone may then be out of date), damaged pages.
    /// The file may change at any moment, so the rows are a first sight of the catalogue that a
    /// listing confirms. Never throws.
    std::optional<std::vector<DbSession::TableRow>> GetTablesFromFile() const;
    /// GetListOfFields on a session the caller keeps open; "" when it fails.
    static std::string GetListOfFields(DbSession& session, const std::string& strTableName,
                                       bool blnIncludeTableName);
    /// Whether the table list shows a catalogue row under the current options (user tables,
    /// views, system tables, system views).
    bool blnListsTableRow(const DbSession::TableRow& row) const;
    /// A short text that changes whenever the database's tables, views or columns change, read
    /// without listing them: for SQLite the schema cookie of the file header and a hash of the
    /// rest of its first page (and the size and time of a write-ahead log beside it), read with
    /// plain file I/O; for SQL Server the newest modify_date and the number of rows of
    /// sys.objects. Empty when the database cannot tell (other ODBC sources) or cannot be reached.
    /// Read it before listing, so that a change during the listing shows as a stale stamp.
    std::string GetCatalogueStamp() const;
    /// The declared foreign keys in which the table takes part, its tables written as the table
    /// list writes them ("dbo.Orders"): first the table's own keys, ordered by name, referenced
    /// table and columns, then the keys of other tables that reference it, ordered by name,
    /// referencing table and columns. A key of the table on itself comes once, among its own
    /// keys. strTableName is an entry of the table list ("dbo.Order Details"); bracketed parts
    /// ("dbo.[Order Details]") and a name without schema (looked up as the server looks up an
    /// unqualified name) are accepted too. Empty when the database cannot be reached, the table
    /// is unknown or the driver cannot tell.
    std::vector<DbForeignKey> GetForeignKeys(const std::string& strTableName) const;
    /// GetForeignKeys on a session the caller keeps open.
    static std::vector<DbForeignKey> GetForeignKeys(DbSession& session,
                                                    const std::string& strTableName);
    /// GetForeignKeys on a session, with the keys of other tables sought only among
    /// colReferencingTables (table-list entries, like strTableName): what a caller needs who
    /// joins the table to those tables alone. Keys of other tables may still come along where
    /// the source finds them as cheaply. On an SQLite database of many tables this reads a few
    /// key lists instead of one per table of the schema.
    static std::vector<DbForeignKey>
    GetForeignKeys(DbSession& session, const std::string& strTableName,
                   const std::vector<std::string>& colReferencingTables);
    /// An open connection, or nullptr when none could be opened.
    std::unique_ptr<DbSession> GetConnection() const;
    /// The same, stoppable from another thread while it opens (an SQLite file's schema is read
    /// then); nullptr when it was cancelled.
    std::unique_ptr<DbSession> GetConnection(DbCancellation* cancellation) const;
    std::string CheckSQLSyntax(const std::string& strSQLQuery) const;
    std::shared_ptr<cRecordset> FireQuery(const std::string& strSQLQuery, std::string& strErrorMsg,
                                          std::int32_t lngMaxNrRecords) const;
    /// The same services, stoppable from another thread through the cancellation (may be
    /// nullptr). A cancelled check answers kCancelledText; a cancelled query returns nullptr with
    /// kCancelledText as its error text.
    std::string CheckSQLSyntax(const std::string& strSQLQuery, DbCancellation* cancellation) const;
    std::shared_ptr<cRecordset> FireQuery(const std::string& strSQLQuery, std::string& strErrorMsg,
                                          std::int32_t lngMaxNrRecords,
                                          DbCancellation* cancellation) const;
    bool Check(bool blnSilent) const;
    /// Copies the settings onto the target, except blnIncludeUserTables, which the target keeps.
    void CopyTo(cDbConnection& SQLConnectInfoCopy) const;
    bool IsTheFieldInTheTable(const std::string& strField, const std::string& strTable) const;

    /// The description of the last failure to open a connection in this thread (for tools that
    /// want to say why; the services themselves answer with their fixed texts).
    static std::string LastConnectionError();

private:
    std::string odbcConnectionString(std::string& error) const;

    bool m_blnExcludeSystemTables = true;
    bool m_blnExcludeSystemViews = true;
    bool m_blnIncludeViews = true;
    bool m_blnIncludeUserTables = true;
    bool m_blnWindowsAuthentication = false;
    std::string m_strServer;
    std::string m_strUserName;
    std::string m_strPassword;
    std::string m_strDatabase;
    std::int32_t m_lngId = 0;
    std::string m_strProvider = kProviderSqlServer;
    std::string m_strDriver;
    std::string m_strConnectionString;
    std::int32_t m_lngLoginTimeout = kDefaultLoginTimeout;
};

} // namespace marovin
