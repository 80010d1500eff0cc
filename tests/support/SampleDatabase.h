#pragma once

#include "marovin/cDbConnection.h"

#include <memory>
#include <string>

// The small Northwind-shaped database the GUI tests work on, and connections to SQLite files.
namespace marovin::test {

// Written once per test program into a temporary folder: a few customers, products and order
// lines, and one table of more columns than a box shows.
const std::string& SampleDatabasePath();
std::shared_ptr<cDbConnection> SampleConnection();
// A connection to another SQLite file.
std::shared_ptr<cDbConnection> SqliteConnection(const std::string& path);

} // namespace marovin::test
