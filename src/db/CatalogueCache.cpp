#include "marovin/CatalogueCache.h"

#include "Fnv1a.h"
#include "Providers.h"
#include "marovin/cDbConnection.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

// A catalogue file is text, one record a line, every line ending in LF:
//
//   marovin-catalogue 1          the format and its version
//   <key>                        the connection it describes (see catalogueKey)
//   <stamp>
//   <listed at>                  seconds since the epoch
//   <n>                          the number of table rows that follow
//   <schema> TAB <name> TAB <type>              n times, in catalogue order
//   <table-list entry> TAB <column list>        any number, the later for a table winning
//
// Texts are escaped so that any byte survives: a backslash is written "\\", a TAB "\t", an LF
// "\n" and a CR "\r"; every other byte is written as it is. A file that does not follow this
// exactly (another magic line or key, a missing line end, fewer rows than announced, an unknown
// escape) is not used at all.

namespace marovin {

namespace {

constexpr std::string_view kMagic = "marovin-catalogue 1";
constexpr std::string_view kExtension = ".catalogue";

void appendEscaped(std::string& out, std::string_view text) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const char* escape = c == '\\'   ? "\\\\"
                             : c == '\t' ? "\\t"
                             : c == '\n' ? "\\n"
                             : c == '\r' ? "\\r"
                                         : nullptr;
        if (!escape)
            continue;
        out.append(text.data() + start, i - start);
        out.append(escape, 2);
        start = i + 1;
    }
    out.append(text.data() + start, text.size() - start);
}

// Undoes appendEscaped; false for a backslash that starts no known escape.
bool unescape(std::string_view text, std::string& out) {
    const void* backslash = std::memchr(text.data(), '\\', text.size());
    if (!backslash) {
        out.assign(text.data(), text.size());
        return true;
    }
    out.clear();
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c != '\\') {
            out += c;
            continue;
        }
        if (++i == text.size())
            return false;
        switch (text[i]) {
        case '\\':
            out += '\\';
            break;
        case 't':
            out += '\t';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        default:
            return false;
        }
    }
    return true;
}

// The absolute path of an SQLite file with ".", ".." and symbolic links resolved as far as the
// path exists, so that every way of naming the file gives the same text.
std::string normalFilePath(const std::string& path) {
    if (path.empty())
        return {};
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(path, ec);
    if (ec)
        return std::filesystem::path(path).lexically_normal().string();
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, ec);
    return (ec ? absolute : canonical).lexically_normal().string();
}

// What tells one connection's catalogue from another's: the provider (one name for all its
// aliases), then what selects the database and what decides which objects can be seen. An
// SQLite database is its file; for the others the server, the database, and the login (the
// user name, or Windows authentication), because permissions decide what the catalogue shows.
// An ODBC connection string may hold a password, so only its hash is part of the key (the key is
// written into the file). The parts are escaped and joined by TABs, so no two connections give
// the same key.
std::string catalogueKey(const cDbConnection& connection) {
    std::string key;
    auto part = [&key](std::string_view text) {
        if (!key.empty())
            key += '\t';
        appendEscaped(key, text);
    };
    const Provider provider = providerOf(connection.strProvider());
    part(providerKey(connection.strProvider()));
    if (provider == Provider::Sqlite) {
        part(normalFilePath(connection.strDatabase()));
        return key;
    }
    part(connection.strServer());
    part(connection.strDatabase());
    part(connection.blnWindowsAuthentication() ? "windows" : "user=" + connection.strUserName());
    if (provider == Provider::Odbc)
        part("connection=" + hex64(fnv1a(connection.strConnectionString())));
    return key;
}

// The whole file, or false when it cannot be read.
bool readFile(const std::string& path, std::string& text) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = false;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
        text.resize(static_cast<std::size_t>(st.st_size));
        std::size_t done = 0;
        ok = true;
        while (done < text.size()) {
            const ssize_t n = ::read(fd, text.data() + done, text.size() - done);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                // Shorter than it was a moment ago: read as damaged.
                ok = false;
                break;
            }
            done += static_cast<std::size_t>(n);
        }
    }
    ::close(fd);
    return ok;
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

// Reads the lines of a catalogue file one by one.
class Lines {
public:
    explicit Lines(std::string_view text) : m_rest(text) {}

    // The next line without its LF; false at the end or when the last line has no LF.
    bool next(std::string_view& line) {
        if (m_rest.empty())
            return false;
        const void* lf = std::memchr(m_rest.data(), '\n', m_rest.size());
        if (!lf) {
            m_broken = true;
            return false;
        }
        const std::size_t length =
            static_cast<std::size_t>(static_cast<const char*>(lf) - m_rest.data());
        line = m_rest.substr(0, length);
        m_rest.remove_prefix(length + 1);
        return true;
    }
    // Whether the text ended in the middle of a line.
    bool broken() const { return m_broken; }
    std::size_t remaining() const { return m_rest.size(); }

private:
    std::string_view m_rest;
    bool m_broken = false;
};

template <typename Number> bool parseNumber(std::string_view text, Number& value) {
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return !text.empty() && ec == std::errc() && ptr == end;
}

// Splits "a TAB b[ TAB c]" into exactly count fields.
bool splitFields(std::string_view line, std::string_view* fields, std::size_t count) {
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string_view::npos)
            return false;
        fields[i] = line.substr(0, tab);
        line.remove_prefix(tab + 1);
    }
    if (line.find('\t') != std::string_view::npos)
        return false;
    fields[count - 1] = line;
    return true;
}

std::optional<Catalogue> parse(std::string_view text, const std::string& key) {
    Lines lines(text);
    std::string_view line;
    if (!lines.next(line) || line != kMagic)
        return std::nullopt;
    if (!lines.next(line) || line != key)
        return std::nullopt;
    Catalogue catalogue;
    if (!lines.next(line) || !unescape(line, catalogue.strStamp))
        return std::nullopt;
    if (!lines.next(line) || !parseNumber(line, catalogue.lngListedAt))
        return std::nullopt;
    std::size_t count = 0;
    if (!lines.next(line) || !parseNumber(line, count))
        return std::nullopt;
    // Every row takes at least three bytes ("\t\t\n"): a count the file cannot hold is refused
    // before anything is reserved for it.
    if (count > lines.remaining() / 3)
        return std::nullopt;
    catalogue.tables.resize(count);
    std::string_view fields[3];
    for (DbSession::TableRow& row : catalogue.tables) {
        if (!lines.next(line) || !splitFields(line, fields, 3) ||
            !unescape(fields[0], row.strSchema) || !unescape(fields[1], row.strName) ||
            !unescape(fields[2], row.strType))
            return std::nullopt;
    }
    std::string table, columns;
    while (lines.next(line)) {
        if (!splitFields(line, fields, 2) || !unescape(fields[0], table) ||
            !unescape(fields[1], columns))
            return std::nullopt;
        catalogue.columns.insert_or_assign(table, columns);
    }
    if (lines.broken())
        return std::nullopt;
    return catalogue;
}

// The value of an environment variable, empty when it is not set.
std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// Deletes the catalogues in the folder that were neither read nor written for `lifetime`
// seconds, and the temporaries of writes that never finished, other than the file `kept`.
// Regular files only, and only the cache's own (by their extension).
void removeUnused(const std::string& directory, const std::filesystem::path& kept,
                  std::int64_t lifetime) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const auto oldest = fs::file_time_type::clock::now() - std::chrono::seconds(lifetime);
    for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path& file = it->path();
        const std::string name = file.filename().string();
        const auto at = name.find(kExtension);
        const bool catalogue =
            at != std::string::npos && at > 0 &&
            (at + kExtension.size() == name.size() || name[at + kExtension.size()] == '.');
        std::error_code fileError;
        if (!catalogue || file == kept ||
            it->symlink_status(fileError).type() != fs::file_type::regular)
            continue;
        const auto written = it->last_write_time(fileError);
        if (!fileError && written < oldest)
            fs::remove(file, fileError);
    }
}

} // namespace

CatalogueCache::CatalogueCache(std::string strDirectory) {
    try {
        if (!strDirectory.empty()) {
            m_strDirectory = std::move(strDirectory);
            return;
        }
        m_strDirectory = environment(kDirectoryEnvironmentVariable);
        if (!m_strDirectory.empty())
            return;
        // A relative XDG_CACHE_HOME is ignored, as the freedesktop.org base directory rules ask.
        const std::string xdg = environment("XDG_CACHE_HOME");
        if (!xdg.empty() && xdg.front() == '/') {
            m_strDirectory = xdg + "/marovin/catalogues";
            return;
        }
        const std::string home = environment("HOME");
        if (!home.empty())
            m_strDirectory = home + "/.cache/marovin/catalogues";
        // Otherwise there is no folder: nothing is kept, and every catalogue reads as missing.
    } catch (...) {
        m_strDirectory.clear();
    }
}

std::string CatalogueCache::FilePath(const cDbConnection& connection) const {
    try {
        if (m_strDirectory.empty())
            return {};
        return (std::filesystem::path(m_strDirectory) /
                (hex64(fnv1a(catalogueKey(connection))) + std::string(kExtension)))
            .string();
    } catch (...) {
        return {};
    }
}

std::optional<Catalogue> CatalogueCache::Load(const cDbConnection& connection) const {
    try {
        const std::string path = FilePath(connection);
        std::string text;
        if (path.empty() || !readFile(path, text))
            return std::nullopt;
        std::optional<Catalogue> catalogue = parse(text, catalogueKey(connection));
        // A catalogue in use counts as new, however long ago it was written: only catalogues
        // nobody reads are swept out.
        if (catalogue)
            ::utimensat(AT_FDCWD, path.c_str(), nullptr, 0);
        return catalogue;
    } catch (...) {
        return std::nullopt;
    }
}

bool CatalogueCache::Save(const cDbConnection& connection, const Catalogue& catalogue) const {
    try {
        const std::string path = FilePath(connection);
        if (path.empty())
            return false;
        std::error_code ec;
        std::filesystem::create_directories(m_strDirectory, ec);
        if (ec)
            return false;

        std::size_t size = 64 + m_strDirectory.size() + catalogue.strStamp.size();
        for (const DbSession::TableRow& row : catalogue.tables)
            size += row.strSchema.size() + row.strName.size() + row.strType.size() + 3;
        for (const auto& [table, columns] : catalogue.columns)
            size += table.size() + columns.size() + 2;
        std::string text;
        text.reserve(size + size / 16);
        text += kMagic;
        text += '\n';
        text += catalogueKey(connection);
        text += '\n';
        appendEscaped(text, catalogue.strStamp);
        text += '\n';
        text += std::to_string(catalogue.lngListedAt);
        text += '\n';
        text += std::to_string(catalogue.tables.size());
        text += '\n';
        for (const DbSession::TableRow& row : catalogue.tables) {
            appendEscaped(text, row.strSchema);
            text += '\t';
            appendEscaped(text, row.strName);
            text += '\t';
            appendEscaped(text, row.strType);
            text += '\n';
        }
        for (const auto& [table, columns] : catalogue.columns) {
            appendEscaped(text, table);
            text += '\t';
            appendEscaped(text, columns);
            text += '\n';
        }

        // A new file beside the old one, then renamed over it: a reader sees the old file or the
        // new one, never a part. (Made by mkstemp, so it is readable by its owner only.)
        std::string temporary = path + ".XXXXXX";
        const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
        if (fd < 0)
            return false;
        const bool written = writeAll(fd, text);
        const bool closed = ::close(fd) == 0;
        if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
            ::unlink(temporary.c_str());
            return false;
        }
        // A catalogue is written when a database is listed, which is seldom: the time to sweep
        // out the catalogues of databases nobody opens any more (temporary files, test
        // databases), which would otherwise pile up for ever.
        removeUnused(m_strDirectory, path, kUnusedLifetime);
        return true;
    } catch (...) {
        return false;
    }
}

bool CatalogueCache::AppendColumns(const cDbConnection& connection, const std::string& strTable,
                                   const std::string& strColumns) const {
    try {
        const std::string path = FilePath(connection);
        if (path.empty())
            return false;
        // Only to a file that exists and is this connection's: a record added to another
        // connection's file (a hash collision) would be read as that connection's columns.
        const std::string key = catalogueKey(connection);
        std::string expected;
        expected.reserve(kMagic.size() + key.size() + 2);
        expected += kMagic;
        expected += '\n';
        expected += key;
        expected += '\n';
        const int fd = ::open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC);
        if (fd < 0)
            return false;
        std::string start(expected.size(), '\0');
        std::size_t done = 0;
        while (done < start.size()) {
            const ssize_t n =
                ::pread(fd, start.data() + done, start.size() - done, static_cast<off_t>(done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            done += static_cast<std::size_t>(n);
        }
        bool ok = done == start.size() && start == expected;
        if (ok) {
            // One write of the whole record, so that records appended by two programs at once
            // do not interleave.
            std::string record;
            record.reserve(strTable.size() + strColumns.size() + 8);
            appendEscaped(record, strTable);
            record += '\t';
            appendEscaped(record, strColumns);
            record += '\n';
            ok = writeAll(fd, record);
        }
        ok = ::close(fd) == 0 && ok;
        return ok;
    } catch (...) {
        return false;
    }
}

bool CatalogueCache::Remove(const cDbConnection& connection) const {
    try {
        const std::string path = FilePath(connection);
        if (path.empty())
            return true;
        struct stat st {};
        return (::unlink(path.c_str()) == 0 || errno == ENOENT) &&
               ::lstat(path.c_str(), &st) != 0 && errno == ENOENT;
    } catch (...) {
        return false;
    }
}

bool CatalogueCache::IsCurrent(const Catalogue& catalogue, const std::string& strCurrentStamp,
                               std::int64_t lngNow, std::int64_t lngMaxAge) {
    if (!strCurrentStamp.empty())
        return !catalogue.strStamp.empty() && catalogue.strStamp == strCurrentStamp;
    // The database cannot tell now. A catalogue listed when it could is not trusted (the
    // database may be unreachable, or be another one by now); one that never had a stamp is
    // trusted for a limited time. A listing "in the future" means the clock was put back, and
    // is not trusted either.
    if (!catalogue.strStamp.empty() || lngMaxAge <= 0 || catalogue.lngListedAt > lngNow)
        return false;
    // The difference of two int64 values that are in order always fits in uint64.
    const std::uint64_t age =
        static_cast<std::uint64_t>(lngNow) - static_cast<std::uint64_t>(catalogue.lngListedAt);
    return age < static_cast<std::uint64_t>(lngMaxAge);
}

} // namespace marovin
