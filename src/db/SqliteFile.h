#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace marovin {

// The catalogue stamp of an SQLite file, read from its header with plain file I/O (SQLite is
// not opened, so no schema is parsed): "sqlite:<schema cookie>:<hash of the first page>", and
// ":wal:<size>:<modification time in ns>" added when a write-ahead log with content lies beside
// the file, because a schema change may sit in the log until it is checkpointed. Empty when the
// file cannot be read or is not an SQLite database.
std::string sqliteFileStamp(const std::string& path);

// Hands each row of an SQLite file's schema table whose type is "table" or "view" to row (type,
// name), read from the file's pages with plain file I/O. SQLite itself parses every statement of
// the schema before it lists a single name, which takes seconds for 100,000 tables; walking the
// schema table's pages takes a small fraction of that. False when the file cannot be read this
// way: no SQLite database, a text encoding other than UTF-8, a write-ahead log or a rollback
// journal with content beside the file (the file alone may then be out of date), or pages that
// do not fit together. Rows already handed over are then to be dropped: only SQLite can tell.
bool readSqliteSchemaNames(const std::string& path,
                           const std::function<void(std::string_view, std::string_view)>& row);

// The same over the bytes of a database file: readAt fills size bytes from offset and answers
// whether it could. No log or journal is looked for.
bool readSqliteSchemaNames(
    std::uint64_t fileSize,
    const std::function<bool(std::uint64_t offset, unsigned char* out, std::size_t size)>& readAt,
    const std::function<void(std::string_view, std::string_view)>& row);

} // namespace marovin
