#pragma once

#include <cctype>
#include <string>

namespace marovin {

// The providers cDbConnection knows, by the names a host may give them (compared without
// regard to case). Private to the database layer.
enum class Provider { SqlServer, Odbc, Sqlite, Unknown };

inline std::string lowerAscii(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

inline Provider providerOf(const std::string& name) {
    const std::string p = lowerAscii(name);
    if (p == "sqlserver" || p == "sql server" || p == "sqloledb" || p == "mssql")
        return Provider::SqlServer;
    if (p == "odbc")
        return Provider::Odbc;
    if (p == "sqlite")
        return Provider::Sqlite;
    return Provider::Unknown;
}

// One name per provider, whichever of its names the host used ("sqloledb" and "SQLServer" are
// both "sqlserver"); an unknown provider is its own name in lower case.
inline std::string providerKey(const std::string& name) {
    switch (providerOf(name)) {
    case Provider::SqlServer:
        return "sqlserver";
    case Provider::Odbc:
        return "odbc";
    case Provider::Sqlite:
        return "sqlite";
    case Provider::Unknown:
        break;
    }
    return lowerAscii(name);
}

} // namespace marovin
