#pragma once

// A throw-away PostgreSQL server for the ODBC tests: initdb into a temporary directory, started
// on 127.0.0.1 on a free port, stopped and removed at the end. As root it runs as the user
// "postgres", since the server refuses to run as root.

#include <string>
#include <sys/types.h>

namespace marovin::test {

class PostgresServer {
public:
    PostgresServer() = default;
    ~PostgresServer();
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    // The directory holding initdb and postgres, or "" when the server is not installed.
    static std::string FindBinaries();

    // Creates the cluster (superuser "postgres" with the given password, password checks on
    // TCP) and starts the server. Returns false and fills error on failure.
    bool Start(const std::string& superuserPassword, std::string& error);
    void Stop();

    int port() const { return m_port; }
    const std::string& log() const { return m_logFile; }

private:
    std::string m_dir;
    std::string m_logFile;
    int m_port = 0;
    pid_t m_pid = -1;
};

} // namespace marovin::test
