#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace marovin::cli {

// The database commands of the marovin tool: tables, columns, foreign-keys, fieldin, check and
// preview.
bool IsDatabaseCommand(const std::string& name);
// Runs one of them with its arguments (without the command name). Output goes to out, messages
// and failures to err. Returns 0 on success, 1 on a database or document failure (and for
// fieldin when the field is not in the table), 2 on a usage error.
int RunDatabaseCommand(const std::string& name, const std::vector<std::string>& args,
                       std::ostream& out, std::ostream& err);
// The usage text of the database commands, for the tool's help.
const char* DatabaseCommandsUsage();

} // namespace marovin::cli
