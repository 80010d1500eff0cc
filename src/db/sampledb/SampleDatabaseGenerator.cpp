#include "SampleDatabaseGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <sqlite3.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace marovin {

namespace {

// A small deterministic generator (splitmix64): the same seed gives the same data everywhere.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}
    std::uint64_t next() {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    // A whole number from lo to hi, both included.
    std::int64_t between(std::int64_t lo, std::int64_t hi) {
        return lo + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(hi - lo + 1));
    }
    double unit() { return static_cast<double>(next() >> 11) / 9007199254740992.0; }
    template <std::size_t N> const char* pick(const std::array<const char*, N>& items) {
        return items[next() % N];
    }

private:
    std::uint64_t m_state;
};

constexpr std::array<const char*, 24> kFirstNames{
    "Anna", "Bruno", "Clara", "David", "Elena", "Felix",  "Greta", "Hugo",
    "Ines", "Jonas", "Karla", "Lukas", "Maria", "Nils",   "Olga",  "Pablo",
    "Rosa", "Simon", "Tessa", "Ugo",   "Vera",  "Walter", "Xenia", "Yann"};
constexpr std::array<const char*, 24> kLastNames{
    "Andersen", "Bauer",  "Costa",  "Dubois", "Eriksen", "Fischer", "Garcia", "Hansen",
    "Ivanova",  "Jensen", "Keller", "Lopez",  "Moreau",  "Novak",   "Olsen",  "Petrov",
    "Quinn",    "Rossi",  "Silva",  "Torres", "Urban",   "Vogel",   "Weber",  "Young"};
constexpr std::array<const char*, 16> kCompanyWords{
    "Alpine", "Harbor", "Golden", "Northern", "Royal",  "Sunny", "Green", "Silver",
    "Blue",   "Corner", "Valley", "Eastern",  "Little", "Grand", "Old",   "Bright"};
constexpr std::array<const char*, 12> kCompanyKinds{
    "Traders", "Markt",  "Delicatessen", "Foods",  "Imports", "Provisions",
    "Grocers", "Handel", "Supplies",     "Pantry", "Market",  "Store"};
constexpr std::array<const char*, 10> kTitles{"Sales Representative", "Owner",
                                              "Marketing Manager",    "Accounting Manager",
                                              "Purchasing Agent",     "Order Administrator",
                                              "Sales Agent",          "Sales Manager",
                                              "Marketing Assistant",  "Export Administrator"};
struct Place {
    const char* city;
    const char* region; // nullptr: no region
    const char* country;
};
constexpr std::array<Place, 20> kPlaces{{{"Berlin", nullptr, "Germany"},
                                         {"Hamburg", nullptr, "Germany"},
                                         {"London", nullptr, "UK"},
                                         {"Cowes", "Isle of Wight", "UK"},
                                         {"Madrid", nullptr, "Spain"},
                                         {"Sevilla", nullptr, "Spain"},
                                         {"Lyon", nullptr, "France"},
                                         {"Nantes", nullptr, "France"},
                                         {"Torino", nullptr, "Italy"},
                                         {"Bergamo", nullptr, "Italy"},
                                         {"Seattle", "WA", "USA"},
                                         {"Portland", "OR", "USA"},
                                         {"Boise", "ID", "USA"},
                                         {"Vancouver", "BC", "Canada"},
                                         {"Montreal", "Quebec", "Canada"},
                                         {"Sao Paulo", "SP", "Brazil"},
                                         {"Buenos Aires", nullptr, "Argentina"},
                                         {"Mexico City", nullptr, "Mexico"},
                                         {"Oulu", nullptr, "Finland"},
                                         {"Graz", nullptr, "Austria"}}};
constexpr std::array<const char*, 8> kCategories{"Beverages",      "Condiments",     "Confections",
                                                 "Dairy Products", "Grains/Cereals", "Meat/Poultry",
                                                 "Produce",        "Seafood"};
constexpr std::array<const char*, 8> kCategoryDescriptions{
    "Soft drinks, coffees, teas, beers, and ales",
    "Sweet and savory sauces, relishes, spreads, and seasonings",
    "Desserts, candies, and sweet breads",
    "Cheeses",
    "Breads, crackers, pasta, and cereal",
    "Prepared meats",
    "Dried fruit and bean curd",
    "Seaweed and fish"};
constexpr std::array<const char*, 16> kProductWords{
    "Tea",   "Syrup", "Seasoning", "Sauce",  "Spread",    "Pears",  "Cheese", "Tofu",
    "Bread", "Pasta", "Crab",      "Salmon", "Chocolate", "Coffee", "Ale",    "Biscuits"};
constexpr std::array<const char*, 6> kPacking{
    "10 boxes x 20 bags", "24 - 12 oz bottles", "12 - 550 ml bottles",
    "48 - 6 oz jars",     "36 boxes",           "1 kg pkg."};
constexpr std::array<double, 6> kDiscounts{0.0, 0.05, 0.1, 0.15, 0.2, 0.25};

const char* const kSchema = R"sql(
CREATE TABLE Categories (
    CategoryID integer PRIMARY KEY,
    CategoryName nvarchar(15) NOT NULL,
    Description ntext,
    Picture image);
CREATE TABLE Suppliers (
    SupplierID integer PRIMARY KEY,
    CompanyName nvarchar(40) NOT NULL,
    ContactName nvarchar(30),
    ContactTitle nvarchar(30),
    Address nvarchar(60),
    City nvarchar(15),
    Region nvarchar(15),
    PostalCode nvarchar(10),
    Country nvarchar(15),
    Phone nvarchar(24),
    Fax nvarchar(24),
    HomePage ntext);
CREATE TABLE Shippers (
    ShipperID integer PRIMARY KEY AUTOINCREMENT,
    CompanyName nvarchar(40) NOT NULL,
    Phone nvarchar(24));
CREATE TABLE Region (
    RegionID integer PRIMARY KEY,
    RegionDescription nchar(50) NOT NULL);
CREATE TABLE Territories (
    TerritoryID nvarchar(20) PRIMARY KEY,
    TerritoryDescription nchar(50) NOT NULL,
    RegionID integer NOT NULL REFERENCES Region (RegionID));
CREATE TABLE Employees (
    EmployeeID integer PRIMARY KEY,
    LastName nvarchar(20) NOT NULL,
    FirstName nvarchar(10) NOT NULL,
    Title nvarchar(30),
    TitleOfCourtesy nvarchar(25),
    BirthDate datetime,
    HireDate datetime,
    Address nvarchar(60),
    City nvarchar(15),
    Region nvarchar(15),
    PostalCode nvarchar(10),
    Country nvarchar(15),
    HomePhone nvarchar(24),
    Extension nvarchar(4),
    Notes ntext,
    ReportsTo integer REFERENCES Employees (EmployeeID));
CREATE TABLE EmployeeTerritories (
    EmployeeID integer NOT NULL REFERENCES Employees (EmployeeID),
    TerritoryID nvarchar(20) NOT NULL REFERENCES Territories (TerritoryID),
    PRIMARY KEY (EmployeeID, TerritoryID));
CREATE TABLE Customers (
    CustomerID nchar(5) PRIMARY KEY,
    CompanyName nvarchar(40) NOT NULL,
    ContactName nvarchar(30),
    ContactTitle nvarchar(30),
    Address nvarchar(60),
    City nvarchar(15),
    Region nvarchar(15),
    PostalCode nvarchar(10),
    Country nvarchar(15),
    Phone nvarchar(24),
    Fax nvarchar(24));
CREATE TABLE Products (
    ProductID integer PRIMARY KEY,
    ProductName nvarchar(40) NOT NULL,
    SupplierID integer REFERENCES Suppliers (SupplierID),
    CategoryID integer REFERENCES Categories (CategoryID),
    QuantityPerUnit nvarchar(20),
    UnitPrice money DEFAULT 0,
    UnitsInStock smallint DEFAULT 0,
    UnitsOnOrder smallint DEFAULT 0,
    ReorderLevel smallint DEFAULT 0,
    Discontinued bit NOT NULL DEFAULT 0);
CREATE TABLE Orders (
    OrderID integer PRIMARY KEY,
    CustomerID nchar(5) REFERENCES Customers (CustomerID),
    EmployeeID integer REFERENCES Employees (EmployeeID),
    OrderDate datetime,
    RequiredDate datetime,
    ShippedDate datetime,
    ShipVia integer REFERENCES Shippers (ShipperID),
    Freight money DEFAULT 0,
    ShipName nvarchar(40),
    ShipAddress nvarchar(60),
    ShipCity nvarchar(15),
    ShipRegion nvarchar(15),
    ShipPostalCode nvarchar(10),
    ShipCountry nvarchar(15));
CREATE TABLE "Order Details" (
    OrderID integer NOT NULL REFERENCES Orders (OrderID),
    ProductID integer NOT NULL REFERENCES Products (ProductID),
    UnitPrice money NOT NULL DEFAULT 0,
    Quantity smallint NOT NULL DEFAULT 1,
    Discount real NOT NULL DEFAULT 0,
    PRIMARY KEY (OrderID, ProductID));
CREATE INDEX OrdersCustomerID ON Orders (CustomerID);
CREATE INDEX OrdersEmployeeID ON Orders (EmployeeID);
CREATE INDEX OrderDetailsProductID ON "Order Details" (ProductID);
CREATE INDEX ProductsCategoryID ON Products (CategoryID);
CREATE VIEW "Order Details Extended" AS
    SELECT "Order Details".OrderID, "Order Details".ProductID, Products.ProductName,
           "Order Details".UnitPrice, "Order Details".Quantity, "Order Details".Discount,
           ROUND("Order Details".UnitPrice * "Order Details".Quantity
                 * (1 - "Order Details".Discount), 2) AS ExtendedPrice
    FROM Products INNER JOIN "Order Details" ON Products.ProductID = "Order Details".ProductID;
CREATE VIEW "Order Subtotals" AS
    SELECT OrderID, SUM(UnitPrice * Quantity * (1 - Discount)) AS Subtotal
    FROM "Order Details" GROUP BY OrderID;
CREATE VIEW "Products Above Average Price" AS
    SELECT ProductName, UnitPrice FROM Products
    WHERE UnitPrice > (SELECT AVG(UnitPrice) FROM Products);
CREATE VIEW "Current Product List" AS
    SELECT ProductID, ProductName FROM Products WHERE Discontinued = 0;
CREATE VIEW "Customer and Suppliers by City" AS
    SELECT City, CompanyName, ContactName, 'Customers' AS Relationship FROM Customers
    UNION SELECT City, CompanyName, ContactName, 'Suppliers' FROM Suppliers;
)sql";

// Throws with SQLite's message; Write turns it into its error text.
class Db {
public:
    explicit Db(const std::string& path) {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK) {
            std::string msg = m_db ? sqlite3_errmsg(m_db) : "out of memory";
            sqlite3_close(m_db);
            throw std::runtime_error(msg);
        }
    }
    ~Db() { sqlite3_close(m_db); }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;
    void exec(const std::string& sql) {
        char* err = nullptr;
        if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
            std::string msg = err ? err : sqlite3_errmsg(m_db);
            sqlite3_free(err);
            throw std::runtime_error(msg);
        }
    }
    sqlite3* get() const { return m_db; }

private:
    sqlite3* m_db = nullptr;
};

// One INSERT statement with its parameters bound by position (from 1) and run per row.
class Insert {
public:
    Insert(Db& db, const std::string& sql) : m_db(db) {
        if (sqlite3_prepare_v2(db.get(), sql.c_str(), -1, &m_stmt, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(db.get()));
    }
    ~Insert() { sqlite3_finalize(m_stmt); }
    Insert(const Insert&) = delete;
    Insert& operator=(const Insert&) = delete;
    Insert& text(int i, const std::string& v) {
        sqlite3_bind_text(m_stmt, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Insert& text(int i, const char* v) {
        if (v)
            sqlite3_bind_text(m_stmt, i, v, -1, SQLITE_STATIC);
        else
            sqlite3_bind_null(m_stmt, i);
        return *this;
    }
    Insert& integer(int i, std::int64_t v) {
        sqlite3_bind_int64(m_stmt, i, v);
        return *this;
    }
    Insert& real(int i, double v) {
        sqlite3_bind_double(m_stmt, i, v);
        return *this;
    }
    Insert& null(int i) {
        sqlite3_bind_null(m_stmt, i);
        return *this;
    }
    Insert& blob(int i, const std::vector<unsigned char>& v) {
        sqlite3_bind_blob(m_stmt, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    void run() {
        if (sqlite3_step(m_stmt) != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(m_db.get()));
        sqlite3_reset(m_stmt);
        sqlite3_clear_bindings(m_stmt);
    }

private:
    Db& m_db;
    sqlite3_stmt* m_stmt = nullptr;
};

// Days since 1970-01-01 as "YYYY-MM-DD 00:00:00.000".
std::string dateText(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto doe = static_cast<unsigned>(days - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    std::int64_t y = static_cast<std::int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
    char buf[80];
    std::snprintf(buf, sizeof buf, "%04lld-%02u-%02u 00:00:00.000", static_cast<long long>(y), m,
                  d);
    return buf;
}

constexpr std::int64_t kFirstOrderDay = 9681; // 1996-07-04

std::string customerId(std::int32_t index) {
    // Five distinct capital letters per index: a bijection of 0..26^5-1 spread by a multiplier
    // prime to 26.
    std::uint64_t v = (static_cast<std::uint64_t>(index) * 7919 + 1234) % 11881376;
    std::string id(5, 'A');
    for (int i = 4; i >= 0; --i) {
        id[static_cast<std::size_t>(i)] = static_cast<char>('A' + v % 26);
        v /= 26;
    }
    return id;
}

std::string phone(Random& rnd) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "(%03lld) %03lld-%04lld",
                  static_cast<long long>(rnd.between(100, 999)),
                  static_cast<long long>(rnd.between(100, 999)),
                  static_cast<long long>(rnd.between(0, 9999)));
    return buf;
}

std::string address(Random& rnd) {
    return std::to_string(rnd.between(1, 250)) + " " + rnd.pick(kLastNames) + " Street";
}

double money(double v) {
    return std::round(v * 100.0) / 100.0;
}

void writeAll(Db& db, const SampleDatabaseGenerator::Options& o) {
    Random rnd(0x4D61726F76696EULL);
    db.exec(kSchema);

    Insert category(db, "INSERT INTO Categories VALUES (?1, ?2, ?3, ?4)");
    for (std::size_t i = 0; i < kCategories.size(); ++i) {
        std::vector<unsigned char> picture{0x42, 0x4D, static_cast<unsigned char>(i)};
        category.integer(1, static_cast<std::int64_t>(i + 1))
            .text(2, kCategories[i])
            .text(3, kCategoryDescriptions[i])
            .blob(4, picture)
            .run();
    }

    const std::int32_t supplierCount = 29;
    Insert supplier(db, "INSERT INTO Suppliers VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
                        "?11, ?12)");
    for (std::int32_t i = 1; i <= supplierCount; ++i) {
        const Place& p = kPlaces[rnd.next() % kPlaces.size()];
        supplier.integer(1, i)
            .text(2, std::string(rnd.pick(kCompanyWords)) + " " + rnd.pick(kCompanyKinds))
            .text(3, std::string(rnd.pick(kFirstNames)) + " " + rnd.pick(kLastNames))
            .text(4, rnd.pick(kTitles))
            .text(5, address(rnd))
            .text(6, p.city)
            .text(7, p.region)
            .text(8, std::to_string(rnd.between(10000, 99999)))
            .text(9, p.country)
            .text(10, phone(rnd));
        if (i % 3 == 0)
            supplier.text(11, phone(rnd));
        else
            supplier.null(11);
        supplier.null(12).run();
    }

    Insert shipper(db, "INSERT INTO Shippers (CompanyName, Phone) VALUES (?1, ?2)");
    for (const char* name : {"Speedy Express", "United Package", "Federal Shipping"})
        shipper.text(1, name).text(2, phone(rnd)).run();

    Insert region(db, "INSERT INTO Region VALUES (?1, ?2)");
    const std::array<const char*, 4> regions{"Eastern", "Western", "Northern", "Southern"};
    for (std::size_t i = 0; i < regions.size(); ++i)
        region.integer(1, static_cast<std::int64_t>(i + 1)).text(2, regions[i]).run();

    Insert territory(db, "INSERT INTO Territories VALUES (?1, ?2, ?3)");
    const std::int32_t territoryCount = 53;
    for (std::int32_t i = 0; i < territoryCount; ++i) {
        territory.text(1, std::to_string(1000 + i * 37))
            .text(2, kPlaces[static_cast<std::size_t>(i) % kPlaces.size()].city)
            .integer(3, i % 4 + 1)
            .run();
    }

    const std::int32_t employeeCount = 9;
    Insert employee(db, "INSERT INTO Employees VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
                        "?11, ?12, ?13, ?14, ?15, ?16)");
    for (std::int32_t i = 1; i <= employeeCount; ++i) {
        const Place& p = kPlaces[static_cast<std::size_t>(i) % 4 + 10];
        employee.integer(1, i)
            .text(2, kLastNames[static_cast<std::size_t>(i * 5) % kLastNames.size()])
            .text(3, kFirstNames[static_cast<std::size_t>(i * 7) % kFirstNames.size()])
            .text(4, i == 2   ? "Vice President, Sales"
                     : i == 5 ? "Sales Manager"
                              : "Sales Representative")
            .text(5, i % 2 ? "Ms." : "Mr.")
            .text(6, dateText(-7000 + rnd.between(0, 9000)))
            .text(7, dateText(8000 + rnd.between(0, 1000)))
            .text(8, address(rnd))
            .text(9, p.city)
            .text(10, p.region)
            .text(11, std::to_string(rnd.between(10000, 99999)))
            .text(12, p.country)
            .text(13, phone(rnd))
            .text(14, std::to_string(rnd.between(1000, 9999)))
            .text(15, "Joined the company as a sales representative.");
        if (i == 2)
            employee.null(16);
        else
            employee.integer(16, i <= 5 ? 2 : 5);
        employee.run();
    }
    Insert employeeTerritory(db, "INSERT INTO EmployeeTerritories VALUES (?1, ?2)");
    for (std::int32_t t = 0; t < territoryCount; ++t)
        employeeTerritory.integer(1, t % employeeCount + 1)
            .text(2, std::to_string(1000 + t * 37))
            .run();

    Insert customer(db, "INSERT INTO Customers VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
                        "?11)");
    std::vector<std::string> customerIds;
    for (std::int32_t i = 0; i < o.customers; ++i) {
        const Place& p = kPlaces[rnd.next() % kPlaces.size()];
        customerIds.push_back(customerId(i));
        customer.text(1, customerIds.back())
            .text(2, std::string(rnd.pick(kCompanyWords)) + " " + rnd.pick(kCompanyKinds) + " " +
                         std::to_string(i + 1))
            .text(3, std::string(rnd.pick(kFirstNames)) + " " + rnd.pick(kLastNames))
            .text(4, rnd.pick(kTitles))
            .text(5, address(rnd))
            .text(6, p.city)
            .text(7, p.region)
            .text(8, std::to_string(rnd.between(10000, 99999)))
            .text(9, p.country)
            .text(10, phone(rnd));
        // Fax: a number, an empty text or NULL, so that NULL and "" both occur.
        switch (i % 3) {
        case 0:
            customer.text(11, phone(rnd));
            break;
        case 1:
            customer.text(11, "");
            break;
        default:
            customer.null(11);
        }
        customer.run();
    }

    Insert product(db, "INSERT INTO Products VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)");
    std::vector<double> prices;
    for (std::int32_t i = 1; i <= o.products; ++i) {
        double price = money(2.5 + rnd.unit() * 120.0);
        prices.push_back(price);
        product.integer(1, i)
            .text(2, std::string(rnd.pick(kCompanyWords)) + " " + rnd.pick(kProductWords) + " " +
                         std::to_string(i))
            .integer(3, rnd.between(1, supplierCount))
            .integer(4, rnd.between(1, static_cast<std::int64_t>(kCategories.size())))
            .text(5, rnd.pick(kPacking))
            .real(6, price)
            .integer(7, rnd.between(0, 120))
            .integer(8, rnd.between(0, 4) * 10)
            .integer(9, rnd.between(0, 6) * 5)
            .integer(10, i % 11 == 0 ? 1 : 0)
            .run();
    }

    Insert order(db, "INSERT INTO Orders VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
                     "?12, ?13, ?14)");
    Insert line(db, "INSERT INTO \"Order Details\" VALUES (?1, ?2, ?3, ?4, ?5)");
    // About 2.6 lines per order, spread over two years whatever the size.
    const std::int64_t expectedOrders = std::max<std::int64_t>(1, o.orderLines * 10 / 26);
    std::int64_t written = 0;
    std::int64_t orderId = 10248;
    std::vector<std::int64_t> chosen;
    for (std::int64_t n = 0; written < o.orderLines; ++n, ++orderId) {
        const std::string& cust = customerIds[rnd.next() % customerIds.size()];
        const Place& p = kPlaces[rnd.next() % kPlaces.size()];
        std::int64_t day = kFirstOrderDay + n * 670 / expectedOrders;
        order.integer(1, orderId)
            .text(2, cust)
            .integer(3, rnd.between(1, employeeCount))
            .text(4, dateText(day))
            .text(5, dateText(day + 28));
        if (rnd.between(0, 29) == 0)
            order.null(6); // not shipped yet
        else
            order.text(6, dateText(day + rnd.between(1, 20)));
        order.integer(7, rnd.between(1, 3))
            .real(8, money(rnd.unit() * 300.0 + 0.02))
            .text(9, std::string(rnd.pick(kCompanyWords)) + " " + rnd.pick(kCompanyKinds))
            .text(10, address(rnd))
            .text(11, p.city)
            .text(12, p.region)
            .text(13, std::to_string(rnd.between(10000, 99999)))
            .text(14, p.country)
            .run();
        // 1 to 5 different products per order (never more than there are products).
        std::int64_t lines =
            std::min<std::int64_t>({rnd.between(1, 4) + (rnd.between(0, 4) == 0),
                                    o.orderLines - written, static_cast<std::int64_t>(o.products)});
        chosen.clear();
        while (static_cast<std::int64_t>(chosen.size()) < lines) {
            std::int64_t pid = rnd.between(1, o.products);
            if (std::find(chosen.begin(), chosen.end(), pid) != chosen.end())
                continue;
            chosen.push_back(pid);
            line.integer(1, orderId)
                .integer(2, pid)
                .real(3, prices[static_cast<std::size_t>(pid - 1)])
                .integer(4, rnd.between(1, 120))
                .real(5, kDiscounts[rnd.next() % kDiscounts.size()])
                .run();
        }
        written += lines;
    }

    if (o.wideColumns > 0) {
        std::string sql = "CREATE TABLE WideTable (Id integer PRIMARY KEY";
        char name[32];
        for (std::int32_t c = 1; c <= o.wideColumns; ++c) {
            std::snprintf(name, sizeof name, ", Col%04d integer", static_cast<int>(c));
            sql += name;
        }
        db.exec(sql + ")");
        db.exec("INSERT INTO WideTable (Id) VALUES (1), (2), (3)");
    }
    if (o.extraTables > 0) {
        char sql[128];
        for (std::int32_t t = 1; t <= o.extraTables; ++t) {
            std::snprintf(sql, sizeof sql,
                          "CREATE TABLE Extra%06d (Id integer PRIMARY KEY, Name nvarchar(40))",
                          static_cast<int>(t));
            db.exec(sql);
        }
    }
}

// Views have no pages of their own, so their schema rows can be written directly; the next
// connection reads them like any other view.
void writeViews(Db& db, std::int32_t count) {
    db.exec("BEGIN; PRAGMA writable_schema = ON");
    Insert view(db, "INSERT INTO sqlite_schema (type, name, tbl_name, rootpage, sql) "
                    "VALUES ('view', ?1, ?1, 0, ?2)");
    char name[32];
    for (std::int32_t v = 1; v <= count; ++v) {
        std::snprintf(name, sizeof name, "ExtraView%06d", static_cast<int>(v));
        view.text(1, std::string(name))
            .text(2, "CREATE VIEW " + std::string(name) + " AS SELECT 1 AS Id")
            .run();
    }
    db.exec("PRAGMA writable_schema = OFF; COMMIT");
}

} // namespace

SampleDatabaseGenerator::Options SampleDatabaseGenerator::Large() {
    Options o;
    o.orderLines = 1'000'000;
    o.customers = 5000;
    o.products = 1000;
    return o;
}

bool SampleDatabaseGenerator::Write(const std::string& path, std::string& error) const {
    if (m_options.customers <= 0 || m_options.products <= 0 || m_options.orderLines < 0) {
        error = "customers and products must be at least 1, order lines at least 0";
        return false;
    }
    std::string temp = path + ".tmp" + std::to_string(::getpid());
    std::remove(temp.c_str());
    try {
        {
            Db db(temp);
            db.exec("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
            writeAll(db, m_options);
            db.exec("COMMIT");
            if (m_options.extraViews > 0)
                writeViews(db, m_options.extraViews);
        }
        if (std::rename(temp.c_str(), path.c_str()) != 0)
            throw std::runtime_error("cannot rename " + temp + " to " + path);
    } catch (const std::exception& e) {
        std::remove(temp.c_str());
        error = e.what();
        return false;
    }
    return true;
}

} // namespace marovin
