// The database commands of the marovin tool, run in-process on real SQLite files and against a
// closed SQL Server port.

#include "cmdDatabase.h"

#include "DbTestSupport.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

namespace marovin::cli {
namespace {

struct Outcome {
    int code = 0;
    std::string out;
    std::string err;
};

Outcome run(const std::string& command, const std::vector<std::string>& args) {
    std::ostringstream out, err;
    Outcome r;
    r.code = RunDatabaseCommand(command, args, out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

using DatabaseCommands = test::SampleDatabaseSuite;

TEST_F(DatabaseCommands, TheDatabaseCommandsAreKnown) {
    for (const char* name : {"tables", "columns", "foreign-keys", "fieldin", "check", "preview"})
        EXPECT_TRUE(IsDatabaseCommand(name)) << name;
    EXPECT_FALSE(IsDatabaseCommand("render"));
    EXPECT_FALSE(IsDatabaseCommand("Tables"));
    EXPECT_EQ(run("render", {}).code, 2);
}

TEST_F(DatabaseCommands, TablesPrintsOneNamePerLineInCatalogueOrder) {
    Outcome r = run("tables", {"--sqlite", s_path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(r.out.starts_with("dbo.Categories\ndbo.Customers\n")) << r.out;
    EXPECT_NE(r.out.find("\ndbo.Order Details\ndbo.Orders\n"), std::string::npos);
    EXPECT_TRUE(r.out.ends_with("dbo.Products Above Average Price\n"));
    EXPECT_EQ(lineCount(r.out), 16u);
}

TEST_F(DatabaseCommands, TablesListingOptions) {
    Outcome raw = run("tables", {"--sqlite", s_path, "--raw"});
    ASSERT_EQ(raw.code, 0);
    EXPECT_EQ(lineCount(raw.out), 1u);
    EXPECT_TRUE(raw.out.starts_with("dbo.Categories,dbo.Customers,"));

    Outcome noViews = run("tables", {"--no-views", "--sqlite", s_path});
    EXPECT_EQ(lineCount(noViews.out), 11u);
    EXPECT_EQ(noViews.out.find("Order Details Extended"), std::string::npos);
    Outcome views = run("tables", {"--no-views", "--views", "--sqlite", s_path});
    EXPECT_EQ(views.out, run("tables", {"--sqlite", s_path}).out);

    Outcome system = run("tables", {"--sqlite", s_path, "--system"});
    EXPECT_TRUE(system.out.starts_with("dbo.sqlite_schema\ndbo.sqlite_sequence\ndbo.Categories\n"))
        << system.out;
}

// Commands on the sample database, with their exit code, output and error output in full.
TEST_F(DatabaseCommands, EachCommandAnswersWithItsCodeAndText) {
    const struct {
        std::vector<std::string> args; // the command and its arguments; "--sqlite" PATH follows
        int code;
        const char *out, *err;
    } cases[] = {
        {{"columns", "Order Details"},
         0,
         "OrderID\nProductID\nUnitPrice\nQuantity\nDiscount\n",
         ""},
        {{"columns", "--qualified", "dbo.Order Details"},
         0,
         "dbo.Order Details.OrderID\ndbo.Order Details.ProductID\ndbo.Order Details.UnitPrice\n"
         "dbo.Order Details.Quantity\ndbo.Order Details.Discount\n",
         ""},
        {{"columns", "dbo.Shippers", "--raw"}, 0, "ShipperID,CompanyName,Phone\n", ""},
        {{"columns", "dbo.Nope"}, 1, "", "marovin: columns: no columns found for dbo.Nope\n"},
        // One key per line; a table without keys prints nothing and succeeds.
        {{"foreign-keys", "dbo.[Order Details]"},
         0,
         "dbo.Order Details(OrderID) -> dbo.Orders(OrderID)\n"
         "dbo.Order Details(ProductID) -> dbo.Products(ProductID)\n",
         ""},
        {{"foreign-keys", "dbo.Order Subtotals"}, 0, "", ""},
        {{"fieldin", "dbo.Orders.Freight", "dbo.Orders"}, 0, "True\n", ""},
        {{"fieldin", "freight", "dbo.Orders"}, 1, "False\n", ""},
        // The check prints the service's message; a failing preview prints the error text.
        {{"check", "--sql", "SELECT OrderID FROM dbo.Orders"}, 0, "Syntax SQL Query correct\n", ""},
        {{"check", "--sql", "SELECT * FORM dbo.Orders"},
         1,
         "",
         "Syntax error:\r\nnear \"FORM\": syntax error\n"},
        {{"preview", "--sql", "SELECT * FROM dbo.Nope"},
         1,
         "",
         "Error\r\n\r\nno such table: dbo.Nope\n"},
        // Parameter markers become string literals.
        {{"preview", "--sql", "SELECT <[Country]> AS Name"}, 0, "Name\nCountry\n", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[0] + " " + c.args.back());
        std::vector<std::string> args(c.args.begin() + 1, c.args.end());
        args.insert(args.end(), {"--sqlite", s_path});
        const Outcome r = run(c.args[0], args);
        EXPECT_EQ(r.code, c.code);
        EXPECT_EQ(r.out, c.out);
        EXPECT_EQ(r.err, c.err);
    }
}

TEST_F(DatabaseCommands, CheckAndPreviewOfAQueryDocument) {
    std::string example = std::string(MAROVIN_EXAMPLES_DIR) + "/customers-freight.xml";
    Outcome check = run("check", {example, "--sqlite", s_path});
    EXPECT_EQ(check.code, 0) << check.err;
    EXPECT_EQ(check.out, "Syntax SQL Query correct\n");

    Outcome preview = run("preview", {example, "--sqlite", s_path});
    ASSERT_EQ(preview.code, 0) << preview.err;
    EXPECT_TRUE(preview.out.starts_with("CompanyName\tTotalFreight\tOrderCount\n")) << preview.out;
    EXPECT_GT(lineCount(preview.out), 1u);
    EXPECT_LE(lineCount(preview.out), 51u); // the default limit of 50 rows

    Outcome two = run("preview", {example, "--max-rows", "2", "--sqlite", s_path});
    EXPECT_EQ(lineCount(two.out), 3u);
}

TEST_F(DatabaseCommands, ABadDocumentIsReportedClearly) {
    const std::string broken = s_dir->file("broken.xml");
    std::ofstream(broken) << "<SQLQuery><TABLES_USED>";
    Outcome r = run("preview", {broken, "--sqlite", s_path});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.starts_with("marovin: " + broken + ": ")) << r.err;
    Outcome missing = run("check", {s_dir->file("absent.xml"), "--sqlite", s_path});
    EXPECT_EQ(missing.code, 1);
    EXPECT_EQ(missing.err, "marovin: " + s_dir->file("absent.xml") + ": cannot read the file\n");
}

TEST_F(DatabaseCommands, PreviewWritesTabSeparatedRows) {
    Outcome r =
        run("preview", {"--sql",
                        "SELECT ShipperID, CompanyName, NULL AS Gone, '' AS Blank, "
                        "'a' || char(9) || 'b' AS Tabbed FROM dbo.Shippers ORDER BY ShipperID",
                        "--sqlite", s_path, "--null", "NULL"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "ShipperID\tCompanyName\tGone\tBlank\tTabbed\n"
                     "1\tSpeedy Express\tNULL\t\ta b\n"
                     "2\tUnited Package\tNULL\t\ta b\n"
                     "3\tFederal Shipping\tNULL\t\ta b\n");
    Outcome none = run("preview", {"--sql", "SELECT 1 AS One WHERE 0", "--sqlite", s_path});
    EXPECT_EQ(none.out, "One\n");
}

TEST_F(DatabaseCommands, PreviewWritesCsvOnRequest) {
    Outcome r = run("preview", {"--sql",
                                "SELECT ShipperID AS \"Id, No\", CompanyName, NULL AS Gone, "
                                "'say \"hi\"' AS Quoted, 'a' || char(10) || 'b' AS Lines "
                                "FROM dbo.Shippers WHERE ShipperID < 3 ORDER BY ShipperID",
                                "--sqlite", s_path, "--format", "csv"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "\"Id, No\",CompanyName,Gone,Quoted,Lines\r\n"
                     "1,Speedy Express,,\"say \"\"hi\"\"\",\"a\nb\"\r\n"
                     "2,United Package,,\"say \"\"hi\"\"\",\"a\nb\"\r\n");
    Outcome tsv =
        run("preview", {"--sql", "SELECT 1 AS One", "--sqlite", s_path, "--format", "tsv"});
    EXPECT_EQ(tsv.out, "One\n1\n");
    Outcome bad = run("preview", {"--sql", "SELECT 1", "--sqlite", s_path, "--format", "xlsx"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_NE(bad.err.find("--format is tsv or csv"), std::string::npos) << bad.err;
}

TEST_F(DatabaseCommands, AMissingDatabaseIsAConnectionProblem) {
    std::string missing = s_dir->file("missing.sqlite");
    Outcome tables = run("tables", {"--sqlite", missing});
    EXPECT_EQ(tables.code, 1);
    EXPECT_EQ(tables.err, "Problems connecting to database\nmarovin: tables: unable to open "
                          "database file: " +
                              missing + "\n");
    for (const auto& [command, args] :
         std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"preview", {"--sql", "SELECT 1", "--sqlite", missing}},
             {"columns", {"Orders", "--sqlite", missing}},
             {"fieldin", {"OrderID", "Orders", "--sqlite", missing}},
             {"check", {"--sql", "SELECT 1", "--sqlite", missing}},
             {"foreign-keys", {"Orders", "--sqlite", missing}}}) {
        Outcome r = run(command, args);
        EXPECT_EQ(r.code, 1) << command;
        EXPECT_EQ(r.out, "") << command;
        EXPECT_TRUE(r.err.starts_with("Problems connecting to database\n")) << r.err;
    }
}

// Each fails with code 2 and, where given, a message that starts so.
TEST_F(DatabaseCommands, UsageErrors) {
    const struct {
        const char* command;
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {"tables", {}, ""},
        {"tables", {"--sqlite", s_path, "--odbc", "DSN=x"}, ""},
        {"tables", {"--server", "h", "--sqlite", s_path}, ""},
        {"tables", {"--server", "h"}, ""},
        {"tables", {"--sqlite"}, ""},
        {"tables", {"--sqlite", s_path, "--bogus"}, ""},
        {"tables", {"--sqlite", s_path, "extra"}, ""},
        {"columns", {"--sqlite", s_path}, ""},
        {"preview", {"--sqlite", s_path}, ""},
        {"preview", {"a.xml", "--sql", "SELECT 1", "--sqlite", s_path}, ""},
        {"preview",
         {"--sql", "SELECT 1", "--max-rows", "ten", "--sqlite", s_path},
         "marovin: preview: --max-rows needs a whole number"},
        {"tables",
         {"--sqlite", s_path, "--driver", "FreeTDS"},
         "marovin: tables: --driver goes with --server only\n"},
        {"tables", {"--odbc", "DSN=x", "--driver", "FreeTDS"}, ""},
        {"tables",
         {"--sqlite", s_path, "--database", "Northwind"},
         "marovin: tables: --sqlite PATH names the database file"},
        {"tables", {"--sqlite", s_path, "--user", "sa"}, ""},
        {"tables", {"--sqlite", s_path, "--windows-auth"}, ""},
        {"foreign-keys", {"--sqlite", s_path}, ""},
        {"fieldin", {"Freight", "--sqlite", s_path}, ""},
    };
    for (const auto& c : cases) {
        const Outcome r = run(c.command, c.args);
        EXPECT_EQ(r.code, 2) << c.command << " " << c.args.size() << " arguments";
        EXPECT_TRUE(r.err.starts_with(c.message)) << r.err;
    }
    Outcome help = run("preview", {"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.out, DatabaseCommandsUsage());
}

TEST_F(DatabaseCommands, PasswordsNeverComeFromTheCommandLine) {
    Outcome r =
        run("tables", {"--server", "h", "--database", "d", "--user", "sa", "--password", "secret"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.starts_with("marovin: tables: passwords are not taken from the command "
                                  "line; use --password-env VAR\n"));
    ::unsetenv("MAROVIN_TEST_UNSET_PASSWORD");
    Outcome unset = run("tables", {"--server", "h", "--database", "d", "--user", "sa",
                                   "--password-env", "MAROVIN_TEST_UNSET_PASSWORD"});
    EXPECT_EQ(unset.code, 2);
    EXPECT_EQ(unset.err,
              "marovin: tables: the environment variable MAROVIN_TEST_UNSET_PASSWORD is not set\n");
    EXPECT_EQ(
        run("tables", {"--server", "h", "--database", "d", "--windows-auth", "--user", "u"}).code,
        2);
}

TEST_F(DatabaseCommands, NoPasswordInsideAConnectionString) {
    const std::string refused = "marovin: tables: passwords are not taken from the command line; "
                                "use --password-env VAR instead of a password in the connection "
                                "string\n";
    for (const std::string cs :
         {"DSN=NoSuchDsn;PWD=secret", "DSN=NoSuchDsn; pwd = secret", "DSN=NoSuchDsn;Password={a;b}",
          "DSN=NoSuchDsn;UID={u;PWD=x};PWD={a}};UID=v}",
          "DATABASE={x;y=z};DSN=NoSuchDsn;Pwd=secret;"}) {
        Outcome r = run("tables", {"--odbc", cs});
        EXPECT_EQ(r.code, 2) << cs;
        EXPECT_TRUE(r.err.starts_with(refused)) << cs << "\n" << r.err;
    }
    // Keys that only look like one, inside braced values, are no password.
    Outcome r = run("tables", {"--odbc", "DRIVER={SQLite3};UID={PWD=x};Database=" + s_path});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Categories\n"), std::string::npos) << r.out;
    // The password from the environment is added to the string.
    ::setenv("MAROVIN_TEST_ODBC_PASSWORD", "p;w}d", 1);
    Outcome withEnv = run("tables", {"--odbc", "DRIVER={SQLite3};Database=" + s_path,
                                     "--password-env", "MAROVIN_TEST_ODBC_PASSWORD"});
    EXPECT_EQ(withEnv.code, 0) << withEnv.err;
    ::unsetenv("MAROVIN_TEST_ODBC_PASSWORD");
}

TEST_F(DatabaseCommands, AnUnreachableSqlServerFailsWithTheFixedText) {
    const std::string server = "127.0.0.1," + std::to_string(test::unusedLoopbackPort());
    ::setenv("MAROVIN_TEST_PASSWORD", "p;w}d", 1);
    Outcome r = run("preview", {"--sql", "SELECT 1", "--server", server, "--database", "Northwind",
                                "--user", "sa", "--password-env", "MAROVIN_TEST_PASSWORD",
                                "--driver", "FreeTDS", "--login-timeout", "2"});
    ::unsetenv("MAROVIN_TEST_PASSWORD");
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.starts_with("Problems connecting to database\nmarovin: preview: [FreeTDS]"))
        << r.err;
}

TEST_F(DatabaseCommands, TheBuildMadeTheSampleDatabase) {
    std::string built = MAROVIN_BUILT_SAMPLE_DB;
    Outcome r = run("tables", {"--sqlite", built});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, run("tables", {"--sqlite", s_path}).out);
}

} // namespace
} // namespace marovin::cli
