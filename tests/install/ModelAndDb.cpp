// Uses the model and the database layer as a host without Qt does: builds a query over the
// sample database, renders it, and reads the database's tables and a table's columns.
//   model-and-db DATABASE.sqlite
#include <exception>
#include <iostream>
#include <marovin/ModelError.h>
#include <marovin/Version.h>
#include <marovin/cDbConnection.h>
#include <marovin/cSQLQuery.h>
#include <marovin/cSelectedItem.h>
#include <marovin/cTable.h>
#include <memory>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: model-and-db DATABASE.sqlite\n";
        return 2;
    }
    try {
        marovin::cDbConnection connection;
        connection.setStrProvider(marovin::cDbConnection::kProviderSqlite);
        connection.setStrDatabase(argv[1]);
        const std::string tables = connection.GetListOfTables();
        const std::string columns = connection.GetListOfFields("Customers", false);
        if (tables.find("Customers") == std::string::npos || columns.empty()) {
            std::cerr << "model-and-db: no Customers table in " << argv[1] << "\n";
            return 1;
        }

        const std::string document =
            "<SQLQuery issubquery=\"False\"><TABLES_USED><TABLE issubquery=\"False\">"
            "<NAME>Customers</NAME><ALIAS>Customers</ALIAS></TABLE></TABLES_USED><ITEMS_SELECTED>"
            "<ITEM><NAME>Customers.CompanyName</NAME><ALIAS></ALIAS><AGGREGATION></AGGREGATION>"
            "</ITEM></ITEMS_SELECTED></SQLQuery>";
        marovin::cSQLQuery query;
        query.LoadXmlText(document);
        const std::string sql = query.strSQL();
        if (sql.find("Customers") == std::string::npos) {
            std::cerr << "model-and-db: unexpected statement " << sql << "\n";
            return 1;
        }
        // A model error reaches the host as the exception type the header declares.
        try {
            query.LoadXmlText("<not a document");
            std::cerr << "model-and-db: a malformed document was accepted\n";
            return 1;
        } catch (const marovin::ModelError&) {
        }
        std::cout << "Marovin " << MAROVIN_VERSION_STRING << "\n" << sql << "\n";
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "model-and-db: " << error.what() << "\n";
        return 1;
    }
}
