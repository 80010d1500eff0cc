#include "SqliteSession.h"

#include "ForeignKeyRows.h"
#include "RecordsetBuilder.h"
#include "SqliteFunctions.h"
#include "marovin/DbCancellation.h"
#include "marovin/DbError.h"
#include "marovin/cRecordset.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sqlite3.h>
#include <string_view>
#include <sys/stat.h>
#include <unordered_set>
#include <utility>

namespace marovin {

namespace {

// The schema name under which the file is attached, so that dbo.Orders resolves.
constexpr const char* kSchema = "dbo";

bool equalsNoCase(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

// ASCII letters in lower case, every other byte as it is.
unsigned char lowerAscii(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

// The byte order of the two texts in lower case (as comparing lower-cased copies would give).
int compareNoCase(std::string_view a, std::string_view b) {
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char x = lowerAscii(static_cast<unsigned char>(a[i]));
        const unsigned char y = lowerAscii(static_cast<unsigned char>(b[i]));
        if (x != y)
            return x < y ? -1 : 1;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

bool startsWithNoCase(std::string_view text, std::string_view lowerPrefix) {
    return text.size() >= lowerPrefix.size() &&
           compareNoCase(text.substr(0, lowerPrefix.size()), lowerPrefix) == 0;
}

// A file URI for the path: characters that mean something in a URI are percent-encoded.
std::string fileUri(const std::string& path) {
    static const char kHex[] = "0123456789ABCDEF";
    // An absolute path gets an empty authority ("file:///..."), so that a path beginning with
    // "//" is not read as a host name.
    std::string uri = !path.empty() && path.front() == '/' ? "file://" : "file:";
    for (unsigned char c : path) {
        if (c == '%' || c == '?' || c == '#' || c <= ' ' || c >= 0x7F) {
            uri += '%';
            uri += kHex[c >> 4];
            uri += kHex[c & 15];
        } else {
            uri += static_cast<char>(c);
        }
    }
    return uri + "?mode=ro";
}

// A statement that would write anything (VACUUM INTO and settings included) is not run, even
// where the read-only file would refuse it anyway.
void refuseWrites(sqlite3_stmt* stmt) {
    if (!sqlite3_stmt_readonly(stmt))
        throw DbError("attempt to write a readonly database");
}

// Other databases cannot be attached or the sample detached.
int authorize(void*, int action, const char*, const char*, const char*, const char*) {
    return action == SQLITE_ATTACH || action == SQLITE_DETACH ? SQLITE_DENY : SQLITE_OK;
}

// Owns one prepared statement.
class Statement {
public:
    Statement() = default;
    explicit Statement(sqlite3_stmt* stmt) : m_stmt(stmt) {}
    ~Statement() { sqlite3_finalize(m_stmt); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    sqlite3_stmt** out() {
        sqlite3_finalize(m_stmt);
        m_stmt = nullptr;
        return &m_stmt;
    }
    sqlite3_stmt* get() const { return m_stmt; }

private:
    sqlite3_stmt* m_stmt = nullptr;
};

} // namespace

SqliteSession::SqliteSession(const std::string& path, std::int32_t commandTimeoutSeconds)
    : SqliteSession(commandTimeoutSeconds) {
    // The delegated constructor has finished, so a failing Open is cleaned up by the destructor.
    Open(path);
}

SqliteSession::SqliteSession(std::int32_t commandTimeoutSeconds)
    : m_timeout(commandTimeoutSeconds) {
    // The main database is an empty in-memory one; the file is attached read-only as "dbo".
    // Attached files inherit the read-only open flag.
    int rc = sqlite3_open_v2(":memory:", &m_db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    if (rc != SQLITE_OK) {
        std::string msg = m_db ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc);
        Close();
        throw DbError(msg);
    }
    sqlite3_extended_result_codes(m_db, 1);
    // A double-quoted name that matches no column must be an error, as on the
    // server, not a string literal: bracketed names holding "]]" reach SQLite
    // double-quoted.
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DML, 0, static_cast<int*>(nullptr));
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DDL, 0, static_cast<int*>(nullptr));
    sqlite3_busy_timeout(m_db, 5000);
    // Installed before the file is attached, so that the time-out and Interrupt() also reach
    // the schema read of the attach.
    startClock();
    sqlite3_progress_handler(m_db, 10000, &SqliteSession::progress, this);
}

void SqliteSession::Open(const std::string& path) {
    struct stat st {};
    if (path.empty())
        throw DbError("No database file given");
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        throw DbError("unable to open database file: " + path);
    sqlite3* db = handle();
    startClock();
    Statement attach;
    std::string uri = fileUri(path);
    if (sqlite3_prepare_v2(db, "ATTACH DATABASE ?1 AS dbo", -1, attach.out(), nullptr) !=
            SQLITE_OK ||
        sqlite3_bind_text(attach.get(), 1, uri.c_str(), -1, SQLITE_TRANSIENT) != SQLITE_OK ||
        sqlite3_step(attach.get()) != SQLITE_DONE) {
        // An attach stopped while it read the schema reports only that the file could not be
        // opened; its code tells that it was interrupted.
        const int code = sqlite3_errcode(db) & 0xff;
        throw DbError(
            std::string(code == SQLITE_INTERRUPT ? sqlite3_errstr(code) : sqlite3_errmsg(db)) +
            ": " + path);
    }
    // Reading the schema proves that the file is a database; its size tells Tables() how much
    // room to make.
    char* err = nullptr;
    const auto keepCount = [](void* self, int, char** values, char**) {
        static_cast<SqliteSession*>(self)->m_schemaRows =
            values[0] ? std::strtoull(values[0], nullptr, 10) : 0;
        return 0;
    };
    if (sqlite3_exec(db, "SELECT count(*) FROM dbo.sqlite_schema; PRAGMA query_only = 1;",
                     keepCount, this, &err) != SQLITE_OK) {
        std::string msg = err ? err : sqlite3_errmsg(db);
        sqlite3_free(err);
        throw DbError(msg + ": " + path);
    }
    if (!registerSqlServerFunctions(db))
        throw DbError(sqlite3_errmsg(db));
    sqlite3_set_authorizer(db, authorize, nullptr);
    // An interrupt that came while the schema was read by statements too short for the
    // progress handler still counts.
    handle();
}

SqliteSession::~SqliteSession() {
    Close();
}

void SqliteSession::Close() {
    if (m_db) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

sqlite3* SqliteSession::handle() const {
    if (!m_db)
        throw DbError("The connection is closed");
    if (m_interrupted)
        throw DbError(kCancelledText);
    return m_db;
}

void SqliteSession::fail() const {
    throw DbError(sqlite3_errmsg(m_db));
}

sqlite3_stmt* SqliteSession::prepare(const char* sql) const {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(handle(), sql, -1, &stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt);
        fail();
    }
    return stmt;
}

void SqliteSession::startClock() {
    m_deadline = std::chrono::steady_clock::now() + m_timeout;
}

// Interrupts a statement that has run longer than the command time-out, or whose session was
// interrupted (also one started after the interrupt, which sqlite3_interrupt alone would miss).
int SqliteSession::progress(void* self) {
    auto* session = static_cast<SqliteSession*>(self);
    return session->m_interrupted || std::chrono::steady_clock::now() > session->m_deadline ? 1 : 0;
}

void SqliteSession::Interrupt() {
    m_interrupted = true;
    if (m_db)
        sqlite3_interrupt(m_db);
}

SqliteCatalogueRows::SqliteCatalogueRows(std::size_t expectedRows) {
    m_entries.reserve(expectedRows + 1);
    m_names.reserve(16 * (expectedRows + 1));
    // The schema table itself is not listed in itself.
    push("sqlite_schema", 0);
}

void SqliteCatalogueRows::push(std::string_view name, std::uint32_t type) {
    m_entries.push_back({m_names.size(), static_cast<std::uint32_t>(name.size()), type});
    m_names.append(name);
}

void SqliteCatalogueRows::add(std::string_view type, std::string_view name) {
    push(name, startsWithNoCase(name, "sqlite_") ? 0 : type == "view" ? 2 : 1);
}

void SqliteCatalogueRows::handOver(
    const std::function<void(std::vector<DbSession::TableRow>&&)>& batch) {
    // Types in the catalogue order of SQL Server.
    static constexpr const char* kTypes[] = {"SYSTEM TABLE", "TABLE", "VIEW"};
    // The catalogue order of SQL Server: by type, then by name (case-insensitive first). The
    // names are compared in a lower-case copy at the same places, as plain bytes.
    std::string lowered = m_names;
    for (char& c : lowered)
        c = static_cast<char>(lowerAscii(static_cast<unsigned char>(c)));
    const auto nameOf = [this](const Entry& e) {
        return std::string_view(m_names).substr(e.offset, e.length);
    };
    const auto lowerNameOf = [&lowered](const Entry& e) {
        return std::string_view(lowered).substr(e.offset, e.length);
    };
    std::sort(m_entries.begin(), m_entries.end(), [&](const Entry& a, const Entry& b) {
        if (a.type != b.type)
            return a.type < b.type;
        const int c = lowerNameOf(a).compare(lowerNameOf(b));
        return c != 0 ? c < 0 : nameOf(a) < nameOf(b);
    });

    std::vector<DbSession::TableRow> part;
    part.reserve(std::min(m_entries.size(), DbSession::kTableBatch));
    bool handedOver = false;
    for (const Entry& e : m_entries) {
        part.push_back(DbSession::TableRow{kSchema, std::string(nameOf(e)), kTypes[e.type]});
        if (part.size() == DbSession::kTableBatch) {
            batch(std::move(part));
            handedOver = true;
            part.clear();
            part.reserve(DbSession::kTableBatch);
        }
    }
    if (!part.empty() || !handedOver)
        batch(std::move(part));
}

void SqliteSession::Tables(const std::function<void(std::vector<TableRow>&&)>& batch) {
    startClock();
    Statement stmt(prepare("SELECT type, name FROM dbo.sqlite_schema "
                           "WHERE type IN ('table', 'view')"));
    SqliteCatalogueRows rows(m_schemaRows);
    const auto textOf = [&stmt](int column) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt.get(), column));
        return text ? std::string_view(
                          text, static_cast<std::size_t>(sqlite3_column_bytes(stmt.get(), column)))
                    : std::string_view();
    };
    int rc;
    while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW)
        rows.add(textOf(0), textOf(1));
    if (rc != SQLITE_DONE)
        fail();
    // Done with the statement: the file is not kept locked while the parts are handed over.
    stmt.out();
    rows.handOver(batch);
}

std::vector<std::string> SqliteSession::Columns(const std::string& schema,
                                                const std::string& table) {
    handle(); // A closed or interrupted connection fails before anything else.
    std::vector<std::string> columns;
    if (!schema.empty() && !equalsNoCase(schema, kSchema))
        return columns;
    std::vector<std::string> tables;
    if (table.empty()) {
        for (const TableRow& row : Tables())
            tables.push_back(row.strName);
    } else {
        tables.push_back(table);
    }
    startClock();
    // table_xinfo, not table_info, so that generated columns are listed as SELECT * shows them;
    // hidden = 1 marks the hidden columns of a virtual table, which SELECT * leaves out.
    Statement stmt(prepare("SELECT name FROM pragma_table_xinfo(?1, 'dbo') WHERE hidden <> 1 "
                           "ORDER BY cid"));
    for (const std::string& name : tables) {
        sqlite3_reset(stmt.get());
        sqlite3_bind_text(stmt.get(), 1, name.data(), static_cast<int>(name.size()),
                          SQLITE_TRANSIENT);
        int rc;
        while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) {
            const auto* text = sqlite3_column_text(stmt.get(), 0);
            columns.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
        }
        if (rc != SQLITE_DONE)
            fail();
    }
    return columns;
}

std::optional<std::string> SqliteSession::declaredTableName(const std::string& name) const {
    Statement stmt(prepare("SELECT name FROM dbo.sqlite_schema "
                           "WHERE type = 'table' AND name = ?1 COLLATE NOCASE"));
    sqlite3_bind_text(stmt.get(), 1, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
    const int rc = sqlite3_step(stmt.get());
    if (rc == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(stmt.get(), 0);
        return std::string(text ? reinterpret_cast<const char*>(text) : "");
    }
    if (rc != SQLITE_DONE)
        fail();
    return std::nullopt;
}

std::vector<std::string> SqliteSession::columnNames(const std::string& table,
                                                    bool primaryKeyOnly) const {
    Statement stmt(prepare(primaryKeyOnly
                               ? "SELECT name FROM pragma_table_info(?1, 'dbo') WHERE pk > 0 "
                                 "ORDER BY pk"
                               : "SELECT name FROM pragma_table_info(?1, 'dbo') ORDER BY cid"));
    sqlite3_bind_text(stmt.get(), 1, table.data(), static_cast<int>(table.size()),
                      SQLITE_TRANSIENT);
    std::vector<std::string> names;
    int rc;
    while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(stmt.get(), 0);
        names.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
    }
    if (rc != SQLITE_DONE)
        fail();
    return names;
}

std::optional<std::string> SqliteSession::keyedTableName(const std::string& schema,
                                                         const std::string& table) {
    if (!schema.empty() && !equalsNoCase(schema, kSchema))
        return std::nullopt;
    startClock();
    return declaredTableName(table);
}

std::vector<DbForeignKey> SqliteSession::ForeignKeys(const std::string& schema,
                                                     const std::string& table) {
    handle(); // A closed or interrupted connection fails before anything else.
    const std::optional<std::string> name = keyedTableName(schema, table);
    if (!name)
        return {};
    // One row per column pair of every key that belongs to the table or names it as the
    // referenced table. The referenced name is kept as the REFERENCES clause writes it, so it
    // is compared without regard to case, as SQLite resolves it.
    Statement stmt(
        prepare("SELECT m.name, f.id, f.\"table\", f.\"from\", f.\"to\" "
                "FROM dbo.sqlite_schema AS m, pragma_foreign_key_list(m.name, 'dbo') AS f "
                "WHERE m.type = 'table' AND (m.name = ?1 OR f.\"table\" = ?1 COLLATE "
                "NOCASE) ORDER BY m.name, f.id, f.seq"));
    sqlite3_bind_text(stmt.get(), 1, name->data(), static_cast<int>(name->size()),
                      SQLITE_TRANSIENT);
    std::vector<DeclaredKey> declared;
    readDeclaredKeys(stmt.get(), declared);
    return keysOfTable(*name, std::move(declared));
}

std::vector<DbForeignKey> SqliteSession::ForeignKeysAmong(
    const std::string& schema, const std::string& table,
    const std::vector<std::pair<std::string, std::string>>& referencingTables) {
    handle(); // A closed or interrupted connection fails before anything else.
    const std::optional<std::string> name = keyedTableName(schema, table);
    if (!name)
        return {};
    // The keys of one table at a time: all of its own (?2 null), or those naming ?2.
    Statement stmt(prepare("SELECT ?1, f.id, f.\"table\", f.\"from\", f.\"to\" "
                           "FROM pragma_foreign_key_list(?1, 'dbo') AS f "
                           "WHERE ?2 IS NULL OR f.\"table\" = ?2 COLLATE NOCASE "
                           "ORDER BY f.id, f.seq"));
    std::vector<DeclaredKey> declared;
    const auto read = [&](const std::string& owner, const std::string* referenced) {
        sqlite3_reset(stmt.get());
        sqlite3_clear_bindings(stmt.get());
        sqlite3_bind_text(stmt.get(), 1, owner.data(), static_cast<int>(owner.size()),
                          SQLITE_TRANSIENT);
        if (referenced)
            sqlite3_bind_text(stmt.get(), 2, referenced->data(),
                              static_cast<int>(referenced->size()), SQLITE_TRANSIENT);
        readDeclaredKeys(stmt.get(), declared);
    };
    read(*name, nullptr);
    std::unordered_set<std::string> seen{*name};
    for (const auto& [otherSchema, otherTable] : referencingTables) {
        if (!otherSchema.empty() && !equalsNoCase(otherSchema, kSchema))
            continue;
        const std::optional<std::string> other = declaredTableName(otherTable);
        // Each table once; the table's keys on itself are among its own.
        if (!other || !seen.insert(*other).second)
            continue;
        read(*other, &*name);
    }
    return keysOfTable(*name, std::move(declared));
}

void SqliteSession::readDeclaredKeys(sqlite3_stmt* stmt, std::vector<DeclaredKey>& declared) const {
    auto textOf = [stmt](int column) {
        const auto* text = sqlite3_column_text(stmt, column);
        return std::string(text ? reinterpret_cast<const char*>(text) : "");
    };
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        std::string owner = textOf(0);
        const std::int64_t id = sqlite3_column_int64(stmt, 1);
        if (declared.empty() || declared.back().table != owner || declared.back().id != id)
            declared.push_back({std::move(owner), id, textOf(2), {}, {}});
        declared.back().columns.push_back(textOf(3));
        if (sqlite3_column_type(stmt, 4) != SQLITE_NULL)
            declared.back().referencedColumns.push_back(textOf(4));
    }
    if (rc != SQLITE_DONE)
        fail();
}

std::vector<DbForeignKey> SqliteSession::keysOfTable(const std::string& name,
                                                     std::vector<DeclaredKey> declared) const {
    std::vector<DbForeignKey> own, referencing;
    for (DeclaredKey& d : declared) {
        const std::optional<std::string> referenced = declaredTableName(d.referencedTable);
        DbForeignKey key;
        key.strTable = std::string(kSchema) + '.' + d.table;
        key.strReferencedTable =
            std::string(kSchema) + '.' + referenced.value_or(d.referencedTable);
        key.colColumns = std::move(d.columns);
        if (d.referencedColumns.empty()) {
            // "REFERENCES t" without columns refers to t's primary key.
            if (referenced)
                key.colReferencedColumns = columnNames(*referenced, true);
        } else {
            // Columns as the referenced table declares them, where it does.
            const std::vector<std::string> names =
                referenced ? columnNames(*referenced, false) : std::vector<std::string>{};
            for (const std::string& column : d.referencedColumns) {
                auto found = std::find_if(names.begin(), names.end(), [&column](const auto& n) {
                    return equalsNoCase(n, column);
                });
                key.colReferencedColumns.push_back(found != names.end() ? *found : column);
            }
        }
        // A key whose columns do not pair up (no column list and no primary key of the same
        // size) is one that SQLite itself rejects as a mismatch when it checks it.
        if (key.colReferencedColumns.size() != key.colColumns.size())
            continue;
        (d.table == name ? own : referencing).push_back(std::move(key));
    }
    return orderForeignKeys(std::move(own), std::move(referencing));
}

void SqliteSession::forEachStatement(const std::string& text,
                                     const std::function<bool(sqlite3_stmt*)>& onStatement) {
    const std::string sql = translateBracketEscapes(quoteJoinKeywordCalls(text));
    sqlite3* db = handle();
    startClock();
    const char* tail = sql.c_str();
    const char* end = tail + sql.size();
    while (tail < end) {
        Statement stmt;
        if (sqlite3_prepare_v2(db, tail, static_cast<int>(end - tail), stmt.out(), &tail) !=
            SQLITE_OK)
            fail();
        if (!stmt.get())
            break; // only blanks or comments left
        if (!onStatement(stmt.get()))
            break;
    }
}

void SqliteSession::runToEnd(sqlite3_stmt* stmt) const {
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    }
    if (rc != SQLITE_DONE)
        fail();
}

void SqliteSession::Execute(const std::string& text) {
    forEachStatement(text, [this](sqlite3_stmt* stmt) {
        refuseWrites(stmt);
        runToEnd(stmt);
        return true;
    });
}

void SqliteSession::Prepare(const std::string& text) {
    forEachStatement(text, [](sqlite3_stmt*) { return true; });
}

std::shared_ptr<cRecordset> SqliteSession::Query(const std::string& text, std::int32_t maxRows) {
    std::shared_ptr<cRecordset> result;
    // Statements before the first one that returns columns are run for their effect (which
    // query-only mode confines to settings); the first one with columns gives the rows.
    forEachStatement(text, [&](sqlite3_stmt* s) {
        refuseWrites(s);
        const int nCols = sqlite3_column_count(s);
        if (nCols == 0) {
            runToEnd(s);
            return true;
        }
        result = readRows(s, nCols, maxRows);
        return false;
    });
    if (result)
        return result;
    return std::make_shared<cRecordset>(std::vector<cRecordset::Column>{}, std::vector<DbValue>{});
}

std::shared_ptr<cRecordset> SqliteSession::readRows(sqlite3_stmt* s, int nCols,
                                                    std::int32_t maxRows) const {
    std::vector<cRecordset::Column> columns;
    columns.reserve(static_cast<std::size_t>(nCols));
    for (int c = 0; c < nCols; ++c) {
        const char* name = sqlite3_column_name(s, c);
        const char* type = sqlite3_column_decltype(s, c);
        columns.push_back({name ? name : "", type ? type : ""});
    }
    RecordsetBuilder cells(std::move(columns));
    std::int64_t rows = 0;
    int rc = SQLITE_DONE;
    while (maxRows <= 0 || rows < maxRows) {
        rc = sqlite3_step(s);
        if (rc != SQLITE_ROW)
            break;
        ++rows;
        cells.BeginRow();
        for (int c = 0; c < nCols; ++c) {
            switch (sqlite3_column_type(s, c)) {
            case SQLITE_INTEGER:
                cells.Add(static_cast<std::int64_t>(sqlite3_column_int64(s, c)));
                break;
            case SQLITE_FLOAT:
                cells.Add(sqlite3_column_double(s, c));
                break;
            case SQLITE_TEXT: {
                const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(s, c));
                cells.AddText(
                    std::string_view(p, static_cast<std::size_t>(sqlite3_column_bytes(s, c))));
                break;
            }
            case SQLITE_BLOB: {
                const auto* p = static_cast<const unsigned char*>(sqlite3_column_blob(s, c));
                auto n = static_cast<std::size_t>(sqlite3_column_bytes(s, c));
                cells.AddBlob(p, p ? n : 0);
                break;
            }
            default:
                cells.AddNull();
            }
        }
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        fail();
    return cells.Finish();
}

} // namespace marovin
