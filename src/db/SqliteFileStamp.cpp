#include "SqliteFileStamp.h"

#include "Fnv1a.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace marovin {

namespace {

// The file header of every SQLite database (the first 100 bytes of page 1).
constexpr std::size_t kHeaderSize = 100;
constexpr char kMagic[] = "SQLite format 3"; // followed by its terminating zero in the file
constexpr std::size_t kPageSizeOffset = 16;
constexpr std::size_t kReservedOffset = 20;
// Incremented by SQLite whenever the schema changes (tables, views, indexes, columns).
constexpr std::size_t kSchemaCookieOffset = 40;

std::uint32_t bigEndian32(const unsigned char* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}

// Reads up to size bytes at offset; the number read, or -1.
ssize_t readAt(int fd, unsigned char* buffer, std::size_t size, off_t offset) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n =
            ::pread(fd, buffer + done, size - done, offset + static_cast<off_t>(done));
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

class File {
public:
    explicit File(const std::string& path) : m_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~File() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

} // namespace

std::string sqliteFileStamp(const std::string& path) {
    try {
        const File file(path);
        if (file.fd() < 0)
            return {};
        struct stat st {};
        if (::fstat(file.fd(), &st) != 0 || !S_ISREG(st.st_mode))
            return {};
        std::array<unsigned char, kHeaderSize> header{};
        if (readAt(file.fd(), header.data(), header.size(), 0) !=
            static_cast<ssize_t>(header.size()))
            return {};
        if (std::memcmp(header.data(), kMagic, sizeof kMagic) != 0)
            return {};
        std::uint32_t pageSize =
            (std::uint32_t{header[kPageSizeOffset]} << 8) | header[kPageSizeOffset + 1];
        if (pageSize == 1)
            pageSize = 65536;
        if (pageSize < 512 || (pageSize & (pageSize - 1)) != 0)
            return {};
        const std::uint32_t reserved = header[kReservedOffset];
        if (reserved + kHeaderSize >= pageSize)
            return {};
        const std::uint32_t cookie = bigEndian32(header.data() + kSchemaCookieOffset);

        // The rest of page 1 is the root of the schema table. Two databases whose schemas
        // changed equally often share a cookie; their first pages tell them apart, so a file
        // replaced by another database does not pass for the one listed. Writing rows into
        // other tables changes only the header of page 1, never this part (the reserved bytes at
        // the end of the page, which a checksum layer may rewrite on every commit, are left
        // out).
        std::vector<unsigned char> page(pageSize - kHeaderSize - reserved);
        const ssize_t got =
            readAt(file.fd(), page.data(), page.size(), static_cast<off_t>(kHeaderSize));
        if (got < 0)
            return {};
        std::string stamp = "sqlite:" + std::to_string(cookie) + ":" +
                            hex64(fnv1a(page.data(), static_cast<std::size_t>(got)));

        // In write-ahead-log mode a change may still sit in the log: the header above is then
        // out of date. The log's size and time of change move with every commit into it.
        struct stat wal {};
        if (::stat((path + "-wal").c_str(), &wal) == 0 && S_ISREG(wal.st_mode) && wal.st_size > 0) {
            const std::int64_t ns = static_cast<std::int64_t>(wal.st_mtim.tv_sec) * 1000000000 +
                                    static_cast<std::int64_t>(wal.st_mtim.tv_nsec);
            stamp += ":wal:" + std::to_string(wal.st_size) + ":" + std::to_string(ns);
        }
        return stamp;
    } catch (...) {
        return {};
    }
}

} // namespace marovin
