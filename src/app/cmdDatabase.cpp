// The commands that reach a database through cDbConnection: tables, columns, foreign-keys,
// fieldin, check and preview.

#include "cmdDatabase.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <marovin/ModelError.h>
#include <marovin/cDbConnection.h>
#include <marovin/cSQLQuery.h>
#include <optional>
#include <termios.h>
#include <unistd.h>

namespace marovin::cli {

namespace {

constexpr int kOk = 0;
constexpr int kFailure = 1;
constexpr int kUsage = 2;

// The default row limit of a preview, as the query builder's preview uses it.
constexpr std::int32_t kDefaultMaxRows = 50;

constexpr const char* kUsageText =
    "Database (connection: --sqlite PATH | --server HOST --database DB [--user U]\n"
    "          [--password-env VAR | --windows-auth] [--driver NAME] | --odbc CONNECTION-STRING;\n"
    "          --login-timeout SECONDS):\n"
    "  tables [--views|--no-views] [--system] [--raw]\n"
    "                      list tables and views, one per line (--raw: the list as one line)\n"
    "  columns TABLE [--qualified] [--raw]\n"
    "                      list the columns of a table (schema.table or table)\n"
    "  foreign-keys TABLE  list the declared foreign keys of a table, then those referencing\n"
    "                      it, one per line: [NAME: ]TABLE(COLUMNS) -> TABLE(COLUMNS)\n"
    "  fieldin FIELD TABLE write True (exit 0) or False (exit 1)\n"
    "  check (FILE|--sql TEXT)\n"
    "                      check the syntax of a query document's statement or of a text\n"
    "  preview (FILE|--sql TEXT) [--max-rows N] [--null TEXT] [--format tsv|csv]\n"
    "                      run it: a header line, then the rows (NULL as TEXT, default empty);\n"
    "                      tsv (default): tab-separated, tabs and line breaks inside values\n"
    "                      become blanks; csv: comma-separated as RFC 4180 (CR LF line ends,\n"
    "                      values holding a comma, quote or line break in double quotes)\n"
    "  Parameter markers <[name]> are sent as the string literal 'name'. Passwords come from\n"
    "  the environment variable named by --password-env, or from a prompt on the terminal.\n";

struct Options {
    std::vector<std::string> positional;
    std::optional<std::string> sqlite, server, database, user, passwordEnv, driver, odbc, sql,
        nullText, format;
    std::optional<std::int32_t> maxRows, loginTimeout;
    bool windowsAuth = false;
    bool views = true;
    bool system = false;
    bool raw = false;
    bool qualified = false;
};

void printError(std::ostream& err, const std::string& where, const std::string& message) {
    err << "marovin: " << where << ": " << message << '\n';
}

bool readInt(const std::string& text, std::int32_t& value) {
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc{} && end == text.data() + text.size();
}

// Whether an ODBC connection string carries a password (a PWD or Password key): the command
// line is no place for one. Values in braces may hold ";" and "=" and are skipped whole.
bool holdsPassword(const std::string& cs) {
    std::size_t i = 0;
    while (i < cs.size()) {
        std::size_t eq = cs.find_first_of("=;", i);
        if (eq == std::string::npos)
            break;
        if (cs[eq] == ';') {
            i = eq + 1;
            continue;
        }
        std::string key = cs.substr(i, eq - i);
        key.erase(0, key.find_first_not_of(' '));
        key.erase(key.find_last_not_of(' ') + 1);
        for (char& c : key)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (key == "pwd" || key == "password")
            return true;
        std::size_t v = cs.find_first_not_of(' ', eq + 1);
        if (v != std::string::npos && cs[v] == '{') {
            // A braced value ends at a "}" that is not doubled.
            std::size_t e = v + 1;
            while ((e = cs.find('}', e)) != std::string::npos && e + 1 < cs.size() &&
                   cs[e + 1] == '}')
                e += 2;
            if (e == std::string::npos)
                break;
            v = e + 1;
        } else {
            v = eq + 1;
        }
        std::size_t semicolon = cs.find(';', v);
        if (semicolon == std::string::npos)
            break;
        i = semicolon + 1;
    }
    return false;
}

// Parses the options; on a usage error writes the message and returns false.
bool parseOptions(const std::string& command, const std::vector<std::string>& args, Options& o,
                  std::ostream& err) {
    auto takeValue = [&](std::size_t& i, std::optional<std::string>& into) {
        if (i + 1 >= args.size()) {
            printError(err, command, args[i] + " needs a value");
            return false;
        }
        into = args[++i];
        return true;
    };
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        bool good = true;
        if (a == "--sqlite")
            good = takeValue(i, o.sqlite);
        else if (a == "--server")
            good = takeValue(i, o.server);
        else if (a == "--database")
            good = takeValue(i, o.database);
        else if (a == "--user")
            good = takeValue(i, o.user);
        else if (a == "--password-env")
            good = takeValue(i, o.passwordEnv);
        else if (a == "--driver")
            good = takeValue(i, o.driver);
        else if (a == "--odbc")
            good = takeValue(i, o.odbc);
        else if (a == "--sql")
            good = takeValue(i, o.sql);
        else if (a == "--null")
            good = takeValue(i, o.nullText);
        else if (a == "--format") {
            good = takeValue(i, o.format);
            if (good && *o.format != "tsv" && *o.format != "csv") {
                printError(err, command, "--format is tsv or csv");
                return false;
            }
        } else if (a == "--max-rows" || a == "--login-timeout") {
            std::optional<std::string> text;
            std::int32_t n = 0;
            good = takeValue(i, text);
            if (good && (!readInt(*text, n) || n < 0)) {
                printError(err, command, a + " needs a whole number of at least 0");
                return false;
            }
            (a == "--max-rows" ? o.maxRows : o.loginTimeout) = n;
        } else if (a == "--windows-auth")
            o.windowsAuth = true;
        else if (a == "--views")
            o.views = true;
        else if (a == "--no-views")
            o.views = false;
        else if (a == "--system")
            o.system = true;
        else if (a == "--raw")
            o.raw = true;
        else if (a == "--qualified")
            o.qualified = true;
        else if (a == "--password" || a.starts_with("--password=")) {
            printError(err, command,
                       "passwords are not taken from the command line; use --password-env VAR");
            return false;
        } else if (a.size() > 1 && a[0] == '-' && a != "-") {
            printError(err, command, "unknown option " + a);
            return false;
        } else
            o.positional.push_back(a);
        if (!good)
            return false;
    }
    int sources = (o.sqlite ? 1 : 0) + (o.server ? 1 : 0) + (o.odbc ? 1 : 0);
    if (sources != 1) {
        printError(err, command,
                   sources == 0 ? "no database: give --sqlite PATH, --server HOST --database DB "
                                  "or --odbc CONNECTION-STRING"
                                : "give only one of --sqlite, --server and --odbc");
        return false;
    }
    if (o.odbc && holdsPassword(*o.odbc)) {
        printError(err, command,
                   "passwords are not taken from the command line; use --password-env VAR "
                   "instead of a password in the connection string");
        return false;
    }
    if (o.server && !o.database) {
        printError(err, command, "--server needs --database DB");
        return false;
    }
    if (o.windowsAuth && (o.passwordEnv || o.user)) {
        printError(err, command, "--windows-auth goes without --user and --password-env");
        return false;
    }
    // Options the chosen source would silently ignore.
    if (o.driver && !o.server) {
        printError(err, command, "--driver goes with --server only");
        return false;
    }
    if (o.sqlite && (o.database || o.user || o.passwordEnv || o.windowsAuth)) {
        printError(err, command,
                   "--sqlite PATH names the database file; it takes no --database, --user, "
                   "--password-env or --windows-auth");
        return false;
    }
    return true;
}

// Reads a password from the terminal without echo; empty when there is no terminal.
std::string promptPassword(const std::string& user) {
    if (!::isatty(STDIN_FILENO))
        return {};
    std::fprintf(stderr, "Password for %s: ", user.c_str());
    std::fflush(stderr);
    termios saved{};
    bool restore = ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (restore) {
        termios silent = saved;
        silent.c_lflag &= static_cast<tcflag_t>(~ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &silent);
    }
    std::string password;
    std::getline(std::cin, password);
    if (restore)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    std::fputc('\n', stderr);
    return password;
}

// Fills the connection from the options; false (message written) when the password variable
// is not set.
bool configure(const std::string& command, const Options& o, cDbConnection& db, std::ostream& err) {
    if (o.sqlite) {
        db.setStrProvider(cDbConnection::kProviderSqlite);
        db.setStrDatabase(*o.sqlite);
    } else if (o.server) {
        db.setStrProvider(cDbConnection::kProviderSqlServer);
        db.setStrServer(*o.server);
        db.setStrDatabase(*o.database);
        if (o.driver)
            db.setStrDriver(*o.driver);
    } else {
        db.setStrProvider(cDbConnection::kProviderOdbc);
        db.setStrConnectionString(*o.odbc);
        if (o.database)
            db.setStrDatabase(*o.database);
    }
    db.setBlnWindowsAuthentication(o.windowsAuth);
    if (o.user)
        db.setStrUserName(*o.user);
    if (o.passwordEnv) {
        const char* value = std::getenv(o.passwordEnv->c_str());
        if (!value) {
            printError(err, command, "the environment variable " + *o.passwordEnv + " is not set");
            return false;
        }
        db.setStrPassword(value);
    } else if (o.user && !o.windowsAuth) {
        db.setStrPassword(promptPassword(*o.user));
    }
    if (o.loginTimeout)
        db.setLngLoginTimeout(*o.loginTimeout);
    db.setBlnIncludeViews(o.views);
    db.setBlnExcludeSystemTables(!o.system);
    db.setBlnExcludeSystemViews(!o.system);
    return true;
}

// Says why no connection could be opened; false when there is one.
bool reportNoConnection(const std::string& command, const cDbConnection& db, std::ostream& err) {
    if (db.Check(true))
        return false;
    std::string why = cDbConnection::LastConnectionError();
    err << "Problems connecting to database\n";
    if (!why.empty())
        printError(err, command, why);
    return true;
}

void printList(std::ostream& out, const std::string& list, bool raw) {
    if (raw) {
        out << list << '\n';
        return;
    }
    std::size_t start = 0;
    while (start <= list.size() && !list.empty()) {
        std::size_t comma = list.find(',', start);
        out << list.substr(start, comma == std::string::npos ? std::string::npos : comma - start)
            << '\n';
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
}

// The statement of a check or preview: the text of --sql, or the statement of a query
// document. Parameter markers become string literals holding the parameter's name.
// On failure code is kUsage or kFailure.
std::optional<std::string> statementOf(const std::string& command, const Options& o, int& code,
                                       std::ostream& err) {
    code = kUsage;
    std::string sql;
    if (o.sql) {
        if (!o.positional.empty()) {
            printError(err, command, "give either FILE or --sql TEXT");
            return std::nullopt;
        }
        sql = *o.sql;
    } else {
        if (o.positional.size() != 1) {
            printError(err, command, "give one query document FILE or --sql TEXT");
            return std::nullopt;
        }
        const std::string& file = o.positional.front();
        std::ifstream stream(file, std::ios::binary);
        code = kFailure;
        if (!stream) {
            printError(err, file, "cannot read the file");
            return std::nullopt;
        }
        std::string text((std::istreambuf_iterator<char>(stream)),
                         std::istreambuf_iterator<char>());
        try {
            cSQLQuery query;
            query.LoadXmlText(text);
            sql = query.strSQL();
        } catch (const std::exception& e) {
            printError(err, file, e.what());
            return std::nullopt;
        }
    }
    std::string text;
    text.reserve(sql.size());
    for (std::size_t i = 0; i < sql.size(); ++i) {
        bool marker = i + 1 < sql.size() && ((sql[i] == '<' && sql[i + 1] == '[') ||
                                             (sql[i] == ']' && sql[i + 1] == '>'));
        if (marker) {
            text += '\'';
            ++i;
        } else {
            text += sql[i];
        }
    }
    return text;
}

std::string cellText(const DbValue& v, const std::string& nullText) {
    if (v.IsNull())
        return nullText;
    std::string s = v.ToString();
    for (char& c : s) {
        if (c == '\t' || c == '\r' || c == '\n')
            c = ' ';
    }
    return s;
}

// One CSV field: quoted, with its quotes doubled, when it holds a comma, a quote or a line
// break.
std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

int runTables(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    if (!o.positional.empty()) {
        printError(err, "tables", "takes no arguments");
        return kUsage;
    }
    // An empty list is either an empty database or no connection; only then is it asked which.
    std::string list = db.GetListOfTables();
    if (list.empty() && reportNoConnection("tables", db, err))
        return kFailure;
    printList(out, list, o.raw);
    return kOk;
}

int runColumns(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    if (o.positional.size() != 1) {
        printError(err, "columns", "give one TABLE");
        return kUsage;
    }
    std::string list = db.GetListOfFields(o.positional.front(), o.qualified);
    if (list.empty() && reportNoConnection("columns", db, err))
        return kFailure;
    if (list.empty()) {
        printError(err, "columns", "no columns found for " + o.positional.front());
        return kFailure;
    }
    printList(out, list, o.raw);
    return kOk;
}

int runForeignKeys(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    if (o.positional.size() != 1) {
        printError(err, "foreign-keys", "give one TABLE");
        return kUsage;
    }
    const std::vector<DbForeignKey> keys = db.GetForeignKeys(o.positional.front());
    if (keys.empty() && reportNoConnection("foreign-keys", db, err))
        return kFailure;
    auto columns = [](const std::vector<std::string>& names) {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : ", ") + name;
        return "(" + text + ")";
    };
    for (const DbForeignKey& key : keys)
        out << (key.strName.empty() ? "" : key.strName + ": ") << key.strTable
            << columns(key.colColumns) << " -> " << key.strReferencedTable
            << columns(key.colReferencedColumns) << '\n';
    return kOk;
}

int runFieldIn(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    if (o.positional.size() != 2) {
        printError(err, "fieldin", "give FIELD and TABLE");
        return kUsage;
    }
    bool found = db.IsTheFieldInTheTable(o.positional[0], o.positional[1]);
    if (!found && reportNoConnection("fieldin", db, err))
        return kFailure;
    out << (found ? "True" : "False") << '\n';
    return found ? kOk : kFailure;
}

int runCheck(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    int code = kOk;
    auto sql = statementOf("check", o, code, err);
    if (!sql)
        return code;
    std::string message = db.CheckSQLSyntax(*sql);
    if (message.empty()) {
        // The check answers "" only when it had no connection; the reason is added when a
        // second attempt fails as well.
        if (!reportNoConnection("check", db, err))
            err << "Problems connecting to database\n";
        return kFailure;
    }
    if (message == "Syntax SQL Query correct") {
        out << message << '\n';
        return kOk;
    }
    err << message << '\n';
    return kFailure;
}

int runPreview(const Options& o, cDbConnection& db, std::ostream& out, std::ostream& err) {
    int code = kOk;
    auto sql = statementOf("preview", o, code, err);
    if (!sql)
        return code;
    std::string error;
    auto rs = db.FireQuery(*sql, error, o.maxRows.value_or(kDefaultMaxRows));
    if (!error.empty() || !rs) {
        err << error << '\n';
        if (error == "Problems connecting to database") {
            std::string why = cDbConnection::LastConnectionError();
            if (!why.empty())
                printError(err, "preview", why);
        }
        return kFailure;
    }
    const std::string nullText = o.nullText.value_or("");
    const bool csv = o.format.value_or("tsv") == "csv";
    const char separator = csv ? ',' : '\t';
    const char* lineEnd = csv ? "\r\n" : "\n";
    std::string line;
    for (std::int32_t c = 0; c < rs->FieldCount(); ++c) {
        if (c > 0)
            line += separator;
        line += csv ? csvField(rs->FieldName(c)) : rs->FieldName(c);
    }
    out << line << lineEnd;
    for (rs->MoveFirst(); !rs->IsEOF(); rs->MoveNext()) {
        line.clear();
        for (std::int32_t c = 0; c < rs->FieldCount(); ++c) {
            if (c > 0)
                line += separator;
            const DbValue& value = rs->Fields(c);
            if (csv)
                line += csvField(value.IsNull() ? nullText : value.ToString());
            else
                line += cellText(value, nullText);
        }
        out << line << lineEnd;
    }
    return kOk;
}

} // namespace

bool IsDatabaseCommand(const std::string& name) {
    return name == "tables" || name == "columns" || name == "foreign-keys" || name == "fieldin" ||
           name == "check" || name == "preview";
}

const char* DatabaseCommandsUsage() {
    return kUsageText;
}

int RunDatabaseCommand(const std::string& name, const std::vector<std::string>& args,
                       std::ostream& out, std::ostream& err) {
    if (!IsDatabaseCommand(name)) {
        printError(err, name, "not a database command");
        return kUsage;
    }
    for (const std::string& a : args) {
        if (a == "--help" || a == "-h") {
            out << kUsageText;
            return kOk;
        }
    }
    Options o;
    if (!parseOptions(name, args, o, err)) {
        err << kUsageText;
        return kUsage;
    }
    cDbConnection db;
    if (!configure(name, o, db, err))
        return kUsage;
    if (name == "tables")
        return runTables(o, db, out, err);
    if (name == "columns")
        return runColumns(o, db, out, err);
    if (name == "foreign-keys")
        return runForeignKeys(o, db, out, err);
    if (name == "fieldin")
        return runFieldIn(o, db, out, err);
    if (name == "check")
        return runCheck(o, db, out, err);
    return runPreview(o, db, out, err);
}

} // namespace marovin::cli
