// Document text -> load -> render every clause -> write -> load again. Loading and rendering may
// refuse the input with a ModelError; anything else (a crash, a sanitizer report, another
// exception) is a finding. A document the model wrote must load again and render the same.

#include <cstdint>
#include <cstdlib>
#include <marovin/ModelError.h>
#include <marovin/cSQLQuery.h>
#include <string>

using namespace marovin;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    cSQLQuery query;
    try {
        query.LoadXmlText(text);
    } catch (const ModelError&) {
        return 0;
    }
    std::string sql;
    try {
        (void)query.strSelect();
        (void)query.strWhere();
        (void)query.strHaving();
        (void)query.strGroupBy();
        (void)query.strOrderBy();
        (void)query.strFrom();
        sql = query.strSQL();
    } catch (const ModelError&) {
        return 0;
    }
    std::string written;
    try {
        written = query.ToXmlText();
    } catch (const ModelError&) {
        return 0;
    }
    cSQLQuery again;
    again.LoadXmlText(written); // must not throw: we wrote it ourselves
    const std::string rewritten = again.ToXmlText();
    cSQLQuery third;
    third.LoadXmlText(rewritten);
    // After one round trip the document is stable.
    if (third.ToXmlText() != rewritten || third.strSQL() != again.strSQL())
        std::abort();
    return 0;
}
