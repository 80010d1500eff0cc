// Builds the sample database: marovin_make_sample_db OUTPUT [--large] [--order-lines N]
// [--customers N] [--products N] [--extra-tables N] [--extra-views N] [--wide-columns N]
#include "SampleDatabaseGenerator.h"

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

bool readNumber(std::string_view text, std::int64_t& out) {
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc{} && end == text.data() + text.size() && out >= 0;
}

int usage() {
    std::fputs("usage: marovin_make_sample_db OUTPUT [--large] [--order-lines N] [--customers N]"
               " [--products N] [--extra-tables N] [--extra-views N] [--wide-columns N]\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    using marovin::SampleDatabaseGenerator;
    std::string output;
    SampleDatabaseGenerator::Options options = SampleDatabaseGenerator::Small();
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        if (arg == "--large") {
            options = SampleDatabaseGenerator::Large();
            continue;
        }
        if (arg.starts_with("--")) {
            std::int64_t n = 0;
            if (i + 1 >= argc || !readNumber(argv[i + 1], n) || n > 100'000'000) {
                std::fprintf(stderr, "%s needs a whole number\n", argv[i]);
                return usage();
            }
            ++i;
            if (arg == "--order-lines")
                options.orderLines = n;
            else if (arg == "--customers" && n > 0)
                options.customers = static_cast<std::int32_t>(n);
            else if (arg == "--products" && n > 0)
                options.products = static_cast<std::int32_t>(n);
            else if (arg == "--extra-tables")
                options.extraTables = static_cast<std::int32_t>(n);
            else if (arg == "--extra-views")
                options.extraViews = static_cast<std::int32_t>(n);
            else if (arg == "--wide-columns" && n <= 2000)
                options.wideColumns = static_cast<std::int32_t>(n);
            else
                return usage();
            continue;
        }
        if (!output.empty())
            return usage();
        output = arg;
    }
    if (output.empty())
        return usage();
    std::string error;
    if (!SampleDatabaseGenerator(options).Write(output, error)) {
        std::fprintf(stderr, "marovin_make_sample_db: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
