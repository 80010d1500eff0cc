#pragma once

#include <string>

namespace marovin {

// The catalogue stamp of an SQLite file, read from its header with plain file I/O (SQLite is
// not opened, so no schema is parsed): "sqlite:<schema cookie>:<hash of the first page>", and
// ":wal:<size>:<modification time in ns>" added when a write-ahead log with content lies beside
// the file, because a schema change may sit in the log until it is checkpointed. Empty when the
// file cannot be read or is not an SQLite database.
std::string sqliteFileStamp(const std::string& path);

} // namespace marovin
