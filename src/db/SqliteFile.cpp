#include "SqliteFile.h"

#include "Fnv1a.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
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
// 1 UTF-8, 2 UTF-16le, 3 UTF-16be; 0 while the database has no schema yet.
constexpr std::size_t kTextEncodingOffset = 56;
// The b-tree page types of a table: inner pages and leaves.
constexpr unsigned char kInteriorTablePage = 0x05;
constexpr unsigned char kLeafTablePage = 0x0d;
constexpr std::uint64_t kMaxPayload = std::uint64_t{1} << 31;

std::uint32_t bigEndian16(const unsigned char* p) {
    return (std::uint32_t{p[0]} << 8) | std::uint32_t{p[1]};
}

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

// The page layout the header gives; nullopt when the header is no SQLite database's.
struct Layout {
    std::uint32_t pageSize;
    std::uint32_t reserved; // bytes at the end of every page that the b-tree does not use
};

std::optional<Layout> layoutOf(const unsigned char* header) {
    if (std::memcmp(header, kMagic, sizeof kMagic) != 0)
        return std::nullopt;
    std::uint32_t pageSize = bigEndian16(header + kPageSizeOffset);
    if (pageSize == 1)
        pageSize = 65536;
    if (pageSize < 512 || pageSize > 65536 || (pageSize & (pageSize - 1)) != 0)
        return std::nullopt;
    const std::uint32_t reserved = header[kReservedOffset];
    // SQLite wants at least 480 usable bytes per page.
    if (pageSize - reserved < 480)
        return std::nullopt;
    return Layout{pageSize, reserved};
}

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
        const std::optional<Layout> layout = layoutOf(header.data());
        if (!layout)
            return {};
        const std::uint32_t pageSize = layout->pageSize;
        const std::uint32_t reserved = layout->reserved;
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

namespace {

// A varint of the file format at p: one to nine bytes, seven bits each, the ninth with eight.
// The number of bytes it takes, or 0 when it runs past end.
std::size_t readVarint(const unsigned char* p, const unsigned char* end, std::uint64_t& value) {
    value = 0;
    for (std::size_t i = 0; i < 9; ++i) {
        if (p + i >= end)
            return 0;
        if (i == 8) {
            value = (value << 8) | p[i];
            return 9;
        }
        value = (value << 7) | (p[i] & 0x7f);
        if ((p[i] & 0x80) == 0)
            return i + 1;
    }
    return 0;
}

// The bytes a column of a record takes for its serial type; nullopt for the reserved types.
std::optional<std::uint64_t> serialSize(std::uint64_t type) {
    static constexpr std::uint64_t kFixed[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
    if (type < 10)
        return kFixed[type];
    if (type < 12)
        return std::nullopt;
    return (type - 12) / 2;
}

bool isText(std::uint64_t serialType) {
    return serialType >= 13 && serialType % 2 == 1;
}

// Walks the table b-tree of the schema (rooted on page 1) and reads the type and name of each
// row. Every page is read at most once, so damaged pages that point in a circle end the walk.
class SchemaWalk {
public:
    using ReadAt = std::function<bool(std::uint64_t, unsigned char*, std::size_t)>;
    using Row = std::function<void(std::string_view, std::string_view)>;

    SchemaWalk(Layout layout, std::uint64_t pageCount, const ReadAt& readAt, const Row& row)
        : m_usable(layout.pageSize - layout.reserved), m_pageSize(layout.pageSize),
          m_pageCount(pageCount), m_readAt(readAt), m_row(row), m_page(layout.pageSize),
          m_overflow(layout.pageSize) {}

    bool run() {
        std::vector<std::uint32_t> pending{1};
        while (!pending.empty()) {
            const std::uint32_t number = pending.back();
            pending.pop_back();
            if (!readPage(number, m_page))
                return false;
            const std::size_t h = number == 1 ? kHeaderSize : 0;
            const unsigned char kind = m_page[h];
            const std::uint32_t cells = bigEndian16(&m_page[h + 3]);
            const std::size_t pointers = h + (kind == kInteriorTablePage ? 12 : 8);
            if ((kind != kInteriorTablePage && kind != kLeafTablePage) ||
                pointers + 2 * std::size_t{cells} > m_usable)
                return false;
            for (std::uint32_t i = 0; i < cells; ++i) {
                const std::size_t cell = bigEndian16(&m_page[pointers + 2 * i]);
                if (cell < pointers + 2 * std::size_t{cells} || cell + 4 > m_usable)
                    return false;
                if (kind == kInteriorTablePage)
                    pending.push_back(bigEndian32(&m_page[cell]));
                else if (!leafCell(cell))
                    return false;
            }
            if (kind == kInteriorTablePage)
                pending.push_back(bigEndian32(&m_page[h + 8]));
        }
        return true;
    }

private:
    bool readPage(std::uint32_t number, std::vector<unsigned char>& page) {
        if (number == 0 || number > m_pageCount || !m_visited.insert(number).second)
            return false;
        return m_readAt(std::uint64_t{number - 1} * m_pageSize, page.data(), m_pageSize);
    }

    // A cell of a leaf: the payload's size, the row id, the payload's first part on the page,
    // and the first overflow page when the payload does not fit.
    bool leafCell(std::size_t cell) {
        const unsigned char* end = m_page.data() + m_usable;
        const unsigned char* p = m_page.data() + cell;
        std::uint64_t size = 0;
        std::uint64_t rowId = 0;
        std::size_t n = readVarint(p, end, size);
        if (n == 0)
            return false;
        p += n;
        if ((n = readVarint(p, end, rowId)) == 0)
            return false;
        p += n;
        // SQLite keeps no text or record longer than 2^31 bytes; anything longer is damage.
        if (size > kMaxPayload)
            return false;
        // How much of the payload stays on the page.
        const std::uint64_t maxLocal = m_usable - 35;
        std::uint64_t local = size;
        if (size > maxLocal) {
            const std::uint64_t minLocal = (m_usable - 12) * 32 / 255 - 23;
            local = minLocal + (size - minLocal) % (m_usable - 4);
            if (local > maxLocal)
                local = minLocal;
        }
        const bool overflows = local < size;
        if (static_cast<std::uint64_t>(end - p) < local + (overflows ? 4 : 0))
            return false;
        m_payload.assign(p, p + local);
        m_payloadSize = size;
        m_nextOverflow = overflows ? bigEndian32(p + local) : 0;
        return record();
    }

    // Makes the first count bytes of the payload available, following its overflow pages.
    bool need(std::uint64_t count) {
        if (count > m_payloadSize)
            return false;
        while (m_payload.size() < count) {
            if (m_nextOverflow == 0 || !readPage(m_nextOverflow, m_overflow))
                return false;
            const std::uint64_t take =
                std::min<std::uint64_t>(m_usable - 4, m_payloadSize - m_payload.size());
            m_payload.insert(m_payload.end(), m_overflow.begin() + 4,
                             m_overflow.begin() + 4 + static_cast<std::ptrdiff_t>(take));
            m_nextOverflow = bigEndian32(m_overflow.data());
        }
        return true;
    }

    // The varint at offset of the payload, within its first limit bytes; its length, or 0.
    std::size_t varintAt(std::uint64_t offset, std::uint64_t limit, std::uint64_t& value) const {
        if (offset >= limit)
            return 0;
        return readVarint(m_payload.data() + offset, m_payload.data() + limit, value);
    }

    // The record of a row: a header of serial types, then the columns; the schema table's first
    // column is the type, the second the name.
    bool record() {
        std::uint64_t headerSize = 0;
        if (!need(std::min<std::uint64_t>(9, m_payloadSize)))
            return false;
        std::size_t n = varintAt(0, m_payload.size(), headerSize);
        if (n == 0 || headerSize < n || !need(headerSize))
            return false;
        std::uint64_t typeSerial = 0;
        const std::size_t typeLength = varintAt(n, headerSize, typeSerial);
        if (typeLength == 0)
            return false;
        const std::optional<std::uint64_t> typeSize = serialSize(typeSerial);
        if (!typeSize)
            return false;
        // Rows of other types (indexes, triggers) and types that are no text are not listed.
        if (!isText(typeSerial) || (*typeSize != 5 && *typeSize != 4))
            return true;
        if (!need(headerSize + *typeSize))
            return false;
        const std::string_view type(reinterpret_cast<const char*>(m_payload.data()) + headerSize,
                                    *typeSize);
        if (type != "table" && type != "view")
            return true;
        std::uint64_t nameSerial = 0;
        if (varintAt(n + typeLength, headerSize, nameSerial) == 0 || !isText(nameSerial))
            return false;
        const std::uint64_t nameSize = *serialSize(nameSerial);
        if (!need(headerSize + *typeSize + nameSize))
            return false;
        // Fetching the name may have moved the payload.
        const auto* base = reinterpret_cast<const char*>(m_payload.data()) + headerSize;
        m_row(std::string_view(base, *typeSize), std::string_view(base + *typeSize, nameSize));
        return true;
    }

    const std::uint64_t m_usable;
    const std::uint32_t m_pageSize;
    const std::uint64_t m_pageCount;
    const ReadAt& m_readAt;
    const Row& m_row;
    std::vector<unsigned char> m_page;
    std::vector<unsigned char> m_overflow;
    std::unordered_set<std::uint32_t> m_visited;
    // The payload of the current cell as far as it was needed.
    std::vector<unsigned char> m_payload;
    std::uint64_t m_payloadSize = 0;
    std::uint32_t m_nextOverflow = 0;
};

// Whether a file lies at path with at least one byte in it.
bool hasContent(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && st.st_size > 0;
}

} // namespace

bool readSqliteSchemaNames(
    std::uint64_t fileSize,
    const std::function<bool(std::uint64_t offset, unsigned char* out, std::size_t size)>& readAt,
    const std::function<void(std::string_view, std::string_view)>& row) {
    try {
        std::array<unsigned char, kHeaderSize> header{};
        if (fileSize < kHeaderSize || !readAt(0, header.data(), header.size()))
            return false;
        const std::optional<Layout> layout = layoutOf(header.data());
        if (!layout)
            return false;
        const std::uint32_t encoding = bigEndian32(header.data() + kTextEncodingOffset);
        if (encoding > 1)
            return false;
        return SchemaWalk(*layout, fileSize / layout->pageSize, readAt, row).run();
    } catch (...) {
        return false;
    }
}

bool readSqliteSchemaNames(const std::string& path,
                           const std::function<void(std::string_view, std::string_view)>& row) {
    try {
        const File file(path);
        struct stat st {};
        if (file.fd() < 0 || ::fstat(file.fd(), &st) != 0 || !S_ISREG(st.st_mode))
            return false;
        // Whatever waits in a journal or a log may change the schema the file shows.
        if (hasContent(path + "-journal") || hasContent(path + "-wal"))
            return false;
        const auto readFile = [&file](std::uint64_t offset, unsigned char* out, std::size_t size) {
            return readAt(file.fd(), out, size, static_cast<off_t>(offset)) ==
                   static_cast<ssize_t>(size);
        };
        return readSqliteSchemaNames(static_cast<std::uint64_t>(st.st_size), readFile, row);
    } catch (...) {
        return false;
    }
}

} // namespace marovin
