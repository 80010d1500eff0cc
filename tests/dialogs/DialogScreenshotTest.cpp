// Pictures of the three dialogs filled in as a user would on the sample database, written to
// the build folder (the pictures in docs/ are taken from there).

#include "DialogHarness.h"
#include "SampleDatabaseGenerator.h"
#include "marovin/frmConditionBuilder.h"
#include "marovin/frmExpressionBuilder.h"
#include "marovin/frmParameterValues.h"
#include "marovin/frmViewQueryResults.h"

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

namespace marovin::test {
namespace {

class DialogScreenshot : public DialogTest {
protected:
    // Grabs the dialog into a PNG file of the build folder and checks it shows the whole dialog.
    static void shoot(QWidget& dialog, const QString& name) {
        QApplication::processEvents();
        const QImage image = dialog.grab().toImage();
        const QString dir = qEnvironmentVariable("MAROVIN_BINARY_DIR", MAROVIN_BINARY_DIR);
        EXPECT_EQ(image.size(), dialog.size() * dialog.devicePixelRatio());
        EXPECT_TRUE(image.save(dir + "/" + name)) << (dir + "/" + name).toStdString();
    }
};

TEST_F(DialogScreenshot, ConditionBuilder) {
    frmConditionBuilder dialog(services());
    dialog.setDbMetaData(SampleConnection());
    dialog.setStrCalculatedOrAggregatedItems("SUM(Orders.Freight)");
    dialog.setObjTables(SampleTables());
    dialog.setStrCondition("Customers.Country = 'Germany'{newline}AND YEAR(Orders.OrderDate) = "
                           "<[Year]>");
    dialog.setBlnIsActive(true);
    dialog.setColParameters(nameList({"Year", "Country"}));
    show(dialog);
    choose(child<QComboBox>(dialog, "cboFields"), "Orders.Freight");
    choose(child<QComboBox>(dialog, "cboOperators"), ">=");
    type(child<QComboBox>(dialog, "cboValue")->lineEdit(), "100");
    child<QPlainTextEdit>(dialog, "txtCondition")->setFocus();
    shoot(dialog, "condition-builder.png");
}

TEST_F(DialogScreenshot, ExpressionBuilder) {
    frmExpressionBuilder dialog(services());
    dialog.setDbMetaData(SampleConnection());
    dialog.setObjTables(SampleTables());
    dialog.setStrVariableName("FreightPerOrder");
    dialog.setStrExpression("ROUND(SUM(Orders.Freight){newline}  / COUNT(Orders.OrderID), 2)");
    dialog.setColParameters(nameList({"Year", "Country"}));
    show(dialog);
    choose(child<QComboBox>(dialog, "cboTables"), "Orders");
    choose(child<QComboBox>(dialog, "cboFields"), "Freight");
    choose(child<QComboBox>(dialog, "cboAggregations"), "SUM");
    choose(child<QComboBox>(dialog, "cboFunctionGroups"), "Mathematical");
    choose(child<QComboBox>(dialog, "cboFunctions"), "ROUND");
    child<QPlainTextEdit>(dialog, "txtExpression")->setFocus();
    shoot(dialog, "expression-builder.png");
}

TEST_F(DialogScreenshot, ParameterValues) {
    settings->SaveSetting("InitValQueryParam", "ParamString", "Germany%[--]&1997");
    frmParameterValues dialog(services());
    dialog.setColParameters(nameList({"Country", "Year", "MinimumFreight"}));
    show(dialog);
    type(dialog.findChildren<QLineEdit*>("txtValue").at(2), "100");
    shoot(dialog, "parameter-values.png");
}

TEST_F(DialogScreenshot, QueryResults) {
    // The full small sample, so the preview shows a screenful of customers.
    QTemporaryDir dir;
    const std::string path = dir.filePath("northwind.sqlite").toStdString();
    std::string error;
    ASSERT_TRUE(SampleDatabaseGenerator(SampleDatabaseGenerator::Small()).Write(path, error))
        << error;
    auto connection = std::make_shared<cDbConnection>();
    connection->setStrProvider(cDbConnection::kProviderSqlite);
    connection->setStrDatabase(path);
    const std::string sql =
        "SELECT Customers.CompanyName, Customers.City, Customers.Region, Customers.Country, "
        "COUNT(Orders.OrderID) AS Orders, ROUND(SUM(Orders.Freight), 2) AS TotalFreight\r\n"
        "FROM dbo.Customers INNER JOIN dbo.Orders ON Orders.CustomerID = Customers.CustomerID\r\n"
        "GROUP BY Customers.CompanyName, Customers.City, Customers.Region, Customers.Country\r\n"
        "ORDER BY TotalFreight DESC";
    auto rows = connection->FireQuery(sql, error, 50);
    ASSERT_NE(rows, nullptr) << error;

    frmViewQueryResults viewer(services());
    viewer.resize(860, 520);
    viewer.setDbConnection(connection);
    viewer.setStrSQLQuery(sql);
    viewer.setLngNrRecordsToShow(50);
    viewer.setRecordSet(rows);
    show(viewer);
    auto* grid = child<QTableView>(viewer, "jgQueryResults");
    const QModelIndex country = grid->model()->index(2, 3);
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier,
                      grid->visualRect(country).center());
    type(child<QLineEdit>(viewer, "txtSearchText"), "Germany");
    click(button(viewer, "cmdSearch"));
    grid->setFocus();
    shoot(viewer, "query-results.png");
}

} // namespace
} // namespace marovin::test
