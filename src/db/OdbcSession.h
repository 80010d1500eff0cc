#pragma once

#include "marovin/DbSession.h"

#include <atomic>
#include <mutex>
#include <sql.h>
#include <sqlext.h>
#include <string>

namespace marovin {

// A connection through the unixODBC driver manager to any driver (FreeTDS for SQL Server,
// psqlODBC, the SQLite ODBC driver, ...).
class OdbcSession : public DbSession {
public:
    // Connects with the connection string; raises DbError with the driver's diagnostics.
    // loginTimeout bounds the connect (0: the driver's default); commandTimeout is set on
    // every statement.
    OdbcSession(const std::string& connectionString, std::int32_t loginTimeout,
                std::int32_t commandTimeout);
    ~OdbcSession() override;

    std::vector<TableRow> Tables() override;
    std::vector<std::string> Columns(const std::string& schema, const std::string& table) override;
    bool SupportsParseOnly() const override;
    void Execute(const std::string& sql) override;
    void Prepare(const std::string& sql) override;
    std::shared_ptr<cRecordset> Query(const std::string& sql, std::int32_t maxRows) override;
    void Close() override;
    std::string strDbmsName() const override { return m_dbmsName; }
    void Interrupt() override;

    // The diagnostic messages of a handle, joined by CR LF.
    static std::string Diagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

private:
    class Stmt;
    std::string searchPattern(const std::string& value) const;

    SQLHENV m_env = SQL_NULL_HENV;
    SQLHDBC m_dbc = SQL_NULL_HDBC;
    bool m_connected = false;
    std::int32_t m_commandTimeout;
    std::string m_dbmsName;
    std::string m_searchEscape;
    bool m_schemaUsage = false; // whether the source has schemas
    // The statement running now, for SQLCancel from another thread; guarded by m_runningMutex.
    std::mutex m_runningMutex;
    SQLHSTMT m_running = SQL_NULL_HSTMT;
    std::atomic<bool> m_interrupted{false};
};

} // namespace marovin
