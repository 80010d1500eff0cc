// Reading SQL text. The input is used twice:
//   1. as a statement: reading it must not crash or throw; a statement that is not refused
//      gives a query whose text reads back, unrefused, to a query writing the same text;
//   2. as the choices of the random query generator of the tests: the text the model writes for
//      that query must read back, unrefused, to a query writing exactly that text.
// A crash, a sanitizer report or a failed check is a finding.

#include "QueryGenerator.h"

#include <cstdint>
#include <cstdlib>
#include <marovin/SqlParser.h>
#include <marovin/cSQLQuery.h>
#include <string>
#include <string_view>

using namespace marovin;

namespace {

// Writes the query and reads the text back; aborts unless the result writes the same text.
void expectStableText(cSQLQuery& query) {
    const std::string text = query.strSQL();
    const ParseResult again = ParseSelectStatement(text);
    if (again.blnRefused || !again.query || again.query->strSQL() != text)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const ParseResult read = ParseSelectStatement(text);
    if (!read.blnRefused && read.query)
        expectStableText(*read.query);

    size_t next = 0;
    QueryGenerator generator([&](size_t bound) -> size_t {
        size_t value = 0;
        for (size_t room = bound; room > 1 && next < size; room >>= 8)
            value = (value << 8) | data[next++];
        return value % bound;
    });
    const auto generated = generator.Generate();
    expectStableText(*generated);
    return 0;
}
