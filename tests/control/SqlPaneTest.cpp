// The syntax check and the preview on the sample database: the questions and messages, the
// parameters, the row limit, and cancelling a long wait without freezing the window.

#include "ControlHarness.h"
#include "marovin/cRecordset.h"
#include "marovin/frmViewQueryResults.h"

#include <QAbstractItemModel>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <cstdio>
#include <gtest/gtest.h>

using namespace marovin;
using namespace marovin::test;

namespace {

// Orders' OrderID and ShipCountry, with the condition when one is given.
std::string ordersWhere(const std::string& condition) {
    QueryDocument query;
    query.table("dbo.Orders").item("Orders.OrderID", "OrderID");
    query.item("Orders.ShipCountry", "ShipCountry");
    return condition.empty() ? query : query.filter(condition);
}

// Two tables without a join: every line of every order with every customer.
const std::string kCrossJoin = QueryDocument()
                                   .table("dbo.Order Details")
                                   .table("dbo.Customers")
                                   .item("[Order Details].OrderID", "OrderID")
                                   .item("Customers.CustomerID", "CustomerID");

// What the viewer shows: its rows' count and the texts of one column.
struct Shown {
    int rows = -1;
    QStringList column;
    std::int32_t limit = 0;
};

std::function<void(QDialog&)> readViewer(Shown& shown, int column = 0) {
    return [&shown, column](QDialog& dialog) {
        auto* viewer = qobject_cast<frmViewQueryResults*>(&dialog);
        auto* grid = dialog.findChild<QTableView*>("jgQueryResults");
        if (!viewer || !grid)
            return;
        shown.limit = viewer->lngNrRecordsToShow();
        shown.rows = grid->model()->rowCount();
        for (int r = 0; r < shown.rows; ++r)
            shown.column << grid->model()->index(r, column).data().toString();
        dialog.reject();
    };
}

const QStringList kViewer{"marovin::frmViewQueryResults"};

std::function<void(QDialog&)> typeValues(const QStringList& values) {
    return [values](QDialog& dialog) {
        const auto fields = dialog.findChildren<QLineEdit*>("txtValue");
        for (int i = 0; i < values.size() && i < fields.size(); ++i) {
            fields[i]->setFocus();
            QTest::keyClicks(fields[i], values[i]);
        }
        QTest::mouseClick(dialog.findChild<QPushButton*>("OKButton"), Qt::LeftButton);
    };
}

} // namespace

TEST(SqlPaneTest, TheSyntaxCheckShowsTheServersAnswer) {
    ControlHarness h;
    h.load(ordersWhere("Orders.ShipCountry = 'Germany'"));
    h.clickButton("cmdCheckSQLSyntax");
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]), (Box{"Check syntax SQL Query", "Syntax SQL Query correct",
                                             MessageIcon::Exclamation, MessageButtons::Ok}));
    // The busy pointer is off again while the answer is read.
    EXPECT_EQ(h.box->busyDepths, std::vector<int>{0});

    h.load(ordersWhere("Orders.NoSuchColumn = 1"));
    h.box->clear();
    h.control().CheckSQLSyntax();
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_TRUE(h.box->shown()[0].strText.startsWith("Syntax error:\r\n"))
        << h.box->shown()[0].strText.toStdString();
    EXPECT_TRUE(h.box->shown()[0].strText.contains("NoSuchColumn"));

    // Parameter markers pass the check as string literals.
    h.control().setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"Year"}));
    h.load(ordersWhere("Orders.OrderID > <[Year]>"));
    h.box->clear();
    h.control().CheckSQLSyntax();
    EXPECT_EQ(ShownTexts(*h.box), QStringList{"Syntax SQL Query correct"});
}

TEST(SqlPaneTest, AStatementWithoutSelectIsNotSent) {
    ControlHarness h;
    // Nothing placed: the statement is empty. The check says so; the preview of an empty
    // statement ends without a word.
    Shown shown;
    ModalDriver driver(readViewer(shown));
    h.control().CheckSQLSyntax();
    h.control().FireQuery();
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]), (Box{"Check syntax SQL Query", "SELECT clause lacking",
                                             MessageIcon::Exclamation, MessageButtons::Ok}));
    EXPECT_FALSE(driver.ran());
}

TEST(SqlPaneTest, ACrossJoinIsPreviewedOnlyAfterYes) {
    ControlHarness h;
    h.load(kCrossJoin);
    Shown shown;
    h.box->QueueAnswer(MessageAnswer::No);
    EXPECT_TRUE(RunDialog(readViewer(shown), [&] { h.clickButton("cmdFireQuery"); }).isEmpty());
    ASSERT_EQ(h.box->shown().size(), 1u);
    EXPECT_EQ(BoxOf(h.box->shown()[0]),
              (Box{"Fire Query", "There are CROSS JOIN's in the query. Do you want to continue?",
                   MessageIcon::Exclamation, MessageButtons::YesNo}));

    h.box->QueueAnswer(MessageAnswer::Yes);
    ASSERT_EQ(RunDialog(readViewer(shown), [&] { h.control().FireQuery(); }), kViewer);
    EXPECT_EQ(h.box->shown().size(), 2u);
    // No setting: at most 50 rows, and the viewer is handed 50 as its limit.
    EXPECT_EQ(shown.rows, 50);
    EXPECT_EQ(shown.limit, 50);
}

TEST(SqlPaneTest, ThePreviewFetchesAsManyRowsAsTheSettingSays) {
    // The rows fetched, and the limit the viewer then shows: a setting of 0 fetches 50 rows, but
    // the viewer reads the same setting on its own and takes 100 for 0.
    struct Case {
        QString setting;
        int rows;
        int limit;
    };
    const std::vector<Case> cases = {{"0", 50, 100}, {"200", 200, 200}, {"7", 7, 7}};
    for (const auto& [setting, expected, limit] : cases) {
        auto settings = std::make_shared<MemorySettingsStore>();
        settings->SaveSetting("QueryPreview", "NrRecords", setting);
        ControlHarness h(settings);
        h.load(kCrossJoin);
        h.box->QueueAnswer(MessageAnswer::Yes);
        SCOPED_TRACE(setting.toStdString());
        Shown shown;
        ASSERT_EQ(RunDialog(readViewer(shown), [&] { h.control().FireQuery(); }), kViewer);
        EXPECT_EQ(shown.rows, expected);
        EXPECT_EQ(shown.limit, limit);
    }
}

TEST(SqlPaneTest, ParameterValuesAreAskedForAndPutInPlace) {
    ControlHarness h;
    h.control().setColParameters(
        std::make_shared<std::vector<std::string>>(std::vector<std::string>{"Country"}));
    h.load(ordersWhere("Orders.ShipCountry = <[Country]>"));
    std::string country;
    {
        std::string error;
        const auto any = h.db->FireQuery("SELECT ShipCountry FROM Orders LIMIT 1", error, 1);
        ASSERT_TRUE(any && any->RecordCount() == 1) << error;
        country = std::string(any->Fields(0).AsText());
    }
    Shown shown;
    EXPECT_EQ(RunDialogs({typeValues({QString::fromStdString(country)}), readViewer(shown, 1)},
                         [&] { h.control().FireQuery(); }),
              (QStringList{"marovin::frmParameterValues", "marovin::frmViewQueryResults"}));
    ASSERT_GT(shown.rows, 0);
    for (const QString& value : shown.column)
        EXPECT_EQ(value.toStdString(), country);
    // The statement shown keeps its marker; only the preview got the value.
    EXPECT_NE(h.control().strSQL().find("<[Country]>"), std::string::npos);

    // Cancelling the values ends the preview silently.
    EXPECT_EQ(RunDialog(PressButton("CancelButton"), [&] { h.control().FireQuery(); }),
              QStringList{"marovin::frmParameterValues"});
    EXPECT_TRUE(h.box->shown().empty());
}

TEST(SqlPaneTest, FailuresAreShownAndNoViewerOpens) {
    {
        ControlHarness h;
        h.load(ordersWhere("Orders.NoSuchColumn = 1"));
        Shown shown;
        EXPECT_TRUE(RunDialog(readViewer(shown), [&] { h.control().FireQuery(); }).isEmpty());
        ASSERT_EQ(h.box->shown().size(), 1u);
        EXPECT_EQ(h.box->shown()[0].strCaption, "Fire query to database");
        EXPECT_EQ(h.box->shown()[0].icon, MessageIcon::Critical);
        EXPECT_TRUE(h.box->shown()[0].strText.startsWith("Error\r\n\r\n"));
        EXPECT_TRUE(h.box->shown()[0].strText.contains("NoSuchColumn"));
    }
    {
        // The database went away after the query was loaded.
        ScratchDatabase db("CREATE TABLE Orders (OrderID integer, ShipCountry text);");
        ControlHarness h(nullptr, db.connection());
        h.load(ordersWhere({}));
        std::remove(db.path.c_str());
        Shown shown;
        EXPECT_TRUE(RunDialog(readViewer(shown), [&] { h.control().FireQuery(); }).isEmpty());
        h.control().CheckSQLSyntax();
        // The check says nothing it does not know: an empty answer.
        EXPECT_EQ(ShownTexts(*h.box), (QStringList{"Problems connecting to database", ""}));
        EXPECT_EQ(h.box->shown()[0].strCaption, "Fire query to database");
    }
}

TEST(SqlPaneTest, ALongQueryIsCancelledAndTheWidgetIsUsableAtOnce) {
    ControlHarness h;
    // Counting to a hundred billion in a sub-query: runs for hours.
    h.load(ordersWhere("Orders.OrderID < (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + "
                       "1 FROM n WHERE i < 100000000000) SELECT i FROM n WHERE i = 100000000000)"));
    ASSERT_NE(h.control().strSQL().find("WHERE\r\n"), std::string::npos) << h.control().strSQL();
    bool cancelled = false;
    EXPECT_EQ(RunDialog(
                  [&](QDialog& busy) {
                      ASSERT_EQ(busy.objectName(), "dlgBusy");
                      cancelled = true;
                      PressButton("cmdCancelWork")(busy);
                  },
                  [&] { h.clickButton("cmdFireQuery"); })
                  .size(),
              1);
    ASSERT_TRUE(cancelled);
    // Coming back at all proves the cancel: the statement runs for hours otherwise.
    EXPECT_TRUE(h.box->shown().empty());
    EXPECT_EQ(h.busy->lngDepth(), 0);

    // Usable at once: an edit goes through and the next preview runs.
    h.chooseColumn("Orders", "Freight");
    EXPECT_NE(h.control().strSQL().find("Orders.Freight"), std::string::npos);
    h.load(ordersWhere("Orders.OrderID > 0"));
    Shown shown;
    EXPECT_EQ(RunDialog(readViewer(shown), [&] { h.control().FireQuery(); }), kViewer);
    EXPECT_GT(shown.rows, 0);
}
