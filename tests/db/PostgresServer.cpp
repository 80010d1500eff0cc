#include "PostgresServer.h"

#include "DbTestSupport.h"

#include <arpa/inet.h>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace marovin::test {

namespace {

bool canConnect(int port) {
    int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<std::uint16_t>(port));
    bool ok = ::connect(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    ::close(s);
    return ok;
}

// Starts a program with its output appended to the log; as root, as the user "postgres".
pid_t spawn(const std::vector<std::string>& argv, const std::string& logFile, const passwd* user) {
    pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    int fd = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd >= 0) {
        ::dup2(fd, 1);
        ::dup2(fd, 2);
        ::close(fd);
    }
    ::setsid();
    if (user) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(user->pw_gid) != 0 ||
            ::setuid(user->pw_uid) != 0)
            ::_exit(126);
    }
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
}

} // namespace

std::string PostgresServer::FindBinaries() {
    std::error_code ec;
    std::string best;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", ec)) {
        auto bin = entry.path() / "bin";
        if (std::filesystem::exists(bin / "initdb") && std::filesystem::exists(bin / "postgres") &&
            bin.string() > best)
            best = bin.string();
    }
    return best;
}

bool PostgresServer::Start(const std::string& superuserPassword, std::string& error) {
    std::string bin = FindBinaries();
    if (bin.empty()) {
        error = "PostgreSQL server binaries are not installed";
        return false;
    }
    const passwd* user = nullptr;
    if (::geteuid() == 0) {
        user = ::getpwnam("postgres");
        if (!user) {
            error = "running as root and there is no user \"postgres\" to run the server as";
            return false;
        }
    }
    // As root the directory must be reachable by "postgres": /tmp, whatever TMPDIR says.
    std::filesystem::path base =
        user ? std::filesystem::path("/tmp") : std::filesystem::temp_directory_path();
    std::string pattern = (base / "marovin-pg-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        error = "mkdtemp failed";
        return false;
    }
    m_dir = pattern;
    m_logFile = m_dir + "/server.log";
    std::string pwFile = m_dir + "/pw";
    {
        std::ofstream out(pwFile);
        out << superuserPassword << '\n';
    }
    if (user) {
        // The server's user must own its directories.
        if (::chown(m_dir.c_str(), user->pw_uid, user->pw_gid) != 0 ||
            ::chown(pwFile.c_str(), user->pw_uid, user->pw_gid) != 0) {
            error = "cannot hand the temporary directory to postgres";
            return false;
        }
    }
    ::chmod(m_dir.c_str(), 0700);

    pid_t init = spawn({bin + "/initdb", "-D", m_dir + "/data", "-U", "postgres", "-E", "UTF8",
                        "--locale=C", "--auth-local=trust", "--auth-host=scram-sha-256",
                        "--pwfile=" + pwFile, "--no-sync"},
                       m_logFile, user);
    int status = 0;
    if (init < 0 || ::waitpid(init, &status, 0) != init || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        error = "initdb failed; see " + m_logFile;
        return false;
    }
    for (int attempt = 0; attempt < 5 && m_pid < 0; ++attempt) {
        m_port = unusedLoopbackPort();
        pid_t pid = spawn({bin + "/postgres", "-D", m_dir + "/data", "-p", std::to_string(m_port),
                           "-k", m_dir, "-c", "listen_addresses=127.0.0.1", "-c", "fsync=off", "-c",
                           "max_connections=20"},
                          m_logFile, user);
        if (pid < 0)
            break;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < deadline) {
            if (::waitpid(pid, &status, WNOHANG) == pid)
                break; // ended: perhaps the port was taken meanwhile
            if (canConnect(m_port)) {
                m_pid = pid;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        if (m_pid < 0 && ::waitpid(pid, &status, WNOHANG) == 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
        }
    }
    if (m_pid < 0) {
        error = "the server did not start; see " + m_logFile;
        return false;
    }
    return true;
}

void PostgresServer::Stop() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGINT); // fast shutdown
        int status = 0;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (::waitpid(m_pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(m_pid, SIGKILL);
                ::waitpid(m_pid, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        m_pid = -1;
    }
    if (!m_dir.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(m_dir, ec);
        m_dir.clear();
    }
}

PostgresServer::~PostgresServer() {
    Stop();
}

} // namespace marovin::test
