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

    using DbSession::Tables;
    // SQLTables, the rows handed over in parts of kTableBatch as SQLFetch delivers them (the
    // driver's order is the catalogue order).
    void Tables(const std::function<void(std::vector<TableRow>&&)>& batch) override;
    std::vector<std::string> Columns(const std::string& schema, const std::string& table) override;
    // SQLForeignKeys, asked once with the table as the foreign-key table and once as the
    // primary-key table.
    std::vector<DbForeignKey> ForeignKeys(const std::string& schema,
                                          const std::string& table) override;
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
    // The keys SQLForeignKeys reports for the table on one side (the foreign-key side when
    // ownKeys is true), the rows of each key brought together.
    std::vector<DbForeignKey> foreignKeys(const std::string& schema, const std::string& table,
                                          bool ownKeys);
    // The primary key columns of a table in key order (SQLPrimaryKeys).
    std::vector<std::string> primaryKeyColumns(const std::string& schema, const std::string& table);

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
