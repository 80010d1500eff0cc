#pragma once

#include "marovin/DbSession.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace marovin {

// The tables and views of an SQLite schema in SQL Server's catalogue order: SQLite's own tables
// ("sqlite_" names, and the schema table itself) as system tables first, then the tables, then
// the views, each kind by name without regard to case, then with. The names are gathered in one
// text, so that a catalogue of 100,000 tables never stands as one vector of rows here.
class SqliteCatalogueRows {
public:
    explicit SqliteCatalogueRows(std::size_t expectedRows);
    // A row of the schema table whose type is "table" or "view".
    void add(std::string_view type, std::string_view name);
    // Sorts the rows and hands them to batch in parts of DbSession::kTableBatch rows (one empty
    // part when there are none).
    void handOver(const std::function<void(std::vector<DbSession::TableRow>&&)>& batch);

private:
    struct Entry {
        std::size_t offset; // of the name in m_names
        std::uint32_t length;
        std::uint32_t type; // 0 system table, 1 table, 2 view
    };
    void push(std::string_view name, std::uint32_t type);
    std::string m_names;
    std::vector<Entry> m_entries;
};

// An SQLite file opened read-only and attached under the schema name "dbo", with the
// Transact-SQL functions registered. Nothing sent through it can change the file: the file is
// opened read-only and the connection is in query-only mode.
class SqliteSession : public DbSession {
public:
    // Opens the file; raises DbError when it is missing or not a database.
    explicit SqliteSession(const std::string& path, std::int32_t commandTimeoutSeconds);
    // A session with no file yet, to be given one with Open(). It can be interrupted at once, so
    // that a caller who must be able to stop the open (SQLite reads the whole schema of a file
    // when it attaches it, which takes seconds for a very large catalogue) can register the
    // session before opening it.
    explicit SqliteSession(std::int32_t commandTimeoutSeconds);
    ~SqliteSession() override;

    // Attaches the file and reads its schema, within the command time-out; Interrupt() stops
    // it. Raises DbError when the file is missing or not a database, or the open was
    // interrupted; the session is then of no further use.
    void Open(const std::string& path);

    using DbSession::Tables;
    // The whole schema is read and sorted into the catalogue order first, then handed over in
    // parts of kTableBatch rows.
    void Tables(const std::function<void(std::vector<TableRow>&&)>& batch) override;
    std::vector<std::string> Columns(const std::string& schema, const std::string& table) override;
    // Keys as PRAGMA foreign_key_list declares them, found for every table of the file; a key
    // without a referenced column list is given the referenced table's primary key columns.
    std::vector<DbForeignKey> ForeignKeys(const std::string& schema,
                                          const std::string& table) override;
    // The table's own keys and those of the listed tables that reference it: one key list read
    // per table instead of one per table of the schema.
    std::vector<DbForeignKey> ForeignKeysAmong(
        const std::string& schema, const std::string& table,
        const std::vector<std::pair<std::string, std::string>>& referencingTables) override;
    bool SupportsParseOnly() const override { return false; }
    void Execute(const std::string& sql) override;
    void Prepare(const std::string& sql) override;
    std::shared_ptr<cRecordset> Query(const std::string& sql, std::int32_t maxRows) override;
    void Close() override;
    std::string strDbmsName() const override { return "SQLite"; }
    void Interrupt() override;

private:
    // The open connection; raises DbError when it is closed or the session was interrupted, so
    // that no statement starts after an interrupt, however short.
    sqlite3* handle() const;
    [[noreturn]] void fail() const;
    // A prepared statement (the caller finalizes it); throws DbError with SQLite's message.
    sqlite3_stmt* prepare(const char* sql) const;
    void startClock();
    // Compiles the statements of a batch one after the other and hands each to onStatement
    // until it answers false; raises DbError for the first that does not compile.
    void forEachStatement(const std::string& text,
                          const std::function<bool(sqlite3_stmt*)>& onStatement);
    // Steps a statement to its end, discarding any rows; raises DbError on failure.
    void runToEnd(sqlite3_stmt* stmt) const;
    // Reads at most maxRows rows (all when maxRows <= 0) of a statement with nCols columns.
    std::shared_ptr<cRecordset> readRows(sqlite3_stmt* stmt, int nCols, std::int32_t maxRows) const;
    static int progress(void* self);
    // The name of a table of the file as declared, found without regard to (ASCII) case as
    // SQLite finds it; nothing when there is no such table.
    std::optional<std::string> declaredTableName(const std::string& name) const;
    // The declared name of a table whose keys are asked for (the clock started), or nothing when
    // the schema is not the file's or there is no such table.
    std::optional<std::string> keyedTableName(const std::string& schema, const std::string& table);
    // The declared names of a table's columns, and of its primary key columns in key order.
    std::vector<std::string> columnNames(const std::string& table, bool primaryKeyOnly) const;
    // A foreign key as a table declares it, read from pragma_foreign_key_list.
    struct DeclaredKey {
        std::string table;
        std::int64_t id = 0;
        std::string referencedTable;
        std::vector<std::string> columns;
        std::vector<std::string> referencedColumns; // empty: no column list was written
    };
    // Steps a statement whose rows are (owner, id, table, from, to), ordered by owner, id and
    // sequence, gathering each key's column pairs.
    void readDeclaredKeys(sqlite3_stmt* stmt, std::vector<DeclaredKey>& declared) const;
    // The keys of the table named, own and referencing, as ForeignKeys hands them over.
    std::vector<DbForeignKey> keysOfTable(const std::string& name,
                                          std::vector<DeclaredKey> declared) const;

    sqlite3* m_db = nullptr;
    std::chrono::seconds m_timeout;
    std::chrono::steady_clock::time_point m_deadline;
    // The rows of the schema table when the file was opened (tables, views, indexes and
    // triggers): room enough for the catalogue.
    std::size_t m_schemaRows = 0;
    // Set by Interrupt(); the progress handler then stops every statement.
    std::atomic<bool> m_interrupted{false};
};

} // namespace marovin
