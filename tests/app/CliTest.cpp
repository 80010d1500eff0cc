// Runs the marovin tool as a user would and checks its exit codes and its exact output.

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct CliRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string quote(const std::string& text) {
    std::string q = "'";
    for (char c : text) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

class Cli : public testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() /
                ("marovin-cli-" + std::to_string(::getpid()) + "-" +
                 testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(m_dir);
    }
    void TearDown() override { fs::remove_all(m_dir); }

    fs::path write(const std::string& name, const std::string& content) {
        const fs::path path = m_dir / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    // Runs the tool with the arguments (already quoted as needed) and optional standard input.
    CliRun run(const std::string& args, const std::string& input = {}) {
        const fs::path in = write("stdin", input);
        const fs::path out = m_dir / "stdout";
        const fs::path err = m_dir / "stderr";
        const std::string command = quote(MAROVIN_CLI) + " " + args + " <" + quote(in) + " >" +
                                    quote(out) + " 2>" + quote(err);
        const int status = std::system(command.c_str());
        CliRun result;
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = readFile(out);
        result.err = readFile(err);
        return result;
    }

    static fs::path corpus(const std::string& name) {
        return fs::path(MAROVIN_SOURCE_DIR) / "tests" / "corpus" / name;
    }

    fs::path m_dir;
};

int lineCount(const std::string& text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

TEST_F(Cli, RenderWritesTheStatementByteForByte) {
    const CliRun r = run("render " + quote(corpus("worked-example-statement.xml")));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, readFile(corpus("worked-example-statement.sql")));
    EXPECT_EQ(r.err, "");
}

TEST_F(Cli, RenderReadsStandardInput) {
    const std::string doc = readFile(corpus("worked-example-from.xml"));
    const std::string expected = readFile(corpus("worked-example-from.sql"));
    EXPECT_EQ(run("render", doc).out, expected);
    EXPECT_EQ(run("render -", doc).out, expected);
}

TEST_F(Cli, RenderOneClause) {
    const CliRun r = run("render --clause from " + quote(corpus("worked-example-from.xml")));
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, readFile(corpus("worked-example-from.from.sql")));
    const CliRun having =
        run("render --clause=having " + quote(corpus("worked-example-statement.xml")));
    EXPECT_EQ(having.out, "HAVING\r\n      (SUM(Orders.Freight) > 100)");
    const CliRun empty = run("render --clause where " + quote(corpus("only-calculated.xml")));
    EXPECT_EQ(empty.exitCode, 0);
    EXPECT_EQ(empty.out, "") << "an empty clause writes nothing at all";
}

TEST_F(Cli, XmlWritesADocumentThatReadsBackToTheSameStatement) {
    for (const char* option : {"", "--indent "}) {
        const CliRun xml =
            run(std::string("xml ") + option + quote(corpus("worked-example-statement.xml")));
        ASSERT_EQ(xml.exitCode, 0) << xml.err;
        EXPECT_EQ(xml.out.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 0), 0u);
        const CliRun again = run("render", xml.out);
        EXPECT_EQ(again.out, readFile(corpus("worked-example-statement.sql")));
    }
    EXPECT_EQ(lineCount(run("xml " + quote(corpus("subquery-table.xml"))).out), 0)
        << "raw output has no line breaks";
    EXPECT_GT(lineCount(run("xml --indent " + quote(corpus("subquery-table.xml"))).out), 10);
}

TEST_F(Cli, BadDocumentsGiveOneLineAndExitOne) {
    struct Case {
        std::string content;
        std::string mustMention;
    };
    const std::array<Case, 5> cases{{
        {"<SQLQuery>\n<NAME>x</NAM>\n</SQLQuery>", "line 2"},
        {"not xml at all", "bad.xml"},
        {"", "bad.xml"},
        {"<Query/>", "<Query>"},
        {"<SQLQuery><UNIQUE_RECORDS_ONLY>perhaps</UNIQUE_RECORDS_ONLY></SQLQuery>", "perhaps"},
    }};
    for (const auto& c : cases) {
        const fs::path file = write("bad.xml", c.content);
        const CliRun r = run("render " + quote(file));
        EXPECT_EQ(r.exitCode, 1) << c.content;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(lineCount(r.err), 1) << r.err;
        EXPECT_EQ(r.err.rfind("marovin: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(c.mustMention), std::string::npos) << r.err;
    }
}

TEST_F(Cli, UnrenderableDocumentExitsOne) {
    const fs::path file = write(
        "join.xml", "<SQLQuery><TABLES_USED><TABLE><NAME>A</NAME></TABLE><TABLE><NAME>B</NAME>"
                    "</TABLE></TABLES_USED><ITEMS_SELECTED><ITEM><NAME>A.x</NAME></ITEM>"
                    "</ITEMS_SELECTED><JOINS><JOIN><LEFT_TABLE>Missing</LEFT_TABLE>"
                    "<RIGHT_TABLE>B</RIGHT_TABLE></JOIN></JOINS></SQLQuery>");
    const CliRun r = run("render " + quote(file));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(lineCount(r.err), 1);
    EXPECT_NE(r.err.find("left table"), std::string::npos) << r.err;
    EXPECT_EQ(run("xml " + quote(file)).exitCode, 1);
}

TEST_F(Cli, MissingFileExitsOne) {
    const CliRun r = run("render " + quote((m_dir / "nowhere.xml").string()));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("nowhere.xml"), std::string::npos);
    EXPECT_NE(r.err.find("No such file"), std::string::npos) << r.err;
}

TEST_F(Cli, UsageErrorsExitTwo) {
    EXPECT_EQ(run("").exitCode, 2);
    EXPECT_EQ(run("frobnicate").exitCode, 2);
    EXPECT_EQ(run("render --clause").exitCode, 2);
    EXPECT_EQ(run("render --clause limit x.xml").exitCode, 2);
    EXPECT_EQ(run("render --bogus").exitCode, 2);
    EXPECT_EQ(run("render a.xml b.xml").exitCode, 2);
    EXPECT_EQ(run("xml --pretty").exitCode, 2);
}

TEST_F(Cli, HelpAndVersion) {
    const CliRun help = run("--help");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("render"), std::string::npos);
    const CliRun version = run("--version");
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out.rfind("marovin ", 0), 0u);
}

TEST_F(Cli, ParseWritesTheDocumentOfAStatement) {
    const std::string statement = readFile(corpus("worked-example-statement.sql"));
    const CliRun parsed = run("parse " + quote(corpus("worked-example-statement.sql")));
    ASSERT_EQ(parsed.exitCode, 0) << parsed.err;
    EXPECT_EQ(parsed.err, "");
    EXPECT_EQ(parsed.out.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 0), 0u);
    EXPECT_EQ(run("render", parsed.out).out, statement);
    // Standard input, and the indented document.
    EXPECT_EQ(run("parse -", statement).out, parsed.out);
    const CliRun indented = run("parse --indent", statement);
    EXPECT_GT(lineCount(indented.out), 10);
    EXPECT_EQ(run("render", indented.out).out, statement);
}

TEST_F(Cli, ParseListsWhatTheQueryDoesNotShow) {
    const CliRun r = run("parse", "SELECT TOP 5 o.OrderID AS Id\nFROM dbo.Orders AS o -- recent\n");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "marovin: <stdin>:1:8: TOP 5 is not shown in the editor\n"
                     "marovin: <stdin>:2:22: The comment \"-- recent\" is not kept\n");
    EXPECT_EQ(run("render", r.out).out, "SELECT\r\n     o.OrderID AS Id\r\nFROM \r\n"
                                        "     dbo.Orders AS o\r\n");
}

TEST_F(Cli, ParseRefusesAStatementWhoseQueryWouldMeanSomethingElse) {
    const fs::path file = write("union.sql", "SELECT City FROM Customers\r\n"
                                             "UNION SELECT City FROM Suppliers");
    const CliRun r = run("parse " + quote(file));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "marovin: " + file.string() +
                         ":2:1: UNION joins a second query; the editor shows one query only\n"
                         "marovin: " +
                         file.string() +
                         ": refused: the editor cannot show this statement as it is meant\n");
    const CliRun broken = run("parse", "SELECT a FROM");
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_NE(broken.err.find("<stdin>:1:14: Expected a table at the end of the statement"),
              std::string::npos)
        << broken.err;
    EXPECT_EQ(run("parse a.sql b.sql").exitCode, 2);
    EXPECT_EQ(run("parse --pretty").exitCode, 2);
    EXPECT_EQ(run("parse " + quote((m_dir / "nowhere.sql").string())).exitCode, 1);
}
