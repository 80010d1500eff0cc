// The SQL Server provider through unixODBC and FreeTDS, where no server is available: a closed
// port fails at once, a port that accepts and never answers is given up after the login
// time-out, and no password can add keys of its own to the connection string. The catalogue
// stamp is also checked on a real server when the environment names one (skipped otherwise).

#include "DbTestSupport.h"

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <marovin/cDbConnection.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace marovin {
namespace {

// Accepts connections on a loopback port and never sends a byte.
class SilentServer {
public:
    SilentServer() {
        m_fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        if (::bind(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
            ::listen(m_fd, 16) != 0 ||
            ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
            throw std::runtime_error("cannot listen");
        m_port = ntohs(addr.sin_port);
        m_thread = std::thread([this] { run(); });
    }
    ~SilentServer() {
        m_stop = true;
        m_thread.join();
        for (int c : m_clients)
            ::close(c);
        ::close(m_fd);
    }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    int port() const { return m_port; }
    int accepted() const { return m_accepted; }

private:
    void run() {
        while (!m_stop) {
            pollfd p{m_fd, POLLIN, 0};
            if (::poll(&p, 1, 50) > 0) {
                int c = ::accept(m_fd, nullptr, nullptr);
                if (c >= 0) {
                    m_clients.push_back(c);
                    ++m_accepted;
                }
            }
        }
    }

    int m_fd = -1;
    int m_port = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_accepted{0};
    std::vector<int> m_clients;
    std::thread m_thread;
};

cDbConnection sqlServer(const std::string& server, const std::string& password) {
    cDbConnection db;
    db.setStrDriver("FreeTDS");
    db.setStrServer(server);
    db.setStrDatabase("Northwind");
    db.setStrUserName("sa");
    db.setStrPassword(password);
    db.setLngLoginTimeout(1);
    return db;
}

std::string onLoopback(int port) {
    return "127.0.0.1," + std::to_string(port);
}

TEST(SqlServerFreeTds, AClosedPortFailsWithTheFixedTexts) {
    cDbConnection db = sqlServer(onLoopback(test::unusedLoopbackPort()), "secret");
    test::expectNoConnection(db);
    EXPECT_NE(cDbConnection::LastConnectionError().find("[FreeTDS]"), std::string::npos)
        << cDbConnection::LastConnectionError();
    // No stamp, and a listing that names the driver's reason.
    EXPECT_EQ(db.GetCatalogueStamp(), "");
    std::string error;
    bool handedOver = false;
    EXPECT_FALSE(db.ListTables([&](std::vector<DbSession::TableRow>&&) { handedOver = true; },
                               error, nullptr));
    EXPECT_FALSE(handedOver);
    EXPECT_NE(error.find("[FreeTDS]"), std::string::npos) << error;
}

// A real SQL Server, when one is named by the environment (MAROVIN_TEST_SQLSERVER: host,port;
// MAROVIN_TEST_SQLSERVER_USER and MAROVIN_TEST_SQLSERVER_PASSWORD; the database
// MAROVIN_TEST_SQLSERVER_DATABASE, else tempdb, where the test makes and drops one table).
TEST(SqlServerFreeTds, TheCatalogueStampFollowsTablesMadeAltersAndDropped) {
    const char* server = std::getenv("MAROVIN_TEST_SQLSERVER");
    if (!server || !*server)
        GTEST_SKIP() << "no SQL Server named in MAROVIN_TEST_SQLSERVER";
    const auto env = [](const char* name, const char* otherwise) {
        const char* value = std::getenv(name);
        return std::string(value && *value ? value : otherwise);
    };
    cDbConnection db = sqlServer(server, env("MAROVIN_TEST_SQLSERVER_PASSWORD", ""));
    db.setStrUserName(env("MAROVIN_TEST_SQLSERVER_USER", "sa"));
    db.setStrDatabase(env("MAROVIN_TEST_SQLSERVER_DATABASE", "tempdb"));
    db.setLngLoginTimeout(10);
    ASSERT_TRUE(db.Check(true)) << cDbConnection::LastConnectionError();

    const std::string table = "marovin_stamp_" + std::to_string(::getpid());
    std::string error;
    db.FireQuery("IF OBJECT_ID('dbo." + table + "') IS NOT NULL DROP TABLE dbo." + table, error, 0);
    const std::string before = db.GetCatalogueStamp();
    EXPECT_TRUE(before.starts_with("mssql:")) << before;
    EXPECT_EQ(db.GetCatalogueStamp(), before);

    ASSERT_NE(db.FireQuery("CREATE TABLE dbo." + table + " (id int)", error, 0), nullptr) << error;
    const std::string created = db.GetCatalogueStamp();
    EXPECT_NE(created, before);
    // modify_date counts in steps of about 3 ms: the change must fall into a later step.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_NE(db.FireQuery("ALTER TABLE dbo." + table + " ADD name varchar(20)", error, 0), nullptr)
        << error;
    const std::string altered = db.GetCatalogueStamp();
    EXPECT_NE(altered, created);
    ASSERT_NE(db.FireQuery("DROP TABLE dbo." + table, error, 0), nullptr) << error;
    const std::string dropped = db.GetCatalogueStamp();
    EXPECT_NE(dropped, altered);
    EXPECT_NE(dropped, created);
}

TEST(SqlServerFreeTds, AServerThatNeverAnswersIsGivenUpAfterTheLoginTimeout) {
    SilentServer server;
    cDbConnection db = sqlServer(onLoopback(server.port()), "secret");
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT 1", error, 50), nullptr);
    EXPECT_EQ(error, "Problems connecting to database");
    EXPECT_NE(cDbConnection::LastConnectionError().find("Timeout expired"), std::string::npos)
        << cDbConnection::LastConnectionError();
    EXPECT_GE(server.accepted(), 1);
}

// Passwords that try to send the connection to another port.
class HostilePassword : public ::testing::TestWithParam<const char*> {};

TEST_P(HostilePassword, CannotRedirectTheConnection) {
    SilentServer trap;
    std::string password = GetParam();
    for (std::size_t pos; (pos = password.find("TRAP")) != std::string::npos;)
        password.replace(pos, 4, std::to_string(trap.port()));
    cDbConnection db = sqlServer(onLoopback(test::unusedLoopbackPort()), password);
    EXPECT_FALSE(db.Check(true));
    EXPECT_EQ(trap.accepted(), 0) << db.strOdbcConnectionString();
}

INSTANTIATE_TEST_SUITE_P(Injections, HostilePassword,
                         ::testing::Values("x;Port=TRAP", "x}Port=TRAP;", "x};Port=TRAP",
                                           "x}};Port=TRAP", "{x};Port=TRAP;", "x;Port=TRAP}",
                                           "=;Port=TRAP;Server=127.0.0.1,TRAP"));

TEST(SqlServerFreeTds, TheSameTextWrittenRawDoesRedirect) {
    // The control for the test above: unescaped, the key does take effect.
    SilentServer trap;
    cDbConnection db;
    db.setStrProvider("ODBC");
    db.setLngLoginTimeout(1);
    db.setStrConnectionString(
        "DRIVER={FreeTDS};SERVER=127.0.0.1," + std::to_string(test::unusedLoopbackPort()) +
        ";UID=sa;PWD=x;Port=" + std::to_string(trap.port()) + ";TDS_Version=7.3;");
    EXPECT_FALSE(db.Check(true));
    EXPECT_GE(trap.accepted(), 1);
}

// FreeTDS's values are braced and end in a semicolon; other drivers double a closing brace;
// Windows authentication sends no user or password.
TEST(SqlServerConnectionString, ValuesAreBracedForTheDriver) {
    const struct {
        const char *driver, *server, *database, *user, *password;
        bool windows;
        const char* expected;
    } cases[] = {
        {"FreeTDS", "db.example.com\\SQLEXPRESS", "Order Entry", "sa", "a}b;c=d", false,
         "DRIVER={FreeTDS};SERVER={db.example.com\\SQLEXPRESS};DATABASE={Order Entry};"
         "UID={sa};PWD={a}b;c=d};ClientCharset=UTF-8;TDS_Version={7.3};"},
        {"ODBC Driver 18 for SQL Server", "tcp:host,1433", "Northwind", "u", "a};b", false,
         "DRIVER={ODBC Driver 18 for SQL Server};SERVER={tcp:host,1433};"
         "DATABASE={Northwind};UID={u};PWD={a}};b};"},
        {"FreeTDS", "h", "", "ignored", "ignored", true,
         "DRIVER={FreeTDS};SERVER={h};DATABASE={};Trusted_Connection=Yes;"
         "ClientCharset=UTF-8;TDS_Version={7.3};"},
    };
    for (const auto& c : cases) {
        cDbConnection db = sqlServer(c.server, c.password);
        db.setStrDriver(c.driver);
        db.setStrDatabase(c.database);
        db.setStrUserName(c.user);
        db.setBlnWindowsAuthentication(c.windows);
        EXPECT_EQ(db.strOdbcConnectionString(), c.expected);
    }
    // FreeTDS ends a braced value at the first "};": such a value cannot be passed safely.
    cDbConnection db = sqlServer("h", "a};b");
    EXPECT_EQ(db.strOdbcConnectionString(), "");
    EXPECT_EQ(db.GetConnection(), nullptr);
    EXPECT_EQ(cDbConnection::LastConnectionError(),
              "A connection value holds \"};\", which the FreeTDS driver cannot take");
}

TEST(SqlServerConnectionString, TheDriverComesFromThePropertyTheEnvironmentOrTheDefault) {
    cDbConnection db;
    ::unsetenv(cDbConnection::kDriverEnvironmentVariable);
    EXPECT_EQ(db.strEffectiveDriver(), "FreeTDS");
    ::setenv(cDbConnection::kDriverEnvironmentVariable, "ODBC Driver 18 for SQL Server", 1);
    EXPECT_EQ(db.strEffectiveDriver(), "ODBC Driver 18 for SQL Server");
    EXPECT_TRUE(
        db.strOdbcConnectionString().starts_with("DRIVER={ODBC Driver 18 for SQL Server};"));
    db.setStrDriver("FreeTDS");
    EXPECT_EQ(db.strEffectiveDriver(), "FreeTDS");
    ::unsetenv(cDbConnection::kDriverEnvironmentVariable);
}

TEST(SqlServerConnectionString, AnUninstalledDriverGivesNoConnection) {
    cDbConnection db;
    db.setStrDriver("No Such SQL Server Driver");
    db.setStrServer("127.0.0.1");
    EXPECT_FALSE(db.Check(true));
    EXPECT_NE(cDbConnection::LastConnectionError().find("No Such SQL Server Driver"),
              std::string::npos)
        << cDbConnection::LastConnectionError();
}

} // namespace
} // namespace marovin
