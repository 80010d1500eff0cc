// The commands that only need the query model: render, xml and parse.

#include "Commands.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <marovin/ModelError.h>
#include <marovin/SqlParser.h>
#include <marovin/cSQLQuery.h>
#include <optional>
#include <sstream>

namespace marovin::cli {

std::string SourceName(const std::string& file) {
    return (file.empty() || file == "-") ? std::string("<stdin>") : file;
}

void PrintError(std::ostream& err, const std::string& where, const std::string& message) {
    std::string line = message;
    for (char& c : line) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    err << "marovin: " << where << ": " << line << '\n';
}

bool ReadDocumentText(const std::string& file, std::istream& in, std::string& text,
                      std::ostream& err) {
    if (file.empty() || file == "-") {
        text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (in.bad()) {
            PrintError(err, SourceName(file), "cannot read standard input");
            return false;
        }
        return true;
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        PrintError(err, file, std::string("cannot open: ") + std::strerror(errno));
        return false;
    }
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    if (stream.bad()) {
        PrintError(err, file, "cannot read the file");
        return false;
    }
    text = buffer.str();
    return true;
}

namespace {

// Loads a document into the query; on failure writes one line and returns false.
bool loadQuery(const std::string& file, std::istream& in, cSQLQuery& query, std::ostream& err) {
    std::string text;
    if (!ReadDocumentText(file, in, text, err))
        return false;
    try {
        query.LoadXmlText(text);
        return true;
    } catch (const std::exception& e) {
        PrintError(err, SourceName(file), e.what());
        return false;
    }
}

// Loads the document, makes the output text from the query and writes it byte for byte; a
// failure in either step is one line on `err`.
int loadAndWrite(const std::string& file, std::istream& in, std::ostream& out, std::ostream& err,
                 const char* failure, const std::function<std::string(cSQLQuery&)>& produce) {
    cSQLQuery query;
    if (!loadQuery(file, in, query, err))
        return kExitFailure;
    std::string text;
    try {
        text = produce(query);
    } catch (const std::exception& e) {
        PrintError(err, SourceName(file), failure + std::string(e.what()));
        return kExitFailure;
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.flush();
    return kExitOk;
}

// Splits the arguments into options and at most one file; reports usage errors.
bool oneFile(const std::vector<std::string>& rest, std::string& file, std::ostream& err,
             const char* usage) {
    if (rest.size() > 1) {
        err << "marovin: too many arguments\n" << usage;
        return false;
    }
    file = rest.empty() ? std::string() : rest.front();
    return true;
}

constexpr const char* kRenderUsage =
    "usage: marovin render [--clause select|from|where|groupby|having|orderby] [FILE|-]\n";
constexpr const char* kXmlUsage = "usage: marovin xml [--indent] [FILE|-]\n";
constexpr const char* kParseUsage = "usage: marovin parse [--indent] [FILE|-]\n";

// The options of xml and parse: --indent and at most one file. Empty when the command goes on,
// otherwise the exit code (help given, or a usage error reported).
std::optional<int> indentAndFile(const std::vector<std::string>& args, bool& indent,
                                 std::string& file, std::ostream& out, std::ostream& err,
                                 const char* usage) {
    std::vector<std::string> rest;
    for (const auto& arg : args) {
        if (arg == "--indent") {
            indent = true;
        } else if (arg == "--help" || arg == "-h") {
            out << usage;
            return kExitOk;
        } else if (arg.size() > 1 && arg[0] == '-') {
            err << "marovin: unknown option " << arg << '\n' << usage;
            return kExitUsage;
        } else {
            rest.push_back(arg);
        }
    }
    if (!oneFile(rest, file, err, usage))
        return kExitUsage;
    return std::nullopt;
}

} // namespace

int RunRenderCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                     std::ostream& err) {
    std::string clause;
    std::vector<std::string> rest;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--clause") {
            if (i + 1 >= args.size()) {
                err << "marovin: --clause needs a value\n" << kRenderUsage;
                return kExitUsage;
            }
            clause = args[++i];
        } else if (arg.rfind("--clause=", 0) == 0) {
            clause = arg.substr(9);
        } else if (arg == "--help" || arg == "-h") {
            out << kRenderUsage;
            return kExitOk;
        } else if (arg.size() > 1 && arg[0] == '-') {
            err << "marovin: unknown option " << arg << '\n' << kRenderUsage;
            return kExitUsage;
        } else {
            rest.push_back(arg);
        }
    }
    static const char* const kClauses[] = {"select",  "from",   "where",
                                           "groupby", "having", "orderby"};
    if (!clause.empty() &&
        std::find(std::begin(kClauses), std::end(kClauses), clause) == std::end(kClauses)) {
        err << "marovin: unknown clause \"" << clause << "\"\n" << kRenderUsage;
        return kExitUsage;
    }
    std::string file;
    if (!oneFile(rest, file, err, kRenderUsage))
        return kExitUsage;

    return loadAndWrite(file, in, out, err, "cannot render: ", [&](cSQLQuery& query) {
        if (clause.empty())
            return query.strSQL();
        if (clause == "select")
            return query.strSelect();
        if (clause == "from")
            return query.strFrom();
        if (clause == "where")
            return query.strWhere();
        if (clause == "groupby")
            return query.strGroupBy();
        if (clause == "having")
            return query.strHaving();
        return query.strOrderBy();
    });
}

int RunXmlCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                  std::ostream& err) {
    bool indent = false;
    std::string file;
    if (const auto code = indentAndFile(args, indent, file, out, err, kXmlUsage))
        return *code;
    return loadAndWrite(file, in, out, err, "cannot write the document: ", [&](cSQLQuery& query) {
        return query.ToXmlText(indent);
    });
}

int RunParseCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                    std::ostream& err) {
    bool indent = false;
    std::string file;
    if (const auto code = indentAndFile(args, indent, file, out, err, kParseUsage))
        return *code;
    std::string text;
    if (!ReadDocumentText(file, in, text, err))
        return kExitFailure;
    const ParseResult result = ParseSelectStatement(text);
    const std::string source = SourceName(file);
    for (const ParseFinding& finding : result.findings)
        PrintError(err,
                   source + ":" + std::to_string(finding.lngLine) + ":" +
                       std::to_string(finding.lngColumn),
                   finding.strMessage);
    if (result.blnRefused || !result.query) {
        PrintError(err, source, "refused: the editor cannot show this statement as it is meant");
        return kExitFailure;
    }
    std::string document;
    try {
        document = result.query->ToXmlText(indent);
    } catch (const std::exception& e) {
        PrintError(err, source, std::string("cannot write the document: ") + e.what());
        return kExitFailure;
    }
    out.write(document.data(), static_cast<std::streamsize>(document.size()));
    out.flush();
    return kExitOk;
}

} // namespace marovin::cli
