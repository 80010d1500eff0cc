#pragma once

#include "marovin/DbForeignKey.h"
#include "marovin/MarovinExport.h"

#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace marovin {

class cRecordset;

/// One open connection to a database, as handed out by cDbConnection::GetConnection. It is
/// closed when destroyed. Every operation raises DbError with the driver's description on
/// failure.
class MAROVIN_EXPORT DbSession {
public:
    struct TableRow {
        std::string strSchema;
        std::string strName;
        std::string strType; // "TABLE", "VIEW", "SYSTEM TABLE", "SYSTEM VIEW", or another
    };

    /// The rows of one part of a streamed catalogue.
    static constexpr std::size_t kTableBatch = 1000;

    virtual ~DbSession() = default;
    DbSession(const DbSession&) = delete;
    DbSession& operator=(const DbSession&) = delete;

    /// The tables and views of the database, in the source's catalogue order, handed to batch in
    /// parts (of kTableBatch rows) as the source delivers them, so that a caller can show a long
    /// catalogue while it is still being read and no one part has to hold all of it. Raises
    /// DbError on failure; parts already handed over stay handed over. An empty catalogue is one
    /// empty part.
    virtual void Tables(const std::function<void(std::vector<TableRow>&&)>& batch) = 0;
    /// The same rows gathered into one list.
    std::vector<TableRow> Tables() {
        std::vector<TableRow> rows;
        Tables([&rows](std::vector<TableRow>&& part) {
            if (rows.empty()) {
                rows = std::move(part);
                return;
            }
            rows.insert(rows.end(), std::make_move_iterator(part.begin()),
                        std::make_move_iterator(part.end()));
        });
        return rows;
    }
    /// Column names of the tables matching schema and name (an empty restriction means any),
    /// in the source's order.
    virtual std::vector<std::string> Columns(const std::string& schema,
                                             const std::string& table) = 0;
    /// The declared foreign keys in which the table (exact name; an empty schema means the
    /// driver's default) takes part on either side, tables written "schema.name": first the
    /// table's own keys, ordered by name, referenced table and columns, then the keys of other
    /// tables that reference it, ordered by name, referencing table and columns. A key of the
    /// table on itself is listed once, among its own keys. Empty when the driver has no such
    /// catalogue.
    virtual std::vector<DbForeignKey> ForeignKeys(const std::string& schema,
                                                  const std::string& table) = 0;
    /// ForeignKeys, with the keys of other tables sought only among referencingTables (their
    /// names as ForeignKeys takes the table's: schema and name). The keys of tables left out of
    /// the list may still be listed where a source finds them as cheaply; an SQLite database
    /// otherwise reads the key list of every table in its schema to find them.
    virtual std::vector<DbForeignKey>
    ForeignKeysAmong(const std::string& schema, const std::string& table,
                     const std::vector<std::pair<std::string, std::string>>& referencingTables) {
        (void)referencingTables;
        return ForeignKeys(schema, table);
    }
    /// Whether the server understands "SET PARSEONLY" (Microsoft SQL Server).
    virtual bool SupportsParseOnly() const = 0;
    /// Runs a batch and discards whatever it returns.
    virtual void Execute(const std::string& sql) = 0;
    /// Compiles a statement without running it.
    virtual void Prepare(const std::string& sql) = 0;
    /// Runs a statement and reads at most maxRows rows (all when maxRows <= 0) into a detached
    /// result set.
    virtual std::shared_ptr<cRecordset> Query(const std::string& sql, std::int32_t maxRows) = 0;
    /// Closes the connection now; later operations fail.
    virtual void Close() = 0;
    /// The name the database reports for itself (e.g. "Microsoft SQL Server", "SQLite").
    virtual std::string strDbmsName() const = 0;
    /// Called from another thread: stops the statement running now and refuses every later
    /// one, which then fail with DbError. Safe at any time while the session exists.
    virtual void Interrupt() = 0;

protected:
    DbSession() = default;
};

} // namespace marovin
