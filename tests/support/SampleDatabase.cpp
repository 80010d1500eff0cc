#include "SampleDatabase.h"

#include "SampleDatabaseGenerator.h"

#include <QTemporaryDir>
#include <stdexcept>

namespace marovin::test {

const std::string& SampleDatabasePath() {
    static QTemporaryDir dir;
    static const std::string path = [] {
        SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
        options.orderLines = 40;
        options.customers = 6;
        options.products = 8;
        options.wideColumns = 25; // one table of more columns than a box shows
        const std::string file = dir.filePath("northwind.sqlite").toStdString();
        std::string error;
        if (!SampleDatabaseGenerator(options).Write(file, error))
            throw std::runtime_error("cannot write the sample database: " + error);
        return file;
    }();
    return path;
}

std::shared_ptr<cDbConnection> SqliteConnection(const std::string& path) {
    auto db = std::make_shared<cDbConnection>();
    db->setStrProvider(cDbConnection::kProviderSqlite);
    db->setStrDatabase(path);
    return db;
}

std::shared_ptr<cDbConnection> SampleConnection() {
    return SqliteConnection(SampleDatabasePath());
}

} // namespace marovin::test
