#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace marovin {

class cRecordset;

// One open connection to a database, as handed out by cDbConnection::GetConnection. It is
// closed when destroyed. Every operation raises DbError with the driver's description on
// failure.
class DbSession {
public:
    struct TableRow {
        std::string strSchema;
        std::string strName;
        std::string strType; // "TABLE", "VIEW", "SYSTEM TABLE", "SYSTEM VIEW", or another
    };

    virtual ~DbSession() = default;
    DbSession(const DbSession&) = delete;
    DbSession& operator=(const DbSession&) = delete;

    // The tables and views of the database in the source's catalogue order.
    virtual std::vector<TableRow> Tables() = 0;
    // Column names of the tables matching schema and name (an empty restriction means any),
    // in the source's order.
    virtual std::vector<std::string> Columns(const std::string& schema,
                                             const std::string& table) = 0;
    // Whether the server understands "SET PARSEONLY" (Microsoft SQL Server).
    virtual bool SupportsParseOnly() const = 0;
    // Runs a batch and discards whatever it returns.
    virtual void Execute(const std::string& sql) = 0;
    // Compiles a statement without running it.
    virtual void Prepare(const std::string& sql) = 0;
    // Runs a statement and reads at most maxRows rows (all when maxRows <= 0) into a detached
    // result set.
    virtual std::shared_ptr<cRecordset> Query(const std::string& sql, std::int32_t maxRows) = 0;
    // Closes the connection now; later operations fail.
    virtual void Close() = 0;
    // The name the database reports for itself (e.g. "Microsoft SQL Server", "SQLite").
    virtual std::string strDbmsName() const = 0;
    // Called from another thread: stops the statement running now and refuses every later
    // one, which then fail with DbError. Safe at any time while the session exists.
    virtual void Interrupt() = 0;

protected:
    DbSession() = default;
};

} // namespace marovin
