#include "OdbcSession.h"

#include "ForeignKeyRows.h"
#include "RecordsetBuilder.h"
#include "marovin/DbCancellation.h"
#include "marovin/DbError.h"
#include "marovin/cRecordset.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace marovin {

namespace {

bool ok(SQLRETURN rc) {
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO;
}

std::string describeFailure(SQLSMALLINT handleType, SQLHANDLE handle, const char* what) {
    std::string d = OdbcSession::Diagnostics(handleType, handle);
    return d.empty() ? std::string(what) + " failed" : d;
}

// The length of a text argument of an ODBC call that counts in SQLSMALLINT (connection strings,
// catalogue names). A longer text would wrap round to a short or negative length and be cut, so
// it is refused instead.
SQLSMALLINT shortLength(const std::string& text, const char* what) {
    constexpr std::size_t kMax = std::numeric_limits<SQLSMALLINT>::max();
    if (text.size() > kMax)
        throw DbError(std::string(what) + " is longer than " + std::to_string(kMax) + " bytes");
    return static_cast<SQLSMALLINT>(text.size());
}

// The same for statements, whose length counts in SQLINTEGER.
SQLINTEGER statementLength(const std::string& sql) {
    constexpr std::size_t kMax = std::numeric_limits<SQLINTEGER>::max();
    if (sql.size() > kMax)
        throw DbError("The statement is longer than " + std::to_string(kMax) + " bytes");
    return static_cast<SQLINTEGER>(sql.size());
}

enum class FetchAs { Integer, Real, Binary, Text };

FetchAs fetchKind(SQLSMALLINT sqlType) {
    switch (sqlType) {
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_BIT:
        return FetchAs::Integer;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return FetchAs::Real;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return FetchAs::Binary;
    default:
        // Decimal and money stay exact as text, and so do dates, times and strings.
        return FetchAs::Text;
    }
}

bool anyEmpty(const std::vector<std::string>& names) {
    return std::any_of(names.begin(), names.end(), [](const auto& n) { return n.empty(); });
}

} // namespace

// Owns one statement handle with the command time-out set.
class OdbcSession::Stmt {
public:
    explicit Stmt(OdbcSession& session) : m_session(session) {
        if (!session.m_connected)
            throw DbError("The connection is closed");
        if (session.m_interrupted)
            throw DbError(kCancelledText);
        if (!ok(SQLAllocHandle(SQL_HANDLE_STMT, session.m_dbc, &m_h)))
            throw DbError(describeFailure(SQL_HANDLE_DBC, session.m_dbc, "SQLAllocHandle"));
        {
            // From now on an interrupt cancels this statement.
            const std::lock_guard lock(session.m_runningMutex);
            session.m_running = m_h;
        }
        // Some drivers do not support a time-out; that is not a reason to fail.
        SQLSetStmtAttr(m_h, SQL_ATTR_QUERY_TIMEOUT,
                       reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(session.m_commandTimeout)),
                       SQL_IS_UINTEGER);
    }
    ~Stmt() {
        {
            const std::lock_guard lock(m_session.m_runningMutex);
            m_session.m_running = SQL_NULL_HSTMT;
        }
        SQLFreeStmt(m_h, SQL_CLOSE);
        SQLFreeHandle(SQL_HANDLE_STMT, m_h);
    }
    Stmt(const Stmt&) = delete;
    Stmt& operator=(const Stmt&) = delete;

    SQLHSTMT get() const { return m_h; }
    // Raises DbError unless rc is a success (or "no data" when allowed).
    SQLRETURN check(SQLRETURN rc, const char* what, bool noDataOk = false) const {
        // A cancelled statement may still answer a fetch; the caller asked to stop.
        if (m_session.m_interrupted)
            throw DbError(kCancelledText);
        if (ok(rc) || (noDataOk && rc == SQL_NO_DATA))
            return rc;
        throw DbError(describeFailure(SQL_HANDLE_STMT, m_h, what));
    }
    // The column as a whole number, or nothing for NULL.
    std::optional<std::int64_t> integer(SQLUSMALLINT col) const {
        SQLBIGINT value = 0;
        SQLLEN ind = 0;
        check(SQLGetData(m_h, col, SQL_C_SBIGINT, &value, 0, &ind), "SQLGetData");
        if (ind == SQL_NULL_DATA)
            return std::nullopt;
        return static_cast<std::int64_t>(value);
    }
    // The column as text, or nothing for NULL.
    std::optional<std::string> text(SQLUSMALLINT col) const {
        std::string out;
        char buf[1024];
        for (;;) {
            SQLLEN ind = 0;
            SQLRETURN rc = SQLGetData(m_h, col, SQL_C_CHAR, buf, sizeof buf, &ind);
            if (rc == SQL_NO_DATA)
                break;
            check(rc, "SQLGetData");
            if (ind == SQL_NULL_DATA)
                return std::nullopt;
            // A chunk that did not fit is cut one byte short for its terminating zero.
            std::size_t got = (ind == SQL_NO_TOTAL || ind >= static_cast<SQLLEN>(sizeof buf))
                                  ? sizeof buf - 1
                                  : static_cast<std::size_t>(ind);
            out.append(buf, got);
            if (rc == SQL_SUCCESS)
                break;
        }
        return out;
    }

private:
    OdbcSession& m_session;
    SQLHSTMT m_h = SQL_NULL_HSTMT;
};

void OdbcSession::Interrupt() {
    const std::lock_guard lock(m_runningMutex);
    m_interrupted = true;
    if (m_running != SQL_NULL_HSTMT)
        SQLCancel(m_running);
}

std::string OdbcSession::Diagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    std::string out;
    for (SQLSMALLINT i = 1;; ++i) {
        SQLCHAR state[6] = {};
        SQLINTEGER native = 0;
        SQLCHAR message[2048] = {};
        SQLSMALLINT length = 0;
        SQLRETURN rc =
            SQLGetDiagRec(handleType, handle, i, state, &native, message, sizeof message, &length);
        if (!ok(rc))
            break;
        std::string text(reinterpret_cast<const char*>(message));
        if (text.empty() || out.find(text) != std::string::npos)
            continue;
        if (!out.empty())
            out += "\r\n";
        out += text;
    }
    return out;
}

OdbcSession::OdbcSession(const std::string& connectionString, std::int32_t loginTimeout,
                         std::int32_t commandTimeout)
    : m_commandTimeout(commandTimeout) {
    const SQLSMALLINT connectionStringLength =
        shortLength(connectionString, "The connection string");
    if (!ok(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &m_env)))
        throw DbError("Cannot allocate an ODBC environment");
    SQLSetEnvAttr(m_env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (!ok(SQLAllocHandle(SQL_HANDLE_DBC, m_env, &m_dbc))) {
        std::string d = describeFailure(SQL_HANDLE_ENV, m_env, "SQLAllocHandle");
        Close();
        throw DbError(d);
    }
    if (loginTimeout > 0) {
        auto t = reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(loginTimeout));
        SQLSetConnectAttr(m_dbc, SQL_ATTR_LOGIN_TIMEOUT, t, SQL_IS_UINTEGER);
    }
    SQLCHAR out[1024];
    SQLSMALLINT outLength = 0;
    SQLRETURN rc = SQLDriverConnect(
        m_dbc, nullptr, reinterpret_cast<SQLCHAR*>(const_cast<char*>(connectionString.c_str())),
        connectionStringLength, out, sizeof out, &outLength, SQL_DRIVER_NOPROMPT);
    if (!ok(rc)) {
        std::string d = describeFailure(SQL_HANDLE_DBC, m_dbc, "SQLDriverConnect");
        Close();
        throw DbError(d);
    }
    m_connected = true;
    char info[256] = {};
    SQLSMALLINT infoLength = 0;
    if (ok(SQLGetInfo(m_dbc, SQL_DBMS_NAME, info, sizeof info, &infoLength)))
        m_dbmsName = info;
    std::memset(info, 0, sizeof info);
    if (ok(SQLGetInfo(m_dbc, SQL_SEARCH_PATTERN_ESCAPE, info, sizeof info, &infoLength)))
        m_searchEscape = info;
    SQLUINTEGER schemaUsage = 0;
    if (ok(SQLGetInfo(m_dbc, SQL_SCHEMA_USAGE, &schemaUsage, sizeof schemaUsage, nullptr)))
        m_schemaUsage = schemaUsage != 0;
}

OdbcSession::~OdbcSession() {
    Close();
}

void OdbcSession::Close() {
    if (m_connected) {
        SQLDisconnect(m_dbc);
        m_connected = false;
    }
    if (m_dbc != SQL_NULL_HDBC) {
        SQLFreeHandle(SQL_HANDLE_DBC, m_dbc);
        m_dbc = SQL_NULL_HDBC;
    }
    if (m_env != SQL_NULL_HENV) {
        SQLFreeHandle(SQL_HANDLE_ENV, m_env);
        m_env = SQL_NULL_HENV;
    }
}

bool OdbcSession::SupportsParseOnly() const {
    return m_dbmsName.find("SQL Server") != std::string::npos;
}

// The catalogue functions take patterns; "_" and "%" in a real name must not act as wildcards.
std::string OdbcSession::searchPattern(const std::string& value) const {
    if (m_searchEscape.empty())
        return value;
    std::string out;
    for (char c : value) {
        if (c == '_' || c == '%' || m_searchEscape.find(c) != std::string::npos)
            out += m_searchEscape;
        out += c;
    }
    return out;
}

void OdbcSession::Tables(const std::function<void(std::vector<TableRow>&&)>& batch) {
    Stmt stmt(*this);
    stmt.check(SQLTables(stmt.get(), nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0), "SQLTables");
    std::vector<TableRow> part;
    part.reserve(kTableBatch);
    bool handedOver = false;
    SQLRETURN rc;
    while ((rc = SQLFetch(stmt.get())) != SQL_NO_DATA) {
        stmt.check(rc, "SQLFetch");
        part.push_back(
            {stmt.text(2).value_or(""), stmt.text(3).value_or(""), stmt.text(4).value_or("")});
        if (part.size() == kTableBatch) {
            batch(std::move(part));
            handedOver = true;
            part.clear();
            part.reserve(kTableBatch);
        }
    }
    // The rest; an empty catalogue is handed over as one empty part, as the default does.
    if (!part.empty() || !handedOver)
        batch(std::move(part));
}

std::vector<std::string> OdbcSession::Columns(const std::string& schema, const std::string& table) {
    Stmt stmt(*this);
    // An empty restriction means any: "%" rather than a null argument, because some drivers
    // (psqlODBC) read a null schema as "the schemas on the search path" only.
    std::string s = schema.empty() ? (m_schemaUsage ? "%" : "") : searchPattern(schema);
    std::string t = table.empty() ? "%" : searchPattern(table);
    auto arg = [](std::string& v) {
        return v.empty() ? nullptr : reinterpret_cast<SQLCHAR*>(v.data());
    };
    auto len = [](const std::string& v) {
        return v.empty() ? SQLSMALLINT{0} : shortLength(v, "The name");
    };
    stmt.check(SQLColumns(stmt.get(), nullptr, 0, arg(s), len(s), arg(t), len(t), nullptr, 0),
               "SQLColumns");
    std::vector<std::string> columns;
    SQLRETURN rc;
    while ((rc = SQLFetch(stmt.get())) != SQL_NO_DATA) {
        stmt.check(rc, "SQLFetch");
        columns.push_back(stmt.text(4).value_or(""));
    }
    return columns;
}

std::vector<DbForeignKey> OdbcSession::ForeignKeys(const std::string& schema,
                                                   const std::string& table) {
    if (!m_connected)
        throw DbError("The connection is closed");
    if (table.empty())
        return {};
    SQLUSMALLINT supported = SQL_TRUE;
    if (ok(SQLGetFunctions(m_dbc, SQL_API_SQLFOREIGNKEYS, &supported)) && supported == SQL_FALSE)
        return {};
    return orderForeignKeys(foreignKeys(schema, table, true), foreignKeys(schema, table, false));
}

std::vector<DbForeignKey> OdbcSession::foreignKeys(const std::string& schema,
                                                   const std::string& table, bool ownKeys) {
    std::vector<ForeignKeyRow> rows;
    {
        Stmt stmt(*this);
        // The names are ordinary arguments, not patterns, and go as they are; without a schema
        // the driver looks the table up as it would an unqualified name.
        std::string s = schema;
        std::string t = table;
        SQLCHAR* schemaArg = s.empty() ? nullptr : reinterpret_cast<SQLCHAR*>(s.data());
        const SQLSMALLINT schemaLength = s.empty() ? SQLSMALLINT{0} : shortLength(s, "The name");
        auto* tableArg = reinterpret_cast<SQLCHAR*>(t.data());
        const SQLSMALLINT tableLength = shortLength(t, "The name");
        const SQLRETURN called =
            ownKeys ? SQLForeignKeys(stmt.get(), nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                                     schemaArg, schemaLength, tableArg, tableLength)
                    : SQLForeignKeys(stmt.get(), nullptr, 0, schemaArg, schemaLength, tableArg,
                                     tableLength, nullptr, 0, nullptr, 0, nullptr, 0);
        stmt.check(called, "SQLForeignKeys");
        SQLRETURN rc;
        while ((rc = SQLFetch(stmt.get())) != SQL_NO_DATA) {
            stmt.check(rc, "SQLFetch");
            // In column order: some drivers read columns only forwards.
            ForeignKeyRow row;
            row.pkSchema = stmt.text(2).value_or("");
            row.pkTable = stmt.text(3).value_or("");
            row.pkColumn = stmt.text(4).value_or("");
            row.fkSchema = stmt.text(6).value_or("");
            row.fkTable = stmt.text(7).value_or("");
            row.fkColumn = stmt.text(8).value_or("");
            row.seq = stmt.integer(9).value_or(0);
            row.name = stmt.text(12).value_or("");
            rows.push_back(std::move(row));
        }
    }
    std::vector<DbForeignKey> keys;
    for (GroupedKey& grouped : groupForeignKeyRows(rows)) {
        DbForeignKey& key = grouped.key;
        // Where the key names no referenced columns ("REFERENCES t"), the SQLite driver leaves
        // them empty: they are the referenced table's primary key.
        std::vector<std::string>& referenced = key.colReferencedColumns;
        if (std::all_of(referenced.begin(), referenced.end(),
                        [](const auto& n) { return n.empty(); }))
            referenced = primaryKeyColumns(grouped.pkSchema, grouped.pkTable);
        // A key whose columns do not pair up cannot be joined on; it is left out.
        if (referenced.size() != key.colColumns.size() || anyEmpty(referenced) ||
            anyEmpty(key.colColumns))
            continue;
        keys.push_back(std::move(key));
    }
    return keys;
}

std::vector<std::string> OdbcSession::primaryKeyColumns(const std::string& schema,
                                                        const std::string& table) {
    SQLUSMALLINT supported = SQL_TRUE;
    if (ok(SQLGetFunctions(m_dbc, SQL_API_SQLPRIMARYKEYS, &supported)) && supported == SQL_FALSE)
        return {};
    Stmt stmt(*this);
    std::string s = schema;
    std::string t = table;
    SQLCHAR* schemaArg = s.empty() ? nullptr : reinterpret_cast<SQLCHAR*>(s.data());
    const SQLSMALLINT schemaLength = s.empty() ? SQLSMALLINT{0} : shortLength(s, "The name");
    stmt.check(SQLPrimaryKeys(stmt.get(), nullptr, 0, schemaArg, schemaLength,
                              reinterpret_cast<SQLCHAR*>(t.data()), shortLength(t, "The name")),
               "SQLPrimaryKeys");
    std::vector<std::pair<std::int64_t, std::string>> columns;
    SQLRETURN rc;
    while ((rc = SQLFetch(stmt.get())) != SQL_NO_DATA) {
        stmt.check(rc, "SQLFetch");
        std::string column = stmt.text(4).value_or("");
        columns.emplace_back(stmt.integer(5).value_or(0), std::move(column));
    }
    std::stable_sort(columns.begin(), columns.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> names;
    for (auto& column : columns)
        names.push_back(std::move(column.second));
    return names;
}

void OdbcSession::Execute(const std::string& sql) {
    Stmt stmt(*this);
    std::string text = sql;
    SQLRETURN rc = stmt.check(
        SQLExecDirect(stmt.get(), reinterpret_cast<SQLCHAR*>(text.data()), statementLength(text)),
        "SQLExecDirect", true);
    // Every result of the batch is read, so that an error raised by a later statement of the
    // batch is seen too. A first statement that changed no rows answers "no data", and the
    // statements after it still have their results.
    for (;;) {
        if (rc != SQL_NO_DATA) {
            SQLSMALLINT cols = 0;
            SQLNumResultCols(stmt.get(), &cols);
            if (cols > 0) {
                while ((rc = SQLFetch(stmt.get())) != SQL_NO_DATA)
                    stmt.check(rc, "SQLFetch");
            }
        }
        if (stmt.check(SQLMoreResults(stmt.get()), "SQLMoreResults", true) == SQL_NO_DATA)
            break;
        rc = SQL_SUCCESS;
    }
}

void OdbcSession::Prepare(const std::string& sql) {
    Stmt stmt(*this);
    std::string text = sql;
    stmt.check(
        SQLPrepare(stmt.get(), reinterpret_cast<SQLCHAR*>(text.data()), statementLength(text)),
        "SQLPrepare");
    // Drivers that prepare lazily send the statement to the server when asked for its columns.
    SQLSMALLINT cols = 0;
    stmt.check(SQLNumResultCols(stmt.get(), &cols), "SQLNumResultCols");
}

std::shared_ptr<cRecordset> OdbcSession::Query(const std::string& sql, std::int32_t maxRows) {
    Stmt stmt(*this);
    if (maxRows > 0) {
        // Not every driver honours the attribute; the fetch loop stops at the limit anyway.
        SQLSetStmtAttr(stmt.get(), SQL_ATTR_MAX_ROWS,
                       reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(maxRows)),
                       SQL_IS_UINTEGER);
    }
    std::string text = sql;
    SQLRETURN rc = stmt.check(
        SQLExecDirect(stmt.get(), reinterpret_cast<SQLCHAR*>(text.data()), statementLength(text)),
        "SQLExecDirect", true);
    // Skip results without columns (row counts of statements before the query; a statement that
    // changed no rows answers "no data" and has none either).
    SQLSMALLINT nCols = 0;
    for (;;) {
        if (rc != SQL_NO_DATA) {
            stmt.check(SQLNumResultCols(stmt.get(), &nCols), "SQLNumResultCols");
            if (nCols > 0)
                break;
        }
        rc = stmt.check(SQLMoreResults(stmt.get()), "SQLMoreResults", true);
        if (rc == SQL_NO_DATA)
            break;
    }
    std::vector<cRecordset::Column> columns;
    std::vector<FetchAs> kinds;
    for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(nCols); ++c) {
        std::string name(512, '\0');
        SQLSMALLINT nameLength = 0, sqlType = 0, decimals = 0, nullable = 0;
        SQLULEN size = 0;
        auto describe = [&] {
            stmt.check(SQLDescribeCol(stmt.get(), c, reinterpret_cast<SQLCHAR*>(name.data()),
                                      static_cast<SQLSMALLINT>(name.size()), &nameLength, &sqlType,
                                      &size, &decimals, &nullable),
                       "SQLDescribeCol");
        };
        describe();
        // A name that filled the buffer may have been cut (some drivers then report the cut
        // length, not the whole): it is asked for again with more room.
        constexpr std::size_t kLongestName = std::numeric_limits<SQLSMALLINT>::max();
        while (nameLength >= 0 && static_cast<std::size_t>(nameLength) + 1 >= name.size() &&
               name.size() < kLongestName) {
            name.assign(
                std::min(std::max(name.size() * 2, static_cast<std::size_t>(nameLength) + 1),
                         kLongestName),
                '\0');
            describe();
        }
        name.resize(std::min(static_cast<std::size_t>(std::max<SQLSMALLINT>(nameLength, 0)),
                             name.size() - 1));
        char typeName[256] = {};
        SQLSMALLINT typeLength = 0;
        SQLColAttribute(stmt.get(), c, SQL_DESC_TYPE_NAME, typeName, sizeof typeName, &typeLength,
                        nullptr);
        columns.push_back({std::move(name), typeName});
        kinds.push_back(fetchKind(sqlType));
    }
    RecordsetBuilder cells(std::move(columns));
    std::int64_t rows = 0;
    while (nCols > 0 && (maxRows <= 0 || rows < maxRows)) {
        rc = SQLFetch(stmt.get());
        if (rc == SQL_NO_DATA)
            break;
        stmt.check(rc, "SQLFetch");
        ++rows;
        cells.BeginRow();
        for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(nCols); ++c) {
            SQLLEN ind = 0;
            switch (kinds[c - 1]) {
            case FetchAs::Integer: {
                SQLBIGINT v = 0;
                stmt.check(SQLGetData(stmt.get(), c, SQL_C_SBIGINT, &v, 0, &ind), "SQLGetData");
                if (ind == SQL_NULL_DATA)
                    cells.AddNull();
                else
                    cells.Add(static_cast<std::int64_t>(v));
                break;
            }
            case FetchAs::Real: {
                double v = 0;
                stmt.check(SQLGetData(stmt.get(), c, SQL_C_DOUBLE, &v, 0, &ind), "SQLGetData");
                if (ind == SQL_NULL_DATA)
                    cells.AddNull();
                else
                    cells.Add(v);
                break;
            }
            case FetchAs::Binary: {
                DbValue::Blob bytes;
                unsigned char buf[4096];
                bool isNull = false;
                for (;;) {
                    SQLRETURN r = SQLGetData(stmt.get(), c, SQL_C_BINARY, buf, sizeof buf, &ind);
                    if (r == SQL_NO_DATA)
                        break;
                    stmt.check(r, "SQLGetData");
                    if (ind == SQL_NULL_DATA) {
                        isNull = true;
                        break;
                    }
                    std::size_t got = (ind == SQL_NO_TOTAL || ind > static_cast<SQLLEN>(sizeof buf))
                                          ? sizeof buf
                                          : static_cast<std::size_t>(ind);
                    bytes.insert(bytes.end(), buf, buf + got);
                    if (r == SQL_SUCCESS)
                        break;
                }
                if (isNull)
                    cells.AddNull();
                else
                    cells.AddBlob(bytes.data(), bytes.size());
                break;
            }
            case FetchAs::Text: {
                auto v = stmt.text(c);
                if (v)
                    cells.AddText(*v);
                else
                    cells.AddNull();
                break;
            }
            }
        }
    }
    return cells.Finish();
}

} // namespace marovin
