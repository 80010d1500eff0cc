// Renders a four-table diagram with an inner and an outer join, in a light and a dark palette,
// to PNG files in the build folder (the pictures in docs/ are taken from there), and checks that
// the boxes follow the palette.

#include "DiagramFixture.h"

#include <QDir>
#include <QPalette>
#include <QScrollBar>

namespace marovin::testing {
namespace {

QPalette darkPalette() {
    QPalette p;
    p.setColor(QPalette::Window, QColor(0x2b, 0x2d, 0x31));
    p.setColor(QPalette::WindowText, QColor(0xe6, 0xe6, 0xe6));
    p.setColor(QPalette::Base, QColor(0x1f, 0x20, 0x23));
    p.setColor(QPalette::AlternateBase, QColor(0x26, 0x28, 0x2b));
    p.setColor(QPalette::Text, QColor(0xe6, 0xe6, 0xe6));
    p.setColor(QPalette::Button, QColor(0x33, 0x35, 0x3a));
    p.setColor(QPalette::ButtonText, QColor(0xe6, 0xe6, 0xe6));
    p.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xfd));
    p.setColor(QPalette::HighlightedText, Qt::white);
    return p;
}

class DiagramScreenshot : public DiagramFixture {
protected:
    void buildSample() {
        place("Customers",
              {"CustomerID", "CompanyName", "ContactName", "City", "Country", "Phone"});
        place("Orders", {"OrderID", "CustomerID", "EmployeeID", "OrderDate", "ShipVia", "Freight",
                         "ShipCity", "ShipCountry"});
        place("OrderDetails", {"OrderID", "ProductID", "UnitPrice", "Quantity", "Discount"});
        place("Products", {"ProductID", "ProductName", "SupplierID", "CategoryID",
                           "QuantityPerUnit", "UnitPrice", "UnitsInStock", "UnitsOnOrder",
                           "ReorderLevel", "Discontinued", "LastOrdered", "Notes"});
        // Let the boxes breathe: stagger them a little, as a user would.
        drag(diagram->titlePoint("Orders"), diagram->titlePoint("Orders") + QPoint(0, 70));
        drag(diagram->titlePoint("Products"), diagram->titlePoint("Products") + QPoint(10, 40));
        dragColumn("Customers", "CustomerID", "Orders", "CustomerID");
        dragColumn("Orders", "OrderID", "OrderDetails", "OrderID");
        dragColumn("OrderDetails", "ProductID", "Products", "ProductID");
        ASSERT_TRUE(diagram->setJoinType(1, "Left Join"));
        // Columns in the query's output, as the host ticks them.
        diagram->setAllTicks("Customers", {"CompanyName", "City"});
        diagram->setAllTicks("Orders", {"OrderID", "OrderDate"});
        diagram->setAllTicks("OrderDetails", diagram->tableColumns("OrderDetails"));
        diagram->setColumnTicked("Products", "ProductName", true);
        diagram->view()->horizontalScrollBar()->setValue(0);
        diagram->view()->verticalScrollBar()->setValue(0);
        // The outer join selected, so its type shows in words, and the pointer resting on a
        // column, which shows that row's add button.
        click(diagram->joinPoint(1));
        hover(diagram->columnPoint("Products", "ProductName"));
        diagram->view()->horizontalScrollBar()->setValue(0);
        diagram->view()->verticalScrollBar()->setValue(0);
    }

    QImage shoot(const QString& name) {
        QApplication::processEvents();
        const QImage image = diagram->grab().toImage();
        const QString dir =
            qEnvironmentVariable("MAROVIN_BINARY_DIR", QCoreApplication::applicationDirPath());
        EXPECT_TRUE(image.save(dir + "/" + name));
        return image;
    }

    // The colour inside the box of an alias, just below its last visible row.
    QColor boxFillAt(const QImage& image, const QString& alias) {
        const QRectF r = diagram->tableSceneRect(alias);
        const QPoint p = diagram->view()->mapFromScene(r.left() + 4, r.bottom() - 3) +
                         diagram->view()->viewport()->pos();
        return image.pixelColor(p * image.devicePixelRatio());
    }
};

TEST_F(DiagramScreenshot, LightAndDarkPalettesShowFourJoinedTables) {
    window->resize(1280, 480);
    buildSample();
    EXPECT_EQ(diagram->joinCount(), 3);
    EXPECT_EQ(diagram->selectedJoin(), 1);

    const QImage light = shoot("diagram-light.png");
    ASSERT_FALSE(light.isNull());
    EXPECT_GT(boxFillAt(light, "Orders").lightnessF(), 0.8);

    window->setPalette(darkPalette());
    const QImage dark = shoot("diagram-dark.png");
    ASSERT_FALSE(dark.isNull());
    EXPECT_LT(boxFillAt(dark, "Orders").lightnessF(), 0.3);
}

} // namespace
} // namespace marovin::testing
