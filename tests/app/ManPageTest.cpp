// The manual pages against the programs they describe: each page formats without a warning, and
// every command and option the programs' --help lists has its entry in the page.

#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string output(const std::string& command) {
    std::string text;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return text;
    std::array<char, 4096> buffer{};
    size_t read = 0;
    while ((read = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        text.append(buffer.data(), read);
    ::pclose(pipe);
    return text;
}

std::string page(const std::string& name) {
    std::ifstream in(std::string(MAROVIN_SOURCE_DIR) + "/docs/man/" + name);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The page as a reader sees it, without roff's escapes of hyphens and fonts.
std::string plain(std::string source) {
    source = std::regex_replace(source, std::regex(R"(\\f[BIRP])"), "");
    return std::regex_replace(source, std::regex(R"(\\-)"), "-");
}

std::set<std::string> matches(const std::string& text, const std::regex& pattern) {
    std::set<std::string> found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern);
         it != std::sregex_iterator(); ++it)
        found.insert((*it)[1].str());
    return found;
}

TEST(ManPages, FormatWithoutWarnings) {
    for (const char* name : {"marovin.1", "marovin-designer.1"}) {
        const std::string path = std::string(MAROVIN_SOURCE_DIR) + "/docs/man/" + name;
        const std::string warnings =
            output("LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z '" + path + "' 2>&1");
        EXPECT_EQ(warnings, "") << name;
        EXPECT_NE(page(name).find(".TH "), std::string::npos) << name;
    }
}

TEST(ManPages, MarovinPageDescribesEveryCommandAndOption) {
    const std::string help = output("'" MAROVIN_CLI "' --help");
    const std::set<std::string> commands =
        matches(help, std::regex(R"(\n  ([a-z][a-z-]+) [[(A-Z])"));
    ASSERT_GE(commands.size(), 8u) << help;
    const std::string text = plain(page("marovin.1"));
    for (const std::string& command : commands)
        EXPECT_NE(text.find(".B " + command), std::string::npos) << "no entry for " << command;
    for (const std::string& option : matches(help, std::regex(R"((--[a-z][a-z-]+))")))
        EXPECT_NE(text.find(option), std::string::npos) << "no mention of " << option;
}

TEST(ManPages, DesignerPageDescribesEveryOption) {
    const std::string help =
        output("QT_QPA_PLATFORM=offscreen '" MAROVIN_DESIGNER_EXE "' --help 2>&1");
    const std::set<std::string> options =
        matches(help, std::regex(R"(\n +(?:-\w, )?(--[a-z][a-z-]+))"));
    ASSERT_GE(options.size(), 10u) << help;
    const std::string text = plain(page("marovin-designer.1"));
    for (const std::string& option : options)
        EXPECT_NE(text.find(option), std::string::npos) << "no entry for " << option;
}

TEST(ManPages, CarryTheProgramsVersion) {
    const std::string version = output("'" MAROVIN_CLI "' --version");
    const std::string number =
        version.substr(version.find(' ') + 1, version.find('\n') - version.find(' ') - 1);
    ASSERT_FALSE(number.empty());
    for (const char* name : {"marovin.1", "marovin-designer.1"})
        EXPECT_NE(page(name).find("\"Marovin " + number + "\""), std::string::npos) << name;
}

} // namespace
