// marovin: the command-line host of the query model and the database layer.

#include "Commands.h"
#include "cmdDatabase.h"

#include <exception>
#include <iostream>
#include <marovin/Version.h>
#include <string>
#include <vector>

namespace {

constexpr const char* kVersion = MAROVIN_VERSION_STRING;

constexpr const char* kUsage =
    "usage: marovin <command> [options]\n"
    "\n"
    "Query documents:\n"
    "  render [--clause select|from|where|groupby|having|orderby] [FILE|-]\n"
    "                      write the statement (or one clause) of a query document\n"
    "  xml [--indent] [FILE|-]\n"
    "                      write the document as the model writes it back\n"
    "  parse [--indent] [FILE|-]\n"
    "                      read a SELECT statement and write its query document; what the\n"
    "                      query cannot show is listed, and a statement whose query would\n"
    "                      mean something else is refused (exit 1)\n"
    "\n";

constexpr const char* kUsageTail = "\n"
                                   "  --help              this text\n"
                                   "  --version           the version\n"
                                   "\n"
                                   "Exit codes: 0 success, 1 a document or database failure, 2 a "
                                   "usage error.\n";

void printUsage(std::ostream& out) {
    out << kUsage << marovin::cli::DatabaseCommandsUsage() << kUsageTail;
}

} // namespace

int main(int argc, char** argv) {
    using namespace marovin::cli;
    std::ios::sync_with_stdio(false);
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        printUsage(std::cerr);
        return kExitUsage;
    }
    const std::string command = args.front();
    args.erase(args.begin());
    try {
        if (command == "--help" || command == "-h" || command == "help") {
            printUsage(std::cout);
            return kExitOk;
        }
        if (command == "--version") {
            std::cout << "marovin " << kVersion << '\n';
            return kExitOk;
        }
        if (IsDatabaseCommand(command))
            return RunDatabaseCommand(command, args, std::cout, std::cerr);
        if (command == "render")
            return RunRenderCommand(args, std::cin, std::cout, std::cerr);
        if (command == "xml")
            return RunXmlCommand(args, std::cin, std::cout, std::cerr);
        if (command == "parse")
            return RunParseCommand(args, std::cin, std::cout, std::cerr);
        std::cerr << "marovin: unknown command \"" << command << "\"\n";
        printUsage(std::cerr);
        return kExitUsage;
    } catch (const std::exception& e) {
        PrintError(std::cerr, command, e.what());
        return kExitFailure;
    }
}
