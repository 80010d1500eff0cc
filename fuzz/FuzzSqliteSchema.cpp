// Reading the names of an SQLite file's tables and views straight from its pages. The input is
// the file. Reading must not crash, read outside the file or run on without end, whatever the
// pages say; the names it hands over lie within the file's bytes. A crash, a sanitizer report,
// a time-out or a failed check is a finding.

#include "SqliteFile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto readAt = [data, size](std::uint64_t offset, unsigned char* out, std::size_t count) {
        if (offset > size || count > size - offset)
            return false;
        std::memcpy(out, data + offset, count);
        return true;
    };
    marovin::readSqliteSchemaNames(
        size, readAt, [size](std::string_view type, std::string_view name) {
            if ((type != "table" && type != "view") || name.size() > size)
                std::abort();
        });
    return 0;
}
