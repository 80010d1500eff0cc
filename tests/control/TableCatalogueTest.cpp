// The table list read off the user-interface thread: entries shown as they arrive, the cache on
// disk shown at once and checked against the database, loads that wait for the whole list, and
// the user stopping the reading.

#include "ControlHarness.h"
#include "marovin/CatalogueCache.h"

#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace marovin;
using namespace marovin::test;

namespace {

constexpr int kViews = 30000;

// A database with one table and many views, written straight into the schema table (a view
// takes no pages of its own), which is far quicker than creating them one by one; reading its
// catalogue takes long enough to watch the list fill.
class LargeCatalogue : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = new QTemporaryDir;
        s_path = (s_dir->path() + "/large.sqlite").toStdString();
        writeViews(s_path, kViews);
    }
    static void writeViews(const std::string& path, int views) {
        WriteSqliteFile(path, "CREATE TABLE base(a INTEGER, b TEXT);"
                              "PRAGMA writable_schema = ON;"
                              "INSERT INTO sqlite_schema (type, name, tbl_name, rootpage, sql) "
                              "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                              "WHERE i < " +
                                  std::to_string(views) +
                                  ") SELECT 'view', printf('V%06d', i), printf('V%06d', i), 0, "
                                  "printf('CREATE VIEW V%06d AS SELECT a FROM base', i) FROM n;"
                                  "PRAGMA writable_schema = OFF;"
                                  "PRAGMA schema_version = 1000;");
    }
    static void TearDownTestSuite() {
        delete s_dir;
        s_dir = nullptr;
    }

    void SetUp() override { ASSERT_TRUE(m_cacheDir.isValid()); }

    std::shared_ptr<cDbConnection> connection(const std::string& path = s_path) const {
        return SqliteConnection(path);
    }
    std::shared_ptr<CatalogueCache> cache() const {
        return std::make_shared<CatalogueCache>(m_cacheDir.path().toStdString());
    }
    // A control on the large database with its own cache folder, not yet given a query.
    std::unique_ptr<uscMarovin> control(std::shared_ptr<CatalogueCache> catalogueCache,
                                        const std::string& path = s_path) {
        PlatformServices services;
        services.messageBox = m_box;
        services.settings = std::make_shared<MemorySettingsStore>();
        services.settings->SaveSetting("QueryBuilder", "AutoJoin", "False");
        services.clipboard = std::make_shared<MemoryClipboard>();
        auto result = std::make_unique<uscMarovin>(nullptr, services);
        result->setCatalogueCache(std::move(catalogueCache));
        result->resize(1280, 900);
        result->show();
        result->setDatabaseObject(connection(path));
        return result;
    }

    static QTemporaryDir* s_dir;
    static std::string s_path;
    QTemporaryDir m_cacheDir;
    std::shared_ptr<ScriptedMessageBox> m_box = std::make_shared<ScriptedMessageBox>();
};

QTemporaryDir* LargeCatalogue::s_dir = nullptr;
std::string LargeCatalogue::s_path;

std::shared_ptr<cSQLQuery> queryOf(const std::string& xml) {
    auto query = std::make_shared<cSQLQuery>();
    query->LoadXmlText(xml);
    return query;
}

QString countText(const uscMarovin& control) {
    return control.findChild<QLabel*>("lblTableCount")->text();
}

// What the count says to assistive technology, with the state of the reading.
QString countAccessibleName(const uscMarovin& control) {
    return control.findChild<QLabel*>("lblTableCount")->accessibleName();
}

} // namespace

TEST_F(LargeCatalogue, AQueryWithoutTablesIsShownAtOnceWhileTheListFillsBehindIt) {
    auto c = control(cache());
    c->setSQLQueryObject(std::make_shared<cSQLQuery>());
    // The call came back before the list was read; the pane says so and offers to stop.
    EXPECT_TRUE(c->blnReadingTableList());
    EXPECT_TRUE(c->findChild<QProgressBar*>("prgTables")->isVisibleTo(c.get()));
    EXPECT_TRUE(c->findChild<QToolButton*>("cmdCancelTables")->isVisibleTo(c.get()));
    EXPECT_FALSE(c->findChild<QToolButton*>("cmdRefreshTables")->isVisibleTo(c.get()));
    EXPECT_EQ(countAccessibleName(*c), countText(*c) + ", reading...");

    // The event loop keeps running while the catalogue is read.
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(5);
    WaitForTableList(*c);
    EXPECT_GT(ticks, 0);

    const QStringList entries = TableEntries(*c);
    ASSERT_EQ(entries.size(), kViews + 1);
    EXPECT_EQ(entries.first(), "dbo.base");
    EXPECT_EQ(entries.last(), "dbo.V030000");
    EXPECT_EQ(countText(*c), "30001 tables");
    EXPECT_FALSE(c->findChild<QProgressBar*>("prgTables")->isVisibleTo(c.get()));
    EXPECT_TRUE(c->findChild<QToolButton*>("cmdRefreshTables")->isVisibleTo(c.get()));

    // The search works over the whole list; views left out are left out of the search too.
    auto* search = c->findChild<QLineEdit*>("txtTableFilter");
    QTest::keyClicks(search, "v0299");
    EXPECT_EQ(TableEntries(*c).size(), 100);
    EXPECT_EQ(countText(*c), "100 of 30001");
    QCheckBox* views = c->findChild<QCheckBox*>("chkAlsoListViews");
    QTest::mouseClick(views, Qt::LeftButton, {}, QPoint(5, views->height() / 2));
    EXPECT_TRUE(TableEntries(*c).isEmpty());
    EXPECT_EQ(countText(*c), "0 of 1");
}

TEST_F(LargeCatalogue, StoppingTheReadingKeepsWhatArrivedAndRefreshReadsItAgain) {
    auto c = control(cache());
    c->setSQLQueryObject(std::make_shared<cSQLQuery>());
    ASSERT_TRUE(c->blnReadingTableList());
    auto* stop = c->findChild<QToolButton*>("cmdCancelTables");
    QTest::mouseClick(stop, Qt::LeftButton, {}, stop->rect().center());
    EXPECT_FALSE(c->blnReadingTableList());
    EXPECT_TRUE(countText(*c).endsWith("stopped")) << countText(*c).toStdString();
    // Nothing that was still on its way arrives afterwards.
    QTest::qWait(50);
    EXPECT_LT(TableEntries(*c).size(), kViews + 1);

    // Ctrl+R in the list reads it again, completely.
    auto* list = c->findChild<QListView*>("lstTables");
    list->setFocus();
    QTest::keyClick(list, Qt::Key_R, Qt::ControlModifier);
    EXPECT_TRUE(c->blnReadingTableList());
    EXPECT_EQ(TableEntries(*c).size(), kViews + 1);
}

TEST_F(LargeCatalogue, TheCacheFillsTheListAtOnceAndTheDatabaseHasTheLastWord) {
    auto catalogueCache = cache();
    // A cache that matches the database's present state is shown as it is: nothing is listed.
    Catalogue kept;
    kept.strStamp = connection()->GetCatalogueStamp();
    ASSERT_FALSE(kept.strStamp.empty());
    kept.lngListedAt = 1;
    kept.tables = {{"dbo", "FromCache", "TABLE"}, {"dbo", "base", "TABLE"}};
    ASSERT_TRUE(catalogueCache->Save(*connection(), kept));
    {
        auto c = control(catalogueCache);
        c->setSQLQueryObject(std::make_shared<cSQLQuery>());
        EXPECT_EQ(TableEntries(*c), (QStringList{"dbo.FromCache", "dbo.base"}));
    }

    // A cache of an older state is shown first and replaced by what the database lists.
    kept.strStamp = "sqlite:1";
    ASSERT_TRUE(catalogueCache->Save(*connection(), kept));
    auto c = control(catalogueCache);
    QSignalSpy changed(c.get(), &uscMarovin::Changed);
    c->setSQLQueryObject(std::make_shared<cSQLQuery>());
    auto* list = c->findChild<QListView*>("lstTables");
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->model()->rowCount() > 0; }, 5000));
    EXPECT_EQ(list->model()->index(0, 0).data().toString(), "dbo.FromCache");
    const QStringList entries = TableEntries(*c);
    EXPECT_EQ(entries.size(), kViews + 1);
    EXPECT_FALSE(entries.contains("dbo.FromCache"));
    EXPECT_EQ(changed.count(), 0); // the list is not an edit of the query
    // The cache now holds the fresh list under the present stamp.
    const auto stored = catalogueCache->Load(*connection());
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->strStamp, connection()->GetCatalogueStamp());
    EXPECT_EQ(stored->tables.size(), static_cast<std::size_t>(kViews + 2)); // + sqlite_schema
}

TEST_F(LargeCatalogue, ALoadWaitsForTheFreshListAndLeavesOutOnlyWhatTheDatabaseLacks) {
    auto catalogueCache = cache();
    Catalogue kept;
    kept.strStamp = "sqlite:1";
    kept.lngListedAt = 1;
    kept.tables = {{"dbo", "Gone", "TABLE"}, {"dbo", "base", "TABLE"}};
    ASSERT_TRUE(catalogueCache->Save(*connection(), kept));
    auto c = control(catalogueCache);
    auto query = queryOf(
        QueryDocument().table("dbo.base").table("dbo.Gone").item("base.a", "").item("Gone.x", ""));
    c->setSQLQueryObject(query);
    EXPECT_FALSE(c->blnReadingTableList());
    EXPECT_EQ(c->missingTables(), QStringList{"dbo.Gone"});
    auto* diagram = c->findChild<dvTablesAndJoins*>("dvTablesAndJoins");
    EXPECT_EQ(diagram->tableAliases(), QStringList{"base"});
    EXPECT_EQ(diagram->tableColumns("base"), (QStringList{"a", "b"}));
    EXPECT_NE(c->strSQL().find("FROM \r\n     dbo.base AS base"), std::string::npos);
    EXPECT_EQ(c->strSQL().find("Gone"), std::string::npos);
}

TEST_F(LargeCatalogue, CancellingTheWaitOfALoadKeepsTheQueryBefore) {
    // A larger catalogue, so that reading it outlasts the delay before the busy indicator; the
    // query before is loaded from a cache that matches the database.
    const std::string path = (m_cacheDir.path() + "/larger.sqlite").toStdString();
    writeViews(path, 2 * kViews);
    auto catalogueCache = cache();
    ASSERT_TRUE(
        catalogueCache->Save(*connection(path), Catalogue{connection(path)->GetCatalogueStamp(),
                                                          1,
                                                          {{"dbo", "base", "TABLE"}},
                                                          {{"dbo.base", "a,b"}}}));
    auto c = control(catalogueCache, path);
    auto before = queryOf(QueryDocument().table("dbo.base").item("base.b", ""));
    c->setSQLQueryObject(before);
    ASSERT_EQ(c->SQLQueryObject(), before);
    const std::string sqlBefore = c->strSQL();

    c->RefreshTableList();
    ASSERT_TRUE(c->blnReadingTableList());
    QSignalSpy notes(c.get(), &uscMarovin::statusMessage);
    auto next = queryOf(QueryDocument().table("dbo.V000001", "V"));
    ModalDriver driver([](QDialog& dialog) {
        auto* cancel = dialog.findChild<QPushButton*>("cmdCancelWork");
        QTest::mouseClick(cancel, Qt::LeftButton, {}, cancel->rect().center());
    });
    c->setSQLQueryObject(next);
    ASSERT_TRUE(driver.ran());
    EXPECT_EQ(c->SQLQueryObject(), before);
    EXPECT_EQ(c->strSQL(), sqlBefore);
    EXPECT_EQ(c->findChild<dvTablesAndJoins*>("dvTablesAndJoins")->tableAliases(),
              QStringList{"base"});
    ASSERT_GE(notes.count(), 1);
    EXPECT_TRUE(notes.last().at(0).toString().contains("cancelled"));
    EXPECT_TRUE(m_box->shown().empty());
}

TEST_F(LargeCatalogue, ColumnListsAreAskedForOncePerTableAndKeptInTheCache) {
    auto catalogueCache = cache();
    {
        auto c = control(catalogueCache);
        c->setSQLQueryObject(std::make_shared<cSQLQuery>());
        WaitForTableList(*c);
        PlaceTable(*c, "dbo.base");
    }
    const auto stored = catalogueCache->Load(*connection());
    ASSERT_TRUE(stored.has_value());
    ASSERT_EQ(stored->columns.count("dbo.base"), 1u);
    EXPECT_EQ(stored->columns.at("dbo.base"), "a,b");

    // A confirmed cache answers for the columns: the box shows what the cache says.
    Catalogue kept = *stored;
    kept.columns["dbo.base"] = "a,b,FromCache";
    ASSERT_TRUE(catalogueCache->Save(*connection(), kept));
    auto c = control(catalogueCache);
    c->setSQLQueryObject(std::make_shared<cSQLQuery>());
    WaitForTableList(*c);
    PlaceTable(*c, "dbo.base");
    PlaceTable(*c, "dbo.base");
    auto* diagram = c->findChild<dvTablesAndJoins*>("dvTablesAndJoins");
    EXPECT_EQ(diagram->tableColumns("base1"), (QStringList{"a", "b", "FromCache"}));
}

namespace {

// Another process holding SQLite's pending lock on a file: SQLite cannot begin to read the file
// (it retries for its busy time-out) until the lock is let go. Plain reads are not held up.
class PendingLock {
public:
    explicit PendingLock(const std::string& path) {
        int ready[2];
        if (::pipe(ready) != 0 || ::pipe(m_release) != 0)
            throw std::runtime_error("pipe failed");
        m_child = ::fork();
        if (m_child == 0) {
            // In the child only calls that are safe after fork. The ends the parent uses are
            // closed, so that the parent closing its end is the end of the release pipe here.
            ::close(ready[0]);
            ::close(m_release[1]);
            const int fd = ::open(path.c_str(), O_RDWR);
            struct flock lock {};
            lock.l_type = F_WRLCK;
            lock.l_whence = SEEK_SET;
            lock.l_start = 0x40000000; // the pending byte
            lock.l_len = 1;
            const char ok = fd >= 0 && ::fcntl(fd, F_SETLK, &lock) == 0 ? '1' : '0';
            (void)!::write(ready[1], &ok, 1);
            char done;
            (void)!::read(m_release[0], &done, 1);
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(m_release[0]);
        char ok = '0';
        m_locked = ::read(ready[0], &ok, 1) == 1 && ok == '1';
        ::close(ready[0]);
    }
    ~PendingLock() { release(); }
    bool locked() const { return m_locked; }
    void release() {
        if (m_child <= 0)
            return;
        ::close(m_release[1]);
        ::waitpid(m_child, nullptr, 0);
        m_child = -1;
    }

private:
    pid_t m_child = -1;
    int m_release[2] = {-1, -1};
    bool m_locked = false;
};

} // namespace

TEST_F(LargeCatalogue, WithoutACacheTheFilesOwnPagesFillTheListBeforeSQLiteHasReadItsSchema) {
    PendingLock lock(s_path);
    ASSERT_TRUE(lock.locked());
    auto c = control(cache());
    c->setSQLQueryObject(std::make_shared<cSQLQuery>());
    auto* list = c->findChild<QListView*>("lstTables");
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->model()->rowCount() > 0; }, 4000));
    // Every name at once, while SQLite still waits to read the file.
    EXPECT_EQ(list->model()->rowCount(), kViews + 1);
    EXPECT_TRUE(c->blnReadingTableList());
    EXPECT_EQ(countAccessibleName(*c), "30001 tables, reading...");
    auto* search = c->findChild<QLineEdit*>("txtTableFilter");
    QTest::keyClicks(search, "v0299");
    EXPECT_EQ(list->model()->rowCount(), 100);
    EXPECT_TRUE(c->blnReadingTableList());

    // SQLite then lists the same rows, which stand as the catalogue from then on.
    lock.release();
    search->clear();
    const QStringList entries = TableEntries(*c);
    ASSERT_EQ(entries.size(), kViews + 1);
    EXPECT_EQ(entries.first(), "dbo.base");
    EXPECT_EQ(entries.last(), "dbo.V030000");
    EXPECT_EQ(countText(*c), "30001 tables");
    EXPECT_TRUE(m_box->shown().empty());
}
