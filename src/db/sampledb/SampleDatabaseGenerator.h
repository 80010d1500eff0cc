#pragma once

#include <cstdint>
#include <string>

namespace marovin {

// Writes a Northwind-shaped SQLite database with deterministic synthetic data: Categories,
// Suppliers, Shippers, Region, Territories, Employees, EmployeeTerritories, Customers, Products,
// Orders and "Order Details" (with its blank), with primary and foreign keys and a few views.
// The same options always give the same rows.
class SampleDatabaseGenerator {
public:
    struct Options {
        // Rows of "Order Details" to write (the orders follow from it, 1 to 5 lines each).
        std::int64_t orderLines = 2155;
        std::int32_t customers = 91;
        std::int32_t products = 77;
        // Additional small tables Extra000001..., to make a large catalogue. SQLite rereads its
        // schema table after every CREATE TABLE, so many thousands of them take minutes.
        std::int32_t extraTables = 0;
        // Additional views ExtraView000001... (SELECT 1 AS Id), written straight into the schema
        // table: a catalogue of 100,000 entries in seconds.
        std::int32_t extraViews = 0;
        // Columns of an additional table "WideTable" (none when 0).
        std::int32_t wideColumns = 0;
    };

    // The small default database and the large one for benchmarks (a million order lines).
    static Options Small() { return {}; }
    static Options Large();

    explicit SampleDatabaseGenerator(Options options) : m_options(options) {}

    // Writes the database to path, replacing any file there; the file appears complete or not
    // at all. Returns false and fills error on failure.
    bool Write(const std::string& path, std::string& error) const;

private:
    Options m_options;
};

} // namespace marovin
