#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace marovin::cli {

// Exit codes of the marovin tool.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// marovin render [--clause select|from|where|groupby|having|orderby] [FILE|-]
int RunRenderCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                     std::ostream& err);
// marovin xml [--indent] [FILE|-]
int RunXmlCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                  std::ostream& err);

// marovin parse [--indent] [FILE|-]: reads a SELECT statement and writes its query document.
// Findings go to `err`, one line each with line and column; a refused statement writes no
// document and exits with kExitFailure.
int RunParseCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
                    std::ostream& err);

// Reads a whole query document from a file, or from `in` for "-" or an empty name. On failure
// writes one line to `err` and returns false.
bool ReadDocumentText(const std::string& file, std::istream& in, std::string& text,
                      std::ostream& err);
// One error line: "marovin: <where>: <message>", with line breaks in the message folded.
void PrintError(std::ostream& err, const std::string& where, const std::string& message);
// The name under which a document source appears in messages.
std::string SourceName(const std::string& file);

} // namespace marovin::cli
