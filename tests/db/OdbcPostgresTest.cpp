// cDbConnection's generic ODBC provider against a real PostgreSQL server, reached through the
// unixODBC driver manager and psqlODBC. The server is started by the tests on 127.0.0.1.

#include "DbTestSupport.h"
#include "PostgresServer.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <marovin/DbCancellation.h>
#include <marovin/DbError.h>
#include <marovin/DbSession.h>
#include <marovin/cDbConnection.h>
#include <memory>
#include <pwd.h>
#include <thread>
#include <unistd.h>

namespace marovin {
namespace {

constexpr const char* kSuperuserPassword = "Sup3r-secret";
// A password with every character that could break out of a connection string value.
constexpr const char* kHostilePassword = "p;w}d={x}=;PORT=1";

const char* const kSchemaScript[] = {
    "CREATE SCHEMA sales",
    "CREATE TABLE public.orders (id integer PRIMARY KEY, amount numeric(10,2), note text)",
    "CREATE TABLE sales.orders (id integer PRIMARY KEY, region text)",
    "CREATE TABLE public.\"Order Details\" (\"OrderID\" integer, \"Unit Price\" money, "
    "\"Quantity\" smallint)",
    "CREATE TABLE public.a_b (p integer)",
    "CREATE TABLE public.axb (q integer)",
    "CREATE VIEW public.big_orders AS SELECT id, amount FROM public.orders WHERE amount > 100",
    "INSERT INTO public.orders SELECT g, g * 0.5, CASE WHEN g % 2 = 0 THEN '' END "
    "FROM generate_series(1, 500) AS g",
    "INSERT INTO sales.orders VALUES (1, 'North'), (2, 'South')",
    // Declared foreign keys: two keys of two columns each between the same two tables (one
    // pairing its columns in another order than the primary key), a key of a table on itself,
    // names with blanks, quotes and keywords, a key into another schema, and tables whose
    // names differ only where "_" would match any character.
    "CREATE SCHEMA shop",
    "CREATE TABLE shop.cities (country text, city text, PRIMARY KEY (country, city))",
    "CREATE TABLE shop.routes (id integer PRIMARY KEY, from_country text, from_city text, "
    "to_country text, to_city text, parent integer, "
    "CONSTRAINT \"from city\" FOREIGN KEY (from_country, from_city) "
    "REFERENCES shop.cities (country, city), "
    "CONSTRAINT \"to city\" FOREIGN KEY (to_city, to_country) "
    "REFERENCES shop.cities (city, country), "
    "CONSTRAINT route_parent FOREIGN KEY (parent) REFERENCES shop.routes (id))",
    "CREATE TABLE shop.\"Select\" (\"Key\" integer PRIMARY KEY)",
    "CREATE TABLE shop.\"Order Details\" (\"Order\" integer REFERENCES shop.\"Select\", "
    "route integer CONSTRAINT \"details' route\" REFERENCES shop.routes, quantity integer)",
    "CREATE TABLE shop.order_notes (order_id integer CONSTRAINT note_order "
    "REFERENCES public.orders (id), note text)",
    "CREATE TABLE shop.a_b (id integer PRIMARY KEY)",
    "CREATE TABLE shop.axb (id integer PRIMARY KEY)",
    "CREATE TABLE shop.links (a integer CONSTRAINT link_a_b REFERENCES shop.a_b, "
    "x integer CONSTRAINT link_axb REFERENCES shop.axb)",
    "CREATE ROLE hostile LOGIN PASSWORD 'p;w}d={x}=;PORT=1'",
    "GRANT SELECT ON ALL TABLES IN SCHEMA public TO hostile",
};

class OdbcPostgres : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (test::PostgresServer::FindBinaries().empty())
            return;
        s_server = std::make_unique<test::PostgresServer>();
        if (!s_server->Start(kSuperuserPassword, s_startError))
            return;
        cDbConnection admin = connection("postgres", kSuperuserPassword);
        // The server listens before it accepts logins ("the database system is starting up").
        std::unique_ptr<DbSession> session;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!(session = admin.GetConnection()) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        if (!session) {
            s_startError = "cannot connect: " + cDbConnection::LastConnectionError();
            return;
        }
        try {
            for (const char* sql : kSchemaScript)
                session->Execute(sql);
        } catch (const std::exception& e) {
            s_startError = std::string("cannot set up the database: ") + e.what();
        }
    }
    static void TearDownTestSuite() {
        s_server.reset();
        removeDriverLog();
    }

    // Debian registers psqlODBC with a communication log, which the driver opens in /tmp for the
    // whole process whatever the connection string says: this process's log goes with it.
    static void removeDriverLog() {
        const passwd* user = ::getpwuid(::geteuid());
        if (!user)
            return;
        const std::string suffix =
            "_" + std::string(user->pw_name) + std::to_string(::getpid()) + ".log";
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator("/tmp", ec)) {
            std::string name = entry.path().filename().string();
            if (name.starts_with("psqlodbc_") && name.ends_with(suffix))
                std::filesystem::remove(entry.path(), ec);
        }
    }

    void SetUp() override {
        if (test::PostgresServer::FindBinaries().empty())
            GTEST_SKIP() << "PostgreSQL server binaries (initdb, postgres) are not installed";
        ASSERT_EQ(s_startError, "") << "log: " << (s_server ? s_server->log() : "");
        db = connection("postgres", kSuperuserPassword);
    }

    static cDbConnection connection(const std::string& user, const std::string& password) {
        cDbConnection c;
        c.setStrProvider(cDbConnection::kProviderOdbc);
        c.setStrConnectionString("DRIVER={PostgreSQL ANSI};SERVER=127.0.0.1;CommLog=0;PORT=" +
                                 std::to_string(s_server->port()));
        c.setStrDatabase("postgres");
        c.setStrUserName(user);
        c.setStrPassword(password);
        c.setLngLoginTimeout(10);
        return c;
    }

    static std::unique_ptr<test::PostgresServer> s_server;
    static std::string s_startError;
    cDbConnection db;
};

std::unique_ptr<test::PostgresServer> OdbcPostgres::s_server;
std::string OdbcPostgres::s_startError;

bool contains(const std::vector<std::string>& items, const std::string& item) {
    return std::find(items.begin(), items.end(), item) != items.end();
}

TEST_F(OdbcPostgres, TheCatalogueHoldsTablesAndViewsWithTheirSchemasInTheDriversOrder) {
    auto items = test::splitCommas(db.GetListOfTables());
    for (const char* name :
         {"public.orders", "sales.orders", "public.Order Details", "public.big_orders"})
        EXPECT_TRUE(contains(items, name)) << name;
    EXPECT_FALSE(contains(items, "pg_catalog.pg_class"));

    db.setBlnIncludeViews(false);
    items = test::splitCommas(db.GetListOfTables());
    EXPECT_FALSE(contains(items, "public.big_orders"));
    EXPECT_TRUE(contains(items, "public.orders"));

    db.setBlnIncludeUserTables(false);
    db.setBlnIncludeViews(true);
    items = test::splitCommas(db.GetListOfTables());
    EXPECT_EQ(items, std::vector<std::string>{"public.big_orders"});

    // With the default options: tables and views in the driver's order.
    db = connection("postgres", kSuperuserPassword);
    std::vector<std::string> expected;
    for (const DbSession::TableRow& row : test::sessionOf(db)->Tables()) {
        if (row.strType == "TABLE" || row.strType == "VIEW")
            expected.push_back(row.strSchema + "." + row.strName);
    }
    EXPECT_EQ(test::splitCommas(db.GetListOfTables()), expected);
}

TEST_F(OdbcPostgres, ColumnsOfOneSchemaOrOfEveryAndFieldInTable) {
    EXPECT_EQ(db.GetListOfFields("public.Order Details", false), "OrderID,Unit Price,Quantity");
    EXPECT_EQ(db.GetListOfFields("sales.orders", false), "id,region");
    EXPECT_EQ(db.GetListOfFields(" sales . orders ", true),
              " sales . orders .id, sales . orders .region");
    // Without a schema: the table of that name in every schema.
    EXPECT_EQ(db.GetListOfFields("orders", false), "id,amount,note,id,region");
    // "_" is a wildcard of the catalogue functions; here it is taken literally.
    EXPECT_EQ(db.GetListOfFields("public.a_b", false), "p");
    EXPECT_EQ(db.GetListOfFields("public.nope", false), "");
    // A field is in a table by its last part, compared with regard to case.
    EXPECT_TRUE(db.IsTheFieldInTheTable("sales.orders.region", "sales.orders"));
    EXPECT_FALSE(db.IsTheFieldInTheTable("Region", "sales.orders"));
    EXPECT_FALSE(db.IsTheFieldInTheTable("amount", "sales.orders"));
}

std::vector<std::string> keys(const cDbConnection& db, const std::string& table) {
    return test::keyTexts(db.GetForeignKeys(table));
}

TEST_F(OdbcPostgres, ForeignKeysKeepTheirNamesAndTheirPairsInKeyOrder) {
    const std::string from =
        "from city: shop.routes(from_country, from_city) -> shop.cities(country, city)";
    const std::string to =
        "to city: shop.routes(to_city, to_country) -> shop.cities(city, country)";
    const std::string route = "details' route: shop.Order Details(route) -> shop.routes(id)";
    const std::string order =
        "Order Details_Order_fkey: shop.Order Details(Order) -> shop.Select(Key)";
    const std::string note = "note_order: shop.order_notes(order_id) -> public.orders(id)";
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        // "to city" pairs its columns in another order than the primary key's; route_parent, a
        // key of shop.routes on itself, is reported on both sides and listed once.
        {"shop.cities", {from, to}},
        {"shop.routes", {from, "route_parent: shop.routes(parent) -> shop.routes(id)", to, route}},
        // Odd names, in the forms a query may write them.
        {"shop.Order Details", {order, route}},
        {"shop.[Order Details]", {order, route}},
        {"[shop].\"Order Details\"", {order, route}},
        {"shop.Select", {order}},
        // The names are no patterns: "_" matches itself only.
        {"shop.a_b", {"link_a_b: shop.links(a) -> shop.a_b(id)"}},
        // Only the table of the schema asked for: public.orders is referenced, sales.orders is
        // not; without a schema the server's search path decides, as for a name in a query.
        {"public.orders", {note}},
        {"sales.orders", {}},
        {"orders", {note}},
        {"cities", {}},
        {"shop.nope", {}},
        {"public.big_orders", {}},
    };
    for (const auto& [table, expected] : cases)
        EXPECT_EQ(keys(db, table), expected) << table;
}

TEST_F(OdbcPostgres, RowLimitsTypedValuesAndUtf8Text) {
    auto all = test::rowsOf(db, "SELECT id, amount, note FROM public.orders ORDER BY id");
    EXPECT_EQ(all->RecordCount(), 500);
    EXPECT_EQ(all->FieldName(1), "amount");
    EXPECT_EQ(all->value(0, 0).Kind(), DbValueKind::Integer);
    EXPECT_EQ(all->value(0, 1).ToString(), "0.50"); // numeric stays exact, as text
    EXPECT_TRUE(all->value(0, 2).IsNull());
    EXPECT_EQ(all->value(1, 2).Kind(), DbValueKind::Text);
    EXPECT_EQ(all->value(1, 2).AsText(), "");

    auto limited = test::rowsOf(db, "SELECT id FROM public.orders ORDER BY id", 100);
    EXPECT_EQ(limited->RecordCount(), 100);
    EXPECT_EQ(limited->value(99, 0).AsInteger(), 100);

    // Text comes back in UTF-8.
    auto rs = test::rowsOf(db, "SELECT 'Z\u00fcrich \u2013 \u6771\u4eac' AS city");
    EXPECT_EQ(rs->value(0, 0).AsText(), "Z\u00fcrich \u2013 \u6771\u4eac");
}

// Errors carry the driver's diagnostics; the syntax check prepares without running.
TEST_F(OdbcPostgres, ErrorsAndTheSyntaxCheck) {
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT * FROM public.nope", error, 10), nullptr);
    EXPECT_TRUE(error.starts_with("Error\r\n\r\n")) << error;
    EXPECT_NE(error.find("relation \"public.nope\" does not exist"), std::string::npos) << error;
    EXPECT_EQ(db.CheckSQLSyntax("SELECT id FROM public.orders"), "Syntax SQL Query correct");
    std::string message = db.CheckSQLSyntax("SELECT * FORM public.orders");
    EXPECT_TRUE(message.starts_with("Syntax error:\r\n")) << message;
    EXPECT_NE(message.find("syntax error at or near \"FORM\""), std::string::npos) << message;
    EXPECT_EQ(db.CheckSQLSyntax("DELETE FROM public.orders"), "Syntax SQL Query correct");
    EXPECT_EQ(test::rowsOf(db, "SELECT count(*) FROM public.orders")->value(0, 0).AsInteger(), 500);
}

TEST_F(OdbcPostgres, AnErrorInALaterStatementOfABatchIsSeen) {
    auto session = test::sessionOf(db);
    EXPECT_EQ(session->strDbmsName(), "PostgreSQL");
    EXPECT_FALSE(session->SupportsParseOnly());
    session->Execute("SELECT 1; SELECT 2");
    try {
        session->Execute("SELECT 1; SELECT * FROM public.nope");
        ADD_FAILURE() << "the missing table went unnoticed";
    } catch (const DbError& e) {
        EXPECT_NE(std::string(e.what()).find("\"public.nope\" does not exist"), std::string::npos)
            << e.what();
    }
    // The session stays usable after the failure.
    auto rs = session->Query("SELECT 41 + 1", 0);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->value(0, 0).AsInteger(), 42);
}

TEST_F(OdbcPostgres, ResultsAfterAStatementThatChangedNoRowsAreSeen) {
    auto session = test::sessionOf(db);
    session->Execute("CREATE TABLE IF NOT EXISTS public.unchanged (x integer)");
    // A change of no rows answers "no data"; the statements after it still count.
    auto rs = test::rowsOf(db, "UPDATE public.unchanged SET x = x WHERE false; SELECT 7 AS seven");
    ASSERT_EQ(rs->FieldCount(), 1);
    EXPECT_EQ(rs->FieldName(0), "seven");
    EXPECT_EQ(rs->value(0, 0).AsInteger(), 7);
    EXPECT_THROW(session->Execute("DELETE FROM public.unchanged WHERE false; "
                                  "SELECT * FROM public.nope"),
                 DbError);
    // Alone, such a statement gives an empty result.
    EXPECT_EQ(test::rowsOf(db, "DELETE FROM public.unchanged WHERE false")->FieldCount(), 0);
    session->Execute("UPDATE public.unchanged SET x = x WHERE false");
}

TEST_F(OdbcPostgres, AHostilePasswordReachesTheServerIntact) {
    cDbConnection hostile = connection("hostile", kHostilePassword);
    EXPECT_TRUE(hostile.Check(true)) << cDbConnection::LastConnectionError();
    cDbConnection wrong = connection("hostile", "p;w}d={x}=");
    EXPECT_FALSE(wrong.Check(true));
    EXPECT_NE(cDbConnection::LastConnectionError().find("password authentication failed"),
              std::string::npos)
        << cDbConnection::LastConnectionError();
}

TEST_F(OdbcPostgres, OddNamesHugeValuesNullsAndBlobs) {
    auto session = test::sessionOf(db);
    session->Execute("CREATE SCHEMA IF NOT EXISTS \"Zürich 東京\"");
    session->Execute("CREATE TABLE IF NOT EXISTS \"Zürich 東京\".\"it's [x]\" (\"b'c\" integer, "
                     "\"Straße\" text, \"100%_sure\" bytea)");
    session->Execute("TRUNCATE \"Zürich 東京\".\"it's [x]\"");
    session->Execute("INSERT INTO \"Zürich 東京\".\"it's [x]\" VALUES (1, NULL, NULL), "
                     "(2, '', ''::bytea), (3, repeat('é東', 1000000), "
                     "decode(repeat('00ff', 1500000), 'hex'))");
    session.reset();

    auto items = test::splitCommas(db.GetListOfTables());
    EXPECT_TRUE(contains(items, "Zürich 東京.it's [x]"));
    EXPECT_EQ(db.GetListOfFields("Zürich 東京.it's [x]", false), "b'c,Straße,100%_sure");
    EXPECT_EQ(db.GetListOfFields(" Zürich 東京 . it's [x] ", true),
              " Zürich 東京 . it's [x] .b'c, Zürich 東京 . it's [x] .Straße,"
              " Zürich 東京 . it's [x] .100%_sure");
    EXPECT_TRUE(db.IsTheFieldInTheTable("x.100%_sure", "Zürich 東京.it's [x]"));
    // "%" and "_" in a name are no wildcards.
    EXPECT_EQ(db.GetListOfFields("Zürich 東京.it's _x]", false), "");
    EXPECT_EQ(db.GetListOfFields("Zürich%.it's [x]", false), "");

    auto rs = test::rowsOf(
        db,
        "SELECT \"b'c\", \"Straße\", \"100%_sure\" FROM \"Zürich 東京\".\"it's [x]\" ORDER BY 1");
    ASSERT_EQ(rs->RecordCount(), 3);
    EXPECT_EQ(rs->FieldName(1), "Straße");
    EXPECT_TRUE(rs->value(0, 1).IsNull());
    EXPECT_TRUE(rs->value(0, 2).IsNull());
    EXPECT_EQ(rs->value(1, 1).Kind(), DbValueKind::Text);
    EXPECT_EQ(rs->value(1, 1).AsText(), "");
    EXPECT_EQ(rs->value(1, 2).Kind(), DbValueKind::Blob);
    EXPECT_EQ(rs->value(1, 2).AsBlob().size(), 0u);
    // Five-byte pairs of letters across every chunk the driver hands over.
    std::string expected;
    for (int i = 0; i < 1000000; ++i)
        expected += "é東";
    EXPECT_TRUE(rs->value(2, 1).AsText() == expected) << rs->value(2, 1).AsText().size();
    const DbValue blobValue = rs->value(2, 2);
    auto blob = blobValue.AsBlob();
    ASSERT_EQ(blob.size(), 3000000u);
    EXPECT_EQ(blob[0], 0x00);
    EXPECT_EQ(blob[1], 0xFF);
    EXPECT_EQ(blob[2999999], 0xFF);
    auto none = test::rowsOf(db, "SELECT 1 AS one WHERE false");
    EXPECT_EQ(none->FieldCount(), 1);
    EXPECT_EQ(none->RecordCount(), 0);
}

TEST_F(OdbcPostgres, NoServiceLeavesAConnectionOpen) {
    // Client sessions other than the one that asks; a session that has just disconnected may
    // take a moment to leave the server's list, so the count is asked again until it is the
    // expected one or a few seconds have passed.
    auto others = [this](std::int64_t expected) {
        std::string error;
        std::int64_t n = -1;
        for (int attempt = 0; attempt < 100; ++attempt) {
            auto rs = db.FireQuery("SELECT count(*) FROM pg_stat_activity WHERE backend_type = "
                                   "'client backend' AND pid <> pg_backend_pid()",
                                   error, 0);
            if (!rs)
                return std::int64_t{-1};
            n = rs->value(0, 0).AsInteger();
            if (n == expected)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return n;
    };
    {
        // The probe sees an open connection.
        auto session = test::sessionOf(db);
        ASSERT_EQ(others(1), 1);
    }
    EXPECT_EQ(others(0), 0);
    EXPECT_NE(db.GetListOfTables(), "");
    EXPECT_NE(db.GetListOfFields("sales.orders", true), "");
    EXPECT_TRUE(db.IsTheFieldInTheTable("region", "sales.orders"));
    EXPECT_EQ(db.GetForeignKeys("shop.routes").size(), 4u);
    EXPECT_EQ(db.CheckSQLSyntax("SELECT 1"), "Syntax SQL Query correct");
    EXPECT_NE(db.CheckSQLSyntax("SELECT * FORM x"), "Syntax SQL Query correct");
    EXPECT_TRUE(db.Check(true));
    std::string error;
    EXPECT_EQ(db.FireQuery("SELECT * FROM public.nope", error, 0), nullptr);
    auto rs = test::rowsOf(db, "SELECT id FROM public.orders ORDER BY id", 3);
    EXPECT_EQ(others(0), 0);
    EXPECT_EQ(rs->RecordCount(), 3);
    EXPECT_EQ(rs->value(2, 0).AsInteger(), 3);
}

TEST_F(OdbcPostgres, AStoppedServerGivesTheFixedTexts) {
    cDbConnection closed = db;
    closed.setStrConnectionString("DRIVER={PostgreSQL ANSI};SERVER=127.0.0.1;CommLog=0;PORT=1");
    test::expectNoConnection(closed);
}

TEST_F(OdbcPostgres, ARunningQueryIsCancelledFromAnotherThread) {
    DbCancellation cancellation;
    auto call = std::async(std::launch::async, [this, &cancellation] {
        std::string error;
        auto rows = db.FireQuery("SELECT pg_sleep(120)", error, 1, &cancellation);
        return std::make_pair(rows, error);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    cancellation.Cancel();
    // The server would sleep for two minutes: coming back at all is the proof.
    ASSERT_EQ(call.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    const auto [rows, error] = call.get();
    EXPECT_EQ(rows, nullptr);
    EXPECT_EQ(error, kCancelledText);
    std::string error2;
    EXPECT_TRUE(db.FireQuery("SELECT 1", error2, 1)) << error2;
}

} // namespace
} // namespace marovin
