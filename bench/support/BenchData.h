#pragma once

#include <cstdint>
#include <string>

namespace marovin::bench {

// The folder generated benchmark databases are kept in: $MAROVIN_BENCH_DATA_DIR when set (so that
// several build folders share files that take minutes to make), else the build's bench-data.
std::string BenchDataDir();

// A database of n tables "T000001" ... (id INTEGER PRIMARY KEY, name TEXT, amount REAL), made once
// and kept. SQLite scans its whole schema table after each CREATE TABLE, so making n tables costs
// n²/2 row visits: 100,000 tables take minutes, the first time.
std::string TablesDatabase(std::int64_t n);

// SQLite alone opening the file and stepping through its catalogue (the engine's floor for
// listing tables); returns the number of rows.
std::int64_t RawSchemaRows(const std::string& path);

} // namespace marovin::bench
