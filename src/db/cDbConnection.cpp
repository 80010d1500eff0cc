#include "marovin/cDbConnection.h"

#include "OdbcSession.h"
#include "Providers.h"
#include "SqliteFile.h"
#include "SqliteSession.h"
#include "marovin/DbError.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string_view>

namespace marovin {

namespace {

constexpr const char* kProblemsConnecting = "Problems connecting to database";
constexpr const char* kSyntaxCorrect = "Syntax SQL Query correct";
constexpr const char* kCrLf = "\r\n";

thread_local std::string t_lastConnectionError;

// The newest change of any object and the number of objects: a dropped table lowers the count
// even when nothing else changed.
constexpr const char* kSqlServerStampQuery =
    "SELECT CONVERT(varchar(33), MAX(modify_date), 126), COUNT_BIG(*) FROM sys.objects";

// Whether text equals an upper-case ASCII word without regard to case.
bool equalsUpper(const std::string& text, std::string_view word) {
    return text.size() == word.size() &&
           std::equal(text.begin(), text.end(), word.begin(), [](char c, char w) {
               return std::toupper(static_cast<unsigned char>(c)) == w;
           });
}

// A value of an ODBC connection string in braces, a closing brace doubled, so that no value can
// end early and add keys of its own.
std::string braced(const std::string& value) {
    std::string out = "{";
    for (char c : value) {
        out += c;
        if (c == '}')
            out += '}';
    }
    return out + "}";
}

std::string bracedWhenNeeded(const std::string& value) {
    bool plain = !value.empty() && value.front() != ' ' && value.back() != ' ' &&
                 value.find_first_of(";{}=") == std::string::npos;
    return plain ? value : braced(value);
}

// Blanks removed at both ends (only the blank character, not tabs).
std::string trimBlanks(const std::string& s) {
    std::size_t b = s.find_first_not_of(' ');
    if (b == std::string::npos)
        return {};
    std::size_t e = s.find_last_not_of(' ');
    return s.substr(b, e - b + 1);
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        std::size_t pos = s.find(sep, start);
        parts.push_back(
            s.substr(start, pos == std::string::npos ? std::string::npos : pos - start));
        if (pos == std::string::npos)
            break;
        start = pos + 1;
    }
    return parts;
}

// Reads one part of a table name from pos: "[...]" with "]]" for "]", or "\"...\"" with "\"\""
// for "\"". Answers false, leaving the outputs alone, when the part is not quoted that way or
// the closing character is not followed by blanks and then a dot or the end.
bool quotedPart(const std::string& s, std::size_t pos, std::string& part, std::size_t& end) {
    if (pos >= s.size() || (s[pos] != '[' && s[pos] != '"'))
        return false;
    const char close = s[pos] == '[' ? ']' : '"';
    std::string text;
    std::size_t i = pos + 1;
    for (;; ++i) {
        if (i >= s.size())
            return false;
        if (s[i] == close) {
            if (i + 1 < s.size() && s[i + 1] == close) {
                text += close;
                ++i;
                continue;
            }
            break;
        }
        text += s[i];
    }
    std::size_t next = s.find_first_not_of(' ', i + 1);
    if (next != std::string::npos && s[next] != '.')
        return false;
    part = std::move(text);
    end = next == std::string::npos ? s.size() : next;
    return true;
}

// Splits "schema.table" as the table list writes it, or with bracketed or double-quoted parts,
// or a table alone (schema left empty). An unquoted schema ends at the first dot; an unquoted
// table is the rest as it is. Blanks around the parts are dropped, as GetListOfFields does.
void splitTableName(const std::string& name, std::string& schema, std::string& table) {
    schema.clear();
    std::size_t start = name.find_first_not_of(' ');
    if (start == std::string::npos) {
        table.clear();
        return;
    }
    std::string first;
    std::size_t end = 0;
    if (quotedPart(name, start, first, end)) {
        if (end == name.size()) {
            table = std::move(first);
            return;
        }
        schema = std::move(first);
        start = end + 1;
    } else {
        std::size_t dot = name.find('.', start);
        if (dot == std::string::npos) {
            table = trimBlanks(name);
            return;
        }
        schema = trimBlanks(name.substr(start, dot - start));
        start = dot + 1;
    }
    start = std::min(name.find_first_not_of(' ', start), name.size());
    if (quotedPart(name, start, table, end) && end == name.size())
        return;
    table = trimBlanks(name.substr(start));
}

bool isCancelled(const DbCancellation* cancellation) {
    return cancellation && cancellation->blnCancelled();
}

// Opens the session of a service call and registers it with the cancellation (if any) for as
// long as scope lives; the caller declares scope after session, so the session is unregistered
// before it is closed. An SQLite file is registered before it is attached, because attaching it
// reads its whole schema, which takes seconds for a very large catalogue and must be
// stoppable too. An ODBC session is registered once it is connected. False when no session
// could be opened (session may then still hold the unopened one); the reason is kept for
// LastConnectionError.
bool openForCall(const cDbConnection& connection, DbCancellation* cancellation,
                 std::unique_ptr<DbSession>& session, std::optional<DbCancellationScope>& scope) {
    if (!cancellation || providerOf(connection.strProvider()) != Provider::Sqlite) {
        session = connection.GetConnection();
        if (!session)
            return false;
        if (cancellation)
            scope.emplace(cancellation, session.get());
        return true;
    }
    t_lastConnectionError.clear();
    try {
        auto sqlite = std::make_unique<SqliteSession>(cDbConnection::kCommandTimeout);
        SqliteSession* opening = sqlite.get();
        session = std::move(sqlite);
        scope.emplace(cancellation, opening);
        opening->Open(connection.strDatabase());
        return true;
    } catch (const std::exception& e) {
        t_lastConnectionError = e.what();
    } catch (...) {
        t_lastConnectionError = "Unknown failure";
    }
    return false;
}

} // namespace

std::string cDbConnection::strEffectiveDriver() const {
    if (!m_strDriver.empty())
        return m_strDriver;
    const char* env = std::getenv(kDriverEnvironmentVariable);
    if (env && *env)
        return env;
    return kDefaultDriver;
}

std::string cDbConnection::strOdbcConnectionString() const {
    std::string error;
    return odbcConnectionString(error);
}

std::string cDbConnection::odbcConnectionString(std::string& error) const {
    // Every key ends in ";": FreeTDS misreads a braced value at the very end of the string.
    std::string cs;
    auto add = [&cs](const char* key, const std::string& value) {
        cs += key;
        cs += '=';
        cs += value;
        cs += ';';
    };
    switch (providerOf(m_strProvider)) {
    case Provider::SqlServer: {
        std::string driver = strEffectiveDriver();
        std::string d = lowerAscii(driver);
        bool freeTds =
            d.find("freetds") != std::string::npos || d.find("tdsodbc") != std::string::npos;
        // FreeTDS reads a braced value up to the first "};" and knows no doubled "}}"; other
        // drivers follow the ODBC rule of doubling "}".
        auto value = [&](const std::string& v) {
            if (!freeTds)
                return braced(v);
            if (v.find("};") != std::string::npos)
                error = "A connection value holds \"};\", which the FreeTDS driver cannot take";
            return "{" + v + "}";
        };
        add("DRIVER", braced(driver));
        add("SERVER", value(m_strServer));
        add("DATABASE", value(m_strDatabase));
        if (m_blnWindowsAuthentication) {
            add("Trusted_Connection", "Yes");
        } else {
            add("UID", value(m_strUserName));
            add("PWD", value(m_strPassword));
        }
        if (freeTds) {
            // Text in UTF-8, our encoding. A fixed protocol version, because FreeTDS's automatic
            // version probing does not honour the login time-out against a silent server.
            add("ClientCharset", "UTF-8");
            const char* version = std::getenv(kTdsVersionEnvironmentVariable);
            add("TDS_Version", value(version && *version ? version : kDefaultTdsVersion));
        }
        break;
    }
    case Provider::Odbc:
        // The host's own string is used as given; values added to it are braced only when they
        // hold a character that could end them early, since not every driver reads braces.
        cs = m_strConnectionString;
        if (!cs.empty() && cs.back() != ';')
            cs += ';';
        if (m_strConnectionString.empty() && !m_strServer.empty())
            add("DSN", bracedWhenNeeded(m_strServer));
        if (!m_strDatabase.empty())
            add("DATABASE", bracedWhenNeeded(m_strDatabase));
        if (m_blnWindowsAuthentication) {
            add("Trusted_Connection", "Yes");
        } else {
            if (!m_strUserName.empty())
                add("UID", bracedWhenNeeded(m_strUserName));
            if (!m_strPassword.empty())
                add("PWD", bracedWhenNeeded(m_strPassword));
        }
        break;
    case Provider::Sqlite:
    case Provider::Unknown:
        break;
    }
    return error.empty() ? cs : std::string();
}

std::string cDbConnection::LastConnectionError() {
    return t_lastConnectionError;
}

std::unique_ptr<DbSession> cDbConnection::GetConnection() const {
    t_lastConnectionError.clear();
    try {
        switch (providerOf(m_strProvider)) {
        case Provider::Sqlite:
            return std::make_unique<SqliteSession>(m_strDatabase, kCommandTimeout);
        case Provider::SqlServer:
        case Provider::Odbc: {
            std::string error;
            std::string cs = odbcConnectionString(error);
            if (!error.empty()) {
                t_lastConnectionError = error;
                return nullptr;
            }
            return std::make_unique<OdbcSession>(cs, m_lngLoginTimeout, kCommandTimeout);
        }
        case Provider::Unknown:
            t_lastConnectionError = "Unknown provider: " + m_strProvider;
            return nullptr;
        }
    } catch (const std::exception& e) {
        t_lastConnectionError = e.what();
    } catch (...) {
        t_lastConnectionError = "Unknown failure";
    }
    return nullptr;
}

std::unique_ptr<DbSession> cDbConnection::GetConnection(DbCancellation* cancellation) const {
    std::unique_ptr<DbSession> conn;
    {
        std::optional<DbCancellationScope> scope;
        if (!openForCall(*this, cancellation, conn, scope))
            return nullptr;
    }
    if (isCancelled(cancellation))
        return nullptr;
    return conn;
}

bool cDbConnection::blnListsTableRow(const DbSession::TableRow& row) const {
    const std::string& type = row.strType;
    return (m_blnIncludeUserTables && equalsUpper(type, "TABLE")) ||
           (m_blnIncludeViews && equalsUpper(type, "VIEW")) ||
           (!m_blnExcludeSystemTables && equalsUpper(type, "SYSTEM TABLE")) ||
           (!m_blnExcludeSystemViews && equalsUpper(type, "SYSTEM VIEW"));
}

std::string cDbConnection::GetListOfTables() const {
    std::string list;
    std::string error;
    const bool listed = ListTables(
        [this, &list](std::vector<DbSession::TableRow>&& part) {
            for (const DbSession::TableRow& row : part) {
                if (!blnListsTableRow(row))
                    continue;
                if (!list.empty())
                    list += ',';
                list += row.strSchema;
                list += '.';
                list += row.strName;
            }
        },
        error, nullptr);
    return listed ? list : std::string();
}

bool cDbConnection::ListTables(const std::function<void(std::vector<DbSession::TableRow>&&)>& batch,
                               std::string& strError, DbCancellation* cancellation) const {
    return ListTables(batch, strError, cancellation, nullptr);
}

bool cDbConnection::ListTables(const std::function<void(std::vector<DbSession::TableRow>&&)>& batch,
                               std::string& strError, DbCancellation* cancellation,
                               std::unique_ptr<DbSession>* keepSession) const {
    try {
        strError.clear();
        std::unique_ptr<DbSession> conn;
        // Declared after the session, so the session is detached before it is closed.
        std::optional<DbCancellationScope> scope;
        if (!openForCall(*this, cancellation, conn, scope)) {
            if (isCancelled(cancellation))
                strError = kCancelledText;
            else
                strError =
                    t_lastConnectionError.empty() ? kProblemsConnecting : t_lastConnectionError;
            return false;
        }
        try {
            if (isCancelled(cancellation))
                throw DbError(kCancelledText);
            conn->Tables([&](std::vector<DbSession::TableRow>&& part) {
                // A part read before the cancellation came is not handed over any more.
                if (isCancelled(cancellation))
                    throw DbError(kCancelledText);
                batch(std::move(part));
            });
            if (keepSession) {
                scope.reset();
                *keepSession = std::move(conn);
            }
            return true;
        } catch (const std::exception& e) {
            strError = isCancelled(cancellation) ? kCancelledText : e.what();
        }
    } catch (...) {
        strError = isCancelled(cancellation) ? kCancelledText : "The catalogue could not be read";
    }
    return false;
}

std::optional<std::vector<DbSession::TableRow>> cDbConnection::GetTablesFromFile() const {
    try {
        if (providerOf(m_strProvider) != Provider::Sqlite)
            return std::nullopt;
        SqliteCatalogueRows rows(0);
        if (!readSqliteSchemaNames(
                m_strDatabase,
                [&rows](std::string_view type, std::string_view name) { rows.add(type, name); }))
            return std::nullopt;
        std::vector<DbSession::TableRow> result;
        rows.handOver([&result](std::vector<DbSession::TableRow>&& part) {
            result.insert(result.end(), std::make_move_iterator(part.begin()),
                          std::make_move_iterator(part.end()));
        });
        return result;
    } catch (...) {
        return std::nullopt;
    }
}

std::string cDbConnection::GetCatalogueStamp() const {
    try {
        switch (providerOf(m_strProvider)) {
        case Provider::Sqlite:
            return sqliteFileStamp(m_strDatabase);
        case Provider::SqlServer: {
            auto conn = GetConnection();
            if (!conn)
                return {};
            auto rs = conn->Query(kSqlServerStampQuery, 1);
            if (!rs || rs->RecordCount() != 1 || rs->FieldCount() != 2)
                return {};
            const DbValue newest = rs->value(0, 0);
            const DbValue count = rs->value(0, 1);
            if (newest.IsNull() || count.IsNull())
                return {};
            return "mssql:" + newest.ToString() + ":" + count.ToString();
        }
        case Provider::Odbc:
        case Provider::Unknown:
            // A generic source has no cheap way to tell; the cache then trusts a listing for a
            // limited time only.
            break;
        }
    } catch (...) {
    }
    return {};
}

std::vector<DbForeignKey> cDbConnection::GetForeignKeys(const std::string& strTableName) const {
    try {
        std::string schema, table;
        splitTableName(strTableName, schema, table);
        if (table.empty())
            return {};
        auto conn = GetConnection();
        if (!conn)
            return {};
        return conn->ForeignKeys(schema, table);
    } catch (...) {
        return {};
    }
}

std::vector<DbForeignKey> cDbConnection::GetForeignKeys(DbSession& session,
                                                        const std::string& strTableName) {
    try {
        std::string schema, table;
        splitTableName(strTableName, schema, table);
        if (table.empty())
            return {};
        return session.ForeignKeys(schema, table);
    } catch (...) {
        return {};
    }
}

std::vector<DbForeignKey>
cDbConnection::GetForeignKeys(DbSession& session, const std::string& strTableName,
                              const std::vector<std::string>& colReferencingTables) {
    try {
        std::string schema, table;
        splitTableName(strTableName, schema, table);
        if (table.empty())
            return {};
        std::vector<std::pair<std::string, std::string>> referencing;
        referencing.reserve(colReferencingTables.size());
        for (const std::string& entry : colReferencingTables) {
            std::string otherSchema, otherTable;
            splitTableName(entry, otherSchema, otherTable);
            if (!otherTable.empty())
                referencing.emplace_back(std::move(otherSchema), std::move(otherTable));
        }
        return session.ForeignKeysAmong(schema, table, referencing);
    } catch (...) {
        return {};
    }
}

std::string cDbConnection::GetListOfFields(const std::string& strTableName,
                                           bool blnIncludeTableName) const {
    try {
        auto conn = GetConnection();
        if (!conn)
            return {};
        return GetListOfFields(*conn, strTableName, blnIncludeTableName);
    } catch (...) {
        return {};
    }
}

std::string cDbConnection::GetListOfFields(DbSession& session, const std::string& strTableName,
                                           bool blnIncludeTableName) {
    std::string prefix = blnIncludeTableName ? strTableName + "." : std::string();
    std::string list;
    try {
        std::vector<std::string> parts = split(strTableName, '.');
        std::string schema, table;
        if (parts.size() >= 2) {
            schema = trimBlanks(parts[0]);
            table = trimBlanks(parts[1]);
        } else {
            table = trimBlanks(strTableName);
        }
        for (const std::string& column : session.Columns(schema, table)) {
            if (!list.empty())
                list += ",";
            list += prefix;
            list += column;
        }
    } catch (...) {
        return {};
    }
    return list;
}

bool cDbConnection::IsTheFieldInTheTable(const std::string& strField,
                                         const std::string& strTable) const {
    try {
        std::size_t dot = strField.rfind('.');
        std::string field = dot == std::string::npos ? strField : strField.substr(dot + 1);
        std::string list = GetListOfFields(strTable, false);
        if (trimBlanks(list).empty())
            return false;
        for (const std::string& column : split(list, ',')) {
            if (column == field)
                return true;
        }
    } catch (...) {
    }
    return false;
}

std::string cDbConnection::CheckSQLSyntax(const std::string& strSQLQuery) const {
    return CheckSQLSyntax(strSQLQuery, nullptr);
}

std::string cDbConnection::CheckSQLSyntax(const std::string& strSQLQuery,
                                          DbCancellation* cancellation) const {
    std::unique_ptr<DbSession> conn;
    // Declared after the session, so the session is detached before it is closed.
    std::optional<DbCancellationScope> scope;
    bool opened = false;
    try {
        opened = openForCall(*this, cancellation, conn, scope);
    } catch (...) {
    }
    if (!opened)
        return isCancelled(cancellation) ? kCancelledText : std::string();
    if (isCancelled(cancellation))
        return kCancelledText;
    bool parseOnly = false;
    try {
        parseOnly = conn->SupportsParseOnly();
        if (parseOnly) {
            conn->Execute("SET PARSEONLY ON " + strSQLQuery);
            conn->Execute("SET PARSEONLY OFF");
        } else {
            conn->Prepare(strSQLQuery);
        }
        return kSyntaxCorrect;
    } catch (const std::exception& e) {
        if (cancellation && cancellation->blnCancelled())
            return kCancelledText;
        std::string message = std::string("Syntax error:") + kCrLf + e.what();
        // Leave parse-only mode even though the connection is dropped right after; a failure
        // here changes nothing for the caller.
        if (parseOnly) {
            try {
                conn->Execute("SET PARSEONLY OFF");
            } catch (...) {
            }
        }
        return message;
    } catch (...) {
        return std::string("Syntax error:") + kCrLf;
    }
}

std::shared_ptr<cRecordset> cDbConnection::FireQuery(const std::string& strSQLQuery,
                                                     std::string& strErrorMsg,
                                                     std::int32_t lngMaxNrRecords) const {
    return FireQuery(strSQLQuery, strErrorMsg, lngMaxNrRecords, nullptr);
}

std::shared_ptr<cRecordset> cDbConnection::FireQuery(const std::string& strSQLQuery,
                                                     std::string& strErrorMsg,
                                                     std::int32_t lngMaxNrRecords,
                                                     DbCancellation* cancellation) const {
    strErrorMsg.clear();
    std::unique_ptr<DbSession> conn;
    // Declared after the session, so the session is detached before it is closed.
    std::optional<DbCancellationScope> scope;
    bool opened = false;
    try {
        opened = openForCall(*this, cancellation, conn, scope);
    } catch (...) {
    }
    if (!opened) {
        strErrorMsg = isCancelled(cancellation) ? kCancelledText : kProblemsConnecting;
        return nullptr;
    }
    try {
        if (cancellation && cancellation->blnCancelled())
            throw DbError(kCancelledText);
        return conn->Query(strSQLQuery, lngMaxNrRecords > 0 ? lngMaxNrRecords : 0);
    } catch (const std::exception& e) {
        if (cancellation && cancellation->blnCancelled()) {
            strErrorMsg = kCancelledText;
            return nullptr;
        }
        strErrorMsg = std::string("Error") + kCrLf + kCrLf + e.what();
    } catch (...) {
        strErrorMsg = std::string("Error") + kCrLf + kCrLf;
    }
    return nullptr;
}

bool cDbConnection::Check(bool /*blnSilent: accepted, deliberately without effect*/) const {
    try {
        auto conn = GetConnection();
        if (!conn)
            return false;
        conn->Close();
        return true;
    } catch (...) {
        return false;
    }
}

void cDbConnection::CopyTo(cDbConnection& SQLConnectInfoCopy) const {
    SQLConnectInfoCopy.setBlnExcludeSystemTables(m_blnExcludeSystemTables);
    SQLConnectInfoCopy.setBlnExcludeSystemViews(m_blnExcludeSystemViews);
    SQLConnectInfoCopy.setBlnIncludeViews(m_blnIncludeViews);
    SQLConnectInfoCopy.setLngId(m_lngId);
    SQLConnectInfoCopy.setStrServer(m_strServer);
    SQLConnectInfoCopy.setStrDatabase(m_strDatabase);
    SQLConnectInfoCopy.setBlnWindowsAuthentication(m_blnWindowsAuthentication);
    SQLConnectInfoCopy.setStrUserName(m_strUserName);
    SQLConnectInfoCopy.setStrPassword(m_strPassword);
    // How the database is reached travels with the settings, so that a copy reaches the same
    // database. blnIncludeUserTables deliberately stays the target's own.
    SQLConnectInfoCopy.setStrProvider(m_strProvider);
    SQLConnectInfoCopy.setStrDriver(m_strDriver);
    SQLConnectInfoCopy.setStrConnectionString(m_strConnectionString);
    SQLConnectInfoCopy.setLngLoginTimeout(m_lngLoginTimeout);
}

} // namespace marovin
